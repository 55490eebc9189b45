#include "common/Progress.h"

#include <unistd.h>

namespace Vexalor
{

namespace
{

constexpr std::chrono::milliseconds INTERVAL{100};
/// Back to the first column and clear to the end of the line.
const char* const RESTART = "\r\033[K";

} // namespace

Progress::Progress(int in_iDescriptor)
    : m_iDescriptor(in_iDescriptor)
    , m_bTerminal(isatty(in_iDescriptor) != 0)
{
}

Progress::~Progress()
{
    if (m_bShown)
        write(RESTART);
}

bool Progress::isDue() const
{
    return m_bTerminal && std::chrono::steady_clock::now() >= m_next;
}

void Progress::show(const std::string& in_strText)
{
    if (!isDue())
        return;
    write(RESTART + in_strText);
    m_bShown = true;
    m_next = std::chrono::steady_clock::now() + INTERVAL;
}

/// A terminal that went away is nobody's loss.
void Progress::write(const std::string& in_strText) const
{
    if (::write(m_iDescriptor, in_strText.data(), in_strText.size()) < 0)
        return;
}

} // namespace Vexalor
