#include "report/ConfusionMatrix.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace Vexalor::MachineLearning
{

std::optional<double> Ratio::getValue() const
{
    if (m_uiDenominator == 0)
        return std::nullopt;
    return static_cast<double>(m_uiNumerator) / static_cast<double>(m_uiDenominator);
}

ConfusionMatrix::ConfusionMatrix(std::size_t in_uiClasses)
    : m_uiClasses(in_uiClasses)
    , m_vCount(in_uiClasses * in_uiClasses, 0)
{
}

void ConfusionMatrix::add(std::size_t in_uiTarget, std::size_t in_uiDecided)
{
    ++m_vCount[in_uiTarget * m_uiClasses + in_uiDecided];
}

bool ConfusionMatrix::merge(const ConfusionMatrix& in_other)
{
    if (m_uiClasses == 0)
        *this = ConfusionMatrix(in_other.m_uiClasses);
    if (m_uiClasses != in_other.m_uiClasses)
        return false;
    std::transform(m_vCount.begin(), m_vCount.end(), in_other.m_vCount.begin(), m_vCount.begin(),
                   std::plus<>());
    return true;
}

bool ConfusionMatrix::isConsistent() const
{
    constexpr std::size_t MOST = std::size_t(1) << 24;
    return m_uiClasses < MOST && m_vCount.size() == m_uiClasses * m_uiClasses;
}

std::uint64_t ConfusionMatrix::getRowSum(std::size_t in_uiTarget) const
{
    const auto itRow = m_vCount.begin() + static_cast<std::ptrdiff_t>(in_uiTarget * m_uiClasses);
    return std::accumulate(itRow, itRow + static_cast<std::ptrdiff_t>(m_uiClasses), std::uint64_t{0});
}

std::uint64_t ConfusionMatrix::getColumnSum(std::size_t in_uiDecided) const
{
    std::uint64_t uiSum = 0;
    for (std::size_t i = 0; i < m_uiClasses; ++i)
        uiSum += getCount(i, in_uiDecided);
    return uiSum;
}

Ratio ConfusionMatrix::getAccuracy() const
{
    Ratio ratio;
    for (std::size_t i = 0; i < m_uiClasses; ++i)
        ratio.m_uiNumerator += getCount(i, i);
    ratio.m_uiDenominator = std::accumulate(m_vCount.begin(), m_vCount.end(), std::uint64_t{0});
    return ratio;
}

Ratio ConfusionMatrix::getPrecision(std::size_t in_uiClass) const
{
    return {getCount(in_uiClass, in_uiClass), getColumnSum(in_uiClass)};
}

Ratio ConfusionMatrix::getRecall(std::size_t in_uiClass) const
{
    return {getCount(in_uiClass, in_uiClass), getRowSum(in_uiClass)};
}

Ratio ConfusionMatrix::getF1(std::size_t in_uiClass) const
{
    return {2 * getCount(in_uiClass, in_uiClass), getRowSum(in_uiClass) + getColumnSum(in_uiClass)};
}

} // namespace Vexalor::MachineLearning
