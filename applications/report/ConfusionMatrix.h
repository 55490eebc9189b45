#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// A share of counts, kept as what it is made of.
struct Ratio
{
    std::uint64_t m_uiNumerator = 0;
    std::uint64_t m_uiDenominator = 0;

    /// None of nothing.
    std::optional<double> getValue() const;

    friend bool operator==(const Ratio&, const Ratio&) = default;
};

/// How often each class was taken for which. Matrices of parts of a test add up to that of the whole.
class ConfusionMatrix
{
public:
    /// Of no pattern yet; 0 classes: as many as the first matrix that is merged.
    explicit ConfusionMatrix(std::size_t in_uiClasses = 0);

    /// Counts a pattern of class in_uiTarget that was taken for in_uiDecided; both are below size.
    void add(std::size_t in_uiTarget, std::size_t in_uiDecided);
    /// False, with nothing changed, for a matrix of other classes.
    bool merge(const ConfusionMatrix& in_other);

    std::size_t size() const { return m_uiClasses; }
    std::uint64_t getCount(std::size_t in_uiTarget, std::size_t in_uiDecided) const
    {
        return m_vCount[in_uiTarget * m_uiClasses + in_uiDecided];
    }

    /// Of all patterns those whose class was recognised.
    Ratio getAccuracy() const;
    /// Of the patterns taken for the class those that belong to it.
    Ratio getPrecision(std::size_t in_uiClass) const;
    /// Of the patterns of the class those that were recognised.
    Ratio getRecall(std::size_t in_uiClass) const;
    /// Harmonic mean of the two: twice the recognised ones of both denominators.
    Ratio getF1(std::size_t in_uiClass) const;

    /// As ByteWriter and ByteReader take it.
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiClasses, io_self.m_vCount);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.isConsistent())
                io_bytes.fail();
    }

private:
    bool isConsistent() const;
    std::uint64_t getRowSum(std::size_t in_uiTarget) const;
    std::uint64_t getColumnSum(std::size_t in_uiDecided) const;

    std::size_t m_uiClasses;
    std::vector<std::uint64_t> m_vCount;
};

} // namespace Vexalor::MachineLearning
