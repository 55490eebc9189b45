#pragma once

#include <cstddef>

/// Explicit vector lanes for the kernels of this component; private to its source files.
///
/// A kernel that is written in lanes does the same operations in the same order on every machine: the
/// compiler maps the lanes to whatever registers there are, and never contracts or reorders them. So its
/// results are the same bits everywhere, and a faster copy for newer processors, chosen when the library is
/// loaded, is free of risk.
namespace Vexalor::Lanes
{

/// Values side by side.
typedef double Four __attribute__((vector_size(32)));
typedef double Eight __attribute__((vector_size(64)));

/// The same in memory, at any address that fits a double.
template <class Vector>
struct Memory
{
    typedef Vector Type;
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

} // namespace Vexalor::Lanes

/// Compiles a function for several processors. Not under sanitizers: the choice is made before they are set
/// up.
#if defined(__x86_64__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&                          \
    !defined(__SANITIZE_THREAD__)
#define QC_VECTOR_CLONES __attribute__((target_clones("default", "avx2", "avx512f")))
#else
#define QC_VECTOR_CLONES
#endif
