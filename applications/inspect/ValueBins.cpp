#include "inspect/ValueBins.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr unsigned int MAX_SHIFT = 63;

/// Greater for greater values; both zeros are 0.
std::int64_t toKey(double in_dValue)
{
    const auto iMagnitude = std::bit_cast<std::int64_t>(std::abs(in_dValue));
    return in_dValue < 0.0 ? -iMagnitude : iMagnitude;
}

/// Of the columns of that width, counted from zero. A negative value is before it, however small the
/// quotient.
double toColumn(double in_dValue, double in_dWidth)
{
    const double dColumn = std::floor(in_dValue / in_dWidth);
    return in_dValue < 0.0 && dColumn == 0.0 ? -1.0 : dColumn;
}

} // namespace

void ValueBins::add(double in_dValue, const std::vector<std::size_t>* in_pClasses)
{
    const std::size_t uiBin = findOrInsert(toKey(in_dValue) >> m_uiShift, in_dValue);
    m_vLeast[uiBin] = std::min(m_vLeast[uiBin], in_dValue);
    m_vGreatest[uiBin] = std::max(m_vGreatest[uiBin], in_dValue);
    std::uint64_t* pRow = m_vCounts.data() + uiBin * getRowSize();
    ++pRow[ALL];
    if (in_pClasses != nullptr)
    {
        ++pRow[WITH_TARGET];
        for (const std::size_t uiClass : *in_pClasses)
            ++pRow[FIRST_CLASS + uiClass];
    }
    while (m_vKeys.size() > MAX_BINS)
        coarsen(m_uiShift + 1);
}

void ValueBins::setClasses(std::size_t in_uiClasses)
{
    const std::size_t uiEarlierRow = getRowSize();
    m_uiClasses = in_uiClasses;
    std::vector<std::uint64_t> vCounts(m_vKeys.size() * getRowSize());
    for (std::size_t i = 0; i < m_vKeys.size(); ++i)
        vCounts[i * getRowSize() + ALL] = m_vCounts[i * uiEarlierRow + ALL];
    m_vCounts.swap(vCounts);
}

std::size_t ValueBins::findOrInsert(std::int64_t in_iKey, double in_dValue)
{
    const auto itKey = std::lower_bound(m_vKeys.begin(), m_vKeys.end(), in_iKey);
    const auto iBin = itKey - m_vKeys.begin();
    if (itKey == m_vKeys.end() || *itKey != in_iKey)
    {
        const auto iRow = static_cast<std::ptrdiff_t>(getRowSize());
        m_vKeys.insert(itKey, in_iKey);
        m_vLeast.insert(m_vLeast.begin() + iBin, in_dValue);
        m_vGreatest.insert(m_vGreatest.begin() + iBin, in_dValue);
        m_vCounts.insert(m_vCounts.begin() + iBin * iRow, getRowSize(), 0);
    }
    return static_cast<std::size_t>(iBin);
}

/// Bins that become the same are neighbours.
void ValueBins::coarsen(unsigned int in_uiShift)
{
    if (in_uiShift <= m_uiShift || in_uiShift > MAX_SHIFT)
        return;
    ValueBins finer(m_uiClasses);
    std::swap(finer, *this);
    m_uiShift = in_uiShift;
    for (std::size_t i = 0; i < finer.m_vKeys.size(); ++i)
        append(finer, i);
}

/// Adds a bin that is none before the last one.
void ValueBins::append(const ValueBins& in_from, std::size_t in_uiBin)
{
    const std::int64_t iKey = in_from.m_vKeys[in_uiBin] >> (m_uiShift - in_from.m_uiShift);
    if (m_vKeys.empty() || m_vKeys.back() != iKey)
    {
        m_vKeys.push_back(iKey);
        m_vLeast.push_back(in_from.m_vLeast[in_uiBin]);
        m_vGreatest.push_back(in_from.m_vGreatest[in_uiBin]);
        m_vCounts.resize(m_vCounts.size() + getRowSize());
    }
    m_vLeast.back() = std::min(m_vLeast.back(), in_from.m_vLeast[in_uiBin]);
    m_vGreatest.back() = std::max(m_vGreatest.back(), in_from.m_vGreatest[in_uiBin]);
    for (std::size_t i = 0; i < getRowSize(); ++i)
        m_vCounts[m_vCounts.size() - getRowSize() + i] += in_from.m_vCounts[in_uiBin * getRowSize() + i];
}

bool ValueBins::merge(const ValueBins& in_other)
{
    if (in_other.m_uiClasses != m_uiClasses)
        return false;
    const ValueBins mine = *this;
    *this = ValueBins(m_uiClasses);
    m_uiShift = std::max(mine.m_uiShift, in_other.m_uiShift);
    const auto toKeyHere = [this](const ValueBins& in_bins, std::size_t in_uiBin)
    {
        return in_bins.m_vKeys[in_uiBin] >> (m_uiShift - in_bins.m_uiShift);
    };
    std::size_t uiMine = 0;
    std::size_t uiOther = 0;
    while (uiMine < mine.m_vKeys.size() || uiOther < in_other.m_vKeys.size())
    {
        const bool bMine =
            uiOther == in_other.m_vKeys.size() ||
            (uiMine < mine.m_vKeys.size() && toKeyHere(mine, uiMine) <= toKeyHere(in_other, uiOther));
        append(bMine ? mine : in_other, bMine ? uiMine++ : uiOther++);
    }
    while (m_vKeys.size() > MAX_BINS)
        coarsen(m_uiShift + 1);
    return true;
}

/// After bytes were taken: histograms rely on bins that are in order.
bool ValueBins::isConsistent() const
{
    const std::size_t uiBins = m_vKeys.size();
    if (uiBins > MAX_BINS || m_uiShift > MAX_SHIFT || m_vLeast.size() != uiBins ||
        m_vGreatest.size() != uiBins || (uiBins != 0 && m_uiClasses > m_vCounts.size()) ||
        m_vCounts.size() != uiBins * getRowSize())
        return false;
    for (std::size_t i = 0; i < uiBins; ++i)
        if (!std::isfinite(m_vLeast[i]) || !std::isfinite(m_vGreatest[i]) || m_vLeast[i] > m_vGreatest[i] ||
            toKey(m_vLeast[i]) >> m_uiShift != m_vKeys[i] ||
            toKey(m_vGreatest[i]) >> m_uiShift != m_vKeys[i] || (i > 0 && m_vKeys[i - 1] >= m_vKeys[i]))
            return false;
    return true;
}

AreaUnderCurve::Area ValueBins::getArea(std::size_t in_uiClass) const
{
    AreaUnderCurve area;
    for (std::size_t i = 0; i < m_vKeys.size(); ++i)
    {
        const std::uint64_t* pRow = m_vCounts.data() + i * getRowSize();
        const std::uint64_t uiOfClass = pRow[FIRST_CLASS + in_uiClass];
        area.addBin(uiOfClass, pRow[WITH_TARGET] - uiOfClass, m_vLeast[i] != m_vGreatest[i]);
    }
    return area.get();
}

bool ValueBins::fits(double in_dWidth, std::size_t in_uiMaxColumns) const
{
    if (toColumn(m_vGreatest.back(), in_dWidth) - toColumn(m_vLeast.front(), in_dWidth) >=
        static_cast<double>(in_uiMaxColumns))
        return false;
    for (std::size_t i = 0; i < m_vKeys.size(); ++i)
        if (toColumn(m_vLeast[i], in_dWidth) != toColumn(m_vGreatest[i], in_dWidth))
            return false;
    return true;
}

ValueBins::Histogram ValueBins::getHistogram(std::size_t in_uiMaxColumns) const
{
    Histogram histogram;
    if (m_vKeys.empty())
        return histogram;
    const Counts none{0, std::vector<std::uint64_t>(m_uiClasses)};
    const double dLeast = m_vLeast.front();
    histogram.m_dLowerEdge = dLeast;
    const auto dColumns = static_cast<double>(in_uiMaxColumns);
    const double dNarrowest = m_vGreatest.back() / dColumns - dLeast / dColumns;
    if (dNarrowest > 0.0)
    {
        histogram.m_dWidth = std::ldexp(1.0, std::ilogb(dNarrowest));
        while (!fits(histogram.m_dWidth, in_uiMaxColumns))
            histogram.m_dWidth *= 2.0;
        histogram.m_dLowerEdge = toColumn(dLeast, histogram.m_dWidth) * histogram.m_dWidth;
    }
    for (std::size_t i = 0; i < m_vKeys.size(); ++i)
    {
        const double dColumn = histogram.m_dWidth == 0.0 ? 0.0
                                                         : toColumn(m_vLeast[i], histogram.m_dWidth) -
                                                               toColumn(dLeast, histogram.m_dWidth);
        histogram.m_vColumns.resize(static_cast<std::size_t>(dColumn) + 1, none);
        Counts& column = histogram.m_vColumns.back();
        const std::uint64_t* pRow = m_vCounts.data() + i * getRowSize();
        column.m_uiAll += pRow[ALL];
        for (std::size_t j = 0; j < m_uiClasses; ++j)
            column.m_vClasses[j] += pRow[FIRST_CLASS + j];
    }
    return histogram;
}

} // namespace Vexalor::MachineLearning
