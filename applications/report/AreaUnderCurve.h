#pragma once

#include <cstdint>

namespace Vexalor::MachineLearning
{

/// The area under a receiver operating characteristic from counts in bins of scores: the share of pairs of a
/// positive and a negative pattern that their scores put in the right order, with half of those of equal
/// score (Mann and Whitney's statistic divided by the number of pairs).
class AreaUnderCurve
{
public:
    /// The area lies within the error of the value.
    struct Area
    {
        double m_dValue = 0.0;
        double m_dError = 0.0;
    };

    /// The next bin, of greater scores than the ones before. Pairs in one bin count as half in order; where
    /// their scores differ, none or all of them may be.
    void addBin(std::uint64_t in_uiPositive, std::uint64_t in_uiNegative, bool in_bScoresDiffer)
    {
        const auto dPositive = static_cast<double>(in_uiPositive);
        const auto dNegative = static_cast<double>(in_uiNegative);
        m_dInOrder += dPositive * m_dNegative + dPositive * dNegative / 2;
        m_dUnknown += in_bScoresDiffer ? dPositive * dNegative : 0.0;
        m_dPositive += dPositive;
        m_dNegative += dNegative;
    }

    /// Not a number unless there are both kinds.
    Area get() const
    {
        const double dPairs = m_dPositive * m_dNegative;
        return {m_dInOrder / dPairs, m_dUnknown / 2 / dPairs};
    }

private:
    double m_dInOrder = 0.0;
    double m_dUnknown = 0.0;
    double m_dPositive = 0.0;
    double m_dNegative = 0.0;
};

} // namespace Vexalor::MachineLearning
