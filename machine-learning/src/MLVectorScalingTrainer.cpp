#include "MLVectorScalingTrainer.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/VectorKernels.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.VectorScalingTrainer");
/// Takes what happens with each pattern.
constinit Logger s_verboseLogger("quillcast.HighVerbose.ml.VectorScalingTrainer");

void updateMinMax(const double* const* in_ppVectors, std::size_t in_uiNbVectors, std::size_t in_uiSize,
                  DoubleVector& io_vMax, DoubleVector& io_vMin)
{
    const TraceScope scope(s_verboseLogger, "VectorScalingTrainer::updateMinMax");
    VectorKernels::updateExtremes(in_ppVectors, in_uiNbVectors, in_uiSize, io_vMax.begin(), io_vMin.begin());
}

} // namespace

template <class Archive>
void VectorScalingTrainer::Config::TrainingParam::serialize(Archive& io_archive, const unsigned int)
{
    QC_FIELD(m_bMinMax, "", "1: least and greatest value go to the ends of the interval");
    QC_FIELD(m_dScaledMinValue, "", "lower end of the interval");
    QC_FIELD(m_dScaledMaxValue, "", "upper end of the interval");
    QC_FIELD(m_bStandardize, "", "1: mean goes to 0, standard deviation to 1; not with m_bMinMax");
}

template <class Archive>
void VectorScalingTrainer::Config::serialize(Archive& io_archive, const unsigned int)
{
    QC_FIELD(m_vTrainingParam, "",
             "one treatment for each input component, then for each target component; neither flag: left as "
             "it is");
}

QC_ARCHIVES(VectorScalingTrainer::Config::TrainingParam);
QC_ARCHIVES(VectorScalingTrainer::Config);

VectorScalingTrainer::VectorScalingTrainer()
{
    QC_TRACE("VectorScalingTrainer ctor");
}

bool VectorScalingTrainer::configure(const Config& in_config)
{
    QC_TRACE("VectorScalingTrainer::configure");
    m_config = in_config;
    return true;
}

bool VectorScalingTrainer::computeScalingParam(DataGenerator& io_generator,
                                               VectorScaler::Config& io_scalerConfig)
{
    QC_TRACE("VectorScalingTrainer::computeScalingParam");
    if (!readMeans(io_generator))
        return false;
    const bool bClean = io_generator.endedCleanly();
    computeSlope();
    computeMean();
    if (!readDeviations(io_generator))
        return false;
    if (!bClean || !io_generator.endedCleanly())
        QC_WARN("The scaling is learnt from a part of the data set: it stopped before its end");
    computeStdDev();
    return computeResultingParam(io_scalerConfig);
}

/// First pass: extremes, and sums in place of means.
bool VectorScalingTrainer::readMeans(DataGenerator& io_generator)
{
    if (!io_generator.gotoStart())
    {
        QC_ERROR("Cannot go to the start of the data set");
        return false;
    }
    resetData();
    const auto updateMeansAndExtremes = [this]
    {
        computeMinAndMax();
        updateMeanCounter();
        m_uiNumberData += m_uiBatch;
    };
    readBatches(io_generator, updateMeansAndExtremes);
    return true;
}

/// Second pass: sums of squared deviations from the means, in place of deviations.
bool VectorScalingTrainer::readDeviations(DataGenerator& io_generator)
{
    if (!io_generator.gotoStart())
    {
        QC_ERROR("Cannot go to the start of the data set on 2nd pass");
        return false;
    }
    m_input.m_vStdDev = DoubleVector(m_uiInputSize);
    m_target.m_vStdDev = DoubleVector(m_uiTargetSize);
    readBatches(io_generator, [this] { updateStdDevCounter(); });
    return true;
}

bool VectorScalingTrainer::sumUp(DataGenerator& io_generator, Sums& out_sums)
{
    QC_TRACE("VectorScalingTrainer::sumUp");
    const auto copy = [](const DoubleVector& in_vFrom, std::vector<double>& out_vTo)
    {
        out_vTo.assign(in_vFrom.begin(), in_vFrom.end());
    };
    out_sums = {};
    if (!readMeans(io_generator))
        return false;
    if (m_uiNumberData == 0)
        return true;
    out_sums.m_uiPatterns = m_uiNumberData;
    copy(m_input.m_vAvg, out_sums.m_input.m_vSum);
    copy(m_target.m_vAvg, out_sums.m_target.m_vSum);
    computeMean();
    if (!readDeviations(io_generator))
        return false;
    for (const auto& [pStatistics, pSide] :
         {std::pair(&m_input, &out_sums.m_input), {&m_target, &out_sums.m_target}})
    {
        copy(pStatistics->m_vMax, pSide->m_vMax);
        copy(pStatistics->m_vMin, pSide->m_vMin);
        copy(pStatistics->m_vStdDev, pSide->m_vSquares);
    }
    return true;
}

bool VectorScalingTrainer::computeScalingParam(const std::vector<Sums>& in_vParts,
                                               VectorScaler::Config& io_scalerConfig)
{
    QC_TRACE("VectorScalingTrainer::computeScalingParam");
    resetData();
    for (const Sums& part : in_vParts)
    {
        if (!addPart(part.m_uiPatterns, part.m_input, m_input) ||
            !addPart(part.m_uiPatterns, part.m_target, m_target))
        {
            QC_ERROR("Patterns differ in size: there is no scaling for all of them");
            return false;
        }
        m_uiNumberData += part.m_uiPatterns;
    }
    m_uiInputSize = m_input.m_vMax.size();
    m_uiTargetSize = m_target.m_vMax.size();
    computeSlope();
    computeMean();
    m_input.m_vStdDev = DoubleVector(m_uiInputSize);
    m_target.m_vStdDev = DoubleVector(m_uiTargetSize);
    for (const Sums& part : in_vParts)
    {
        addDeviations(part.m_uiPatterns, part.m_input, m_input);
        addDeviations(part.m_uiPatterns, part.m_target, m_target);
    }
    computeStdDev();
    return computeResultingParam(io_scalerConfig);
}

/// False for a part of other patterns.
bool VectorScalingTrainer::addPart(std::uint64_t in_uiPatterns, const Sums::Side& in_part,
                                   Statistics& io_whole)
{
    const std::size_t uiSize = in_part.m_vSum.size();
    if (in_part.m_vMax.size() != uiSize || in_part.m_vMin.size() != uiSize ||
        in_part.m_vSquares.size() != uiSize)
        return false;
    if (in_uiPatterns == 0)
        return uiSize == 0;
    if (io_whole.m_vMax.empty())
    {
        io_whole.m_vMax.assign(in_part.m_vMax.data(), in_part.m_vMax.data() + uiSize);
        io_whole.m_vMin.assign(in_part.m_vMin.data(), in_part.m_vMin.data() + uiSize);
        io_whole.m_vAvg = DoubleVector(uiSize);
    }
    if (io_whole.m_vMax.size() != uiSize)
        return false;
    const double* const pMax = in_part.m_vMax.data();
    const double* const pMin = in_part.m_vMin.data();
    updateMinMax(&pMax, 1, uiSize, io_whole.m_vMax, io_whole.m_vMin);
    updateMinMax(&pMin, 1, uiSize, io_whole.m_vMax, io_whole.m_vMin);
    for (std::size_t i = 0; i < uiSize; ++i)
        io_whole.m_vAvg[i] += in_part.m_vSum[i];
    return true;
}

void VectorScalingTrainer::addDeviations(std::uint64_t in_uiPatterns, const Sums::Side& in_part,
                                         Statistics& io_whole)
{
    const auto dPatterns = static_cast<double>(in_uiPatterns);
    for (std::size_t i = 0; i < in_part.m_vSum.size(); ++i)
    {
        const double dDifference = in_part.m_vSum[i] / dPatterns - io_whole.m_vAvg[i];
        io_whole.m_vStdDev[i] += in_part.m_vSquares[i] + dPatterns * dDifference * dDifference;
    }
}

void VectorScalingTrainer::resetData()
{
    QC_TRACE("VectorScalingTrainer::resetData");
    m_input = Statistics();
    m_target = Statistics();
    m_uiInputSize = 0;
    m_uiTargetSize = 0;
    m_uiNumberData = 0;
}

template <class Fold>
void VectorScalingTrainer::readBatches(DataGenerator& io_generator, Fold in_fold)
{
    // Who watches the steps of each pattern sees each pattern alone.
    const std::size_t uiBatchSize = s_verboseLogger.isEnabledFor(LogLevel::TRACE) ? 1 : BATCH_SIZE;
    m_uiBatch = 0;
    while (io_generator.generateNext())
    {
        Pattern& pattern = m_vBatch[m_uiBatch];
        if (!io_generator.getInput(pattern.m_vInput) || !io_generator.getTarget(pattern.m_vTarget))
            continue;
        if (pattern.m_vInput.size() != m_vBatch[0].m_vInput.size() ||
            pattern.m_vTarget.size() != m_vBatch[0].m_vTarget.size())
        {
            in_fold();
            std::swap(m_vBatch[0], pattern);
            m_uiBatch = 0;
        }
        m_vInputs[m_uiBatch] = m_vBatch[m_uiBatch].m_vInput.begin();
        m_vTargets[m_uiBatch] = m_vBatch[m_uiBatch].m_vTarget.begin();
        if (++m_uiBatch == uiBatchSize)
        {
            in_fold();
            m_uiBatch = 0;
        }
    }
    if (m_uiBatch != 0)
        in_fold();
}

/// Components of the patterns of the batch that the first pattern of all has as well.
std::size_t VectorScalingTrainer::getNbCommonInputs() const
{
    return std::min<std::size_t>(m_uiInputSize, m_vBatch[0].m_vInput.size());
}

std::size_t VectorScalingTrainer::getNbCommonTargets() const
{
    return std::min<std::size_t>(m_uiTargetSize, m_vBatch[0].m_vTarget.size());
}

void VectorScalingTrainer::computeMinAndMax()
{
    const TraceScope scope(s_verboseLogger, "VectorScalingTrainer::computeMinAndMax");
    std::size_t uiFirst = 0;
    if (m_uiNumberData == 0)
    {
        m_uiInputSize = m_vBatch[0].m_vInput.size();
        m_uiTargetSize = m_vBatch[0].m_vTarget.size();
        m_input.m_vMax = m_input.m_vMin = m_vBatch[0].m_vInput;
        m_target.m_vMax = m_target.m_vMin = m_vBatch[0].m_vTarget;
        uiFirst = 1;
    }
    bool bOfFirstSize = true;
    for (std::size_t i = uiFirst; i < m_uiBatch; ++i)
        bOfFirstSize = QC_CHECK_TEXT("m_vInput.size() == m_vInputMax.size()",
                                     m_vBatch[i].m_vInput.size() == m_input.m_vMax.size());
    if (!bOfFirstSize || uiFirst == m_uiBatch)
        return;
    updateMinMax(m_vInputs.data() + uiFirst, m_uiBatch - uiFirst, m_uiInputSize, m_input.m_vMax,
                 m_input.m_vMin);
    updateMinMax(m_vTargets.data() + uiFirst, m_uiBatch - uiFirst, getNbCommonTargets(), m_target.m_vMax,
                 m_target.m_vMin);
}

void VectorScalingTrainer::updateMeanCounter()
{
    const TraceScope scope(s_verboseLogger, "VectorScalingTrainer::updateMeanCounter");
    if (m_uiNumberData == 0)
    {
        m_input.m_vAvg = DoubleVector(m_uiInputSize);
        m_target.m_vAvg = DoubleVector(m_uiTargetSize);
    }
    VectorKernels::add(m_vInputs.data(), m_uiBatch, getNbCommonInputs(), m_input.m_vAvg.begin());
    VectorKernels::add(m_vTargets.data(), m_uiBatch, getNbCommonTargets(), m_target.m_vAvg.begin());
}

void VectorScalingTrainer::computeMean()
{
    QC_TRACE("VectorScalingTrainer::computeMean");
    if (!QC_CHECK(m_uiNumberData != 0))
        return;
    const auto dNumberData = static_cast<double>(m_uiNumberData);
    for (DoubleVector* pAvg : {&m_input.m_vAvg, &m_target.m_vAvg})
        for (double& dAvg : *pAvg)
            dAvg /= dNumberData;
    QC_DEBUG("Input avg = " << m_input.m_vAvg);
    QC_DEBUG("Target avg = " << m_target.m_vAvg);
}

void VectorScalingTrainer::updateStdDevCounter()
{
    const TraceScope scope(s_verboseLogger, "VectorScalingTrainer::updateStdDevCounter");
    if (!QC_CHECK_TEXT("m_vInputAvg.size() == m_uiInputSize", m_input.m_vAvg.size() == m_uiInputSize))
        return;
    VectorKernels::addSquaredDeviations(m_vInputs.data(), m_uiBatch, m_input.m_vAvg.begin(),
                                        getNbCommonInputs(), m_input.m_vStdDev.begin());
    VectorKernels::addSquaredDeviations(m_vTargets.data(), m_uiBatch, m_target.m_vAvg.begin(),
                                        getNbCommonTargets(), m_target.m_vStdDev.begin());
}

void VectorScalingTrainer::computeStdDev()
{
    QC_TRACE("VectorScalingTrainer::computeStdDev");
    if (!QC_CHECK(m_uiNumberData != 0))
        return;
    const auto dDivisor = static_cast<double>(m_uiNumberData - 1);
    for (DoubleVector* pStdDev : {&m_input.m_vStdDev, &m_target.m_vStdDev})
        for (double& dStdDev : *pStdDev)
            dStdDev = std::sqrt(dStdDev / dDivisor);
    QC_DEBUG("Input std dev = " << m_input.m_vStdDev);
    QC_DEBUG("Target std avg = " << m_target.m_vStdDev); // "avg": text kept
}

bool VectorScalingTrainer::isForTheseSizes() const
{
    return QC_CHECK(m_config.m_vTrainingParam.size() == m_uiInputSize + m_uiTargetSize);
}

void VectorScalingTrainer::computeSlope()
{
    QC_TRACE("VectorScalingTrainer::computeSlope");
    if (!isForTheseSizes())
        return;
    computeSlope("Input ", m_input, 0);
    computeSlope("Target ", m_target, m_uiInputSize);
}

void VectorScalingTrainer::computeSlope(const char* in_name, Statistics& io_statistics,
                                        std::size_t in_uiFirstParam) const
{
    for (std::size_t i = 0; i < io_statistics.m_vMax.size(); ++i)
    {
        const Config::TrainingParam& param = m_config.m_vTrainingParam[in_uiFirstParam + i];
        const double dMax = io_statistics.m_vMax[i];
        const double dMin = io_statistics.m_vMin[i];
        double dSlope = 1.0;
        if (param.m_bMinMax)
        {
            QC_DEBUG(in_name << i << " max value = " << dMax);
            QC_DEBUG(in_name << i << " min value = " << dMin);
            dSlope = (param.m_dScaledMaxValue - param.m_dScaledMinValue) / (dMax - dMin);
        }
        QC_DEBUG("Dslope  " << i << " = " << dSlope); // two blanks: text kept
        io_statistics.m_vSlope.push_back(dSlope);
    }
}

bool VectorScalingTrainer::computeResultingParam(VectorScaler::Config& io_scalerConfig) const
{
    QC_TRACE("VectorScalingTrainer::computeResultingParam");
    return isForTheseSizes() &&
           computeResultingParam("Input", m_input, 0, io_scalerConfig.m_vInputSlope,
                                 io_scalerConfig.m_vInputYIntercept) &&
           computeResultingParam("Target", m_target, m_uiInputSize, io_scalerConfig.m_vTargetSlope,
                                 io_scalerConfig.m_vTargetYIntercept);
}

/// Why a component cannot be scaled well; null when it can.
const char* VectorScalingTrainer::findFault(const Statistics& in_statistics, std::size_t in_uiIndex,
                                            bool in_bStandardize)
{
    const double dMax = in_statistics.m_vMax[in_uiIndex];
    const double dMin = in_statistics.m_vMin[in_uiIndex];
    if (!std::isfinite(in_statistics.m_vAvg[in_uiIndex]))
        return "has values that are not finite or too large";
    if (dMax == dMin)
        return "has one value only";
    const double dDivisor = in_bStandardize ? in_statistics.m_vStdDev[in_uiIndex] : dMax - dMin;
    if (!std::isfinite(dDivisor))
        return "has values too far apart";
    return std::isfinite(1.0 / dDivisor) ? nullptr : "has values too close to each other";
}

bool VectorScalingTrainer::computeResultingParam(const char* in_name, const Statistics& in_statistics,
                                                 std::size_t in_uiFirstParam, DoubleVector& io_vSlope,
                                                 DoubleVector& io_vYIntercept) const
{
    const std::string strCondition = std::string("m_v") + in_name + "StdDev[i] != 0";
    for (std::size_t i = 0; i < in_statistics.m_vSlope.size(); ++i)
    {
        const Config::TrainingParam& param = m_config.m_vTrainingParam[in_uiFirstParam + i];
        double dSlope = 1.0;
        double dYIntercept = 0.0;
        if (param.m_bMinMax && param.m_bStandardize)
        {
            QC_ERROR("minmax scaling with standardize: NOT SUPPORTED YET");
            return false;
        }
        const double dStdDev = in_statistics.m_vStdDev[i];
        const char* fault = findFault(in_statistics, i, param.m_bStandardize);
        if (param.m_bStandardize && !QC_CHECK_TEXT(strCondition.c_str(), dStdDev != 0))
        {
            QC_ERROR(in_name << ' ' << i << ' ' << fault << ": it cannot be standardized");
            return false;
        }
        if (fault != nullptr && (param.m_bMinMax || param.m_bStandardize))
            QC_WARN(in_name << ' ' << i << ' ' << fault << ": its scaling makes no sense");
        if (param.m_bStandardize)
        {
            dSlope = 1.0 / dStdDev;
            dYIntercept = in_statistics.m_vAvg[i] * -1.0 / dStdDev;
        }
        else if (param.m_bMinMax)
        {
            dSlope = in_statistics.m_vSlope[i];
            dYIntercept = param.m_dScaledMinValue - dSlope * in_statistics.m_vMin[i];
        }
        io_vSlope.push_back(dSlope);
        io_vYIntercept.push_back(dYIntercept);
    }
    return true;
}

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VectorScalingTrainer::Config)
