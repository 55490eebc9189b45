#include "ml-config/GeneratorKinds.h"

#include "MLAudioFileDataGenerator.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "ml-config/ClassNames.h"
#include "quillcast-core/Logger.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

CountedObjPtr<DataGenerator> newConfigured(const AudioFileDataGenerator::Config& in_config)
{
    CountedObjPtr<AudioFileDataGenerator> pGenerator(new AudioFileDataGenerator);
    if (!pGenerator->configure(in_config))
        return {};
    return pGenerator;
}

/// What is wrong with the features; empty if nothing is.
std::string findFault(const GeneratorRequest& in_request)
{
    for (const std::string& strName : in_request.m_vFeatures)
    {
        if (findFeatureKind(strName)->m_bNeedsRate && in_request.m_windows.m_uiSamplingRate == 0)
            return "feature '" + strName + "' needs the rate of the recordings, not 0";
    }
    return findClassFault(in_request.m_vClasses);
}

CountedObjPtr<DataGenerator> newAudio(const GeneratorRequest& in_request)
{
    const std::string strFault = findFault(in_request);
    if (!strFault.empty())
    {
        QC_ERROR("Cannot configure the generator: " << strFault);
        return {};
    }
    AudioFileDataGenerator::Config config;
    config.m_audioConfig = in_request.m_windows;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(
        newFeatureComputer(in_request.m_vFeatures, in_request.m_features).release());
    config.m_dMaxAudioTime = in_request.m_dMaxAudioTime;
    config.m_vClasses = in_request.m_vClasses;
    return newConfigured(config);
}

template <class Generator>
CountedObjPtr<DataGenerator> newDefault()
{
    return CountedObjPtr<DataGenerator>(new Generator);
}

constexpr GeneratorKind KINDS[] = {
    {"audio", "MLAudioFileDataGenerator", newAudio, newDefault<AudioFileDataGenerator>},
    {"vector-file", "MLVectorFileDataGenerator",
     [](const GeneratorRequest&) { return newDefault<VectorFileDataGenerator>(); },
     newDefault<VectorFileDataGenerator>},
    {"binary-file", "MLBinaryFileDataGenerator",
     [](const GeneratorRequest&) { return newDefault<BinaryFileDataGenerator>(); },
     newDefault<BinaryFileDataGenerator>},
};

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

CountedObjPtr<DataGenerator> newFeatureHolder(std::unique_ptr<FeatureComputer> in_pComputer)
{
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(in_pComputer.release());
    return newConfigured(config);
}

} // namespace Vexalor::MachineLearning
