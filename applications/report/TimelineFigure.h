#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// Draws one of the timelines of a report: signal and outputs, labels, targets and decisions of each class,
/// errors, with a slider that tells what is where.
std::string drawTimeline(const nlohmann::ordered_json& in_report, std::size_t in_uiTimeline,
                         const std::string& in_strName);

} // namespace Vexalor::MachineLearning
