#include "ml-config/FeatureKinds.h"

#include "ml-config/KindTable.h"
#include "quillcast-math/FeatureComputerSequence.h"

namespace Vexalor::MachineLearning
{

namespace
{

constexpr FeatureKind KINDS[] = {
    {"log-mel", "LogMelFeatureComputer"},
    {"mfcc", "MfccFeatureComputer"},
    {"tones", "ToneEnergyFeatureComputer"},
    {"energy", "EnergyFeatureComputer"},
    {"zero-crossing", "ZeroCrossingRateFeatureComputer"},
    {"identity", "IdentityFeatureComputer"},
};

} // namespace

std::span<const FeatureKind> getFeatureKinds()
{
    return KINDS;
}

std::unique_ptr<FeatureComputer> newFeatureComputer(const StringVector& in_vNames, std::string& out_strFault)
{
    auto pSequence = std::make_unique<FeatureComputerSequence>();
    for (const std::string& strName : in_vNames)
    {
        auto pComputer = newOfKind<FeatureComputer>(getFeatureKinds(), "feature", strName, out_strFault);
        if (pComputer == nullptr || in_vNames.size() == 1)
            return pComputer;
        pSequence->add(pComputer.release());
    }
    return pSequence;
}

} // namespace Vexalor::MachineLearning
