#include "inspect/InspectionPage.h"

#include "report/Html.h"
#include "report/Page.h"
#include "report/ReportText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

/// Inputs with a row of their own.
constexpr std::size_t MAX_INPUTS = 1000;
constexpr std::size_t MAX_DRAWN_CLASSES = 4;
constexpr double WIDTH = 160.0;
constexpr double HEIGHT = 32.0;

std::string makeAbout(const Json& in_inspection)
{
    std::string strRows = "<dt>generator</dt><dd>" + Html::escape(in_inspection["configuration"]) + "</dd>\n";
    for (const Json& file : in_inspection["inputs_from"])
        if (file != "")
            strRows += "<dt>data</dt><dd>" + Html::escape(file) + "</dd>\n";
    return "<dl class=\"about\">\n" + strRows + "</dl>\n";
}

std::string makeFigures(const Json& in_inspection)
{
    std::string strFigures =
        Page::figure(in_inspection["patterns"]["all"].dump(), "patterns") +
        Page::figure(in_inspection["input_size"].dump() + " + " + in_inspection["target_size"].dump(),
                     "inputs and targets each");
    if (!in_inspection["sequences"].is_null())
        strFigures += Page::figure(in_inspection["sequences"].dump(), "sequences");
    const Json& recordings = in_inspection["recordings"];
    if (!recordings.is_null())
        strFigures += Page::figure(recordings["used"].dump() + '/' + recordings["listed"].dump(),
                                   "recordings used, of those listed");
    return "<div class=\"figures\">\n" + strFigures + "</div>\n";
}

std::string makeFindings(const Json& in_findings)
{
    if (in_findings.empty())
        return "<p>Nothing was found that is wrong.</p>\n";
    std::string strRows;
    for (const Json& finding : in_findings)
        strRows += Html::row(Html::heading(finding["severity"]) + "<td class=\"text\">" +
                             Html::escape(finding["text"]) + "</td>");
    return Html::table("An error makes worthless what is learnt from the data",
                       Html::headings({"severity", "finding"}), strRows);
}

std::string makePatterns(const Json& in_patterns)
{
    constexpr std::pair<const char*, const char*> KINDS[] = {
        {"all", "all"},
        {"without_target", "without target"},
        {"without_class", "no component of the target is 1"},
        {"several_classes", "several components of the target are 1"},
        {"misfits", "of other sizes than the first one"}};
    std::string strRows;
    for (const auto& [member, meaning] : KINDS)
        strRows += Html::row(Html::heading(meaning) + Html::cell(in_patterns[member].dump()));
    return Html::table("Patterns by kind", Html::headings({"kind", "patterns"}), strRows);
}

std::string makeClasses(const Json& in_inspection)
{
    const bool bRecordings = !in_inspection["recordings"].is_null();
    std::vector<std::string> vHead{"class", "patterns", "share"};
    if (bRecordings)
        vHead.insert(vHead.end(), {"seconds", "annotated seconds", "annotated events", "seen by no window"});
    const auto dAll = std::max(1.0, in_inspection["patterns"]["all"].get<double>());
    std::string strRows;
    for (const Json& row : in_inspection["classes"])
    {
        std::string strCells =
            Html::heading(row["name"]) + Html::cell(row["patterns"].dump()) +
            Html::cell(ReportText::toFixed(100.0 * row["patterns"].get<double>() / dAll, 2) + " %");
        if (bRecordings)
            strCells += Html::cell(ReportText::toFixed(row["seconds"].get<double>(), 2)) +
                        Html::cell(ReportText::toFixed(row["annotated_seconds"].get<double>(), 2)) +
                        Html::cell(row["events"].dump()) + Html::cell(row["unseen_events"].dump());
        strRows += Html::row(strCells);
    }
    const std::string strTable = strRows.empty() ? "<p>The targets are no classes.</p>\n"
                                                 : Html::table("Patterns of each class, and what is "
                                                               "annotated",
                                                               Html::headings(vHead), strRows);
    return strTable + makePatterns(in_inspection["patterns"]);
}

/// Steps of a line, a column each, as high as its share of the greatest one.
std::string toSteps(const Json& in_counts)
{
    double dMost = 1.0;
    for (const Json& count : in_counts)
        dMost = std::max(dMost, count.get<double>());
    const double dWidth = WIDTH / static_cast<double>(in_counts.size());
    std::string strPath = "M0 " + ReportText::toFixed(HEIGHT, 0);
    for (std::size_t i = 0; i < in_counts.size(); ++i)
        strPath += 'V' + ReportText::toFixed(HEIGHT * (1.0 - in_counts[i].get<double>() / dMost), 1) + 'H' +
                   ReportText::toFixed(dWidth * static_cast<double>(i + 1), 1);
    return strPath + 'V' + ReportText::toFixed(HEIGHT, 0);
}

/// All patterns as an area, those of the first classes as lines, each to its own scale.
std::string drawHistogram(const Json& in_histogram)
{
    if (in_histogram.is_null() || in_histogram["counts"].empty())
        return {};
    const auto dLow = in_histogram["lower_edge"].get<double>();
    const double dHigh =
        dLow + in_histogram["width"].get<double>() * static_cast<double>(in_histogram["counts"].size());
    std::string strPaths = "<path class=\"signal\" d=\"" + toSteps(in_histogram["counts"]) + "Z\"/>";
    const Json& classes = in_histogram["classes"];
    for (std::size_t i = 0; i < std::min(classes.size(), MAX_DRAWN_CLASSES); ++i)
        strPaths +=
            "<path class=\"outline output" + std::to_string(i) + "\" d=\"" + toSteps(classes[i]) + "\"/>";
    return "<svg class=\"histogram\" role=\"img\" viewBox=\"0 0 " + ReportText::toFixed(WIDTH, 0) + ' ' +
           ReportText::toFixed(HEIGHT, 0) + "\" preserveAspectRatio=\"none\"><title>from " +
           ReportText::toNumber(dLow) + " to " + ReportText::toNumber(dHigh) + "</title>" + strPaths +
           "</svg>";
}

std::string toSeparation(const Json& in_inspection, const Json& in_separation)
{
    if (in_separation.is_null() || in_separation["best"].is_null())
        return "-";
    const Json& best = in_separation["best"];
    const std::string strName = in_inspection["targets"][best["class"].get<std::size_t>()];
    const auto dError = best["error"].get<double>();
    return ReportText::toFixed(best["value"].get<double>(), 4) +
           (dError == 0.0 ? "" : " \u00b1 " + ReportText::toNumber(best["error"])) + ' ' + strName;
}

std::string toRemark(const Json& in_input)
{
    std::string strRemark;
    const auto uiNotFinite =
        in_input["not_a_number"].get<std::uint64_t>() + in_input["infinite"].get<std::uint64_t>();
    if (uiNotFinite != 0)
        strRemark += std::to_string(uiNotFinite) + " not finite ";
    if (in_input["constant"] == true)
        strRemark += "constant";
    else if (!in_input["equal_to"].is_null())
        strRemark += "equal to input " + in_input["equal_to"].dump();
    return strRemark;
}

std::string makeKey(const Json& in_inspection)
{
    std::string strKey = "<span class=\"key signal\">all</span>";
    const Json& targets = in_inspection["targets"];
    const bool bClasses = !in_inspection["classes"].empty();
    for (std::size_t i = 0; bClasses && i < std::min(targets.size(), MAX_DRAWN_CLASSES); ++i)
        strKey +=
            " <span class=\"key output" + std::to_string(i) + "\">" + Html::escape(targets[i]) + "</span>";
    return strKey;
}

std::string makeInputs(const Json& in_inspection)
{
    const Json& inputs = in_inspection["inputs"];
    std::string strText =
        "<p>How well an input alone tells a class from all other patterns is the area under "
        "the receiver operating characteristic of its value: the share of pairs of a "
        "pattern of the class and another one that stand in one order, 0.5 telling nothing "
        "and 1 everything. The class that is told best is named. Histograms show all "
        "patterns and those of the first classes, each to its own scale: " +
        makeKey(in_inspection) + "</p>\n";
    std::string strRows;
    for (std::size_t i = 0; i < std::min(inputs.size(), MAX_INPUTS); ++i)
    {
        const Json& input = inputs[i];
        strRows +=
            Html::row(Html::heading(std::to_string(i)) + "<td>" + drawHistogram(input["histogram"]) +
                      "</td>" + Html::cell(toSeparation(in_inspection, input["separation"])) +
                      Html::cell(ReportText::toNumber(input["least"])) +
                      Html::cell(ReportText::toNumber(input["greatest"])) +
                      Html::cell(ReportText::toNumber(input["mean"])) +
                      Html::cell(ReportText::toNumber(input["deviation"])) + Html::cell(toRemark(input)));
    }
    strText += Html::table("Inputs, counted from 0",
                           Html::headings({"input", "histogram", "separates", "least", "greatest", "mean",
                                           "deviation", "remark"}),
                           strRows);
    if (inputs.size() > MAX_INPUTS)
        strText +=
            "<p>" + std::to_string(inputs.size() - MAX_INPUTS) + " further inputs are in the JSON.</p>\n";
    return strText;
}

std::string makeLabels(const Json& in_inspection)
{
    std::string strRows;
    for (const Json& label : in_inspection["labels"])
        strRows += Html::row(Html::heading(label["label"]) + Html::cell(label["annotations"].dump()) +
                             Html::cell(ReportText::toFixed(label["seconds"].get<double>(), 2)) +
                             Html::cell(label["taken"] == true ? "yes" : "no"));
    std::string strText =
        Html::table("Labels of the recordings",
                    Html::headings({"label", "annotations", "seconds", "a class takes it"}), strRows);
    if (in_inspection["further_labels"] != 0)
        strText += "<p>" + in_inspection["further_labels"].dump() + " annotations have further labels.</p>\n";
    return strText;
}

std::string makeNames(const char* in_caption, const Json& in_names)
{
    std::string strRows;
    for (const Json& name : in_names)
        strRows += Html::row(Html::heading(name));
    return strRows.empty() ? "" : Html::table(in_caption, Html::headings({"recording"}), strRows);
}

std::string makeRecordings(const Json& in_recordings)
{
    std::string strRates;
    for (const Json& rate : in_recordings["rates"])
        strRates += Html::row(Html::heading(rate["rate_hz"].dump()) + Html::cell(rate["recordings"].dump()));
    std::string strSkipped;
    for (const Json& skipped : in_recordings["skipped"])
        strSkipped += Html::row(Html::heading(skipped["name"]) + "<td class=\"text\">" +
                                Html::escape(skipped["reason"]) + "</td>");
    return Html::table("Recordings that can be used, by rate", Html::headings({"Hz", "recordings"}),
                       strRates) +
           (strSkipped.empty() ? ""
                               : Html::table("Recordings that are skipped",
                                             Html::headings({"recording", "reason"}), strSkipped)) +
           makeNames("Recordings that can be used and delivered no pattern",
                     in_recordings["without_pattern"]) +
           makeNames("Recordings without any annotation", in_recordings["without_annotation"]) +
           makeNames("Recordings annotated past their end", in_recordings["annotated_past_end"]) +
           makeNames("Recordings whose inputs never change", in_recordings["unchanging"]) +
           makeNames("Recordings that are listed again", in_recordings["repeated"]);
}

} // namespace

std::string makeInspectionPage(const Json& in_inspection)
{
    Page::Sections sections;
    sections.add("findings", "Findings", makeFindings(in_inspection["findings"]));
    sections.add("classes", "Classes", makeClasses(in_inspection));
    if (!in_inspection["inputs"].empty())
        sections.add("inputs", "Inputs", makeInputs(in_inspection));
    if (!in_inspection["labels"].empty())
        sections.add("labels", "Labels", makeLabels(in_inspection));
    if (!in_inspection["recordings"].is_null())
        sections.add("recordings", "Recordings", makeRecordings(in_inspection["recordings"]));
    const std::string strWarning =
        in_inspection["complete"] == true
            ? ""
            : "<p class=\"warning\" role=\"alert\"><strong>The data could not be read to their end.</strong> "
              "The numbers are those of what was read.</p>\n";
    return Page::make("Inspection of data", makeAbout(in_inspection),
                      strWarning + makeFigures(in_inspection) + sections.getText(), "");
}

} // namespace Vexalor::MachineLearning
