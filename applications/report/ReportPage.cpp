#include "report/ReportPage.h"

#include "report/Html.h"
#include "report/Page.h"
#include "report/PageAssets.h"
#include "report/ReportTables.h"
#include "report/ReportText.h"
#include "report/TimelineFigure.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

/// Names without the folder that all of them share.
std::vector<std::string> shortenNames(const Json& in_recordings)
{
    std::vector<std::string> vNames;
    std::string strShared;
    for (const Json& recording : in_recordings)
    {
        vNames.push_back(recording["name"]);
        const std::string& strName = vNames.back();
        if (vNames.size() == 1)
            strShared = strName.substr(0, strName.rfind('/') + 1);
        strShared.erase(
            std::mismatch(strShared.begin(), strShared.end(), strName.begin(), strName.end()).first,
            strShared.end());
        strShared.erase(strShared.rfind('/') + 1);
    }
    for (std::size_t i = 0; i < vNames.size(); ++i)
        vNames[i] = ReportText::toRecordingName(vNames[i].substr(strShared.size()), in_recordings[i]);
    return vNames;
}

std::string makeAbout(const Json& in_report)
{
    std::string strRows;
    for (const auto& [title, member] :
         {std::pair("tested", "entity"), std::pair("generator", "configuration"), std::pair("data", "input")})
        if (in_report[member] != "")
            strRows +=
                "<dt>" + std::string(title) + "</dt><dd>" + Html::escape(in_report[member]) + "</dd>\n";
    return "<dl class=\"about\">\n" + strRows + "</dl>\n";
}

std::string makeFigures(const Json& in_report)
{
    std::string strFigures;
    const Json& accuracy = in_report["accuracy"];
    if (!accuracy["value"].is_null())
        strFigures += Page::figure(ReportText::toPercent(accuracy),
                                   "recognised, " + ReportText::toCounts(accuracy) + " patterns");
    const Json& error = in_report["mean_square_error"];
    if (!error.is_null())
        strFigures += Page::figure(ReportText::toNumber(error), "mean square error");
    const Json& events = in_report["events"];
    if (!events.is_null())
        strFigures += Page::figure(ReportText::toPercent(events["all"]["recall"]),
                                   "of events found, " + ReportText::toCounts(events["all"]["recall"]));
    const Json& curve = in_report["curve"];
    if (!curve.is_null())
        strFigures +=
            Page::figure(ReportText::toFixed(curve["area"]["value"].get<double>(), 4),
                         "area under the curve, \u00b1" + ReportText::toNumber(curve["area"]["error"]));
    const Json& recordings = in_report["recordings"];
    const bool bTones = !recordings.empty() && recordings[0].contains("tone");
    strFigures +=
        Page::figure(std::to_string(recordings.size()), bTones ? "recordings, each for each tone"
                                                        : recordings.size() == 1 ? "recording or file"
                                                                                 : "recordings");
    return "<div class=\"figures\">\n" + strFigures + "</div>\n";
}

bool isDrawn(const Json& in_report, std::size_t in_uiRecording)
{
    return std::any_of(in_report["timelines"].begin(), in_report["timelines"].end(),
                       [&](const Json& in_timeline) { return in_timeline["recording"] == in_uiRecording; });
}

std::string makeRecordings(const Json& in_report, const std::vector<std::string>& in_vNames)
{
    std::string strRows;
    for (const Json& place : in_report["worst_first"])
    {
        const auto uiRecording = place.get<std::size_t>();
        const Json& recording = in_report["recordings"][uiRecording];
        std::string strName = Html::escape(in_vNames[uiRecording]);
        if (isDrawn(in_report, uiRecording))
            strName = "<a href=\"#recording-" + std::to_string(uiRecording) + "\">" + strName + "</a>";
        strRows += Html::row("<th scope=\"row\">" + strName + "</th>" +
                             Html::cell(ReportText::toPercent(recording["error_rate"])) +
                             Html::cell(ReportText::toCounts(recording["error_rate"])) +
                             Html::cell(ReportText::toNumber(recording["mean_square_error"])) +
                             Html::cell(std::to_string(recording["patterns"].get<std::uint64_t>())));
    }
    return Html::table(
        "Recordings, the worst first",
        Html::headings({"recording", "misclassified", "of judged", "mean square error", "patterns"}),
        strRows);
}

std::string makeTimelines(const Json& in_report, const std::vector<std::string>& in_vNames)
{
    std::string strText =
        "<p>" + std::to_string(in_report["timelines"].size()) + " of " + std::to_string(in_vNames.size()) +
        " recordings, the worst first. What lies closer together than can be drawn is drawn together, and "
        "the shortest "
        "stretch is still seen. Point at a drawing or move its slider to read what is there.</p>\n";
    for (std::size_t i = 0; i < in_report["timelines"].size(); ++i)
        strText +=
            drawTimeline(in_report, i, in_vNames[in_report["timelines"][i]["recording"].get<std::size_t>()]);
    return strText;
}

} // namespace

std::string makePage(const Json& in_report)
{
    const std::vector<std::string> vNames = shortenNames(in_report["recordings"]);
    Page::Sections sections;
    sections.add("classes", "What was taken for what", ReportTables::makeClasses(in_report));
    if (!in_report["events"].is_null())
        sections.add("events", "Events", ReportTables::makeEvents(in_report));
    if (!in_report["curve"].is_null())
        sections.add("curves", "Thresholds", ReportTables::makeCurve(in_report));
    sections.add("recordings", "Recordings", makeRecordings(in_report, vNames));
    if (!in_report["timelines"].empty())
        sections.add("timelines", "Timelines", makeTimelines(in_report, vNames));
    const std::string strWarning =
        in_report["complete"] == true
            ? ""
            : "<p class=\"warning\" role=\"alert\"><strong>The test failed:</strong> it stopped before its "
              "end, or "
              "outputs make no sense. The numbers are those of what was tested.</p>\n";
    return Page::make("Test report", makeAbout(in_report),
                      strWarning + makeFigures(in_report) + sections.getText(), PAGE_SCRIPT);
}

} // namespace Vexalor::MachineLearning
