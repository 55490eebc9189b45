#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

namespace Vexalor
{

/// Counts what the objects of one class take from the heap. One account a name, alive as long as the process.
class MemAccount
{
public:
    /// The account of that name, created on first use.
    static MemAccount& get(const char* in_name);

    /// Not inlined: the compiler would take the pair of a class's operators for a mismatched one.
    [[gnu::noinline]] void* allocate(std::size_t in_uiBytes)
    {
        void* pMemory = ::operator new(in_uiBytes);
        m_iBlocks.fetch_add(1, std::memory_order_relaxed);
        m_iBytes.fetch_add(static_cast<std::int64_t>(in_uiBytes), std::memory_order_relaxed);
        return pMemory;
    }

    void release(void* io_pMemory, std::size_t in_uiBytes) noexcept
    {
        if (io_pMemory == nullptr)
            return;
        m_iBlocks.fetch_sub(1, std::memory_order_relaxed);
        m_iBytes.fetch_sub(static_cast<std::int64_t>(in_uiBytes), std::memory_order_relaxed);
        ::operator delete(io_pMemory);
    }

    std::int64_t getBlocks() const { return m_iBlocks.load(std::memory_order_relaxed); }
    std::int64_t getBytes() const { return m_iBytes.load(std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> m_iBlocks{0};
    std::atomic<std::int64_t> m_iBytes{0};
};

} // namespace Vexalor

/// In the public part of a class: its account's name and its allocation under it. Blocks carry no header of
/// ours, since the serialisation library may release with the global operator what it allocated through the
/// class.
#define QC_MEM_ACCOUNT(name)                                                                                 \
    static const char* getMemAccountName()                                                                   \
    {                                                                                                        \
        return name;                                                                                         \
    }                                                                                                        \
    static ::Vexalor::MemAccount& getMemAccount()                                                            \
    {                                                                                                        \
        static ::Vexalor::MemAccount& account = ::Vexalor::MemAccount::get(name);                            \
        return account;                                                                                      \
    }                                                                                                        \
    static void* operator new(std::size_t in_uiBytes)                                                        \
    {                                                                                                        \
        return getMemAccount().allocate(in_uiBytes);                                                         \
    }                                                                                                        \
    static void* operator new(std::size_t, void* in_pPlace) noexcept                                         \
    {                                                                                                        \
        return in_pPlace;                                                                                    \
    }                                                                                                        \
    static void operator delete(void* io_pMemory, std::size_t in_uiBytes) noexcept                           \
    {                                                                                                        \
        getMemAccount().release(io_pMemory, in_uiBytes);                                                     \
    }                                                                                                        \
    static void operator delete(void*, void*) noexcept {}                                                    \
    static_assert(true)
