#include "report/EventStatistics.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

/// Events of one class, or those that no pair has taken, with their places in the list that they come from.
struct EventChoice
{
    std::vector<EventInterval> m_vInterval;
    std::vector<std::size_t> m_vPlace;

    template <class Predicate>
    EventChoice(const std::vector<LabelledEvent>& in_vEvents, const Predicate& in_isChosen)
    {
        for (std::size_t i = 0; i < in_vEvents.size(); ++i)
        {
            if (!in_isChosen(i))
                continue;
            m_vInterval.push_back(in_vEvents[i].m_interval);
            m_vPlace.push_back(i);
        }
    }
};

auto isOfClass(const std::vector<LabelledEvent>& in_vEvents, std::size_t in_uiClass)
{
    return [&in_vEvents, in_uiClass](std::size_t in_uiPlace)
    {
        return in_vEvents[in_uiPlace].m_uiClass == in_uiClass;
    };
}

auto isLeft(const std::vector<bool>& in_vTaken)
{
    return [&in_vTaken](std::size_t in_uiPlace)
    {
        return !in_vTaken[in_uiPlace];
    };
}

} // namespace

void EventTracker::add(std::size_t in_uiClass, const EventInterval& in_window)
{
    if (!m_vEvents.empty() && m_vEvents.back().m_uiClass == in_uiClass &&
        m_vEvents.back().m_interval.m_iStop == in_window.m_iStart)
        m_vEvents.back().m_interval.m_iStop = in_window.m_iStop;
    else
        m_vEvents.push_back({in_uiClass, in_window});
}

void LagStatistics::add(double in_dSeconds)
{
    merge({1, in_dSeconds, in_dSeconds * in_dSeconds, std::abs(in_dSeconds), in_dSeconds, in_dSeconds});
}

void LagStatistics::merge(const LagStatistics& in_other)
{
    if (in_other.m_uiCount == 0)
        return;
    m_dMin = m_uiCount == 0 ? in_other.m_dMin : std::min(m_dMin, in_other.m_dMin);
    m_dMax = m_uiCount == 0 ? in_other.m_dMax : std::max(m_dMax, in_other.m_dMax);
    m_uiCount += in_other.m_uiCount;
    m_sum += in_other.m_sum;
    m_sumOfSquares += in_other.m_sumOfSquares;
    m_sumOfAbsolutes += in_other.m_sumOfAbsolutes;
}

double LagStatistics::getDeviation() const
{
    const double dMean = getMean();
    return std::sqrt(std::max(m_sumOfSquares / static_cast<double>(m_uiCount) - dMean * dMean, 0.0));
}

void EventStatistics::addRecording(const std::vector<LabelledEvent>& in_vReference,
                                   const std::vector<LabelledEvent>& in_vDecided, std::uint32_t in_uiRate)
{
    const std::int64_t iCollar = in_uiRate / COLLARS_IN_A_SECOND;
    std::vector<bool> vReferenceTaken(in_vReference.size(), false);
    std::vector<bool> vDecidedTaken(in_vDecided.size(), false);
    for (std::size_t i = 0; i < m_vClass.size(); ++i)
    {
        const EventChoice reference(in_vReference, isOfClass(in_vReference, i));
        const EventChoice decided(in_vDecided, isOfClass(in_vDecided, i));
        m_vClass[i].m_uiReference += reference.m_vInterval.size();
        m_vClass[i].m_uiDecided += decided.m_vInterval.size();
        for (const EventMatch& match : matchEvents(reference.m_vInterval, decided.m_vInterval, iCollar))
        {
            const EventInterval& expected = reference.m_vInterval[match.m_uiReference];
            const EventInterval& found = decided.m_vInterval[match.m_uiDecided];
            ++m_vClass[i].m_uiHits;
            m_onset.add(static_cast<double>(found.m_iStart - expected.m_iStart) / in_uiRate);
            m_offset.add(static_cast<double>(found.m_iStop - expected.m_iStop) / in_uiRate);
            vReferenceTaken[reference.m_vPlace[match.m_uiReference]] = true;
            vDecidedTaken[decided.m_vPlace[match.m_uiDecided]] = true;
        }
    }
    // What is left of a class finds no event of its own: pairs are of two classes.
    m_uiSubstitutions += matchEvents(EventChoice(in_vReference, isLeft(vReferenceTaken)).m_vInterval,
                                     EventChoice(in_vDecided, isLeft(vDecidedTaken)).m_vInterval, iCollar)
                             .size();
}

bool EventStatistics::merge(const EventStatistics& in_other)
{
    if (m_vClass.empty())
        m_vClass.resize(in_other.m_vClass.size());
    if (m_vClass.size() != in_other.m_vClass.size())
        return false;
    for (std::size_t i = 0; i < m_vClass.size(); ++i)
    {
        m_vClass[i].m_uiReference += in_other.m_vClass[i].m_uiReference;
        m_vClass[i].m_uiDecided += in_other.m_vClass[i].m_uiDecided;
        m_vClass[i].m_uiHits += in_other.m_vClass[i].m_uiHits;
    }
    m_uiSubstitutions += in_other.m_uiSubstitutions;
    m_onset.merge(in_other.m_onset);
    m_offset.merge(in_other.m_offset);
    return true;
}

EventStatistics::ClassCounts EventStatistics::getTotal() const
{
    ClassCounts total;
    for (const ClassCounts& counts : m_vClass)
    {
        total.m_uiReference += counts.m_uiReference;
        total.m_uiDecided += counts.m_uiDecided;
        total.m_uiHits += counts.m_uiHits;
    }
    return total;
}

std::uint64_t EventStatistics::getNbDeletions() const
{
    const ClassCounts total = getTotal();
    return total.m_uiReference - total.m_uiHits - m_uiSubstitutions;
}

std::uint64_t EventStatistics::getNbInsertions() const
{
    const ClassCounts total = getTotal();
    return total.m_uiDecided - total.m_uiHits - m_uiSubstitutions;
}

} // namespace Vexalor::MachineLearning
