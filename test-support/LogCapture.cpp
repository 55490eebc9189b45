#include "test-support/LogCapture.h"

#include <algorithm>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/spi/loggingevent.h>

namespace Vexalor::Testing
{

namespace
{

class CollectingAppender : public log4cplus::Appender
{
public:
    ~CollectingAppender() override { destructorImpl(); }
    void close() override { closed = true; }

    std::vector<std::string> m_vLines;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& in_event) override
    {
        m_vLines.push_back(log4cplus::getLogLevelManager().toString(in_event.getLogLevel()) + " " +
                           in_event.getMessage());
    }
};

log4cplus::Logger backEndLogger(const std::string& in_strName)
{
    return in_strName.empty() ? log4cplus::Logger::getRoot() : log4cplus::Logger::getInstance(in_strName);
}

} // namespace

struct LogCapture::State
{
    log4cplus::Logger m_logger;
    int m_iEarlierLevel;
    bool m_bEarlierAdditivity;
    CollectingAppender* m_pCollector;
    log4cplus::SharedAppenderPtr m_pAppender;
};

LogCapture::LogCapture(const char* in_loggerName, LogLevel in_level)
    : m_pState(std::make_unique<State>())
{
    m_pState->m_logger = backEndLogger(in_loggerName);
    m_pState->m_iEarlierLevel = m_pState->m_logger.getLogLevel();
    m_pState->m_bEarlierAdditivity = m_pState->m_logger.getAdditivity();
    m_pState->m_pCollector = new CollectingAppender;
    m_pState->m_pAppender = log4cplus::SharedAppenderPtr(m_pState->m_pCollector);
    m_pState->m_logger.addAppender(m_pState->m_pAppender);
    m_pState->m_logger.setAdditivity(false);
    m_pState->m_logger.setLogLevel(static_cast<int>(in_level));
    Logger::refresh();
}

LogCapture::~LogCapture()
{
    m_pState->m_logger.removeAppender(m_pState->m_pAppender);
    m_pState->m_logger.setAdditivity(m_pState->m_bEarlierAdditivity);
    m_pState->m_logger.setLogLevel(m_pState->m_iEarlierLevel);
    Logger::refresh();
}

const std::vector<std::string>& LogCapture::lines() const
{
    return m_pState->m_pCollector->m_vLines;
}

bool LogCapture::has(const std::string& in_strLine) const
{
    return std::find(lines().begin(), lines().end(), in_strLine) != lines().end();
}

std::size_t LogCapture::count(const std::string& in_strPart) const
{
    return static_cast<std::size_t>(std::count_if(
        lines().begin(), lines().end(),
        [&](const std::string& in_strLine) { return in_strLine.find(in_strPart) != std::string::npos; }));
}

std::string LogCapture::text() const
{
    std::string strText;
    for (const std::string& strLine : lines())
        strText += strLine + '\n';
    return strText;
}

void LogCapture::clear()
{
    m_pState->m_pCollector->m_vLines.clear();
}

} // namespace Vexalor::Testing
