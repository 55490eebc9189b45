#include "common/AdamTraining.h"

#include <algorithm>
#include <cmath>
#include <doublefann.h>
#include <numbers>
#include <numeric>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

/// The constants of the paper.
constexpr double MEAN_DECAY = 0.9;
constexpr double SQUARES_DECAY = 0.999;
constexpr double LEAST_DEVIATION = 1e-8;

double getBatches(std::size_t in_uiPatterns, const AdamTraining::Settings& in_settings)
{
    return std::ceil(static_cast<double>(in_uiPatterns) / in_settings.m_uiBatch);
}

} // namespace

AdamTraining::AdamTraining(const LayeredGradient& in_gradient, double* io_pWeights,
                           const fann_train_data& in_patterns, const Settings& in_settings)
    : m_settings(in_settings)
    , m_gradient(in_gradient)
    , m_pWeights(io_pWeights)
    , m_patterns(in_patterns)
    , m_generator(in_settings.m_uiSeed)
    , m_vOrder(in_patterns.num_data)
    , m_vMean(in_gradient.getSum().size())
    , m_vSquares(in_gradient.getSum().size())
{
    std::iota(m_vOrder.begin(), m_vOrder.end(), 0u);
}

double AdamTraining::runEpoch()
{
    shuffle();
    double dError = 0.0;
    std::size_t uiInBatch = 0;
    for (std::size_t i = 0; i < m_vOrder.size(); ++i)
    {
        dError += m_gradient.add(m_pWeights, m_patterns.input[m_vOrder[i]], m_patterns.output[m_vOrder[i]]);
        if (++uiInBatch < m_settings.m_uiBatch && i + 1 < m_vOrder.size())
            continue;
        step(uiInBatch);
        uiInBatch = 0;
    }
    return dError / static_cast<double>(m_vOrder.size());
}

/// The half-cosine is 1/2 on average.
double AdamTraining::getReach(std::size_t in_uiPatterns, const Settings& in_settings)
{
    return 0.5 * in_settings.m_dRate * getBatches(in_uiPatterns, in_settings) * in_settings.m_uiEpochs;
}

/// The same on every machine, which std::shuffle is not.
void AdamTraining::shuffle()
{
    for (std::size_t i = m_vOrder.size(); i > 1; --i)
        std::swap(m_vOrder[i - 1], m_vOrder[m_generator() % i]);
}

void AdamTraining::step(std::size_t in_uiPatterns)
{
    const double dPart = m_dSteps / (getBatches(m_vOrder.size(), m_settings) * m_settings.m_uiEpochs);
    const double dRate = m_settings.m_dRate * 0.5 * (1.0 + std::cos(std::numbers::pi * dPart));
    m_dSteps += 1.0;
    const double dMeanScale = 1.0 / (1.0 - std::pow(MEAN_DECAY, m_dSteps));
    const double dSquaresScale = 1.0 / (1.0 - std::pow(SQUARES_DECAY, m_dSteps));
    const double dPatterns = static_cast<double>(in_uiPatterns);
    const std::vector<double>& vSum = m_gradient.getSum();
    for (std::size_t i = 0; i < vSum.size(); ++i)
    {
        const double dGradient = vSum[i] / dPatterns;
        m_vMean[i] += (1.0 - MEAN_DECAY) * (dGradient - m_vMean[i]);
        m_vSquares[i] += (1.0 - SQUARES_DECAY) * (dGradient * dGradient - m_vSquares[i]);
        m_pWeights[i] -=
            dRate * dMeanScale * m_vMean[i] / (std::sqrt(dSquaresScale * m_vSquares[i]) + LEAST_DEVIATION);
    }
    m_gradient.clear();
}

} // namespace Vexalor::MachineLearning
