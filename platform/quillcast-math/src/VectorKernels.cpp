#include "quillcast-math/VectorKernels.h"

#include "VectorLanes.h"

namespace Vexalor::VectorKernels
{

namespace
{

using Lanes::Four;
using Lanes::Two;
using Lanes::WIDTH;

/// So many keep the adders busy although each addition waits for the one before.
constexpr std::size_t REGISTERS = 4;

// The results of a few components, N registers of them, stay where they are while all vectors pass by. A
// plain double is a register of one component.

template <class V, std::size_t N>
[[gnu::always_inline]] inline void fetchAll(const double* in_pValues, V (&out_registers)[N])
{
    for (std::size_t j = 0; j < N; ++j)
        Lanes::fetch(in_pValues + j * WIDTH<V>, out_registers[j]);
}

template <class V, std::size_t N>
[[gnu::always_inline]] inline void putAll(double* out_pValues, const V (&in_registers)[N])
{
    for (std::size_t j = 0; j < N; ++j)
        Lanes::put(out_pValues + j * WIDTH<V>, in_registers[j]);
}

template <class V, std::size_t N>
[[gnu::always_inline]] inline void updateExtremesOf(const double* const* in_ppVectors,
                                                    std::size_t in_uiNbVectors, std::size_t in_uiFirst,
                                                    double* io_pMax, double* io_pMin)
{
    V max[N];
    V min[N];
    V values[N];
    fetchAll(io_pMax + in_uiFirst, max);
    fetchAll(io_pMin + in_uiFirst, min);
    for (std::size_t i = 0; i < in_uiNbVectors; ++i)
    {
        fetchAll(in_ppVectors[i] + in_uiFirst, values);
        for (std::size_t j = 0; j < N; ++j)
        {
            max[j] = values[j] > max[j] ? values[j] : max[j];
            min[j] = min[j] > values[j] ? values[j] : min[j];
        }
    }
    putAll(io_pMax + in_uiFirst, max);
    putAll(io_pMin + in_uiFirst, min);
}

template <class V, std::size_t N>
[[gnu::always_inline]] inline void addOf(const double* const* in_ppVectors, std::size_t in_uiNbVectors,
                                         std::size_t in_uiFirst, double* io_pSums)
{
    V sums[N];
    V values[N];
    fetchAll(io_pSums + in_uiFirst, sums);
    for (std::size_t i = 0; i < in_uiNbVectors; ++i)
    {
        fetchAll(in_ppVectors[i] + in_uiFirst, values);
        for (std::size_t j = 0; j < N; ++j)
            sums[j] += values[j];
    }
    putAll(io_pSums + in_uiFirst, sums);
}

template <class V, std::size_t N>
[[gnu::always_inline]] inline void addSquaredDeviationsOf(const double* const* in_ppVectors,
                                                          std::size_t in_uiNbVectors, const double* in_pMeans,
                                                          std::size_t in_uiFirst, double* io_pSums)
{
    V means[N];
    V sums[N];
    V values[N];
    fetchAll(in_pMeans + in_uiFirst, means);
    fetchAll(io_pSums + in_uiFirst, sums);
    for (std::size_t i = 0; i < in_uiNbVectors; ++i)
    {
        fetchAll(in_ppVectors[i] + in_uiFirst, values);
        for (std::size_t j = 0; j < N; ++j)
        {
            values[j] -= means[j];
            sums[j] += values[j] * values[j];
        }
    }
    putAll(io_pSums + in_uiFirst, sums);
}

template <class V>
[[gnu::always_inline]] inline void updateExtremes_i(const double* const* in_ppVectors,
                                                    std::size_t in_uiNbVectors, std::size_t in_uiSize,
                                                    double* io_pMax, double* io_pMin)
{
    std::size_t i = 0;
    for (; i + REGISTERS * WIDTH<V> <= in_uiSize; i += REGISTERS * WIDTH<V>)
        updateExtremesOf<V, REGISTERS>(in_ppVectors, in_uiNbVectors, i, io_pMax, io_pMin);
    for (; i + WIDTH<V> <= in_uiSize; i += WIDTH<V>)
        updateExtremesOf<V, 1>(in_ppVectors, in_uiNbVectors, i, io_pMax, io_pMin);
    for (; i < in_uiSize; ++i)
        updateExtremesOf<double, 1>(in_ppVectors, in_uiNbVectors, i, io_pMax, io_pMin);
}

template <class V>
[[gnu::always_inline]] inline void add_i(const double* const* in_ppVectors, std::size_t in_uiNbVectors,
                                         std::size_t in_uiSize, double* io_pSums)
{
    std::size_t i = 0;
    for (; i + REGISTERS * WIDTH<V> <= in_uiSize; i += REGISTERS * WIDTH<V>)
        addOf<V, REGISTERS>(in_ppVectors, in_uiNbVectors, i, io_pSums);
    for (; i + WIDTH<V> <= in_uiSize; i += WIDTH<V>)
        addOf<V, 1>(in_ppVectors, in_uiNbVectors, i, io_pSums);
    for (; i < in_uiSize; ++i)
        addOf<double, 1>(in_ppVectors, in_uiNbVectors, i, io_pSums);
}

template <class V>
[[gnu::always_inline]] inline void addSquaredDeviations_i(const double* const* in_ppVectors,
                                                          std::size_t in_uiNbVectors, const double* in_pMeans,
                                                          std::size_t in_uiSize, double* io_pSums)
{
    std::size_t i = 0;
    for (; i + REGISTERS * WIDTH<V> <= in_uiSize; i += REGISTERS * WIDTH<V>)
        addSquaredDeviationsOf<V, REGISTERS>(in_ppVectors, in_uiNbVectors, in_pMeans, i, io_pSums);
    for (; i + WIDTH<V> <= in_uiSize; i += WIDTH<V>)
        addSquaredDeviationsOf<V, 1>(in_ppVectors, in_uiNbVectors, in_pMeans, i, io_pSums);
    for (; i < in_uiSize; ++i)
        addSquaredDeviationsOf<double, 1>(in_ppVectors, in_uiNbVectors, in_pMeans, i, io_pSums);
}

// The wide variants, as functions of their own: an instruction set belongs to a function.

QC_WIDE void updateExtremesWide(const double* const* in_ppVectors, std::size_t in_uiNbVectors,
                                std::size_t in_uiSize, double* io_pMax, double* io_pMin)
{
    updateExtremes_i<Four>(in_ppVectors, in_uiNbVectors, in_uiSize, io_pMax, io_pMin);
}

QC_WIDE void addWide(const double* const* in_ppVectors, std::size_t in_uiNbVectors, std::size_t in_uiSize,
                     double* io_pSums)
{
    add_i<Four>(in_ppVectors, in_uiNbVectors, in_uiSize, io_pSums);
}

QC_WIDE void addSquaredDeviationsWide(const double* const* in_ppVectors, std::size_t in_uiNbVectors,
                                      const double* in_pMeans, std::size_t in_uiSize, double* io_pSums)
{
    addSquaredDeviations_i<Four>(in_ppVectors, in_uiNbVectors, in_pMeans, in_uiSize, io_pSums);
}

} // namespace

void updateExtremes(const double* const* in_ppVectors, std::size_t in_uiNbVectors, std::size_t in_uiSize,
                    double* io_pMax, double* io_pMin)
{
    if (Lanes::isWide())
        updateExtremesWide(in_ppVectors, in_uiNbVectors, in_uiSize, io_pMax, io_pMin);
    else
        updateExtremes_i<Two>(in_ppVectors, in_uiNbVectors, in_uiSize, io_pMax, io_pMin);
}

void add(const double* const* in_ppVectors, std::size_t in_uiNbVectors, std::size_t in_uiSize,
         double* io_pSums)
{
    if (Lanes::isWide())
        addWide(in_ppVectors, in_uiNbVectors, in_uiSize, io_pSums);
    else
        add_i<Two>(in_ppVectors, in_uiNbVectors, in_uiSize, io_pSums);
}

void addSquaredDeviations(const double* const* in_ppVectors, std::size_t in_uiNbVectors,
                          const double* in_pMeans, std::size_t in_uiSize, double* io_pSums)
{
    if (Lanes::isWide())
        addSquaredDeviationsWide(in_ppVectors, in_uiNbVectors, in_pMeans, in_uiSize, io_pSums);
    else
        addSquaredDeviations_i<Two>(in_ppVectors, in_uiNbVectors, in_pMeans, in_uiSize, io_pSums);
}

} // namespace Vexalor::VectorKernels
