#include "common/LayeredGradient.h"

#include "quillcast-math/SignalKernels.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

/// FANN's steepness of 0.5 is in these: 1 / (1 + e^-x), tanh(x / 2) and x / 2.
double sigmoid(double in_dSum)
{
    return 1.0 / (1.0 + std::exp(-in_dSum));
}

double symmetricSigmoid(double in_dSum)
{
    return 2.0 / (1.0 + std::exp(-in_dSum)) - 1.0;
}

double toOutput(FannNetwork::Output in_output, double in_dSum)
{
    switch (in_output)
    {
    case FannNetwork::Output::SIGMOID:
        return sigmoid(in_dSum);
    case FannNetwork::Output::SYMMETRIC:
        return symmetricSigmoid(in_dSum);
    case FannNetwork::Output::LINEAR:
        break;
    }
    return 0.5 * in_dSum;
}

double product(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize)
{
    const std::size_t uiWhole = in_uiSize / 4 * 4;
    double dSum = SignalKernels::weightedSum(in_pLeft, in_pRight, uiWhole);
    for (std::size_t i = uiWhole; i < in_uiSize; ++i)
        dSum += in_pLeft[i] * in_pRight[i];
    return dSum;
}

void addMultiple(double in_dFactor, const double* in_pValues, std::size_t in_uiSize, double* io_pSum)
{
    for (std::size_t i = 0; i < in_uiSize; ++i)
        io_pSum[i] += in_dFactor * in_pValues[i];
}

} // namespace

LayeredGradient::LayeredGradient(const std::vector<unsigned int>& in_vSizes, FannNetwork::Output in_output)
    : m_output(in_output)
    , m_vOutput(in_vSizes.back())
{
    std::size_t uiWeights = 0;
    for (std::size_t i = 1; i < in_vSizes.size(); ++i)
    {
        const std::size_t uiInputs = in_vSizes[i - 1] + std::size_t(1);
        m_vLayers.push_back(
            {in_vSizes[i], uiWeights, std::vector<double>(uiInputs, 1.0), std::vector<double>(in_vSizes[i])});
        uiWeights += uiInputs * in_vSizes[i];
    }
    m_vSum.resize(uiWeights);
}

void LayeredGradient::clear()
{
    std::fill(m_vSum.begin(), m_vSum.end(), 0.0);
}

double LayeredGradient::add(const double* in_pWeights, const double* in_pInput, const double* in_pTarget)
{
    computeOutput(in_pWeights, in_pInput);
    const double dScale = m_output == FannNetwork::Output::SYMMETRIC ? 0.5 : 1.0;
    std::vector<double>& vDelta = m_vLayers.back().m_vDelta;
    double dSquares = 0.0;
    for (std::size_t i = 0; i < m_vOutput.size(); ++i)
    {
        vDelta[i] = m_vOutput[i] - in_pTarget[i];
        dSquares += dScale * vDelta[i] * dScale * vDelta[i];
    }
    for (std::size_t i = m_vLayers.size() - 1; i > 0; --i)
        computeDeltas(in_pWeights, i - 1);
    for (const Layer& layer : m_vLayers)
        addToSum(layer);
    return dSquares / static_cast<double>(m_vOutput.size());
}

void LayeredGradient::computeOutput(const double* in_pWeights, const double* in_pInput)
{
    std::copy(in_pInput, in_pInput + m_vLayers.front().m_vInput.size() - 1,
              m_vLayers.front().m_vInput.begin());
    for (std::size_t uiLayer = 0; uiLayer < m_vLayers.size(); ++uiLayer)
    {
        const Layer& layer = m_vLayers[uiLayer];
        const bool bLast = uiLayer + 1 == m_vLayers.size();
        std::vector<double>& vValues = bLast ? m_vOutput : m_vLayers[uiLayer + 1].m_vInput;
        const double* pWeights = in_pWeights + layer.m_uiFirstWeight;
        for (std::size_t i = 0; i < layer.m_uiNeurons; ++i, pWeights += layer.m_vInput.size())
        {
            const double dSum = product(pWeights, layer.m_vInput.data(), layer.m_vInput.size());
            vValues[i] = bLast ? toOutput(m_output, dSum) : symmetricSigmoid(dSum);
        }
    }
}

/// Of a hidden layer, from those of the one after it.
void LayeredGradient::computeDeltas(const double* in_pWeights, std::size_t in_uiLayer)
{
    Layer& layer = m_vLayers[in_uiLayer];
    const Layer& next = m_vLayers[in_uiLayer + 1];
    std::fill(layer.m_vDelta.begin(), layer.m_vDelta.end(), 0.0);
    for (std::size_t i = 0; i < next.m_uiNeurons; ++i)
        addMultiple(next.m_vDelta[i], in_pWeights + next.m_uiFirstWeight + i * next.m_vInput.size(),
                    layer.m_uiNeurons, layer.m_vDelta.data());
    // The derivative of tanh(x / 2).
    for (std::size_t i = 0; i < layer.m_uiNeurons; ++i)
        layer.m_vDelta[i] *= 0.5 * (1.0 - next.m_vInput[i] * next.m_vInput[i]);
}

void LayeredGradient::addToSum(const Layer& in_layer)
{
    double* pSum = m_vSum.data() + in_layer.m_uiFirstWeight;
    for (std::size_t i = 0; i < in_layer.m_uiNeurons; ++i, pSum += in_layer.m_vInput.size())
        addMultiple(in_layer.m_vDelta[i], in_layer.m_vInput.data(), in_layer.m_vInput.size(), pSum);
}

} // namespace Vexalor::MachineLearning
