#include "quillcast-core/LogQueue.h"

#include <log4cplus/appender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>
#include <utility>

namespace Vexalor
{

namespace
{

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

/// Needs nothing but its own thread's queue, whatever lock the caller holds.
class QueueAppender : public log4cplus::Appender
{
public:
    ~QueueAppender() override { destructorImpl(); }
    void close() override { closed = true; }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        const bool bError = in_event.getLogLevel() >= log4cplus::ERROR_LOG_LEVEL;
        const std::size_t uiMost = bError ? 2 * LogQueue::MOST_WAITING : LogQueue::MOST_WAITING;
        Waiting& queue = waiting();
        if (queue.m_vMessages.size() < uiMost)
            queue.m_vMessages.push_back({static_cast<LogLevel>(in_event.getLogLevel()),
                                         in_event.getLoggerName(), in_event.getMessage(), in_event.getFile(),
                                         in_event.getLine()});
        else
            ++queue.m_uiDropped;
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
