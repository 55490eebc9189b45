#pragma once

#include "report/AreaUnderCurve.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Where the values of one input lie, for all patterns and for those of each class, counted in a bounded
/// number of bins: histograms and how well the value alone tells classes apart are made of it.
///
/// Numbers of IEEE 754, taken as integers, are in the order of their values. Their bits from some place on
/// are the bin; at first all of them, so that each value has a bin of its own, then fewer by one whenever
/// more than MAX_BINS bins have a value in them. So bins are as fine as their number allows, near zero as
/// well as around a large mean, and do not depend on the order of the values: bins of parts of a stream merge
/// to those of the whole, to the bit.
class ValueBins
{
public:
    static constexpr std::size_t MAX_BINS = 1024;

    /// Counts of one bin, or of one column of a histogram.
    struct Counts
    {
        std::uint64_t m_uiAll = 0;
        std::vector<std::uint64_t> m_vClasses;
    };

    /// Columns of equal width, each with its lower edge and without its upper one.
    struct Histogram
    {
        double m_dLowerEdge = 0.0; ///< of the first column
        double m_dWidth = 0.0;     ///< a power of two; 0 where there is but one value
        std::vector<Counts> m_vColumns;
    };

    explicit ValueBins(std::size_t in_uiClasses = 0)
        : m_uiClasses(in_uiClasses)
    {
    }

    /// A finite value of a pattern. Its classes are below that of the constructor; null: the pattern has no
    /// target, and takes no part in the areas.
    void add(double in_dValue, const std::vector<std::size_t>* in_pClasses);
    /// From now on there are so many classes; only before the first pattern with a target.
    void setClasses(std::size_t in_uiClasses);
    /// False, with nothing changed, for bins of another number of classes.
    bool merge(const ValueBins& in_other);

    /// The area under the receiver operating characteristic of the value as the score of the class against
    /// all other patterns with a target: the share of pairs that it puts in the right order, half of those
    /// that are equal. 0.5 tells nothing, 0 and 1 tell everything. It lies within the error of the value; not
    /// a number where there is only one kind of patterns.
    AreaUnderCurve::Area getArea(std::size_t in_uiClass) const;

    /// At most so many columns, at least 2. Counts are exact: columns are so wide that no bin lies in two.
    Histogram getHistogram(std::size_t in_uiMaxColumns) const;

    std::size_t getNbBins() const { return m_vKeys.size(); }
    std::size_t getNbClasses() const { return m_uiClasses; }
    /// Bytes.
    static std::size_t getSizeOfBin(std::size_t in_uiClasses)
    {
        return sizeof(std::int64_t) + 2 * sizeof(double) +
               (FIRST_CLASS + in_uiClasses) * sizeof(std::uint64_t);
    }

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiClasses, io_self.m_uiShift, io_self.m_vKeys, io_self.m_vLeast,
                 io_self.m_vGreatest, io_self.m_vCounts);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.isConsistent())
                io_bytes.fail();
    }

private:
    /// Places of the counts of a bin.
    static constexpr std::size_t ALL = 0;
    static constexpr std::size_t WITH_TARGET = 1;
    static constexpr std::size_t FIRST_CLASS = 2;

    std::size_t getRowSize() const { return FIRST_CLASS + m_uiClasses; }
    std::size_t findOrInsert(std::int64_t in_iKey, double in_dValue);
    void coarsen(unsigned int in_uiShift);
    void append(const ValueBins& in_from, std::size_t in_uiBin);
    bool fits(double in_dWidth, std::size_t in_uiMaxColumns) const;
    bool isConsistent() const;

    std::size_t m_uiClasses;
    unsigned int m_uiShift = 0; ///< bits that are left out
    std::vector<std::int64_t> m_vKeys;
    std::vector<double> m_vLeast; ///< of the values in a bin
    std::vector<double> m_vGreatest;
    std::vector<std::uint64_t> m_vCounts; ///< a row a bin
};

} // namespace Vexalor::MachineLearning
