#include "quillcast-core/Assertion.h"

#include "quillcast-core/ForkSafeMutex.h"

#include <utility>

namespace Vexalor
{

namespace
{

struct SinkSlot
{
    ForkSafeMutex m_mutex;
    Assertion::Sink m_sink;
};

SinkSlot& slot()
{
    static auto* pSlot = new SinkSlot;
    return *pSlot;
}

} // namespace

Assertion::Sink Assertion::setSink(Sink in_sink)
{
    const std::lock_guard<ForkSafeMutex> lock(slot().m_mutex);
    return std::exchange(slot().m_sink, std::move(in_sink));
}

bool Assertion::fail(Logger& in_logger, const char* in_condition, const char* in_file, int in_iLine)
{
    Sink sink;
    {
        const std::lock_guard<ForkSafeMutex> lock(slot().m_mutex);
        sink = slot().m_sink;
    }
    if (sink)
        sink(in_condition, in_file, in_iLine);
    else
        in_logger.log(LogLevel::ERROR, std::string("Assertion failed: ") + in_condition, in_file, in_iLine);
    return false;
}

} // namespace Vexalor
