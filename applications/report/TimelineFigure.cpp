#include "report/TimelineFigure.h"

#include "report/Html.h"
#include "report/ReportText.h"
#include "report/SvgPath.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

/// All drawings of a recording are as many units wide, whatever its length.
constexpr double WIDTH = 1000.0;
constexpr double MILLISECONDS = 1000.0;
constexpr int TICKS = 5;
/// Seconds, of the slider.
constexpr double LEAST_STEP = 0.001;

SvgPath::Heights toHeights(const Json& in_steps)
{
    SvgPath::Heights vHeights;
    for (const Json& step : in_steps)
        vHeights.push_back(step.is_null() ? std::nullopt : std::optional(step.get<int>()));
    return vHeights;
}

/// Columns without a number are left out.
std::string drawBand(const Json& in_least, const Json& in_greatest)
{
    return SvgPath::drawBand(toHeights(in_least), toHeights(in_greatest));
}

/// The page's script reads the boxes back.
std::string drawRuns(const Json& in_runs)
{
    std::string strPath;
    for (std::size_t i = 0; i + 1 < in_runs.size(); i += 2)
        strPath += SvgPath::drawBox(in_runs[i].get<std::int64_t>(), in_runs[i + 1].get<std::int64_t>());
    return strPath;
}

/// One timeline: its lanes share a scale of time.
class Drawing
{
public:
    Drawing(const Json& in_report, const Json& in_timeline)
        : m_report(in_report)
        , m_timeline(in_timeline)
        , m_dSeconds(std::max(in_timeline["seconds"].get<double>(), 1e-9))
        , m_dStart(in_timeline["columns_start_s"].get<double>())
        , m_dColumn(in_timeline["column_s"].get<double>())
    {
    }

    std::string draw() const
    {
        return drawSignal() + drawErrors() + drawAnnotations() + drawClasses() + drawTicks();
    }

private:
    /// Brings units of time, from an offset on, and steps of a height to those of the drawing.
    std::string toScale(double in_dOffset, double in_dUnit, double in_dHeight, double in_dSteps) const
    {
        const double dX = WIDTH / m_dSeconds;
        return "transform=\"translate(" + ReportText::toFixed(in_dOffset * dX, 3) + ' ' +
               ReportText::toFixed(in_dSteps == 1.0 ? 0.0 : in_dHeight, 0) + ") scale(" +
               ReportText::toFixed(in_dUnit * dX, 6) + ' ' +
               ReportText::toFixed(in_dSteps == 1.0 ? in_dHeight : -in_dHeight / in_dSteps, 4) + ")\"";
    }

    static std::string drawLane(const std::string& in_strLabel, const std::string& in_strTitle,
                                int in_iHeight, const std::string& in_strPaths)
    {
        return "<div class=\"lane\"><span class=\"label\">" + in_strLabel +
               "</span><svg role=\"img\" viewBox=\"0 0 1000 " + std::to_string(in_iHeight) +
               "\" preserveAspectRatio=\"none\" style=\"height:" + std::to_string(in_iHeight) +
               "px\"><title>" + Html::escape(in_strTitle) + "</title>" + in_strPaths + "</svg></div>\n";
    }

    /// Boxes with what the script needs to find them by time: kind, name, place and width of a unit.
    std::string drawBoxes(const char* in_kind, const std::string& in_strName, double in_dOffset,
                          double in_dUnit, double in_dHeight, const std::string& in_strPath) const
    {
        return "<path class=\"box " + std::string(in_kind) + "\" data-kind=\"" + in_kind + "\" data-name=\"" +
               Html::escape(in_strName) + "\" data-offset=\"" + ReportText::toFixed(in_dOffset, 6) +
               "\" data-unit=\"" + ReportText::toFixed(in_dUnit, 6) + "\" " +
               toScale(in_dOffset, in_dUnit, in_dHeight, 1.0) + " d=\"" + in_strPath + "\"/>";
    }

    std::string drawSignal() const
    {
        constexpr int HEIGHT = 120;
        const Json& envelope = m_timeline["envelope"];
        std::string strPaths;
        std::string strLabel = "<span class=\"key signal\">signal</span>";
        if (!envelope.is_null() && !envelope["least"].empty())
            strPaths += "<path class=\"signal\" " +
                        toScale(0.0, m_dSeconds / static_cast<double>(envelope["least"].size()), HEIGHT,
                                envelope["steps"].get<double>()) +
                        " d=\"" + drawBand(envelope["least"], envelope["greatest"]) + "\"/>";
        const Json& outputs = m_timeline["outputs"];
        for (std::size_t i = 0; i < outputs["traces"].size(); ++i)
        {
            const Json& trace = outputs["traces"][i];
            const std::string strClass = "output" + std::to_string(i);
            strLabel += " <span class=\"key " + strClass + "\">" + Html::escape(trace["name"]) + "</span>";
            strPaths += "<path class=\"output " + strClass + "\" " +
                        toScale(m_dStart, m_dColumn, HEIGHT, outputs["steps"].get<double>()) + " d=\"" +
                        drawBand(trace["least"], trace["greatest"]) + "\"/>";
        }
        strLabel += " <span>" + ReportText::toNumber(outputs["low"]) + " to " +
                    ReportText::toNumber(outputs["high"]) + "</span>";
        return drawLane(strLabel, "Outline of the signal, and the outputs of the entity over time", HEIGHT,
                        strPaths);
    }

    std::string drawAnnotations() const
    {
        constexpr int HEIGHT = 12;
        std::string strLanes;
        for (const Json& lane : m_timeline["annotations"])
        {
            const std::string strLabel =
                lane["label"].is_null() ? "further labels" : lane["label"].get<std::string>();
            std::string strPath;
            for (std::size_t i = 0; i + 1 < lane["spans_ms"].size(); i += 2)
            {
                const auto iStart = lane["spans_ms"][i].get<std::int64_t>();
                const auto iStop = lane["spans_ms"][i + 1].get<std::int64_t>();
                strPath += SvgPath::drawBox(iStart, std::max<std::int64_t>(iStop - iStart, 0));
            }
            strLanes +=
                drawLane("annotated " + Html::escape(strLabel), "Where " + strLabel + " is annotated", HEIGHT,
                         drawBoxes("annotated", strLabel, 0.0, 1.0 / MILLISECONDS, HEIGHT, strPath));
        }
        return strLanes;
    }

    std::string drawClasses() const
    {
        constexpr int HEIGHT = 28;
        constexpr double HALF = 12.0;
        std::string strLanes;
        for (const Json& lane : m_timeline["lanes"])
        {
            if (lane["class"] == m_report["background"] ||
                (lane["target"].empty() && lane["decided"].empty()))
                continue;
            const std::string strName = m_report["classes"][lane["class"].get<std::size_t>()];
            strLanes += drawLane(
                Html::escape(strName) + ": <span class=\"key target\">target</span> over <span class=\"key "
                                        "decided\">decided</span>",
                "Where the target was " + strName + ", and where that was decided", HEIGHT,
                drawBoxes("target", strName, m_dStart, m_dColumn, HALF, drawRuns(lane["target"])) +
                    "<g transform=\"translate(0 15)\">" +
                    drawBoxes("decided", strName, m_dStart, m_dColumn, HALF, drawRuns(lane["decided"])) +
                    "</g>");
        }
        return strLanes;
    }

    std::string drawErrors() const
    {
        constexpr int HEIGHT = 14;
        return drawLane(
            "<span class=\"key error\">misclassified</span>", "Where patterns were misclassified", HEIGHT,
            drawBoxes("error", "misclassified", m_dStart, m_dColumn, HEIGHT, drawRuns(m_timeline["errors"])));
    }

    std::string drawTicks() const
    {
        std::string strTicks;
        for (int i = 0; i <= TICKS; ++i)
            strTicks += "<span style=\"left:" + std::to_string(100 * i / TICKS) + "%\">" +
                        ReportText::toTime(m_dSeconds * i / TICKS) + "</span>";
        return "<div class=\"ticks\" aria-hidden=\"true\">" + strTicks + "</div>\n";
    }

    const Json& m_report;
    const Json& m_timeline;
    double m_dSeconds;
    double m_dStart;
    double m_dColumn;
};

std::string makeSpans(const Json& in_report, const Json& in_timeline)
{
    const Json& classes = in_report["classes"];
    std::string strRows;
    for (const Json& span : in_timeline["longest_error_spans"])
    {
        const double dStart = span["start_s"].get<double>();
        const double dStop = span["stop_s"].get<double>();
        strRows += Html::row(Html::heading(ReportText::toTime(dStart) + " to " + ReportText::toTime(dStop)) +
                             Html::cell(ReportText::toFixed(dStop - dStart, 2) + " s") +
                             Html::cell(classes[span["target"].get<std::size_t>()]) +
                             Html::cell(classes[span["decided"].get<std::size_t>()]));
    }
    if (strRows.empty())
        return {};
    return Html::table("The longest misclassified spans",
                       Html::headings({"time", "length", "target", "taken for"}), strRows);
}

std::string describe(const Json& in_recording, const Json& in_timeline)
{
    return ReportText::toPercent(in_recording["error_rate"]) + " misclassified (" +
           ReportText::toCounts(in_recording["error_rate"]) + " patterns, in " +
           std::to_string(in_recording["error_spans"].get<std::uint64_t>()) + " spans), " +
           ReportText::toTime(in_timeline["seconds"].get<double>()) + " long.";
}

} // namespace

std::string drawTimeline(const Json& in_report, std::size_t in_uiTimeline, const std::string& in_strName)
{
    const Json& timeline = in_report["timelines"][in_uiTimeline];
    const auto uiRecording = timeline["recording"].get<std::size_t>();
    const std::string strId = "recording-" + std::to_string(uiRecording);
    const Json& background = in_report["background"];
    const std::string strBackground =
        background.is_null() ? "" : in_report["classes"][background.get<std::size_t>()].get<std::string>();
    const std::string strName = Html::escape(in_strName);
    const double dSeconds = timeline["seconds"].get<double>();
    return "<article class=\"timeline\" aria-labelledby=\"" + strId + "\" data-background=\"" +
           Html::escape(strBackground) + "\" data-seconds=\"" + ReportText::toFixed(dSeconds, 6) +
           "\">\n<h3 id=\"" + strId + "\">" + strName + "</h3>\n<p>" +
           Html::escape(describe(in_report["recordings"][uiRecording], timeline)) +
           "</p>\n<div class=\"scroll plot\"><div class=\"inner\">\n" + Drawing(in_report, timeline).draw() +
           "<div class=\"cursor\" hidden></div></div></div>\n<div class=\"controls\"><label>position <input "
           "type=\"range\" min=\"0\" max=\"" +
           ReportText::toFixed(dSeconds, 3) + "\" step=\"" +
           ReportText::toFixed(std::max(timeline["column_s"].get<double>(), LEAST_STEP), 3) +
           "\" value=\"0\" aria-label=\"Position in " + strName +
           "\"></label> <label>zoom <select><option>1</option><option>2</option><option>5</option>"
           "<option>20</option></select></label> <output></output></div>\n" +
           makeSpans(in_report, timeline) + "</article>\n";
}

} // namespace Vexalor::MachineLearning
