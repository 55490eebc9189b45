#include "report/TimelineJson.h"

#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/InputFile.h"
#include "report/Envelope.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

/// Traces and envelopes are drawn on scales of as many steps.
constexpr double STEPS = 1000.0;
constexpr std::size_t ENVELOPE_COLUMNS = 1200;
/// Labels that have a lane of their own.
constexpr std::size_t MAX_LABELS = 8;

/// [start, length, start, length, ...] of the columns for which a predicate holds.
template <class Predicate>
Json makeRuns(std::size_t in_uiColumns, const Predicate& in_isIn)
{
    Json runs = Json::array();
    for (std::size_t i = 0; i < in_uiColumns; ++i)
    {
        const std::size_t uiStart = i;
        while (i < in_uiColumns && in_isIn(i))
            ++i;
        if (i == uiStart)
            continue;
        runs.push_back(uiStart);
        runs.push_back(i - uiStart);
    }
    return runs;
}

/// The place of a value between 0 for the low and STEPS for the high end; null for what is no number.
Json toStep(double in_dValue, double in_dLow, double in_dHigh)
{
    if (!std::isfinite(in_dValue))
        return nullptr;
    return std::lround(std::clamp((in_dValue - in_dLow) / (in_dHigh - in_dLow), 0.0, 1.0) * STEPS);
}

/// From 0 to 1 at least; of scores as far below 0 as above, so that their threshold is in the middle.
Timeline::Range findScale(const RecordingTimeline& in_timeline)
{
    const Timeline& timeline = in_timeline.m_timeline;
    Timeline::Range scale{0.0, 1.0};
    for (std::size_t i = 0; i < timeline.getNbTraces(); ++i)
        for (std::size_t j = 0; j < timeline.getNbColumns(); ++j)
        {
            const Timeline::Range& range = timeline.getRange(i, j);
            if (std::isfinite(range.m_dMin) && std::isfinite(range.m_dMax))
                scale.add(range.m_dMin, range.m_dMax);
        }
    if (in_timeline.m_traces == RecordingTimeline::Traces::SCORE)
        scale.add(-scale.m_dMax, -scale.m_dMin);
    return scale;
}

std::string nameTrace(RecordingTimeline::Traces in_traces, std::size_t in_uiTrace,
                      const StringVector& in_vClasses)
{
    const auto getName = [&](std::size_t in_uiOutput)
    {
        return "output " +
               (in_uiOutput < in_vClasses.size() ? in_vClasses[in_uiOutput] : std::to_string(in_uiOutput));
    };
    if (in_traces == RecordingTimeline::Traces::SCORE)
        return getName(0) + " less " + getName(1);
    return in_traces == RecordingTimeline::Traces::GREATEST ? "greatest output" : getName(in_uiTrace);
}

Json makeTraces(const RecordingTimeline& in_timeline, const StringVector& in_vClasses)
{
    const Timeline& timeline = in_timeline.m_timeline;
    const Timeline::Range scale = findScale(in_timeline);
    Json traces = Json::array();
    for (std::size_t i = 0; i < timeline.getNbTraces(); ++i)
    {
        Json least = Json::array();
        Json greatest = Json::array();
        for (std::size_t j = 0; j < timeline.getNbColumns(); ++j)
        {
            least.push_back(toStep(timeline.getRange(i, j).m_dMin, scale.m_dMin, scale.m_dMax));
            greatest.push_back(toStep(timeline.getRange(i, j).m_dMax, scale.m_dMin, scale.m_dMax));
        }
        traces.push_back({{"name", nameTrace(in_timeline.m_traces, i, in_vClasses)},
                          {"least", std::move(least)},
                          {"greatest", std::move(greatest)}});
    }
    return {{"low", scale.m_dMin}, {"high", scale.m_dMax}, {"steps", STEPS}, {"traces", std::move(traces)}};
}

Json makeLanes(const Timeline& in_timeline, std::size_t in_uiClasses)
{
    Json lanes = Json::array();
    for (std::size_t i = 0; i < std::min(in_uiClasses, Timeline::MAX_CLASSES); ++i)
    {
        const auto makeOf = [&](Timeline::Classes Timeline::Flags::*in_member)
        {
            return makeRuns(
                in_timeline.getNbColumns(), [&](std::size_t in_uiColumn)
                { return (in_timeline.getFlags(in_uiColumn).*in_member & Timeline::toClasses(i)) != 0; });
        };
        lanes.push_back({{"class", i},
                         {"target", makeOf(&Timeline::Flags::m_target)},
                         {"decided", makeOf(&Timeline::Flags::m_decided)}});
    }
    return lanes;
}

Json makeSpans(const RecordingTimeline& in_timeline, double in_dRate)
{
    Json spans = Json::array();
    for (const ErrorSpan& span : in_timeline.m_vLongestSpans)
        spans.push_back({{"start_s", static_cast<double>(span.m_interval.m_iStart) / in_dRate},
                         {"stop_s", static_cast<double>(span.m_interval.m_iStop) / in_dRate},
                         {"target", span.m_uiTarget},
                         {"decided", span.m_uiDecided}});
    return spans;
}

/// Stretches of one label in milliseconds: [start, stop, start, stop, ...].
struct LabelLane
{
    std::optional<std::string> m_label; ///< none: of several
    Json m_spans = Json::array();

    /// In order of the starts. What is nearer to the stretch before than in_iGap belongs to it.
    void add(std::int64_t in_iStart, std::int64_t in_iStop, std::int64_t in_iGap)
    {
        if (m_spans.empty() || in_iStart > m_spans.back().get<std::int64_t>() + in_iGap)
        {
            m_spans.push_back(in_iStart);
            m_spans.push_back(in_iStop);
        }
        else if (in_iStop > m_spans.back().get<std::int64_t>())
        {
            m_spans.back() = in_iStop;
        }
    }
};

/// The lane of a label: its own, or one for all labels after the first ones.
LabelLane& findLane(std::vector<LabelLane>& io_vLanes, const std::string& in_strLabel)
{
    for (LabelLane& lane : io_vLanes)
        if (!lane.m_label || *lane.m_label == in_strLabel)
            return lane;
    LabelLane& lane = io_vLanes.emplace_back();
    if (io_vLanes.size() <= MAX_LABELS)
        lane.m_label = in_strLabel;
    return lane;
}

Json makeAnnotations(std::vector<Annotation> in_vAnnotations, double in_dSeconds)
{
    constexpr double MILLISECONDS = 1000.0;
    const auto iGap = static_cast<std::int64_t>(in_dSeconds * MILLISECONDS / Timeline::MAX_COLUMNS);
    std::stable_sort(in_vAnnotations.begin(), in_vAnnotations.end(),
                     [](const Annotation& in_left, const Annotation& in_right)
                     { return in_left.getStartTime() < in_right.getStartTime(); });
    std::vector<LabelLane> vLanes;
    for (const Annotation& annotation : in_vAnnotations)
        findLane(vLanes, annotation.getLabel())
            .add(std::llround(annotation.getStartTime() * MILLISECONDS),
                 std::llround(annotation.getStopTime() * MILLISECONDS), iGap);
    Json lanes = Json::array();
    for (LabelLane& lane : vLanes)
        lanes.push_back({{"label", lane.m_label ? Json(*lane.m_label) : Json(nullptr)},
                         {"spans_ms", std::move(lane.m_spans)}});
    return lanes;
}

/// None when the recording cannot be read.
std::vector<Annotation> readAnnotations(const std::string& in_strFilename)
{
    InputFile file;
    AnnotatedFile annotated;
    if (!file.openRegular(in_strFilename.c_str()) || !annotated.readFromWAV(file))
        return {};
    return annotated.getAnnotations();
}

Json makeEnvelope(const Envelope& in_envelope)
{
    double dPeak = 0.0;
    for (std::size_t i = 0; i < in_envelope.m_vMin.size(); ++i)
        dPeak = std::max({dPeak, in_envelope.m_vMax[i], -in_envelope.m_vMin[i]});
    const double dScale = dPeak > 0.0 ? dPeak : 1.0;
    Json least = Json::array();
    Json greatest = Json::array();
    for (std::size_t i = 0; i < in_envelope.m_vMin.size(); ++i)
    {
        least.push_back(toStep(in_envelope.m_vMin[i], -dScale, dScale));
        greatest.push_back(toStep(in_envelope.m_vMax[i], -dScale, dScale));
    }
    return {
        {"peak", dPeak}, {"steps", STEPS}, {"least", std::move(least)}, {"greatest", std::move(greatest)}};
}

} // namespace

nlohmann::ordered_json makeTimelineJson(const RecordingTimeline& in_timeline, const TestResults& in_results)
{
    const RecordingResult& recording = in_results.m_vRecordings[in_timeline.m_uiRecording];
    const Timeline& timeline = in_timeline.m_timeline;
    const double dRate = recording.m_uiRate;
    Envelope envelope;
    const bool bEnvelope = envelope.read(recording.m_strName, in_timeline.m_iChannel, ENVELOPE_COLUMNS);
    const double dStart = static_cast<double>(in_timeline.m_iStart) / dRate;
    const double dPatterns = static_cast<double>(recording.m_uiPatterns * recording.m_uiShift) / dRate;
    const double dSeconds = bEnvelope ? envelope.m_dSeconds : dStart + dPatterns;
    return {{"recording", in_timeline.m_uiRecording},
            {"seconds", dSeconds},
            {"columns_start_s", dStart},
            {"column_s", static_cast<double>(timeline.getPatternsPerColumn() * recording.m_uiShift) / dRate},
            {"columns", timeline.getNbColumns()},
            {"envelope", bEnvelope ? makeEnvelope(envelope) : Json(nullptr)},
            {"annotations", makeAnnotations(readAnnotations(recording.m_strName), dSeconds)},
            {"lanes", makeLanes(timeline, in_results.m_vClasses.size())},
            {"errors", makeRuns(timeline.getNbColumns(), [&](std::size_t in_uiColumn)
                                { return timeline.getFlags(in_uiColumn).m_bError; })},
            {"longest_error_spans", makeSpans(in_timeline, dRate)},
            {"outputs", makeTraces(in_timeline, in_results.m_vClasses)}};
}

} // namespace Vexalor::MachineLearning
