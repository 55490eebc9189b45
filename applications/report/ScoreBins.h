#pragma once

#include "report/AreaUnderCurve.h"
#include "report/ConfusionMatrix.h"

#include <cstdint>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Scores of two classes, counted in bins: what receiver operating characteristics are drawn from. The
/// memory does not depend on the number of scores, and bins of parts of a test add up to those of the whole.
///
/// A pattern is taken for the positive class when its score reaches the threshold. Within (-1, 1) the bins
/// are 1/2048 wide, beyond they are 1/64 of their power of two. What is said of a threshold that is an edge
/// of a bin, as 0 is, is exact; only areas, which depend on the order inside of bins whose scores differ,
/// have an error, which is stated.
class ScoreBins
{
public:
    /// What a threshold brings.
    struct Point
    {
        double m_dThreshold = 0.0;         ///< lower edge of a bin; infinite: nothing reaches it
        std::uint64_t m_uiFalseAlarms = 0; ///< negative patterns that reach it
        std::uint64_t m_uiMisses = 0;      ///< positive ones that do not
    };

    ScoreBins();

    /// A score that is not a number is counted apart.
    void add(bool in_bPositive, double in_dScore);
    void merge(const ScoreBins& in_other);

    std::uint64_t getNbPositive() const { return m_uiPositive; }
    std::uint64_t getNbNegative() const { return m_uiNegative; }
    std::uint64_t getNbNotANumber() const { return m_uiNotANumber; }

    /// The thresholds between which scores lie, and 0, in falling order: from an infinite one, with every
    /// positive pattern missed, to one that every score reaches.
    std::vector<Point> getCurve() const;
    /// The area under the curve. Only where there are positive and negative patterns.
    AreaUnderCurve::Area getArea() const;

    /// As ByteWriter and ByteReader take it.
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiPositive, io_self.m_uiNegative, io_self.m_uiNotANumber, io_self.m_vPositive,
                 io_self.m_vNegative, io_self.m_vLeast, io_self.m_vGreatest);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.isConsistent())
                io_bytes.fail();
    }

private:
    bool isConsistent() const;
    static std::size_t toBin(double in_dScore);
    static double toLowerEdge(std::size_t in_uiBin);

    std::uint64_t m_uiPositive = 0;
    std::uint64_t m_uiNegative = 0;
    std::uint64_t m_uiNotANumber = 0;
    std::vector<std::uint64_t> m_vPositive;
    std::vector<std::uint64_t> m_vNegative;
    std::vector<double> m_vLeast; ///< score of a bin; of an empty one infinite, as the following one
    std::vector<double> m_vGreatest;
};

/// That point of a curve, which is not empty, where the shares of false alarms and of misses are nearest.
const ScoreBins::Point& findEqualError(const std::vector<ScoreBins::Point>& in_vCurve,
                                       const ScoreBins& in_bins);

} // namespace Vexalor::MachineLearning
