#include "common/FannTrainer.h"
#include "common/PatternSet.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <random>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::LogCapture;
using Testing::ScriptedGenerator;

namespace
{

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

PatternSet toSet(std::vector<ScriptedGenerator::Pattern> in_vPatterns)
{
    ScriptedGenerator generator(std::move(in_vPatterns));
    PatternSet patterns;
    EXPECT_TRUE(patterns.append(generator));
    return patterns;
}

/// Exclusive or, of inputs far from where a network is sensitive, beside an input that never changes.
PatternSet exclusiveOr()
{
    return toSet(
        {{{1000, 0.001, 5}, {0}}, {{1000, 0.002, 5}, {1}}, {{1100, 0.001, 5}, {1}}, {{1100, 0.002, 5}, {0}}});
}

/// Targets that are half rule, half pseudo-random noise: what is learnt for too long fits the noise.
PatternSet noisy()
{
    std::vector<ScriptedGenerator::Pattern> vPatterns;
    std::uint32_t uiState = 1;
    const auto draw = [&]
    {
        return (uiState = uiState * 1664525u + 1013904223u) / 4294967296.0;
    };
    for (int i = 0; i < 120; ++i)
    {
        const double dX = draw();
        vPatterns.push_back({{dX, draw(), draw(), draw()}, {dX + draw() > 1.0 ? 1.0 : 0.0}});
    }
    return toSet(vPatterns);
}

/// Many points of a square, and which of them lie where both inputs have the same sign.
PatternSet quadrants()
{
    std::vector<ScriptedGenerator::Pattern> vPatterns;
    std::mt19937 random(1);
    const auto draw = [&]
    {
        return random() / 2147483648.0 - 1;
    };
    for (int i = 0; i < 2000; ++i)
    {
        const DoubleVector vInput{draw(), draw()};
        vPatterns.push_back({vInput, {vInput[0] * vInput[1] > 0 ? 1.0 : 0.0}});
    }
    return toSet(vPatterns);
}

std::unique_ptr<FannNetwork> train(const PatternSet& in_patterns, const FannTrainer::Settings& in_settings,
                                   std::vector<FannTrainer::Epoch>& out_vEpochs,
                                   FannTrainer::Epoch& out_taken, unsigned int in_uiLast = 1'000'000'000)
{
    out_vEpochs.clear();
    return FannTrainer(in_settings)
        .train(
            in_patterns,
            [&](const FannTrainer::Epoch& in_epoch)
            {
                out_vEpochs.push_back(in_epoch);
                return in_epoch.m_uiNumber < in_uiLast;
            },
            out_taken);
}

} // namespace

TEST(PatternSetTest, JoinsStreamsAndLeavesOutWhatHasNoTarget)
{
    PatternSet patterns;
    ScriptedGenerator first({{{1, 2}, {1}}, {{3, 4}, {}}});
    ScriptedGenerator second({{{5, 6}, {-3}}});
    ASSERT_TRUE(patterns.append(first));
    ASSERT_TRUE(patterns.append(second));
    EXPECT_EQ(patterns.size(), 2u);
    EXPECT_EQ(patterns.getNbSkipped(), 1u);
    EXPECT_EQ(patterns.getInput(1)[1], 6);
    EXPECT_EQ(patterns.getTarget(1)[0], -3);
    double dMin = 0;
    double dMax = 0;
    patterns.getTargetRange(dMin, dMax);
    EXPECT_EQ(dMin, -3);
    EXPECT_EQ(dMax, 1);
}

TEST(PatternSetTest, ScalingBringsMeanToZeroAndDeviationToOne)
{
    DoubleVector vMean;
    DoubleVector vFactor;
    // Deviations: 2 of (1, 5); none of the constant, whose mean is not exact; 1e-3 beside a mean of 1e6.
    // The squares of the last two are beyond the range of numbers.
    toSet({{{1, 0.1, 1e6 - 1e-3, 1e160, 1e-300}, {0}}, {{5, 0.1, 1e6 + 1e-3, -1e160, 3e-300}, {1}}})
        .getInputScaling(vMean, vFactor);
    EXPECT_EQ(vMean[0], 3);
    EXPECT_EQ(vFactor[0], 0.5);
    EXPECT_EQ(vFactor[1], 0);
    EXPECT_NEAR(vFactor[2], 1000, 1e-3);
    EXPECT_DOUBLE_EQ(vFactor[3], 1e-160);
    EXPECT_DOUBLE_EQ(vFactor[4], 1e300);
}

TEST(PatternSetTest, UnusableStreamsAreRefused)
{
    struct Case
    {
        std::vector<ScriptedGenerator::Pattern> m_vPatterns;
        const char* m_message;
    };
    const Case CASES[] = {
        {{{{1}, {1}}, {{1, 2}, {1}}}, "ERROR Pattern 1 has 2 inputs and 1 targets, the first one 1 and 1"},
        {{{{1}, {1}}, {{1}, {1, 0}}}, "ERROR Pattern 1 has 1 inputs and 2 targets, the first one 1 and 1"},
        {{{{}, {1}}}, "ERROR Pattern 0 has 0 inputs and 1 targets, the first one 0 and 1"},
        {{{{1, NOT_A_NUMBER}, {1}}}, "ERROR Pattern 0 has a number that is not finite: [1 nan] [1]"},
        {{{{1}, {-HUGE_VAL}}}, "ERROR Pattern 0 has a number that is not finite: [1] [-inf]"},
    };
    for (const Case& badCase : CASES)
    {
        const LogCapture log("quillcast.app.PatternSet");
        ScriptedGenerator generator(badCase.m_vPatterns);
        EXPECT_FALSE(PatternSet().append(generator));
        EXPECT_THAT(log.lines(), ElementsAre(badCase.m_message));
    }
    const std::pair<bool ScriptedGenerator::*, const char*> FAULTS[] = {
        {&ScriptedGenerator::m_bStartWorks, "ERROR Cannot go to the start of the training data"},
        {&ScriptedGenerator::m_bInputWorks, "ERROR A pattern of the training data has no input"},
        {&ScriptedGenerator::m_bCleanEnd, "ERROR The training data stopped before its end"}};
    for (const auto& [pSwitch, message] : FAULTS)
    {
        const LogCapture log("quillcast.app.PatternSet");
        ScriptedGenerator generator({{{1}, {1}}});
        generator.*pSwitch = false;
        EXPECT_FALSE(PatternSet().append(generator));
        EXPECT_THAT(log.lines(), ElementsAre(message));
    }
}

TEST(FannTrainerTest, LearnsFromInputsAsTheyAreAndRepeatsItself)
{
    const PatternSet patterns = exclusiveOr();
    FannTrainer::Settings settings;
    settings.m_vHiddenSizes = {4};
    settings.m_dDesiredError = 1e-4;
    std::vector<FannTrainer::Epoch> vEpochs;
    FannTrainer::Epoch taken;
    const std::unique_ptr<FannNetwork> pNetwork = train(patterns, settings, vEpochs, taken);
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_LE(taken.m_dError, 1e-4);
    EXPECT_EQ(taken.m_uiNumber, vEpochs.size());
    DoubleVector vOutput;
    for (std::size_t i = 0; i < patterns.size(); ++i)
    {
        ASSERT_TRUE(pNetwork->compute(patterns.getInput(i), patterns.getInput(i) + 3, vOutput));
        EXPECT_NEAR(vOutput[0], patterns.getTarget(i)[0], 0.05) << i;
    }
    // An input that never changed while training changes nothing later.
    const DoubleVector vSurprise{1000, 0.001, -99};
    DoubleVector vSurprised;
    ASSERT_TRUE(pNetwork->compute(vSurprise.begin(), vSurprise.end(), vSurprised));
    ASSERT_TRUE(pNetwork->compute(patterns.getInput(0), patterns.getInput(0) + 3, vOutput));
    EXPECT_EQ(vSurprised, vOutput);

    EXPECT_EQ(train(patterns, settings, vEpochs, taken)->getText(), pNetwork->getText());
    settings.m_uiSeed = 2;
    EXPECT_NE(train(patterns, settings, vEpochs, taken)->getText(), pNetwork->getText());
}

TEST(FannTrainerTest, StopsWhenWhatIsHeldOutGetsNoBetterAndTakesTheBestEpoch)
{
    const PatternSet patterns = noisy();
    FannTrainer::Settings settings;
    settings.m_vHiddenSizes = {12};
    settings.m_uiHoldOut = 4;
    settings.m_uiPatience = 10;
    std::vector<FannTrainer::Epoch> vEpochs;
    FannTrainer::Epoch taken;
    const std::unique_ptr<FannNetwork> pNetwork = train(patterns, settings, vEpochs, taken);
    ASSERT_NE(pNetwork, nullptr);
    ASSERT_LT(vEpochs.size(), settings.m_uiEpochs);
    EXPECT_EQ(vEpochs.size(), taken.m_uiNumber + settings.m_uiPatience);
    for (const FannTrainer::Epoch& epoch : vEpochs)
        EXPECT_GE(epoch.m_dHeldOutError, taken.m_dHeldOutError);

    settings.m_uiEpochs = taken.m_uiNumber;
    EXPECT_EQ(train(patterns, settings, vEpochs, taken)->getText(), pNetwork->getText());
}

TEST(FannTrainerTest, SmallBatchesLearnInFewEpochsFromManyPatterns)
{
    const PatternSet patterns = quadrants();
    FannTrainer::Settings settings;
    settings.m_vHiddenSizes = {8};
    settings.m_uiEpochs = 20;
    settings.m_uiHoldOut = 5;
    std::vector<FannTrainer::Epoch> vEpochs;
    FannTrainer::Epoch rprop;
    ASSERT_NE(train(patterns, settings, vEpochs, rprop), nullptr);
    settings.m_method = FannTrainer::Method::ADAM;
    settings.m_uiBatch = 8;
    settings.m_dLearningRate = 0.02;
    FannTrainer::Epoch adam;
    const std::unique_ptr<FannNetwork> pNetwork = train(patterns, settings, vEpochs, adam);
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_LT(adam.m_dHeldOutError, 0.5 * rprop.m_dHeldOutError);
    for (const FannTrainer::Epoch& epoch : vEpochs)
        EXPECT_GE(epoch.m_dHeldOutError, adam.m_dHeldOutError);
    DoubleVector vOutput;
    int iWrong = 0;
    for (std::size_t i = 0; i < patterns.size(); ++i)
    {
        ASSERT_TRUE(pNetwork->compute(patterns.getInput(i), patterns.getInput(i) + 2, vOutput));
        iWrong += (vOutput[0] > 0.5) == (patterns.getTarget(i)[0] > 0.5) ? 0 : 1;
    }
    EXPECT_LT(iWrong, 100) << "of 2000, with the scaling of the inputs taken into the weights";

    EXPECT_EQ(train(patterns, settings, vEpochs, adam)->getText(), pNetwork->getText());
    settings.m_uiSeed = 2;
    EXPECT_NE(train(patterns, settings, vEpochs, adam)->getText(), pNetwork->getText());
}

TEST(FannTrainerTest, TooFewStepsAreTold)
{
    FannTrainer::Settings settings;
    settings.m_method = FannTrainer::Method::ADAM;
    std::vector<FannTrainer::Epoch> vEpochs;
    FannTrainer::Epoch taken;
    const LogCapture log("quillcast.app.FannTrainer");
    ASSERT_NE(train(exclusiveOr(), settings, vEpochs, taken), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre("WARN All steps of this training together change a weight by at most "
                            "0.3: more epochs, smaller batches or a higher rate learn more, or "
                            "rprop where patterns are few"));
    settings.m_dLearningRate = 0.04;
    ASSERT_NE(train(exclusiveOr(), settings, vEpochs, taken), nullptr);
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(FannTrainerTest, TargetsThatDifferLittleAreTold)
{
    FannTrainer::Settings settings;
    settings.m_uiEpochs = 1;
    std::vector<FannTrainer::Epoch> vEpochs;
    FannTrainer::Epoch taken;
    const LogCapture log("quillcast.app.FannTrainer");
    ASSERT_NE(train(toSet({{{1}, {0.5}}, {{2}, {0.52}}}), settings, vEpochs, taken), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre(testing::HasSubstr(
                                 "WARN Targets differ from their mean by 0.01 only, which trains badly")));
    for (const PatternSet& patterns : {exclusiveOr(), toSet({{{1}, {0.5}}, {{2}, {0.5}}})})
        ASSERT_NE(train(patterns, settings, vEpochs, taken), nullptr);
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(FannTrainerTest, TargetsFarFromOneAreLearntInTheirOwnUnits)
{
    // The second target has a small part in the error, and a mean far from its range.
    std::vector<ScriptedGenerator::Pattern> vPatterns;
    for (int i = 0; i < 1000; ++i)
    {
        const double dX = i % 100 - 50.0;
        const double dY = i % 7;
        vPatterns.push_back({{dX, dY}, {4 * dX - 5 * dY, 250 + 0.1 * dX}});
    }
    const PatternSet patterns = toSet(vPatterns);
    for (const FannTrainer::Method method : {FannTrainer::Method::RPROP, FannTrainer::Method::ADAM})
    {
        FannTrainer::Settings settings;
        settings.m_method = method;
        settings.m_uiBatch = 10;
        settings.m_dLearningRate = 0.02;
        settings.m_uiHoldOut = 5;
        std::vector<FannTrainer::Epoch> vEpochs;
        FannTrainer::Epoch taken;
        const std::unique_ptr<FannNetwork> pNetwork = train(patterns, settings, vEpochs, taken);
        double dSquares = 0;
        DoubleVector vOutput;
        for (std::size_t i = 0; i < patterns.size(); ++i)
        {
            ASSERT_TRUE(pNetwork->compute(patterns.getInput(i), patterns.getInput(i) + 2, vOutput));
            for (std::size_t j = 0; j < 2; ++j)
                dSquares += std::pow(vOutput[j] - patterns.getTarget(i)[j], 2);
        }
        EXPECT_LT(dSquares / 2000, 1e-4) << static_cast<int>(method);
        EXPECT_GT(vEpochs.front().m_dError, 100) << "in units of the targets";
        EXPECT_LT(taken.m_dHeldOutError, 1e-4);
    }
}

TEST(FannTrainerTest, OutputsFitTheRangeOfTheTargets)
{
    FannTrainer::Settings settings;
    settings.m_uiEpochs = 300;
    const double TARGETS[][2] = {{0, 1}, {-1, 1}, {-20, 30}};
    for (const auto& [dLow, dHigh] : TARGETS)
    {
        std::vector<FannTrainer::Epoch> vEpochs;
        FannTrainer::Epoch taken;
        const std::unique_ptr<FannNetwork> pNetwork =
            train(toSet({{{0}, {dLow}}, {{1}, {dHigh}}}), settings, vEpochs, taken);
        DoubleVector vOutput;
        const DoubleVector vFar{1000};
        ASSERT_TRUE(pNetwork->compute(vFar.begin(), vFar.end(), vOutput));
        // A sigmoid ends at its bound, a linear neuron goes on.
        if (dHigh == 1)
            EXPECT_NEAR(vOutput[0], 1, 1e-9) << dLow;
        else
            EXPECT_GT(vOutput[0], dHigh);
    }
}

TEST(FannTrainerTest, SetsThatCannotBeLearntAreRefused)
{
    std::vector<FannTrainer::Epoch> vEpochs;
    FannTrainer::Epoch taken;
    const LogCapture log("quillcast.app.FannTrainer");
    EXPECT_EQ(train(toSet({{{1}, {}}}), {}, vEpochs, taken), nullptr);
    FannTrainer::Settings settings;
    settings.m_uiHoldOut = 10;
    EXPECT_EQ(train(exclusiveOr(), settings, vEpochs, taken), nullptr);
    EXPECT_EQ(train(toSet({{{1}, {0}}, {{2}, {301}}}), {}, vEpochs, taken), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR No pattern with a target to train on",
                            "ERROR Too few patterns, 4, to hold out one in 10",
                            "ERROR Targets reach from 0 to 301, a network gives at most 300 either way"));
}
