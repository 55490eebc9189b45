#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// A report in a few lines of text: what was taken for what, events, the worst recordings.
std::string makeSummary(const nlohmann::ordered_json& in_report);

} // namespace Vexalor::MachineLearning
