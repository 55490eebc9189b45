#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "quillcast-math/ContextFeatureComputers.h"
#include "quillcast-math/FeatureComputerSequence.h"
#include "quillcast-math/MelFeatureComputers.h"
#include "quillcast-math/SignalFeature.h"
#include "quillcast-math/SignalKernels.h"
#include "quillcast-math/ToneEnergyFeatureComputer.h"
#include "quillcast-math/src/VectorLanes.h"
#include "test-support/AllocationCounter.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <complex>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <numbers>
#include <sstream>
#include <thread>

using namespace Vexalor;

namespace
{

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

/// Noise from integers alone, so that it is the same everywhere.
DoubleVector noise(std::size_t in_uiSize, unsigned int in_uiSeed = 1)
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

DoubleVector features(FeatureComputerWithInputs& io_computer, const DoubleVector& in_vWindow)
{
    DoubleVector vFeatures;
    EXPECT_TRUE(io_computer.setInput("audio", in_vWindow));
    EXPECT_TRUE(io_computer.computeFeatures(vFeatures));
    return vFeatures;
}

ToneEnergyFeatureComputer::Config toneConfig(const DoubleVector& in_vFrequencies)
{
    ToneEnergyFeatureComputer::Config config;
    config.m_vFrequencies = in_vFrequencies;
    return config;
}

FeatureComputerSequence* makeSequence()
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

DeltaFeatureComputer* deltas(unsigned int in_uiReach, unsigned int in_uiOrder, FeatureComputer* in_pComputer)
{
    DeltaFeatureComputer::Config config;
    config.m_uiReach = in_uiReach;
    config.m_uiOrder = in_uiOrder;
    return inContext<DeltaFeatureComputer>(config, in_pComputer);
}

DeltaFeatureComputer* scaledDeltas(unsigned int in_uiReach, unsigned int in_uiScales,
                                   FeatureComputer* in_pComputer)
{
    DeltaFeatureComputer::Config config;
    config.m_uiReach = in_uiReach;
    config.m_uiScales = in_uiScales;
    return inContext<DeltaFeatureComputer>(config, in_pComputer);
}

SpliceFeatureComputer* splice(unsigned int in_uiBefore, unsigned int in_uiStep, FeatureComputer* in_pComputer)
{
    SpliceFeatureComputer::Config config;
    config.m_uiWindowsBefore = in_uiBefore;
    config.m_uiStep = in_uiStep;
    return inContext<SpliceFeatureComputer>(config, in_pComputer);
}

NormalisationFeatureComputer* normalised(double in_dTimeConstant, bool in_bVariance,
                                         FeatureComputer* in_pComputer)
{
    NormalisationFeatureComputer::Config config;
    config.m_dTimeConstant = in_dTimeConstant;
    config.m_bVariance = in_bVariance;
    return inContext<NormalisationFeatureComputer>(config, in_pComputer);
}

/// One in the context of the next, and beside one without memory.
FeatureComputerSequence* makeContextSequence()
{
    auto* pSequence = new FeatureComputerSequence;
    pSequence->add(new EnergyFeatureComputer);
    pSequence->add(splice(2, 3, deltas(2, 1, normalised(100, true, new LogMelFeatureComputer))));
    return pSequence;
}

std::string save(const FeatureComputer& in_computer)
{
    std::ostringstream stream;
    XmlOutputArchive archive(stream);
    const CloneableObjPtr<FeatureComputer> pComputer(in_computer.clone());
    archive.get() << boost::serialization::make_nvp("m_pFeatureComputer", pComputer);
    EXPECT_TRUE(archive.finish());
    return stream.str();
}

CloneableObjPtr<FeatureComputer> load(const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    CheckedXmlInputArchive archive(stream);
    CloneableObjPtr<FeatureComputer> pComputer;
    archive.get() >> boost::serialization::make_nvp("m_pFeatureComputer", pComputer);
    archive.finish();
    return pComputer;
}

struct ComputerCase
{
    const char* m_name;
    std::function<FeatureComputerWithInputs*()> m_create;
    std::size_t m_uiNbFeatures; // of a window of 200 samples
};

/// Test names must not hold addresses.
void PrintTo(const ComputerCase& in_case, std::ostream* out_pStream)
{
    *out_pStream << in_case.m_name;
}

class FeatureComputerContract : public testing::TestWithParam<ComputerCase>
{
protected:
    const std::unique_ptr<FeatureComputerWithInputs> m_pComputer{GetParam().m_create()};
    const DoubleVector m_vWindow = noise(200);
};

/// Those whose features do not depend on the windows before.
class WindowAloneContract : public FeatureComputerContract
{
};

} // namespace

TEST_P(FeatureComputerContract, ComputesOncePerInput)
{
    EXPECT_TRUE(m_pComputer->reset());
    EXPECT_EQ(features(*m_pComputer, m_vWindow).size(), GetParam().m_uiNbFeatures);

    Testing::AssertionCapture assertions;
    const Testing::LogCapture log("quillcast.math");
    DoubleVector vFeatures;
    EXPECT_FALSE(m_pComputer->computeFeatures(vFeatures)); // the input counts once
    EXPECT_TRUE(m_pComputer->setInput("audio", m_vWindow));
    EXPECT_TRUE(m_pComputer->reset());
    EXPECT_FALSE(m_pComputer->computeFeatures(vFeatures)); // forgotten
    const DoubleVector vEmpty;
    EXPECT_TRUE(m_pComputer->setInput("audio", vEmpty));
    EXPECT_FALSE(m_pComputer->computeFeatures(vFeatures));
    EXPECT_EQ(assertions.conditions().size(), 3u);
    EXPECT_FALSE(m_pComputer->setInput("Audio", m_vWindow));
    EXPECT_TRUE(log.has("ERROR Unknown input of a feature computer: \"Audio\", expected \"audio\""))
        << log.text();
}

TEST_P(WindowAloneContract, DependsOnTheWindowAlone)
{
    const DoubleVector vFirst = features(*m_pComputer, m_vWindow);
    const std::unique_ptr<FeatureComputerWithInputs> pClone(m_pComputer->clone());
    for (const std::size_t uiSize : {std::size_t(1), std::size_t(2), std::size_t(333)})
        features(*m_pComputer, noise(uiSize, 7));
    EXPECT_EQ(features(*m_pComputer, m_vWindow), vFirst);
    EXPECT_EQ(features(*pClone, m_vWindow), vFirst);
}

TEST_P(FeatureComputerContract, SurvivesNonFiniteSamples)
{
    for (const double dValue : {NOT_A_NUMBER, INFINITE, -INFINITE, std::numeric_limits<double>::max()})
    {
        DoubleVector vWindow = m_vWindow;
        vWindow[50] = dValue;
        EXPECT_EQ(features(*m_pComputer, vWindow).size(), GetParam().m_uiNbFeatures);
    }
}

TEST_P(FeatureComputerContract, AllocatesNothingOnceWarm)
{
    DoubleVector vFeatures;
    ASSERT_TRUE(m_pComputer->setInput("audio", m_vWindow) && m_pComputer->computeFeatures(vFeatures));
    const Testing::AllocationCounter allocations;
    for (int iWindow = 0; iWindow < 10; ++iWindow)
        ASSERT_TRUE(m_pComputer->setInput("audio", m_vWindow) && m_pComputer->computeFeatures(vFeatures));
    EXPECT_EQ(allocations.getCount(), 0u);
}

TEST_P(WindowAloneContract, ClonesShareTables)
{
    const std::unique_ptr<FeatureComputerWithInputs> pFirst(m_pComputer->clone());
    const DoubleVector vExpected = features(*pFirst, m_vWindow);
    const std::unique_ptr<FeatureComputerWithInputs> pSecond(m_pComputer->clone());
    DoubleVector vFeatures(vExpected.size());
    ASSERT_TRUE(pSecond->setInput("audio", m_vWindow));
    const Testing::AllocationCounter allocations;
    ASSERT_TRUE(pSecond->computeFeatures(vFeatures));
    EXPECT_LT(allocations.getCount(), 12u) << "working memory, no tables";
    EXPECT_EQ(vFeatures, vExpected);
    std::vector<std::thread> vThreads;
    for (std::size_t uiSize = 300; uiSize < 304; ++uiSize)
        vThreads.emplace_back(
            [this, uiSize]
            {
                const std::unique_ptr<FeatureComputerWithInputs> pClone(m_pComputer->clone());
                const DoubleVector vAlone = features(*pClone, noise(300));
                features(*pClone, noise(uiSize));
                EXPECT_EQ(features(*pClone, noise(300)), vAlone);
            });
    for (std::thread& thread : vThreads)
        thread.join();
}

TEST_P(FeatureComputerContract, ArchiveKeepsClassAndSettings)
{
    const std::string strText = save(*m_pComputer);
    const CloneableObjPtr<FeatureComputer> pLoaded = load(strText);
    ASSERT_FALSE(pLoaded.isNull());
    EXPECT_EQ(typeid(*pLoaded), typeid(*m_pComputer));
    EXPECT_EQ(save(*pLoaded), strText);
    EXPECT_EQ(features(dynamic_cast<FeatureComputerWithInputs&>(*pLoaded), m_vWindow),
              features(*m_pComputer, m_vWindow));
}

namespace
{

const ComputerCase WINDOW_ALONE[] = {
    ComputerCase{"Identity", [] { return new IdentityFeatureComputer; }, 200},
    ComputerCase{"Energy", [] { return new EnergyFeatureComputer; }, 1},
    ComputerCase{"ZeroCrossingRate", [] { return new ZeroCrossingRateFeatureComputer; }, 1},
    // Two bands, so that a window of 1 or 2 samples has a bin for each.
    ComputerCase{"LogMel",
                 []
                 {
                     LogMelFeatureComputer::Config config;
                     config.m_uiNbBands = 2;
                     config.m_uiFftSize = 512;
                     config.m_strTaper = "hann";
                     return new LogMelFeatureComputer(config);
                 },
                 2},
    ComputerCase{"Mfcc",
                 []
                 {
                     MfccFeatureComputer::Config config;
                     config.m_uiNbCepstra = 20;
                     config.m_mel.m_uiFftSize = 1024;
                     return new MfccFeatureComputer(config);
                 },
                 20},
    ComputerCase{"ToneEnergy",
                 [] {
                     return new ToneEnergyFeatureComputer(toneConfig({697, 1e-3, 3999}));
                 },
                 3},
    ComputerCase{"Sequence",
                 []
                 {
                     auto* pSequence = new FeatureComputerSequence;
                     pSequence->add(new EnergyFeatureComputer);
                     pSequence->add(new IdentityFeatureComputer);
                     return pSequence;
                 },
                 201},
};

const ComputerCase IN_CONTEXT[] = {
    {"Deltas", [] { return deltas(3, 2, new EnergyFeatureComputer); }, 3},
    {"Splice", [] { return splice(2, 2, new IdentityFeatureComputer); }, 600},
    {"Normalisation", [] { return normalised(10, true, new IdentityFeatureComputer); }, 200},
    {"ContextSequence", makeContextSequence, 1 + 24 * 2 * 3},
};

std::string nameOf(const testing::TestParamInfo<ComputerCase>& in_info)
{
    return in_info.param.m_name;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(AllComputers, WindowAloneContract, testing::ValuesIn(WINDOW_ALONE), nameOf);
INSTANTIATE_TEST_SUITE_P(WindowAlone, FeatureComputerContract, testing::ValuesIn(WINDOW_ALONE), nameOf);
INSTANTIATE_TEST_SUITE_P(InContext, FeatureComputerContract, testing::ValuesIn(IN_CONTEXT), nameOf);

TEST(FeatureComputersTest, TimeDomainValues)
{
    IdentityFeatureComputer identity;
    EnergyFeatureComputer energy;
    ZeroCrossingRateFeatureComputer zeroCrossings;
    const DoubleVector vWindow{3, -4, 0, 0.5, -0.5};
    EXPECT_EQ(features(identity, vWindow), vWindow);
    EXPECT_EQ(features(energy, vWindow), DoubleVector{25.5});        // 9 + 16 + 0.25 + 0.25
    EXPECT_EQ(features(zeroCrossings, vWindow), DoubleVector{0.75}); // + - + + -: 3 of 4 pairs
    EXPECT_EQ(features(zeroCrossings, DoubleVector{-1}), DoubleVector{0});

    Testing::AssertionCapture assertions;
    DoubleVector vSame = vWindow;
    EXPECT_TRUE(identity.setInput("audio", vSame));
    EXPECT_FALSE(identity.computeFeatures(vSame));
    EXPECT_EQ(vSame, vWindow);
}

namespace
{

/// The mel spectrum by its definition: a direct transform, no tables.
std::vector<double> directLogMel(const MelSpectrum::Config& in_config, const DoubleVector& in_vWindow,
                                 std::size_t in_uiFftSize, double in_dHigh)
{
    const auto mel = [](double in_dFrequency)
    {
        return 1127 * std::log(1 + in_dFrequency / 700);
    };
    const double dSize = static_cast<double>(in_vWindow.size());
    const double dLow = mel(in_config.m_dLowFrequency);
    const double dWidth = (mel(in_dHigh) - dLow) / (in_config.m_uiNbBands + 1);
    std::vector<double> vEnergies(in_config.m_uiNbBands);
    for (std::size_t k = 0; k <= in_uiFftSize / 2; ++k)
    {
        const double dCycles = static_cast<double>(k) / static_cast<double>(in_uiFftSize);
        double dReal = 0;
        double dImaginary = 0;
        for (std::size_t n = 0; n < in_vWindow.size(); ++n)
        {
            const double dPhase = 2 * std::numbers::pi * static_cast<double>(n) / (dSize - 1);
            const double dTaper = in_config.m_strTaper == "hamming" ? 0.54 - 0.46 * std::cos(dPhase)
                                  : in_config.m_strTaper == "hann"  ? 0.5 - 0.5 * std::cos(dPhase)
                                                                    : 1.0;
            const double dBefore = in_vWindow[n == 0 ? 0 : n - 1];
            const double dValue = (in_vWindow[n] - in_config.m_dPreEmphasis * dBefore) * dTaper;
            dReal += dValue * std::cos(2 * std::numbers::pi * dCycles * static_cast<double>(n));
            dImaginary += dValue * std::sin(2 * std::numbers::pi * dCycles * static_cast<double>(n));
        }
        for (std::size_t b = 0; b < vEnergies.size(); ++b)
        {
            const double dDistance =
                std::fabs(mel(dCycles * in_config.m_dSamplingRate) - dLow - (b + 1) * dWidth) / dWidth;
            vEnergies[b] += std::max(0.0, 1 - dDistance) * (dReal * dReal + dImaginary * dImaginary);
        }
    }
    for (double& dEnergy : vEnergies)
        dEnergy = std::log(std::max(dEnergy, in_config.m_dFloor));
    return vEnergies;
}

} // namespace

TEST(MelFeaturesTest, AgreeWithTheDefinition)
{
    struct Case
    {
        const char* m_name;
        std::function<void(MelSpectrum::Config&)> m_change;
        std::size_t m_uiWindow;
        std::size_t m_uiFftSize;
        double m_dHigh;
    };
    const Case cases[] = {
        {"defaults", [](MelSpectrum::Config&) {}, 200, 256, 4000},
        {"power of two", [](MelSpectrum::Config& io_config) { io_config.m_uiNbBands = 10; }, 64, 64, 4000},
        {"hann, long transform",
         [](MelSpectrum::Config& io_config)
         {
             io_config.m_strTaper = "hann";
             io_config.m_uiFftSize = 1024;
         },
         200, 1024, 4000},
        {"no taper, no emphasis, narrow, 16 kHz",
         [](MelSpectrum::Config& io_config)
         {
             io_config.m_strTaper = "none";
             io_config.m_dPreEmphasis = 0;
             io_config.m_dSamplingRate = 16000;
             io_config.m_dLowFrequency = 300;
             io_config.m_dHighFrequency = 3400;
         },
         400, 512, 3400},
        {"high floor", [](MelSpectrum::Config& io_config) { io_config.m_dFloor = 1e4; }, 200, 256, 4000},
    };
    for (const Case& testCase : cases)
    {
        SCOPED_TRACE(testCase.m_name);
        MfccFeatureComputer::Config config;
        testCase.m_change(config.m_mel);
        config.m_uiNbCepstra = config.m_mel.m_uiNbBands;
        LogMelFeatureComputer logMel(config.m_mel);
        MfccFeatureComputer mfcc(config);
        const DoubleVector vWindow = noise(testCase.m_uiWindow);
        const std::vector<double> vExpected =
            directLogMel(config.m_mel, vWindow, testCase.m_uiFftSize, testCase.m_dHigh);
        const DoubleVector vLogMel = features(logMel, vWindow);
        ASSERT_EQ(vLogMel.size(), vExpected.size());
        for (std::size_t b = 0; b < vExpected.size(); ++b)
            ASSERT_NEAR(vLogMel[b], vExpected[b], 1e-11) << b;

        const DoubleVector vMfcc = features(mfcc, vWindow);
        const double dBands = static_cast<double>(vExpected.size());
        for (std::size_t k = 0; k < vMfcc.size(); ++k)
        {
            double dSum = 0;
            for (std::size_t b = 0; b < vExpected.size(); ++b)
                dSum += vExpected[b] * std::cos(std::numbers::pi * static_cast<double>(k) *
                                                (static_cast<double>(b) + 0.5) / dBands);
            ASSERT_NEAR(vMfcc[k], dSum * std::sqrt((k == 0 ? 1 : 2) / dBands), 1e-10) << k;
        }
    }
}

TEST(MelFeaturesTest, SilenceGivesTheFloorAndNanStaysNan)
{
    LogMelFeatureComputer computer;
    for (const double dValue : features(computer, DoubleVector(200)))
        EXPECT_DOUBLE_EQ(dValue, std::log(1e-10));
    DoubleVector vWindow(200);
    vWindow[3] = NOT_A_NUMBER;
    for (const double dValue : features(computer, vWindow))
        EXPECT_TRUE(std::isnan(dValue));
}

TEST(MelFeaturesTest, RefuseSettingsThatMakeNoSense)
{
    using Config = MelSpectrum::Config;
    struct Case
    {
        std::function<void(Config&)> m_change;
        std::string m_strReason;
    };
    const std::string strBands =
        "the number of bands (m_uiNbBands) must be from 1 to the number of bins of the spectrum";
    const std::string strEdges = "the lowest frequency (m_dLowFrequency) must be 0 or above, the highest "
                                 "(m_dHighFrequency) above it and at most half the sampling rate";
    const std::string strFft = "the size of the FFT (m_uiFftSize) must be 0 or a power of two from the size "
                               "of the window to 1048576";
    const std::string strRate = "the sampling rate (m_dSamplingRate) must be positive";
    const std::string strEmphasis = "the pre-emphasis (m_dPreEmphasis) must be from 0 to 1";
    const std::string strFloor = "the floor (m_dFloor) must be positive";
    const Case cases[] = {
        {[](Config& io_config) { io_config.m_uiNbBands = 0; }, strBands},
        {[](Config& io_config) { io_config.m_uiNbBands = 130; }, strBands},
        {[](Config& io_config) { io_config.m_uiNbBands = 1U << 31; }, strBands},
        {[](Config& io_config) { io_config.m_dHighFrequency = 4000.5; }, strEdges},
        {[](Config& io_config) { io_config.m_dLowFrequency = 4000; }, strEdges},
        {[](Config& io_config) { io_config.m_dLowFrequency = -1; }, strEdges},
        {[](Config& io_config) { io_config.m_dHighFrequency = NOT_A_NUMBER; }, strEdges},
        {[](Config& io_config) { io_config.m_uiFftSize = 128; }, strFft},
        {[](Config& io_config) { io_config.m_uiFftSize = 300; }, strFft},
        {[](Config& io_config) { io_config.m_uiFftSize = 1U << 31; }, strFft},
        {[](Config& io_config) { io_config.m_dSamplingRate = 0; }, strRate},
        {[](Config& io_config) { io_config.m_dSamplingRate = INFINITE; }, strRate},
        {[](Config& io_config) { io_config.m_dSamplingRate = NOT_A_NUMBER; }, strRate},
        {[](Config& io_config) { io_config.m_dPreEmphasis = 1.5; }, strEmphasis},
        {[](Config& io_config) { io_config.m_dPreEmphasis = NOT_A_NUMBER; }, strEmphasis},
        {[](Config& io_config) { io_config.m_dFloor = 0; }, strFloor},
        {[](Config& io_config) { io_config.m_dFloor = INFINITE; }, strFloor},
        {[](Config& io_config) { io_config.m_strTaper = "Hamming"; },
         "the taper (m_strTaper) must be \"hamming\", \"hann\" or \"none\""},
    };
    const DoubleVector vWindow = noise(200);
    DoubleVector vFeatures;
    const Testing::LogCapture log("quillcast.math");
    for (const Case& testCase : cases)
    {
        Config config;
        testCase.m_change(config);
        LogMelFeatureComputer computer(config);
        EXPECT_TRUE(computer.setInput("audio", vWindow));
        EXPECT_FALSE(computer.computeFeatures(vFeatures));
        ASSERT_FALSE(log.lines().empty());
        EXPECT_EQ(log.lines().back(),
                  "ERROR Cannot compute a mel spectrum of 200 samples: " + testCase.m_strReason);
    }
    LogMelFeatureComputer long_;
    const DoubleVector vLong(MelSpectrum::MAX_WINDOW + 1);
    EXPECT_TRUE(long_.setInput("audio", vLong));
    EXPECT_FALSE(long_.computeFeatures(vFeatures));
    EXPECT_EQ(
        log.lines().back(),
        "ERROR Cannot compute a mel spectrum of 1048577 samples: the window must have 1 to 1048576 samples");

    // 120 bands are 17 mel apart: below 100 Hz less than the 31 Hz from bin to bin.
    Config narrow;
    narrow.m_uiNbBands = 120;
    LogMelFeatureComputer narrowBands(narrow);
    EXPECT_TRUE(narrowBands.setInput("audio", vWindow));
    EXPECT_FALSE(narrowBands.computeFeatures(vFeatures));
    EXPECT_EQ(log.lines().back(),
              "ERROR Cannot compute a mel spectrum: band 2 of 120 is too narrow for the 129 bins "
              "of the spectrum");

    for (const unsigned int uiNbCepstra : {0U, 24U, 1U << 31})
    {
        MfccFeatureComputer::Config config;
        config.m_uiNbCepstra = uiNbCepstra;
        MfccFeatureComputer computer(config);
        EXPECT_TRUE(computer.setInput("audio", vWindow));
        EXPECT_FALSE(computer.computeFeatures(vFeatures));
        EXPECT_EQ(log.lines().back(), "ERROR Cannot compute " + std::to_string(uiNbCepstra) +
                                          " cepstral coefficients of 23 bands");
    }
    // 2^12 times 2^12 values are twice the bound of the table.
    MfccFeatureComputer::Config huge;
    huge.m_mel.m_uiFftSize = 1U << 16;
    huge.m_mel.m_uiNbBands = huge.m_uiNbCepstra = 1U << 12;
    MfccFeatureComputer hugeTable(huge);
    EXPECT_TRUE(hugeTable.setInput("audio", vWindow));
    EXPECT_FALSE(hugeTable.computeFeatures(vFeatures));
    EXPECT_EQ(log.lines().back(),
              "ERROR Cannot compute 4096 cepstral coefficients of 4096 bands: the table has at "
              "most 8388608 values");
}

TEST(ToneEnergyTest, IsTheEnergyThatTheToneMakesUp)
{
    // 160 samples at 8 kHz hold whole periods of every multiple of 50 Hz, which are then orthogonal.
    DoubleVector vWindow(160);
    for (std::size_t n = 0; n < vWindow.size(); ++n)
        vWindow[n] = 0.5 * std::sin(2 * std::numbers::pi * 700 * static_cast<double>(n) / 8000 + 0.3) +
                     0.2 * std::cos(2 * std::numbers::pi * 1200 * static_cast<double>(n) / 8000);
    ToneEnergyFeatureComputer computer(toneConfig({700, 1200, 1650}));
    const DoubleVector vEnergies = features(computer, vWindow);
    ASSERT_EQ(vEnergies.size(), 3u);
    EXPECT_NEAR(vEnergies[0], 0.25 * 160 / 2, 1e-12);
    EXPECT_NEAR(vEnergies[1], 0.04 * 160 / 2, 1e-12);
    EXPECT_NEAR(vEnergies[2], 0.0, 1e-12);
    EXPECT_NEAR(vEnergies[0] + vEnergies[1], SignalKernels::sumOfSquares(vWindow.begin(), 160), 1e-12);

    // Nine frequencies need more than one block of columns.
    const DoubleVector vFrequencies{100, 697, 770, 852, 941, 1209, 1336, 1477, 1633};
    ToneEnergyFeatureComputer many(toneConfig(vFrequencies));
    const DoubleVector vNoise = noise(201);
    const DoubleVector vMany = features(many, vNoise);
    for (std::size_t uiTone = 0; uiTone < vFrequencies.size(); ++uiTone)
    {
        std::complex<double> sum;
        for (std::size_t n = 0; n < vNoise.size(); ++n)
            sum += vNoise[n] * std::polar(1.0, -2 * std::numbers::pi * vFrequencies[uiTone] / 8000 *
                                                   static_cast<double>(n));
        EXPECT_NEAR(vMany[uiTone], 2.0 / 201 * std::norm(sum), 1e-10);
    }
}

TEST(ToneEnergyTest, RefusesSettingsThatMakeNoSense)
{
    struct Case
    {
        double m_dRate;
        DoubleVector m_vFrequencies;
        std::string m_strReason;
    };
    const std::string strRange =
        "the frequencies (m_vFrequencies) must be above 0 and below half the sampling rate";
    const Case cases[] = {
        {8000, {}, "there are no frequencies (m_vFrequencies)"},
        {8000, {0}, strRange},
        {8000, {1000, 4000}, strRange},
        {8000, {NOT_A_NUMBER}, strRange},
        {-8000, {1000}, "the sampling rate (m_dSamplingRate) must be positive"},
        {NOT_A_NUMBER, {1000}, "the sampling rate (m_dSamplingRate) must be positive"},
        {8000, DoubleVector(100000, 1000), "too many frequencies for so large a window"},
    };
    const DoubleVector vWindow = noise(200);
    const Testing::LogCapture log("quillcast.math");
    for (const Case& testCase : cases)
    {
        ToneEnergyFeatureComputer::Config config = toneConfig(testCase.m_vFrequencies);
        config.m_dSamplingRate = testCase.m_dRate;
        ToneEnergyFeatureComputer computer(config);
        EXPECT_TRUE(computer.setInput("audio", vWindow));
        DoubleVector vFeatures;
        EXPECT_FALSE(computer.computeFeatures(vFeatures));
        ASSERT_FALSE(log.lines().empty());
        EXPECT_EQ(log.lines().back(),
                  "ERROR Cannot compute tone energies of 200 samples: " + testCase.m_strReason);
    }
}

namespace
{

/// Takes no inputs; counts its resets.
class CountingFeatureComputer final : public virtual FeatureComputer
{
public:
    CountingFeatureComputer* clone() const override { return new CountingFeatureComputer(*this); }
    bool reset() override { return ++m_iResets < 2; }
    bool computeFeatures(DoubleVector& out_vFeatures) override
    {
        out_vFeatures = DoubleVector{static_cast<double>(m_iResets)};
        return true;
    }

    int m_iResets = 0;
};

} // namespace

TEST(FeatureComputerSequenceTest, ConcatenatesInOrder)
{
    FeatureComputerSequence sequence;
    sequence.add(new CountingFeatureComputer);
    sequence.add(new EnergyFeatureComputer);
    auto* pInner = new FeatureComputerSequence;
    pInner->add(new IdentityFeatureComputer);
    pInner->add(new CountingFeatureComputer);
    sequence.add(pInner);
    EXPECT_TRUE(sequence.reset());
    EXPECT_EQ(features(sequence, DoubleVector{1, 2}), (DoubleVector{1, 5, 1, 2, 1}));

    // The copy has computers of its own, and keeps the state.
    const std::unique_ptr<FeatureComputerSequence> pClone(sequence.clone());
    EXPECT_FALSE(sequence.reset()); // the counting ones fail; all are reset nevertheless
    EXPECT_EQ(features(sequence, DoubleVector{3}), (DoubleVector{2, 9, 3, 2}));
    EXPECT_EQ(features(*pClone, DoubleVector{3}), (DoubleVector{1, 9, 3, 1}));
}

TEST(FeatureComputerSequenceTest, RefusesEmptyNullAndFailingOnes)
{
    Testing::AssertionCapture assertions;
    FeatureComputerSequence sequence;
    const DoubleVector vWindow{1};
    DoubleVector vFeatures;
    EXPECT_FALSE(sequence.add(nullptr));
    EXPECT_FALSE(sequence.reset());
    EXPECT_FALSE(sequence.setInput("audio", vWindow));
    EXPECT_FALSE(sequence.computeFeatures(vFeatures));
    EXPECT_EQ(assertions.conditions().size(), 4u);

    sequence.add(new EnergyFeatureComputer);
    std::string strText = save(sequence);
    const std::size_t uiItem = strText.find("<item ");
    strText.replace(uiItem, strText.find("</item>") - uiItem, "<item class_id=\"-1\">");
    const CloneableObjPtr<FeatureComputer> pWithNull = load(strText);
    EXPECT_FALSE(pWithNull->computeFeatures(vFeatures));
    EXPECT_FALSE(pWithNull->reset());

    sequence.add(new ToneEnergyFeatureComputer); // no frequencies
    const Testing::LogCapture log("quillcast.math");
    EXPECT_TRUE(sequence.setInput("audio", vWindow));
    EXPECT_FALSE(sequence.computeFeatures(vFeatures));
    EXPECT_EQ(log.count("there are no frequencies (m_vFrequencies)"), 1u);
}

namespace
{

/// Features of one value, that of a window of one sample, of one window after the other.
std::vector<DoubleVector> featuresOf(FeatureComputerWithInputs& io_computer, const DoubleVector& in_vValues)
{
    std::vector<DoubleVector> vFeatures;
    for (const double dValue : in_vValues)
        vFeatures.push_back(features(io_computer, DoubleVector{dValue}));
    return vFeatures;
}

} // namespace

TEST(ContextFeaturesTest, ValuesByHand)
{
    struct Case
    {
        const char* m_name;
        FeatureComputerWithInputs* m_pComputer;
        DoubleVector m_vValues;
        std::vector<DoubleVector> m_vExpected;
    };
    const Case cases[] = {
        // N = 1: (c[t] - c[t-2]) / 2, with c[-1] = c[-2] = c[0].
        {"slopes", deltas(1, 1, new IdentityFeatureComputer), {4, 6, 8, 8}, {{4, 0}, {6, 1}, {8, 2}, {8, 1}}},
        // N = 2: (-2 c[t-4] - c[t-3] + c[t-1] + 2 c[t]) / 10.
        {"longer slopes",
         deltas(2, 1, new IdentityFeatureComputer),
         {0, 5, 10, 15, 20},
         {{0, 0}, {5, 1}, {10, 2.5}, {15, 4}, {20, 5}}},
        // Slopes of slopes: (c[t] - 2 c[t-2] + c[t-4]) / 4.
        {"slopes of slopes",
         deltas(1, 2, new IdentityFeatureComputer),
         {0, 4, 4, 4, 4},
         {{0, 0, 0}, {4, 2, 1}, {4, 2, 1}, {4, 0, -1}, {4, 0, -1}}},
        // N = 1 and 2: (c[t] - c[t-2]) / 2 and that of the longer slopes.
        {"two scales",
         scaledDeltas(1, 2, new IdentityFeatureComputer),
         {0, 5, 10, 15, 20},
         {{0, 0, 0}, {5, 2.5, 1}, {10, 5, 2.5}, {15, 5, 4}, {20, 5, 5}}},
        {"spliced",
         splice(2, 2, new IdentityFeatureComputer),
         {1, 2, 3, 4, 5, 6},
         {{1, 1, 1}, {1, 1, 2}, {1, 1, 3}, {1, 2, 4}, {1, 3, 5}, {2, 4, 6}}},
        {"not spliced", splice(0, 9, new IdentityFeatureComputer), {1, 2}, {{1}, {2}}},
        // Means 1, 2, then with a = 1/2 3.5; variances 0, 1, 1/2 (1 + 1/2 (5 - 2)^2) = 2.75. nan counts for
        // none.
        {"normalised",
         normalised(2, true, new IdentityFeatureComputer),
         {1, 3, NOT_A_NUMBER, 5},
         {{0}, {1}, {NOT_A_NUMBER}, {1.5 / std::sqrt(2.75)}}},
        {"less the mean", normalised(2, false, new IdentityFeatureComputer), {1, 3, 5}, {{0}, {1}, {1.5}}},
        {"constant: the least deviation",
         normalised(9, true, new IdentityFeatureComputer),
         {7, 7},
         {{0}, {0}}},
    };
    for (const Case& testCase : cases)
    {
        SCOPED_TRACE(testCase.m_name);
        const std::unique_ptr<FeatureComputerWithInputs> pComputer(testCase.m_pComputer);
        EXPECT_EQ(featuresOf(*pComputer, testCase.m_vValues), testCase.m_vExpected);
        EXPECT_TRUE(pComputer->reset());
        EXPECT_EQ(featuresOf(*pComputer, testCase.m_vValues), testCase.m_vExpected) << "after a reset";
    }
}

TEST(ContextFeaturesTest, ClonesGoOnByThemselves)
{
    const std::unique_ptr<FeatureComputerWithInputs> pComputer(makeContextSequence());
    std::vector<DoubleVector> vExpected;
    std::unique_ptr<FeatureComputerWithInputs> pClone;
    for (unsigned int uiWindow = 0; uiWindow < 30; ++uiWindow)
    {
        if (uiWindow == 7)
            pClone.reset(pComputer->clone());
        vExpected.push_back(features(*pComputer, noise(200, uiWindow)));
    }
    for (unsigned int uiWindow = 7; uiWindow < 30; ++uiWindow)
        EXPECT_EQ(features(*pClone, noise(200, uiWindow)), vExpected[uiWindow]) << uiWindow;
    EXPECT_TRUE(pClone->reset());
    for (unsigned int uiWindow = 0; uiWindow < 30; ++uiWindow)
        EXPECT_EQ(features(*pClone, noise(200, uiWindow)), vExpected[uiWindow]) << uiWindow;
}

TEST(ContextFeaturesTest, RefuseWhatMakesNoSense)
{
    const std::string strDeltas =
        "deltas of so many windows (m_uiReach, m_uiOrder, m_uiScales) are more than 1048576 values";
    const std::string strSplice =
        "so many spliced windows (m_uiWindowsBefore, m_uiStep) are more than 1048576 values";
    const std::string strZero =
        "the reach of deltas (m_uiReach) must be 1 or more, their order (m_uiOrder) 1 to 4, their scales "
        "(m_uiScales) 1 to 16";
    const std::string strTime = "the time constant of normalisation (m_dTimeConstant) must be 1 or more";
    constexpr unsigned int MOST = std::numeric_limits<unsigned int>::max();
    const std::pair<FeatureComputerWithInputs*, std::string> cases[] = {
        {deltas(0, 1, new EnergyFeatureComputer), strZero},
        {deltas(1, 0, new EnergyFeatureComputer), strZero},
        {deltas(1, 5, new EnergyFeatureComputer), strZero},
        {deltas(MOST, 4, new EnergyFeatureComputer), strDeltas},
        {deltas(1U << 19, 1, new EnergyFeatureComputer), strDeltas}, // 2^20 + 1 windows
        {scaledDeltas(1, 0, new EnergyFeatureComputer), strZero},
        {scaledDeltas(1, 64, new EnergyFeatureComputer), strZero},
        {scaledDeltas(1U << 20, 16, new EnergyFeatureComputer), strDeltas},
        {splice(1, 0, new EnergyFeatureComputer),
         "the step between spliced windows (m_uiStep) must be 1 or more"},
        {splice(MOST, MOST, new EnergyFeatureComputer), strSplice},
        {normalised(0.5, true, new EnergyFeatureComputer), strTime},
        {normalised(NOT_A_NUMBER, true, new EnergyFeatureComputer), strTime},
    };
    const DoubleVector vWindow = noise(200);
    DoubleVector vFeatures;
    const Testing::LogCapture log("quillcast.math");
    for (const auto& [pRaw, strReason] : cases)
    {
        const std::unique_ptr<FeatureComputerWithInputs> pComputer(pRaw);
        EXPECT_TRUE(pComputer->setInput("audio", vWindow));
        EXPECT_FALSE(pComputer->computeFeatures(vFeatures));
        ASSERT_FALSE(log.lines().empty());
        EXPECT_EQ(log.lines().back(),
                  "ERROR Cannot set 1 features of a window beside those of others: " + strReason);
    }
    const std::unique_ptr<FeatureComputerWithInputs> pIdentity(splice(1, 1, new IdentityFeatureComputer));
    features(*pIdentity, vWindow);
    const DoubleVector vShort{1};
    EXPECT_TRUE(pIdentity->setInput("audio", vShort));
    EXPECT_FALSE(pIdentity->computeFeatures(vFeatures));
    EXPECT_TRUE(log.has("ERROR Cannot set 1 features of a window beside 200 of the window before"));

    Testing::AssertionCapture assertions;
    SpliceFeatureComputer alone;
    EXPECT_FALSE(alone.setComputer(nullptr));
    EXPECT_FALSE(alone.setInput("audio", vWindow));
    EXPECT_FALSE(alone.computeFeatures(vFeatures));
    EXPECT_FALSE(alone.reset());
    EXPECT_EQ(assertions.conditions().size(), 4u);
}

TEST(FeatureArchiveTest, AllClassesAsInTheGoldens)
{
    const std::pair<FeatureComputerSequence*, const char*> cases[] = {
        {makeSequence(), QC_TEST_DATA "/featureComputers.xml"},
        {makeContextSequence(), QC_TEST_DATA "/contextFeatureComputers.xml"},
    };
    for (const auto& [pRaw, path] : cases)
    {
        const std::unique_ptr<FeatureComputerSequence> pSequence(pRaw);
        const std::string strGolden = Testing::readFile(path);
        EXPECT_EQ(save(*pSequence), strGolden);
        EXPECT_EQ(save(*load(strGolden)), strGolden);
    }
}

namespace
{

/// True when a damaged copy is refused, or loads as something that saves equal to itself and survives use.
bool isHandled(const std::string& in_strText, const DoubleVector& in_vWindow)
{
    try
    {
        CloneableObjPtr<FeatureComputer> pComputer = load(in_strText);
        if (pComputer.isNull())
            return true;
        DoubleVector vFeatures;
        if (auto* pWithInputs = dynamic_cast<FeatureComputerWithInputs*>(pComputer.get()))
            pWithInputs->setInput("audio", in_vWindow);
        pComputer->computeFeatures(vFeatures);
        const std::string strSaved = save(*pComputer);
        return save(*load(strSaved)) == strSaved;
    }
    catch (const ArchiveError&)
    {
        return true;
    }
}

} // namespace

class DamagedFeatureArchive : public testing::TestWithParam<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(
    Goldens, DamagedFeatureArchive, testing::Values("featureComputers.xml", "contextFeatureComputers.xml"),
    [](const testing::TestParamInfo<const char*>& in_info)
    { return std::string(in_info.param).substr(0, std::string(in_info.param).find('.')); });

TEST_P(DamagedFeatureArchive, IsRefusedOrUsable)
{
    const Testing::AssertionCapture assertions;
    const Testing::LogCapture log("quillcast.math");
    const DoubleVector vWindow = noise(200);
    const std::string strGolden = Testing::readFile(std::string(QC_TEST_DATA "/") + GetParam());
    ASSERT_FALSE(strGolden.empty());
    const std::string strReplacements("\0 -09<e\xff", 8);
    for (std::size_t uiByte = 0; uiByte < strGolden.size(); ++uiByte)
    {
        ASSERT_TRUE(isHandled(strGolden.substr(0, uiByte), vWindow)) << "cut at byte " << uiByte;
        std::string strCopy = strGolden;
        // Two of them at each byte, others at the next; tools/damage_configs tries all.
        for (const std::size_t uiReplacement : {uiByte, uiByte + 3})
        {
            strCopy[uiByte] = strReplacements[uiReplacement % strReplacements.size()];
            ASSERT_TRUE(isHandled(strCopy, vWindow))
                << "byte " << uiByte << " replaced by " << int(strCopy[uiByte]);
        }
        if (strGolden[uiByte] != '\n')
            continue;
        strCopy = strGolden;
        strCopy.erase(uiByte, strGolden.find('\n', uiByte + 1) - uiByte);
        ASSERT_TRUE(isHandled(strCopy, vWindow)) << "line after byte " << uiByte << " deleted";
    }
}

TEST(FeatureArchiveTest, VectorKeepsEveryValue)
{
    const DoubleVector vVector{0.1, -0.0, NOT_A_NUMBER, INFINITE, -INFINITE, 5e-324};
    std::stringstream stream;
    XmlOutputArchive output(stream);
    output.get() << boost::serialization::make_nvp("m_vVector", vVector);
    ASSERT_TRUE(output.finish());
    EXPECT_NE(stream.str().find("<m_vVector>\n\t<count>6</count>\n\t<item>0.1</item>\n\t<item>-0</item>\n"
                                "\t<item>nan</item>\n\t<item>inf</item>\n"),
              std::string::npos)
        << stream.str();
    CheckedXmlInputArchive input(stream);
    DoubleVector vLoaded{1};
    input.get() >> boost::serialization::make_nvp("m_vVector", vLoaded);
    input.finish();
    EXPECT_EQ(vLoaded, vVector);
}

TEST(SignalFeatureTest, PoolCreatesByName)
{
    EXPECT_EQ(SignalFeaturePool::getNames(), StringVector{"SUMSQUAREDAMPLITUDE"});
    for (const std::string& strName : SignalFeaturePool::getNames())
        EXPECT_EQ(SignalFeaturePool::create(strName)->getName(), strName);
    const Testing::LogCapture log("quillcast.math.SignalFeature");
    EXPECT_TRUE(SignalFeaturePool::create("sumsquaredamplitude").isNull());
    EXPECT_TRUE(log.has("ERROR Unknown signal feature: \"sumsquaredamplitude\"")) << log.text();
}

TEST(SignalFeatureTest, SumSquaredAmplitude)
{
    SumSquaredAmplitudeFeature feature;
    DoubleVector vFeature{7, 7};
    EXPECT_TRUE(feature.compute(DoubleVector{3, -4}, vFeature));
    EXPECT_EQ(vFeature, DoubleVector{25});
    Testing::AssertionCapture assertions;
    EXPECT_FALSE(feature.compute(DoubleVector(), vFeature));
    EXPECT_EQ(assertions.conditions().size(), 1u);
}

TEST(FeatureBitsTest, AreTheSameOnEveryMachine)
{
    const std::unique_ptr<FeatureComputerSequence> pSequence(makeSequence());
    const DoubleVector vFeatures = features(*pSequence, noise(200));
    std::string strText;
    DoubleVector vPinned;
    for (const std::size_t uiFeature : {0, 1, 12, 24, 25, 30, 37, 38, 39, 240})
        vPinned.push_back(vFeatures[uiFeature]);
    vPinned.appendTo(strText);
    EXPECT_EQ(
        strText,
        "[0.5125628140703518 -3.226314956385451 2.6055745494912568 6.615642572302841 18.277750010811292 "
        "-1.487869754030057 0.3786152840971686 1.0068150463833931 0.055622501673502835 66.18991995695978]");
}
