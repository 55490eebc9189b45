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

/// One run over a WAV file that writes it anew: with other annotations, or with less audio.
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
        return readSource() && buildChunks(in_vAnnotations, in_vMarkers) && planKept(false) && writeAll();
    }

    /// Only the first frames, all annotations.
    bool runStart(std::uint64_t in_uiFrames)
    {
        return readSource() && planKept(true) && cutData(in_uiFrames) && writeAll();
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
    bool planKept(bool in_bAnnotations);
    bool cutData(std::uint64_t in_uiFrames);
    bool writeAll();
    bool writeHeader(std::uint64_t in_uiSize);
    std::string getNewBeginning(const IffChunk& in_chunk, std::uint64_t in_uiFileSize) const;
    bool writeChunk(const IffChunk& in_chunk, std::uint64_t in_uiFileSize);
    bool write(const std::string& in_strBytes);
    bool copy(std::uint64_t in_uiBegin, std::uint64_t in_uiEnd);

    IffFileSource m_source;
    FileReplacer& m_target;
    WavStructure m_structure;
    std::set<std::uint32_t> m_loopIds;
    StringVector m_vNewChunks;   ///< pieces that follow each other
    std::string m_strLongCounts; ///< of less audio: bytes and frames as "ds64" has them, empty for all of it
    std::string m_strFact;       ///< the frames as "fact" has them
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
    m_vNewChunks = chunks.takePieces();
    return true;
}

/// What stays: all chunks but, unless they are wanted, those of annotations.
bool WavRewriter::planKept(bool in_bAnnotations)
{
    m_uiChunksEnd = m_structure.getRiff().getChunksEnd();
    for (const IffChunk& chunk : m_structure.getRiff().getChunks())
    {
        const bool bList =
            WavStructure::isList(chunk) && WavStructure::getListType(m_source, chunk) == "adtl";
        if (!in_bAnnotations && (bList || chunk.m_strId == "cue "))
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

/// The samples end sooner, and the chunks that count them say so.
bool WavRewriter::cutData(std::uint64_t in_uiFrames)
{
    const std::uint64_t uiFrames = std::min(in_uiFrames, m_structure.getFrameCount());
    const std::uint64_t uiFrameBytes = m_structure.getFrameBytes();
    const auto itData = std::find_if(m_vKept.begin(), m_vKept.end(),
                                     [](const IffChunk& in_chunk) { return in_chunk.m_strId == "data"; });
    if (uiFrameBytes == 0 || itData == m_vKept.end())
        return true;
    itData->m_uiSize = std::min(itData->m_uiSize, uiFrames * uiFrameBytes);
    itData->m_uiNext = itData->getDataPosition() + itData->m_uiSize;
    appendU64(m_strLongCounts, itData->m_uiSize);
    appendU64(m_strLongCounts, uiFrames);
    appendU32(m_strFact, static_cast<std::uint32_t>(std::min(uiFrames, MAX_RIFF_SIZE)));
    return true;
}

bool WavRewriter::writeAll()
{
    std::uint64_t uiSize = RiffFile::HEADER_SIZE;
    for (const std::string& strPiece : m_vNewChunks)
        uiSize += strPiece.size();
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
    for (const std::string& strPiece : m_vNewChunks)
        if (!write(strPiece))
            return false;
    if (!copy(m_uiChunksEnd, m_source.getSize()))
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

/// What the first bytes of a chunk are instead, where sizes and counts change.
std::string WavRewriter::getNewBeginning(const IffChunk& in_chunk, std::uint64_t in_uiFileSize) const
{
    std::string strBytes;
    if (in_chunk.m_strId == "ds64" && m_structure.getRiff().hasLongSizes())
    {
        appendU64(strBytes, in_uiFileSize - 8);
        strBytes += m_strLongCounts;
    }
    if (in_chunk.m_strId == "fact" && in_chunk.m_uiSize >= m_strFact.size())
        strBytes = m_strFact;
    return strBytes;
}

bool WavRewriter::writeChunk(const IffChunk& in_chunk, std::uint64_t in_uiFileSize)
{
    const bool bLong = m_structure.getRiff().hasLongSizes();
    const bool bCutHere = in_chunk.m_strId == "data" && !m_strLongCounts.empty();
    if (bLong && !bCutHere && in_chunk.m_uiSize != in_chunk.m_uiDeclared)
        return fail("its \"" + in_chunk.m_strId + "\" chunk is cut");
    std::string strBytes = in_chunk.m_strId;
    appendU32(strBytes, static_cast<std::uint32_t>(bLong ? MAX_RIFF_SIZE : in_chunk.m_uiSize));
    if (bLong && !bCutHere && !m_source.readAt(in_chunk.m_uiPosition, strBytes, IffChunk::HEADER_SIZE))
        return fail("the file cannot be read");
    const std::string strBeginning = getNewBeginning(in_chunk, in_uiFileSize);
    const std::uint64_t uiFrom = in_chunk.getDataPosition() + strBeginning.size();
    const std::uint64_t uiEnd = in_chunk.getDataPosition() + in_chunk.m_uiSize;
    const bool bMissingPad = in_chunk.m_uiSize % 2 == 1 && in_chunk.m_uiNext == uiEnd;
    return write(strBytes + strBeginning) && copy(uiFrom, in_chunk.m_uiNext) &&
           (!bMissingPad || write(std::string(1, '\0')));
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

bool AnnotatedFile::copyStartOfWAV(const char* in_filename, std::uint64_t in_uiFrames,
                                   FileReplacer& io_target)
{
    QC_TRACE("AnnotatedFile::copyStartOfWAV");
    InputFile file;
    if (!file.openRegular(in_filename))
    {
        QC_ERROR("Cannot read " << file.getFilename() << ": " << file.getReason());
        return false;
    }
    WavRewriter rewriter(file, io_target);
    if (rewriter.runStart(in_uiFrames))
        return true;
    QC_ERROR("Cannot copy the beginning of " << in_filename << " to " << io_target.getPath() << ": "
                                             << rewriter.getError());
    return false;
}

} // namespace Vexalor
