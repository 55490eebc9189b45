#pragma once

#include "quillcast-core/Object.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Vexalor
{
class Annotation;
}

namespace Vexalor::MachineLearning
{

/// The timeline of one class in one recording: start and stop times of its events, in seconds, walked forward
/// as the audio time advances. Even positions are starts, odd positions are stops.
///
/// Call order: addEvent* (reset getTarget*)*, with times that do not decrease.
class TimeEventVector
    : public virtual Object
    , public virtual OutputStreamable
{
public:
    explicit TimeEventVector(const char* in_eventName);

    /// Adds the interval of an annotation. False, with the reason logged, when it is inverted or refused by
    /// addEvent_i. An interval whose start equals the stop of another one overlaps it; one whose stop equals
    /// the start of another one touches it and does not.
    bool addEvent(const Annotation& in_annotation);

    /// Advances to in_dTime and tells whether an event is in progress. An event time counts as passed once
    /// the audio time exceeds it by more than 1e-6 s.
    bool getTarget(double in_dTime);

    /// True when an event begins or ends strictly between the two times.
    bool isTransitionWindow(double in_dFrom, double in_dTo) const;

    /// Back to before the first event.
    void reset();

    const char* getEventName() const { return m_strEventName.c_str(); }
    bool empty() const { return m_vEventTimes.empty(); }
    std::size_t getEventCount() const { return m_vEventTimes.size() / 2; }
    /// Sum of their lengths.
    double getEventSeconds() const;
    /// Events that no call of getTarget since reset has seen in progress: shorter than the steps of time, or
    /// after the last one.
    std::size_t countUnseenEvents() const
    {
        return m_uiUnseen + (m_vEventTimes.size() - m_uiCurrentEvent) / 2;
    }

    /// A line for each event time; doc/formats.md gives its form.
    std::ostream& write(std::ostream& out_stream) const override;

protected:
    /// Inserts the interval before in_insertionPosition, the first time not below its start, where
    /// in_bOverlap tells whether it overlaps what is there. Here an overlap is refused, which empties the
    /// timeline.
    virtual bool addEvent_i(const Annotation& in_annotation, double* const& in_insertionPosition,
                            bool in_bOverlap);

    /// Greater by more than 1e-6 s.
    static bool isGreater(double in_dLeft, double in_dRight);
    /// Less than 0.01 s apart.
    static bool isEqual(double in_dLeft, double in_dRight);

    double* begin() { return m_vEventTimes.data(); }
    double* end() { return m_vEventTimes.data() + m_vEventTimes.size(); }

    std::vector<double> m_vEventTimes;

private:
    std::size_t findFirstNotBelow(double in_dTime) const;
    void reportOverlap(const Annotation& in_annotation, std::size_t in_uiPosition) const;

    std::string m_strEventName;
    std::size_t m_uiCurrentEvent = 0; ///< the next event time not yet reached
    bool m_bInEvent = false;
    std::size_t m_uiUnseen = 0; ///< events stepped over from start to stop at once
    double m_dLatest;           ///< no event time is later
};

} // namespace Vexalor::MachineLearning
