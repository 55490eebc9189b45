#include "common/PatternSet.h"

#include "MLDataGenerator.h"
#include "inspect/InputStatistics.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cmath>

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

/// In two passes: differences from the mean keep the digits that a sum of squares would lose.
void PatternSet::getInputScaling(DoubleVector& out_vMean, DoubleVector& out_vFactor) const
{
    QC_TRACE("PatternSet::getInputScaling");
    const auto dPatterns = static_cast<double>(m_uiPatterns);
    out_vMean = DoubleVector(m_uiInputSize);
    out_vFactor = DoubleVector(m_uiInputSize);
    for (std::size_t i = 0; i < m_uiPatterns; ++i)
        for (std::size_t j = 0; j < m_uiInputSize; ++j)
            out_vMean[j] += getInput(i)[j] / dPatterns;
    for (std::size_t i = 0; i < m_uiPatterns; ++i)
        for (std::size_t j = 0; j < m_uiInputSize; ++j)
            out_vFactor[j] += (getInput(i)[j] - out_vMean[j]) * (getInput(i)[j] - out_vMean[j]) / dPatterns;
    for (std::size_t j = 0; j < m_uiInputSize; ++j)
    {
        const double dDeviation = std::sqrt(out_vFactor[j]);
        const double dFactor = 1.0 / dDeviation;
        const bool bChanges =
            dDeviation > Moments::ROUNDING * std::abs(out_vMean[j]) && std::isfinite(dFactor);
        out_vFactor[j] = bChanges ? dFactor : 0.0;
    }
}

void PatternSet::getTargetRange(double& out_dMin, double& out_dMax) const
{
    const auto [itMin, itMax] = std::minmax_element(m_vTargets.begin(), m_vTargets.end());
    out_dMin = *itMin;
    out_dMax = *itMax;
}

} // namespace Vexalor::MachineLearning
