#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/StringVector.h"

#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What can be said about a configured generator before it has seen an input file.
struct GeneratorOutlook
{
    std::string m_strPatterns; ///< size of a pattern, in words; empty when it is not known
    std::string m_strFault;    ///< why no pattern can be made; empty if nothing is known to be wrong
    StringVector m_vWarnings;  ///< what is probably not meant, a sentence each
    StringVector m_vRemarks;   ///< what should be known, a sentence each
    /// Hz that features of recordings were made for.
    std::vector<double> m_vFeatureRates;
};

/// Tries the generator: an audio generator's features are computed for a window of silence. in_root describes
/// its configuration. Nothing is known of generators without GeneratorFacts.
GeneratorOutlook examineGenerator(const DataGenerator& in_generator, const ArchiveElement& in_root);

} // namespace Vexalor::MachineLearning
