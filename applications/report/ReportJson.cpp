#include "report/ReportJson.h"

#include "report/CurveJson.h"
#include "report/TimelineJson.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr int VERSION = 1;

Json toJson(const std::optional<double>& in_value)
{
    return in_value ? Json(*in_value) : Json(nullptr);
}

Json toJson(const Ratio& in_ratio)
{
    return {{"numerator", in_ratio.m_uiNumerator},
            {"denominator", in_ratio.m_uiDenominator},
            {"value", toJson(in_ratio.getValue())}};
}

Json toJson(const PatternCounts& in_counts)
{
    return {{"all", in_counts.m_uiAll},
            {"judged", in_counts.m_uiJudged},
            {"without_target", in_counts.m_uiWithoutTarget},
            {"without_class", in_counts.m_uiWithoutClass},
            {"several_classes", in_counts.m_uiSeveralClasses},
            {"misfits", in_counts.m_uiMisfits},
            {"output_not_finite", in_counts.m_uiNotFinite}};
}

Json makeConfusion(const ConfusionMatrix& in_matrix)
{
    Json rows = Json::array();
    for (std::size_t i = 0; i < in_matrix.size(); ++i)
    {
        Json row = Json::array();
        for (std::size_t j = 0; j < in_matrix.size(); ++j)
            row.push_back(in_matrix.getCount(i, j));
        rows.push_back(std::move(row));
    }
    return rows;
}

Json makeScores(const ConfusionMatrix& in_matrix)
{
    Json scores = Json::array();
    for (std::size_t i = 0; i < in_matrix.size(); ++i)
        scores.push_back({{"class", i},
                          {"precision", toJson(in_matrix.getPrecision(i))},
                          {"recall", toJson(in_matrix.getRecall(i))},
                          {"f1", toJson(in_matrix.getF1(i))}});
    return scores;
}

Json toJson(const LagStatistics& in_lag)
{
    if (in_lag.m_uiCount == 0)
        return nullptr;
    return {{"count", in_lag.m_uiCount},
            {"mean_s", in_lag.getMean()},
            {"mean_absolute_s", in_lag.getMeanAbsolute()},
            {"deviation_s", in_lag.getDeviation()},
            {"least_s", in_lag.m_dMin},
            {"greatest_s", in_lag.m_dMax}};
}

Json toJson(const EventStatistics::ClassCounts& in_counts)
{
    return {{"reference", in_counts.m_uiReference},
            {"decided", in_counts.m_uiDecided},
            {"hits", in_counts.m_uiHits},
            {"precision", toJson(Ratio{in_counts.m_uiHits, in_counts.m_uiDecided})},
            {"recall", toJson(Ratio{in_counts.m_uiHits, in_counts.m_uiReference})},
            {"f1", toJson(Ratio{2 * in_counts.m_uiHits, in_counts.m_uiReference + in_counts.m_uiDecided})}};
}

Json makeEvents(const TestResults& in_results)
{
    const EventStatistics& events = in_results.m_events;
    const std::uint64_t uiErrors =
        events.getNbSubstitutions() + events.getNbDeletions() + events.getNbInsertions();
    Json classes = Json::array();
    for (std::size_t i = 0; i < events.getClasses().size(); ++i)
    {
        if (i == in_results.m_uiBackground)
            continue;
        Json row{{"class", i}};
        row.update(toJson(events.getClasses()[i]));
        classes.push_back(std::move(row));
    }
    return {{"onset_collar_s", 1.0 / EventStatistics::COLLARS_IN_A_SECOND},
            {"offset_collar_s", 1.0 / EventStatistics::COLLARS_IN_A_SECOND},
            {"offset_share_of_length", 0.5},
            {"all", toJson(events.getTotal())},
            {"substitutions", events.getNbSubstitutions()},
            {"deletions", events.getNbDeletions()},
            {"insertions", events.getNbInsertions()},
            {"error_rate", toJson(Ratio{uiErrors, events.getTotal().m_uiReference})},
            {"classes", std::move(classes)},
            {"onset_lag", toJson(events.getOnsetLag())},
            {"offset_lag", toJson(events.getOffsetLag())}};
}

Json toJson(const RecordingResult& in_recording)
{
    Json json{{"name", in_recording.m_strName},
              {"patterns", in_recording.m_uiPatterns},
              {"error_rate", toJson(in_recording.getErrorRate())},
              {"error_spans", in_recording.m_uiRate == 0 ? Json(nullptr) : Json(in_recording.m_uiErrorSpans)},
              {"mean_square_error", toJson(in_recording.getMeanSquareError())}};
    if (!in_recording.m_strTone.empty())
        json["tone"] = in_recording.m_strTone;
    if (in_recording.m_uiRate == 0)
        return json;
    json["rate_hz"] = in_recording.m_uiRate;
    json["shift_samples"] = in_recording.m_uiShift;
    json["seconds"] =
        static_cast<double>(in_recording.m_uiPatterns * in_recording.m_uiShift) / in_recording.m_uiRate;
    return json;
}

std::optional<double> getMeanSquareError(const std::vector<RecordingResult>& in_vRecordings)
{
    RecordingResult all;
    for (const RecordingResult& recording : in_vRecordings)
    {
        all.m_uiCompared += recording.m_uiCompared;
        all.m_dSquareError += recording.m_dSquareError;
    }
    return all.getMeanSquareError();
}

} // namespace

nlohmann::ordered_json makeReport(const TestDescription& in_description, const TestResults& in_results)
{
    const ConfusionMatrix& confusion = in_results.m_confusion;
    const bool bRecordings = std::any_of(in_results.m_vRecordings.begin(), in_results.m_vRecordings.end(),
                                         [](const auto& in_recording) { return in_recording.m_uiRate != 0; });
    Json recordings = Json::array();
    for (const RecordingResult& recording : in_results.m_vRecordings)
        recordings.push_back(toJson(recording));
    Json timelines = Json::array();
    for (const RecordingTimeline& timeline : in_results.m_vTimelines)
        timelines.push_back(makeTimelineJson(timeline, in_results));
    return {{"schema", "vexalor-test-report"},
            {"version", VERSION},
            {"entity", in_description.m_strEntity},
            {"configuration", in_description.m_strConfiguration},
            {"input", in_description.m_strInput},
            {"complete", in_results.m_bComplete},
            {"patterns", toJson(in_results.m_patterns)},
            {"mean_square_error", toJson(getMeanSquareError(in_results.m_vRecordings))},
            {"classes", in_results.m_vClasses},
            {"background", in_results.m_uiBackground ? Json(*in_results.m_uiBackground) : Json(nullptr)},
            {"confusion", makeConfusion(confusion)},
            {"accuracy", toJson(confusion.getAccuracy())},
            {"scores", makeScores(confusion)},
            {"curve", makeCurveJson(in_results.m_scores)},
            {"events", bRecordings && confusion.size() > 0 ? makeEvents(in_results) : Json(nullptr)},
            {"recordings", std::move(recordings)},
            {"worst_first", sortWorstFirst(in_results.m_vRecordings)},
            {"timelines", std::move(timelines)}};
}

std::string toText(const nlohmann::ordered_json& in_report)
{
    return in_report.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace Vexalor::MachineLearning
