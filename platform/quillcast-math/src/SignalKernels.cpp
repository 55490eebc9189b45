#include "quillcast-math/SignalKernels.h"

#include "VectorLanes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Vexalor::SignalKernels
{

namespace
{

using Lanes::Eight;
using Lanes::Four;
using Lanes::Two;
using Lanes::WIDTH;

template <class V>
[[gnu::always_inline]] inline double sumOfSquares_i(const double* in_pValues, std::size_t in_uiSize)
{
    constexpr std::size_t NB_LANES = 8;
    V sums[NB_LANES / WIDTH<V>] = {};
    std::size_t i = 0;
    for (; i + NB_LANES <= in_uiSize; i += NB_LANES)
        for (std::size_t j = 0; j < NB_LANES / WIDTH<V>; ++j)
        {
            V values;
            Lanes::fetch(in_pValues + i + j * WIDTH<V>, values);
            sums[j] += values * values;
        }
    double s[NB_LANES];
    for (std::size_t j = 0; j < NB_LANES / WIDTH<V>; ++j)
        Lanes::put(s + j * WIDTH<V>, sums[j]);
    for (std::size_t j = 0; i < in_uiSize; ++i, ++j)
        s[j] += in_pValues[i] * in_pValues[i];
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

template <class V>
[[gnu::always_inline]] inline std::size_t countZeroCrossings_i(const double* in_pValues,
                                                               std::size_t in_uiSize)
{
    typedef typename Lanes::Bits<V>::Type BitsOfV;
    std::size_t uiCount = 0;
    std::size_t i = 1;
    BitsOfV counts{};
    for (; i + WIDTH<V> <= in_uiSize; i += WIDTH<V>)
    {
        V before;
        V here;
        Lanes::fetch(in_pValues + i - 1, before);
        Lanes::fetch(in_pValues + i, here);
        // A true comparison is all bits set: minus one.
        counts -= (BitsOfV)((before >= 0.0) ^ (here >= 0.0));
    }
    for (std::size_t j = 0; j < WIDTH<V>; ++j)
        uiCount += counts[j];
    for (; i < in_uiSize; ++i)
        uiCount += (in_pValues[i - 1] >= 0.0) != (in_pValues[i] >= 0.0) ? 1 : 0;
    return uiCount;
}

template <class V>
[[gnu::always_inline]] inline void emphasiseAndTaper_i(const double* in_pValues, const double* in_pTaper,
                                                       std::size_t in_uiSize, double in_dCoefficient,
                                                       double* out_pValues)
{
    if (in_uiSize == 0)
        return;
    out_pValues[0] = (in_pValues[0] - in_dCoefficient * in_pValues[0]) * in_pTaper[0];
    std::size_t i = 1;
    for (; i + WIDTH<V> <= in_uiSize; i += WIDTH<V>)
    {
        V before;
        V here;
        V taper;
        Lanes::fetch(in_pValues + i - 1, before);
        Lanes::fetch(in_pValues + i, here);
        Lanes::fetch(in_pTaper + i, taper);
        const V result = (here - in_dCoefficient * before) * taper;
        Lanes::put(out_pValues + i, result);
    }
    for (; i < in_uiSize; ++i)
        out_pValues[i] = (in_pValues[i] - in_dCoefficient * in_pValues[i - 1]) * in_pTaper[i];
}

template <class V>
[[gnu::always_inline]] inline void addRow(double in_dValue, const double* in_pRow,
                                          V (&io_sums)[16 / WIDTH<V>])
{
    for (std::size_t j = 0; j < 16 / WIDTH<V>; ++j)
    {
        V row;
        Lanes::fetch(in_pRow + j * WIDTH<V>, row);
        io_sums[j] += in_dValue * row;
    }
}

template <class V>
[[gnu::always_inline]] inline void multiply_i(const double* in_pVector, const double* in_pMatrix,
                                              std::size_t in_uiRows, std::size_t in_uiColumns,
                                              double* out_pProduct)
{
    const std::size_t uiPitch = paddedColumns(in_uiColumns);
    for (std::size_t uiColumn = 0; uiColumn < uiPitch; uiColumn += 16)
    {
        const double* pRow = in_pMatrix + uiColumn;
        V even[16 / WIDTH<V>] = {};
        V odd[16 / WIDTH<V>] = {};
        std::size_t i = 0;
        for (; i + 2 <= in_uiRows; i += 2, pRow += 2 * uiPitch)
        {
            addRow<V>(in_pVector[i], pRow, even);
            addRow<V>(in_pVector[i + 1], pRow + uiPitch, odd);
        }
        if (i < in_uiRows)
            addRow<V>(in_pVector[i], pRow, even);
        for (std::size_t j = 0; j < 16 / WIDTH<V>; ++j)
        {
            const V sum = even[j] + odd[j];
            Lanes::put(out_pProduct + uiColumn + j * WIDTH<V>, sum);
        }
    }
}

template <class V>
[[gnu::always_inline]] inline double weightedSum_i(const double* in_pValues, const double* in_pWeights,
                                                   std::size_t in_uiSize)
{
    V sums[4 / WIDTH<V>] = {};
    for (std::size_t i = 0; i < in_uiSize; i += 4)
        for (std::size_t j = 0; j < 4 / WIDTH<V>; ++j)
        {
            V values;
            V weights;
            Lanes::fetch(in_pValues + i + j * WIDTH<V>, values);
            Lanes::fetch(in_pWeights + i + j * WIDTH<V>, weights);
            sums[j] += weights * values;
        }
    double s[4];
    for (std::size_t j = 0; j < 4 / WIDTH<V>; ++j)
        Lanes::put(s + j * WIDTH<V>, sums[j]);
    return (s[0] + s[2]) + (s[1] + s[3]);
}

/// x = 2^e m with m in [sqrt(1/2), sqrt(2)); ln m = 2 atanh s = 2 (s + s^3/3 + s^5/5 + ...), s = (m - 1) / (m
/// + 1). With |s| < 0.172 the terms that are left out stay below 2^-60.
template <class V>
[[gnu::always_inline]] inline void logarithm(V& io_values)
{
    typedef typename Lanes::Bits<V>::Type BitsOfV;
    constexpr unsigned long ONE = 0x3ff0000000000000;       // bits of 1.0
    constexpr unsigned long ROOT_HALF = 0x3fe6a09e667f3bcd; // bits of sqrt(1/2)
    constexpr unsigned long FRACTION = 0x000fffffffffffff;
    constexpr unsigned long TWO_52 =
        0x4330000000000000;                         // bits of 2^52: a small integer in its place is 2^52 + it
    constexpr double LN2_HIGH = 0x1.62e42fefa38p-1; // 42 bits, so that its product with e is exact
    constexpr double LN2_LOW = 0x1.ef35793c7673p-45;

    const BitsOfV shifted = (BitsOfV)io_values + (ONE - ROOT_HALF);
    const V m = (V)((shifted & FRACTION) + ROOT_HALF);
    const V e = (V)((shifted >> 52) | TWO_52) - (0x1p52 + 1023.0);
    const V s = (m - 1.0) / (m + 1.0);
    const V z = s * s;
    V series = z * (1.0 / 21) + 1.0 / 19;
    series = series * z + 1.0 / 17;
    series = series * z + 1.0 / 15;
    series = series * z + 1.0 / 13;
    series = series * z + 1.0 / 11;
    series = series * z + 1.0 / 9;
    series = series * z + 1.0 / 7;
    series = series * z + 1.0 / 5;
    series = series * z + 1.0 / 3;
    const V result = e * LN2_HIGH + (2.0 * s + (2.0 * s * z * series + e * LN2_LOW));
    // Infinity and nan have no exponent of that kind.
    io_values = io_values <= std::numeric_limits<double>::max() ? result : io_values;
}

template <class V>
[[gnu::always_inline]] inline void naturalLogarithms_i(double* io_pValues, std::size_t in_uiSize)
{
    V values;
    std::size_t i = 0;
    for (; i + WIDTH<V> <= in_uiSize; i += WIDTH<V>)
    {
        Lanes::fetch(io_pValues + i, values);
        logarithm(values);
        Lanes::put(io_pValues + i, values);
    }
    if (i == in_uiSize)
        return;
    double rest[WIDTH<V>];
    std::fill_n(rest, WIDTH<V>, 1.0);
    std::copy(io_pValues + i, io_pValues + in_uiSize, rest);
    Lanes::fetch(rest, values);
    logarithm(values);
    Lanes::put(rest, values);
    std::copy_n(rest, in_uiSize - i, io_pValues + i);
}

// The wide variants, as functions of their own: an instruction set belongs to a function.

QC_WIDE double sumOfSquaresWide(const double* in_pValues, std::size_t in_uiSize)
{
    return sumOfSquares_i<Four>(in_pValues, in_uiSize);
}

QC_WIDE std::size_t countZeroCrossingsWide(const double* in_pValues, std::size_t in_uiSize)
{
    return countZeroCrossings_i<Four>(in_pValues, in_uiSize);
}

QC_WIDE void emphasiseAndTaperWide(const double* in_pValues, const double* in_pTaper, std::size_t in_uiSize,
                                   double in_dCoefficient, double* out_pValues)
{
    emphasiseAndTaper_i<Four>(in_pValues, in_pTaper, in_uiSize, in_dCoefficient, out_pValues);
}

QC_WIDE void multiplyWide(const double* in_pVector, const double* in_pMatrix, std::size_t in_uiRows,
                          std::size_t in_uiColumns, double* out_pProduct)
{
    multiply_i<Four>(in_pVector, in_pMatrix, in_uiRows, in_uiColumns, out_pProduct);
}

QC_WIDEST void multiplyWidest(const double* in_pVector, const double* in_pMatrix, std::size_t in_uiRows,
                              std::size_t in_uiColumns, double* out_pProduct)
{
    multiply_i<Eight>(in_pVector, in_pMatrix, in_uiRows, in_uiColumns, out_pProduct);
}

QC_WIDE double weightedSumWide(const double* in_pValues, const double* in_pWeights, std::size_t in_uiSize)
{
    return weightedSum_i<Four>(in_pValues, in_pWeights, in_uiSize);
}

QC_WIDE void naturalLogarithmsWide(double* io_pValues, std::size_t in_uiSize)
{
    naturalLogarithms_i<Four>(io_pValues, in_uiSize);
}

} // namespace

double sumOfSquares(const double* in_pValues, std::size_t in_uiSize)
{
    return Lanes::isWide() ? sumOfSquaresWide(in_pValues, in_uiSize)
                           : sumOfSquares_i<Two>(in_pValues, in_uiSize);
}

std::size_t countZeroCrossings(const double* in_pValues, std::size_t in_uiSize)
{
    return Lanes::isWide() ? countZeroCrossingsWide(in_pValues, in_uiSize)
                           : countZeroCrossings_i<Two>(in_pValues, in_uiSize);
}

void emphasiseAndTaper(const double* in_pValues, const double* in_pTaper, std::size_t in_uiSize,
                       double in_dCoefficient, double* out_pValues)
{
    if (Lanes::isWide())
        emphasiseAndTaperWide(in_pValues, in_pTaper, in_uiSize, in_dCoefficient, out_pValues);
    else
        emphasiseAndTaper_i<Two>(in_pValues, in_pTaper, in_uiSize, in_dCoefficient, out_pValues);
}

void multiply(const double* in_pVector, const double* in_pMatrix, std::size_t in_uiRows,
              std::size_t in_uiColumns, double* out_pProduct)
{
    if (Lanes::getRegisters() == Lanes::Registers::WIDEST)
        multiplyWidest(in_pVector, in_pMatrix, in_uiRows, in_uiColumns, out_pProduct);
    else if (Lanes::isWide())
        multiplyWide(in_pVector, in_pMatrix, in_uiRows, in_uiColumns, out_pProduct);
    else
        multiply_i<Two>(in_pVector, in_pMatrix, in_uiRows, in_uiColumns, out_pProduct);
}

double weightedSum(const double* in_pValues, const double* in_pWeights, std::size_t in_uiSize)
{
    return Lanes::isWide() ? weightedSumWide(in_pValues, in_pWeights, in_uiSize)
                           : weightedSum_i<Two>(in_pValues, in_pWeights, in_uiSize);
}

void naturalLogarithms(double* io_pValues, std::size_t in_uiSize)
{
    if (Lanes::isWide())
        naturalLogarithmsWide(io_pValues, in_uiSize);
    else
        naturalLogarithms_i<Two>(io_pValues, in_uiSize);
}

} // namespace Vexalor::SignalKernels
