#include "FeatureMakers.h"
#include "test-support/LogCapture.h"

#include <cmath>
#include <memory>
#include <utility>
#include <vector>

using namespace Vexalor;
using namespace Vexalor::Testing;

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
        "deltas reach no further than 1024 windows (m_uiReach, doubled by each further m_uiScales)";
    const std::string strSplice =
        "so many spliced windows (m_uiWindowsBefore, m_uiStep) are more than 262144 values";
    const std::string strOthers = "with the other computers of the context they are more than 262144 values";
    const std::string strZero =
        "the reach of deltas (m_uiReach) must be 1 or more, their order (m_uiOrder) 1 to 4, their scales "
        "(m_uiScales) 1 to 16";
    const std::string strTime = "the time constant of normalisation (m_dTimeConstant) must be 1 or more";
    constexpr unsigned int MOST = std::numeric_limits<unsigned int>::max();
    auto* pLarge = new FeatureComputerSequence;
    for (int i = 0; i < 2; ++i) // each alone could keep its 200 001 values
        ASSERT_TRUE(pLarge->add(splice(1, 200000, new EnergyFeatureComputer)));
    const std::pair<FeatureComputerWithInputs*, std::string> cases[] = {
        {deltas(0, 1, new EnergyFeatureComputer), strZero},
        {deltas(1, 0, new EnergyFeatureComputer), strZero},
        {deltas(1, 5, new EnergyFeatureComputer), strZero},
        {deltas(MOST, 4, new EnergyFeatureComputer), strDeltas},
        {deltas(1025, 1, new EnergyFeatureComputer), strDeltas},
        {scaledDeltas(513, 2, new EnergyFeatureComputer), strDeltas},
        {pLarge, strOthers},
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
    const LogCapture log("quillcast.math");
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

    AssertionCapture assertions;
    SpliceFeatureComputer alone;
    EXPECT_FALSE(alone.setComputer(nullptr));
    EXPECT_FALSE(alone.setInput("audio", vWindow));
    EXPECT_FALSE(alone.computeFeatures(vFeatures));
    EXPECT_FALSE(alone.reset());
    EXPECT_EQ(assertions.conditions().size(), 4u);
}
