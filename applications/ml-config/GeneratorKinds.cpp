#include "ml-config/GeneratorKinds.h"

#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLAudioSetDataGeneratorForVad.h"
#include "MLAudioSetDataGenerators.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorForVad.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "ml-config/ClassNames.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <sstream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

template <class Generator>
CountedObjPtr<DataGenerator> newConfigured(const typename Generator::Config& in_config)
{
    const CountedObjPtr<Generator> pGenerator(new Generator);
    if (!pGenerator->configure(in_config))
        return {};
    return pGenerator;
}

template <class Generator>
CountedObjPtr<DataGenerator> newDefault()
{
    return CountedObjPtr<DataGenerator>(new Generator);
}

template <class Generator>
CountedObjPtr<DataGenerator> newUnconfigured(const GeneratorRequest&)
{
    return newDefault<Generator>();
}

AudioFileDataGenerator::Config makeAudioConfig(const GeneratorRequest& in_request)
{
    AudioFileDataGenerator::Config config;
    config.m_audioConfig = in_request.m_windows;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(
        newFeatureComputer(in_request.m_vFeatures, in_request.m_features).release());
    config.m_dMaxAudioTime = in_request.m_dMaxAudioTime;
    config.m_vClasses = in_request.m_vClasses;
    return config;
}

DataGeneratorForAMToneDetector::Config makeAMConfig(const GeneratorRequest& in_request)
{
    DataGeneratorForAMToneDetector::Config config;
    static_cast<AudioFileDataGenerator::Config&>(config) = makeAudioConfig(in_request);
    config.m_uiFreqCarrierTol = in_request.m_uiCarrierTolerance;
    config.m_uiFreqModulatedTol = in_request.m_uiModulationTolerance;
    return config;
}

CountedObjPtr<DataGenerator> newVectorFileWithFeatures(const GeneratorRequest& in_request)
{
    VectorFileDataGenWithFeatureComputer::Config config;
    config.m_pFeatureComputer = makeAudioConfig(in_request).m_pFeatureComputer;
    return newConfigured<VectorFileDataGenWithFeatureComputer>(config);
}

template <class Generator>
CountedObjPtr<DataGenerator> newAudio(const GeneratorRequest& in_request)
{
    return newConfigured<Generator>(makeAudioConfig(in_request));
}

CountedObjPtr<DataGenerator> newAM(const GeneratorRequest& in_request)
{
    return newConfigured<DataGeneratorForAMToneDetector>(makeAMConfig(in_request));
}

template <class Set>
CountedObjPtr<DataGenerator> newSet(const GeneratorRequest& in_request)
{
    typename Set::Config config;
    config.m_dataGenConfig = makeAudioConfig(in_request);
    return newConfigured<Set>(config);
}

CountedObjPtr<DataGenerator> newAMSet(const GeneratorRequest& in_request)
{
    LowMemoryAudioSetDataGeneratorForAMToneDetector::Config config;
    config.m_dataGenConfig = makeAMConfig(in_request);
    return newConfigured<LowMemoryAudioSetDataGeneratorForAMToneDetector>(config);
}

CountedObjPtr<DataGenerator> newSmoothedVadSet(const GeneratorRequest& in_request)
{
    AudioSetDataGeneratorForVad::Config config;
    config.m_audioGenConfig = makeAudioConfig(in_request);
    config.m_uiDebouncingWindows = in_request.m_uiDebouncingWindows;
    config.m_uiIncertitudeWindows = in_request.m_uiIncertitudeWindows;
    return newConfigured<AudioSetDataGeneratorForVad>(config);
}

CountedObjPtr<DataGenerator> newToneSet(const GeneratorRequest& in_request)
{
    AudioSetDataGeneratorForToneDetector::Config config;
    config.m_audioGenConfig = makeAudioConfig(in_request);
    config.m_iFrequencyTolerance = in_request.m_iToneTolerance;
    config.m_bConstantInput = in_request.m_bConstantInput;
    return newConfigured<AudioSetDataGeneratorForToneDetector>(config);
}

StringVector split(const std::string& in_strList)
{
    StringVector vParts;
    std::istringstream list(in_strList);
    for (std::string strPart; std::getline(list, strPart, ',');)
        vParts.push_back(strPart);
    return vParts;
}

constexpr const char* VAD_CLASSES = "VOICE,OTHER";
constexpr const char* SMOOTHED_VAD_CLASSES = "VOICE,SILENCE";
constexpr const char* WIDEBAND_CLASSES = "WB_SF_TONE,OTHER";

std::string findVadFault(const StringVector& in_vClasses)
{
    return in_vClasses == split(VAD_CLASSES) ? "" : std::string("the classes are always ") + VAD_CLASSES;
}

std::string findSmoothedVadFault(const StringVector& in_vClasses)
{
    return in_vClasses == split(SMOOTHED_VAD_CLASSES)
               ? ""
               : std::string("the classes are always ") + SMOOTHED_VAD_CLASSES;
}

constexpr GeneratorKind KINDS[] = {
    {"audio", "MLAudioFileDataGenerator", newAudio<AudioFileDataGenerator>,
     newDefault<AudioFileDataGenerator>, findClassFault, "VOICE,OTHER"},
    {"wideband", "MLDataGeneratorForWidebandToneDetector", newAudio<DataGeneratorForWidebandToneDetector>,
     newDefault<DataGeneratorForWidebandToneDetector>, findWidebandClassFault, WIDEBAND_CLASSES},
    {"am", "MLDataGeneratorForAMToneDetector", newAM, newDefault<DataGeneratorForAMToneDetector>,
     findAMClassFault},
    {"vad", "MLVadAudioFileDataGenerator", newAudio<VadAudioFileDataGenerator>,
     newDefault<VadAudioFileDataGenerator>, findVadFault, VAD_CLASSES},
    {"smoothed-vad", "MLDataGeneratorForVad", newAudio<DataGeneratorForVad>, newDefault<DataGeneratorForVad>,
     findSmoothedVadFault, SMOOTHED_VAD_CLASSES},
    {"audio-set", "MLAudioSetDataGenerator", newSet<AudioSetDataGenerator>, newDefault<AudioSetDataGenerator>,
     findClassFault, "VOICE,OTHER"},
    {"low-memory-audio-set", "MLLowMemoryAudioSetDataGenerator", newSet<LowMemoryAudioSetDataGenerator>,
     newDefault<LowMemoryAudioSetDataGenerator>, findClassFault, "VOICE,OTHER"},
    {"wideband-set", "MLLowMemoryAudioSetDataGeneratorForWidebandToneDetector",
     newSet<LowMemoryAudioSetDataGeneratorForWidebandToneDetector>,
     newDefault<LowMemoryAudioSetDataGeneratorForWidebandToneDetector>, findWidebandClassFault,
     WIDEBAND_CLASSES},
    {"am-set", "MLLowMemoryAudioSetDataGeneratorForAMToneDetector", newAMSet,
     newDefault<LowMemoryAudioSetDataGeneratorForAMToneDetector>, findAMClassFault},
    {"vad-set", "MLLowMemoryVadAudioSetDataGenerator", newSet<LowMemoryVadAudioSetDataGenerator>,
     newDefault<LowMemoryVadAudioSetDataGenerator>, findVadFault, VAD_CLASSES},
    {"smoothed-vad-set", "MLAudioSetDataGeneratorForVad", newSmoothedVadSet,
     newDefault<AudioSetDataGeneratorForVad>, findSmoothedVadFault, SMOOTHED_VAD_CLASSES},
    {"tone-set", "MLAudioSetDataGenForToneDetector", newToneSet,
     newDefault<AudioSetDataGeneratorForToneDetector>, findToneClassFault},
    {"vector-file", "MLVectorFileDataGenerator", newUnconfigured<VectorFileDataGenerator>,
     newDefault<VectorFileDataGenerator>},
    {"vector-file-features", "MLVectorFileDataGenWithFeatureComputer", newVectorFileWithFeatures,
     newDefault<VectorFileDataGenWithFeatureComputer>, nullptr, "", true},
    {"binary-file", "MLBinaryFileDataGenerator", newUnconfigured<BinaryFileDataGenerator>,
     newDefault<BinaryFileDataGenerator>},
};

/// What is wrong with features and classes; empty if nothing is.
std::string findFault(const GeneratorKind& in_kind, const GeneratorRequest& in_request)
{
    if (!in_kind.hasFeatures())
        return {};
    for (const std::string& strName : in_request.m_vFeatures)
    {
        if (findFeatureKind(strName)->m_bNeedsRate && in_request.m_windows.m_uiSamplingRate == 0)
            return "feature '" + strName + "' needs the rate of the recordings, not 0";
    }
    if (in_kind.m_findClassFault == nullptr)
        return {};
    if (in_request.m_vClasses.empty())
        return std::string("generator '") + in_kind.m_name + "' needs classes, see --help";
    return in_kind.m_findClassFault(in_request.m_vClasses);
}

} // namespace

std::span<const GeneratorKind> getGeneratorKinds()
{
    return KINDS;
}

const GeneratorKind* findGeneratorKind(const std::string& in_strName)
{
    const auto* itKind =
        std::find_if(std::begin(KINDS), std::end(KINDS),
                     [&](const GeneratorKind& in_kind) { return in_strName == in_kind.m_name; });
    return itKind == std::end(KINDS) ? nullptr : itKind;
}

CountedObjPtr<DataGenerator> newGenerator(const GeneratorRequest& in_request)
{
    const GeneratorKind& kind = *findGeneratorKind(in_request.m_strKind);
    GeneratorRequest request = in_request;
    if (request.m_vClasses.empty())
        request.m_vClasses = split(kind.m_usualClasses);
    const std::string strFault = findFault(kind, request);
    if (strFault.empty())
        return kind.m_create(request);
    QC_ERROR("Cannot configure the generator: " << strFault);
    return {};
}

CountedObjPtr<DataGenerator> newFeatureHolder(std::unique_ptr<FeatureComputer> in_pComputer)
{
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(in_pComputer.release());
    return newConfigured<AudioFileDataGenerator>(config);
}

} // namespace Vexalor::MachineLearning
