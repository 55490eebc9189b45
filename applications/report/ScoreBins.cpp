#include "report/ScoreBins.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::size_t LINEAR_BINS = 2048; ///< of magnitudes below 1
constexpr std::size_t OCTAVE_BINS = 64;
constexpr int OCTAVES = 32;
/// Of one sign; the last one takes whatever is greater.
constexpr std::size_t SIDE_BINS = LINEAR_BINS + OCTAVES * OCTAVE_BINS;

/// Bin i holds the magnitudes from its lower edge up to, and without, that of bin i + 1.
std::size_t toMagnitudeBin(double in_dMagnitude)
{
    if (in_dMagnitude < 1.0)
        return static_cast<std::size_t>(in_dMagnitude * LINEAR_BINS);
    if (in_dMagnitude >= std::ldexp(1.0, OCTAVES))
        return SIDE_BINS - 1;
    const int iOctave = std::ilogb(in_dMagnitude);
    const double dWithin = std::ldexp(in_dMagnitude, -iOctave) - 1.0;
    return LINEAR_BINS + static_cast<std::size_t>(iOctave) * OCTAVE_BINS +
           static_cast<std::size_t>(dWithin * OCTAVE_BINS);
}

double toLowerMagnitude(std::size_t in_uiBin)
{
    if (in_uiBin < LINEAR_BINS)
        return static_cast<double>(in_uiBin) / LINEAR_BINS;
    const std::size_t uiBeyond = in_uiBin - LINEAR_BINS;
    const double dWithin = static_cast<double>(uiBeyond % OCTAVE_BINS) / OCTAVE_BINS;
    return std::ldexp(1.0 + dWithin, static_cast<int>(uiBeyond / OCTAVE_BINS));
}

void addTo(std::vector<std::uint64_t>& io_vCount, const std::vector<std::uint64_t>& in_vOther)
{
    std::transform(io_vCount.begin(), io_vCount.end(), in_vOther.begin(), io_vCount.begin(), std::plus<>());
}

double toShare(std::uint64_t in_uiCount, std::uint64_t in_uiTotal)
{
    return Ratio{in_uiCount, in_uiTotal}.getValue().value_or(0.0);
}

} // namespace

ScoreBins::ScoreBins()
    : m_vPositive(2 * SIDE_BINS, 0)
    , m_vNegative(2 * SIDE_BINS, 0)
    , m_vLeast(2 * SIDE_BINS, std::numeric_limits<double>::infinity())
    , m_vGreatest(2 * SIDE_BINS, -std::numeric_limits<double>::infinity())
{
}

/// Bins of negative scores come first, the least score in bin 0. Those of magnitudes have their lower edge
/// inside, so a negative score is counted with the next lesser magnitude: the greater score is inside.
std::size_t ScoreBins::toBin(double in_dScore)
{
    if (in_dScore >= 0.0)
        return SIDE_BINS + toMagnitudeBin(in_dScore);
    return SIDE_BINS - 1 - toMagnitudeBin(std::nextafter(-in_dScore, 0.0));
}

double ScoreBins::toLowerEdge(std::size_t in_uiBin)
{
    if (in_uiBin >= SIDE_BINS)
        return toLowerMagnitude(in_uiBin - SIDE_BINS);
    if (in_uiBin == 0)
        return -std::numeric_limits<double>::infinity();
    return -toLowerMagnitude(SIDE_BINS - in_uiBin);
}

void ScoreBins::add(bool in_bPositive, double in_dScore)
{
    if (std::isnan(in_dScore))
    {
        ++m_uiNotANumber;
        return;
    }
    ++(in_bPositive ? m_uiPositive : m_uiNegative);
    const std::size_t uiBin = toBin(in_dScore);
    ++(in_bPositive ? m_vPositive : m_vNegative)[uiBin];
    m_vLeast[uiBin] = std::min(m_vLeast[uiBin], in_dScore);
    m_vGreatest[uiBin] = std::max(m_vGreatest[uiBin], in_dScore);
}

void ScoreBins::merge(const ScoreBins& in_other)
{
    m_uiPositive += in_other.m_uiPositive;
    m_uiNegative += in_other.m_uiNegative;
    m_uiNotANumber += in_other.m_uiNotANumber;
    addTo(m_vPositive, in_other.m_vPositive);
    addTo(m_vNegative, in_other.m_vNegative);
    for (std::size_t i = 0; i < m_vLeast.size(); ++i)
    {
        m_vLeast[i] = std::min(m_vLeast[i], in_other.m_vLeast[i]);
        m_vGreatest[i] = std::max(m_vGreatest[i], in_other.m_vGreatest[i]);
    }
}

bool ScoreBins::isConsistent() const
{
    const std::size_t uiBins = 2 * SIDE_BINS;
    return m_vPositive.size() == uiBins && m_vNegative.size() == uiBins && m_vLeast.size() == uiBins &&
           m_vGreatest.size() == uiBins;
}

std::vector<ScoreBins::Point> ScoreBins::getCurve() const
{
    Point point{std::numeric_limits<double>::infinity(), 0, m_uiPositive};
    std::vector<Point> vCurve{point};
    for (std::size_t i = m_vPositive.size(); i-- > 0;)
    {
        const bool bEmpty = m_vPositive[i] == 0 && m_vNegative[i] == 0;
        if (bEmpty && i != SIDE_BINS)
            continue;
        point.m_dThreshold = toLowerEdge(i);
        point.m_uiFalseAlarms += m_vNegative[i];
        point.m_uiMisses -= m_vPositive[i];
        vCurve.push_back(point);
    }
    return vCurve;
}

AreaUnderCurve::Area ScoreBins::getArea() const
{
    AreaUnderCurve area;
    for (std::size_t i = 0; i < m_vPositive.size(); ++i)
        area.addBin(m_vPositive[i], m_vNegative[i], m_vLeast[i] != m_vGreatest[i]);
    return area.get();
}

const ScoreBins::Point& findEqualError(const std::vector<ScoreBins::Point>& in_vCurve,
                                       const ScoreBins& in_bins)
{
    const auto getDistance = [&in_bins](const ScoreBins::Point& in_point)
    {
        return std::abs(toShare(in_point.m_uiFalseAlarms, in_bins.getNbNegative()) -
                        toShare(in_point.m_uiMisses, in_bins.getNbPositive()));
    };
    return *std::min_element(in_vCurve.begin(), in_vCurve.end(),
                             [&](const auto& in_left, const auto& in_right)
                             { return getDistance(in_left) < getDistance(in_right); });
}

} // namespace Vexalor::MachineLearning
