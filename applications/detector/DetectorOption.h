#pragma once

#include "quillcast-infra/ProgramOptions.h"

#include <initializer_list>

namespace Vexalor::MachineLearning
{

/// Throws CommandLineError when one of the options, which take another kind of file, names a detector. The
/// hint says where detectors belong.
void refuseDetectors(const variables_map& in_map, std::initializer_list<const char*> in_options,
                     const char* in_hint);

} // namespace Vexalor::MachineLearning
