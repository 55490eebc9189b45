#pragma once

#include "inspect/ExactSum.h"
#include "inspect/ValueBins.h"
#include "quillcast-math/DoubleVector.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Number, range, mean and deviation of finite values, in one pass and of sums without any rounding: parts of
/// a stream merge to those of the whole, to the bit.
struct Moments
{
    /// Deviations below this share of the mean are what rounding leaves of a constant.
    static constexpr double ROUNDING = 1e-12;

    std::uint64_t m_uiCount = 0;
    double m_dLeast = std::numeric_limits<double>::infinity();
    double m_dGreatest = -std::numeric_limits<double>::infinity();

    void add(double in_dValue);
    void merge(const Moments& in_other);
    /// 0 of none.
    double getMean() const;
    /// Of all values, not of a sample: the squares divided by the count. 0 of none.
    double getDeviation() const;
    /// True when the values are one, but for what rounding leaves: nothing can be learnt from them.
    bool isConstant() const;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiCount, io_self.m_dLeast, io_self.m_dGreatest, io_self.m_sum, io_self.m_squares);
    }

private:
    ExactSum m_sum;
    ExactSum m_squares;
};

/// Tells streams of values apart without keeping them: a polynomial over the prime 2^61 - 1 whose
/// coefficients are the halves of the values' bits. Two streams of n different values have the same one with
/// a probability below n / 2^60. Both zeros are the same, and all values that are not a number are.
class StreamDigest
{
public:
    void add(double in_dValue);
    /// Of the stream that follows this one.
    void append(const StreamDigest& in_next);

    friend bool operator==(const StreamDigest&, const StreamDigest&) = default;
    friend auto operator<=>(const StreamDigest&, const StreamDigest&) = default;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiValue, io_self.m_uiCount);
    }

private:
    std::uint64_t m_uiValue = 0;
    std::uint64_t m_uiCount = 0;
};

/// What is known of one input after a stream of patterns.
struct InputColumn
{
    Moments m_moments; ///< of the finite values
    std::uint64_t m_uiNotANumber = 0;
    std::uint64_t m_uiInfinite = 0;
    StreamDigest m_digest;
    ValueBins m_bins; ///< empty for inputs that have none

    bool isFinite() const { return m_uiNotANumber == 0 && m_uiInfinite == 0; }
    bool isConstant() const { return isFinite() && m_moments.isConstant(); }

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_moments, io_self.m_uiNotANumber, io_self.m_uiInfinite, io_self.m_digest,
                 io_self.m_bins);
    }
};

/// The inputs of a stream of patterns. Statistics of parts of a stream merge to those of the whole; their
/// memory depends on the number of inputs and classes only, and is taken at the first patterns.
class InputStatistics
{
public:
    /// Bins of all inputs take at most so many bytes: inputs beyond have none.
    static constexpr std::size_t MAX_BIN_BYTES = std::size_t(256) << 20;

    explicit InputStatistics(std::size_t in_uiInputs = 0, std::size_t in_uiClasses = 0);

    /// From now on there are so many classes; only before the first pattern with a target.
    void setClasses(std::size_t in_uiClasses);

    /// A pattern of as many inputs; null: it has no target.
    void add(const DoubleVector& in_vInput, const std::vector<std::size_t>* in_pClasses);
    /// The patterns of in_next follow those of this one. False, with nothing changed, for others.
    bool append(const InputStatistics& in_next);

    const std::vector<InputColumn>& getColumns() const { return m_vColumns; }
    std::size_t getNbClasses() const { return m_uiClasses; }
    /// The first ones.
    std::size_t getNbBinned() const { return m_uiBinned; }
    /// For each input the first one that is equal to it in every pattern: itself, where there is none before.
    std::vector<std::size_t> findEqual() const;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vColumns, io_self.m_uiClasses, io_self.m_uiBinned);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.isConsistent())
                io_bytes.fail();
    }

private:
    static std::size_t countBinned(std::size_t in_uiInputs, std::size_t in_uiClasses);
    bool isConsistent() const;

    std::vector<InputColumn> m_vColumns;
    std::size_t m_uiClasses = 0;
    std::size_t m_uiBinned = 0;
};

} // namespace Vexalor::MachineLearning
