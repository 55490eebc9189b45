#pragma once

#include "quillcast-core/Object.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::MachineLearning
{

/// How much of each class streams delivered; passes over several recordings add up.
struct AudioClassStatistics
{
    /// The class of the time that no other class covers.
    static constexpr const char* OTHER = "OTHER";

    struct Row
    {
        std::string m_strClass;
        std::uint64_t m_uiPatterns = 0;
        double m_dSeconds = 0.0; ///< the shift of the windows for each pattern

        void add(std::uint64_t in_uiPatterns, double in_dShift)
        {
            m_uiPatterns += in_uiPatterns;
            m_dSeconds += static_cast<double>(in_uiPatterns) * in_dShift;
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
