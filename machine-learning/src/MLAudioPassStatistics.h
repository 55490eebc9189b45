#pragma once

#include "MLAudioClassStatistics.h"
#include "MLTimeEventVector.h"
#include "quillcast-core/Handle.h"
#include "quillcast-math/DoubleVector.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Counts what one pass over a recording delivers: patterns, those of each class and the errors that a
/// consumer found. Call order: (start (count | countError)*)*.
class AudioPassStatistics
{
public:
    /// One a class but for the rest, in target order.
    using Timelines = std::vector<CountedObjPtr<TimeEventVector>>;

    /// Nothing counted yet, of targets of that size.
    void start(std::size_t in_uiTargetSize);
    /// A pattern, whose target is empty when it has none. A class is delivered where its component is 1.0; a
    /// target of another size counts for no class.
    void count(const DoubleVector& in_vTarget);
    void countError() { ++m_iErrors; }
    std::uint64_t getNbPatterns() const { return m_uiPatterns; }

    /// Tells, of a recording, the errors at info level, if there are any, and what became of the annotated
    /// intervals at debug level.
    void log(const std::string& in_strFilename, const Timelines& in_vTimelines) const;
    /// Adds what was delivered; in_dShift in seconds. The component after those of the timelines is that of
    /// the rest.
    void addTo(AudioClassStatistics& io_statistics, const Timelines& in_vTimelines, double in_dShift) const;

private:
    void countIntervals(const DoubleVector& in_vTarget);

    std::uint64_t m_uiPatterns = 0;
    std::uint64_t m_uiPatternsWithTarget = 0;
    std::int32_t m_iErrors = 0;
    std::vector<std::uint64_t> m_vClassPatterns; ///< a component of the target each
    DoubleVector m_vEarlierTarget;               ///< and the intervals that were delivered: for debugging
    std::vector<std::uint64_t> m_vIntervals;
};

} // namespace Vexalor::MachineLearning
