// Scaling: applied, learnt, and around a generator.

#include "MLScalingDataGenerator.h"
#include "MLVectorScaler.h"
#include "MLVectorScalingTrainer.h"
#include "TestPrelude.h"
#include "test-support/AllocationCounter.h"

#include <cmath>
#include <random>

namespace
{

using TrainingParam = VectorScalingTrainer::Config::TrainingParam;
using Params = std::vector<TrainingParam>;

constexpr const char* SIZES = "m_config.m_vTrainingParam.size() == m_uiInputSize + m_uiTargetSize";

TrainingParam standardize()
{
    TrainingParam param;
    param.m_bStandardize = true;
    return param;
}

TrainingParam minMax(double in_dMin, double in_dMax)
{
    TrainingParam param;
    param.m_bMinMax = true;
    param.m_dScaledMinValue = in_dMin;
    param.m_dScaledMaxValue = in_dMax;
    return param;
}

/// Input 0: 1, 3, 5; mean 3, squared deviations 4 + 0 + 4, over 2: deviation 2. Input 1: 10 to 30. Target: 0,
/// 4, 2; mean 2, deviation 2. The second pattern does not count.
Patterns makePatterns()
{
    return {{{1, 10}, {0}}, {{1000, -1000}, {}}, {{3, 30}, {4}}, {{5, 20}, {2}}};
}

/// In this order: slopes and intercepts of inputs, then of targets.
VectorScaler::Config makeScaling(const DoubleVector& in_vInputSlope, const DoubleVector& in_vInputYIntercept,
                                 const DoubleVector& in_vTargetSlope = {},
                                 const DoubleVector& in_vTargetYIntercept = {})
{
    VectorScaler::Config config;
    config.m_vInputSlope = in_vInputSlope;
    config.m_vInputYIntercept = in_vInputYIntercept;
    config.m_vTargetSlope = in_vTargetSlope;
    config.m_vTargetYIntercept = in_vTargetYIntercept;
    return config;
}

const VectorScaler::Config SCALING = makeScaling({2, -0.5}, {1, 0.25}, {10}, {-3});

/// Fails in its n-th start, or from then on stops before its first pattern.
class StartingGenerator : public ScriptedGenerator
{
public:
    explicit StartingGenerator(int in_iFailing, bool in_bStarts = false)
        : ScriptedGenerator(makePatterns())
        , m_iLeft(in_iFailing)
        , m_bStarts(in_bStarts)
    {
    }
    bool gotoStart() override
    {
        m_uiFailBefore = --m_iLeft <= 0 ? 0 : SIZE_MAX;
        return (m_bStarts || m_iLeft != 0) && ScriptedGenerator::gotoStart();
    }

private:
    int m_iLeft;
    bool m_bStarts;
};

class ScalingTrainerTest : public testing::Test
{
protected:
    bool train(DataGenerator& io_generator, const Params& in_vParams)
    {
        VectorScalingTrainer::Config config;
        config.m_vTrainingParam = in_vParams;
        EXPECT_TRUE(m_trainer.configure(config));
        m_scaling = VectorScaler::Config();
        m_assertions.clear();
        m_log.clear();
        return m_trainer.computeScalingParam(io_generator, m_scaling);
    }

    bool train(const Patterns& in_vPatterns, const Params& in_vParams)
    {
        ScriptedGenerator generator(in_vPatterns);
        return train(generator, in_vParams);
    }

    static constexpr const char* LOGGER = "quillcast.ml.VectorScalingTrainer";
    VectorScalingTrainer m_trainer;
    VectorScaler::Config m_scaling;
    AssertionCapture m_assertions;
    LogCapture m_log{LOGGER, LogLevel::WARN};
};

/// Around inputs 1, 3, 5: mean 3, deviation 2. Targets 0, 5, 10. The last pattern has none.
class ScalingDataGeneratorTest : public testing::Test
{
protected:
    ScalingDataGeneratorTest()
    {
        m_generator.setDataGenerator(m_pSource);
        m_learning.m_bLearnScalingParameters = true;
        m_learning.m_scalingTrainerConfig.m_vTrainingParam = {standardize(), minMax(0, 1)};
    }

    CountedObjPtr<ScriptedGenerator> m_pSource{
        new ScriptedGenerator(Patterns{{{1}, {0}}, {{3}, {5}}, {{5}, {10}}, {{9}, {}}})};
    ScalingDataGenerator::Config m_learning;
    ScalingDataGenerator m_generator;
    LogCapture m_log{"quillcast.ml", LogLevel::WARN};
};

// (1 - 3) / 2, (3 - 3) / 2, (5 - 3) / 2, (9 - 3) / 2; a tenth of each target
constexpr const char* LEARNT = "[-1]->[0];[0]->[0.5];[1]->[1];[3];";

} // namespace

TEST(VectorScalerTest, ScalesEachComponentByItsOwnParameters)
{
    VectorScaler scaler;
    DoubleVector vInput{3, 4};
    EXPECT_TRUE(scaler.scaleInput(vInput)) << "no parameters";
    EXPECT_EQ(vInput, (DoubleVector{3, 4}));
    EXPECT_TRUE(scaler.configure(SCALING) && scaler.scaleInput(vInput));
    EXPECT_EQ(vInput, (DoubleVector{3 * 2 + 1, 4 * -0.5 + 0.25}));
    DoubleVector vTarget{0.5};
    EXPECT_TRUE(scaler.scaleTarget(vTarget));
    EXPECT_EQ(vTarget, DoubleVector{0.5 * 10 - 3});
    // Rounded after the product: 0.1 x 10 is 1 exactly then, and 5.55e-17 more when it is not.
    scaler.configure(makeScaling({10}, {-1}));
    DoubleVector vTenth{0.1};
    scaler.scaleInput(vTenth);
    EXPECT_EQ(vTenth[0], 0.0);
    const VectorScaler copy(scaler);
    EXPECT_EQ(copy.getConfig(), makeScaling({10}, {-1}));
}

TEST(VectorScalerTest, VectorsOfOtherSizesAreScaledAsFarAsParametersGo)
{
    VectorScaler scaler;
    scaler.configure(makeScaling({2, -0.5}, {1, 0.25}, {10}));
    const LogCapture log("quillcast.ml.VectorScaler", LogLevel::WARN);
    DoubleVector vLong{1, 1, 1};
    DoubleVector vShort{1};
    DoubleVector vTarget{7};
    EXPECT_TRUE(scaler.scaleInput(vLong) && scaler.scaleInput(vShort) && scaler.scaleTarget(vTarget));
    EXPECT_EQ(vLong, (DoubleVector{3, -0.25, 1}));
    EXPECT_EQ(vShort, DoubleVector{3});
    EXPECT_EQ(vTarget, DoubleVector{7}) << "a slope without intercept is no parameter";
    EXPECT_EQ(log.text(), "WARN A pattern has 3 inputs, its scaling is for 2: only the first 2 are scaled\n");
}

TEST(VectorScalerTest, ConfigHasATextAndIsComparedExactly)
{
    const LogCapture log("quillcast.ml.VectorScaler", LogLevel::DEBUGGING);
    VectorScaler().configure(SCALING);
    EXPECT_TRUE(log.has("DEBUG VectorScaler config: VectorScaler config: \nm_vInputSlope = [2 -0.5]"
                        "m_vInputYIntercept = [1 0.25]m_vTargetSlope = [10]m_vTargetYIntercept = [-3]"))
        << log.text();
    DoubleVector VectorScaler::Config::*const VECTORS[] = {
        &VectorScaler::Config::m_vInputSlope, &VectorScaler::Config::m_vInputYIntercept,
        &VectorScaler::Config::m_vTargetSlope, &VectorScaler::Config::m_vTargetYIntercept};
    for (const auto pVector : VECTORS)
    {
        VectorScaler::Config other = SCALING;
        EXPECT_TRUE(other == SCALING);
        (other.*pVector)[0] = std::nextafter((other.*pVector)[0], 100);
        EXPECT_TRUE(other != SCALING);
        (other.*pVector)[0] = NAN;
        EXPECT_TRUE(other == VectorScaler::Config(other)) << "nan equals nan";
    }
}

TEST_F(ScalingTrainerTest, LearnsOneSlopeAndInterceptAComponent)
{
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    ASSERT_TRUE(train(makePatterns(), {standardize(), minMax(-1, 1), minMax(0, 1)}));
    EXPECT_EQ(m_scaling, makeScaling({1.0 / 2, 2.0 / (30 - 10)}, {-3.0 / 2, -1 - 0.1 * 10}, {1.0 / 4}, {0}));
    EXPECT_THAT(log.lines(),
                ElementsAre("DEBUG Dslope  0 = 1", "DEBUG Input 1 max value = 30",
                            "DEBUG Input 1 min value = 10", "DEBUG Dslope  1 = 0.1",
                            "DEBUG Target 0 max value = 4", "DEBUG Target 0 min value = 0",
                            "DEBUG Dslope  0 = 0.25", "DEBUG Input avg = [3 20]", "DEBUG Target avg = [2]",
                            "DEBUG Input std dev = [2 10]", "DEBUG Target std avg = [2]"));

    ASSERT_TRUE(train(makePatterns(), {TrainingParam(), TrainingParam(), standardize()})) << "another run";
    EXPECT_EQ(m_scaling, makeScaling({1, 1}, {0, 0}, {1.0 / 2}, {-2.0 / 2}));
    ScriptedGenerator generator(makePatterns());
    ASSERT_TRUE(m_trainer.computeScalingParam(generator, m_scaling));
    EXPECT_EQ(m_scaling.m_vTargetSlope, (DoubleVector{0.5, 0.5})) << "appended, not replaced";
    EXPECT_TRUE(generator.atEnd());
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
}

TEST_F(ScalingTrainerTest, StepsOfEachPatternHaveALoggerOfTheirOwn)
{
    const LogCapture verbose("quillcast.HighVerbose.ml.VectorScalingTrainer", LogLevel::TRACE);
    const LogCapture usual(LOGGER, LogLevel::TRACE);
    ASSERT_TRUE(train(makePatterns(), Params(3)));
    // Three patterns count; the first one begins the extremes, the others update them for input and target.
    const std::pair<const char*, std::size_t> STEPS[] = {
        {"computeMinAndMax", 3}, {"updateMinMax", 4}, {"updateMeanCounter", 3}, {"updateStdDevCounter", 3}};
    for (const auto& [name, uiCount] : STEPS)
    {
        EXPECT_EQ(verbose.count(std::string("ENTER : VectorScalingTrainer::") + name), uiCount) << name;
        EXPECT_EQ(usual.count(name), 0U) << name;
    }
    for (const char* name :
         {"resetData", "computeSlope", "computeMean", "computeStdDev", "computeResultingParam"})
        EXPECT_EQ(usual.count(std::string("ENTER : VectorScalingTrainer::") + name), 1U) << name;
}

TEST_F(ScalingTrainerTest, SumsAreTakenInTheOrderOfThePatterns)
{
    constexpr std::size_t NB_INPUTS = 37;
    std::mt19937_64 random(1);
    std::lognormal_distribution<double> values(0, 5);
    Patterns vPatterns(500, {DoubleVector(NB_INPUTS), {1}});
    for (auto& pattern : vPatterns)
        for (double& dValue : pattern.m_vInput)
            dValue = values(random) - 1;
    Params vParams(NB_INPUTS, standardize());
    vParams.emplace_back();
    ASSERT_TRUE(train(vPatterns, vParams));
    for (std::size_t i = 0; i < NB_INPUTS; ++i)
    {
        double dMean = 0;
        for (const auto& pattern : vPatterns)
            dMean += pattern.m_vInput[i];
        dMean /= 500.0;
        double dSquares = 0;
        for (const auto& pattern : vPatterns)
            dSquares += (pattern.m_vInput[i] - dMean) * (pattern.m_vInput[i] - dMean);
        const double dStdDev = std::sqrt(dSquares / 499.0);
        EXPECT_EQ(m_scaling.m_vInputSlope[i], 1.0 / dStdDev);
        EXPECT_EQ(m_scaling.m_vInputYIntercept[i], dMean * -1.0 / dStdDev);
    }
}

TEST_F(ScalingTrainerTest, ComponentsWithOneValueOnly)
{
    const Patterns vConstant{{{7, 0}, {2}}, {{7, 0}, {2}}};
    EXPECT_FALSE(train(vConstant, {TrainingParam(), standardize(), TrainingParam()}));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_vInputStdDev[i] != 0"));
    EXPECT_FALSE(train(vConstant, {TrainingParam(), TrainingParam(), standardize()}));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_vTargetStdDev[i] != 0"));
    // 1 / (7 - 7) is inf and 0 - inf x 7 is -inf; inf x 0 is nan. One pattern alone has the deviation 0 / 0.
    EXPECT_TRUE(train(vConstant, {minMax(0, 1), minMax(0, 1), TrainingParam()}));
    EXPECT_EQ(m_scaling, makeScaling({INFINITY, INFINITY}, {-INFINITY, NAN}, {1}, {0}));
    EXPECT_TRUE(train({{{7}, {2}}}, {standardize(), TrainingParam()}));
    EXPECT_EQ(m_scaling, makeScaling({NAN}, {NAN}, {1}, {0}));
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
}

TEST_F(ScalingTrainerTest, ScalingsThatMakeNoSenseAreToldWithTheirReason)
{
    const std::string strInput = "WARN Input 0 has ";
    const std::string strError = "ERROR Input 0 has ";
    const struct
    {
        DoubleVector m_vValues;
        std::string m_strStandardized;
        std::string m_strMinMax;
    } TABLE[] = {
        {{1, 2}, "", ""},
        {{7, 7}, strError + "one value only: it cannot be standardized\n", strInput + "one value only"},
        {{1, NAN}, strInput + "values that are not finite", strInput + "values that are not finite"},
        {{1, INFINITY}, strInput + "values that are not finite", strInput + "values that are not finite"},
        {{1e308, 1.5e308},
         strInput + "values that are not finite or too large",
         strInput + "values that are not finite or too large"},
        // Their difference is 1.2e308; its square is no number of double.
        {{-6e307, 6e307}, strInput + "values too far apart", ""},
        {{1e-310, 3e-310},
         strError + "values too close to each other: it cannot be standardized\n",
         strInput + "values too close to each other"},
    };
    for (const auto& [vValues, strStandardized, strMinMax] : TABLE)
        for (const bool bStandardize : {true, false})
        {
            Patterns vPatterns;
            for (const double dValue : vValues)
                vPatterns.push_back({{dValue}, {1}});
            train(vPatterns, {bStandardize ? standardize() : minMax(0, 1), TrainingParam()});
            const std::string& strExpected = bStandardize ? strStandardized : strMinMax;
            EXPECT_THAT(m_log.text(), testing::StartsWith(strExpected));
            EXPECT_EQ(m_log.text().empty(), strExpected.empty()) << m_log.text();
        }
}

TEST_F(ScalingTrainerTest, ConfigurationsThatDoNotFitAreRefused)
{
    for (const std::size_t uiParams : {0U, 2U, 4U})
    {
        EXPECT_FALSE(train(makePatterns(), Params(uiParams)));
        EXPECT_THAT(m_assertions.conditions(), ElementsAre(SIZES, SIZES));
    }
    const Patterns vTargetless{{{1, 2}, {}}, {{3, 4}, {}}};
    EXPECT_FALSE(train(vTargetless, Params(2)));
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre(SIZES, "m_uiNumberData != 0", "m_uiNumberData != 0", SIZES));
    EXPECT_TRUE(train(vTargetless, Params())) << "nothing asked for, nothing learnt";

    TrainingParam both = minMax(0, 1);
    both.m_bStandardize = true;
    EXPECT_FALSE(train(makePatterns(), {TrainingParam(), TrainingParam(), both}));
    EXPECT_TRUE(m_log.has("ERROR minmax scaling with standardize: NOT SUPPORTED YET")) << m_log.text();
}

TEST_F(ScalingTrainerTest, PatternsOfOtherSizesAreTakenAsFarAsTheyGo)
{
    // The one with another input counts for the means all the same: (1 + 2 + 6) / 3 and (10 + 20) / 3.
    const Patterns vUneven{{{1, 10}, {1, 5}}, {{2}, {3}}, {{6, 20}, {2, 7, 9}}};
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_TRUE(train(vUneven, {minMax(0, 1), TrainingParam(), TrainingParam(), minMax(0, 1)}));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_vInput.size() == m_vInputMax.size()"));
    EXPECT_TRUE(log.has("DEBUG Input avg = [3 10]")) << log.text();
    EXPECT_TRUE(log.has("DEBUG Target avg = [2 4]")) << log.text();
    EXPECT_EQ(m_scaling.m_vInputSlope, (DoubleVector{1.0 / (6 - 1), 1}));
    EXPECT_EQ(m_scaling.m_vTargetSlope, (DoubleVector{1, 1.0 / (7 - 5)}));
}

TEST_F(ScalingTrainerTest, GeneratorsThatFail)
{
    StartingGenerator first(1);
    EXPECT_FALSE(train(first, Params(3)));
    EXPECT_TRUE(m_log.has("ERROR Cannot go to the start of the data set")) << m_log.text();
    StartingGenerator second(2);
    EXPECT_FALSE(train(second, Params(3)));
    EXPECT_TRUE(m_log.has("ERROR Cannot go to the start of the data set on 2nd pass")) << m_log.text();
    EXPECT_EQ(m_scaling, VectorScaler::Config());
    // The second pass ends before its first pattern: sums of nothing, not of what lies past their end.
    StartingGenerator shorter(2, true);
    EXPECT_FALSE(train(shorter, {standardize(), TrainingParam(), TrainingParam()}));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_vInputStdDev[i] != 0"));

    ScriptedGenerator cut(makePatterns());
    cut.m_bCleanEnd = false;
    EXPECT_TRUE(train(cut, Params(3)));
    EXPECT_EQ(m_log.text(),
              "WARN The scaling is learnt from a part of the data set: it stopped before its end\n");
}

TEST_F(ScalingDataGeneratorTest, LearnsOnceInTheFirstStart)
{
    const LogCapture log("quillcast.ml.MLScalingDataGenerator", LogLevel::DEBUGGING);
    ASSERT_TRUE(m_generator.configure(m_learning));
    EXPECT_EQ(m_generator.getScalingParameters(), VectorScaler::Config());
    EXPECT_EQ(readAll(m_generator), LEARNT);
    EXPECT_EQ(readAll(m_generator), LEARNT);
    EXPECT_EQ(log.count("DEBUG Performing scaler training"), 1U);
    EXPECT_EQ(m_generator.getScalingParameters().m_vTargetSlope, DoubleVector{0.1});
    ASSERT_TRUE(m_generator.gotoStart() && m_generator.generateNext());
    EXPECT_EQ(statusOf(m_generator), "Scripted 1");
}

TEST_F(ScalingDataGeneratorTest, FailedLearningLeavesNothingAndIsTriedAgain)
{
    ScalingDataGenerator::Config both = m_learning;
    both.m_scalingTrainerConfig.m_vTrainingParam[1].m_bStandardize = true;
    ASSERT_TRUE(m_generator.configure(both));
    // The input is learnt before the target is refused.
    EXPECT_FALSE(m_generator.gotoStart() || m_generator.gotoStart());
    EXPECT_EQ(m_log.lines(), Texts(2, "ERROR minmax scaling with standardize: NOT SUPPORTED YET"));
    ASSERT_TRUE(m_generator.configure(m_learning));
    EXPECT_EQ(readAll(m_generator), LEARNT);
    m_pSource->m_bStartWorks = false;
    EXPECT_FALSE(m_generator.gotoStart());
}

TEST_F(ScalingDataGeneratorTest, GivenScalingIsAppliedAndStays)
{
    constexpr const char* SCALED = "[3]->[0];[7]->[5];[11]->[10];[19];";
    ScalingDataGenerator::Config config;
    config.m_scalerConfig = makeScaling({2}, {1});
    ASSERT_TRUE(m_generator.configure(config));
    EXPECT_EQ(readAll(m_generator), SCALED);
    VectorScaler scaler;
    scaler.configure(makeScaling({-1}, {0}));
    m_generator.setScaler(scaler);
    EXPECT_EQ(m_generator.getScalingParameters(), makeScaling({-1}, {0}));
    EXPECT_EQ(readAll(m_generator), "[-1]->[0];[-3]->[5];[-5]->[10];[-9];") << "gotoStart keeps it";

    // Learning after a given scaling has no effect on what that scales; that is said.
    constexpr const char* TARGETS_LEARNT = "[3]->[0];[7]->[0.5];[11]->[1];[19];";
    m_learning.m_scalerConfig = makeScaling({2}, {1});
    ASSERT_TRUE(m_generator.configure(m_learning));
    EXPECT_EQ(readAll(m_generator), TARGETS_LEARNT);
    EXPECT_EQ(m_generator.getScalingParameters().m_vInputSlope, (DoubleVector{2, 0.5}));
    EXPECT_TRUE(
        m_log.has("WARN There is a scaling before any was learnt: what is learnt is appended and not in "
                  "force"))
        << m_log.text();
    EXPECT_FALSE(m_generator.configure(DataGeneratorWithConfig::Config()));
    EXPECT_EQ(readAll(m_generator), TARGETS_LEARNT);
}

TEST_F(ScalingDataGeneratorTest, ForwardsTheEndAndReleasesTheEarlierGenerator)
{
    EXPECT_EQ(m_pSource.getCount(), 2U);
    EXPECT_STREQ(m_generator.getLibName().getValue(), "a host");
    const CountedObjPtr<ScriptedGenerator> pLater(new ScriptedGenerator(Patterns(1000, {{1, 2}, {3}})));
    m_generator.setDataGenerator(pLater);
    EXPECT_EQ(m_pSource.getCount(), 1U);
    pLater->m_bCleanEnd = false;
    readAll(m_generator);
    EXPECT_TRUE(m_generator.atEnd());
    EXPECT_FALSE(m_generator.endedCleanly());

    m_learning.m_scalingTrainerConfig.m_vTrainingParam.assign(3, {});
    ASSERT_TRUE(m_generator.configure(m_learning));
    const AllocationCounter allocations;
    ASSERT_TRUE(m_generator.gotoStart());
    EXPECT_LT(allocations.getCount(), 200U) << "two passes of 1000 patterns";
}

TEST(ScalingOfPartsTest, IsThatOfTheWholeHoweverItIsDivided)
{
    std::mt19937 random(7);
    std::normal_distribution<double> value(1000.0, 3.0);
    Patterns vPatterns;
    for (int i = 0; i < 300; ++i)
        vPatterns.push_back(
            {{value(random), value(random)}, i % 7 == 0 ? DoubleVector{} : DoubleVector{value(random)}});
    VectorScalingTrainer::Config config;
    config.m_vTrainingParam = {standardize(), minMax(-1, 1), standardize()};
    VectorScalingTrainer trainer;
    ASSERT_TRUE(trainer.configure(config));
    ScriptedGenerator whole(vPatterns);
    VectorScaler::Config expected;
    ASSERT_TRUE(trainer.computeScalingParam(whole, expected));

    std::vector<VectorScalingTrainer::Sums> vParts;
    for (const auto& [iFirst, iEnd] :
         {std::pair(0, 1), {1, 1}, {1, 100}, {100, 300}}) // the first without a target
    {
        ScriptedGenerator part(Patterns(vPatterns.begin() + iFirst, vPatterns.begin() + iEnd));
        ASSERT_TRUE(trainer.sumUp(part, vParts.emplace_back()));
    }
    EXPECT_EQ(vParts[0].m_uiPatterns, 0u);
    VectorScaler::Config found;
    ASSERT_TRUE(trainer.computeScalingParam(vParts, found));
    const auto expectNear = [](const DoubleVector& in_vFound, const DoubleVector& in_vExpected)
    {
        ASSERT_EQ(in_vFound.size(), in_vExpected.size());
        // 300 values: 300 u of the mean, times mean / deviation for the deviation
        for (std::size_t i = 0; i < in_vFound.size(); ++i)
            EXPECT_NEAR(in_vFound[i], in_vExpected[i], 1e-10 * std::abs(in_vExpected[i]));
    };
    expectNear(found.m_vInputSlope, expected.m_vInputSlope);
    expectNear(found.m_vInputYIntercept, expected.m_vInputYIntercept);
    expectNear(found.m_vTargetSlope, expected.m_vTargetSlope);

    LogCapture log("quillcast");
    ScriptedGenerator other(Patterns{{{1, 2, 3}, {4}}});
    ASSERT_TRUE(trainer.sumUp(other, vParts.emplace_back()));
    EXPECT_FALSE(trainer.computeScalingParam(vParts, found));
    EXPECT_TRUE(log.has("ERROR Patterns differ in size: there is no scaling for all of them"));
}
