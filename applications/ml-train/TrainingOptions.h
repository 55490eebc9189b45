#pragma once

#include "common/FannTrainer.h"
#include "quillcast-infra/ProgramOptions.h"

namespace Vexalor::MachineLearning::TrainingOptions
{

/// How a network is trained.
void addOptions(options_description& io_options);

/// Throws CommandLineError.
FannTrainer::Settings getSettings(const variables_map& in_map);

} // namespace Vexalor::MachineLearning::TrainingOptions
