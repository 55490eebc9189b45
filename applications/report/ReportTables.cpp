#include "report/ReportTables.h"

#include "report/CurveFigure.h"
#include "report/Html.h"
#include "report/ReportText.h"

#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning::ReportTables
{

namespace
{

using Json = nlohmann::ordered_json;

/// Shares of the darkest cells; text on them stays readable.
constexpr double DARKEST = 0.35;

std::string toText(const Json& in_count)
{
    return std::to_string(in_count.get<std::uint64_t>());
}

/// "95.66 % (1234/1290)"
std::string toShare(const Json& in_ratio)
{
    return ReportText::toPercent(in_ratio) + " (" + ReportText::toCounts(in_ratio) + ')';
}

/// A ratio's value with digits after the point, and what it is made of.
std::string toScore(const Json& in_ratio)
{
    if (in_ratio["value"].is_null())
        return "- (" + ReportText::toCounts(in_ratio) + ')';
    return ReportText::toFixed(in_ratio["value"].get<double>(), 4) + " (" + ReportText::toCounts(in_ratio) +
           ')';
}

std::string makePatterns(const Json& in_counts)
{
    constexpr std::pair<const char*, const char*> KINDS[] = {
        {"all", "all"},
        {"judged", "judged: one class, and an output for each class"},
        {"without_target", "without target"},
        {"without_class", "no component of the target is 1"},
        {"several_classes", "several components of the target are 1"},
        {"misfits", "target and output do not fit each other"},
        {"output_not_finite", "of all, with an output that is no finite number"}};
    std::string strRows;
    for (const auto& [member, meaning] : KINDS)
        strRows += Html::row(Html::heading(meaning) + Html::cell(toText(in_counts[member])));
    return Html::table("Patterns by kind", Html::headings({"kind", "patterns"}), strRows);
}

/// A cell of the matrix, darker the greater its share of the row is.
std::string makeCount(const Json& in_row, std::size_t in_uiColumn, bool in_bRight)
{
    std::uint64_t uiSum = 0;
    for (const Json& count : in_row)
        uiSum += count.get<std::uint64_t>();
    const auto uiCount = in_row[in_uiColumn].get<std::uint64_t>();
    if (uiCount == 0)
        return "<td class=\"note\">0</td>";
    const double dShare = static_cast<double>(uiCount) / static_cast<double>(uiSum);
    return "<td class=\"share" + std::string(in_bRight ? " right" : "") +
           "\" style=\"--s:" + ReportText::toFixed(dShare * DARKEST, 3) + "\">" + std::to_string(uiCount) +
           "<br><span class=\"note\">" + ReportText::toFixed(100.0 * dShare, 1) + "&nbsp;%</span></td>";
}

std::string makeConfusion(const Json& in_report)
{
    std::vector<std::string> vHead{"target"};
    std::string strRows;
    const Json& confusion = in_report["confusion"];
    for (std::size_t i = 0; i < confusion.size(); ++i)
    {
        vHead.push_back("as " + in_report["classes"][i].get<std::string>());
        std::string strCells = Html::heading(in_report["classes"][i]);
        for (std::size_t j = 0; j < confusion.size(); ++j)
            strCells += makeCount(confusion[i], j, i == j);
        strRows += Html::row(strCells);
    }
    return Html::table(
        "Patterns of each class (rows) by what they were taken for (columns), and their share of "
        "the class; the right ones are bold",
        Html::headings(vHead), strRows);
}

std::string makeScores(const Json& in_report, const Json& in_scores, const char* in_caption)
{
    std::string strRows;
    for (const Json& score : in_scores)
        strRows += Html::row(Html::heading(in_report["classes"][score["class"].get<std::size_t>()]) +
                             Html::cell(toScore(score["precision"])) + Html::cell(toScore(score["recall"])) +
                             Html::cell(toScore(score["f1"])));
    return Html::table(in_caption, Html::headings({"class", "precision", "recall", "F1"}), strRows);
}

std::string makeLag(const char* in_name, const Json& in_lag)
{
    if (in_lag.is_null())
        return {};
    std::string strCells = Html::heading(in_name) + Html::cell(toText(in_lag["count"]));
    for (const char* member : {"mean_s", "mean_absolute_s", "deviation_s", "least_s", "greatest_s"})
        strCells += Html::cell(ReportText::toFixed(1000.0 * in_lag[member].get<double>(), 1));
    return Html::row(strCells);
}

std::string makeThreshold(const Json& in_curve, const Json& in_row)
{
    const auto uiPositives = in_curve["positives"].get<std::uint64_t>();
    const auto uiNegatives = in_curve["negatives"].get<std::uint64_t>();
    const auto uiMisses = in_row["misses"].get<std::uint64_t>();
    const auto uiFalse = in_row["false_alarms"].get<std::uint64_t>();
    const auto toPercent = [](std::uint64_t in_uiCount, std::uint64_t in_uiOf)
    {
        return in_uiOf == 0 ? std::string("-")
                            : ReportText::toFixed(
                                  100.0 * static_cast<double>(in_uiCount) / static_cast<double>(in_uiOf), 2) +
                                  " % (" + std::to_string(in_uiCount) + '/' + std::to_string(in_uiOf) + ')';
    };
    const std::uint64_t uiHits = uiPositives - uiMisses;
    return Html::row(Html::heading(in_row["rule"]) + Html::cell(ReportText::toNumber(in_row["threshold"])) +
                     Html::cell(toPercent(uiFalse, uiNegatives)) +
                     Html::cell(toPercent(uiMisses, uiPositives)) +
                     Html::cell(toPercent(uiHits, uiHits + uiFalse)) +
                     Html::cell(toPercent(2 * uiHits, 2 * uiHits + uiMisses + uiFalse)));
}

} // namespace

std::string makeClasses(const Json& in_report)
{
    if (in_report["confusion"].empty())
        return "<p>No pattern was judged: no target has a component that is 1, or none fits the "
               "output.</p>\n" +
               makePatterns(in_report["patterns"]);
    return makeConfusion(in_report) +
           makeScores(in_report, in_report["scores"],
                      "Precision, of the patterns taken for the class; recall, of the patterns of the class; "
                      "F1, twice "
                      "the right ones of both") +
           makePatterns(in_report["patterns"]);
}

std::string makeEvents(const Json& in_report)
{
    const Json& events = in_report["events"];
    std::string strText = "<p>An event is a stretch of windows of one class in a row, with the target as the "
                          "reference and the output as "
                          "what was decided";
    if (!in_report["background"].is_null())
        strText += "; " + Html::escape(in_report["classes"][in_report["background"].get<std::size_t>()]) +
                   " has no events";
    strText += ". A decided event is a hit when it has the class of a reference event, begins at most " +
               ReportText::toFixed(events["onset_collar_s"].get<double>(), 1) +
               " s before or after it and ends at most " +
               ReportText::toFixed(events["offset_collar_s"].get<double>(), 1) +
               " s, or half its length where that is more, before or after it. Each event counts once; of "
               "all ways to "
               "pair them one with the most hits and, among those, the least total lag is taken.</p>\n";
    std::string strKinds =
        Html::row(Html::heading("hits") + Html::cell(toText(events["all"]["hits"]))) +
        Html::row(Html::heading("substitutions: found, as another class") +
                  Html::cell(toText(events["substitutions"]))) +
        Html::row(Html::heading("deletions: not found") + Html::cell(toText(events["deletions"]))) +
        Html::row(Html::heading("insertions: decided, but none") + Html::cell(toText(events["insertions"]))) +
        Html::row(Html::heading("error rate: the last three of all reference events") +
                  Html::cell(toShare(events["error_rate"])));
    const std::string strLags =
        makeLag("onset", events["onset_lag"]) + makeLag("offset", events["offset_lag"]);
    strText += Html::table("Events by kind", Html::headings({"kind", "events"}), strKinds) +
               makeScores(in_report, events["classes"], "Precision, recall and F1 of events");
    if (!strLags.empty())
        strText += Html::table(
            "By how many milliseconds hits come late (less than 0: early)",
            Html::headings({"lag", "hits", "mean", "mean of magnitudes", "deviation", "least", "greatest"}),
            strLags);
    return strText;
}

std::string makeCurve(const Json& in_report)
{
    const Json& curve = in_report["curve"];
    const std::string strFirst = Html::escape(in_report["classes"][0]);
    const std::string strSecond = Html::escape(in_report["classes"][1]);
    std::string strText =
        "<p>The score of a pattern is output 0 less output 1, and it is taken for " + strFirst +
        " when its score reaches the threshold: at the operating point that is 0. A false alarm is " +
        strSecond + " taken for " + strFirst + ", a miss is " + strFirst + " taken for " + strSecond +
        ". The area under the first curve is " +
        ReportText::toFixed(curve["area"]["value"].get<double>(), 5) + ", exact to " +
        ReportText::toNumber(curve["area"]["error"]) +
        "; scores are counted in bins, and what is said of a threshold is exact.";
    if (curve["score_not_a_number"] != 0)
        strText += " " + toText(curve["score_not_a_number"]) + " scores are not numbers and left out.";
    strText += "</p>\n" + drawCurves(curve);
    std::string strRows;
    for (const Json& row : curve["thresholds"])
        strRows += makeThreshold(curve, row);
    return strText +
           Html::table("Thresholds, and what they bring",
                       Html::headings({"rule", "threshold", "false alarms", "misses", "precision", "F1"}),
                       strRows);
}

} // namespace Vexalor::MachineLearning::ReportTables
