#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

namespace Vexalor
{

/// Count of the handles that share an object. Atomic: handles of one object may be copied and dropped by
/// several threads, the object itself is not protected.
class ReferenceCount
{
public:
    void increment() { m_uiCount.fetch_add(1, std::memory_order_relaxed); }
    /// True when the last share is gone.
    bool decrement() { return m_uiCount.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    std::size_t get() const { return m_uiCount.load(std::memory_order_relaxed); }

private:
    std::atomic<std::size_t> m_uiCount{1};
};

/// The same behind a thread mutex, for the configuration handles that an application shares with its
/// framework.
class TSReferenceCount
{
public:
    TSReferenceCount();
    ~TSReferenceCount();
    void increment();
    bool decrement();
    std::size_t get() const;

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vexalor
