#pragma once

#include "quillcast-core/Logger.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// Keeps the messages of a process for a host that hands them on itself, such as an interpreter, which cannot
/// take them at any time: each thread's for that thread, which takes them when a call of the library returns.
/// A host that owns no back end (LoggingSession) installs it once.
class LogQueue
{
public:
    struct Message
    {
        LogLevel m_level;
        std::string m_strLogger;
        std::string m_strText;
        std::string m_strFile; ///< in the source; empty when it is not known
        int m_iLine;
    };

    /// Most messages below error level that wait for a thread; later ones are counted only. Twice as many
    /// with errors.
    static constexpr std::size_t MOST_WAITING = 1000;

    /// From now on in place of the back end, of whose own messages it gets those of the root logger. Ends the
    /// threads of the back end, with which a process that forks would not end.
    static void install();

    /// Keeps a message for the calling thread; false where no queue is installed. Takes no lock of the back
    /// end, which a thread might hold when the process is forked.
    static bool keep(LogLevel in_level, const char* in_logger, const std::string& in_strText,
                     const char* in_file, int in_iLine);

    /// What the calling thread has logged since the last call, in its order.
    static std::vector<Message> take();
    /// How many of them there was no place for.
    static std::uint64_t takeNbDropped();

    /// The place, in these messages, of the one that tells why an operation failed: the first one at error
    /// level, else the first warning, else the first failed assertion; their number when there is none. What
    /// comes first is nearest to the cause.
    static std::size_t findReason(const std::vector<Message>& in_vMessages);
};

} // namespace Vexalor
