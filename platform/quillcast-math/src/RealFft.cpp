#include "quillcast-math/RealFft.h"

#include "VectorLanes.h"
#include "quillcast-core/Assertion.h"

#include <bit>
#include <cmath>
#include <numbers>
#include <utility>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.RealFft");

using Lanes::WIDTH;

/// A complex vector as two arrays.
struct Split
{
    double* m_pReal;
    double* m_pImaginary;
};

/// The same, read only.
struct ConstSplit
{
    ConstSplit(const double* in_pReal, const double* in_pImaginary)
        : m_pReal(in_pReal)
        , m_pImaginary(in_pImaginary)
    {
    }
    ConstSplit(const Split& in_other)
        : ConstSplit(in_other.m_pReal, in_other.m_pImaginary)
    {
    }

    const double* m_pReal;
    const double* m_pImaginary;
};

template <class V>
struct Complex
{
    V m_real;
    V m_imaginary;
};

template <class V>
[[gnu::always_inline]] inline void load(const ConstSplit& in_vector, std::size_t in_uiIndex,
                                        Complex<V>& out_value)
{
    Lanes::fetch(in_vector.m_pReal + in_uiIndex, out_value.m_real);
    Lanes::fetch(in_vector.m_pImaginary + in_uiIndex, out_value.m_imaginary);
}

template <class V>
[[gnu::always_inline]] inline void store(const Split& in_vector, std::size_t in_uiIndex,
                                         const Complex<V>& in_value)
{
    Lanes::put(in_vector.m_pReal + in_uiIndex, in_value.m_real);
    Lanes::put(in_vector.m_pImaginary + in_uiIndex, in_value.m_imaginary);
}

/// Multiplies by cos - i sin.
template <class V, class T>
[[gnu::always_inline]] inline void turn(Complex<V>& io_value, const T& in_cos, const T& in_sin)
{
    io_value = {io_value.m_real * in_cos + io_value.m_imaginary * in_sin,
                io_value.m_imaginary * in_cos - io_value.m_real * in_sin};
}

/// Transform of four points, in place and in order.
template <class V>
[[gnu::always_inline]] inline void butterfly(Complex<V> (&io_v)[4])
{
    const Complex<V> sumEven{io_v[0].m_real + io_v[2].m_real, io_v[0].m_imaginary + io_v[2].m_imaginary};
    const Complex<V> diffEven{io_v[0].m_real - io_v[2].m_real, io_v[0].m_imaginary - io_v[2].m_imaginary};
    const Complex<V> sumOdd{io_v[1].m_real + io_v[3].m_real, io_v[1].m_imaginary + io_v[3].m_imaginary};
    const Complex<V> diffOdd{io_v[1].m_real - io_v[3].m_real, io_v[1].m_imaginary - io_v[3].m_imaginary};
    io_v[0] = {sumEven.m_real + sumOdd.m_real, sumEven.m_imaginary + sumOdd.m_imaginary};
    io_v[1] = {diffEven.m_real + diffOdd.m_imaginary, diffEven.m_imaginary - diffOdd.m_real};
    io_v[2] = {sumEven.m_real - sumOdd.m_real, sumEven.m_imaginary - sumOdd.m_imaginary};
    io_v[3] = {diffEven.m_real - diffOdd.m_imaginary, diffEven.m_imaginary + diffOdd.m_real};
}

/// The first stage, where neighbouring butterflies lie side by side in the input only.
template <class V>
[[gnu::always_inline]] inline void firstStage(const Split& in_source, const Split& out_target,
                                              std::size_t in_uiQuarter, const double* in_pTwiddles)
{
    const std::size_t m = in_uiQuarter;
    for (std::size_t p = 0; p < m; p += WIDTH<V>)
    {
        Complex<V> v[4];
        for (std::size_t k = 0; k < 4; ++k)
            load(in_source, p + k * m, v[k]);
        butterfly(v);
        for (std::size_t k = 1; k < 4; ++k)
        {
            Complex<V> factor;
            load({in_pTwiddles + (2 * k - 2) * m, in_pTwiddles + (2 * k - 1) * m}, p, factor);
            turn(v[k], factor.m_real, factor.m_imaginary);
        }
        Lanes::zip(v[0].m_real, v[1].m_real, v[2].m_real, v[3].m_real);
        Lanes::zip(v[0].m_imaginary, v[1].m_imaginary, v[2].m_imaginary, v[3].m_imaginary);
        for (std::size_t k = 0; k < 4; ++k)
            store(out_target, 4 * p + k * WIDTH<V>, v[k]);
    }
}

/// A later stage: in_uiStride butterflies, a multiple of four, share each twiddle factor.
template <class V>
[[gnu::always_inline]] inline void laterStage(const Split& in_source, const Split& out_target,
                                              std::size_t in_uiQuarter, std::size_t in_uiStride,
                                              const double* in_pTwiddles)
{
    const std::size_t m = in_uiQuarter;
    const std::size_t s = in_uiStride;
    for (std::size_t p = 0; p < m; ++p)
        for (std::size_t q = 0; q < s; q += WIDTH<V>)
        {
            Complex<V> v[4];
            for (std::size_t k = 0; k < 4; ++k)
                load(in_source, q + s * (p + k * m), v[k]);
            butterfly(v);
            for (std::size_t k = 1; k < 4; ++k)
                turn(v[k], in_pTwiddles[(2 * k - 2) * m + p], in_pTwiddles[(2 * k - 1) * m + p]);
            for (std::size_t k = 0; k < 4; ++k)
                store(out_target, q + s * (4 * p + k), v[k]);
        }
}

/// The last stage of a length that is no power of four.
template <class V>
[[gnu::always_inline]] inline void pairStage(const Split& in_source, const Split& out_target,
                                             std::size_t in_uiStride)
{
    for (std::size_t q = 0; q < in_uiStride; q += WIDTH<V>)
    {
        Complex<V> a;
        Complex<V> b;
        load(in_source, q, a);
        load(in_source, q + in_uiStride, b);
        store(out_target, q, Complex<V>{a.m_real + b.m_real, a.m_imaginary + b.m_imaginary});
        store(out_target, q + in_uiStride, Complex<V>{a.m_real - b.m_real, a.m_imaginary - b.m_imaginary});
    }
}

/// Transform of in_uiLength complex values in in_source; returns which of the two vectors holds the result.
template <class V>
[[gnu::always_inline]] inline Split transformComplex(Split in_source, Split in_other, std::size_t in_uiLength,
                                                     const double* in_pTwiddles)
{
    std::size_t uiStride = 1;
    for (std::size_t uiLength = in_uiLength; uiLength > 1; uiLength /= 4, uiStride *= 4)
    {
        const std::size_t uiQuarter = uiLength / 4;
        if (uiLength == 2 && uiStride == 1)
            pairStage<double>(in_source, in_other, uiStride);
        else if (uiLength == 2)
            pairStage<V>(in_source, in_other, uiStride);
        else if (uiStride > 1)
            laterStage<V>(in_source, in_other, uiQuarter, uiStride, in_pTwiddles);
        else if (uiQuarter % WIDTH<V> == 0)
            firstStage<V>(in_source, in_other, uiQuarter, in_pTwiddles);
        else
            firstStage<double>(in_source, in_other, uiQuarter, in_pTwiddles);
        in_pTwiddles += 6 * uiQuarter;
        std::swap(in_source, in_other);
    }
    return in_source;
}

/// Even values become real parts, odd values imaginary parts; returns how many of each were done.
template <class V>
[[gnu::always_inline]] inline std::size_t pack(const double* in_pValues, const Split& out_vector,
                                               std::size_t in_uiFirst, std::size_t in_uiLength)
{
    std::size_t n = in_uiFirst;
    for (; n + WIDTH<V> <= in_uiLength; n += WIDTH<V>)
    {
        Complex<V> pair;
        load({in_pValues, in_pValues + WIDTH<V>}, 2 * n, pair);
        Lanes::unzip(pair.m_real, pair.m_imaginary);
        store(out_vector, n, pair);
    }
    return n;
}

/// From Z[k] and Z[M - k] of the packed sequence: X[k] and the conjugate of X[M - k] of the real one.
template <class V>
[[gnu::always_inline]] inline void split(Complex<V>& io_low, Complex<V>& io_high, const V& in_cos,
                                         const V& in_sin)
{
    const Complex<V> even{0.5 * (io_low.m_real + io_high.m_real),
                          0.5 * (io_low.m_imaginary - io_high.m_imaginary)};
    Complex<V> odd{0.5 * (io_low.m_imaginary + io_high.m_imaginary), 0.5 * (io_high.m_real - io_low.m_real)};
    turn(odd, in_cos, in_sin);
    io_low = {even.m_real + odd.m_real, even.m_imaginary + odd.m_imaginary};
    io_high = {even.m_real - odd.m_real, even.m_imaginary - odd.m_imaginary};
}

/// Receives the spectrum as real and imaginary parts.
struct SpectrumSink
{
    Split m_spectrum;

    template <class V>
    [[gnu::always_inline]] void put(std::size_t in_uiIndex, const Complex<V>& in_value) const
    {
        store(m_spectrum, in_uiIndex, in_value);
    }

    template <class V>
    [[gnu::always_inline]] void putConjugate(std::size_t in_uiIndex, Complex<V>& io_value) const
    {
        Lanes::reverse(io_value.m_real);
        Lanes::reverse(io_value.m_imaginary);
        store(m_spectrum, in_uiIndex, Complex<V>{io_value.m_real, -io_value.m_imaginary});
    }
};

/// Receives it as squared magnitudes.
struct PowerSink
{
    double* m_pPower;

    template <class V>
    [[gnu::always_inline]] void put(std::size_t in_uiIndex, const Complex<V>& in_value) const
    {
        const V power = in_value.m_real * in_value.m_real + in_value.m_imaginary * in_value.m_imaginary;
        Lanes::put(m_pPower + in_uiIndex, power);
    }

    template <class V>
    [[gnu::always_inline]] void putConjugate(std::size_t in_uiIndex, Complex<V>& io_value) const
    {
        V power = io_value.m_real * io_value.m_real + io_value.m_imaginary * io_value.m_imaginary;
        Lanes::reverse(power);
        Lanes::put(m_pPower + in_uiIndex, power);
    }
};

/// Splits the bins k in [in_uiFirst, in_uiLength/2) and their mirror images, a vector at a time; returns the
/// first k left over.
template <class V, class Sink>
[[gnu::always_inline]] inline std::size_t splitBins(const Split& in_packed, std::size_t in_uiFirst,
                                                    std::size_t in_uiLength, const double* in_pSplit,
                                                    const Sink& in_sink)
{
    std::size_t k = in_uiFirst;
    for (; k + WIDTH<V> <= in_uiLength / 2; k += WIDTH<V>)
    {
        const std::size_t uiMirror = in_uiLength - k - (WIDTH<V> - 1);
        Complex<V> low;
        Complex<V> high;
        load(in_packed, k, low);
        load(in_packed, uiMirror, high);
        Lanes::reverse(high.m_real);
        Lanes::reverse(high.m_imaginary);
        Complex<V> factor;
        load({in_pSplit, in_pSplit + in_uiLength}, k, factor);
        split(low, high, factor.m_real, factor.m_imaginary);
        in_sink.put(k, low);
        in_sink.putConjugate(uiMirror, high);
    }
    return k;
}

/// The tables and buffers of a transform.
struct Plan
{
    std::size_t m_uiSize;
    const double* m_pTwiddles;
    const double* m_pSplit;
    double* m_pWork;
};

template <class V, class Sink>
[[gnu::always_inline]] inline void transformReal(const Plan& in_plan, const double* in_pValues,
                                                 const Sink& in_sink)
{
    const std::size_t uiLength = in_plan.m_uiSize / 2;
    const Split first{in_plan.m_pWork, in_plan.m_pWork + uiLength};
    const Split second{in_plan.m_pWork + 2 * uiLength, in_plan.m_pWork + 3 * uiLength};
    pack<double>(in_pValues, first, pack<V>(in_pValues, first, 0, uiLength), uiLength);
    const Split packed = transformComplex<V>(first, second, uiLength, in_plan.m_pTwiddles);
    const double dReal = packed.m_pReal[0];
    const double dImaginary = packed.m_pImaginary[0];
    in_sink.put(0, Complex<double>{dReal + dImaginary, 0.0});
    in_sink.put(uiLength, Complex<double>{dReal - dImaginary, 0.0});
    const std::size_t k = splitBins<V>(packed, 1, uiLength, in_plan.m_pSplit, in_sink);
    splitBins<double>(packed, k, uiLength, in_plan.m_pSplit, in_sink);
    if (uiLength >= 2)
        in_sink.put(uiLength / 2,
                    Complex<double>{packed.m_pReal[uiLength / 2], -packed.m_pImaginary[uiLength / 2]});
}

template <class Sink>
void transformNarrow(const Plan& in_plan, const double* in_pValues, const Sink& in_sink)
{
    transformReal<Lanes::Two>(in_plan, in_pValues, in_sink);
}

template <class Sink>
QC_WIDE void transformWide(const Plan& in_plan, const double* in_pValues, const Sink& in_sink)
{
    transformReal<Lanes::Four>(in_plan, in_pValues, in_sink);
}

template <class Sink>
void transformBest(const Plan& in_plan, const double* in_pValues, const Sink& in_sink)
{
    if (Lanes::isWide())
        transformWide(in_plan, in_pValues, in_sink);
    else
        transformNarrow(in_plan, in_pValues, in_sink);
}

/// Appends cos and sin of 2 pi k j / in_uiLength for j in [0, in_uiCount). Computed in extended precision,
/// since the double functions of the C library differ in the last bit between processors.
void appendAngles(std::vector<double>& io_vTable, std::size_t in_uiFactor, std::size_t in_uiLength,
                  std::size_t in_uiCount)
{
    const long double dStep = 2 * std::numbers::pi_v<long double> / static_cast<long double>(in_uiLength);
    for (std::size_t j = 0; j < in_uiCount; ++j)
        io_vTable.push_back(static_cast<double>(std::cos(dStep * static_cast<long double>(in_uiFactor * j))));
    for (std::size_t j = 0; j < in_uiCount; ++j)
        io_vTable.push_back(static_cast<double>(std::sin(dStep * static_cast<long double>(in_uiFactor * j))));
}

} // namespace

bool RealFft::setSize(std::size_t in_uiSize)
{
    QC_TRACE("RealFft::setSize");
    if (!QC_CHECK(std::has_single_bit(in_uiSize) && in_uiSize >= 2 && in_uiSize <= MAX_SIZE))
        return false;
    if (in_uiSize == m_uiSize)
        return true;
    m_uiSize = in_uiSize;
    m_vTwiddles.clear();
    for (std::size_t uiLength = in_uiSize / 2; uiLength >= 4; uiLength /= 4)
        for (std::size_t uiFactor = 1; uiFactor < 4; ++uiFactor)
            appendAngles(m_vTwiddles, uiFactor, uiLength, uiLength / 4);
    m_vSplit.clear();
    appendAngles(m_vSplit, 1, in_uiSize, in_uiSize / 2);
    m_vWork.assign(2 * in_uiSize, 0.0);
    return true;
}

void RealFft::transform(const double* in_pValues, double* out_pReal, double* out_pImaginary)
{
    const Plan plan{m_uiSize, m_vTwiddles.data(), m_vSplit.data(), m_vWork.data()};
    transformBest(plan, in_pValues, SpectrumSink{{out_pReal, out_pImaginary}});
}

void RealFft::powerSpectrum(const double* in_pValues, double* out_pPower)
{
    powerSpectrum(in_pValues, out_pPower, m_vWork.data());
}

void RealFft::powerSpectrum(const double* in_pValues, double* out_pPower, double* out_pWork) const
{
    const Plan plan{m_uiSize, m_vTwiddles.data(), m_vSplit.data(), out_pWork};
    transformBest(plan, in_pValues, PowerSink{out_pPower});
}

} // namespace Vexalor
