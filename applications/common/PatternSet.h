#pragma once

#include "quillcast-math/DoubleVector.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace Vexalor::MachineLearning
{

class DataGenerator;

/// Patterns with a target, held in memory for training: append+ (anything else)*.
class PatternSet
{
public:
    /// Adds the patterns of one pass over a generator; those without target are counted and left out. The
    /// watch, unless it is empty, is called for each. False,
    /// with the reason logged at error level, if the pass cannot start or did not end cleanly, if sizes
    /// change, or if a number is not finite.
    bool append(DataGenerator& io_generator, const std::function<void()>& in_watch = {});

    std::size_t size() const { return m_uiPatterns; }
    std::uint64_t getNbSkipped() const { return m_uiSkipped; }
    std::size_t getInputSize() const { return m_uiInputSize; }
    std::size_t getTargetSize() const { return m_uiTargetSize; }

    const double* getInput(std::size_t in_uiIndex) const
    {
        return m_vInputs.begin() + in_uiIndex * m_uiInputSize;
    }
    const double* getTarget(std::size_t in_uiIndex) const
    {
        return m_vTargets.begin() + in_uiIndex * m_uiTargetSize;
    }

    /// What brings every input to mean 0 and deviation 1: (x - mean) * factor. The factor is 0 for an input
    /// that never changes, beyond rounding: nothing can be learnt from it.
    void getInputScaling(DoubleVector& out_vMean, DoubleVector& out_vFactor) const;

    /// The mean of each target, and one deviation from them for all: divided by it, errors keep the weights
    /// that they have in their mean square. 1 where no target changes.
    void getTargetScaling(DoubleVector& out_vMean, double& out_dDeviation) const;

    /// Smallest and largest value of all targets. Only of a set that is not empty.
    void getTargetRange(double& out_dMin, double& out_dMax) const;

private:
    bool appendPattern(const DoubleVector& in_vInput, const DoubleVector& in_vTarget);

    std::size_t m_uiPatterns = 0;
    std::uint64_t m_uiSkipped = 0;
    std::size_t m_uiInputSize = 0;
    std::size_t m_uiTargetSize = 0;
    DoubleVector m_vInputs;
    DoubleVector m_vTargets;
};

} // namespace Vexalor::MachineLearning
