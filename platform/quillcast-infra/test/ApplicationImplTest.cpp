#include "quillcast-infra/TerminalText.h"
#include "test-support/Command.h"
#include "test-support/TempDir.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using Testing::CommandResult;
using testing::HasSubstr;
using testing::StartsWith;
using Testing::TempDir;

namespace
{

CommandResult run(std::vector<std::string> in_vArguments)
{
    in_vArguments.insert(in_vArguments.begin(), QC_BINARY_DIR "/bin/infra-test-application");
    return Testing::runCommand(in_vArguments);
}

struct StatusCase
{
    const char* m_name;
    std::vector<std::string> m_vArguments;
    int m_iExit;
    const char* m_out;
    const char* m_err;
};

const std::string NAME = "ERROR: infra-test-application: ";

} // namespace

TEST(ApplicationImplTest, ExitStatusMirrorsTheResult)
{
    const StatusCase CASES[] = {
        {"success", {"--action", "ok"}, 0, "running\n", ""},
        {"arguments", {"one", "two"}, 0, "running\none\ntwo\n", ""},
        {"failed run", {"--action", "fail"}, 1, "running\n", ""},
        {"refused values", {"--action", "refuse"}, 1, "", ""},
        {"refused command", {"--action", "refuse-command"}, 2, "", ""},
        {"stopped", {"--action", "stop"}, 0, "", ""},
        {"exception while processing", {"--action", "throw-early"}, 1, "", "thrown early\n"},
        {"exception in the run", {"--action", "throw"}, 1, "running\n", "thrown late\n"},
        {"exception of another kind", {"--action", "throw-int"}, 1, "running\n", "unknown exception\n"},
        {"no memory", {"--action", "throw-memory"}, 1, "running\n", "out of memory\n"},
        {"negative count", {"--count=-1"}, 2, "", "option '--count': '-1' is no number from 1 to 9\n"},
        {"count and more", {"--count=1x"}, 2, "", "option '--count': '1x' is no number from 1 to 9\n"},
        {"count too large", {"--count=10"}, 2, "", "option '--count': '10' is no number from 1 to 9\n"},
        {"no number", {"--real=x"}, 2, "", "option '--real': 'x' is no number from -1 to 1\n"},
        {"not finite", {"--real=nan"}, 2, "", "option '--real': 'nan' is no number from -1 to 1\n"},
        {"unknown option", {"--actions", "ok"}, 2, "", "unrecognised option '--actions', see --help\n"},
        {"shortened option", {"--act", "ok"}, 2, "", "unrecognised option '--act', see --help\n"},
        {"quiet and verbose",
         {"-q", "-v"},
         2,
         "",
         "options --quiet, --verbose and --log-level exclude each other\n"},
        {"option given twice",
         {"--action", "ok", "--action", "ok"},
         2,
         "",
         "option '--action' cannot be specified more than once, see --help\n"},
        {"missing value",
         {"--action"},
         2,
         "",
         "the required argument for option '--action' is missing, see --help\n"},
        {"surplus argument",
         {"one", "two", "three"},
         2,
         "",
         "too many positional options have been specified on the command line, see --help\n"},
    };
    for (const StatusCase& statusCase : CASES)
    {
        SCOPED_TRACE(statusCase.m_name);
        const CommandResult result = run(statusCase.m_vArguments);
        EXPECT_EQ(result.m_iExit, statusCase.m_iExit);
        EXPECT_EQ(result.m_strOut, statusCase.m_out);
        EXPECT_EQ(result.m_strErr, *statusCase.m_err == '\0' ? "" : NAME + statusCase.m_err);
    }
}

TEST(ApplicationImplTest, RequestsAreAnsweredInPlaceOfTheRun)
{
    const CommandResult help = run({"--help", "--action", "fail"});
    EXPECT_EQ(help.m_iExit, 0);
    EXPECT_THAT(help.m_strOut,
                StartsWith("Usage : infra-test-application [options] [word...]\nDoes what it is told.\n"));
    EXPECT_THAT(help.m_strOut, HasSubstr("--action arg"));
    EXPECT_THAT(help.m_strOut, HasSubstr("--log-config FILE"));
    EXPECT_THAT(help.m_strOut, testing::Not(HasSubstr("words")));
    EXPECT_THAT(help.m_strOut,
                testing::EndsWith("\nExamples:\n  infra-test-application --action ok \\\n      word\n"));
    EXPECT_EQ(run({"-h"}).m_strOut, help.m_strOut);

    const CommandResult version = run({"--version", "--action", "fail"});
    EXPECT_EQ(version.m_iExit, 0);
    EXPECT_THAT(version.m_strOut, testing::MatchesRegex("infra-test-application [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(ApplicationImplTest, HelpFitsTheTerminal)
{
    const auto measure = [](const std::string& in_strCommand)
    {
        std::istringstream help(Testing::runCommand({"/bin/sh", "-c", in_strCommand}).m_strOut);
        std::size_t uiLongest = 0;
        for (std::string strLine; std::getline(help, strLine);)
            uiLongest = std::max(uiLongest, strLine.size() - (strLine.ends_with('\r') ? 1 : 0));
        return uiLongest;
    };
    const std::string strProgram = QC_BINARY_DIR "/bin/infra-test-application --help";
    for (const std::size_t uiWidth : {50, 60, 80, 100})
    {
        const std::string strWidth = std::to_string(uiWidth);
        const std::string strTerminal =
            "script -qc 'stty columns " + strWidth + "; " + strProgram + "' /dev/null < /dev/null";
        for (const std::string& strCommand : {"COLUMNS=" + strWidth + " " + strProgram, strTerminal})
        {
            EXPECT_LE(measure(strCommand), uiWidth) << strCommand;
            EXPECT_GT(measure(strCommand), uiWidth - 20) << strCommand;
        }
    }
}

TEST(ApplicationImplTest, ATerminalObeysNothingThatIsPrinted)
{
    const std::string strCommand = QC_BINARY_DIR "/bin/infra-test-application '\x1b]0;x\x07' --action '\x1b'";
    const std::string strShown =
        Testing::runCommand({"/bin/sh", "-c", "script -qc \"" + strCommand + "\" /dev/null < /dev/null"})
            .m_strOut;
    EXPECT_EQ(strShown, "running\r\n\\x1b]0;x\\x07\r\n");
    EXPECT_EQ(run({"\x1b"}).m_strOut, "running\n\x1b\n") << "no terminal";
    EXPECT_EQ(escapeControls("\xC2\x9B\xC2\xA0\x7F\t\n\r"), "\\xc2\\x9b\xC2\xA0\\x7f\t\n\\x0d");
}

TEST(ApplicationImplTest, LinesAreWrappedBelowTheirText)
{
    const std::tuple<const char*, std::size_t, const char*> CASES[] = {
        {"one two three", 7, "one two\nthree"},
        {"  a  one two three\n\nend", 13, "  a  one two\n     three\n\nend"},
        {"  indented text", 12, "  indented\n  text"},
        {"unbreakable word", 5, "unbreakable\nword"},
    };
    for (const auto& [text, uiWidth, wrapped] : CASES)
        EXPECT_EQ(wrapLines(text, uiWidth), wrapped);
}

TEST(ApplicationImplTest, LostOutputIsAFailure)
{
    const std::string strProgram = QC_BINARY_DIR "/bin/infra-test-application";
    for (const char* option : {"--help", "--version", "--action=ok"})
    {
        const CommandResult result =
            Testing::runCommand({"/bin/sh", "-c", strProgram + " " + option + " > /dev/full"});
        EXPECT_EQ(result.m_iExit, 1) << option;
        EXPECT_EQ(result.m_strErr, NAME + "cannot write to standard output\n") << option;
    }
    // The reader of the pipe is gone before anything is written to it.
    const CommandResult broken = Testing::runCommand(
        {"/bin/sh", "-c", "{ sleep 0.2; " + strProgram + "; echo status $? >&2; } | true"});
    EXPECT_EQ(broken.m_strErr, "status 1\n");
}

TEST(ApplicationImplTest, LoggingOptions)
{
    const CommandResult debug = run({"--log-level", "debug", "--count=9", "--real=-0.5"});
    EXPECT_EQ(debug.m_iExit, 0);
    EXPECT_EQ(debug.m_strErr, "DEBUG quillcast.test.Application: processed 9 -0.5\n");
    EXPECT_EQ(run({"--log-level", "ERROR"}).m_strOut, "");
    EXPECT_EQ(run({"--quiet"}).m_strOut, "");
    EXPECT_EQ(run({"--verbose"}).m_strErr, "DEBUG quillcast.test.Application: processed 1 0\n");

    const CommandResult unknown = run({"--log-level", "loud"});
    EXPECT_EQ(unknown.m_iExit, 2);
    EXPECT_EQ(unknown.m_strErr, NAME + "'loud' is no log level\n");

    const TempDir folder;
    const std::string strLog = folder.path("log");
    const std::string strConfig =
        folder.write("log.properties", "log4cplus.rootLogger=INFO, FILE\n"
                                       "log4cplus.appender.FILE=log4cplus::FileAppender\n"
                                       "log4cplus.appender.FILE.File=" +
                                           strLog +
                                           "\n"
                                           "log4cplus.appender.FILE.layout=log4cplus::PatternLayout\n"
                                           "log4cplus.appender.FILE.layout.ConversionPattern=%c|%m%n\n");
    const CommandResult configured = run({"--log-config", strConfig});
    EXPECT_EQ(configured.m_iExit, 0);
    EXPECT_EQ(configured.m_strOut, "");
    EXPECT_EQ(Testing::readFile(strLog),
              "quillcast.test.Application|running\nquillcast.test.Application|secret\n");
    EXPECT_EQ(run({"--log-config", folder.path("none")}).m_iExit, 1);
}

// 13 warnings of one kind: ten, then three counted.
TEST(ApplicationImplTest, MessagesOfAKindAreCountedAndTheLastLineIsTheCause)
{
    std::string strWarnings;
    for (int i = 0; i < 10; ++i)
        strWarnings += "WARN: line " + std::to_string(i) + " is no pattern\n";
    const std::string strErrors =
        "ERROR: Assertion failed: it works\nERROR: no such file\nERROR: failed to do anything\n";
    const std::string strCause = "ERROR: infra-test-application failed: no such file\n";
    const CommandResult result = run({"--action", "fail-deeply"});
    EXPECT_EQ(result.m_iExit, 1);
    EXPECT_EQ(result.m_strErr, "ERROR: x.wav is no recording\n" + strWarnings + strErrors +
                                   "WARN: ... and 3 more like \"line 0 is no pattern\"\n" + strCause);
    for (int i = 10; i < 13; ++i)
        strWarnings += "WARN: line " + std::to_string(i) + " is no pattern\n";
    EXPECT_THAT(run({"--action", "fail-deeply", "--verbose"}).m_strErr,
                testing::EndsWith(strWarnings + strErrors + strCause));
    const TempDir folder;
    const std::string strNone = folder.write("none.properties", "log4cplus.rootLogger=INFO\n");
    EXPECT_EQ(run({"--action", "fail-deeply", "--log-config", strNone}).m_strErr, strCause);
}

TEST(ApplicationImplTest, GlobalConfigurationReachesTheRun)
{
    const TempDir folder;
    const CommandResult result = run({"--global-config", folder.write("good", "test.parameter = a value\n")});
    EXPECT_EQ(result.m_iExit, 0);
    EXPECT_EQ(result.m_strOut, "running\na value\n");

    const std::string strBad = folder.write("bad", "test.parameter\n");
    const CommandResult bad = run({"--global-config", strBad});
    EXPECT_EQ(bad.m_iExit, 1);
    EXPECT_EQ(bad.m_strErr, "ERROR: " + strBad + ":1: no '='\n");

    const CommandResult missing = run({"--global-config", folder.path("none")});
    EXPECT_EQ(missing.m_iExit, 1);
    EXPECT_EQ(missing.m_strErr,
              NAME + "cannot open " + folder.path("none") + ": No such file or directory\n");
}

TEST(ApplicationImplTest, PluginOptionsLimitWhatIsLoaded)
{
    const TempDir folder;
    const char* const PLUGIN = QC_BINARY_DIR "/lib/libinfra-test-plugin.so";
    EXPECT_EQ(run({"--action", "load", PLUGIN}).m_iExit, 0);
    EXPECT_EQ(run({"--action", "load", PLUGIN, "--plugin-folder", QC_BINARY_DIR "/lib"}).m_iExit, 0);

    const CommandResult elsewhere = run({"--action", "load", PLUGIN, "--plugin-folder", folder.path()});
    EXPECT_EQ(elsewhere.m_iExit, 1);
    EXPECT_THAT(elsewhere.m_strErr, HasSubstr("it is in none of the plug-in folders"));
    const CommandResult none = run({"--action", "load", PLUGIN, "--no-plugins"});
    EXPECT_EQ(none.m_iExit, 1);
    EXPECT_THAT(none.m_strErr, HasSubstr("loading is switched off"));
    EXPECT_EQ(run({"--plugin-folder", folder.path("none")}).m_iExit, 1);
}
