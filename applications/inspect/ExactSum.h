#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// A sum of whole numbers without any bound and without any rounding, so that sums of parts add up to that of
/// the whole, in whatever order. Finite floating-point numbers are whole ones in units of the least of them,
/// 2^-1074, their squares in units of 2^-2148. The sum is kept in digits of 32 bits that take up carries for
/// a while, and only where there are any: R. M. Neal, "Fast Exact Summation Using Small and Large
/// Superaccumulators", arXiv:1505.05571 (2015).
class ExactSum
{
public:
    /// Both for finite numbers; a sum is one of numbers or one of squares.
    void add(double in_dValue);
    void addSquare(double in_dValue);
    void merge(const ExactSum& in_other);

    /// The sum of numbers, divided by their count.
    static double getMean(const ExactSum& in_sum, std::uint64_t in_uiCount);
    /// The deviation of so many numbers from their mean: 0 where they are one.
    static double getDeviation(const ExactSum& in_sum, const ExactSum& in_squares, std::uint64_t in_uiCount);

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiFirst, io_self.m_vDigits);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.takeDigits())
                io_bytes.fail();
    }

private:
    /// Values between two carries: each changes a digit by less than 2^53.
    static constexpr std::uint32_t MAX_PENDING = 256;
    /// That a value changes, and one for their carries.
    static constexpr std::size_t DIGITS_OF_VALUE = 5;
    /// More than any sum of squares needs.
    static constexpr std::size_t MAX_DIGITS = 256;
    static constexpr int DIGIT = 32;
    static constexpr std::int64_t MASK = 0xffffffff;

    std::int64_t* getDigits(std::size_t in_uiFirst);
    void cover(std::size_t in_uiFirst, std::size_t in_uiEnd);
    void carry();
    bool takeDigits();
    std::vector<std::uint32_t> getMagnitude(bool& out_bNegative) const;

    std::uint32_t m_uiFirst = 0; ///< place of the first digit
    std::uint32_t m_uiPending = 0;
    std::vector<std::int64_t> m_vDigits; ///< after carry below 2^32, and not negative but for the last
};

} // namespace Vexalor::MachineLearning
