#include "ml-config/FeatureKinds.h"

#include "quillcast-math/AudioFeatureComputers.h"
#include "quillcast-math/FeatureComputerSequence.h"
#include "quillcast-math/MelFeatureComputers.h"
#include "quillcast-math/ToneEnergyFeatureComputer.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

void apply(const FeatureSettings& in_settings, MelSpectrum::Config& io_config)
{
    io_config.m_dSamplingRate = in_settings.m_dSamplingRate.value_or(io_config.m_dSamplingRate);
    io_config.m_uiNbBands = in_settings.m_uiNbBands.value_or(io_config.m_uiNbBands);
}

FeatureComputer* newLogMel(const FeatureSettings& in_settings)
{
    LogMelFeatureComputer::Config config;
    apply(in_settings, config);
    return new LogMelFeatureComputer(config);
}

FeatureComputer* newMfcc(const FeatureSettings& in_settings)
{
    MfccFeatureComputer::Config config;
    apply(in_settings, config.m_mel);
    config.m_uiNbCepstra = in_settings.m_uiNbCepstra.value_or(config.m_uiNbCepstra);
    return new MfccFeatureComputer(config);
}

FeatureComputer* newTones(const FeatureSettings& in_settings)
{
    ToneEnergyFeatureComputer::Config config;
    config.m_dSamplingRate = in_settings.m_dSamplingRate.value_or(config.m_dSamplingRate);
    for (const double dFrequency : in_settings.m_vFrequencies)
        config.m_vFrequencies.push_back(dFrequency);
    return new ToneEnergyFeatureComputer(config);
}

template <class Computer>
FeatureComputer* newPlain(const FeatureSettings&)
{
    return new Computer;
}

constexpr FeatureKind KINDS[] = {
    {"log-mel", "LogMelFeatureComputer", true, newLogMel},
    {"mfcc", "MfccFeatureComputer", true, newMfcc},
    {"tones", "ToneEnergyFeatureComputer", true, newTones},
    {"energy", "EnergyFeatureComputer", false, newPlain<EnergyFeatureComputer>},
    {"zero-crossing", "ZeroCrossingRateFeatureComputer", false, newPlain<ZeroCrossingRateFeatureComputer>},
    {"identity", "IdentityFeatureComputer", false, newPlain<IdentityFeatureComputer>},
};

} // namespace

std::span<const FeatureKind> getFeatureKinds()
{
    return KINDS;
}

const FeatureKind* findFeatureKind(const std::string& in_strName)
{
    const auto* itKind =
        std::find_if(std::begin(KINDS), std::end(KINDS),
                     [&](const FeatureKind& in_kind) { return in_strName == in_kind.m_name; });
    return itKind == std::end(KINDS) ? nullptr : itKind;
}

std::unique_ptr<FeatureComputer> newFeatureComputer(const StringVector& in_vNames,
                                                    const FeatureSettings& in_settings)
{
    if (in_vNames.empty())
        return nullptr;
    if (in_vNames.size() == 1)
        return std::unique_ptr<FeatureComputer>(findFeatureKind(in_vNames.front())->m_create(in_settings));
    auto pSequence = std::make_unique<FeatureComputerSequence>();
    for (const std::string& strName : in_vNames)
        pSequence->add(findFeatureKind(strName)->m_create(in_settings));
    return pSequence;
}

} // namespace Vexalor::MachineLearning
