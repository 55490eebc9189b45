#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// The page of an inspection: one HTML file without any script. Everything on it comes from the JSON.
std::string makeInspectionPage(const nlohmann::ordered_json& in_inspection);

} // namespace Vexalor::MachineLearning
