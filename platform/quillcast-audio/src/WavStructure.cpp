#include "WavStructure.h"

#include "quillcast-fileformat-iff/LittleEndian.h"

namespace Vexalor
{

namespace
{

constexpr std::uint64_t FORMAT_SIZE = 16;

/// Sizes from here on are no sizes: programs that cannot go back to the header write them.
constexpr std::uint64_t STREAMED_SIZE = 0xFFFF0000;

/// Codings whose frames all have the size that the format states: whole numbers, floating point, A-law,
/// mu-law, and the extensible form of these.
bool hasFixedFrames(std::uint16_t in_uiTag)
{
    return in_uiTag == 1 || in_uiTag == 3 || in_uiTag == 6 || in_uiTag == 7 || in_uiTag == 0xFFFE;
}

bool mayHoldAnnotations(IffSource& io_source, const IffChunk& in_chunk)
{
    if (!WavStructure::isList(in_chunk))
        return in_chunk.m_strId == "cue " || in_chunk.m_strId == "smpl";
    // A list that is cut before its type may be one of annotations.
    const std::string strType = WavStructure::getListType(io_source, in_chunk);
    return strType == "adtl" || strType.empty();
}

} // namespace

bool WavStructure::fail(const std::string& in_strError)
{
    m_strError = in_strError;
    return false;
}

bool WavStructure::isList(const IffChunk& in_chunk)
{
    return in_chunk.m_strId == "LIST" || in_chunk.m_strId == "list";
}

std::string WavStructure::getListType(IffSource& io_source, const IffChunk& in_chunk)
{
    std::string strType;
    if (in_chunk.m_uiSize < 4 || !io_source.readAt(in_chunk.getDataPosition(), strType, 4))
        return {};
    return strType;
}

bool WavStructure::read(IffSource& io_source)
{
    *this = WavStructure();
    const bool bRead = readChunks(io_source);
    // What could not be read looks as if it were not there.
    return io_source.hasFailed() ? fail("the file cannot be read") : bRead;
}

bool WavStructure::readChunks(IffSource& io_source)
{
    if (!m_riff.read(io_source, "data"))
        return fail(m_riff.getError());
    if (m_riff.getFormType() != "WAVE")
        return fail("no WAV file");
    for (const IffChunk& chunk : m_riff.getChunks())
        if (!readChunk(io_source, chunk))
            return false;
    if (m_data.m_strId.empty())
        return fail("it has no \"data\" chunk");
    countFrames();
    const std::uint64_t uiDeclared = m_riff.getDeclaredSize();
    m_bCut = uiDeclared > io_source.getSize() && uiDeclared < STREAMED_SIZE;
    return true;
}

bool WavStructure::readChunk(IffSource& io_source, const IffChunk& in_chunk)
{
    if (in_chunk.m_strId == "fmt " && m_format.m_uiRate == 0)
        return readFormat(io_source, in_chunk);
    if (in_chunk.m_strId == "data" && m_format.m_uiRate == 0)
        return fail("it has no \"fmt \" chunk before its samples");
    if (in_chunk.m_strId == "data" && !m_data.m_strId.empty())
        return fail("it has several \"data\" chunks");
    if (in_chunk.m_strId == "data")
        m_data = in_chunk;
    char frames[4];
    if (in_chunk.m_strId == "fact" && in_chunk.m_uiSize >= sizeof frames &&
        io_source.readAt(in_chunk.getDataPosition(), frames, sizeof frames))
        m_uiFactFrames = readU32(frames);
    if (!in_chunk.m_bComplete && mayHoldAnnotations(io_source, in_chunk))
        return fail("its \"" + in_chunk.m_strId + "\" chunk runs past the end of the file");
    return true;
}

bool WavStructure::readFormat(IffSource& io_source, const IffChunk& in_chunk)
{
    char bytes[FORMAT_SIZE];
    if (!in_chunk.m_bComplete || in_chunk.m_uiSize < FORMAT_SIZE ||
        !io_source.readAt(in_chunk.getDataPosition(), bytes, FORMAT_SIZE))
        return fail("its \"fmt \" chunk is cut");
    m_format = {readU16(bytes),     readU16(bytes + 2),  readU32(bytes + 4),
                readU32(bytes + 8), readU16(bytes + 12), readU16(bytes + 14)};
    if (m_format.m_uiRate == 0)
        return fail("its sampling rate is 0");
    return m_format.m_uiChannels != 0 || fail("it has 0 channels");
}

std::uint64_t WavStructure::getFrameBytes() const
{
    if (!hasFixedFrames(m_format.m_uiTag))
        return 0;
    const std::uint64_t uiSampleBytes = (m_format.m_uiBits + std::uint64_t(7)) / 8;
    return m_format.m_uiBlockAlign != 0 ? m_format.m_uiBlockAlign : uiSampleBytes * m_format.m_uiChannels;
}

void WavStructure::countFrames()
{
    m_uiFrames = m_uiFactFrames;
    if (!hasFixedFrames(m_format.m_uiTag))
        return;
    m_uiFrames = getFrameBytes() == 0 ? 0 : m_data.m_uiSize / getFrameBytes();
}

} // namespace Vexalor
