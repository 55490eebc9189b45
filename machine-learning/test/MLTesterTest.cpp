// The tester and the application around it.

#include "MLTester.h"
#include "MLDataGenTesterApplicationImpl.h"
#include "TestPrelude.h"
#include "quillcast-core/ByteArchive.h"

#include <cmath>
#include <iomanip>
#include <memory>
#include <sstream>

namespace
{

constinit Logger s_logger("quillcast.ml.test.TesterProgram");

/// Answers with its input; fails for an empty one.
struct Echo : MLTester::TestedEntity
{
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override
    {
        out_vOutput.assign(in_begin, in_end);
        return in_begin != in_end;
    }
    bool configure(const DataGenerator&) override { return m_bConfigures; }

    bool m_bConfigures = true;
};

int g_iResets = 0;

struct ResettableEcho
    : Echo
    , virtual Resettable
{
    bool reset() override
    {
        ++g_iResets;
        return true;
    }
};

/// The tester around an entity that answers with its input.
class TesterProgram : public MLDataGenTesterApplicationImpl
{
public:
    TesterProgram()
        : MLDataGenTesterApplicationImpl(s_logger, "tester-program")
    {
    }

    std::unique_ptr<MLTester::TestedEntity> m_pEntity;

protected:
    MLTester::TestedEntity* newTestedEntity_i() override { return m_pEntity.release(); }
};

class TesterApplicationTest : public testing::Test
{
protected:
    int runWith(MLTester::TestedEntity* in_pEntity, const Texts& in_vArguments)
    {
        TesterProgram program;
        program.m_pEntity.reset(in_pEntity);
        g_iResets = 0;
        m_log.clear();
        return runApplication(program, in_vArguments);
    }

    int run(const Texts& in_vArguments) { return runWith(new ResettableEcho, in_vArguments); }

    /// Over these patterns.
    int test(const std::string& in_strPatterns, const Texts& in_vMore = {})
    {
        Texts vArguments{VECTOR, "--data-gen-filename", m_folder.write("patterns", in_strPatterns)};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        return run(vArguments);
    }

    static constexpr const char* VECTOR = "--data-gen-config=" QC_TEST_DATA "/VectorFileDataGenerator.xml";
    LogCapture m_log{"quillcast.ml"};
    TempDir m_folder;
};

constexpr const char* PATTERNS = "[1 0] [1 0]\n[1 0] [0 1]\nreset\n[0.5 0] []\n";

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
    EXPECT_EQ(toText(stats), "Number of data pattern(s) processed  : 4\n"
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
    EXPECT_EQ(toText(stats), "Number of data pattern(s) processed  : 0\n"
                             "mean-square-error = 0.000000e+00 (nan per pattern)\n"
                             "classification-error = 0/0 (nan%)\n"
                             "Number of patterns not belonging to a specific class = 0/0 (nan%)");
}

TEST(MLTesterTest, OutputsThatAreNoNumbersAreCounted)
{
    ScriptedGenerator generator(Patterns{{{1, -NAN}, {1, 0}}, {{NAN, NAN}, {}}, {{1, 0}, {1, 0}}});
    const LogCapture log("quillcast.ml.tester", LogLevel::WARN);
    MLTester::TesterStats stats;
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, false));
    EXPECT_EQ(toText(stats), "Number of data pattern(s) processed  : 2\n"
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
    AssertionCapture assertions;
    MLTester::TesterStats stats;
    stats.addErrorFunction(CountedObjPtr<ErrorFunction>());
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    EXPECT_TRUE(stats.update({1.0}, {0.0}));
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    EXPECT_THAT(assertions.conditions(), ElementsAre("! in_pErrorFunc.isNull()", "m_uiNumData == 0"));
    EXPECT_EQ(toText(stats), "Number of data pattern(s) processed  : 1\n"
                             "sum-square-error = 1.000000e+00 (1.000000e+00 per pattern)");
}

TEST(MLTesterTest, MisclassifiedPatternsAreLoggedOnDemand)
{
    ScriptedGenerator generator(Patterns{{{1, 0}, {1, 0}}, {{1, 0}, {0, 1}}});
    MLTester::ClassifierTesterStats stats;
    const LogCapture log("quillcast.ml.tester");
    ASSERT_TRUE(MLTester().test(Echo(), generator, stats, true));
    EXPECT_THAT(log.lines(), ElementsAre("INFO Computed output: [1 0]", "INFO Computed output: [1 0]",
                                         "INFO Classification failed: Scripted 2", "INFO \tTarget was: [0 1]",
                                         "INFO \tComputed output was: [1 0]"));
}

TEST(MLTesterTest, BrokenStreamsAndEntities)
{
    const LogCapture log("quillcast.ml.tester", LogLevel::WARN);
    AssertionCapture assertions;
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

TEST_F(TesterApplicationTest, ReportHasItsFixedOrder)
{
    EXPECT_EQ(test(PATTERNS, {"--classification-error", "--multiple-cross-entropy-error",
                              "--sum-square-error", "--mean-square-error", "--print-error"}),
              0);
    // One of two patterns is wrong by (1, -1): squares 2, mean 1; its entropy is -ln(1e-6) = 13.81551.
    EXPECT_EQ(m_log.lines().back(), "INFO \nNumber of data pattern(s) processed  : 2\n"
                                    "mean-square-error = 1.000000e+00 (5.000000e-01 per pattern)\n"
                                    "sum-square-error = 2.000000e+00 (1.000000e+00 per pattern)\n"
                                    "multiple-cross-entropy-error = 1.381551e+01 (6.907755e+00 per pattern)\n"
                                    "classification-error = 1/2 (50.00%)\n"
                                    "Number of patterns of class 0 = 1/2 (50.00%)\n"
                                    "Number of patterns of class 1 = 1/2 (50.00%)\n"
                                    "Number of patterns not belonging to a specific class = 0/2 (0.00%)\n"
                                    "Number of false positive = 1/2 (50.00%)\n"
                                    "Number of false negative = 0/2 (0.00%)");
    EXPECT_EQ(m_log.count("INFO Classification failed: Pattern 2"), 1u) << m_log.text();
    EXPECT_EQ(g_iResets, 2);
    EXPECT_EQ(test(PATTERNS, {"--classification-error"}), 0);
    EXPECT_EQ(m_log.count("Classification failed"), 0u) << "not asked for";

    EXPECT_EQ(test(PATTERNS, {"--print-error"}), 0);
    EXPECT_TRUE(m_log.has("WARN no error function specified on the command line"));
    EXPECT_EQ(m_log.lines().back(), "INFO \nNumber of data pattern(s) processed  : 2");
    EXPECT_EQ(test("[1 0] [1 0]\n[nan 0] [0 1]\n"), 1);
    EXPECT_EQ(m_log.lines().back(),
              "ERROR The report makes no sense: 1 of 2 outputs hold values that are no numbers");
}

TEST_F(TesterApplicationTest, FailuresHaveTheirMessages)
{
    const std::string strRun = "ERROR MLDataGenTesterApplicationImpl::run_i : failed to ";
    EXPECT_EQ(run({}), 2);
    EXPECT_EQ(m_log.lines().back(), "ERROR a data generator configuration file must be supplied");
    EXPECT_EQ(run({"--data-gen-config", "/does/not/exist"}), 1);
    EXPECT_TRUE(m_log.has("ERROR failed to open DataGenerator config file /does/not/exist for reading"));
    EXPECT_EQ(m_log.lines().back(), strRun + "get a valid data generator");
    EXPECT_EQ(run({VECTOR, "--data-gen-filename", "/does/not/exist"}), 1);
    EXPECT_EQ(m_log.lines().back(), "ERROR Cannot go to the start of the data set");
    EXPECT_EQ(run({"--data-gen-config", m_folder.write("patterns", PATTERNS)}), 1) << "an exception, caught";
    EXPECT_EQ(m_log.count("ERROR"), 1u) << m_log.text();
    auto* pRefusing = new Echo;
    pRefusing->m_bConfigures = false;
    EXPECT_EQ(runWith(pRefusing, {VECTOR, "--data-gen-filename", m_folder.path("patterns")}), 1);
    EXPECT_EQ(m_log.lines().back(), strRun + "configure tested entity");
    EXPECT_EQ(runWith(nullptr, {VECTOR}), 1);
    EXPECT_EQ(m_log.lines().back(), "ERROR Failed to create the entity to be tested");
}

TEST_F(TesterApplicationTest, HelpNeedsNoOptions)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(run({"--help"}), 0);
    const std::string strHelp = testing::internal::GetCapturedStdout();
    EXPECT_THAT(strHelp, testing::StartsWith("Usage : tester-program [options]"));
    for (const char* help :
         {"data generator configuration file. MANDATORY", "data generator input file",
          "print information on patterns", "Compute the mean square error", "Compute the least square error",
          "Compute the sum square error", "Compute the cross entropy error",
          "Compute the multiple cross entropy error", "Compute the classification error"})
        EXPECT_THAT(strHelp, HasSubstr(help));
}

namespace
{

/// The errors of these functions over some patterns whose sums depend on the order.
template <class Stats>
void addPatterns(Stats& io_stats, int in_iFirst, int in_iEnd)
{
    for (int i = in_iFirst; i < in_iEnd; ++i)
    {
        const DoubleVector vOutput{std::sin(i), std::cos(i) * std::pow(10.0, i % 7)};
        io_stats.noteOutput(i % 5 == 0 ? DoubleVector{NAN, 1} : vOutput);
        if (i % 6 == 0)
            io_stats.update({1, 2, 3}, {1, 0, 0, 0}); // a misfit
        else
            io_stats.update(vOutput, i % 2 == 0 ? DoubleVector{1, 0} : DoubleVector{0, 1});
    }
}

template <class Stats>
Stats makeStats()
{
    Stats stats;
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::MEAN_SQUARE));
    stats.addErrorFunction(ErrorFunction::newErrorFunction(ErrorFunction::SUM_SQUARE));
    stats.keepErrors(true);
    return stats;
}

} // namespace

TEST(TesterStatsMergeTest, PartsGoThroughBytesAndAddUpToTheBit)
{
    LogCapture log("quillcast");
    MLTester::ClassifierTesterStats whole = makeStats<MLTester::ClassifierTesterStats>();
    addPatterns(whole, 1, 1000);
    MLTester::ClassifierTesterStats joined = makeStats<MLTester::ClassifierTesterStats>();
    joined.keepErrors(false);
    for (const auto& [iFirst, iEnd] : {std::pair(1, 1), {1, 301}, {301, 302}, {302, 1000}})
    {
        auto part = makeStats<MLTester::ClassifierTesterStats>();
        addPatterns(part, iFirst, iEnd);
        ByteWriter writer;
        part.save(writer);
        ByteReader reader(writer.getBytes());
        MLTester::ClassifierTesterStats loaded;
        ASSERT_TRUE(loaded.load(reader));
        EXPECT_TRUE(reader.isAtEnd());
        ASSERT_TRUE(joined.merge(loaded));
    }
    std::ostringstream expected;
    std::ostringstream found;
    expected << whole;
    found << joined;
    EXPECT_EQ(found.str(), expected.str());
    for (const std::size_t i : {0, 1})
        EXPECT_EQ(joined.getCumulError(i), whole.getCumulError(i));
    EXPECT_EQ(joined.getNumMisfits(), whole.getNumMisfits());
    EXPECT_EQ(joined.getNumNanOutputs(), whole.getNumNanOutputs());
    EXPECT_EQ(joined.getNumError(), whole.getNumError());
}

TEST(TesterStatsMergeTest, OthersAreRefused)
{
    LogCapture log("quillcast");
    MLTester::ClassifierTesterStats stats = makeStats<MLTester::ClassifierTesterStats>();
    stats.update({1, 0}, {1, 0});
    EXPECT_FALSE(stats.merge(makeStats<MLTester::TesterStats>()));
    EXPECT_FALSE(stats.merge(MLTester::ClassifierTesterStats()));
    MLTester::ClassifierTesterStats ofThree = makeStats<MLTester::ClassifierTesterStats>();
    ofThree.update({1, 0, 0}, {1, 0, 0});
    EXPECT_FALSE(stats.merge(ofThree));
    EXPECT_EQ(stats.getNumData(), 1u);

    ByteWriter writer;
    stats.save(writer);
    const std::string strBytes = writer.getBytes();
    for (std::size_t uiSize = 0; uiSize < strBytes.size(); ++uiSize)
    {
        ByteReader reader(std::string_view(strBytes).substr(0, uiSize));
        EXPECT_FALSE(MLTester::ClassifierTesterStats().load(reader)) << uiSize;
    }
}
