#pragma once

#include "inspect/Inspection.h"

#include <nlohmann/json_fwd.hpp>

namespace Vexalor::MachineLearning
{

/// What was found by the schema of doc/report.md, "The inspection of data".
nlohmann::ordered_json makeInspectionJson(const Inspection& in_inspection);

} // namespace Vexalor::MachineLearning
