#pragma once

#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "quillcast-math/ContextFeatureComputers.h"
#include "quillcast-math/FeatureComputerSequence.h"
#include "quillcast-math/MelFeatureComputers.h"
#include "quillcast-math/ToneEnergyFeatureComputer.h"

#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>

/// Computers, windows and archives that the tests of features share.
namespace Vexalor::Testing
{

inline constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
inline constexpr double INFINITE = std::numeric_limits<double>::infinity();

/// Noise from integers alone, so that it is the same everywhere.
inline DoubleVector noise(std::size_t in_uiSize, unsigned int in_uiSeed = 1)
{
    DoubleVector vValues(in_uiSize);
    unsigned int uiState = in_uiSeed;
    for (double& dValue : vValues)
    {
        uiState = uiState * 1664525U + 1013904223U;
        dValue = static_cast<double>(static_cast<int>(uiState >> 16) - 32768) / 32768.0;
    }
    return vValues;
}

inline DoubleVector features(FeatureComputerWithInputs& io_computer, const DoubleVector& in_vWindow)
{
    DoubleVector vFeatures;
    EXPECT_TRUE(io_computer.setInput("audio", in_vWindow));
    EXPECT_TRUE(io_computer.computeFeatures(vFeatures));
    return vFeatures;
}

inline ToneEnergyFeatureComputer::Config toneConfig(const DoubleVector& in_vFrequencies)
{
    ToneEnergyFeatureComputer::Config config;
    config.m_vFrequencies = in_vFrequencies;
    return config;
}

inline FeatureComputerSequence* makeSequence()
{
    auto* pInner = new FeatureComputerSequence;
    pInner->add(new IdentityFeatureComputer);
    pInner->add(new EnergyFeatureComputer);
    auto* pSequence = new FeatureComputerSequence;
    pSequence->add(new ZeroCrossingRateFeatureComputer);
    pSequence->add(new LogMelFeatureComputer);
    pSequence->add(new MfccFeatureComputer);
    pSequence->add(new ToneEnergyFeatureComputer(toneConfig({697, 1209.5})));
    pSequence->add(pInner);
    return pSequence;
}

/// A computer of that kind over another.
template <class Computer, class Config>
Computer* inContext(const Config& in_config, FeatureComputer* in_pComputer)
{
    auto* pContext = new Computer(in_config);
    EXPECT_TRUE(pContext->setComputer(in_pComputer));
    return pContext;
}

inline DeltaFeatureComputer* deltas(unsigned int in_uiReach, unsigned int in_uiOrder,
                                    FeatureComputer* in_pComputer)
{
    DeltaFeatureComputer::Config config;
    config.m_uiReach = in_uiReach;
    config.m_uiOrder = in_uiOrder;
    return inContext<DeltaFeatureComputer>(config, in_pComputer);
}

inline DeltaFeatureComputer* scaledDeltas(unsigned int in_uiReach, unsigned int in_uiScales,
                                          FeatureComputer* in_pComputer)
{
    DeltaFeatureComputer::Config config;
    config.m_uiReach = in_uiReach;
    config.m_uiScales = in_uiScales;
    return inContext<DeltaFeatureComputer>(config, in_pComputer);
}

inline SpliceFeatureComputer* splice(unsigned int in_uiBefore, unsigned int in_uiStep,
                                     FeatureComputer* in_pComputer)
{
    SpliceFeatureComputer::Config config;
    config.m_uiWindowsBefore = in_uiBefore;
    config.m_uiStep = in_uiStep;
    return inContext<SpliceFeatureComputer>(config, in_pComputer);
}

inline NormalisationFeatureComputer* normalised(double in_dTimeConstant, bool in_bVariance,
                                                FeatureComputer* in_pComputer)
{
    NormalisationFeatureComputer::Config config;
    config.m_dTimeConstant = in_dTimeConstant;
    config.m_bVariance = in_bVariance;
    return inContext<NormalisationFeatureComputer>(config, in_pComputer);
}

/// One in the context of the next, and beside one without memory.
inline FeatureComputerSequence* makeContextSequence()
{
    auto* pSequence = new FeatureComputerSequence;
    pSequence->add(new EnergyFeatureComputer);
    pSequence->add(splice(2, 3, deltas(2, 1, normalised(100, true, new LogMelFeatureComputer))));
    return pSequence;
}

inline std::string save(const FeatureComputer& in_computer)
{
    std::ostringstream stream;
    XmlOutputArchive archive(stream);
    const CloneableObjPtr<FeatureComputer> pComputer(in_computer.clone());
    archive.get() << boost::serialization::make_nvp("m_pFeatureComputer", pComputer);
    EXPECT_TRUE(archive.finish());
    return stream.str();
}

inline CloneableObjPtr<FeatureComputer> load(const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    CheckedXmlInputArchive archive(stream);
    CloneableObjPtr<FeatureComputer> pComputer;
    archive.get() >> boost::serialization::make_nvp("m_pFeatureComputer", pComputer);
    archive.finish();
    return pComputer;
}

} // namespace Vexalor::Testing
