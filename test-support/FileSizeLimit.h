#pragma once

#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <sys/resource.h>

namespace Vexalor::Testing
{

/// Makes every file that this process writes full at a size while it lives: a write across it is cut short,
/// the next one fails.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(std::uint64_t in_uiBytes)
        : m_pSignal(std::signal(SIGXFSZ, SIG_IGN))
    {
        if (getrlimit(RLIMIT_FSIZE, &m_earlier) != 0)
            throw std::runtime_error("the limit of file sizes cannot be read");
        rlimit lowered = m_earlier;
        lowered.rlim_cur = in_uiBytes;
        if (setrlimit(RLIMIT_FSIZE, &lowered) != 0)
            throw std::runtime_error("the limit of file sizes cannot be set");
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_earlier);
        std::signal(SIGXFSZ, m_pSignal);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*m_pSignal)(int);
    rlimit m_earlier;
};

} // namespace Vexalor::Testing
