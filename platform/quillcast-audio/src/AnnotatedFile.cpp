#include "quillcast-audio/AnnotatedFile.h"

#include "CueSheetReader.h"
#include "FirstOfId.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

#include <istream>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.AnnotatedFile");

/// What the texts and loops say of the cue points, found by id.
class CueLengths
{
public:
    explicit CueLengths(const CueSheet& in_sheet)
        : m_sheet(in_sheet)
        , m_lengths(in_sheet.m_vTexts, getId,
                    [](const CueText& in_text) { return in_text.m_uiSampleLength != 0; })
        , m_texts(in_sheet.m_vTexts, getId, [](const CueText& in_text) { return !in_text.m_strText.empty(); })
        , m_loops(in_sheet.m_vLoops, [](const SampleLoop& in_loop) { return in_loop.m_uiCueId; })
    {
    }

    /// The frame after the stretch; the cue point's own frame when it has no length.
    std::uint64_t getStop(const CuePoint& in_cue) const
    {
        const std::size_t uiLength = m_lengths.find(in_cue.m_uiId);
        if (uiLength != FirstOfId::NONE)
            return std::uint64_t(in_cue.m_uiSampleOffset) + m_sheet.m_vTexts[uiLength].m_uiSampleLength;
        const std::size_t uiLoop = m_loops.find(in_cue.m_uiId);
        if (uiLoop != FirstOfId::NONE && m_sheet.m_vLoops[uiLoop].m_uiStart == in_cue.m_uiSampleOffset)
            return m_sheet.m_vLoops[uiLoop].m_uiEnd;
        return in_cue.m_uiSampleOffset;
    }

    std::string getLabel(const CuePoint& in_cue) const
    {
        if (in_cue.m_label && !in_cue.m_label->empty())
            return *in_cue.m_label;
        const std::size_t uiText = m_texts.find(in_cue.m_uiId);
        return uiText != FirstOfId::NONE ? m_sheet.m_vTexts[uiText].m_strText : in_cue.m_note.value_or("");
    }

private:
    static std::uint32_t getId(const CueText& in_text) { return in_text.m_uiCueId; }

    const CueSheet& m_sheet;
    FirstOfId m_lengths;
    FirstOfId m_texts;
    FirstOfId m_loops;
};

StringVector describeChunks(IffSource& io_source, const WavStructure& in_structure)
{
    StringVector vOrder;
    for (const IffChunk& chunk : in_structure.getRiff().getChunks())
        vOrder.push_back(WavStructure::isList(chunk)
                             ? chunk.m_strId + ":" + WavStructure::getListType(io_source, chunk)
                             : chunk.m_strId);
    return vOrder;
}

} // namespace

std::istream& AnnotatedFile::readFromWAV(std::istream& io_stream)
{
    QC_TRACE("AnnotatedFile::readFromWAV");
    IffStreamSource source(io_stream);
    if (!readOrTell(source, {}))
        io_stream.setstate(std::ios::failbit);
    return io_stream;
}

bool AnnotatedFile::readFromWAV(InputFile& io_file)
{
    QC_TRACE("AnnotatedFile::readFromWAV");
    IffFileSource source(io_file);
    return readOrTell(source, io_file.getFilename());
}

bool AnnotatedFile::readOrTell(IffSource& io_source, const std::string& in_strFilename)
{
    *this = AnnotatedFile();
    std::string strError;
    if (read(io_source, in_strFilename, strError))
        return true;
    *this = AnnotatedFile();
    QC_ERROR("Cannot read annotations" << (in_strFilename.empty() ? "" : " of ") << in_strFilename << ": "
                                       << strError);
    return false;
}

bool AnnotatedFile::read(IffSource& io_source, const std::string& in_strFilename, std::string& out_strError)
{
    WavStructure structure;
    CueSheetReader cueReader;
    if (!structure.read(io_source))
    {
        out_strError = structure.getError();
        return false;
    }
    m_vChunkOrder = describeChunks(io_source, structure);
    if (!cueReader.read(io_source, structure))
    {
        out_strError = cueReader.getError();
        return false;
    }
    const std::string strPrefix =
        "Annotated recording" + (in_strFilename.empty() ? ": " : ' ' + in_strFilename + ": ");
    if (structure.isCut())
        QC_WARN(strPrefix << "the file is shorter than its header says, annotations may be lost");
    for (const std::string& strWarning : cueReader.getWarnings())
        QC_WARN(strPrefix << strWarning);
    m_format = structure.getFormat();
    m_strContainer = structure.getRiff().getContainer();
    m_uiFrames = structure.getFrameCount();
    m_sheet = std::move(cueReader.getSheet());
    buildAnnotations();
    return true;
}

void AnnotatedFile::buildAnnotations()
{
    const CueLengths lengths(m_sheet);
    const double dRate = m_format.m_uiRate;
    m_vAnnotations.reserve(m_sheet.m_vCues.size());
    for (const CuePoint& cue : m_sheet.m_vCues)
    {
        const std::uint64_t uiStop = lengths.getStop(cue);
        std::vector<Annotation>& vTarget = uiStop == cue.m_uiSampleOffset ? m_vMarkers : m_vAnnotations;
        vTarget.emplace_back(lengths.getLabel(cue), cue.m_uiSampleOffset / dRate,
                             static_cast<double>(uiStop) / dRate, cue.m_note.value_or(""));
    }
}

} // namespace Vexalor
