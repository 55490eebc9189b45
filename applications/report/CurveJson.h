#pragma once

#include "report/ScoreBins.h"

#include <nlohmann/json_fwd.hpp>

namespace Vexalor::MachineLearning
{

/// The curve of a report; null when there are no patterns of one of the two classes.
nlohmann::ordered_json makeCurveJson(const ScoreBins& in_bins);

} // namespace Vexalor::MachineLearning
