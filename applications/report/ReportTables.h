#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// Sections of the page of a report, as HTML without their headings.
namespace ReportTables
{

/// What was taken for what, scores of the classes, patterns by kind.
std::string makeClasses(const nlohmann::ordered_json& in_report);
/// For a report with events.
std::string makeEvents(const nlohmann::ordered_json& in_report);
/// For a report with a curve.
std::string makeCurve(const nlohmann::ordered_json& in_report);

} // namespace ReportTables

} // namespace Vexalor::MachineLearning
