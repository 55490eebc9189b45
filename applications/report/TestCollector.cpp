#include "report/TestCollector.h"

#include "report/Decision.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr const char* BACKGROUND_CLASS = "OTHER";
using Traces = RecordingTimeline::Traces;

Traces chooseTraces(std::size_t in_uiOutputs)
{
    constexpr std::size_t MAX_TRACES = 4;
    if (in_uiOutputs == 2)
        return Traces::SCORE;
    return in_uiOutputs > MAX_TRACES ? Traces::GREATEST : Traces::OUTPUTS;
}

double getMeanSquareError(const DoubleVector& in_vOutput, const DoubleVector& in_vTarget)
{
    double dSum = 0.0;
    for (std::size_t i = 0; i < in_vOutput.size(); ++i)
        dSum += (in_vTarget[i] - in_vOutput[i]) * (in_vTarget[i] - in_vOutput[i]);
    return dSum / static_cast<double>(in_vTarget.size());
}

std::int64_t getLength(const EventInterval& in_interval)
{
    return in_interval.m_iStop - in_interval.m_iStart;
}

} // namespace

void TestCollector::add(const PatternSource& in_source, bool in_bNewRecording, const DoubleVector& in_vOutput,
                        const DoubleVector* in_pTarget)
{
    if (in_bNewRecording)
        startRecording(in_source, in_vOutput);
    const Judgement judgement = judge(in_vOutput, in_pTarget);
    count(judgement, in_vOutput);
    if (in_pTarget != nullptr && in_pTarget->size() == in_vOutput.size())
    {
        ++m_recording.m_uiCompared;
        m_recording.m_dSquareError += getMeanSquareError(in_vOutput, *in_pTarget);
    }
    if (!in_source.isRecording())
        return;
    addToEvents(judgement, in_source.getInterval());
    addToSpan(judgement, in_source.getInterval());
    addToTimeline(judgement, in_vOutput, in_pTarget);
}

void TestCollector::startRecording(const PatternSource& in_source, const DoubleVector& in_vOutput)
{
    finishRecording();
    m_bInRecording = true;
    m_recording = {};
    m_recording.m_strName = in_source.getName();
    m_recording.m_strTone = in_source.getTone();
    m_timeline = {};
    if (m_results.m_vClasses.empty())
    {
        m_vGeneratorClasses = in_source.getClassNames();
        m_results.m_vClasses = m_settings.m_vClasses.empty() ? m_vGeneratorClasses : m_settings.m_vClasses;
    }
    if (!in_source.isRecording())
        return;
    m_recording.m_uiRate = in_source.getRate();
    m_recording.m_uiShift = static_cast<std::uint64_t>(getLength(in_source.getInterval()));
    m_timeline.m_uiRecording = m_results.m_vRecordings.size();
    m_timeline.m_iChannel = in_source.getChannel();
    m_timeline.m_iStart = in_source.getInterval().m_iStart;
    m_timeline.m_traces = chooseTraces(in_vOutput.size());
    m_timeline.m_timeline = Timeline(m_timeline.m_traces == Traces::OUTPUTS ? in_vOutput.size() : 1);
}

TestCollector::Judgement TestCollector::judge(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget)
{
    PatternCounts& counts = m_results.m_patterns;
    if (in_pTarget == nullptr)
    {
        ++counts.m_uiWithoutTarget;
        return {};
    }
    const std::size_t uiOnes = Decision::countClasses(*in_pTarget);
    const std::size_t uiClasses = m_results.m_confusion.size();
    if (in_pTarget->size() != in_vOutput.size() || (uiClasses != 0 && uiClasses != in_vOutput.size()))
        ++counts.m_uiMisfits;
    else if (uiOnes == 0)
        ++counts.m_uiWithoutClass;
    else if (uiOnes > 1)
        ++counts.m_uiSeveralClasses;
    else
        return {true, Decision::findClass(*in_pTarget), Decision::decide(in_vOutput)};
    return {};
}

/// Names that do not fit, and missing ones, are numbers.
void TestCollector::takeClasses(std::size_t in_uiClasses)
{
    StringVector& vClasses = m_results.m_vClasses;
    if (vClasses.size() != in_uiClasses)
    {
        vClasses.clear();
        for (std::size_t i = 0; i < in_uiClasses; ++i)
            vClasses.push_back("class " + std::to_string(i));
    }
    // Other names for the classes of a generator change nothing else.
    const StringVector& vKnown = m_vGeneratorClasses.size() == in_uiClasses ? m_vGeneratorClasses : vClasses;
    const auto itBackground = std::find(vKnown.begin(), vKnown.end(), BACKGROUND_CLASS);
    if (itBackground != vKnown.end())
        m_results.m_uiBackground = static_cast<std::size_t>(itBackground - vKnown.begin());
    m_results.m_confusion = ConfusionMatrix(in_uiClasses);
    m_results.m_events = EventStatistics(in_uiClasses);
}

void TestCollector::count(const Judgement& in_judgement, const DoubleVector& in_vOutput)
{
    ++m_results.m_patterns.m_uiAll;
    ++m_recording.m_uiPatterns;
    if (!std::all_of(in_vOutput.begin(), in_vOutput.end(), [](double in_d) { return std::isfinite(in_d); }))
        ++m_results.m_patterns.m_uiNotFinite;
    if (!in_judgement.m_bJudged)
        return;
    if (m_results.m_confusion.size() == 0)
        takeClasses(in_vOutput.size());
    ++m_results.m_patterns.m_uiJudged;
    ++m_recording.m_uiJudged;
    m_recording.m_uiErrors += in_judgement.isError() ? 1 : 0;
    m_results.m_confusion.add(in_judgement.m_uiTarget, in_judgement.m_uiDecided);
    if (in_vOutput.size() == 2)
        m_results.m_scores.add(in_judgement.m_uiTarget == 0, in_vOutput[0] - in_vOutput[1]);
}

void TestCollector::addToEvents(const Judgement& in_judgement, const EventInterval& in_interval)
{
    if (!in_judgement.m_bJudged)
        return;
    if (in_judgement.m_uiTarget != m_results.m_uiBackground)
        m_reference.add(in_judgement.m_uiTarget, in_interval);
    if (in_judgement.m_uiDecided != m_results.m_uiBackground)
        m_decided.add(in_judgement.m_uiDecided, in_interval);
}

void TestCollector::addToTimeline(const Judgement& in_judgement, const DoubleVector& in_vOutput,
                                  const DoubleVector* in_pTarget)
{
    if (in_vOutput.empty() || chooseTraces(in_vOutput.size()) != m_timeline.m_traces ||
        in_vOutput.size() < m_timeline.m_timeline.getNbTraces())
        return;
    Timeline::Flags flags;
    for (std::size_t i = 0; in_pTarget != nullptr && i < in_pTarget->size(); ++i)
        flags.m_target |= (*in_pTarget)[i] == 1.0 ? Timeline::toClasses(i) : 0;
    const std::size_t uiDecided = Decision::decide(in_vOutput);
    flags.m_decided = Timeline::toClasses(uiDecided);
    flags.m_bError = in_judgement.isError();
    const double dScore = m_timeline.m_traces == Traces::SCORE ? in_vOutput[0] - in_vOutput[1] : 0.0;
    const double* const VALUES[] = {in_vOutput.begin(), &dScore, in_vOutput.begin() + uiDecided};
    m_timeline.m_timeline.add(flags, VALUES[static_cast<std::size_t>(m_timeline.m_traces)]);
}

void TestCollector::addToSpan(const Judgement& in_judgement, const EventInterval& in_interval)
{
    const bool bGoesOn = m_bInSpan && in_judgement.isError() &&
                         in_judgement.m_uiTarget == m_span.m_uiTarget &&
                         in_judgement.m_uiDecided == m_span.m_uiDecided;
    if (bGoesOn)
    {
        m_span.m_interval.m_iStop = in_interval.m_iStop;
        return;
    }
    keepSpan();
    m_bInSpan = in_judgement.isError();
    m_span = {in_interval, in_judgement.m_uiTarget, in_judgement.m_uiDecided};
    m_recording.m_uiErrorSpans += m_bInSpan ? 1 : 0;
}

/// Keeps the span that has ended when it is among the longest.
void TestCollector::keepSpan()
{
    if (!m_bInSpan)
        return;
    m_bInSpan = false;
    std::vector<ErrorSpan>& vSpans = m_timeline.m_vLongestSpans;
    const auto isShorter = [](const ErrorSpan& in_left, const ErrorSpan& in_right)
    {
        return getLength(in_left.m_interval) > getLength(in_right.m_interval);
    };
    vSpans.insert(std::upper_bound(vSpans.begin(), vSpans.end(), m_span, isShorter), m_span);
    if (vSpans.size() > RecordingTimeline::MAX_SPANS)
        vSpans.pop_back();
}

void TestCollector::finishRecording()
{
    if (!m_bInRecording)
        return;
    m_bInRecording = false;
    keepSpan();
    if (m_recording.m_uiRate != 0)
        m_results.m_events.addRecording(m_reference.getEvents(), m_decided.getEvents(), m_recording.m_uiRate);
    m_reference.clear();
    m_decided.clear();
    m_results.m_vRecordings.push_back(std::move(m_recording));
    if (m_results.m_vRecordings.back().m_uiRate != 0)
        keepTimeline();
}

/// Keeps the timeline of the last recording when it is among the worst.
void TestCollector::keepTimeline()
{
    std::vector<RecordingTimeline>& vTimelines = m_results.m_vTimelines;
    const std::vector<RecordingResult>& vRecordings = m_results.m_vRecordings;
    const auto itPlace = std::upper_bound(
        vTimelines.begin(), vTimelines.end(), m_timeline,
        [&](const RecordingTimeline& in_left, const RecordingTimeline& in_right)
        { return vRecordings[in_left.m_uiRecording].isWorseThan(vRecordings[in_right.m_uiRecording]); });
    vTimelines.insert(itPlace, std::move(m_timeline));
    if (vTimelines.size() > m_settings.m_uiTimelines)
        vTimelines.pop_back();
}

void TestCollector::finish(bool in_bComplete)
{
    finishRecording();
    m_results.m_bComplete = in_bComplete;
}

TestResults TestCollector::takePart()
{
    finish(true);
    return std::exchange(m_results, TestResults());
}

} // namespace Vexalor::MachineLearning
