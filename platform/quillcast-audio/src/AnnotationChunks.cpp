#include "AnnotationChunks.h"

#include "CueSheetReader.h"
#include "quillcast-core/MessageText.h"
#include "quillcast-fileformat-iff/LittleEndian.h"

#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

namespace Vexalor
{

namespace
{

constexpr std::uint32_t MAX_SAMPLE = std::numeric_limits<std::uint32_t>::max();

constexpr std::string_view LIST_TYPE = "adtl";

void appendChunk(std::string& io_strBytes, const char* in_id, const std::string& in_strData)
{
    io_strBytes += in_id;
    appendU32(io_strBytes, static_cast<std::uint32_t>(in_strData.size()));
    io_strBytes += in_strData;
    if (in_strData.size() % 2 == 1)
        io_strBytes += '\0';
}

void appendText(std::string& io_strBytes, const char* in_id, std::uint32_t in_uiCueId,
                const std::string& in_strText)
{
    std::string strData;
    appendU32(strData, in_uiCueId);
    strData += in_strText;
    strData += '\0';
    appendChunk(io_strBytes, in_id, strData);
}

} // namespace

AnnotationChunks::AnnotationChunks(std::uint32_t in_uiRate, std::set<std::uint32_t> in_takenIds)
    : m_uiRate(in_uiRate)
    , m_takenIds(std::move(in_takenIds))
{
}

bool AnnotationChunks::toSample(double in_dTime, std::uint32_t& out_uiSample)
{
    const double dSample = in_dTime * m_uiRate;
    if (!(dSample >= 0.0 && dSample <= MAX_SAMPLE))
    {
        m_strError = "time " + MessageText::toText(in_dTime) + " s lies outside what a WAV file can mark";
        return false;
    }
    out_uiSample = static_cast<std::uint32_t>(std::llround(dSample));
    return true;
}

bool AnnotationChunks::checkText(const std::string& in_strText)
{
    const bool bZero = in_strText.find('\0') != std::string::npos;
    if (!bZero && in_strText.size() <= CueSheetReader::MAX_LABEL_SIZE)
        return true;
    m_strError =
        bZero ? "a label or note contains a zero byte"
              : "a label or note is longer than " + std::to_string(CueSheetReader::MAX_LABEL_SIZE) + " bytes";
    return false;
}

bool AnnotationChunks::add(const Annotation& in_annotation, bool in_bMarker)
{
    std::uint32_t uiStart = 0;
    std::uint32_t uiStop = 0;
    if (!toSample(in_annotation.getStartTime(), uiStart) || !toSample(in_annotation.getStopTime(), uiStop) ||
        !checkText(in_annotation.getLabel()) || !checkText(in_annotation.getNote()))
        return false;
    if (!in_bMarker && uiStop <= uiStart)
    {
        m_strError = "annotation " + MessageText::quote(in_annotation.getLabel()) + " at " +
                     MessageText::toText(in_annotation.getStartTime()) + " s does not stop after its start";
        return false;
    }
    append(in_annotation, uiStart, in_bMarker ? 0 : uiStop - uiStart);
    return true;
}

void AnnotationChunks::append(const Annotation& in_annotation, std::uint32_t in_uiStart,
                              std::uint32_t in_uiLength)
{
    do
        ++m_uiLastId;
    while (m_takenIds.count(m_uiLastId) != 0);
    ++m_uiCount;
    for (const std::uint32_t uiField : {m_uiLastId, in_uiStart})
        appendU32(m_strCues, uiField);
    m_strCues += "data";
    for (const std::uint32_t uiField : {std::uint32_t(0), std::uint32_t(0), in_uiStart})
        appendU32(m_strCues, uiField);

    appendText(m_strTexts, "labl", m_uiLastId, in_annotation.getLabel());
    if (in_uiLength != 0)
    {
        std::string strRegion;
        appendU32(strRegion, m_uiLastId);
        appendU32(strRegion, in_uiLength);
        strRegion += "rgn ";
        // Country, language, dialect and code page: not stated.
        appendU64(strRegion, 0);
        appendChunk(m_strTexts, "ltxt", strRegion);
    }
    if (!in_annotation.getNote().empty())
        appendText(m_strTexts, "note", m_uiLastId, in_annotation.getNote());
}

/// A million annotations are many bytes: they are not copied.
StringVector AnnotationChunks::takePieces()
{
    if (m_uiCount == 0)
        return {};
    std::string strCueHead = "cue ";
    appendU32(strCueHead, static_cast<std::uint32_t>(m_strCues.size() + sizeof m_uiCount));
    appendU32(strCueHead, std::exchange(m_uiCount, 0));
    std::string strTextHead = "LIST";
    appendU32(strTextHead, static_cast<std::uint32_t>(m_strTexts.size() + LIST_TYPE.size()));
    strTextHead += LIST_TYPE;
    StringVector vPieces;
    for (std::string* pPiece : {&strCueHead, &m_strCues, &strTextHead, &m_strTexts})
        vPieces.push_back(std::exchange(*pPiece, std::string()));
    return vPieces;
}

} // namespace Vexalor
