#include "quillcast-audio/AnnotatedFile.h"

#include "AnnotationChunks.h"
#include "CueSheetReader.h"
#include "WavStructure.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"
#include "quillcast-fileformat-iff/LittleEndian.h"

#include <algorithm>
#include <limits>
#include <set>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.AnnotatedFile");

constexpr std::uint64_t COPY_BLOCK = std::uint64_t(1) << 18;
constexpr std::uint64_t MAX_RIFF_SIZE = std::numeric_limits<std::uint32_t>::max();

/// One run over a WAV file that writes it anew with other annotations.
class WavRewriter
{
public:
    WavRewriter(InputFile& io_file, FileReplacer& io_target)
        : m_source(io_file)
        , m_target(io_target)
    {
    }

    bool run(const std::vector<Annotation>& in_vAnnotations, const std::vector<Annotation>& in_vMarkers)
    {
        return readSource() && buildChunks(in_vAnnotations, in_vMarkers) && planKept() && writeAll();
    }

    const std::string& getError() const { return m_strError; }

private:
    bool fail(const std::string& in_strError)
    {
        m_strError = in_strError;
        return false;
    }

    bool readSource();
    bool buildChunks(const std::vector<Annotation>& in_vAnnotations,
                     const std::vector<Annotation>& in_vMarkers);
    bool planKept();
    bool writeAll();
    bool writeHeader(std::uint64_t in_uiSize);
    bool writeChunk(const IffChunk& in_chunk, std::uint64_t in_uiFileSize);
    bool write(const std::string& in_strBytes);
    bool copy(std::uint64_t in_uiBegin, std::uint64_t in_uiEnd);

    IffFileSource m_source;
    FileReplacer& m_target;
    WavStructure m_structure;
    std::set<std::uint32_t> m_loopIds;
    std::string m_strNewChunks;
    std::vector<IffChunk> m_vKept;
    std::uint64_t m_uiChunksEnd = 0;
    std::string m_strBlock;
    std::string m_strError;
};

bool WavRewriter::readSource()
{
    CueSheetReader cueReader;
    if (!m_structure.read(m_source))
        return fail(m_structure.getError());
    if (!cueReader.read(m_source, m_structure))
        return fail(cueReader.getError());
    for (const SampleLoop& loop : cueReader.getSheet().m_vLoops)
        m_loopIds.insert(loop.m_uiCueId);
    return true;
}

bool WavRewriter::buildChunks(const std::vector<Annotation>& in_vAnnotations,
                              const std::vector<Annotation>& in_vMarkers)
{
    // A loop keeps the end of the region of its id: none of ours may inherit it.
    AnnotationChunks chunks(m_structure.getFormat().m_uiRate, m_loopIds);
    const auto add = [&](const std::vector<Annotation>& in_vList, bool in_bMarkers)
    {
        return std::all_of(in_vList.begin(), in_vList.end(),
                           [&](const Annotation& in_annotation)
                           { return chunks.add(in_annotation, in_bMarkers); });
    };
    if (!add(in_vAnnotations, false) || !add(in_vMarkers, true))
        return fail(chunks.getError());
    m_strNewChunks = chunks.getBytes();
    return true;
}

/// What stays: all chunks but those of annotations.
bool WavRewriter::planKept()
{
    m_uiChunksEnd = m_structure.getRiff().getChunksEnd();
    for (const IffChunk& chunk : m_structure.getRiff().getChunks())
    {
        const bool bList =
            WavStructure::isList(chunk) && WavStructure::getListType(m_source, chunk) == "adtl";
        if (bList || chunk.m_strId == "cue ")
            continue;
        if (chunk.m_bComplete)
            m_vKept.push_back(chunk);
        else if (chunk.m_uiPosition >= m_structure.getRiff().getDeclaredSize())
            m_uiChunksEnd = chunk.m_uiPosition; // no chunk, only looks like one: what some programs append
        else
            return fail("its \"" + chunk.m_strId + "\" chunk is cut");
    }
    return true;
}

bool WavRewriter::writeAll()
{
    std::uint64_t uiSize = RiffFile::HEADER_SIZE + m_strNewChunks.size();
    for (const IffChunk& chunk : m_vKept)
        uiSize += IffChunk::HEADER_SIZE + chunk.m_uiSize + chunk.m_uiSize % 2;
    if (!m_structure.getRiff().hasLongSizes() && uiSize - 8 > MAX_RIFF_SIZE)
        return fail("the file would grow beyond 4 GiB");
    if (!m_target.open())
        return fail(m_target.getReason());
    if (!writeHeader(uiSize))
        return false;
    for (const IffChunk& chunk : m_vKept)
        if (!writeChunk(chunk, uiSize))
            return false;
    if (!write(m_strNewChunks) || !copy(m_uiChunksEnd, m_source.getSize()))
        return false;
    return m_target.commit() || fail(m_target.getReason());
}

bool WavRewriter::writeHeader(std::uint64_t in_uiSize)
{
    std::string strHeader = m_structure.getRiff().getContainer();
    appendU32(strHeader, static_cast<std::uint32_t>(m_structure.getRiff().hasLongSizes() ? MAX_RIFF_SIZE
                                                                                         : in_uiSize - 8));
    return write(strHeader + m_structure.getRiff().getFormType());
}

bool WavRewriter::writeChunk(const IffChunk& in_chunk, std::uint64_t in_uiFileSize)
{
    std::uint64_t uiFrom = in_chunk.m_uiPosition;
    if (m_structure.getRiff().hasLongSizes())
    {
        if (in_chunk.m_uiSize != in_chunk.m_uiDeclared)
            return fail("its \"" + in_chunk.m_strId + "\" chunk is cut");
        if (in_chunk.m_strId == "ds64")
        {
            if (!copy(uiFrom, in_chunk.getDataPosition()))
                return false;
            std::string strSize;
            appendU64(strSize, in_uiFileSize - 8);
            if (!write(strSize))
                return false;
            uiFrom = in_chunk.getDataPosition() + strSize.size();
        }
    }
    else if (in_chunk.m_uiSize != in_chunk.m_uiDeclared)
    {
        std::string strHeader = in_chunk.m_strId;
        appendU32(strHeader, static_cast<std::uint32_t>(in_chunk.m_uiSize));
        if (!write(strHeader))
            return false;
        uiFrom = in_chunk.getDataPosition();
    }
    const std::uint64_t uiEnd = in_chunk.getDataPosition() + in_chunk.m_uiSize;
    const bool bMissingPad = in_chunk.m_uiSize % 2 == 1 && in_chunk.m_uiNext == uiEnd;
    return copy(uiFrom, in_chunk.m_uiNext) && (!bMissingPad || write(std::string(1, '\0')));
}

bool WavRewriter::write(const std::string& in_strBytes)
{
    return m_target.write(in_strBytes) || fail(m_target.getReason());
}

bool WavRewriter::copy(std::uint64_t in_uiBegin, std::uint64_t in_uiEnd)
{
    while (in_uiBegin < in_uiEnd)
    {
        const std::uint64_t uiCount = std::min(COPY_BLOCK, in_uiEnd - in_uiBegin);
        if (!m_source.readAt(in_uiBegin, m_strBlock, uiCount))
            return fail("the file cannot be read");
        if (!write(m_strBlock))
            return false;
        in_uiBegin += uiCount;
    }
    return true;
}

} // namespace

bool AnnotatedFile::writeToWAV(const char* in_filename) const
{
    return writeToWAV(in_filename, in_filename);
}

bool AnnotatedFile::writeToWAV(const char* in_filename, const char* in_copyname) const
{
    QC_TRACE("AnnotatedFile::writeToWAV");
    InputFile file;
    if (!file.openRegular(in_filename))
    {
        QC_ERROR("Cannot write annotations into " << file.getFilename() << ": " << file.getReason());
        return false;
    }
    FileReplacer target(in_copyname);
    WavRewriter rewriter(file, target);
    if (rewriter.run(m_vAnnotations, m_vMarkers))
        return true;
    QC_ERROR("Cannot write annotations into " << in_copyname << ": " << rewriter.getError());
    return false;
}

} // namespace Vexalor
