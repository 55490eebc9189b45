#include "inspect/InspectionText.h"

#include "report/ReportText.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;
using Rows = std::vector<std::vector<std::string>>;

/// Inputs of a table; JSON and page have all of them.
constexpr std::size_t MAX_INPUTS = 100;
constexpr std::size_t MAX_LABELS = 50;

std::string countOf(const Json& in_count, const std::string& in_strWhat)
{
    const auto uiCount = in_count.get<std::uint64_t>();
    return std::to_string(uiCount) + ' ' + in_strWhat + (uiCount == 1 ? "" : "s");
}

std::string countLeftOut(const Json& in_recordings, const std::string& in_strHow)
{
    return in_recordings.empty() ? "" : ", " + std::to_string(in_recordings.size()) + ' ' + in_strHow;
}

std::string makeCounts(const Json& in_inspection)
{
    const Json& patterns = in_inspection["patterns"];
    std::string strText = countOf(patterns["all"], "pattern") + " of " +
                          countOf(in_inspection["input_size"], "input") + " and " +
                          countOf(in_inspection["target_size"], "target");
    if (!in_inspection["sequences"].is_null())
        strText += ", in " + countOf(in_inspection["sequences"], "sequence");
    constexpr std::pair<const char*, const char*> KINDS[] = {{"without_target", "without target"},
                                                             {"several_classes", "of several classes"},
                                                             {"misfits", "of other sizes"}};
    for (const auto& [member, meaning] : KINDS)
        if (patterns[member] != 0)
            strText += "; " + patterns[member].dump() + ' ' + meaning;
    const Json& recordings = in_inspection["recordings"];
    if (!recordings.is_null())
        strText += "\n" + recordings["used"].dump() + " of " + countOf(recordings["listed"], "recording") +
                   " used" + countLeftOut(recordings["skipped"], "skipped") +
                   countLeftOut(recordings["without_pattern"], "without a pattern");
    return strText + '\n';
}

std::string makeClasses(const Json& in_inspection)
{
    const bool bRecordings = !in_inspection["recordings"].is_null();
    Rows vRows{{"class", "patterns", "share"}};
    if (bRecordings)
        vRows.front().insert(vRows.front().end(), {"seconds", "annotated", "events", "unseen"});
    const auto dAll = in_inspection["patterns"]["all"].get<double>();
    for (const Json& row : in_inspection["classes"])
    {
        vRows.push_back({row["name"], row["patterns"].dump(),
                         ReportText::toFixed(100.0 * row["patterns"].get<double>() / dAll, 1) + " %"});
        if (bRecordings)
            vRows.back().insert(vRows.back().end(),
                                {ReportText::toFixed(row["seconds"].get<double>(), 2),
                                 ReportText::toFixed(row["annotated_seconds"].get<double>(), 2),
                                 row["events"].dump(), row["unseen_events"].dump()});
    }
    return vRows.size() == 1 ? "" : '\n' + ReportText::toTable(vRows, 0);
}

/// A character a column, the higher the more patterns.
std::string makeStrip(const Json& in_histogram)
{
    static constexpr std::string_view LEVELS = " .:-=+*#%@";
    std::uint64_t uiMost = 1;
    for (const Json& count : in_histogram["counts"])
        uiMost = std::max(uiMost, count.get<std::uint64_t>());
    std::string strStrip;
    for (const Json& count : in_histogram["counts"])
    {
        const auto uiCount = count.get<std::uint64_t>();
        const std::uint64_t uiLevel = (uiCount * (LEVELS.size() - 1) + uiMost - 1) / uiMost;
        strStrip += LEVELS[uiLevel];
    }
    return '|' + strStrip + '|';
}

std::string makeInputs(const Json& in_inspection)
{
    const Json& inputs = in_inspection["inputs"];
    if (inputs.empty())
        return {};
    Rows vRows{{"input", "least", "greatest", "mean", "deviation", "separates", "histogram"}};
    for (std::size_t i = 0; i < std::min(inputs.size(), MAX_INPUTS); ++i)
    {
        const Json& input = inputs[i];
        const Json& best = input["separation"].is_null() ? input["separation"] : input["separation"]["best"];
        vRows.push_back(
            {std::to_string(i), ReportText::toNumber(input["least"]), ReportText::toNumber(input["greatest"]),
             ReportText::toNumber(input["mean"]), ReportText::toNumber(input["deviation"]),
             best.is_null()
                 ? "-"
                 : ReportText::toFixed(best["value"].get<double>(), 3) + ' ' +
                       in_inspection["targets"][best["class"].get<std::size_t>()].get<std::string>(),
             input["histogram"].is_null() ? "" : makeStrip(input["histogram"])});
    }
    std::string strText = '\n' + ReportText::toTable(vRows, vRows.front().size() - 1);
    if (inputs.size() > MAX_INPUTS)
        strText += std::to_string(inputs.size() - MAX_INPUTS) + " further inputs: --json, --html\n";
    return strText;
}

std::string makeLabels(const Json& in_inspection)
{
    Rows vRows{{"label", "annotations", "seconds", "class"}};
    for (const Json& label : in_inspection["labels"])
    {
        if (vRows.size() > MAX_LABELS)
            break;
        vRows.push_back({label["label"], label["annotations"].dump(),
                         ReportText::toFixed(label["seconds"].get<double>(), 2),
                         label["taken"] == true ? "yes" : "none"});
    }
    return vRows.size() == 1 ? "" : '\n' + ReportText::toTable(vRows, 0);
}

} // namespace

std::string makeFindingsText(const Json& in_inspection)
{
    std::string strText;
    for (const Json& finding : in_inspection["findings"])
        strText += finding["severity"].get<std::string>() + ": " + finding["text"].get<std::string>() + '\n';
    return strText;
}

std::string makeInspectionText(const Json& in_inspection)
{
    const std::string strFindings = makeFindingsText(in_inspection);
    return makeCounts(in_inspection) + makeClasses(in_inspection) + makeInputs(in_inspection) +
           makeLabels(in_inspection) + (strFindings.empty() ? "" : '\n' + strFindings);
}

} // namespace Vexalor::MachineLearning
