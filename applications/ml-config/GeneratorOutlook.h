#pragma once

#include "MLDataGenerator.h"
#include "ml-config/ConfigurationTree.h"
#include "quillcast-core/StringVector.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// What can be said about a configured generator before it has seen an input file.
struct GeneratorOutlook
{
    std::string m_strPatterns; ///< size of a pattern, in words; empty when it is not known
    std::string m_strFault;    ///< why no pattern can be made; empty if nothing is known to be wrong
    StringVector m_vRemarks;   ///< one sentence each
};

/// Tries the generator: an audio generator's features are computed for a window of silence. in_entries are
/// those of its configuration. Nothing is known of generators of unknown classes.
GeneratorOutlook examineGenerator(const DataGenerator& in_generator, const ConfigurationEntries& in_entries);

} // namespace Vexalor::MachineLearning
