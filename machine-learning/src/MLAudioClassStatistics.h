#pragma once

#include "quillcast-core/FixedSum.h"
#include "quillcast-core/Object.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::MachineLearning
{

/// How much of each class streams delivered; passes over several recordings add up, in whatever order to the
/// same.
struct AudioClassStatistics
{
    /// The class of the time that no other class covers.
    static constexpr const char* OTHER = "OTHER";

    struct Row
    {
        std::string m_strClass;
        std::uint64_t m_uiPatterns = 0;
        FixedSum m_dSeconds; ///< the shift of the windows for each pattern
        /// What the annotations say, of classes that have any.
        std::uint64_t m_uiEvents = 0;
        std::uint64_t m_uiUnseenEvents = 0; ///< of those: no window of the pass saw them
        FixedSum m_dAnnotatedSeconds;

        void add(std::uint64_t in_uiPatterns, double in_dShift)
        {
            m_uiPatterns += in_uiPatterns;
            m_dSeconds += static_cast<double>(in_uiPatterns) * in_dShift;
        }
        void merge(const Row& in_other)
        {
            m_strClass = in_other.m_strClass;
            m_uiPatterns += in_other.m_uiPatterns;
            m_dSeconds += in_other.m_dSeconds;
            m_uiEvents += in_other.m_uiEvents;
            m_uiUnseenEvents += in_other.m_uiUnseenEvents;
            m_dAnnotatedSeconds += in_other.m_dAnnotatedSeconds;
        }

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_strClass, io_self.m_uiPatterns, io_self.m_dSeconds, io_self.m_uiEvents,
                     io_self.m_uiUnseenEvents, io_self.m_dAnnotatedSeconds);
        }
    };

    /// Adds patterns of the class at that place of the target; in_dShift in seconds.
    void add(std::size_t in_uiPlace, std::string_view in_strClass, std::uint64_t in_uiPatterns,
             double in_dShift)
    {
        if (in_uiPlace >= m_vRows.size())
            m_vRows.resize(in_uiPlace + 1);
        m_vRows[in_uiPlace].m_strClass = in_strClass;
        m_vRows[in_uiPlace].add(in_uiPatterns, in_dShift);
    }

    void merge(const AudioClassStatistics& in_other)
    {
        m_vRows.resize(std::max(m_vRows.size(), in_other.m_vRows.size()));
        for (std::size_t i = 0; i < in_other.m_vRows.size(); ++i)
            m_vRows[i].merge(in_other.m_vRows[i]);
        m_all.merge(in_other.m_all);
    }

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vRows, io_self.m_all);
    }

    std::vector<Row> m_vRows; ///< in target order, classes without any pattern included
    Row m_all;                ///< not the sum of the others: classes may overlap, and leave time uncovered
};

/// A stream that knows the classes of its targets.
class AudioClassStatisticsSource : public virtual Object
{
public:
    /// Adds what was delivered since gotoStart.
    virtual void addStatistics(AudioClassStatistics& io_statistics) const = 0;
};

} // namespace Vexalor::MachineLearning
