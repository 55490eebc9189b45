#pragma once

#include "quillcast-core/StringVector.h"

#include <atomic>
#include <memory>
#include <ostream>
#include <string>

namespace Vexalor
{

/// Levels of the logging back end, in its own numbers. DEBUGGING, since projects define DEBUG as a macro.
enum class LogLevel : int
{
    TRACE = 0,
    DEBUGGING = 10000,
    INFO = 20000,
    WARN = 30000,
    ERROR = 40000,
    OFF = 60000
};

/// A named logger over the logging back end, with its effective level cached, so that a disabled statement
/// costs one load and one comparison. Define one at namespace scope in each source file, under the name
/// s_logger, which the macros below use:
///
///     namespace { constinit Vexalor::Logger s_logger("quillcast.ml.tester"); }
///
/// Loggers of one name share the back end's logger. The cached level is refreshed by configure, setLevel and
/// refresh. Only programs initialise the back end (LoggingSession); a library never does.
class Logger
{
public:
    /// in_name must outlive the logger.
    constexpr explicit Logger(const char* in_name)
        : m_name(in_name)
    {
    }
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    ~Logger();

    const char* getName() const { return m_name; }

    bool isEnabledFor(LogLevel in_level)
    {
        const int iThreshold = m_iLevel.load(std::memory_order_relaxed);
        if (__builtin_expect(iThreshold > static_cast<int>(in_level), 1))
            return false;
        return iThreshold != UNRESOLVED || resolve() <= static_cast<int>(in_level);
    }

    void log(LogLevel in_level, const std::string& in_strMessage, const char* in_file, int in_iLine);

    /// Reads a back-end configuration file (properties); false, with the reason on standard error, if it
    /// cannot be read.
    static bool configure(const char* in_file);
    /// Messages of in_level and above to standard error, one line each: the set-up of a program without a
    /// configuration file. Messages with one of the texts in_vHidden in them are left out.
    static void configureForConsole(LogLevel in_level, const StringVector& in_vHidden = {});
    /// Called before each message that configureForConsole brings to the screen, so that a program can take a
    /// line of its own away; null for none.
    static void setConsoleHook(void (*in_hook)());
    /// Sets the level of the back end's logger of that name; "" is the root.
    static void setLevel(const char* in_name, LogLevel in_level);
    /// Takes over levels that were set in the back end directly.
    static void refresh();

private:
    static constexpr int UNRESOLVED = -1;

    friend struct LoggerRegistry;
    int resolve();

    const char* m_name;
    std::atomic<int> m_iLevel{UNRESOLVED};
    std::atomic<bool> m_bRegistered{false};
};

/// Owns the back end of a program: the first automatic variable of main.
class LoggingSession
{
public:
    LoggingSession();
    ~LoggingSession();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

/// One message under construction; logged when it goes out of scope. Numbers are written in the classic
/// locale.
class LogMessage
{
public:
    LogMessage(Logger& in_logger, LogLevel in_level, const char* in_file, int in_iLine);
    LogMessage(const LogMessage&) = delete;
    LogMessage& operator=(const LogMessage&) = delete;
    ~LogMessage();

    std::ostream& stream();

private:
    struct Buffer;
    Logger& m_logger;
    LogLevel m_level;
    const char* m_file;
    int m_iLine;
    std::unique_ptr<Buffer> m_pBuffer;
};

/// Logs entry and exit of an operation at trace level. Costs a level test when trace is off.
class TraceScope
{
public:
    TraceScope(Logger& in_logger, const char* in_name)
        : m_pLogger(__builtin_expect(in_logger.isEnabledFor(LogLevel::TRACE), 0) ? &in_logger : nullptr)
        , m_name(in_name)
    {
        if (__builtin_expect(m_pLogger != nullptr, 0))
            log(*m_pLogger, "ENTER : ", m_name);
    }
    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;
    ~TraceScope()
    {
        if (__builtin_expect(m_pLogger != nullptr, 0))
            log(*m_pLogger, "EXIT :  ", m_name);
    }

private:
    // Static, so that the scope need not lie in memory when trace is off.
    static void log(Logger& in_logger, const char* in_prefix, const char* in_name);

    Logger* m_pLogger;
    const char* m_name;
};

} // namespace Vexalor

/// Opens the trace scope of an operation: QC_TRACE("MLTester::test");
#define QC_TRACE(name) const ::Vexalor::TraceScope qcTraceScope(s_logger, name)

#define QC_LOG(level, expression)                                                                            \
    do                                                                                                       \
    {                                                                                                        \
        if (s_logger.isEnabledFor(::Vexalor::LogLevel::level))                                               \
            ::Vexalor::LogMessage(s_logger, ::Vexalor::LogLevel::level, __FILE__, __LINE__).stream()         \
                << expression;                                                                               \
    } while (false)

/// Log what is streamed: QC_WARN("failed to parse line " << uiLine);
#define QC_LOG_TRACE(expression) QC_LOG(TRACE, expression)
#define QC_DEBUG(expression) QC_LOG(DEBUGGING, expression)
#define QC_INFO(expression) QC_LOG(INFO, expression)
#define QC_WARN(expression) QC_LOG(WARN, expression)
#define QC_ERROR(expression) QC_LOG(ERROR, expression)
