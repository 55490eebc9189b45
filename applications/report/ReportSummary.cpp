#include "report/ReportSummary.h"

#include "report/ReportText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::size_t MAX_RECORDINGS = 10;

std::string makeMatrix(const Json& in_report)
{
    const Json& classes = in_report["classes"];
    std::vector<std::vector<std::string>> vRows{{"target \\ taken for"}};
    std::vector<std::string> vPrecision{"precision"};
    for (std::size_t i = 0; i < in_report["confusion"].size(); ++i)
    {
        vRows.front().push_back(classes[i]);
        std::vector<std::string> vRow{classes[i]};
        for (const Json& count : in_report["confusion"][i])
            vRow.push_back(std::to_string(count.get<std::uint64_t>()));
        vRow.push_back(ReportText::toPercent(in_report["scores"][i]["recall"]));
        vRows.push_back(std::move(vRow));
        vPrecision.push_back(ReportText::toPercent(in_report["scores"][i]["precision"]));
    }
    vRows.front().push_back("recall");
    vRows.push_back(std::move(vPrecision));
    return ReportText::toTable(vRows, 0);
}

std::string makeEvents(const Json& in_events)
{
    const auto count = [&](const char* in_name)
    {
        return std::to_string(in_events[in_name].get<std::uint64_t>());
    };
    return "Events: " + ReportText::toCounts(in_events["all"]["recall"]) + " found, " +
           count("substitutions") + " as another class, " + count("deletions") + " not, " +
           count("insertions") + " decided that are none\n";
}

std::string makeRecordings(const Json& in_report)
{
    std::vector<std::vector<std::string>> vRows;
    for (const Json& place : in_report["worst_first"])
    {
        if (vRows.size() == MAX_RECORDINGS)
            break;
        const Json& recording = in_report["recordings"][place.get<std::size_t>()];
        vRows.push_back({ReportText::toPercent(recording["error_rate"]),
                         ReportText::toCounts(recording["error_rate"]),
                         ReportText::toNumber(recording["mean_square_error"]),
                         ReportText::toRecordingName(recording["name"], recording)});
    }
    return "Worst recordings, of " + std::to_string(in_report["recordings"].size()) +
           ": misclassified patterns, mean square error\n" + ReportText::toTable(vRows, 3);
}

} // namespace

std::string makeSummary(const Json& in_report)
{
    std::string strText;
    if (!in_report["confusion"].empty())
        strText += makeMatrix(in_report);
    if (!in_report["events"].is_null())
        strText += makeEvents(in_report["events"]);
    if (!in_report["recordings"].empty())
        strText += makeRecordings(in_report);
    return strText;
}

} // namespace Vexalor::MachineLearning
