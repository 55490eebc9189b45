#include "quillcast-math/VectorLanes.h"

#include <atomic>

namespace Vexalor::Lanes
{

namespace
{

bool canBeWide()
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

// Constant until the static initialiser below runs: who computes earlier gets the same bits.
constinit std::atomic<bool> s_bWide{false};
[[maybe_unused]] const bool s_bInitialised = (setWide(true), true);

} // namespace

bool isWide()
{
    return s_bWide.load(std::memory_order_relaxed);
}

bool setWide(bool in_bWide)
{
    return s_bWide.exchange(in_bWide && canBeWide(), std::memory_order_relaxed);
}

} // namespace Vexalor::Lanes
