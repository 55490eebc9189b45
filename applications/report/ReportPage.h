#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// The page of a report (doc/report.md): one HTML file with its drawings, style and script, which asks the
/// network for nothing. Everything on it comes from the report.
std::string makePage(const nlohmann::ordered_json& in_report);

} // namespace Vexalor::MachineLearning
