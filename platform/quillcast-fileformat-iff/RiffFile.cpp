#include "quillcast-fileformat-iff/RiffFile.h"

#include "quillcast-fileformat-iff/LittleEndian.h"

#include <algorithm>

namespace Vexalor
{

namespace
{

/// Fixed part of "ds64": size of the file, of "data", number of samples, number of table entries.
constexpr std::uint64_t DS64_SIZE = 28;
constexpr std::uint64_t DS64_ENTRY_SIZE = 12;
/// Entries of its table that are looked at: there is one for each chunk above 4 GiB.
constexpr std::uint64_t DS64_MAX_ENTRIES = 64;

} // namespace

bool RiffFile::fail(const std::string& in_strError)
{
    m_strError = in_strError;
    return false;
}

bool RiffFile::read(IffSource& io_source, const std::string& in_strOpenEnded)
{
    *this = RiffFile();
    if (!readContainer(io_source))
        return false;
    IffChunkWalker walker(io_source, HEADER_SIZE, io_source.getSize());
    walker.setOpenEnded(in_strOpenEnded);
    if (hasLongSizes() && !readLongSizes(io_source, walker))
        return false;
    IffChunk chunk;
    while (walker.next(chunk))
    {
        if (m_vChunks.size() == MAX_CHUNKS)
            return fail("more than " + std::to_string(MAX_CHUNKS) + " chunks");
        m_vChunks.push_back(chunk);
    }
    m_uiChunksEnd = walker.getPosition();
    return true;
}

bool RiffFile::isContainer(std::string_view in_id)
{
    return in_id == "RIFF" || in_id == "RF64" || in_id == "BW64";
}

bool RiffFile::readContainer(IffSource& io_source)
{
    std::string strHeader;
    if (!io_source.readAt(0, strHeader, HEADER_SIZE))
        return fail("too short for a RIFF file");
    m_strContainer = strHeader.substr(0, 4);
    m_strFormType = strHeader.substr(8, 4);
    m_uiDeclaredSize = readU32(strHeader.data() + 4) + std::uint64_t(8);
    if (!isContainer(m_strContainer))
        return fail("no RIFF file");
    return true;
}

bool RiffFile::readLongSizes(IffSource& io_source, IffChunkWalker& io_walker)
{
    IffChunk chunk;
    std::string strData;
    if (!io_walker.next(chunk) || chunk.m_strId != "ds64" || chunk.m_uiSize < DS64_SIZE || !chunk.m_bComplete)
        return fail("the \"ds64\" chunk of the " + m_strContainer + " file is missing or damaged");
    const std::uint64_t uiLongest = DS64_SIZE + DS64_MAX_ENTRIES * DS64_ENTRY_SIZE;
    if (!io_source.readAt(chunk.getDataPosition(), strData, std::min(chunk.m_uiSize, uiLongest)))
        return fail("cannot read the \"ds64\" chunk");
    m_uiDeclaredSize = readU64(strData.data()) + 8;
    io_walker.setLongSize("data", readU64(strData.data() + 8));
    const std::uint64_t uiPresent = (strData.size() - DS64_SIZE) / DS64_ENTRY_SIZE;
    const std::uint64_t uiEntries = std::min<std::uint64_t>(readU32(strData.data() + 24), uiPresent);
    for (std::uint64_t i = 0; i < uiEntries; ++i)
    {
        const char* pEntry = strData.data() + DS64_SIZE + i * DS64_ENTRY_SIZE;
        io_walker.setLongSize(std::string(pEntry, 4), readU64(pEntry + 4));
    }
    m_vChunks.push_back(chunk);
    return true;
}

} // namespace Vexalor
