#include "common/Progress.h"

#include "quillcast-core/Logger.h"
#include "quillcast-infra/TerminalText.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.Progress");

constexpr std::chrono::milliseconds INTERVAL{100};
/// Back to the first column and clear to the end of the line.
const char* const RESTART = "\r\033[K";

Progress* s_pProgress = nullptr;
int s_iTerminal = -1;

void hideProgress()
{
    if (s_pProgress != nullptr)
        s_pProgress->hide();
}

} // namespace

Progress::Progress(int in_iDescriptor)
    : m_iDescriptor(in_iDescriptor)
    , m_iTerminal(s_iTerminal >= 0 ? s_iTerminal : in_iDescriptor)
    , m_bTerminal(isatty(m_iTerminal) != 0 && s_logger.isEnabledFor(LogLevel::INFO))
{
    s_pProgress = this;
    Logger::setConsoleHook(hideProgress);
}

Progress::~Progress()
{
    hide();
    s_pProgress = nullptr;
}

void Progress::setTerminal(int in_iDescriptor)
{
    s_iTerminal = in_iDescriptor;
}

void Progress::hide()
{
    if (m_bShown)
        write(RESTART);
    m_bShown = false;
}

bool Progress::isDue() const
{
    return m_bTerminal && std::chrono::steady_clock::now() >= m_next;
}

void Progress::show(const std::string& in_strText)
{
    if (!isDue())
        return;
    write(RESTART + escapeControls(in_strText).substr(0, getWidth()));
    m_bShown = true;
    m_next = std::chrono::steady_clock::now() + INTERVAL;
}

/// Characters of a line; one that is longer could not be removed.
std::size_t Progress::getWidth() const
{
    winsize size{};
    const bool bKnown = ioctl(m_iTerminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return bKnown ? size.ws_col - 1u : std::string::npos;
}

/// Nothing is lost with a terminal that went away.
void Progress::write(const std::string& in_strText) const
{
    if (::write(m_iDescriptor, in_strText.data(), in_strText.size()) < 0)
        return;
}

} // namespace Vexalor
