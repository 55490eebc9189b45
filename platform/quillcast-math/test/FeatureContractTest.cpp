#include "FeatureMakers.h"
#include "test-support/AllocationCounter.h"
#include "test-support/LogCapture.h"

#include <functional>
#include <memory>
#include <ostream>
#include <thread>
#include <typeinfo>
#include <vector>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

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

    AssertionCapture assertions;
    const LogCapture log("quillcast.math");
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
    const AllocationCounter allocations;
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
    const AllocationCounter allocations;
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
