#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What happened along a recording, in a bounded number of columns of equally many patterns: the least and
/// the greatest value of each trace, the classes that were targets, those that were decided, and whether a
/// pattern was misclassified. Columns are joined two by two whenever there would be too many.
class Timeline
{
public:
    static constexpr std::size_t MAX_COLUMNS = 2400;
    /// Classes from this one on are not followed.
    static constexpr std::size_t MAX_CLASSES = 64;

    /// Classes that occur in a column, a bit each.
    using Classes = std::uint64_t;
    static Classes toClasses(std::size_t in_uiClass)
    {
        return in_uiClass < MAX_CLASSES ? Classes{1} << in_uiClass : 0;
    }

    struct Flags
    {
        Classes m_target = 0;
        Classes m_decided = 0;
        bool m_bError = false;

        void operator|=(const Flags& in_other);

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_target, io_self.m_decided, io_self.m_bError);
        }
    };
    struct Range
    {
        double m_dMin;
        double m_dMax;

        void add(double in_dMin, double in_dMax);

        template <class Self, class Bytes>
        static void exchange(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_dMin, io_self.m_dMax);
        }
    };

    Timeline() = default;
    explicit Timeline(std::size_t in_uiTraces)
        : m_uiTraces(in_uiTraces)
    {
    }

    /// The next pattern; in_pValues points to a value of each trace. Those that are no numbers count as
    /// nothing.
    void add(const Flags& in_flags, const double* in_pValues);

    std::size_t getNbTraces() const { return m_uiTraces; }
    std::size_t getNbColumns() const { return m_vFlags.size(); }
    /// Of each column but the last one, which may have fewer.
    std::uint64_t getPatternsPerColumn() const { return m_uiPerColumn; }
    const Flags& getFlags(std::size_t in_uiColumn) const { return m_vFlags[in_uiColumn]; }
    /// Its ends are no numbers when none of the values was.
    const Range& getRange(std::size_t in_uiTrace, std::size_t in_uiColumn) const
    {
        return m_vRange[in_uiColumn * m_uiTraces + in_uiTrace];
    }

    /// As ByteWriter and ByteReader take it.
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiTraces, io_self.m_uiPerColumn, io_self.m_uiInLast, io_self.m_vFlags,
                 io_self.m_vRange);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.isConsistent())
                io_bytes.fail();
    }

private:
    void joinColumns();
    bool isConsistent() const;

    std::size_t m_uiTraces = 0;
    std::uint64_t m_uiPerColumn = 1;
    std::uint64_t m_uiInLast = 0; ///< patterns of the last column
    std::vector<Flags> m_vFlags;
    std::vector<Range> m_vRange;
};

} // namespace Vexalor::MachineLearning
