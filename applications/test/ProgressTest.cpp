#include "common/PatternProgress.h"

#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/Terminal.h"
#include "test-support/WavBuilder.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

using namespace Vexalor;
using Testing::drain;
using Testing::Terminal;

TEST(ProgressTest, RewritesOneLineOfATerminalNowAndThen)
{
    const Terminal terminal;
    {
        Progress progress(terminal.m_iTerminal);
        ASSERT_TRUE(progress.isDue());
        progress.show("one");
        EXPECT_FALSE(progress.isDue());
        progress.show("too early");
        EXPECT_EQ(drain(terminal.m_iScreen), "\r\033[Kone");
        const winsize narrow{24, 5, 0, 0};
        ASSERT_EQ(ioctl(terminal.m_iTerminal, TIOCSWINSZ, &narrow), 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
        progress.show("two three");
        EXPECT_EQ(drain(terminal.m_iScreen), "\r\033[Ktwo ");
    }
    EXPECT_EQ(drain(terminal.m_iScreen), "\r\033[K");
}

TEST(ProgressTest, ProgramsTellWhichRecordingOfASetTheyHaveComeTo)
{
    const Testing::TempDir folder;
    const std::string strConfig = folder.path("set.xml");
    const std::string strPrograms = QC_BINARY_DIR "/bin/";
    ASSERT_EQ(Testing::runCommand({strPrograms + "ml-config", "write", strConfig, "--generator",
                                   "low-memory-audio-set", "--feature", "energy"})
                  .m_iExit,
              0);
    folder.write("one.wav", Testing::annotatedWav(8000, Testing::toneSamples(8000, 800, 1010, 9000),
                                                  {{0, 400, "VOICE"}}));
    const std::string strList = folder.write("set.lst", "one.wav\nmissing.wav\n");
    const std::string strNetwork = folder.path("net");
    const Terminal terminal;
    const std::string strDescriptor = std::to_string(terminal.m_iTerminal);
    const std::string strCommand = strPrograms + "ml-train --data-gen-config " + strConfig +
                                   " --data-gen-filename " + strList + " --network " + strNetwork + " 2>&" +
                                   strDescriptor;
    ASSERT_EQ(Testing::runCommand({"/bin/bash", "-c", strCommand}).m_iExit, 0);
    const std::string strScreen = drain(terminal.m_iScreen);
    const std::string strLine = "\r\033[Kml-train: recording 1 of 2, one.wav\r\033[K";
    EXPECT_EQ(strScreen.substr(0, strLine.size()), strLine) << "taken away for the message that follows";
    EXPECT_NE(strScreen.find("ERROR: File "), std::string::npos) << strScreen;

    // Other passes begin with their first pattern, and leave nothing.
    const std::string strLearn = strPrograms + "ml-config learn-scaling " + folder.path("scaling.xml") +
                                 " --data-gen-config " + strConfig + " --data-gen-filename " + strList +
                                 " 2>&" + strDescriptor;
    folder.write("set.lst", "one.wav\n");
    ASSERT_EQ(Testing::runCommand({"/bin/bash", "-c", strLearn}).m_iExit, 0);
    const std::string strShown = drain(terminal.m_iScreen);
    EXPECT_EQ(strShown.substr(0, 25), "\r\033[Kml-config: 1 patterns") << strShown;
    EXPECT_TRUE(strShown.ends_with("\r\033[K")) << strShown;
    ASSERT_EQ(Testing::runCommand({"/bin/bash", "-c", strLearn + " --quiet"}).m_iExit, 0);
    EXPECT_EQ(drain(terminal.m_iScreen), "");
}

TEST(ProgressTest, SilentElsewhere)
{
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    {
        Progress progress(pipes[1]);
        EXPECT_FALSE(progress.isDue());
        progress.show("text");
    }
    EXPECT_EQ(drain(pipes[0]), "");
    close(pipes[0]);
    close(pipes[1]);
}

TEST(PatternProgressTest, TellsTheRateAndWhereTheSizeIsKnownTheTimeLeft)
{
    EXPECT_EQ(PatternProgress::toText(0, {}, 0.0), "0 patterns");
    EXPECT_EQ(PatternProgress::toText(3000, {}, 2.0), "3000 patterns, 1500 a second");
    // a quarter in 2 s, so 6 s for the rest
    EXPECT_EQ(PatternProgress::toText(3000, 0.25, 2.0), "3000 patterns, 1500 a second, 0:06 left");
    // a thousandth in 4 s, so 3996 s
    EXPECT_EQ(PatternProgress::toText(8, 0.001, 4.0), "8 patterns, 2 a second, 1:06:36 left");
    EXPECT_EQ(PatternProgress::toText(8, 0.0, 4.0), "8 patterns, 2 a second");
}
