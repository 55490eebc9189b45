#include "MLScalingDataGenerator.h"
#include "test-support/AllocationCounter.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::ScriptedGenerator;

namespace
{

constexpr const char* LOGGER = "quillcast.ml.MLScalingDataGenerator";

/// Inputs 1, 3, 5: mean 3, deviation 2. Targets 0, 10, none.
CountedObjPtr<ScriptedGenerator> newSource()
{
    using Patterns = std::vector<ScriptedGenerator::Pattern>;
    return CountedObjPtr<ScriptedGenerator>(
        new ScriptedGenerator(Patterns{{{1}, {0}}, {{3}, {5}}, {{5}, {10}}, {{9}, {}}}));
}

ScalingDataGenerator::Config makeLearning()
{
    ScalingDataGenerator::Config config;
    config.m_bLearnScalingParameters = true;
    config.m_scalingTrainerConfig.m_vTrainingParam.resize(2);
    config.m_scalingTrainerConfig.m_vTrainingParam[0].m_bStandardize = true;
    config.m_scalingTrainerConfig.m_vTrainingParam[1].m_bMinMax = true;
    return config;
}

VectorScaler::Config makeScaling(double in_dSlope, double in_dYIntercept)
{
    VectorScaler::Config config;
    config.m_vInputSlope = {in_dSlope};
    config.m_vInputYIntercept = {in_dYIntercept};
    return config;
}

std::vector<double> readInputs(DataGenerator& io_generator)
{
    std::vector<double> vInputs;
    DoubleVector vInput;
    EXPECT_TRUE(io_generator.gotoStart());
    while (io_generator.generateNext() && io_generator.getInput(vInput))
        vInputs.push_back(vInput[0]);
    return vInputs;
}

struct OtherConfig : DataGeneratorWithConfig::Config
{
};

} // namespace

TEST(ScalingDataGeneratorTest, LearnsOnceInTheFirstStart)
{
    ScalingDataGenerator generator;
    generator.setDataGenerator(newSource());
    ASSERT_TRUE(generator.configure(makeLearning()));
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_EQ(generator.getScalingParameters(), VectorScaler::Config());
    // (1 - 3) / 2, (3 - 3) / 2, (5 - 3) / 2, (9 - 3) / 2
    EXPECT_THAT(readInputs(generator), ElementsAre(-1, 0, 1, 3));
    EXPECT_THAT(readInputs(generator), ElementsAre(-1, 0, 1, 3));
    EXPECT_EQ(log.count("DEBUG Performing scaler training"), 1U);
    EXPECT_EQ(generator.getScalingParameters().m_vTargetSlope, DoubleVector{0.1});

    DoubleVector vTarget;
    ASSERT_TRUE(generator.gotoStart() && generator.generateNext() && generator.generateNext());
    ASSERT_TRUE(generator.getTarget(vTarget));
    EXPECT_EQ(vTarget, DoubleVector{0.5});
    ASSERT_TRUE(generator.generateNext() && generator.generateNext());
    EXPECT_FALSE(generator.getTarget(vTarget));
    std::ostringstream status;
    generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Scripted 4");
}

TEST(ScalingDataGeneratorTest, FailedLearningLeavesNothingAndIsTriedAgain)
{
    ScalingDataGenerator generator;
    const auto pSource = newSource();
    generator.setDataGenerator(pSource);
    ScalingDataGenerator::Config config = makeLearning();
    config.m_scalingTrainerConfig.m_vTrainingParam[1].m_bStandardize = true;
    ASSERT_TRUE(generator.configure(config));
    const Testing::LogCapture log("quillcast.ml", LogLevel::WARN);
    // The input is learnt before the target is refused.
    EXPECT_FALSE(generator.gotoStart());
    EXPECT_FALSE(generator.gotoStart());
    EXPECT_EQ(log.text(), "ERROR minmax scaling with standardize: NOT SUPPORTED YET\n"
                          "ERROR minmax scaling with standardize: NOT SUPPORTED YET\n");
    ASSERT_TRUE(generator.configure(makeLearning()));
    EXPECT_THAT(readInputs(generator), ElementsAre(-1, 0, 1, 3));
    pSource->m_bStartWorks = false;
    EXPECT_FALSE(generator.gotoStart());
}

TEST(ScalingDataGeneratorTest, GivenScalingIsAppliedAndStays)
{
    ScalingDataGenerator generator;
    generator.setDataGenerator(newSource());
    ScalingDataGenerator::Config config;
    config.m_scalerConfig = makeScaling(2, 1);
    ASSERT_TRUE(generator.configure(config));
    EXPECT_THAT(readInputs(generator), ElementsAre(3, 7, 11, 19));
    VectorScaler scaler;
    scaler.configure(makeScaling(-1, 0));
    generator.setScaler(scaler);
    EXPECT_EQ(generator.getScalingParameters(), makeScaling(-1, 0));
    EXPECT_THAT(readInputs(generator), ElementsAre(-1, -3, -5, -9)) << "gotoStart keeps it";

    // Learning after a given scaling has no effect; that is said.
    Testing::LogCapture log(LOGGER, LogLevel::WARN);
    ScalingDataGenerator::Config learning = makeLearning();
    learning.m_scalerConfig = makeScaling(2, 1);
    ASSERT_TRUE(generator.configure(learning));
    EXPECT_THAT(readInputs(generator), ElementsAre(3, 7, 11, 19));
    EXPECT_EQ(generator.getScalingParameters().m_vInputSlope, (DoubleVector{2, 0.5}));
    EXPECT_EQ(log.text(),
              "WARN There is a scaling before any was learnt: what is learnt is appended and not in force\n");
    log.clear();
    EXPECT_FALSE(generator.configure(OtherConfig()));
    EXPECT_EQ(log.text(), "ERROR Could not configure ScalingDataGenerator : configuration provided is not a "
                          "ScalingDataGenerator::Config\n");
    EXPECT_THAT(readInputs(generator), ElementsAre(3, 7, 11, 19));
}

TEST(ScalingDataGeneratorTest, ForwardsTheEndAndReleasesTheEarlierGenerator)
{
    ScalingDataGenerator generator;
    const auto pSource = newSource();
    const auto pLater = newSource();
    generator.setDataGenerator(pSource);
    EXPECT_EQ(pSource.getCount(), 2U);
    EXPECT_STREQ(generator.getLibName().getValue(), "a host");
    generator.setDataGenerator(pLater);
    EXPECT_EQ(pSource.getCount(), 1U);
    pLater->m_bCleanEnd = false;
    readInputs(generator);
    EXPECT_TRUE(generator.atEnd());
    EXPECT_FALSE(generator.endedCleanly());
}

TEST(ScalingDataGeneratorTest, LearningTakesNoMemoryForAPattern)
{
    using Patterns = std::vector<ScriptedGenerator::Pattern>;
    ScalingDataGenerator generator;
    generator.setDataGenerator(
        CountedObjPtr<DataGenerator>(new ScriptedGenerator(Patterns(1000, {{1, 2}, {3}}))));
    ScalingDataGenerator::Config config;
    config.m_bLearnScalingParameters = true;
    config.m_scalingTrainerConfig.m_vTrainingParam.resize(3);
    ASSERT_TRUE(generator.configure(config));
    const Testing::AllocationCounter learning;
    ASSERT_TRUE(generator.gotoStart());
    EXPECT_LT(learning.getCount(), 200U) << "two passes of 1000 patterns";
}
