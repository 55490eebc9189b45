#pragma once

#include <cstddef>

/// The inner loops of features, over samples in memory, for whoever computes with windows: feature computers,
/// signal features, expressions. Nothing here allocates, logs or fails; nan and infinity pass through.
///
/// Every operation and every order of summation is fixed as stated, so that results are the same bits on
/// every machine.
namespace Vexalor::SignalKernels
{

/// Sum of the squared values. Value i is added to partial sum i mod 8; these are then added as
/// ((s0 + s4) + (s2 + s6)) + ((s1 + s5) + (s3 + s7)).
double sumOfSquares(const double* in_pValues, std::size_t in_uiSize);

/// How many pairs of neighbours differ in sign, where zero (of either sign) is positive and nan negative.
std::size_t countZeroCrossings(const double* in_pValues, std::size_t in_uiSize);

/// out[n] = (x[n] - c x[n-1]) w[n], where x[-1] is taken as x[0]. out may not overlap the others.
void emphasiseAndTaper(const double* in_pValues, const double* in_pTaper, std::size_t in_uiSize,
                       double in_dCoefficient, double* out_pValues);

/// Columns of a row in memory for multiply.
constexpr std::size_t paddedColumns(std::size_t in_uiColumns)
{
    return (in_uiColumns + 15) / 16 * 16;
}

/// Row vector times matrix. The matrix has in_uiRows rows of paddedColumns values, and as many values come
/// out; the padding is whatever the matrix has there. Rows of even number are summed in order, so are those
/// of odd number, and the two sums are added.
void multiply(const double* in_pVector, const double* in_pMatrix, std::size_t in_uiRows,
              std::size_t in_uiColumns, double* out_pProduct);

/// Sum of w[i] x[i]; in_uiSize is a multiple of 4. Term i is added to partial sum i mod 4; these are then
/// added as (s0 + s2) + (s1 + s3).
double weightedSum(const double* in_pValues, const double* in_pWeights, std::size_t in_uiSize);

/// Replaces each value by its natural logarithm: off by at most 2 units in the last place. For positive
/// normal numbers, infinity and nan; other values give no meaningful result.
void naturalLogarithms(double* io_pValues, std::size_t in_uiSize);

} // namespace Vexalor::SignalKernels
