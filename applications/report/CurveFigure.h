#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// The two drawings of the curve of a report: hits over false alarms, and misses over false alarms on scales
/// of the normal distribution, each with the operating point.
std::string drawCurves(const nlohmann::ordered_json& in_curve);

} // namespace Vexalor::MachineLearning
