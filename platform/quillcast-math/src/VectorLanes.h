#pragma once

#include <cstddef>

/// Explicit vector lanes for the kernels of this component; private to its source files.
///
/// A kernel is written once, as a template over the vector type, and compiled for any processor and for those
/// with wide registers, some also for the widest. Each lane does the same operations in the same order in
/// all, and nothing is contracted or reordered, so the results are the same bits everywhere. A sum is spread
/// over a number of lanes that the kernel states, not the register.
namespace Vexalor::Lanes
{

typedef double Two __attribute__((vector_size(16)));
typedef double Four __attribute__((vector_size(32)));
typedef double Eight __attribute__((vector_size(64)));

/// The registers of a variant.
enum class Registers
{
    ANY,
    WIDE,  ///< 256 bits: x86-64 with AVX2
    WIDEST ///< 512 bits: x86-64 with AVX-512
};

/// The widest that the kernels may use.
Registers getRegisters();
/// Chooses them, for tests; a processor takes the widest that it has and that are allowed. Returns the
/// earlier choice.
Registers setRegisters(Registers in_widest);

inline bool isWide()
{
    return getRegisters() != Registers::ANY;
}

/// Number of lanes; a plain double is a vector of one.
template <class Vector>
constexpr std::size_t WIDTH = sizeof(Vector) / sizeof(double);

/// The same types in memory, at any address that fits a double.
template <class Vector>
struct Memory
{
    typedef Vector Type;
};

template <>
struct Memory<Two>
{
    typedef double Type __attribute__((vector_size(16), aligned(8), may_alias));
};

template <>
struct Memory<Four>
{
    typedef double Type __attribute__((vector_size(32), aligned(8), may_alias));
};

template <>
struct Memory<Eight>
{
    typedef double Type __attribute__((vector_size(64), aligned(8), may_alias));
};

/// As many unsigned integers of the same width.
template <class Vector>
struct Bits;

template <>
struct Bits<Two>
{
    typedef unsigned long Type __attribute__((vector_size(16)));
};

template <>
struct Bits<Four>
{
    typedef unsigned long Type __attribute__((vector_size(32)));
};

/// Reads and writes the values from that address on. (A reference to memory would lose its alignment on the
/// way.)
template <class Vector>
[[gnu::always_inline]] inline void fetch(const double* in_pValues, Vector& out_vector)
{
    out_vector = *reinterpret_cast<const typename Memory<Vector>::Type*>(in_pValues);
}

template <class Vector>
[[gnu::always_inline]] inline void put(double* out_pValues, const Vector& in_vector)
{
    *reinterpret_cast<typename Memory<Vector>::Type*>(out_pValues) = in_vector;
}

/// The last lane becomes the first.
[[gnu::always_inline]] inline void reverse(double&) {}

[[gnu::always_inline]] inline void reverse(Two& io_values)
{
    io_values = __builtin_shufflevector(io_values, io_values, 1, 0);
}

[[gnu::always_inline]] inline void reverse(Four& io_values)
{
    io_values = __builtin_shufflevector(io_values, io_values, 3, 2, 1, 0);
}

/// Two consecutive vectors become the values at even places and those at odd places.
[[gnu::always_inline]] inline void unzip(double&, double&) {}

[[gnu::always_inline]] inline void unzip(Two& io_low, Two& io_high)
{
    const Two low = io_low;
    io_low = __builtin_shufflevector(low, io_high, 0, 2);
    io_high = __builtin_shufflevector(low, io_high, 1, 3);
}

[[gnu::always_inline]] inline void unzip(Four& io_low, Four& io_high)
{
    const Four low = io_low;
    io_low = __builtin_shufflevector(low, io_high, 0, 2, 4, 6);
    io_high = __builtin_shufflevector(low, io_high, 1, 3, 5, 7);
}

/// Four vectors become, read one after the other, lane 0 of each, then lane 1 of each, and so on.
[[gnu::always_inline]] inline void zip(double&, double&, double&, double&) {}

[[gnu::always_inline]] inline void zip(Two& io_a, Two& io_b, Two& io_c, Two& io_d)
{
    const Two a = io_a;
    const Two b = io_b;
    io_a = __builtin_shufflevector(a, b, 0, 2);
    io_b = __builtin_shufflevector(io_c, io_d, 0, 2);
    const Two cdHigh = __builtin_shufflevector(io_c, io_d, 1, 3);
    io_c = __builtin_shufflevector(a, b, 1, 3);
    io_d = cdHigh;
}

[[gnu::always_inline]] inline void zip(Four& io_a, Four& io_b, Four& io_c, Four& io_d)
{
    const Four abLow = __builtin_shufflevector(io_a, io_b, 0, 4, 2, 6);
    const Four abHigh = __builtin_shufflevector(io_a, io_b, 1, 5, 3, 7);
    const Four cdLow = __builtin_shufflevector(io_c, io_d, 0, 4, 2, 6);
    const Four cdHigh = __builtin_shufflevector(io_c, io_d, 1, 5, 3, 7);
    io_a = __builtin_shufflevector(abLow, cdLow, 0, 1, 4, 5);
    io_b = __builtin_shufflevector(abHigh, cdHigh, 0, 1, 4, 5);
    io_c = __builtin_shufflevector(abLow, cdLow, 2, 3, 6, 7);
    io_d = __builtin_shufflevector(abHigh, cdHigh, 2, 3, 6, 7);
}

} // namespace Vexalor::Lanes

/// Marks the wide variant of a kernel, which only runs when Lanes::isWide(), and the widest, which needs
/// Registers::WIDEST.
#if defined(__x86_64__)
#define QC_WIDE __attribute__((target("avx2")))
#define QC_WIDEST __attribute__((target("avx512f")))
#else
#define QC_WIDE
#define QC_WIDEST
#endif
