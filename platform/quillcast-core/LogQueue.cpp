#include "quillcast-core/LogQueue.h"

#include <atomic>
#include <log4cplus/appender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>
#include <utility>

namespace Vexalor
{

namespace
{

std::atomic<bool> s_bInstalled{false};

struct Waiting
{
    std::vector<LogQueue::Message> m_vMessages;
    std::uint64_t m_uiDropped = 0;
};

Waiting& waiting()
{
    thread_local Waiting s_waiting;
    return s_waiting;
}

void add(LogQueue::Message&& in_message)
{
    const std::size_t uiMost =
        in_message.m_level >= LogLevel::ERROR ? 2 * LogQueue::MOST_WAITING : LogQueue::MOST_WAITING;
    Waiting& queue = waiting();
    if (queue.m_vMessages.size() < uiMost)
        queue.m_vMessages.push_back(std::move(in_message));
    else
        ++queue.m_uiDropped;
}

/// For plug-ins that write to the back end themselves.
class QueueAppender : public log4cplus::Appender
{
public:
    ~QueueAppender() override { destructorImpl(); }
    void close() override { closed = true; }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        add({static_cast<LogLevel>(in_event.getLogLevel()), in_event.getLoggerName(), in_event.getMessage(),
             in_event.getFile(), in_event.getLine()});
    }
};

/// The nearer a message is to the cause of a failure, the lower; 3: it tells nothing of one.
int rankOf(const LogQueue::Message& in_message)
{
    // As Assertion::fail writes it: tells only what was expected.
    if (in_message.m_strText.starts_with("Assertion failed: "))
        return 2;
    if (in_message.m_level >= LogLevel::ERROR)
        return 0;
    return in_message.m_level >= LogLevel::WARN ? 1 : 3;
}

} // namespace

void LogQueue::install()
{
    log4cplus::deinitialize();
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(log4cplus::SharedAppenderPtr(new QueueAppender));
    s_bInstalled = true;
}

bool LogQueue::keep(LogLevel in_level, const char* in_logger, const std::string& in_strText,
                    const char* in_file, int in_iLine)
{
    if (!s_bInstalled)
        return false;
    add({in_level, in_logger, in_strText, in_file == nullptr ? "" : in_file, in_iLine});
    return true;
}

std::vector<LogQueue::Message> LogQueue::take()
{
    return std::exchange(waiting().m_vMessages, {});
}

std::uint64_t LogQueue::takeNbDropped()
{
    return std::exchange(waiting().m_uiDropped, 0);
}

std::size_t LogQueue::findReason(const std::vector<Message>& in_vMessages)
{
    std::size_t uiReason = in_vMessages.size();
    int iRank = 3;
    for (std::size_t i = 0; i < in_vMessages.size(); ++i)
    {
        if (rankOf(in_vMessages[i]) >= iRank)
            continue;
        iRank = rankOf(in_vMessages[i]);
        uiReason = i;
    }
    return uiReason;
}

} // namespace Vexalor
