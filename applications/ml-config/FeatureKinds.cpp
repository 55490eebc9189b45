#include "ml-config/FeatureKinds.h"

#include "ml-config/KindTable.h"
#include "quillcast-math/ContextFeatureComputers.h"
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

constexpr FeatureKind CONTEXTS[] = {
    {"normalised", "NormalisationFeatureComputer"},
    {"deltas", "DeltaFeatureComputer"},
    {"spliced", "SpliceFeatureComputer"},
};

std::unique_ptr<FeatureComputer> newSideBySide(const StringVector& in_vFeatures, std::string& out_strFault)
{
    auto pSequence = std::make_unique<FeatureComputerSequence>();
    for (const std::string& strName : in_vFeatures)
    {
        auto pComputer = newOfKind<FeatureComputer>(getFeatureKinds(), "feature", strName, out_strFault);
        if (pComputer == nullptr || in_vFeatures.size() == 1)
            return pComputer;
        pSequence->add(pComputer.release());
    }
    return pSequence;
}

} // namespace

std::span<const FeatureKind> getFeatureKinds()
{
    return KINDS;
}

std::span<const FeatureKind> getContextKinds()
{
    return CONTEXTS;
}

std::unique_ptr<FeatureComputer> newFeatureComputer(const StringVector& in_vFeatures,
                                                    const StringVector& in_vContexts,
                                                    std::string& out_strFault)
{
    std::unique_ptr<FeatureComputer> pComputer = newSideBySide(in_vFeatures, out_strFault);
    for (const std::string& strName : in_vContexts)
    {
        if (pComputer == nullptr)
            return nullptr;
        auto pContext =
            newOfKind<ContextFeatureComputer>(getContextKinds(), "context", strName, out_strFault);
        if (pContext == nullptr)
            return nullptr;
        pContext->setComputer(pComputer.release());
        pComputer = std::move(pContext);
    }
    return pComputer;
}

} // namespace Vexalor::MachineLearning
