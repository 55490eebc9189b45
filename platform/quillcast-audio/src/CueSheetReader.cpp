#include "CueSheetReader.h"

#include "FirstOfId.h"
#include "quillcast-fileformat-iff/LittleEndian.h"

#include <utility>

namespace Vexalor
{

namespace
{

/// Largest "cue " or "smpl" chunk that is read, in bytes: 2.7 million cue points.
constexpr std::uint64_t MAX_CHUNK_SIZE = std::uint64_t(1) << 26;

constexpr std::uint64_t CUE_SIZE = 24;
constexpr std::uint64_t SAMPLER_SIZE = 36;
constexpr std::uint64_t LOOP_SIZE = 24;
constexpr std::uint64_t LONG_TEXT_SIZE = 20;

std::string untilZero(const std::string& in_strData, std::size_t in_uiBegin)
{
    const std::size_t uiEnd = in_strData.find('\0', in_uiBegin);
    return in_strData.substr(in_uiBegin, uiEnd == std::string::npos ? uiEnd : uiEnd - in_uiBegin);
}

} // namespace

bool CueSheetReader::fail(const std::string& in_strError)
{
    m_strError = in_strError;
    return false;
}

bool CueSheetReader::read(IffSource& io_source, const WavStructure& in_structure)
{
    *this = CueSheetReader();
    for (const IffChunk& chunk : in_structure.getRiff().getChunks())
        if (!readChunk(io_source, chunk))
            return false;
    attachTexts();
    return !io_source.hasFailed() || fail("the file cannot be read");
}

/// Of another kind than annotations: nothing.
bool CueSheetReader::readChunk(IffSource& io_source, const IffChunk& in_chunk)
{
    if (WavStructure::isList(in_chunk) && WavStructure::getListType(io_source, in_chunk) == "adtl")
        return readList(io_source, in_chunk);
    const bool bCues = in_chunk.m_strId == "cue ";
    if (!bCues && in_chunk.m_strId != "smpl")
        return true;
    std::string strData;
    if (in_chunk.m_uiSize > MAX_CHUNK_SIZE ||
        !io_source.readAt(in_chunk.getDataPosition(), strData, in_chunk.m_uiSize))
        return fail("its \"" + in_chunk.m_strId + "\" chunk is too long or cannot be read");
    return bCues ? readCues(strData) : readLoops(strData);
}

bool CueSheetReader::readCues(const std::string& in_strData)
{
    if (in_strData.size() < 4 || readU32(in_strData.data()) > (in_strData.size() - 4) / CUE_SIZE)
        return fail("its \"cue \" chunk announces more cue points than it holds");
    const std::uint32_t uiCount = readU32(in_strData.data());
    m_sheet.m_vCues.reserve(m_sheet.m_vCues.size() + uiCount);
    for (std::uint32_t i = 0; i < uiCount; ++i)
    {
        const char* pCue = in_strData.data() + 4 + i * CUE_SIZE;
        m_sheet.m_vCues.push_back({readU32(pCue),
                                   readU32(pCue + 4),
                                   std::string(pCue + 8, 4),
                                   readU32(pCue + 12),
                                   readU32(pCue + 16),
                                   readU32(pCue + 20),
                                   {},
                                   {}});
    }
    return true;
}

bool CueSheetReader::readLoops(const std::string& in_strData)
{
    if (in_strData.size() < SAMPLER_SIZE ||
        readU32(in_strData.data() + 28) > (in_strData.size() - SAMPLER_SIZE) / LOOP_SIZE)
        return fail("its \"smpl\" chunk announces more loops than it holds");
    const std::uint32_t uiCount = readU32(in_strData.data() + 28);
    for (std::uint32_t i = 0; i < uiCount; ++i)
    {
        const char* pLoop = in_strData.data() + SAMPLER_SIZE + i * LOOP_SIZE;
        m_sheet.m_vLoops.push_back({readU32(pLoop), readU32(pLoop + 4), readU32(pLoop + 8),
                                    readU32(pLoop + 12), readU32(pLoop + 16), readU32(pLoop + 20)});
    }
    return true;
}

bool CueSheetReader::readList(IffSource& io_source, const IffChunk& in_chunk)
{
    const std::uint64_t uiEnd = in_chunk.getDataPosition() + in_chunk.m_uiSize;
    IffChunkWalker walker(io_source, in_chunk.getDataPosition() + 4, uiEnd);
    IffChunk entry;
    std::string strData;
    // Mostly each cue point has one of each.
    m_vLabels.reserve(m_sheet.m_vCues.size());
    m_sheet.m_vTexts.reserve(m_sheet.m_vCues.size());
    while (walker.next(entry))
    {
        if (entry.m_strId != "labl" && entry.m_strId != "note" && entry.m_strId != "ltxt")
            continue;
        if (!entry.m_bComplete || entry.m_uiSize > MAX_LABEL_SIZE + LONG_TEXT_SIZE ||
            !io_source.readAt(entry.getDataPosition(), strData, entry.m_uiSize) ||
            !readListEntry(entry.m_strId, strData))
            return fail("its list of labels is damaged at byte " + std::to_string(entry.m_uiPosition));
    }
    // Less than a header: filler of an editor.
    if (uiEnd - walker.getPosition() >= IffChunk::HEADER_SIZE)
        return fail("its list of labels is damaged at byte " + std::to_string(walker.getPosition()));
    return true;
}

bool CueSheetReader::readListEntry(const std::string& in_strId, const std::string& in_strData)
{
    if (in_strId == "ltxt")
        return readLongText(in_strData);
    if (in_strData.size() < 4)
        return false;
    std::vector<NamedText>& vTexts = in_strId == "labl" ? m_vLabels : m_vNotes;
    vTexts.push_back({readU32(in_strData.data()), untilZero(in_strData, 4)});
    return true;
}

bool CueSheetReader::readLongText(const std::string& in_strData)
{
    if (in_strData.size() < LONG_TEXT_SIZE)
        return false;
    const char* pText = in_strData.data();
    m_sheet.m_vTexts.push_back({readU32(pText), readU32(pText + 4), std::string(pText + 8, 4),
                                readU16(pText + 12), readU16(pText + 14), readU16(pText + 16),
                                readU16(pText + 18), untilZero(in_strData, LONG_TEXT_SIZE)});
    return true;
}

/// The first text of a kind holds, and goes to the first cue point of its id.
void CueSheetReader::attachTexts()
{
    const std::vector<NamedText> vLabels = std::exchange(m_vLabels, {});
    const std::vector<NamedText> vNotes = std::exchange(m_vNotes, {});
    const FirstOfId cues(m_sheet.m_vCues, [](const CuePoint& in_cue) { return in_cue.m_uiId; });
    for (std::size_t i = 0; i < m_sheet.m_vCues.size(); ++i)
        if (cues.find(m_sheet.m_vCues[i].m_uiId) != i)
            m_vWarnings.push_back("several cue points have the id " +
                                  std::to_string(m_sheet.m_vCues[i].m_uiId));
    for (const NamedText& label : vLabels)
    {
        const std::size_t uiCue = cues.find(label.m_uiCueId);
        if (uiCue == FirstOfId::NONE)
            m_sheet.m_labelsWithoutCue.emplace(label.m_uiCueId, label.m_strText);
        else if (!m_sheet.m_vCues[uiCue].m_label)
            m_sheet.m_vCues[uiCue].m_label = label.m_strText;
    }
    for (const NamedText& note : vNotes)
    {
        const std::size_t uiCue = cues.find(note.m_uiCueId);
        if (uiCue != FirstOfId::NONE && !m_sheet.m_vCues[uiCue].m_note)
            m_sheet.m_vCues[uiCue].m_note = note.m_strText;
    }
    for (const auto& [uiId, strLabel] : m_sheet.m_labelsWithoutCue)
        m_vWarnings.push_back("label \"" + strLabel + "\" names the cue point " + std::to_string(uiId) +
                              ", which does not exist");
}

} // namespace Vexalor
