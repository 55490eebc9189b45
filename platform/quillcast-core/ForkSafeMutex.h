#pragma once

#include <mutex>

namespace Vexalor
{

/// A mutex of the whole process that a forked child finds free: a fork waits until no other thread holds it.
/// A plain one that another thread holds at that moment stays locked in the child for ever. Held for a short
/// while only, and while it is, neither another one is taken nor the process forked.
class ForkSafeMutex
{
public:
    ForkSafeMutex();
    ~ForkSafeMutex();
    ForkSafeMutex(const ForkSafeMutex&) = delete;
    ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;

    void lock() { m_mutex.lock(); }
    void unlock() { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

} // namespace Vexalor
