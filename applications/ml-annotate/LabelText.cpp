#include "ml-annotate/LabelText.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace Vexalor::LabelText
{

namespace
{

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/// Cuts the part up to the separator off the front of a text.
std::string_view takeUntil(std::string_view& io_text, char in_separator)
{
    const std::size_t uiEnd = io_text.find(in_separator);
    const std::string_view part = io_text.substr(0, uiEnd);
    io_text.remove_prefix(uiEnd == std::string_view::npos ? io_text.size() : uiEnd + 1);
    return part;
}

bool parseTime(std::string_view in_text, double& out_dTime)
{
    const char* pEnd = in_text.data() + in_text.size();
    const auto [pNext, error] = std::from_chars(in_text.data(), pEnd, out_dTime);
    return error == std::errc() && pNext == pEnd && std::isfinite(out_dTime);
}

bool isSkipped(std::string_view in_line)
{
    const std::size_t uiFirst = in_line.find_first_not_of(" \t");
    return uiFirst == std::string_view::npos || in_line[uiFirst] == '#' || in_line[uiFirst] == '\\';
}

/// The fault of a line; empty when it has none.
std::string parseLine(std::string_view in_line, bool in_bTable, std::vector<Annotation>& out_vAnnotations,
                      std::vector<Annotation>& out_vMarkers)
{
    const std::string_view startText = takeUntil(in_line, '\t');
    const std::string_view stopText = takeUntil(in_line, '\t');
    double dStart = 0.0;
    double dStop = 0.0;
    if (!parseTime(startText, dStart))
        return "\"" + std::string(startText) + "\" is no start time in seconds";
    if (!parseTime(stopText, dStop))
        return "\"" + std::string(stopText) + "\" is no stop time in seconds";
    if (dStart < 0.0)
        return "it starts before the recording";
    if (dStop < dStart)
        return "it stops before its start";
    const std::string_view label = in_bTable ? takeUntil(in_line, '\t') : in_line;
    (dStart == dStop ? out_vMarkers : out_vAnnotations).emplace_back(std::string(label), dStart, dStop);
    return {};
}

} // namespace

std::string formatNumber(double in_dValue)
{
    // The longest plain form of a double has 309 digits before the point or 1074 after it.
    char digits[1100];
    const auto [pEnd, error] =
        std::to_chars(digits, digits + sizeof digits, in_dValue, std::chars_format::fixed);
    return std::string(digits, pEnd);
}

std::string formatLine(const Annotation& in_annotation)
{
    std::string strLabel = in_annotation.getLabel();
    for (char& c : strLabel)
        if (c == '\n' || c == '\r' || c == '\0')
            c = ' ';
    return formatNumber(in_annotation.getStartTime()) + '\t' + formatNumber(in_annotation.getStopTime()) +
           '\t' + strLabel + '\n';
}

bool parse(const std::string& in_strText, std::vector<Annotation>& out_vAnnotations,
           std::vector<Annotation>& out_vMarkers, std::string& out_strError)
{
    std::string_view text = in_strText;
    if (text.starts_with(BYTE_ORDER_MARK))
        text.remove_prefix(BYTE_ORDER_MARK.size());
    bool bTable = false;
    for (std::size_t uiLine = 1; !text.empty(); ++uiLine)
    {
        std::string_view line = takeUntil(text, '\n');
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        const bool bColumnNames = uiLine == 1 && line.starts_with("start_s\t");
        bTable = bTable || bColumnNames;
        if (bColumnNames || isSkipped(line))
            continue;
        const std::string strFault = parseLine(line, bTable, out_vAnnotations, out_vMarkers);
        if (!strFault.empty())
        {
            out_strError = "line " + std::to_string(uiLine) + ": " + strFault;
            return false;
        }
    }
    return true;
}

} // namespace Vexalor::LabelText
