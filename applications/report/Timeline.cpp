#include "report/Timeline.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr double NONE = std::numeric_limits<double>::quiet_NaN();

} // namespace

void Timeline::Flags::operator|=(const Flags& in_other)
{
    m_target |= in_other.m_target;
    m_decided |= in_other.m_decided;
    m_bError = m_bError || in_other.m_bError;
}

void Timeline::Range::add(double in_dMin, double in_dMax)
{
    m_dMin = std::fmin(m_dMin, in_dMin);
    m_dMax = std::fmax(m_dMax, in_dMax);
}

bool Timeline::isConsistent() const
{
    constexpr std::size_t MOST = std::size_t(1) << 16;
    return m_vFlags.size() <= MAX_COLUMNS && m_uiTraces < MOST &&
           m_vRange.size() == m_vFlags.size() * m_uiTraces && m_uiPerColumn > 0;
}

void Timeline::add(const Flags& in_flags, const double* in_pValues)
{
    if (m_vFlags.empty() || m_uiInLast == m_uiPerColumn)
    {
        if (m_vFlags.size() == MAX_COLUMNS)
            joinColumns();
        m_vFlags.emplace_back();
        m_vRange.resize(m_vRange.size() + m_uiTraces, {NONE, NONE});
        m_uiInLast = 0;
    }
    ++m_uiInLast;
    m_vFlags.back() |= in_flags;
    Range* const pRange = m_vRange.data() + m_vRange.size() - m_uiTraces;
    for (std::size_t i = 0; i < m_uiTraces; ++i)
        pRange[i].add(in_pValues[i], in_pValues[i]);
}

/// All columns are full, and there is an even number of them.
void Timeline::joinColumns()
{
    const std::size_t uiColumns = m_vFlags.size() / 2;
    for (std::size_t i = 0; i < uiColumns; ++i)
    {
        m_vFlags[i] = m_vFlags[2 * i];
        m_vFlags[i] |= m_vFlags[2 * i + 1];
        for (std::size_t j = 0; j < m_uiTraces; ++j)
        {
            const Range second = getRange(j, 2 * i + 1);
            Range& range = m_vRange[i * m_uiTraces + j];
            range = getRange(j, 2 * i);
            range.add(second.m_dMin, second.m_dMax);
        }
    }
    m_vFlags.resize(uiColumns);
    m_vRange.resize(uiColumns * m_uiTraces);
    m_uiPerColumn *= 2;
}

} // namespace Vexalor::MachineLearning
