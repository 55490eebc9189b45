#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// An inspection as text for a terminal: counts, classes, inputs, labels, then what was found.
std::string makeInspectionText(const nlohmann::ordered_json& in_inspection);

/// What was found, a line each: "warning: ...".
std::string makeFindingsText(const nlohmann::ordered_json& in_inspection);

} // namespace Vexalor::MachineLearning
