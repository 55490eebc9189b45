#pragma once

#include "MLScalingDataGenerator.h"

#include <filesystem>

namespace Vexalor::Python
{

using Scaling = MachineLearning::VectorScaler::Config;

/// That of a file of a ScalingDataGenerator. Throws a Failure.
MachineLearning::ScalingDataGenerator::Config loadScalingConfig(const std::filesystem::path& in_file);

} // namespace Vexalor::Python
