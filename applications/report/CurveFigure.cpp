#include "report/CurveFigure.h"

#include "report/Html.h"
#include "report/ReportText.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <vector>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

/// Of the drawing: the frame and the room for numbers at its left and below.
constexpr double SIZE = 260.0;
constexpr double LEFT = 48.0;
constexpr double TOP = 8.0;

/// Where the normal distribution reaches a share, by halving.
double toDeviate(double in_dShare)
{
    double dLow = -8.0;
    double dHigh = 8.0;
    for (int i = 0; i < 50; ++i)
    {
        const double dMiddle = (dLow + dHigh) / 2;
        (std::erfc(-dMiddle / std::sqrt(2.0)) / 2 < in_dShare ? dLow : dHigh) = dMiddle;
    }
    return dLow;
}

/// One of the two drawings.
struct Chart
{
    const char* m_title;
    const char* m_yName;
    bool m_bHits; ///< what stands upwards: hits or misses
    std::vector<double> m_vTicks;
    std::function<double(double)> m_toScale; ///< a share to its place between 0 and 1

    std::string toX(double in_dShare) const
    {
        return ReportText::toFixed(LEFT + SIZE * std::clamp(m_toScale(in_dShare), 0.0, 1.0), 1);
    }
    std::string toY(double in_dShare) const
    {
        return ReportText::toFixed(TOP + SIZE * (1.0 - std::clamp(m_toScale(in_dShare), 0.0, 1.0)), 1);
    }
};

std::string toTick(double in_dShare)
{
    const int iDigits = in_dShare < 0.01 && in_dShare > 0.0 ? 1 : 0;
    return ReportText::toFixed(100.0 * in_dShare, iDigits) + '%';
}

std::string drawFrame(const Chart& in_chart)
{
    std::string strGrid;
    std::string strTexts;
    for (const double dTick : in_chart.m_vTicks)
    {
        const std::string strX = in_chart.toX(dTick);
        const std::string strY = in_chart.toY(dTick);
        strGrid += 'M' + strX + ' ' + ReportText::toFixed(TOP, 0) + 'v' + ReportText::toFixed(SIZE, 0) + 'M' +
                   ReportText::toFixed(LEFT, 0) + ' ' + strY + 'h' + ReportText::toFixed(SIZE, 0);
        strTexts += "<text x=\"" + strX + "\" y=\"" + ReportText::toFixed(TOP + SIZE + 16, 0) +
                    "\" text-anchor=\"middle\">" + toTick(dTick) + "</text><text x=\"" +
                    ReportText::toFixed(LEFT - 6, 0) + "\" y=\"" + strY +
                    "\" text-anchor=\"end\" dominant-baseline=\"middle\">" + toTick(dTick) + "</text>";
    }
    return "<path class=\"grid\" d=\"" + strGrid + "\"/>" + strTexts + "<text x=\"" +
           ReportText::toFixed(LEFT + SIZE / 2, 0) + "\" y=\"" + ReportText::toFixed(TOP + SIZE + 34, 0) +
           "\" text-anchor=\"middle\">false alarms</text><text transform=\"translate(11 " +
           ReportText::toFixed(TOP + SIZE / 2, 0) + ") rotate(-90)\" text-anchor=\"middle\">" +
           in_chart.m_yName + "</text>";
}

class CurveDrawing
{
public:
    explicit CurveDrawing(const Json& in_curve)
        : m_curve(in_curve)
        , m_dPositives(in_curve["positives"].get<double>())
        , m_dNegatives(in_curve["negatives"].get<double>())
    {
    }

    std::string draw(const Chart& in_chart) const
    {
        std::string strPath;
        for (const Json& point : m_curve["points"])
            strPath += (strPath.empty() ? 'M' : 'L') + toPlace(in_chart, point, ' ');
        const Json& operating = m_curve["operating_point"];
        const std::string strTitle = std::string(in_chart.m_title) + ": at the operating point " +
                                     ReportText::toFixed(100.0 * getFalseAlarms(operating), 2) +
                                     " % false alarms and " +
                                     ReportText::toFixed(100.0 * getMisses(operating), 2) + " % misses";
        return "<figure class=\"curve\"><figcaption>" + std::string(in_chart.m_title) +
               "</figcaption><svg role=\"img\" viewBox=\"0 0 328 312\"><title>" + Html::escape(strTitle) +
               "</title>" + drawFrame(in_chart) + "<path class=\"line\" d=\"" + strPath +
               "\"/><circle class=\"point\" r=\"5\" " + toCentre(in_chart, operating) + "/></svg></figure>\n";
    }

private:
    double getFalseAlarms(const Json& in_point) const
    {
        return in_point["false_alarms"].get<double>() / m_dNegatives;
    }
    double getMisses(const Json& in_point) const { return in_point["misses"].get<double>() / m_dPositives; }
    double getHeight(const Chart& in_chart, const Json& in_point) const
    {
        return in_chart.m_bHits ? 1.0 - getMisses(in_point) : getMisses(in_point);
    }
    std::string toPlace(const Chart& in_chart, const Json& in_point, char in_between) const
    {
        return in_chart.toX(getFalseAlarms(in_point)) + in_between +
               in_chart.toY(getHeight(in_chart, in_point));
    }
    std::string toCentre(const Chart& in_chart, const Json& in_point) const
    {
        return "cx=\"" + in_chart.toX(getFalseAlarms(in_point)) + "\" cy=\"" +
               in_chart.toY(getHeight(in_chart, in_point)) + '"';
    }

    const Json& m_curve;
    double m_dPositives;
    double m_dNegatives;
};

} // namespace

std::string drawCurves(const Json& in_curve)
{
    const double dLeast = toDeviate(0.0005);
    const double dGreatest = toDeviate(0.9);
    const Chart hits{"Hits over false alarms (ROC)",
                     "hits",
                     true,
                     {0.0, 0.2, 0.4, 0.6, 0.8, 1.0},
                     [](double in_dShare)
                     {
                         return in_dShare;
                     }};
    const Chart misses{"Misses over false alarms (DET)",
                       "misses",
                       false,
                       {0.001, 0.01, 0.05, 0.2, 0.5, 0.8},
                       [=](double in_dShare)
                       {
                           return (toDeviate(in_dShare) - dLeast) / (dGreatest - dLeast);
                       }};
    const CurveDrawing drawing(in_curve);
    return "<div class=\"curves\">" + drawing.draw(hits) + drawing.draw(misses) + "</div>\n";
}

} // namespace Vexalor::MachineLearning
