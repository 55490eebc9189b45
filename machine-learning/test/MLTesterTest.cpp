#include "MLTester.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"

#include <cmath>
#include <gmock/gmock.h>
#include <iomanip>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::ScriptedGenerator;
using Patterns = std::vector<ScriptedGenerator::Pattern>;

namespace
{

/// Answers with its input; fails for an empty one.
struct Echo : MLTester::TestedEntity
{
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override
    {
        out_vOutput.assign(in_begin, in_end);
        return in_begin != in_end;
    }
};

std::string report(const MLTester::TesterStats& in_stats)
{
    std::ostringstream stream;
    in_stats.write(stream);
    return stream.str();
}

} // namespace

TEST(MLTesterTest, ReportOfAClassifierWithTwoClasses)
{
    ScriptedGenerator generator(Patterns{{{0.9, 0.1}, {1, 0}},
                                         {{0.2, 0.8}, {1, 0}},
                                         {{0.6, 0.4}, {0, 1}},
                                         {{0.5, 0.5}, {0, 0}},
                                         {{0.5, 0.5}, {}}}); // no target: computed, not counted
    MLTester::ClassifierTesterStats stats;
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, false));
    // 0.02 + 1.28 + 0.72 + 0.5 = 2.52; percentages of the counts 2 of 3 and 2, 1, 1, 1, 1 of 4
    EXPECT_EQ(report(stats), "Number of data pattern(s) processed  : 4\n"
                             "sum-square-error = 2.520000e+00 (6.300000e-01 per pattern)\n"
                             "classification-error = 2/3 (66.67%)\n"
                             "Number of patterns of class 0 = 2/4 (50.00%)\n"
                             "Number of patterns of class 1 = 1/4 (25.00%)\n"
                             "Number of patterns not belonging to a specific class = 1/4 (25.00%)\n"
                             "Number of false positive = 1/4 (25.00%)\n"
                             "Number of false negative = 1/4 (25.00%)");
    EXPECT_EQ(stats.getNumError(), 2u);

    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, false));
    EXPECT_EQ(stats.getNumData(), 8u) << "a test does not reset the statistics";
    stats.reset();
    EXPECT_EQ(stats.getNumData() + stats.getNumError(), 0u);
    EXPECT_EQ(stats.getCumulError(0), 0.0);
}

TEST(MLTesterTest, ReportWithoutDataHasUnsignedNan)
{
    ScriptedGenerator generator(Patterns{{{1.0}, {}}});
    MLTester::ClassifierTesterStats stats;
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::MEAN_SQUARE));
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, true));
    EXPECT_EQ(report(stats), "Number of data pattern(s) processed  : 0\n"
                             "mean-square-error = 0.000000e+00 (nan per pattern)\n"
                             "classification-error = 0/0 (nan%)\n"
                             "Number of patterns not belonging to a specific class = 0/0 (nan%)");
}

TEST(MLTesterTest, OutputsThatAreNoNumbersAreCounted)
{
    ScriptedGenerator generator(Patterns{{{1, -NAN}, {1, 0}}, {{NAN, NAN}, {}}, {{1, 0}, {1, 0}}});
    const Testing::LogCapture log("quillcast.ml.tester", LogLevel::WARN);
    MLTester::TesterStats stats;
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, false));
    EXPECT_EQ(report(stats), "Number of data pattern(s) processed  : 2\n"
                             "sum-square-error = nan (nan per pattern)");
    EXPECT_THAT(log.lines(), ElementsAre("WARN Outputs with values that are no numbers: 2 of 3"));
    stats.reset();
    EXPECT_EQ(stats.getNumNanOutputs() + stats.getNumOutputs(), 0u);
}

TEST(MLTesterTest, ThreeClassesHaveNoFalseResultsAndTheStreamKeepsItsFormat)
{
    ScriptedGenerator generator(Patterns{{{0, 1, 0}, {0, 0, 1}}});
    MLTester::ClassifierTesterStats stats;
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, false));
    std::ostringstream stream;
    stream << std::hexfloat << std::setprecision(3);
    const auto flags = stream.flags();
    stats.write(stream);
    EXPECT_EQ(stream.flags(), flags);
    EXPECT_EQ(stream.precision(), 3);
    EXPECT_EQ(stream.str().find("false"), std::string::npos);
    EXPECT_NE(stream.str().find("Number of patterns of class 2 = 1/1 (100.00%)"), std::string::npos);
}

TEST(MLTesterTest, FunctionsAreAddedOnlyBeforeData)
{
    Testing::AssertionCapture assertions;
    MLTester::TesterStats stats;
    stats.addErrorFunction(CountedObjPtr<ErrorFunction>());
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    EXPECT_TRUE(stats.update({1.0}, {0.0}));
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    EXPECT_THAT(assertions.conditions(), ElementsAre("! in_pErrorFunc.isNull()", "m_uiNumData == 0"));
    EXPECT_EQ(report(stats), "Number of data pattern(s) processed  : 1\n"
                             "sum-square-error = 1.000000e+00 (1.000000e+00 per pattern)");
}

TEST(MLTesterTest, MisclassifiedPatternsAreLoggedOnDemand)
{
    ScriptedGenerator generator(Patterns{{{1, 0}, {1, 0}}, {{1, 0}, {0, 1}}});
    MLTester::ClassifierTesterStats stats;
    const Testing::LogCapture log("quillcast.ml.tester");
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, true));
    EXPECT_THAT(log.lines(), ElementsAre("INFO Computed output: [1 0]", "INFO Computed output: [1 0]",
                                         "INFO Classification failed: Scripted 2", "INFO \tTarget was: [0 1]",
                                         "INFO \tComputed output was: [1 0]"));
}

TEST(MLTesterTest, BrokenStreamsAndEntities)
{
    const Testing::LogCapture log("quillcast.ml.tester", LogLevel::WARN);
    Testing::AssertionCapture assertions;
    MLTester::TesterStats stats;
    ScriptedGenerator generator(Patterns{{{1.0}, {1.0}}});

    generator.m_bStartWorks = false;
    EXPECT_FALSE(MLTester().test(Echo(), generator, stats, false));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Cannot go to the start of the data set"));

    generator.m_bStartWorks = true;
    generator.m_bInputWorks = false;
    EXPECT_FALSE(MLTester().test(Echo(), generator, stats, false));
    ScriptedGenerator empty(Patterns{{DoubleVector(), {1.0}}});
    EXPECT_FALSE(MLTester().test(Echo(), empty, stats, false));
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("in_dataGen.getInput(vInput)",
                            "in_tested.compute(vInput.begin(), vInput.end(), vOutput)"));

    ScriptedGenerator nothing(Patterns{});
    EXPECT_TRUE(MLTester().test(Echo(), nothing, stats, false));
    EXPECT_EQ(log.lines().size(), 1u);
    nothing.m_bCleanEnd = false;
    EXPECT_TRUE(MLTester().test(Echo(), nothing, stats, false));
    EXPECT_EQ(log.lines().back(), "WARN The data set stopped before its end");
}
