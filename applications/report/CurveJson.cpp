#include "report/CurveJson.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

/// Of a share, on the scale of curves of detection errors.
double toLogit(double in_dShare)
{
    constexpr double LEAST = 1e-6;
    const double dShare = std::clamp(in_dShare, LEAST, 1.0 - LEAST);
    return std::log(dShare / (1.0 - dShare));
}

class CurveJson
{
public:
    explicit CurveJson(const ScoreBins& in_bins)
        : m_bins(in_bins)
        , m_vCurve(in_bins.getCurve())
    {
    }

    Json make() const
    {
        const AreaUnderCurve::Area area = m_bins.getArea();
        Json curve{{"positive", 0},
                   {"positives", m_bins.getNbPositive()},
                   {"negatives", m_bins.getNbNegative()},
                   {"score_not_a_number", m_bins.getNbNotANumber()},
                   {"area", {{"value", area.m_dValue}, {"error", area.m_dError}}},
                   {"operating_point", toJson(findOperatingPoint())},
                   {"thresholds", makeThresholds()}};
        curve["points"] = makePoints();
        return curve;
    }

private:
    Ratio getFalseAlarms(const ScoreBins::Point& in_point) const
    {
        return {in_point.m_uiFalseAlarms, m_bins.getNbNegative()};
    }
    Ratio getMisses(const ScoreBins::Point& in_point) const
    {
        return {in_point.m_uiMisses, m_bins.getNbPositive()};
    }
    double getF1(const ScoreBins::Point& in_point) const
    {
        const std::uint64_t uiHits = m_bins.getNbPositive() - in_point.m_uiMisses;
        const Ratio f1{2 * uiHits, 2 * uiHits + in_point.m_uiMisses + in_point.m_uiFalseAlarms};
        return f1.getValue().value_or(0.0);
    }

    Json toJson(const ScoreBins::Point& in_point) const
    {
        return {{"threshold", in_point.m_dThreshold},
                {"false_alarms", in_point.m_uiFalseAlarms},
                {"misses", in_point.m_uiMisses}};
    }

    const ScoreBins::Point& findOperatingPoint() const
    {
        return *std::find_if(m_vCurve.begin(), m_vCurve.end(),
                             [](const ScoreBins::Point& in_point) { return in_point.m_dThreshold == 0.0; });
    }

    /// False alarms grow along the curve, so the last point that has no more misses the least.
    const ScoreBins::Point& findFalseAlarmsUpTo(double in_dShare) const
    {
        const auto isMore = [&](const ScoreBins::Point& in_point)
        {
            return getFalseAlarms(in_point).getValue().value_or(0.0) > in_dShare;
        };
        return *(std::find_if(m_vCurve.begin(), m_vCurve.end(), isMore) - 1);
    }

    const ScoreBins::Point& findMissesUpTo(double in_dShare) const
    {
        return *std::find_if(m_vCurve.begin(), m_vCurve.end(),
                             [&](const ScoreBins::Point& in_point)
                             { return getMisses(in_point).getValue().value_or(0.0) <= in_dShare; });
    }

    const ScoreBins::Point& findBestF1() const
    {
        return *std::max_element(m_vCurve.begin(), m_vCurve.end(),
                                 [&](const ScoreBins::Point& in_left, const ScoreBins::Point& in_right)
                                 { return getF1(in_left) < getF1(in_right); });
    }

    Json makeThresholds() const
    {
        Json rows = Json::array();
        const auto add = [&](const char* in_rule, const ScoreBins::Point& in_point)
        {
            Json row{{"rule", in_rule}};
            row.update(toJson(in_point));
            rows.push_back(std::move(row));
        };
        add("operating point", findOperatingPoint());
        add("equal error", findEqualError(m_vCurve, m_bins));
        add("best F1", findBestF1());
        add("false alarms up to 0.1 %", findFalseAlarmsUpTo(0.001));
        add("false alarms up to 1 %", findFalseAlarmsUpTo(0.01));
        add("false alarms up to 5 %", findFalseAlarmsUpTo(0.05));
        add("misses up to 1 %", findMissesUpTo(0.01));
        add("misses up to 5 %", findMissesUpTo(0.05));
        return rows;
    }

    /// Points that could not be told apart in a drawing are left out.
    Json makePoints() const
    {
        constexpr double LEAST_STEP = 0.002;
        constexpr double LEAST_LOGIT_STEP = 0.05;
        Json points = Json::array();
        double dFalseAlarms = -1.0;
        double dMisses = -1.0;
        for (const ScoreBins::Point& point : m_vCurve)
        {
            const double dX = getFalseAlarms(point).getValue().value_or(0.0);
            const double dY = getMisses(point).getValue().value_or(0.0);
            const bool bApart = std::max(std::abs(dX - dFalseAlarms), std::abs(dY - dMisses)) >= LEAST_STEP ||
                                std::abs(toLogit(dX) - toLogit(dFalseAlarms)) >= LEAST_LOGIT_STEP ||
                                std::abs(toLogit(dY) - toLogit(dMisses)) >= LEAST_LOGIT_STEP;
            if (!bApart && point.m_dThreshold != 0.0 && &point != &m_vCurve.back())
                continue;
            points.push_back(toJson(point));
            dFalseAlarms = dX;
            dMisses = dY;
        }
        return points;
    }

    const ScoreBins& m_bins;
    std::vector<ScoreBins::Point> m_vCurve;
};

} // namespace

nlohmann::ordered_json makeCurveJson(const ScoreBins& in_bins)
{
    if (in_bins.getNbPositive() == 0 || in_bins.getNbNegative() == 0)
        return nullptr;
    return CurveJson(in_bins).make();
}

} // namespace Vexalor::MachineLearning
