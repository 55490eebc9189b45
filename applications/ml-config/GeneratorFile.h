#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/StringVector.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// What a generator configuration holds: doc/formats.md, "Generator configurations".
struct GeneratorFile
{
    StringVector m_vLibraries; ///< loaded, in this order, before the generator is created
    CountedObjPtr<DataGenerator> m_pGenerator;

    /// The configuration as a file holds it, in the one form that saving gives, and what its elements are.
    /// Throws archive exceptions.
    ArchiveDescription describe() const;

    /// Loads the libraries and the generator. in_name stands for the text in messages. False, with the reason
    /// logged, when a library cannot be loaded; throws like loadDataGeneratorFromStream.
    bool fromText(const std::string& in_strText, const char* in_name);
};

/// Reads a whole file that may be a configuration. False, with the reason logged, when it cannot be read.
bool readConfigurationText(const char* in_path, std::string& out_strText);

} // namespace Vexalor::MachineLearning
