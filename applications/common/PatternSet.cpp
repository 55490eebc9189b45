#include "common/PatternSet.h"

#include "MLDataGenerator.h"
#include "inspect/InputStatistics.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.PatternSet");

bool isFinite(const DoubleVector& in_vVector)
{
    return std::all_of(in_vVector.begin(), in_vVector.end(), [](double in_d) { return std::isfinite(in_d); });
}

void append(DoubleVector& io_vAll, const DoubleVector& in_vVector)
{
    for (const double dValue : in_vVector)
        io_vAll.push_back(dValue);
}

/// Mean and deviation of each of the in_uiSize values of a pattern. Differences from the mean keep the digits
/// that a sum of squares would lose, and in units of the largest their squares stay within the range of
/// numbers.
void computeMoments(const DoubleVector& in_vAll, std::size_t in_uiSize, DoubleVector& out_vMean,
                    DoubleVector& out_vDeviation)
{
    out_vMean = DoubleVector(in_uiSize);
    out_vDeviation = DoubleVector(in_uiSize);
    const std::size_t uiPatterns = in_uiSize == 0 ? 0 : in_vAll.size() / in_uiSize;
    for (std::size_t j = 0; j < in_uiSize; ++j)
    {
        double dMean = 0.0;
        for (std::size_t i = j; i < in_vAll.size(); i += in_uiSize)
            dMean += in_vAll[i] / static_cast<double>(uiPatterns);
        double dLargest = 0.0;
        for (std::size_t i = j; i < in_vAll.size(); i += in_uiSize)
            dLargest = std::max(dLargest, std::abs(in_vAll[i] - dMean));
        double dSquares = 0.0;
        for (std::size_t i = j; dLargest > 0.0 && i < in_vAll.size(); i += in_uiSize)
            dSquares += std::pow((in_vAll[i] - dMean) / dLargest, 2) / static_cast<double>(uiPatterns);
        out_vMean[j] = dMean;
        out_vDeviation[j] = dLargest * std::sqrt(dSquares);
    }
}

} // namespace

bool PatternSet::append(DataGenerator& io_generator, const std::function<void()>& in_watch)
{
    QC_TRACE("PatternSet::append");
    if (!io_generator.gotoStart())
    {
        QC_ERROR("Cannot go to the start of the training data");
        return false;
    }
    DoubleVector vInput;
    DoubleVector vTarget;
    while (io_generator.generateNext())
    {
        if (in_watch)
            in_watch();
        if (!io_generator.getInput(vInput))
        {
            QC_ERROR("A pattern of the training data has no input");
            return false;
        }
        if (!io_generator.getTarget(vTarget))
            ++m_uiSkipped;
        else if (!appendPattern(vInput, vTarget))
            return false;
    }
    if (!io_generator.endedCleanly())
        QC_ERROR("The training data stopped before its end");
    return io_generator.endedCleanly();
}

bool PatternSet::appendPattern(const DoubleVector& in_vInput, const DoubleVector& in_vTarget)
{
    if (m_uiPatterns == 0)
    {
        m_uiInputSize = in_vInput.size();
        m_uiTargetSize = in_vTarget.size();
    }
    if (in_vInput.empty() || in_vInput.size() != m_uiInputSize || in_vTarget.size() != m_uiTargetSize)
    {
        QC_ERROR("Pattern " << m_uiPatterns << " has " << in_vInput.size() << " inputs and "
                            << in_vTarget.size() << " targets, the first one " << m_uiInputSize << " and "
                            << m_uiTargetSize);
        return false;
    }
    if (!isFinite(in_vInput) || !isFinite(in_vTarget))
    {
        QC_ERROR("Pattern " << m_uiPatterns << " has a number that is not finite: " << in_vInput << ' '
                            << in_vTarget);
        return false;
    }
    MachineLearning::append(m_vInputs, in_vInput);
    MachineLearning::append(m_vTargets, in_vTarget);
    ++m_uiPatterns;
    return true;
}

void PatternSet::getInputScaling(DoubleVector& out_vMean, DoubleVector& out_vFactor) const
{
    QC_TRACE("PatternSet::getInputScaling");
    computeMoments(m_vInputs, m_uiInputSize, out_vMean, out_vFactor);
    for (std::size_t i = 0; i < m_uiInputSize; ++i)
    {
        const double dFactor = 1.0 / out_vFactor[i];
        const bool bChanges =
            out_vFactor[i] > Moments::ROUNDING * std::abs(out_vMean[i]) && std::isfinite(dFactor);
        out_vFactor[i] = bChanges ? dFactor : 0.0;
    }
}

void PatternSet::getTargetScaling(DoubleVector& out_vMean, double& out_dDeviation) const
{
    QC_TRACE("PatternSet::getTargetScaling");
    DoubleVector vDeviation;
    computeMoments(m_vTargets, m_uiTargetSize, out_vMean, vDeviation);
    const double dSquares = std::inner_product(vDeviation.begin(), vDeviation.end(), vDeviation.begin(), 0.0);
    out_dDeviation = dSquares > 0.0 ? std::sqrt(dSquares / static_cast<double>(m_uiTargetSize)) : 1.0;
}

void PatternSet::getTargetRange(double& out_dMin, double& out_dMax) const
{
    const auto [itMin, itMax] = std::minmax_element(m_vTargets.begin(), m_vTargets.end());
    out_dMin = *itMin;
    out_dMax = *itMax;
}

} // namespace Vexalor::MachineLearning
