#include "report/ReportText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning::ReportText
{

namespace
{

/// Of any double with a few digits after the point.
constexpr std::size_t MAX_DIGITS = 400;

} // namespace

std::string toRecordingName(const std::string& in_strName, const nlohmann::ordered_json& in_recording)
{
    const auto itTone = in_recording.find("tone");
    return itTone == in_recording.end() ? in_strName : in_strName + " (" + itTone->get<std::string>() + ')';
}

std::string toFixed(double in_dValue, int in_iDigits)
{
    char digits[MAX_DIGITS];
    return {digits,
            std::to_chars(digits, digits + MAX_DIGITS, in_dValue, std::chars_format::fixed, in_iDigits).ptr};
}

std::string toOneLine(std::string in_strText)
{
    const auto breaksLine = [](char in_c)
    {
        return in_c == '\n' || in_c == '\r' || in_c == '\t';
    };
    std::replace_if(in_strText.begin(), in_strText.end(), breaksLine, ' ');
    return in_strText;
}

std::string toPercent(const nlohmann::ordered_json& in_ratio)
{
    if (in_ratio["value"].is_null())
        return "-";
    return toFixed(100.0 * in_ratio["value"].get<double>(), 2) + " %";
}

std::string toCounts(const nlohmann::ordered_json& in_ratio)
{
    return std::to_string(in_ratio["numerator"].get<std::uint64_t>()) + '/' +
           std::to_string(in_ratio["denominator"].get<std::uint64_t>());
}

std::string toNumber(const nlohmann::ordered_json& in_number)
{
    constexpr int SIGNIFICANT = 4;
    if (in_number.is_null())
        return "-";
    if (std::isnan(in_number.get<double>()))
        return "nan"; // whatever its sign
    char digits[MAX_DIGITS];
    return {digits, std::to_chars(digits, digits + MAX_DIGITS, in_number.get<double>(),
                                  std::chars_format::general, SIGNIFICANT)
                        .ptr};
}

std::string toTime(double in_dSeconds)
{
    constexpr int MINUTE = 60;
    constexpr int HUNDREDTHS = 100;
    const auto iAll = std::llround(in_dSeconds * HUNDREDTHS);
    const auto iSeconds = iAll / HUNDREDTHS;
    const auto toTwo = [](long long in_iNumber)
    {
        return (in_iNumber < 10 ? "0" : "") + std::to_string(in_iNumber);
    };
    const auto iHours = iSeconds / (MINUTE * MINUTE);
    const auto iMinutes = iSeconds / MINUTE % MINUTE;
    return (iHours > 0 ? std::to_string(iHours) + ':' + toTwo(iMinutes) : std::to_string(iMinutes)) + ':' +
           toTwo(iSeconds % MINUTE) + '.' + toTwo(iAll % HUNDREDTHS);
}

std::string toTable(const std::vector<std::vector<std::string>>& in_vRows, std::size_t in_uiNames)
{
    std::vector<std::size_t> vWidth;
    for (const auto& row : in_vRows)
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            vWidth.resize(std::max(vWidth.size(), i + 1));
            vWidth[i] = std::max(vWidth[i], row[i].size());
        }
    std::string strTable;
    for (const auto& row : in_vRows)
    {
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            const std::string strFill(vWidth[i] - row[i].size(), ' ');
            strTable += (i == 0 ? "" : "  ") + (i == in_uiNames ? row[i] + strFill : strFill + row[i]);
        }
        strTable.erase(strTable.find_last_not_of(' ') + 1) += '\n';
    }
    return strTable;
}

} // namespace Vexalor::MachineLearning::ReportText
