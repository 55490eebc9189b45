#include "MLVectorScalingTrainer.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <random>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::ScriptedGenerator;

namespace
{

using TrainingParam = VectorScalingTrainer::Config::TrainingParam;
using Params = std::vector<TrainingParam>;
using Patterns = std::vector<ScriptedGenerator::Pattern>;

constexpr const char* LOGGER = "quillcast.ml.VectorScalingTrainer";
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

/// Counts its starts, and fails in one of them.
class StartingGenerator : public ScriptedGenerator
{
public:
    explicit StartingGenerator(int in_iFailingStart)
        : ScriptedGenerator(makePatterns())
        , m_iFailingStart(in_iFailingStart)
    {
    }
    bool gotoStart() override { return ++m_iStarts != m_iFailingStart && ScriptedGenerator::gotoStart(); }

    int m_iStarts = 0;

private:
    int m_iFailingStart;
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

    VectorScalingTrainer m_trainer;
    VectorScaler::Config m_scaling;
    Testing::AssertionCapture m_assertions;
    Testing::LogCapture m_log{LOGGER, LogLevel::WARN};
};

} // namespace

TEST_F(ScalingTrainerTest, LearnsOneSlopeAndInterceptAComponent)
{
    ASSERT_TRUE(train(makePatterns(), {standardize(), minMax(-1, 1), minMax(0, 1)}));
    EXPECT_EQ(m_scaling.m_vInputSlope, (DoubleVector{1.0 / 2, 2.0 / (30 - 10)}));
    EXPECT_EQ(m_scaling.m_vInputYIntercept, (DoubleVector{-3.0 / 2, -1 - 0.1 * 10}));
    EXPECT_EQ(m_scaling.m_vTargetSlope, DoubleVector{1.0 / 4});
    EXPECT_EQ(m_scaling.m_vTargetYIntercept, DoubleVector{0});

    ASSERT_TRUE(train(makePatterns(), {TrainingParam(), TrainingParam(), standardize()})) << "another run";
    EXPECT_EQ(m_scaling.m_vInputSlope, (DoubleVector{1, 1}));
    EXPECT_EQ(m_scaling.m_vInputYIntercept, (DoubleVector{0, 0}));
    EXPECT_EQ(m_scaling.m_vTargetSlope, DoubleVector{1.0 / 2});
    EXPECT_EQ(m_scaling.m_vTargetYIntercept, DoubleVector{-2.0 / 2});

    ScriptedGenerator generator(makePatterns());
    ASSERT_TRUE(m_trainer.computeScalingParam(generator, m_scaling));
    EXPECT_EQ(m_scaling.m_vTargetSlope, (DoubleVector{0.5, 0.5})) << "appended, not replaced";
    EXPECT_TRUE(generator.atEnd());
    EXPECT_THAT(m_assertions.conditions(), ElementsAre());
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(ScalingTrainerTest, MessagesGiveWhatWasLearnt)
{
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    ASSERT_TRUE(train(makePatterns(), {standardize(), minMax(-1, 1), minMax(0, 1)}));
    EXPECT_THAT(log.lines(),
                ElementsAre("DEBUG Dslope  0 = 1", "DEBUG Input 1 max value = 30",
                            "DEBUG Input 1 min value = 10", "DEBUG Dslope  1 = 0.1",
                            "DEBUG Target 0 max value = 4", "DEBUG Target 0 min value = 0",
                            "DEBUG Dslope  0 = 0.25", "DEBUG Input avg = [3 20]", "DEBUG Target avg = [2]",
                            "DEBUG Input std dev = [2 10]", "DEBUG Target std avg = [2]"));
}

TEST_F(ScalingTrainerTest, StepsOfEachPatternHaveALoggerOfTheirOwn)
{
    const Testing::LogCapture verbose("quillcast.HighVerbose.ml.VectorScalingTrainer", LogLevel::TRACE);
    const Testing::LogCapture usual(LOGGER, LogLevel::TRACE);
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

    // 1 / (7 - 7) is inf and 0 - inf x 7 is -inf; inf x 0 is nan.
    EXPECT_TRUE(train(vConstant, {minMax(0, 1), minMax(0, 1), TrainingParam()}));
    EXPECT_EQ(m_scaling.m_vInputSlope, (DoubleVector{INFINITY, INFINITY}));
    EXPECT_EQ(m_scaling.m_vInputYIntercept, (DoubleVector{-INFINITY, NAN}));

    // One pattern alone has the deviation 0 / 0.
    EXPECT_TRUE(train({{{7}, {2}}}, {standardize(), TrainingParam()}));
    EXPECT_EQ(m_scaling.m_vInputSlope, DoubleVector{NAN});
    EXPECT_EQ(m_scaling.m_vTargetSlope, DoubleVector{1});
    EXPECT_THAT(m_assertions.conditions(), ElementsAre());
}

TEST_F(ScalingTrainerTest, ScalingsThatMakeNoSenseAreToldWithTheirReason)
{
    const struct
    {
        DoubleVector m_vValues;
        const char* m_standardized;
        const char* m_minMax;
    } TABLE[] = {
        {{1, 2}, "", ""},
        {{7, 7},
         "ERROR Input 0 has one value only: it cannot be standardized\n",
         "WARN Input 0 has one value only"},
        {{1, NAN}, "WARN Input 0 has values that are not finite or too large", nullptr},
        {{1, INFINITY}, "WARN Input 0 has values that are not finite or too large", nullptr},
        {{1e308, 1.5e308}, "WARN Input 0 has values that are not finite or too large", nullptr},
        // Their difference is 1.2e308; its square is no number of double.
        {{-6e307, 6e307}, "WARN Input 0 has values too far apart", ""},
        {{1e-310, 3e-310},
         "ERROR Input 0 has values too close to each other: it cannot be standardized\n",
         "WARN Input 0 has values too close to each other"},
    };
    for (const auto& row : TABLE)
        for (const bool bStandardize : {true, false})
        {
            Patterns vPatterns;
            for (const double dValue : row.m_vValues)
                vPatterns.push_back({{dValue}, {1}});
            m_log.clear();
            train(vPatterns, {bStandardize ? standardize() : minMax(0, 1), TrainingParam()});
            const char* expected =
                bStandardize || row.m_minMax == nullptr ? row.m_standardized : row.m_minMax;
            EXPECT_EQ(m_log.text().rfind(expected, 0), 0u) << m_log.text();
            EXPECT_EQ(m_log.text().empty(), *expected == 0) << m_log.text();
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
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
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
    struct ShorterGenerator : StartingGenerator
    {
        using StartingGenerator::StartingGenerator;
        bool gotoStart() override
        {
            m_uiFailBefore = m_iStarts == 0 ? SIZE_MAX : 0;
            return StartingGenerator::gotoStart();
        }
    } shorter(0);
    EXPECT_FALSE(train(shorter, {standardize(), TrainingParam(), TrainingParam()}));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_vInputStdDev[i] != 0"));

    ScriptedGenerator cut(makePatterns());
    cut.m_bCleanEnd = false;
    EXPECT_TRUE(train(cut, Params(3)));
    EXPECT_EQ(m_log.text(),
              "WARN The scaling is learnt from a part of the data set: it stopped before its end\n");
}
