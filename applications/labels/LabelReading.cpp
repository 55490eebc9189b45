#include "labels/LabelReading.h"

#include "quillcast-core/MessageText.h"

#include <charconv>
#include <cmath>

namespace Vexalor
{

namespace LabelReading
{

std::string_view takeUntil(std::string_view& io_text, char in_separator)
{
    const std::size_t uiEnd = io_text.find(in_separator);
    const std::string_view part = io_text.substr(0, uiEnd);
    io_text.remove_prefix(uiEnd == std::string_view::npos ? io_text.size() : uiEnd + 1);
    return part;
}

std::string_view takeLine(std::string_view& io_text)
{
    std::string_view line = takeUntil(io_text, '\n');
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

bool parseNumber(std::string_view in_text, double& out_dNumber)
{
    const char* pEnd = in_text.data() + in_text.size();
    const auto [pNext, error] = std::from_chars(in_text.data(), pEnd, out_dNumber);
    return error == std::errc() && pNext == pEnd && std::isfinite(out_dNumber);
}

bool refuse(LabelFault& out_fault, std::size_t in_uiLine, const std::string& in_strReason)
{
    out_fault = {in_uiLine, in_strReason};
    return false;
}

bool add(const LabelSpan& in_span, std::size_t in_uiLine, std::vector<LabelSpan>& io_vSpans,
         LabelFault& out_fault)
{
    if (!std::isfinite(in_span.m_dStart) || !std::isfinite(in_span.m_dStop))
        return refuse(out_fault, in_uiLine, "its times are no finite numbers");
    if (in_span.m_dStart < 0.0)
        return refuse(out_fault, in_uiLine, "it starts before the recording");
    if (in_span.m_dStop < in_span.m_dStart)
        return refuse(out_fault, in_uiLine, "it stops before its start");
    if (io_vSpans.size() == LabelFormat::MOST_LABELS)
        return refuse(out_fault, in_uiLine,
                      "there are more than " + std::to_string(LabelFormat::MOST_LABELS) + " labels");
    io_vSpans.push_back(in_span);
    io_vSpans.back().m_dStart += 0.0; // no negative zero
    io_vSpans.back().m_dStop += 0.0;
    return true;
}

bool setBand(double in_dLow, double in_dHigh, std::size_t in_uiLine, LabelSpan& io_span,
             LabelFault& out_fault)
{
    constexpr double UNDEFINED = -1.0;
    for (const double dFrequency : {in_dLow, in_dHigh})
        if (!std::isfinite(dFrequency) || (dFrequency < 0.0 && dFrequency != UNDEFINED))
            return refuse(out_fault, in_uiLine, MessageText::toText(dFrequency) + " is no frequency in Hz");
    if (in_dLow > in_dHigh && in_dHigh != UNDEFINED)
        return refuse(out_fault, in_uiLine, "its low frequency is above its high one");
    io_span.m_low = in_dLow == UNDEFINED ? std::nullopt : std::optional(in_dLow + 0.0);
    io_span.m_high = in_dHigh == UNDEFINED ? std::nullopt : std::optional(in_dHigh + 0.0);
    return true;
}

} // namespace LabelReading

std::string formatPlain(double in_dValue, unsigned int in_uiDecimals)
{
    // The longest plain form of a double has 309 digits before the point or 1074 after it.
    char digits[1100];
    const auto [pEnd, error] =
        std::to_chars(digits, digits + sizeof digits, in_dValue, std::chars_format::fixed);
    std::string strNumber(digits, pEnd);
    const std::size_t uiPoint = strNumber.find('.');
    const std::size_t uiDecimals = uiPoint == std::string::npos ? 0 : strNumber.size() - uiPoint - 1;
    if (in_uiDecimals > uiDecimals)
        strNumber.append(uiPoint == std::string::npos ? "." : "").append(in_uiDecimals - uiDecimals, '0');
    return strNumber;
}

} // namespace Vexalor
