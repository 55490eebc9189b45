#include "FeatureMakers.h"
#include "quillcast-math/SignalFeature.h"
#include "quillcast-math/SignalKernels.h"
#include "quillcast-math/src/VectorLanes.h"
#include "test-support/LogCapture.h"

#include <cmath>
#include <complex>
#include <functional>
#include <memory>
#include <numbers>
#include <vector>

using namespace Vexalor;
using namespace Vexalor::Testing;

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

    AssertionCapture assertions;
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
    const LogCapture log("quillcast.math");
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
    const LogCapture log("quillcast.math");
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
    AssertionCapture assertions;
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
    const LogCapture log("quillcast.math");
    EXPECT_TRUE(sequence.setInput("audio", vWindow));
    EXPECT_FALSE(sequence.computeFeatures(vFeatures));
    EXPECT_EQ(log.count("there are no frequencies (m_vFrequencies)"), 1u);
}

TEST(SignalFeatureTest, PoolCreatesByName)
{
    EXPECT_EQ(SignalFeaturePool::getNames(), StringVector{"SUMSQUAREDAMPLITUDE"});
    for (const std::string& strName : SignalFeaturePool::getNames())
        EXPECT_EQ(SignalFeaturePool::create(strName)->getName(), strName);
    const LogCapture log("quillcast.math.SignalFeature");
    EXPECT_TRUE(SignalFeaturePool::create("sumsquaredamplitude").isNull());
    EXPECT_TRUE(log.has("ERROR Unknown signal feature: \"sumsquaredamplitude\"")) << log.text();
}

TEST(SignalFeatureTest, SumSquaredAmplitude)
{
    SumSquaredAmplitudeFeature feature;
    DoubleVector vFeature{7, 7};
    EXPECT_TRUE(feature.compute(DoubleVector{3, -4}, vFeature));
    EXPECT_EQ(vFeature, DoubleVector{25});
    AssertionCapture assertions;
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
