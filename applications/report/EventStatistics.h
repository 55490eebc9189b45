#pragma once

#include "quillcast-core/FixedSum.h"
#include "report/EventMatching.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Vexalor::MachineLearning
{

/// An event of a class.
struct LabelledEvent
{
    std::size_t m_uiClass = 0;
    EventInterval m_interval;
};

/// Joins windows of one class that follow each other to events.
class EventTracker
{
public:
    /// Windows come in order of time.
    void add(std::size_t in_uiClass, const EventInterval& in_window);
    const std::vector<LabelledEvent>& getEvents() const { return m_vEvents; }
    void clear() { m_vEvents.clear(); }

private:
    std::vector<LabelledEvent> m_vEvents;
};

/// By how much decided events come late: sums, in seconds, which do not depend on the order.
struct LagStatistics
{
    std::uint64_t m_uiCount = 0;
    FixedSum m_sum;
    FixedSum m_sumOfSquares;
    FixedSum m_sumOfAbsolutes;
    double m_dMin = 0.0; ///< of at least one
    double m_dMax = 0.0;

    void add(double in_dSeconds);
    void merge(const LagStatistics& in_other);
    /// Of at least one; negative: early.
    double getMean() const { return m_sum / static_cast<double>(m_uiCount); }
    double getMeanAbsolute() const { return m_sumOfAbsolutes / static_cast<double>(m_uiCount); }
    double getDeviation() const;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiCount, io_self.m_sum, io_self.m_sumOfSquares, io_self.m_sumOfAbsolutes,
                 io_self.m_dMin, io_self.m_dMax);
    }
};

/// Which events of recordings were found, and when. Statistics of parts of a test add up to those of the
/// whole.
class EventStatistics
{
public:
    struct ClassCounts
    {
        std::uint64_t m_uiReference = 0;
        std::uint64_t m_uiDecided = 0;
        std::uint64_t m_uiHits = 0; ///< of both

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_uiReference, io_self.m_uiDecided, io_self.m_uiHits);
        }
    };

    /// Starts and stops may be apart by a second divided by this, rounded down to samples, on either side.
    static constexpr std::uint32_t COLLARS_IN_A_SECOND = 5;

    explicit EventStatistics(std::size_t in_uiClasses = 0)
        : m_vClass(in_uiClasses)
    {
    }

    /// Adds the events of a recording at in_uiRate Hz. Both lists are in order of time; the events of a list
    /// do not overlap, whatever their classes.
    void addRecording(const std::vector<LabelledEvent>& in_vReference,
                      const std::vector<LabelledEvent>& in_vDecided, std::uint32_t in_uiRate);
    /// False, with nothing changed, for statistics of other classes.
    bool merge(const EventStatistics& in_other);

    const std::vector<ClassCounts>& getClasses() const { return m_vClass; }
    /// Of all classes.
    ClassCounts getTotal() const;
    /// Events that were found, as those of another class.
    std::uint64_t getNbSubstitutions() const { return m_uiSubstitutions; }
    /// Events that were not found.
    std::uint64_t getNbDeletions() const;
    /// Decided events that stand for none.
    std::uint64_t getNbInsertions() const;
    /// Of hits: start of the decided event less that of the reference event; the same of their stops.
    const LagStatistics& getOnsetLag() const { return m_onset; }
    const LagStatistics& getOffsetLag() const { return m_offset; }

    /// As ByteWriter and ByteReader take it.
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vClass, io_self.m_uiSubstitutions, io_self.m_onset, io_self.m_offset);
    }

private:
    std::vector<ClassCounts> m_vClass;
    std::uint64_t m_uiSubstitutions = 0;
    LagStatistics m_onset;
    LagStatistics m_offset;
};

} // namespace Vexalor::MachineLearning
