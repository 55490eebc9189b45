#include "quillcast-core/LogListener.h"

#include <array>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/spi/loggingevent.h>

namespace Vexalor
{

namespace
{

/// How near to the cause messages are, the nearest first.
enum Rank
{
    ERROR_MESSAGE,
    WARNING_MESSAGE,
    ASSERTION, ///< tells only what was expected
    NB_RANKS
};

/// Keeps the first message of each rank; the caller holds the appender's lock.
class KeepingAppender : public log4cplus::Appender
{
public:
    ~KeepingAppender() override { destructorImpl(); }
    void close() override { closed = true; }

    std::array<std::string, NB_RANKS> m_messages;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        if (in_event.getLogLevel() < log4cplus::WARN_LOG_LEVEL)
            return;
        Rank rank = in_event.getLogLevel() >= log4cplus::ERROR_LOG_LEVEL ? ERROR_MESSAGE : WARNING_MESSAGE;
        // As Assertion::fail writes it.
        if (in_event.getMessage().starts_with("Assertion failed: "))
            rank = ASSERTION;
        if (m_messages[rank].empty())
            m_messages[rank] = in_event.getMessage();
    }
};

} // namespace

struct LogListener::State
{
    log4cplus::SharedAppenderPtrList m_vEarlier;
    KeepingAppender* m_pKeeper = nullptr; ///< owned by the logger
};

LogListener::LogListener()
    : m_pState(std::make_unique<State>())
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    m_pState->m_vEarlier = root.getAllAppenders();
    m_pState->m_pKeeper = new KeepingAppender;
    root.removeAllAppenders();
    root.addAppender(log4cplus::SharedAppenderPtr(m_pState->m_pKeeper));
}

LogListener::~LogListener()
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    for (const log4cplus::SharedAppenderPtr& pAppender : m_pState->m_vEarlier)
        root.addAppender(pAppender);
}

std::string LogListener::takeReason()
{
    std::string strReason;
    for (std::string& strMessage : m_pState->m_pKeeper->m_messages)
    {
        if (strReason.empty())
            strReason = strMessage;
        strMessage.clear();
    }
    return strReason;
}

} // namespace Vexalor
