#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Values of a report as people read them; "-" for null.
namespace ReportText
{

/// "95.66 %", of a ratio.
std::string toPercent(const nlohmann::ordered_json& in_ratio);
/// "1234/1290", of a ratio.
std::string toCounts(const nlohmann::ordered_json& in_ratio);
/// Four significant digits.
std::string toNumber(const nlohmann::ordered_json& in_number);
/// Seconds as "1:02:03.45" or "0:07.00".
std::string toTime(double in_dSeconds);
/// With blanks in place of line ends and tabs.
std::string toOneLine(std::string in_strText);
/// That of a recording of a report, with the tone that was looked for in it, if any.
std::string toRecordingName(const std::string& in_strName, const nlohmann::ordered_json& in_recording);
/// The number with that many digits after the point.
std::string toFixed(double in_dValue, int in_iDigits);
/// Rows of cells, columns as wide as their widest cell, aligned to the right; that of names to the left.
std::string toTable(const std::vector<std::vector<std::string>>& in_vRows, std::size_t in_uiNames);

} // namespace ReportText

} // namespace Vexalor::MachineLearning
