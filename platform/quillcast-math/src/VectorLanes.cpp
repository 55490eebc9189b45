#include "VectorLanes.h"

#include <algorithm>
#include <atomic>

namespace Vexalor::Lanes
{

namespace
{

Registers findRegisters()
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f"))
        return Registers::WIDEST;
    return __builtin_cpu_supports("avx2") ? Registers::WIDE : Registers::ANY;
#else
    return Registers::ANY;
#endif
}

// Constant until the static initialiser below runs: who computes earlier gets the same bits.
constinit std::atomic<Registers> s_registers{Registers::ANY};
[[maybe_unused]] const bool s_bInitialised = (setRegisters(Registers::WIDEST), true);

} // namespace

Registers getRegisters()
{
    return s_registers.load(std::memory_order_relaxed);
}

Registers setRegisters(Registers in_widest)
{
    return s_registers.exchange(std::min(in_widest, findRegisters()), std::memory_order_relaxed);
}

} // namespace Vexalor::Lanes
