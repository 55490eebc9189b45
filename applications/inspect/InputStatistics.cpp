#include "inspect/InputStatistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::uint64_t PRIME = (std::uint64_t(1) << 61) - 1;
constexpr std::uint64_t BASE = 0x0b4e9f27c6a3d85bull;

std::uint64_t multiply(std::uint64_t in_uiLeft, std::uint64_t in_uiRight)
{
    constexpr int BITS = 61;
    using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(in_uiLeft) * in_uiRight;
    // 2^61 is 1 modulo the prime.
    const std::uint64_t uiSum =
        (static_cast<std::uint64_t>(product) & PRIME) + static_cast<std::uint64_t>(product >> BITS);
    return uiSum >= PRIME ? uiSum - PRIME : uiSum;
}

/// Coefficients are above 0, so that streams of zeros differ in length.
std::uint64_t advance(std::uint64_t in_uiDigest, std::uint64_t in_uiHalf)
{
    return (multiply(in_uiDigest, BASE) + in_uiHalf + 1) % PRIME;
}

std::uint64_t toPower(std::uint64_t in_uiExponent)
{
    std::uint64_t uiPower = 1;
    std::uint64_t uiSquare = BASE;
    for (; in_uiExponent > 0; in_uiExponent /= 2)
    {
        if (in_uiExponent % 2 != 0)
            uiPower = multiply(uiPower, uiSquare);
        uiSquare = multiply(uiSquare, uiSquare);
    }
    return uiPower;
}

} // namespace

void Moments::add(double in_dValue)
{
    ++m_uiCount;
    m_sum.add(in_dValue);
    m_squares.addSquare(in_dValue);
    m_dLeast = std::min(m_dLeast, in_dValue);
    m_dGreatest = std::max(m_dGreatest, in_dValue);
}

void Moments::merge(const Moments& in_other)
{
    m_uiCount += in_other.m_uiCount;
    m_sum.merge(in_other.m_sum);
    m_squares.merge(in_other.m_squares);
    m_dLeast = std::min(m_dLeast, in_other.m_dLeast);
    m_dGreatest = std::max(m_dGreatest, in_other.m_dGreatest);
}

double Moments::getMean() const
{
    return m_uiCount == 0 ? 0.0 : ExactSum::getMean(m_sum, m_uiCount);
}

double Moments::getDeviation() const
{
    return m_uiCount == 0 ? 0.0 : ExactSum::getDeviation(m_sum, m_squares, m_uiCount);
}

bool Moments::isConstant() const
{
    return m_dLeast == m_dGreatest || getDeviation() <= ROUNDING * std::abs(getMean());
}

void StreamDigest::add(double in_dValue)
{
    constexpr int HALF = 32;
    const double dValue = std::isnan(in_dValue) ? std::numeric_limits<double>::quiet_NaN() : in_dValue + 0.0;
    const auto uiBits = std::bit_cast<std::uint64_t>(dValue);
    m_uiValue = advance(advance(m_uiValue, uiBits >> HALF), uiBits & 0xffffffffu);
    ++m_uiCount;
}

void StreamDigest::append(const StreamDigest& in_next)
{
    m_uiValue = (multiply(m_uiValue, toPower(2 * in_next.m_uiCount)) + in_next.m_uiValue) % PRIME;
    m_uiCount += in_next.m_uiCount;
}

InputStatistics::InputStatistics(std::size_t in_uiInputs, std::size_t in_uiClasses)
    : m_vColumns(in_uiInputs)
{
    setClasses(in_uiClasses);
}

std::size_t InputStatistics::countBinned(std::size_t in_uiInputs, std::size_t in_uiClasses)
{
    return std::min(in_uiInputs,
                    MAX_BIN_BYTES / (ValueBins::MAX_BINS * ValueBins::getSizeOfBin(in_uiClasses)));
}

void InputStatistics::setClasses(std::size_t in_uiClasses)
{
    m_uiClasses = in_uiClasses;
    m_uiBinned = countBinned(m_vColumns.size(), in_uiClasses);
    for (std::size_t i = 0; i < m_vColumns.size(); ++i)
        if (i < m_uiBinned)
            m_vColumns[i].m_bins.setClasses(in_uiClasses);
        else
            m_vColumns[i].m_bins = ValueBins();
}

void InputStatistics::add(const DoubleVector& in_vInput, const std::vector<std::size_t>* in_pClasses)
{
    for (std::size_t i = 0; i < m_vColumns.size(); ++i)
    {
        InputColumn& column = m_vColumns[i];
        const double dValue = in_vInput[i];
        column.m_digest.add(dValue);
        if (std::isnan(dValue))
            ++column.m_uiNotANumber;
        else if (std::isinf(dValue))
            ++column.m_uiInfinite;
        else
            column.m_moments.add(dValue);
        if (i < m_uiBinned && std::isfinite(dValue))
            column.m_bins.add(dValue, in_pClasses);
    }
}

bool InputStatistics::append(const InputStatistics& in_next)
{
    if (in_next.m_vColumns.size() != m_vColumns.size() || in_next.m_uiClasses != m_uiClasses)
        return false;
    for (std::size_t i = 0; i < m_vColumns.size(); ++i)
    {
        InputColumn& column = m_vColumns[i];
        const InputColumn& next = in_next.m_vColumns[i];
        column.m_moments.merge(next.m_moments);
        column.m_uiNotANumber += next.m_uiNotANumber;
        column.m_uiInfinite += next.m_uiInfinite;
        column.m_digest.append(next.m_digest);
        if (i < m_uiBinned)
            column.m_bins.merge(next.m_bins);
    }
    return true;
}

/// After bytes were taken.
bool InputStatistics::isConsistent() const
{
    const auto hasBins = [this](const InputColumn& in_column)
    {
        const bool bBinned = &in_column < m_vColumns.data() + m_uiBinned;
        return bBinned ? in_column.m_bins.getNbClasses() == m_uiClasses : in_column.m_bins.getNbBins() == 0;
    };
    return m_uiClasses <= MAX_BIN_BYTES && m_uiBinned == countBinned(m_vColumns.size(), m_uiClasses) &&
           std::all_of(m_vColumns.begin(), m_vColumns.end(), hasBins);
}

std::vector<std::size_t> InputStatistics::findEqual() const
{
    std::vector<std::size_t> vFirst;
    std::map<StreamDigest, std::size_t> firsts;
    for (std::size_t i = 0; i < m_vColumns.size(); ++i)
        vFirst.push_back(firsts.emplace(m_vColumns[i].m_digest, i).first->second);
    return vFirst;
}

} // namespace Vexalor::MachineLearning
