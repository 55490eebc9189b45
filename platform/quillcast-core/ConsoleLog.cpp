#include "quillcast-core/ConsoleLog.h"

#include "quillcast-core/Logger.h"

#include <atomic>
#include <cstdint>
#include <iostream>
#include <log4cplus/consoleappender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/filter.h>
#include <log4cplus/spi/loggingevent.h>
#include <mutex>
#include <sstream>
#include <vector>

namespace Vexalor
{

namespace
{

using namespace log4cplus;

constexpr std::uint64_t MOST_OF_A_KIND = 10;
constexpr std::size_t LONGEST_SAMPLE = 60;
constexpr const char* ASSERTION = "Assertion failed: ";

std::atomic<void (*)()> s_consoleHook{nullptr};

void callHook()
{
    if (void (*hook)() = s_consoleHook)
        hook();
}

/// Messages of one place in the source.
struct Kind
{
    std::string m_strFile;
    int m_iLine;
    std::string m_strLevel;
    std::string m_strSample; ///< the beginning of the first one
    std::uint64_t m_uiCount;
};

struct Memory
{
    std::mutex m_mutex;
    bool m_bRepeats = false;
    std::vector<Kind> m_vKinds; ///< in the order of their first messages
    std::string m_strLast;      ///< on standard error
    std::string m_strError;     ///< the first one since they were settled
    std::string m_strAssertion; ///< the same of failed assertions
};

/// Never destroyed: loggers at namespace scope die in any order.
Memory& memory()
{
    static auto* pMemory = new Memory;
    return *pMemory;
}

std::string shorten(const std::string& in_strMessage)
{
    const std::string strLine = in_strMessage.substr(0, in_strMessage.find('\n'));
    return strLine.size() <= LONGEST_SAMPLE ? strLine : strLine.substr(0, LONGEST_SAMPLE) + "...";
}

/// False when there were enough of that kind.
bool admit(const spi::InternalLoggingEvent& in_event)
{
    const std::lock_guard<std::mutex> lock(memory().m_mutex);
    if (memory().m_bRepeats || in_event.getFile().empty())
        return true;
    for (Kind& kind : memory().m_vKinds)
        if (kind.m_iLine == in_event.getLine() && kind.m_strFile == in_event.getFile())
            return ++kind.m_uiCount <= MOST_OF_A_KIND;
    memory().m_vKinds.push_back({in_event.getFile(), in_event.getLine(),
                                 getLogLevelManager().toString(in_event.getLogLevel()),
                                 shorten(in_event.getMessage()), 1});
    return true;
}

class HookedConsoleAppender : public ConsoleAppender
{
public:
    explicit HookedConsoleAppender(bool in_bStdErr, bool in_bLimited)
        : ConsoleAppender(in_bStdErr, true)
        , m_bStdErr(in_bStdErr)
        , m_bLimited(in_bLimited)
    {
    }

protected:
    void append(const spi::InternalLoggingEvent& in_event) override
    {
        if (m_bLimited && !admit(in_event))
            return;
        callHook();
        // At once: several processes may write to one console.
        std::ostringstream text;
        layout->formatAndAppend(text, in_event);
        (m_bStdErr ? std::cerr : std::cout) << text.str() << std::flush;
        if (!m_bStdErr)
            return;
        const std::lock_guard<std::mutex> lock(memory().m_mutex);
        memory().m_strLast = in_event.getMessage();
    }

private:
    bool m_bStdErr;
    bool m_bLimited;
};

/// Shows nothing.
class ErrorWatcher : public Appender
{
public:
    ~ErrorWatcher() override { destructorImpl(); }
    void close() override { closed = true; }

protected:
    void append(const spi::InternalLoggingEvent& in_event) override
    {
        if (in_event.getLogLevel() < ERROR_LOG_LEVEL)
            return;
        const std::lock_guard<std::mutex> lock(memory().m_mutex);
        const bool bAssertion = in_event.getMessage().starts_with(ASSERTION);
        std::string& strFirst = bAssertion ? memory().m_strAssertion : memory().m_strError;
        if (strFirst.empty())
            strFirst = in_event.getMessage();
    }
};

/// A console appender that takes the levels from in_iMin to in_iMax.
SharedAppenderPtr newConsoleAppender(bool in_bStdErr, int in_iMin, int in_iMax, const char* in_pattern,
                                     const StringVector& in_vHidden)
{
    SharedAppenderPtr pAppender(new HookedConsoleAppender(in_bStdErr, in_iMin == WARN_LOG_LEVEL));
    pAppender->setLayout(std::make_unique<PatternLayout>(in_pattern));
    helpers::Properties range;
    range.setProperty("LogLevelMin", getLogLevelManager().toString(in_iMin));
    range.setProperty("LogLevelMax", getLogLevelManager().toString(in_iMax));
    range.setProperty("AcceptOnMatch", "false");
    spi::FilterPtr pRange(new spi::LogLevelRangeFilter(range));
    for (const std::string& strHidden : in_vHidden)
    {
        helpers::Properties hidden;
        hidden.setProperty("StringToMatch", strHidden);
        hidden.setProperty("AcceptOnMatch", "false");
        pRange->appendFilter(spi::FilterPtr(new spi::StringMatchFilter(hidden)));
    }
    pAppender->setFilter(pRange);
    return pAppender;
}

} // namespace

void Logger::configureForConsole(LogLevel in_level, const StringVector& in_vHidden)
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    {
        const std::lock_guard<std::mutex> lock(memory().m_mutex);
        memory().m_bRepeats = false;
        memory().m_vKinds.clear();
        memory().m_strLast.clear();
    }
    ConsoleLog::settleErrors();
    root.addAppender(newConsoleAppender(false, INFO_LOG_LEVEL, INFO_LOG_LEVEL, "%m%n", in_vHidden));
    root.addAppender(newConsoleAppender(true, WARN_LOG_LEVEL, FATAL_LOG_LEVEL, "%p: %m%n", in_vHidden));
    root.addAppender(newConsoleAppender(true, TRACE_LOG_LEVEL, DEBUG_LOG_LEVEL, "%p %c: %m%n", in_vHidden));
    ConsoleLog::watchErrors();
    setLevel("", in_level);
}

void Logger::setConsoleHook(void (*in_hook)())
{
    s_consoleHook = in_hook;
}

void ConsoleLog::watchErrors()
{
    log4cplus::Logger::getRoot().addAppender(SharedAppenderPtr(new ErrorWatcher));
}

void ConsoleLog::showRepeats()
{
    const std::lock_guard<std::mutex> lock(memory().m_mutex);
    memory().m_bRepeats = true;
}

void ConsoleLog::tellLeftOut()
{
    const std::lock_guard<std::mutex> lock(memory().m_mutex);
    for (const Kind& kind : memory().m_vKinds)
    {
        if (kind.m_uiCount <= MOST_OF_A_KIND)
            continue;
        callHook();
        std::cerr << kind.m_strLevel << ": ... and " << kind.m_uiCount - MOST_OF_A_KIND << " more like \""
                  << kind.m_strSample << "\"\n";
        memory().m_strLast.clear();
    }
    memory().m_vKinds.clear();
}

void ConsoleLog::settleErrors()
{
    const std::lock_guard<std::mutex> lock(memory().m_mutex);
    memory().m_strError.clear();
    memory().m_strAssertion.clear();
}

std::string ConsoleLog::getCause()
{
    const std::lock_guard<std::mutex> lock(memory().m_mutex);
    return memory().m_strError.empty() ? memory().m_strAssertion : memory().m_strError;
}

bool ConsoleLog::endsWith(const std::string& in_strMessage)
{
    const std::lock_guard<std::mutex> lock(memory().m_mutex);
    return memory().m_strLast == in_strMessage;
}

} // namespace Vexalor
