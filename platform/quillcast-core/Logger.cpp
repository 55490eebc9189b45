#include "quillcast-core/Logger.h"

#include "quillcast-core/ForkSafeMutex.h"
#include "quillcast-core/LogQueue.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <locale>
#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <sstream>
#include <vector>

namespace Vexalor
{

/// All loggers whose level is cached. Never destroyed: loggers at namespace scope die in any order.
struct LoggerRegistry
{
    static LoggerRegistry& instance()
    {
        static auto* pRegistry = new LoggerRegistry;
        return *pRegistry;
    }

    int resolve(Logger& io_logger)
    {
        const std::lock_guard<ForkSafeMutex> lock(m_mutex);
        if (!io_logger.m_bRegistered.exchange(true))
            m_vLoggers.push_back(&io_logger);
        const int iLevel = effectiveLevel(io_logger);
        io_logger.m_iLevel.store(iLevel, std::memory_order_relaxed);
        return iLevel;
    }

    void remove(const Logger& in_logger)
    {
        const std::lock_guard<ForkSafeMutex> lock(m_mutex);
        std::erase(m_vLoggers, &in_logger);
    }

    void setLevel(const char* in_name, LogLevel in_level)
    {
        const std::lock_guard<ForkSafeMutex> lock(m_mutex);
        log4cplus::Logger logger =
            *in_name == '\0' ? log4cplus::Logger::getRoot() : log4cplus::Logger::getInstance(in_name);
        logger.setLogLevel(static_cast<int>(in_level));
    }

    void refreshAll()
    {
        const std::lock_guard<ForkSafeMutex> lock(m_mutex);
        for (Logger* pLogger : m_vLoggers)
            pLogger->m_iLevel.store(effectiveLevel(*pLogger), std::memory_order_relaxed);
    }

    /// Set while no back end may be asked: after the program's session ended.
    std::atomic<bool> m_bOver{false};

private:
    int effectiveLevel(const Logger& in_logger) const
    {
        if (m_bOver)
            return static_cast<int>(LogLevel::OFF);
        return log4cplus::Logger::getInstance(in_logger.getName()).getChainedLogLevel();
    }

    ForkSafeMutex m_mutex; ///< the back end is asked for levels with it only
    std::vector<Logger*> m_vLoggers;
};

Logger::~Logger()
{
    if (m_bRegistered)
        LoggerRegistry::instance().remove(*this);
}

int Logger::resolve()
{
    return LoggerRegistry::instance().resolve(*this);
}

void Logger::log(LogLevel in_level, const std::string& in_strMessage, const char* in_file, int in_iLine)
{
    if (LoggerRegistry::instance().m_bOver ||
        LogQueue::keep(in_level, m_name, in_strMessage, in_file, in_iLine))
        return;
    log4cplus::Logger::getInstance(m_name).forcedLog(static_cast<int>(in_level), in_strMessage, in_file,
                                                     in_iLine);
}

bool Logger::configure(const char* in_file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(in_file, error))
    {
        std::cerr << "Cannot read logging configuration file " << in_file << '\n';
        return false;
    }
    log4cplus::Logger::getRoot().removeAllAppenders();
    log4cplus::PropertyConfigurator(in_file).configure();
    refresh();
    return true;
}

void Logger::setLevel(const char* in_name, LogLevel in_level)
{
    LoggerRegistry::instance().setLevel(in_name, in_level);
    refresh();
}

void Logger::refresh()
{
    LoggerRegistry::instance().refreshAll();
}

struct LoggingSession::State
{
    log4cplus::Initializer m_initializer;
};

LoggingSession::LoggingSession()
    : m_pState(std::make_unique<State>())
{
    LoggerRegistry::instance().m_bOver = false;
    Logger::refresh();
}

LoggingSession::~LoggingSession()
{
    LoggerRegistry::instance().m_bOver = true;
    Logger::refresh();
}

struct LogMessage::Buffer
{
    std::ostringstream m_stream;
};

LogMessage::LogMessage(Logger& in_logger, LogLevel in_level, const char* in_file, int in_iLine)
    : m_logger(in_logger)
    , m_level(in_level)
    , m_file(in_file)
    , m_iLine(in_iLine)
    , m_pBuffer(std::make_unique<Buffer>())
{
    m_pBuffer->m_stream.imbue(std::locale::classic());
}

LogMessage::~LogMessage()
{
    m_logger.log(m_level, m_pBuffer->m_stream.str(), m_file, m_iLine);
}

std::ostream& LogMessage::stream()
{
    return m_pBuffer->m_stream;
}

void TraceScope::log(Logger& in_logger, const char* in_prefix, const char* in_name)
{
    in_logger.log(LogLevel::TRACE, std::string(in_prefix) + in_name, nullptr, 0);
}

} // namespace Vexalor
