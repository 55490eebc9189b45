#include "inspect/ExactSum.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr int MANTISSA = 52;

/// A finite number as a whole one: m_iMantissa 2^m_uiPlace units.
struct Whole
{
    explicit Whole(double in_dValue)
    {
        constexpr std::uint64_t EXPONENTS = 0x7ff;
        constexpr std::uint64_t HIDDEN = std::uint64_t(1) << MANTISSA;
        const auto uiBits = std::bit_cast<std::uint64_t>(in_dValue);
        const std::uint64_t uiExponent = (uiBits >> MANTISSA) & EXPONENTS;
        const auto iMagnitude =
            static_cast<std::int64_t>((uiBits & (HIDDEN - 1)) | (uiExponent == 0 ? 0 : HIDDEN));
        m_iMantissa = in_dValue < 0.0 ? -iMagnitude : iMagnitude;
        m_uiPlace = uiExponent == 0 ? 0 : uiExponent - 1;
    }

    std::int64_t m_iMantissa = 0;
    std::size_t m_uiPlace = 0;
};

/// A natural number, the lowest digit first.
using Digits = std::vector<std::uint32_t>;

constexpr int DIGIT = 32;
/// The least number is 2 to the power of this one.
constexpr int LEAST = -1074;

Digits multiply(const Digits& in_vLeft, const Digits& in_vRight)
{
    Digits vProduct(in_vLeft.size() + in_vRight.size());
    for (std::size_t i = 0; i < in_vLeft.size(); ++i)
    {
        std::uint64_t uiCarry = 0;
        for (std::size_t j = 0; j < in_vRight.size(); ++j)
        {
            uiCarry += std::uint64_t{in_vLeft[i]} * in_vRight[j] + vProduct[i + j];
            vProduct[i + j] = static_cast<std::uint32_t>(uiCarry);
            uiCarry >>= DIGIT;
        }
        vProduct[i + in_vRight.size()] = static_cast<std::uint32_t>(uiCarry);
    }
    return vProduct;
}

/// 0 where that would be negative.
Digits subtract(Digits in_vFrom, const Digits& in_vOther)
{
    in_vFrom.resize(std::max(in_vFrom.size(), in_vOther.size()));
    std::int64_t iCarry = 0;
    for (std::size_t i = 0; i < in_vFrom.size(); ++i)
    {
        iCarry += std::int64_t{in_vFrom[i]} - (i < in_vOther.size() ? in_vOther[i] : 0);
        in_vFrom[i] = static_cast<std::uint32_t>(iCarry);
        iCarry >>= DIGIT;
    }
    return iCarry < 0 ? Digits() : in_vFrom;
}

/// Rounded down.
Digits divide(Digits in_vDigits, std::uint64_t in_uiBy)
{
    unsigned __int128 rest = 0;
    for (std::size_t i = in_vDigits.size(); i > 0; --i)
    {
        rest = (rest << DIGIT) | in_vDigits[i - 1];
        in_vDigits[i - 1] = static_cast<std::uint32_t>(rest / in_uiBy);
        rest %= in_uiBy;
    }
    return in_vDigits;
}

bool isBitSet(const Digits& in_vDigits, std::size_t in_uiBit)
{
    return in_uiBit / DIGIT < in_vDigits.size() &&
           ((in_vDigits[in_uiBit / DIGIT] >> (in_uiBit % DIGIT)) & 1u) != 0;
}

/// The nearest m_dValue 2^m_iPlace: that of the 64 highest bits, of which the lowest stands for those below.
struct Rounded
{
    explicit Rounded(const Digits& in_vDigits)
    {
        constexpr std::size_t BITS = 64;
        std::size_t uiEnd = in_vDigits.size() * DIGIT;
        while (uiEnd > BITS && !isBitSet(in_vDigits, uiEnd - 1))
            --uiEnd;
        const std::size_t uiPlace = uiEnd > BITS ? uiEnd - BITS : 0;
        std::uint64_t uiHighest = 0;
        for (std::size_t i = 0; i < uiEnd; ++i)
            if (isBitSet(in_vDigits, i))
                uiHighest |= std::uint64_t(1) << (i < uiPlace ? 0 : i - uiPlace);
        m_dValue = static_cast<double>(uiHighest);
        m_iPlace = static_cast<int>(uiPlace);
    }

    double m_dValue = 0.0;
    int m_iPlace = 0;
};

} // namespace

/// Those that a value changes, from that one on.
inline std::int64_t* ExactSum::getDigits(std::size_t in_uiFirst)
{
    if (++m_uiPending == MAX_PENDING)
        carry();
    if (in_uiFirst < m_uiFirst || in_uiFirst + DIGITS_OF_VALUE > m_uiFirst + m_vDigits.size())
        cover(in_uiFirst, in_uiFirst + DIGITS_OF_VALUE);
    return m_vDigits.data() + (in_uiFirst - m_uiFirst);
}

// The digits are changed one by one: of pairs that overlap those of the value before, which a compiler would
// make, the processor cannot hand on what it has not stored yet.

[[gnu::optimize("no-tree-slp-vectorize")]] void ExactSum::add(double in_dValue)
{
    const Whole whole(in_dValue);
    const __int128 value = static_cast<__int128>(whole.m_iMantissa) << (whole.m_uiPlace % DIGIT);
    std::int64_t* const pDigits = getDigits(whole.m_uiPlace / DIGIT);
    pDigits[0] += static_cast<std::int64_t>(value) & MASK;
    pDigits[1] += static_cast<std::int64_t>(value >> DIGIT);
}

[[gnu::optimize("no-tree-slp-vectorize")]] void ExactSum::addSquare(double in_dValue)
{
    using Wide = unsigned __int128;
    constexpr int WORD = 64;
    const Whole whole(in_dValue);
    const auto uiMagnitude = static_cast<std::uint64_t>(std::abs(whole.m_iMantissa));
    const Wide square = static_cast<Wide>(uiMagnitude) * uiMagnitude;
    const std::size_t uiShift = 2 * whole.m_uiPlace % DIGIT;
    const Wide low = static_cast<Wide>(static_cast<std::uint64_t>(square)) << uiShift;
    const Wide high = (square >> WORD) << uiShift;
    std::int64_t* const pDigits = getDigits(2 * whole.m_uiPlace / DIGIT);
    pDigits[0] += static_cast<std::int64_t>(low) & MASK;
    pDigits[1] += static_cast<std::int64_t>(low >> DIGIT) & MASK;
    pDigits[2] += static_cast<std::int64_t>(low >> WORD) + (static_cast<std::int64_t>(high) & MASK);
    pDigits[3] += static_cast<std::int64_t>(high >> DIGIT);
}

/// The digits from one place to before another are there.
void ExactSum::cover(std::size_t in_uiFirst, std::size_t in_uiEnd)
{
    if (m_vDigits.empty())
        m_uiFirst = static_cast<std::uint32_t>(in_uiFirst);
    if (in_uiFirst < m_uiFirst)
    {
        m_vDigits.insert(m_vDigits.begin(), m_uiFirst - in_uiFirst, 0);
        m_uiFirst = static_cast<std::uint32_t>(in_uiFirst);
    }
    if (in_uiEnd > m_uiFirst + m_vDigits.size())
        m_vDigits.resize(in_uiEnd - m_uiFirst);
}

/// Each digit but the last one keeps 32 bits.
void ExactSum::carry()
{
    m_uiPending = 0;
    std::int64_t iCarry = 0;
    for (std::int64_t& iDigit : m_vDigits)
    {
        iDigit += iCarry;
        iCarry = iDigit >> DIGIT;
        iDigit &= MASK;
    }
    if (m_vDigits.empty())
        return;
    std::int64_t& iLast = m_vDigits.back();
    iLast += iCarry * (MASK + 1);
    if (iLast == static_cast<std::int32_t>(iLast))
        return;
    iLast &= MASK;
    m_vDigits.push_back(iCarry);
}

/// False for digits that no sum has.
bool ExactSum::takeDigits()
{
    constexpr std::int64_t MOST = std::int64_t(1) << 62;
    if (m_uiFirst > MAX_DIGITS || m_vDigits.size() > MAX_DIGITS ||
        std::any_of(m_vDigits.begin(), m_vDigits.end(),
                    [](std::int64_t in_iDigit) { return in_iDigit > MOST || in_iDigit < -MOST; }))
        return false;
    carry();
    return true;
}

void ExactSum::merge(const ExactSum& in_other)
{
    ExactSum other = in_other;
    other.carry();
    carry();
    cover(other.m_uiFirst, other.m_uiFirst + other.m_vDigits.size());
    for (std::size_t i = 0; i < other.m_vDigits.size(); ++i)
        m_vDigits[other.m_uiFirst - m_uiFirst + i] += other.m_vDigits[i];
    carry();
}

std::vector<std::uint32_t> ExactSum::getMagnitude(bool& out_bNegative) const
{
    ExactSum sum = *this;
    sum.carry();
    out_bNegative = !sum.m_vDigits.empty() && sum.m_vDigits.back() < 0;
    if (out_bNegative)
    {
        for (std::int64_t& iDigit : sum.m_vDigits)
            iDigit = -iDigit;
        sum.carry();
    }
    Digits vDigits(m_uiFirst);
    for (const std::int64_t iDigit : sum.m_vDigits)
        vDigits.push_back(static_cast<std::uint32_t>(iDigit));
    return vDigits;
}

double ExactSum::getMean(const ExactSum& in_sum, std::uint64_t in_uiCount)
{
    bool bNegative = false;
    const Rounded mean(divide(in_sum.getMagnitude(bNegative), in_uiCount));
    return std::ldexp(bNegative ? -mean.m_dValue : mean.m_dValue, mean.m_iPlace + LEAST);
}

/// n sum x^2 - (sum x)^2 is n^2 times the square of the deviation.
double ExactSum::getDeviation(const ExactSum& in_sum, const ExactSum& in_squares, std::uint64_t in_uiCount)
{
    bool bNegative = false;
    const Digits vSum = in_sum.getMagnitude(bNegative);
    const Digits vCount{static_cast<std::uint32_t>(in_uiCount),
                        static_cast<std::uint32_t>(in_uiCount >> DIGIT)};
    Rounded square(subtract(multiply(in_squares.getMagnitude(bNegative), vCount), multiply(vSum, vSum)));
    if (square.m_iPlace % 2 != 0)
    {
        square.m_dValue *= 2.0;
        --square.m_iPlace;
    }
    return std::ldexp(std::sqrt(square.m_dValue) / static_cast<double>(in_uiCount),
                      square.m_iPlace / 2 + LEAST);
}

} // namespace Vexalor::MachineLearning
