#include "quillcast-core/LogListener.h"
#include "test-support/LogCapture.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using testing::ElementsAre;

namespace
{

constinit Logger s_logger("quillcast.test.Logger");

int g_iEvaluations = 0;

int evaluated()
{
    return ++g_iEvaluations;
}

void logEverything()
{
    QC_TRACE("LoggerTest::logEverything");
    QC_DEBUG("debug " << evaluated());
    QC_INFO("info " << 0.5);
    QC_WARN("warn");
    QC_ERROR("error");
}

} // namespace

TEST(LoggerTest, LevelDecidesAndDisabledStatementsEvaluateNothing)
{
    {
        const Testing::LogCapture log("quillcast.test", LogLevel::TRACE);
        logEverything();
        EXPECT_THAT(log.lines(),
                    ElementsAre("TRACE ENTER : LoggerTest::logEverything", "DEBUG debug 1", "INFO info 0.5",
                                "WARN warn", "ERROR error", "TRACE EXIT :  LoggerTest::logEverything"));
    }
    g_iEvaluations = 0;
    const Testing::LogCapture log("quillcast.test", LogLevel::WARN);
    logEverything();
    EXPECT_THAT(log.lines(), ElementsAre("WARN warn", "ERROR error"));
    EXPECT_EQ(g_iEvaluations, 0);
}

TEST(LoggerTest, LevelOfAParentReachesCachedLevels)
{
    const Testing::LogCapture log("quillcast.test", LogLevel::INFO);
    EXPECT_FALSE(s_logger.isEnabledFor(LogLevel::DEBUGGING));
    Logger::setLevel("quillcast.test", LogLevel::DEBUGGING);
    EXPECT_TRUE(s_logger.isEnabledFor(LogLevel::DEBUGGING));
    Logger::setLevel("quillcast.test", LogLevel::OFF);
    EXPECT_FALSE(s_logger.isEnabledFor(LogLevel::ERROR));
}

TEST(LoggerTest, MissingConfigurationFileIsRefused)
{
    EXPECT_FALSE(Logger::configure("/does/not/exist.properties"));
    EXPECT_FALSE(Logger::configure("/tmp"));
}

TEST(AssertionTest, ReportsTheConditionAndIsAnExpression)
{
    const int iValue = 3;
    {
        Testing::AssertionCapture assertions;
        EXPECT_TRUE(QC_CHECK(iValue == 3));
        EXPECT_FALSE(QC_CHECK(iValue == 4 && "explanatory"));
        EXPECT_FALSE(QC_CHECK_TEXT("! fixed  wording", iValue == 5));
        EXPECT_THAT(assertions.conditions(),
                    ElementsAre("iValue == 4 && \"explanatory\"", "! fixed  wording"));
    }
    const Testing::LogCapture log("quillcast.test");
    EXPECT_FALSE(QC_CHECK(iValue == 4));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Assertion failed: iValue == 4"));
}

TEST(LogListenerTest, KeepsWhatIsNearestToTheCauseAndNothingElseHearsIt)
{
    const Testing::LogCapture outside("");
    {
        LogListener listener;
        QC_CHECK(evaluated() == 0);
        QC_WARN("warning");
        QC_ERROR("first");
        {
            LogListener inner;
            QC_ERROR("second");
            EXPECT_EQ(inner.takeReason(), "second");
        }
        EXPECT_EQ(listener.takeReason(), "first");
        EXPECT_EQ(listener.takeReason(), "");
        QC_CHECK(evaluated() == 0);
        QC_WARN("warning");
        EXPECT_EQ(listener.takeReason(), "warning");
        QC_CHECK(evaluated() == 0);
        EXPECT_EQ(listener.takeReason(), "Assertion failed: evaluated() == 0");
    }
    QC_ERROR("after");
    EXPECT_THAT(outside.lines(), ElementsAre("ERROR after"));
}
