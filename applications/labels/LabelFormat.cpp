#include "labels/LabelFormat.h"

#include "common/ListedNames.h"
#include "labels/LabelReading.h"
#include "labels/TextEncoding.h"
#include "quillcast-core/AsciiCase.h"
#include "quillcast-core/MessageText.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>

namespace Vexalor
{

namespace
{

constexpr LabelFormat FORMATS[] = {
    {"text", ".txt .tsv", "start, tab, stop, tab, label; the label tracks of editors", readLabelTrack,
     newLabelTrackWriter},
    {"textgrid", ".TextGrid", "tiers of intervals and points", readTextGrid, newTextGridWriter},
    {"rttm", ".rttm", "turns of speakers", readRttm, newRttmWriter},
    {"csv", ".csv", "columns start_s, stop_s, label, low_hz, high_hz", readCsvLabels, newCsvLabelWriter},
    {"json", ".json", "an array of objects with members of those names", readJsonLabels, newJsonLabelWriter}};

} // namespace

std::string LabelFault::getText() const
{
    return m_uiLine == 0 ? m_strReason : "line " + std::to_string(m_uiLine) + ": " + m_strReason;
}

bool LabelWriter::refuse(const LabelSpan& in_span, const std::string& in_strReason)
{
    m_strError = "label " + MessageText::quote(in_span.m_strLabel) + " at " +
                 MessageText::toText(in_span.m_dStart) + " s " + in_strReason;
    return false;
}

const LabelFormat* LabelFormat::find(const std::string& in_strName)
{
    const auto* itFormat = std::find_if(std::begin(FORMATS), std::end(FORMATS),
                                        [&](const LabelFormat& in_format)
                                        { return equalIgnoringCase(in_strName, in_format.m_name); });
    return itFormat == std::end(FORMATS) ? nullptr : itFormat;
}

const LabelFormat* LabelFormat::findForFile(const std::string& in_strFile)
{
    const std::string strExtension = std::filesystem::path(in_strFile).extension().string();
    for (const LabelFormat& format : FORMATS)
        for (const std::string& strOwn : splitText(format.m_extensions, ' '))
            if (equalIgnoringCase(strOwn, strExtension))
                return &format;
    return nullptr;
}

std::string LabelFormat::listNames()
{
    std::string strNames;
    for (const LabelFormat& format : FORMATS)
        strNames.append(strNames.empty() ? "" : ", ").append(format.m_name);
    return strNames;
}

bool LabelFormat::read(std::string_view in_text, const LabelReadOptions& in_options,
                       std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault) const
{
    out_vSpans.clear();
    std::string strDecoded;
    if (in_text.size() > MOST_BYTES)
        return LabelReading::refuse(out_fault, 0,
                                    "it has more than " + std::to_string(MOST_BYTES) + " bytes");
    if (TextEncoding::isUtf16(in_text))
    {
        if (!TextEncoding::decodeUtf16(in_text, strDecoded))
            return LabelReading::refuse(out_fault, 0, "it begins as UTF-16 and is none");
        in_text = strDecoded;
    }
    if (in_text.starts_with(TextEncoding::UTF8_MARK))
        in_text.remove_prefix(TextEncoding::UTF8_MARK.size());
    if (m_read(in_text, in_options, out_vSpans, out_fault))
        return true;
    out_vSpans.clear();
    return false;
}

bool LabelFormat::write(const std::vector<LabelSpan>& in_vSpans, const LabelWriteOptions& in_options,
                        std::string& out_strText, std::string& out_strError) const
{
    const std::unique_ptr<LabelWriter> pWriter = m_newWriter(in_options);
    out_strText.clear();
    pWriter->begin(out_strText);
    for (const LabelSpan& span : in_vSpans)
    {
        const bool bTimes =
            span.m_dStart >= 0.0 && span.m_dStop >= span.m_dStart && std::isfinite(span.m_dStop);
        if (bTimes && pWriter->add(span, out_strText))
            continue;
        out_strError = bTimes
                           ? pWriter->getError()
                           : "label " + MessageText::quote(span.m_strLabel) +
                                 " has no times of a recording, from " + MessageText::toText(span.m_dStart) +
                                 " to " + MessageText::toText(span.m_dStop) + " s";
        return false;
    }
    pWriter->end(out_strText);
    return true;
}

} // namespace Vexalor
