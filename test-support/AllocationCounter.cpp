#include "test-support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

constinit std::atomic<std::size_t> s_uiAllocations{0};

} // namespace

// All forms but those for types of special alignment, because the ones of a sanitizer do not mix with these.

void* operator new(std::size_t in_uiBytes, const std::nothrow_t&) noexcept
{
    s_uiAllocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(in_uiBytes == 0 ? 1 : in_uiBytes);
}

void* operator new(std::size_t in_uiBytes)
{
    if (void* pMemory = operator new(in_uiBytes, std::nothrow))
        return pMemory;
    throw std::bad_alloc();
}

void* operator new[](std::size_t in_uiBytes)
{
    return operator new(in_uiBytes);
}

void* operator new[](std::size_t in_uiBytes, const std::nothrow_t&) noexcept
{
    return operator new(in_uiBytes, std::nothrow);
}

void operator delete(void* io_pMemory) noexcept
{
    std::free(io_pMemory);
}

void operator delete(void* io_pMemory, std::size_t) noexcept
{
    std::free(io_pMemory);
}

void operator delete(void* io_pMemory, const std::nothrow_t&) noexcept
{
    std::free(io_pMemory);
}

void operator delete[](void* io_pMemory) noexcept
{
    std::free(io_pMemory);
}

void operator delete[](void* io_pMemory, std::size_t) noexcept
{
    std::free(io_pMemory);
}

void operator delete[](void* io_pMemory, const std::nothrow_t&) noexcept
{
    std::free(io_pMemory);
}

namespace Vexalor::Testing
{

AllocationCounter::AllocationCounter()
    : m_uiStart(s_uiAllocations.load())
{
}

std::size_t AllocationCounter::getCount() const
{
    return s_uiAllocations.load() - m_uiStart;
}

} // namespace Vexalor::Testing
