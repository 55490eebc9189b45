#include "MLDataGenTesterApplicationImpl.h"
#include "test-support/CountingResettable.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using testing::EndsWith;

namespace
{

constinit Logger s_logger("quillcast.ml.test.TesterProgram");

constexpr const char* VECTOR_CONFIG = QC_TEST_DATA "/VectorFileDataGenerator.xml";

struct Echo : MLTester::TestedEntity
{
    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override
    {
        out_vOutput.assign(in_begin, in_end);
        return true;
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

    std::function<MLTester::TestedEntity*()> m_newEntity = []
    {
        return new Echo;
    };

protected:
    MLTester::TestedEntity* newTestedEntity_i() override { return m_newEntity(); }
};

class TesterApplicationTest : public testing::Test
{
protected:
    int run(std::vector<std::string> in_vArguments)
    {
        in_vArguments.insert(in_vArguments.begin(), "tester-program");
        std::vector<const char*> vArguments;
        for (const std::string& strArgument : in_vArguments)
            vArguments.push_back(strArgument.c_str());
        m_log.clear();
        return m_program.run(static_cast<int>(vArguments.size()), vArguments.data());
    }

    TesterProgram m_program;
    Testing::LogCapture m_log{"quillcast.ml"};
    Testing::TempDir m_folder;
    std::string m_strPatterns = m_folder.write("patterns", "[1 0] [1 0]\n[1 0] [0 1]\nreset\n[0.5 0] []\n");
};

} // namespace

TEST_F(TesterApplicationTest, ReportHasItsFixedOrder)
{
    EXPECT_EQ(run({"--classification-error", "--multiple-cross-entropy-error", "--sum-square-error",
                   "--mean-square-error", "--print-error", "--data-gen-config", VECTOR_CONFIG,
                   "--data-gen-filename", m_strPatterns}),
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
}

TEST_F(TesterApplicationTest, WithoutErrorFunctionThereIsAWarningAndACount)
{
    EXPECT_EQ(
        run({"--data-gen-config", VECTOR_CONFIG, "--data-gen-filename", m_strPatterns, "--print-error"}), 0);
    EXPECT_TRUE(m_log.has("WARN no error function specified on the command line"));
    EXPECT_EQ(m_log.lines().back(), "INFO \nNumber of data pattern(s) processed  : 2");
}

TEST_F(TesterApplicationTest, ResettableEntityIsResetWithTheSequences)
{
    g_iResets = 0;
    m_program.m_newEntity = []
    {
        return new ResettableEcho;
    };
    EXPECT_EQ(run({"--classification-error", "--data-gen-config", VECTOR_CONFIG, "--data-gen-filename",
                   m_strPatterns}),
              0);
    EXPECT_EQ(g_iResets, 2);
    EXPECT_EQ(m_log.count("Classification failed"), 0u) << "not asked for";
}

TEST_F(TesterApplicationTest, FailuresHaveTheirMessages)
{
    const std::string strRun = "ERROR MLDataGenTesterApplicationImpl::run_i : failed to ";
    EXPECT_EQ(run({}), 1);
    EXPECT_EQ(m_log.lines().back(), "ERROR a data generator configuration file must be supplied");

    EXPECT_EQ(run({"--data-gen-config", "/does/not/exist"}), 1);
    EXPECT_TRUE(m_log.has("ERROR failed to open DataGenerator config file /does/not/exist for reading"));
    EXPECT_EQ(m_log.lines().back(), strRun + "get a valid data generator");

    EXPECT_EQ(run({"--data-gen-config", VECTOR_CONFIG, "--data-gen-filename", "/does/not/exist"}), 1);
    EXPECT_EQ(m_log.lines().back(), "ERROR Cannot go to the start of the data set");

    EXPECT_EQ(run({"--data-gen-config", m_strPatterns}), 1) << "no archive: an exception, caught at the run";
    EXPECT_EQ(m_log.count("ERROR"), 1u) << m_log.text();

    m_program.m_newEntity = []
    {
        Echo* pEcho = new Echo;
        pEcho->m_bConfigures = false;
        return pEcho;
    };
    EXPECT_EQ(run({"--data-gen-config", VECTOR_CONFIG, "--data-gen-filename", m_strPatterns}), 1);
    EXPECT_EQ(m_log.lines().back(), strRun + "configure tested entity");

    m_program.m_newEntity = []
    {
        return nullptr;
    };
    EXPECT_EQ(run({"--data-gen-config", VECTOR_CONFIG}), 1);
    EXPECT_EQ(m_log.lines().back(), "ERROR Failed to create the entity to be tested");
}

TEST_F(TesterApplicationTest, OutputsThatAreNoNumbersFailAfterTheReport)
{
    const std::string strPatterns = m_folder.write("nan", "[1 0] [1 0]\n[nan 0] [0 1]\n");
    EXPECT_EQ(run({"--data-gen-config", VECTOR_CONFIG, "--data-gen-filename", strPatterns}), 1);
    EXPECT_EQ(m_log.lines().back(),
              "ERROR The report makes no sense: 1 of 2 outputs hold values that are no numbers");
}

TEST_F(TesterApplicationTest, HelpNeedsNoOptions)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(run({"--help"}), 0);
    const std::string strHelp = testing::internal::GetCapturedStdout();
    EXPECT_EQ(strHelp.rfind("Usage : tester-program [options]", 0), 0u) << strHelp;
    for (const char* help :
         {"data generator configuration file. MANDATORY", "data generator input file",
          "print information on patterns", "Compute the mean square error", "Compute the least square error",
          "Compute the sum square error", "Compute the cross entropy error",
          "Compute the multiple cross entropy error", "Compute the classification error"})
        EXPECT_NE(strHelp.find(help), std::string::npos) << help;
}
