#pragma once

#include "MLDataGenerator.h"
#include "ml-config/FeatureKinds.h"
#include "quillcast-audio/LinearAudioWindower.h"

#include <span>
#include <string>

namespace Vexalor::MachineLearning
{

/// What the options say about the generator. Unless they say otherwise it is one for speech on the telephone.
struct GeneratorRequest
{
    std::string m_strKind = "audio";
    StringVector m_vLibraries;
    LinearAudioWindower::Config m_windows;
    StringVector m_vFeatures{"log-mel"}; ///< names of kinds
    FeatureSettings m_features;
    double m_dMaxAudioTime = 0.0; ///< s
    StringVector m_vClasses{"VOICE", "OTHER"};
};

/// A generator that can be asked for.
struct GeneratorKind
{
    const char* m_name;
    const char* m_key; ///< of its class, which FieldDescriptions.h describes
    /// Configured as requested, with features that exist; null, with the reason logged, when that makes no
    /// sense.
    CountedObjPtr<DataGenerator> (*m_create)(const GeneratorRequest&);
    CountedObjPtr<DataGenerator> (*m_createDefault)();
};

std::span<const GeneratorKind> getGeneratorKinds();
/// Null for a name that is none.
const GeneratorKind* findGeneratorKind(const std::string& in_strName);

/// An audio generator that has default parameters but for its feature computer.
CountedObjPtr<DataGenerator> newFeatureHolder(std::unique_ptr<FeatureComputer> in_pComputer);

} // namespace Vexalor::MachineLearning
