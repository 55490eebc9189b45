#pragma once

#include "ml-config/GeneratorKinds.h"
#include "ml-config/ScalingLearner.h"

#include <string>

namespace Vexalor
{
class Ranks;
}

namespace Vexalor::MachineLearning
{

/// Stands for standard output as the name of a file to write.
inline constexpr const char* STANDARD_OUTPUT = "-";

/// Creates the generator, tries it and writes its configuration into a file, or to standard output.
/// False, with the reason logged and a file of that name as it was, when it cannot be used or written.
bool writeConfiguration(const GeneratorRequest& in_request, const std::string& in_strFile);

/// Learns the scaling of the patterns of a generator and writes it, as writeConfiguration does, with learning
/// off.
bool learnScaling(const ScalingRequest& in_request, const std::string& in_strFile);

/// The same in shares, doc/shares.md: sums up one of them into a file, and learns from the files of all.
bool learnScalingShare(const ScalingRequest& in_request, const Shard& in_shard,
                       const std::string& in_strFile);
bool joinScaling(const ScalingRequest& in_request, const StringVector& in_vShares,
                 const std::string& in_strFile);

/// The same by one of the processes that were started together; the first one writes.
bool learnScalingTogether(const ScalingRequest& in_request, Ranks& io_ranks, const std::string& in_strFile);

/// Prints what a configuration says. False, with the reason logged, when it cannot be loaded or its generator
/// cannot make patterns; throws like loadDataGeneratorFromStream.
bool explainConfiguration(const std::string& in_strFile);

} // namespace Vexalor::MachineLearning
