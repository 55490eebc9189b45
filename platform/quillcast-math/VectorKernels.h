#pragma once

#include <cstddef>

/// The inner loops of statistics of many vectors, over their components. Nothing here allocates, logs or
/// fails; the arguments do not overlap.
///
/// A component has nothing to do with its neighbours; the vectors are taken one after the other, and each
/// result is rounded as the formula says. So results are the same bits on every machine, and the same for a
/// few calls with many vectors as for many calls with one.
namespace Vexalor::VectorKernels
{

/// For each vector x: max[i] = x[i] if that is greater, min[i] = x[i] if that is less; nan is neither.
void updateExtremes(const double* const* in_ppVectors, std::size_t in_uiNbVectors, std::size_t in_uiSize,
                    double* io_pMax, double* io_pMin);

/// For each vector x: sum[i] += x[i]
void add(const double* const* in_ppVectors, std::size_t in_uiNbVectors, std::size_t in_uiSize,
         double* io_pSums);

/// For each vector x: sum[i] += (x[i] - mean[i])^2
void addSquaredDeviations(const double* const* in_ppVectors, std::size_t in_uiNbVectors,
                          const double* in_pMeans, std::size_t in_uiSize, double* io_pSums);

} // namespace Vexalor::VectorKernels
