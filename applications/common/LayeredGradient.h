#pragma once

#include "common/FannNetwork.h"

#include <cstddef>
#include <vector>

namespace Vexalor::MachineLearning
{

/// The gradient of a network's error by its weights, summed over patterns: backpropagation over plain arrays,
/// for networks of FannNetwork::newLayered.
///
/// Weights and gradient are in FANN's order: layer by layer and neuron by neuron, those of the values of the
/// layer before, then the bias. The error of a sigmoid output y with target t is the cross-entropy
/// -t ln y - (1 - t) ln(1 - y), that of a symmetric one twice the same of (1 + y) / 2 and (1 + t) / 2, that
/// of a linear one (y - t)^2: the derivative by the sum that enters the neuron is y - t for each of them
/// (Bishop 1995, section 6.9). Nothing allocates after the construction.
class LayeredGradient
{
public:
    /// Layers, input first, and outputs as newLayered takes them.
    LayeredGradient(const std::vector<unsigned int>& in_vSizes, FannNetwork::Output in_output);

    /// Adds the gradient of a pattern to the sum. Gives the pattern's mean square error as FANN counts it:
    /// over the outputs, differences of symmetric ones halved.
    double add(const double* in_pWeights, const double* in_pInput, const double* in_pTarget);

    /// Of the pattern that was added last.
    const std::vector<double>& getOutput() const { return m_vOutput; }

    /// Of all patterns since the last clear.
    const std::vector<double>& getSum() const { return m_vSum; }
    void clear();

private:
    /// From the values that enter a layer to its neurons.
    struct Layer
    {
        std::size_t m_uiNeurons;
        std::size_t m_uiFirstWeight;
        std::vector<double> m_vInput; ///< and 1, which the bias weighs
        std::vector<double> m_vDelta; ///< derivatives of the error by the sums that enter the neurons
    };

    void computeOutput(const double* in_pWeights, const double* in_pInput);
    void computeDeltas(const double* in_pWeights, std::size_t in_uiLayer);
    void addToSum(const Layer& in_layer);

    FannNetwork::Output m_output;
    std::vector<Layer> m_vLayers;
    std::vector<double> m_vOutput;
    std::vector<double> m_vSum;
};

} // namespace Vexalor::MachineLearning
