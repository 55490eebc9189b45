#pragma once

#include "report/TestResults.h"

#include <nlohmann/json_fwd.hpp>

namespace Vexalor::MachineLearning
{

/// One of the timelines of a report. Reads the recording once more, for its signal and its labels; what
/// cannot be read is left out.
nlohmann::ordered_json makeTimelineJson(const RecordingTimeline& in_timeline, const TestResults& in_results);

} // namespace Vexalor::MachineLearning
