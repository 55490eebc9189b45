#pragma once

#include "MLDataGenerator.h"
#include "ml-config/FeatureKinds.h"
#include "quillcast-audio/LinearAudioWindower.h"

#include <cstdint>
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
    double m_dMaxAudioTime = 0.0;              ///< s
    StringVector m_vClasses;                   ///< empty: those that the kind usually has
    std::uint32_t m_uiCarrierTolerance = 0;    ///< Hz
    std::uint32_t m_uiModulationTolerance = 0; ///< Hz
    std::int32_t m_iToneTolerance = 10;        ///< Hz
    bool m_bConstantInput = true;
    std::uint32_t m_uiDebouncingWindows = 0;
    std::uint32_t m_uiIncertitudeWindows = 0;
};

/// A generator that can be asked for.
struct GeneratorKind
{
    const char* m_name;
    const char* m_key; ///< of its class, which FieldDescriptions.h describes
    /// Configured as requested, with features and classes that make sense; null, with the reason logged, when
    /// the generator refuses it.
    CountedObjPtr<DataGenerator> (*m_create)(const GeneratorRequest&);
    CountedObjPtr<DataGenerator> (*m_createDefault)();
    /// Why the generator should not have these classes, empty if nothing is wrong; null for a generator that
    /// reads no recordings.
    std::string (*m_findClassFault)(const StringVector&) = nullptr;
    const char* m_usualClasses = ""; ///< joined by commas; empty: they must be given
    bool m_bFeaturesOfFile = false;  ///< features of something else than recordings

    bool hasFeatures() const { return m_findClassFault != nullptr || m_bFeaturesOfFile; }
};

std::span<const GeneratorKind> getGeneratorKinds();
/// Null for a name that is none.
const GeneratorKind* findGeneratorKind(const std::string& in_strName);

/// The generator that is asked for, with features that exist; null, with the reason logged, when that makes
/// no sense.
CountedObjPtr<DataGenerator> newGenerator(const GeneratorRequest& in_request);

/// An audio generator that has default parameters but for its feature computer.
CountedObjPtr<DataGenerator> newFeatureHolder(std::unique_ptr<FeatureComputer> in_pComputer);

} // namespace Vexalor::MachineLearning
