#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace Vexalor::Testing
{

/// A terminal, and the screen that shows what is written to it.
struct Terminal
{
    Terminal()
        : m_iScreen(posix_openpt(O_RDWR | O_NOCTTY))
    {
        EXPECT_EQ(grantpt(m_iScreen), 0);
        EXPECT_EQ(unlockpt(m_iScreen), 0);
        m_iTerminal = open(ptsname(m_iScreen), O_RDWR | O_NOCTTY);
        EXPECT_GE(m_iTerminal, 0);
    }
    ~Terminal()
    {
        close(m_iTerminal);
        close(m_iScreen);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int m_iScreen;
    int m_iTerminal;
};

/// What a descriptor holds right now.
inline std::string drain(int in_iDescriptor)
{
    fcntl(in_iDescriptor, F_SETFL, O_NONBLOCK);
    std::string strText(4096, '\0');
    const ssize_t iRead = read(in_iDescriptor, strText.data(), strText.size());
    strText.resize(iRead < 0 ? 0 : static_cast<std::size_t>(iRead));
    return strText;
}

} // namespace Vexalor::Testing
