#include "common/Progress.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

using namespace Vexalor;

namespace
{

/// What a descriptor holds right now.
std::string drain(int in_iDescriptor)
{
    fcntl(in_iDescriptor, F_SETFL, O_NONBLOCK);
    std::string strText(4096, '\0');
    const ssize_t iRead = read(in_iDescriptor, strText.data(), strText.size());
    strText.resize(iRead < 0 ? 0 : static_cast<std::size_t>(iRead));
    return strText;
}

} // namespace

TEST(ProgressTest, RewritesOneLineOfATerminalNowAndThen)
{
    const int iScreen = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(iScreen, 0);
    ASSERT_EQ(grantpt(iScreen), 0);
    ASSERT_EQ(unlockpt(iScreen), 0);
    const int iTerminal = open(ptsname(iScreen), O_RDWR | O_NOCTTY);
    ASSERT_GE(iTerminal, 0);
    {
        Progress progress(iTerminal);
        ASSERT_TRUE(progress.isDue());
        progress.show("one");
        EXPECT_FALSE(progress.isDue());
        progress.show("too early");
        EXPECT_EQ(drain(iScreen), "\r\033[Kone");
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
        progress.show("two");
        EXPECT_EQ(drain(iScreen), "\r\033[Ktwo");
    }
    EXPECT_EQ(drain(iScreen), "\r\033[K");
    close(iTerminal);
    close(iScreen);
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
