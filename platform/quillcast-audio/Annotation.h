#pragma once

#include <string>
#include <utility>

namespace Vexalor
{

/// A labelled stretch of a recording. Times are in seconds from the first sample: the number of a sample
/// divided by the sampling rate, so that llround(time * rate) gives the sample back. The start belongs to the
/// stretch, the stop does not. A marker is one whose start and stop are equal. What a file says is kept: the
/// stop may lie before the start.
class Annotation
{
public:
    Annotation(std::string in_strLabel, double in_dStartTime, double in_dStopTime,
               std::string in_strNote = {})
        : m_strLabel(std::move(in_strLabel))
        , m_strNote(std::move(in_strNote))
        , m_dStartTime(in_dStartTime)
        , m_dStopTime(in_dStopTime)
    {
    }

    const std::string& getLabel() const { return m_strLabel; }
    void setLabel(const std::string& in_strLabel) { m_strLabel = in_strLabel; }
    /// Free text; empty when there is none.
    const std::string& getNote() const { return m_strNote; }
    double getStartTime() const { return m_dStartTime; }
    double getStopTime() const { return m_dStopTime; }

private:
    std::string m_strLabel;
    std::string m_strNote;
    double m_dStartTime;
    double m_dStopTime;
};

} // namespace Vexalor
