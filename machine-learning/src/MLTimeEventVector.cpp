#include "MLTimeEventVector.h"

#include "quillcast-audio/Annotation.h"
#include "quillcast-core/Assertion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.AudioFileDataGenerator");

constexpr double REACHED_TOLERANCE = 1e-6; ///< s
constexpr double EQUAL_TOLERANCE = 0.01;   ///< s

} // namespace

TimeEventVector::TimeEventVector(const char* in_eventName)
    : m_strEventName(in_eventName)
    , m_dLatest(-std::numeric_limits<double>::infinity())
{
    QC_LOG_TRACE("TimeEventVector ctor");
    reset();
}

bool TimeEventVector::addEvent(const Annotation& in_annotation)
{
    QC_TRACE("TimeEventVector::addEvent");
    const double dStart = in_annotation.getStartTime();
    const double dStop = in_annotation.getStopTime();
    if (dStart > dStop)
    {
        QC_ERROR("One of the annotations for "
                 << m_strEventName << " has a start time greater than its stop time. Start time: " << dStart
                 << "s. Stop time: " << dStop << "s");
        return false;
    }
    const std::size_t uiInsertion = findFirstNotBelow(dStart);
    const std::size_t uiStop = findFirstNotBelow(dStop);
    const bool bOverlap = uiInsertion != uiStop || uiInsertion % 2 != 0;
    m_dLatest = std::max(m_dLatest, dStop);
    const bool bAdded = addEvent_i(in_annotation, m_vEventTimes.data() + uiInsertion, bOverlap);
    m_uiCurrentEvent = 0;
    return bAdded;
}

/// Recordings are mostly annotated in the order of time: what is later than everything needs no search.
std::size_t TimeEventVector::findFirstNotBelow(double in_dTime) const
{
    if (in_dTime > m_dLatest)
        return m_vEventTimes.size();
    const auto itFirst = std::find_if(m_vEventTimes.begin(), m_vEventTimes.end(),
                                      [in_dTime](double in_dEvent) { return in_dEvent >= in_dTime; });
    return static_cast<std::size_t>(itFirst - m_vEventTimes.begin());
}

double TimeEventVector::getEventSeconds() const
{
    double dSeconds = 0.0;
    for (std::size_t i = 1; i < m_vEventTimes.size(); i += 2)
        dSeconds += m_vEventTimes[i] - m_vEventTimes[i - 1];
    return dSeconds;
}

bool TimeEventVector::addEvent_i(const Annotation& in_annotation, double* const& in_insertionPosition,
                                 bool in_bOverlap)
{
    QC_TRACE("TimeEventVector::addEvent_i");
    if (in_bOverlap)
    {
        reportOverlap(in_annotation, static_cast<std::size_t>(in_insertionPosition - m_vEventTimes.data()));
        QC_ERROR("Annotations for " << m_strEventName << " overlap");
        m_vEventTimes.clear();
        return false;
    }
    const double dStart = in_annotation.getStartTime();
    const double dStop = in_annotation.getStopTime();
    QC_LOG_TRACE("Inserting a " << m_strEventName << " event : start=" << dStart << "s,end=" << dStop << "s");
    const auto itPosition = m_vEventTimes.begin() + (in_insertionPosition - m_vEventTimes.data());
    m_vEventTimes.insert(itPosition, {dStart, dStop});
    return true;
}

/// With the interval at that position, or around it.
void TimeEventVector::reportOverlap(const Annotation& in_annotation, std::size_t in_uiPosition) const
{
    const std::size_t uiStart = in_uiPosition - in_uiPosition % 2;
    if (uiStart + 1 < m_vEventTimes.size())
        QC_ERROR("Annotation \"" << in_annotation.getLabel() << "\" from " << in_annotation.getStartTime()
                                 << " to " << in_annotation.getStopTime()
                                 << " s overlaps or touches the one of class " << m_strEventName << " from "
                                 << m_vEventTimes[uiStart] << " to " << m_vEventTimes[uiStart + 1]
                                 << " s that comes before it in the file");
}

bool TimeEventVector::getTarget(double in_dTime)
{
    QC_TRACE("TimeEventVector::getTarget");
    const std::size_t uiSize = m_vEventTimes.size();
    if (m_uiCurrentEvent == uiSize || !(in_dTime - m_vEventTimes[m_uiCurrentEvent] > REACHED_TOLERANCE))
        return m_bInEvent;
    QC_DEBUG("Time event reached for event " << m_strEventName);
    const std::size_t uiFirst = m_uiCurrentEvent + (m_bInEvent ? 1 : 0);
    do
    {
        ++m_uiCurrentEvent;
        m_bInEvent = !m_bInEvent;
    } while (m_uiCurrentEvent != uiSize && !(in_dTime < m_vEventTimes[m_uiCurrentEvent]));
    m_uiUnseen += (m_uiCurrentEvent - uiFirst) / 2;
    if (m_uiCurrentEvent != uiSize)
        QC_DEBUG("Next " << m_strEventName << " event : " << m_vEventTimes[m_uiCurrentEvent] << "s");
    return m_bInEvent;
}

bool TimeEventVector::isTransitionWindow(double in_dFrom, double in_dTo) const
{
    QC_TRACE("TimeEventVector::isTransitionWindow");
    QC_LOG_TRACE("Checking if transition window for event " << m_strEventName << " between " << in_dFrom
                                                            << " sec and " << in_dTo << " sec.");
    const auto itEvent = std::find_if(m_vEventTimes.begin(), m_vEventTimes.end(),
                                      [in_dFrom](double in_dEvent) { return in_dEvent > in_dFrom; });
    return itEvent != m_vEventTimes.end() && *itEvent < in_dTo;
}

void TimeEventVector::reset()
{
    QC_LOG_TRACE("TimeEventVector reset");
    m_uiCurrentEvent = 0;
    m_bInEvent = false;
    m_uiUnseen = 0;
}

std::ostream& TimeEventVector::write(std::ostream& out_stream) const
{
    for (std::size_t i = 0; i < m_vEventTimes.size(); ++i)
        out_stream << "\n\tTime event " << i << " : " << m_vEventTimes[i]
                   << "s : " << (i % 2 == 0 ? "ON" : "OFF");
    return out_stream;
}

bool TimeEventVector::isGreater(double in_dLeft, double in_dRight)
{
    return in_dLeft - in_dRight > REACHED_TOLERANCE;
}

bool TimeEventVector::isEqual(double in_dLeft, double in_dRight)
{
    return std::fabs(in_dLeft - in_dRight) < EQUAL_TOLERANCE;
}

} // namespace Vexalor::MachineLearning
