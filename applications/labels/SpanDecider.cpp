#include "labels/SpanDecider.h"

#include <algorithm>
#include <cmath>

namespace Vexalor
{

SpanDecider::SpanDecider(const DecisionRule& in_rule, std::size_t in_uiClasses, std::uint64_t in_uiShift)
    : m_rule(in_rule)
    , m_uiShift(in_uiShift)
    , m_vTracks(in_uiClasses)
{
}

void SpanDecider::decide(const double* in_pOutputs)
{
    if (m_rule.m_threshold)
    {
        for (std::size_t i = 0; i < m_vTracks.size(); ++i)
            m_vTracks[i].m_bOn =
                in_pOutputs[i] >= (m_vTracks[i].m_bOn ? m_rule.m_dLowThreshold : *m_rule.m_threshold);
        return;
    }
    std::size_t uiLargest = m_vTracks.size();
    for (std::size_t i = 0; i < m_vTracks.size(); ++i)
    {
        m_vTracks[i].m_bOn = false;
        if (!std::isnan(in_pOutputs[i]) &&
            (uiLargest == m_vTracks.size() || in_pOutputs[i] > in_pOutputs[uiLargest]))
            uiLargest = i;
    }
    if (uiLargest < m_vTracks.size())
        m_vTracks[uiLargest].m_bOn = true;
}

void SpanDecider::add(const double* in_pOutputs, std::uint64_t in_uiEnd, std::vector<DecidedSpan>& io_vSpans)
{
    const std::uint64_t uiStart = in_uiEnd - std::min(m_uiShift, in_uiEnd);
    decide(in_pOutputs);
    for (std::size_t i = 0; i < m_vTracks.size(); ++i)
    {
        Track& track = m_vTracks[i];
        const bool bTouches =
            track.m_bOpen && (uiStart <= track.m_uiStop || uiStart - track.m_uiStop < m_rule.m_uiMinGap);
        if (track.m_bOn && !bTouches)
        {
            track.m_bOpen = true;
            track.m_uiStart = uiStart;
        }
        if (track.m_bOn)
            track.m_uiStop = in_uiEnd;
        else if (track.m_bOpen && in_uiEnd - track.m_uiStop >= m_rule.m_uiMinGap)
            deliver(i, io_vSpans);
    }
}

/// If there is an open span; unless it is too short. A timeline that reaches two times at once takes both as
/// passed: so those of a single window get a sample between them.
void SpanDecider::deliver(std::size_t in_uiClass, std::vector<DecidedSpan>& io_vSpans)
{
    Track& track = m_vTracks[in_uiClass];
    const std::uint64_t uiDuration = track.m_uiStop - track.m_uiStart;
    if (track.m_bOpen && uiDuration >= m_rule.m_uiMinDuration)
    {
        const bool bShortGap = track.m_delivered && track.m_uiStart - *track.m_delivered <= m_uiShift;
        io_vSpans.push_back({in_uiClass, track.m_uiStart + (bShortGap ? 1 : 0),
                             track.m_uiStop + (uiDuration <= m_uiShift ? 1 : 0)});
        track.m_delivered = track.m_uiStop;
    }
    track.m_bOpen = false;
}

void SpanDecider::end(std::vector<DecidedSpan>& io_vSpans)
{
    for (std::size_t i = 0; i < m_vTracks.size(); ++i)
        deliver(i, io_vSpans);
}

} // namespace Vexalor
