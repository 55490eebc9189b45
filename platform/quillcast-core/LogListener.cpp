#include "quillcast-core/LogListener.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/spi/loggingevent.h>
#include <utility>

namespace Vexalor
{

namespace
{

/// Keeps the first message of either level; the caller holds the appender's lock.
class KeepingAppender : public log4cplus::Appender
{
public:
    ~KeepingAppender() override { destructorImpl(); }
    void close() override { closed = true; }

    std::string m_strError;
    std::string m_strWarning;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        if (in_event.getLogLevel() < log4cplus::WARN_LOG_LEVEL)
            return;
        std::string& strKept =
            in_event.getLogLevel() >= log4cplus::ERROR_LOG_LEVEL ? m_strError : m_strWarning;
        if (strKept.empty())
            strKept = in_event.getMessage();
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
    KeepingAppender& keeper = *m_pState->m_pKeeper;
    std::string strReason = keeper.m_strError.empty() ? keeper.m_strWarning : keeper.m_strError;
    keeper.m_strError.clear();
    keeper.m_strWarning.clear();
    return strReason;
}

} // namespace Vexalor
