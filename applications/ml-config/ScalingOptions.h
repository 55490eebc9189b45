#pragma once

#include "ml-config/ScalingLearner.h"
#include "ml-config/WriteOptions.h"

namespace Vexalor::MachineLearning
{

/// Those of "learn-scaling".
std::span<const ConfigOption> getScalingOptions();

/// Declares the options, with the kinds of treatments in their help texts.
void addScalingOptions(options_description& io_options);

/// Takes over what was given; when shares are joined, nothing is said of input. Returns what is wrong with
/// it, empty if nothing is; throws CommandLineError for what is no number.
std::string takeScalingRequest(const variables_map& in_map, bool in_bJoin, ScalingRequest& io_request);

} // namespace Vexalor::MachineLearning
