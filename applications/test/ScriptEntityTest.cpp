#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <algorithm>
#include <gmock/gmock.h>

using namespace Vexalor;
using Testing::CommandResult;
using testing::HasSubstr;

namespace
{

/// The real ml-tester with scripts in place of a network.
class ScriptEntityTest : public testing::Test
{
protected:
    CommandResult run(const char* in_program, std::vector<std::string> in_vArguments) const
    {
        in_vArguments.insert(in_vArguments.begin(), std::string(QC_BINARY_DIR "/bin/") + in_program);
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    CommandResult test(const char* in_config, const char* in_file,
                       const std::vector<std::string>& in_vMore) const
    {
        std::vector<std::string> vArguments{"--data-gen-config",      in_config,
                                            "--data-gen-filename",    in_file,
                                            "--classification-error", "--sum-square-error"};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        return run("ml-tester", vArguments);
    }

    Testing::TempDir m_folder;
};

} // namespace

TEST_F(ScriptEntityTest, InputIsThePatternsAndSequencesResetIt)
{
    ASSERT_EQ(run("ml-config", {"write", "text.xml", "--generator", "vector-file"}).m_iExit, 0);
    m_folder.write("sums.xpr", "sums = prev(sums, [0, 0]) + audio\nresult = sums * other.factor\n");
    m_folder.write("other.xpr", "factor = rate\n");
    m_folder.write("patterns.txt",
                   "reset\n[1 2] [2 4]\n[1 1] [4 6]\nreset\n[3 2] [6 4]\n[0 0] []\n[0 1] [6 6]\n");
    const CommandResult result =
        test("text.xml", "patterns.txt", {"--script", "sums", "--further-script", "other", "--rate", "2"});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    EXPECT_THAT(result.m_strOut, HasSubstr("processed  : 4\nsum-square-error = 0.000000e+00"));
}

TEST_F(ScriptEntityTest, ARecordingIsClassifiedByItsWindows)
{
    // Loud where VOICE is annotated. No window ends at either border, so that its last sample tells the
    // target.
    std::vector<int> vSamples(8000, 0);
    std::fill(vSamples.begin() + 2005, vSamples.begin() + 5005, 16384);
    m_folder.write("a.wav", Testing::annotatedWav(8000, vSamples, {{2005, 5005, "VOICE"}}));
    m_folder.write("last.xpr", "voice = audio[size(audio) - 1] > 0.25 and rate == 8000\n"
                               "classes = [voice, not voice]\n");
    ASSERT_EQ(run("ml-config", {"write", "voice.xml", "--feature", "identity"}).m_iExit, 0);
    const CommandResult result =
        test("voice.xml", "a.wav", {"--script", "last", "--result-variable-name", "classes"});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    // (8000 - 200) / 80 + 1 windows.
    EXPECT_THAT(result.m_strOut, HasSubstr("classification-error = 0/98 (0.00%)"));
}

TEST_F(ScriptEntityTest, WhatIsWrongIsSaidAndFails)
{
    ASSERT_EQ(run("ml-config", {"write", "text.xml", "--generator", "vector-file"}).m_iExit, 0);
    m_folder.write("patterns.txt", "[1 2] [2 4]\n[1 2 3] [2 4]\n");
    m_folder.write("two.xpr", "result = audio + [1, 2]\n");
    m_folder.write("rates.xpr", "result = rate\n");
    m_folder.write("syntax.xpr", "result = (audio\n");
    const struct
    {
        std::vector<std::string> m_vArguments;
        const char* m_message;
        int m_iExit = 1;
    } cases[] = {
        {{}, "a network file must be supplied", 2},
        {{"--script", "two", "--network", "net"}, "--network and --script exclude each other", 2},
        {{"--script", "none"}, "Failed to use script 'none' in the classifier."},
        {{"--script", "syntax"}, "syntax.xpr"},
        {{"--script", "two", "--filesystem-path", "none"}, "There is no folder none with scripts"},
        {{"--script", "rates"}, "Script rates cannot be used"},
        {{"--script", "two", "--result-variable-name", "other"}, "Failed to retrieve variable named 'other'"},
        {{"--script", "two", "--rate", "0"}, "'0' is no number", 2},
        {{"--script", "two"}, "two.xpr"},
    };
    for (const auto& badCase : cases)
    {
        const CommandResult result = test("text.xml", "patterns.txt", badCase.m_vArguments);
        EXPECT_EQ(result.m_iExit, badCase.m_iExit) << badCase.m_message;
        EXPECT_THAT(result.m_strErr, HasSubstr(badCase.m_message));
    }
}
