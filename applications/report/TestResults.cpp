#include "report/TestResults.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace Vexalor::MachineLearning
{

std::optional<double> RecordingResult::getMeanSquareError() const
{
    if (m_uiCompared == 0)
        return std::nullopt;
    return m_dSquareError / static_cast<double>(m_uiCompared);
}

bool RecordingResult::isWorseThan(const RecordingResult& in_other) const
{
    const double dRate = getErrorRate().getValue().value_or(0.0);
    const double dOtherRate = in_other.getErrorRate().getValue().value_or(0.0);
    if (dRate != dOtherRate)
        return dRate > dOtherRate;
    const auto toOrder = [](const std::optional<double>& in_error)
    {
        const double dError = in_error.value_or(0.0);
        return std::isnan(dError) ? std::numeric_limits<double>::infinity() : dError;
    };
    return toOrder(getMeanSquareError()) > toOrder(in_other.getMeanSquareError());
}

void PatternCounts::merge(const PatternCounts& in_other)
{
    m_uiAll += in_other.m_uiAll;
    m_uiJudged += in_other.m_uiJudged;
    m_uiWithoutTarget += in_other.m_uiWithoutTarget;
    m_uiWithoutClass += in_other.m_uiWithoutClass;
    m_uiSeveralClasses += in_other.m_uiSeveralClasses;
    m_uiMisfits += in_other.m_uiMisfits;
    m_uiNotFinite += in_other.m_uiNotFinite;
}

bool TestResults::append(TestResults in_next, std::size_t in_uiTimelines)
{
    if (m_confusion.size() == 0)
    {
        // Before the first pattern is judged they are what the generator says.
        if (in_next.m_confusion.size() != 0 || m_vClasses.empty())
            m_vClasses = std::move(in_next.m_vClasses);
        m_uiBackground = in_next.m_uiBackground;
    }
    else if (in_next.m_confusion.size() != 0 && in_next.m_vClasses != m_vClasses)
        return false;
    if (in_next.m_confusion.size() != 0 &&
        (!m_confusion.merge(in_next.m_confusion) || !m_events.merge(in_next.m_events)))
        return false;
    m_patterns.merge(in_next.m_patterns);
    m_scores.merge(in_next.m_scores);
    for (RecordingTimeline& timeline : in_next.m_vTimelines)
        timeline.m_uiRecording += m_vRecordings.size();
    std::move(in_next.m_vRecordings.begin(), in_next.m_vRecordings.end(), std::back_inserter(m_vRecordings));
    const auto uiOwn = static_cast<std::ptrdiff_t>(m_vTimelines.size());
    std::move(in_next.m_vTimelines.begin(), in_next.m_vTimelines.end(), std::back_inserter(m_vTimelines));
    std::inplace_merge(
        m_vTimelines.begin(), m_vTimelines.begin() + uiOwn, m_vTimelines.end(),
        [this](const RecordingTimeline& in_left, const RecordingTimeline& in_right)
        { return m_vRecordings[in_left.m_uiRecording].isWorseThan(m_vRecordings[in_right.m_uiRecording]); });
    if (m_vTimelines.size() > in_uiTimelines)
        m_vTimelines.resize(in_uiTimelines);
    return true;
}

/// What else would be read out of bounds.
bool TestResults::isConsistent() const
{
    const std::size_t uiClasses = m_confusion.size();
    const auto isOfClasses = [uiClasses](const ErrorSpan& in_span)
    {
        return in_span.m_uiTarget < uiClasses && in_span.m_uiDecided < uiClasses;
    };
    const auto isDrawable = [&](const RecordingTimeline& in_timeline)
    {
        return in_timeline.m_uiRecording < m_vRecordings.size() &&
               m_vRecordings[in_timeline.m_uiRecording].m_uiRate != 0 &&
               in_timeline.m_traces <= RecordingTimeline::Traces::GREATEST &&
               (in_timeline.m_traces == RecordingTimeline::Traces::OUTPUTS ||
                in_timeline.m_timeline.getNbTraces() == 1) &&
               std::all_of(in_timeline.m_vLongestSpans.begin(), in_timeline.m_vLongestSpans.end(),
                           isOfClasses);
    };
    return (uiClasses == 0 || m_vClasses.size() == uiClasses) && m_events.getClasses().size() == uiClasses &&
           (!m_uiBackground || *m_uiBackground < uiClasses) &&
           std::all_of(m_vTimelines.begin(), m_vTimelines.end(), isDrawable);
}

std::vector<std::size_t> sortWorstFirst(const std::vector<RecordingResult>& in_vRecordings)
{
    std::vector<std::size_t> vPlaces(in_vRecordings.size());
    std::iota(vPlaces.begin(), vPlaces.end(), std::size_t{0});
    std::stable_sort(vPlaces.begin(), vPlaces.end(),
                     [&](std::size_t in_uiLeft, std::size_t in_uiRight)
                     { return in_vRecordings[in_uiLeft].isWorseThan(in_vRecordings[in_uiRight]); });
    return vPlaces;
}

} // namespace Vexalor::MachineLearning
