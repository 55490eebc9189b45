#pragma once

#include "MLGeneratorFacts.h"
#include "quillcast-core/DescribingArchive.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Values of all number fields of that name in an object that a DescribingArchive has described.
std::vector<double> findNumbers(const ArchiveElement& in_root, const char* in_field);

/// Hz: the rate that the windows are configured for, else that of the features, else that of the telephone.
/// in_generator describes the generator.
std::uint32_t findTrialRate(const LinearAudioWindower::Config& in_windows,
                            const ArchiveElement& in_generator);

/// How many features a window of silence of so many samples has; 0, with the reason, when they cannot be
/// computed, or take more than any sensible feature needs. in_generator describes the generator.
std::size_t countFeatures(const CloneableObjPtr<FeatureComputer>& in_pComputer,
                          const ArchiveElement& in_generator, std::size_t in_uiWindow,
                          std::string& out_strFault);

/// "1 input", "2 inputs".
std::string countOf(std::size_t in_uiCount, const char* in_what);

} // namespace Vexalor::MachineLearning
