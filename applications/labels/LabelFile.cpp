#include "labels/LabelFile.h"

#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

#include <cmath>
#include <filesystem>
#include <limits>

namespace Vexalor::LabelFile
{

namespace
{

constinit Logger s_logger("quillcast.app.LabelFile");

constexpr const char* STANDARD_INPUT = "-";

/// At most a byte more than a file may have. False, with the reason logged, when it cannot be read.
bool readText(const std::string& in_strFile, std::string& out_strText)
{
    constexpr std::size_t BLOCK = 65536;
    InputFile file;
    if (!(in_strFile == STANDARD_INPUT ? file.open("/dev/stdin") : file.openRegular(in_strFile.c_str())))
    {
        QC_ERROR("Cannot read " << in_strFile << ": " << file.getReason());
        return false;
    }
    for (std::size_t uiRead = 1; uiRead != 0 && out_strText.size() <= LabelFormat::MOST_BYTES;)
    {
        const std::size_t uiSize = out_strText.size();
        out_strText.resize(uiSize + BLOCK);
        uiRead = file.read(out_strText.data() + uiSize, BLOCK);
        out_strText.resize(uiSize + uiRead);
    }
    return !file.hasFailed();
}

/// True for a band of one frequency that a label of a tone can name.
bool isTone(const LabelSpan& in_span)
{
    return in_span.m_low && in_span.m_low == in_span.m_high && *in_span.m_low >= 0.5 &&
           *in_span.m_low < std::numeric_limits<std::uint32_t>::max();
}

} // namespace

bool read(const std::string& in_strFile, const LabelFormat& in_format, const LabelReadOptions& in_options,
          std::vector<LabelSpan>& out_vSpans)
{
    QC_TRACE("LabelFile::read");
    std::string strText;
    LabelFault fault;
    if (!readText(in_strFile, strText))
        return false;
    if (in_format.read(strText, in_options, out_vSpans, fault))
        return true;
    QC_ERROR("Cannot import " << in_strFile << ": " << fault.getText());
    return false;
}

std::size_t toAnnotations(const std::vector<LabelSpan>& in_vSpans, std::vector<Annotation>& out_vAnnotations,
                          std::vector<Annotation>& out_vMarkers)
{
    std::size_t uiDropped = 0;
    for (const LabelSpan& span : in_vSpans)
    {
        const bool bTone = span.m_strLabel.empty() && isTone(span);
        Annotation annotation(bTone ? "SF:" + std::to_string(std::llround(*span.m_low)) : span.m_strLabel,
                              span.m_dStart, span.m_dStop);
        const LabelSpan kept = toSpan(annotation);
        uiDropped +=
            bTone || (kept.m_low == span.m_low && kept.m_high == span.m_high) || (!span.m_low && !span.m_high)
                ? 0
                : 1;
        (span.m_dStart == span.m_dStop ? out_vMarkers : out_vAnnotations).push_back(std::move(annotation));
    }
    return uiDropped;
}

LabelSpan toSpan(const Annotation& in_annotation)
{
    LabelSpan span{
        in_annotation.getStartTime(), in_annotation.getStopTime(), in_annotation.getLabel(), {}, {}};
    SingleFrequencyAnnotationImpl tone;
    AmplitudeModulatedAnnotationImpl modulated;
    if (tone.setLabel(span.m_strLabel))
        span.m_low = span.m_high = tone.getFrequency();
    else if (modulated.setLabel(span.m_strLabel))
    {
        const double dCarrier = modulated.getCarrierFreq();
        const double dModulated = modulated.getModulatedFreq();
        span.m_low = std::max(dCarrier - dModulated, 0.0);
        span.m_high = dCarrier + dModulated;
    }
    return span;
}

std::string getName(const std::string& in_strRecording)
{
    return std::filesystem::path(in_strRecording).stem().string();
}

} // namespace Vexalor::LabelFile
