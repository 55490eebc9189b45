#pragma once

#include "common/LayeredGradient.h"

#include <cstdint>
#include <random>
#include <vector>

struct fann_train_data;

namespace Vexalor::MachineLearning
{

/// Training in small batches: after each, every weight takes a step whose length follows from the mean and
/// the mean square of its gradients so far (Adam; Kingma and Ba 2015). Steps become shorter over the whole
/// training, along half a cosine down to 0 (Loshchilov and Hutter 2017). The same patterns and settings give
/// the same weights.
///
/// Call order: runEpoch*, as often as was said.
class AdamTraining
{
public:
    struct Settings
    {
        unsigned int m_uiEpochs = 1;
        std::uint64_t m_uiSeed = 1; ///< of the order of the patterns
        unsigned int m_uiBatch = 64;
        double m_dRate = 0.003; ///< length of the first steps
    };

    /// The network and its weights, which are trained where they are; in_patterns outlives this, too.
    AdamTraining(const LayeredGradient& in_gradient, double* io_pWeights, const fann_train_data& in_patterns,
                 const Settings& in_settings);

    /// One pass over the patterns in another order. Gives their mean square error as FANN counts it, each as
    /// it was before the step that followed from it.
    double runEpoch();

    /// How far all steps of a training of so many patterns bring a weight at most, where all its gradients
    /// agree.
    static double getReach(std::size_t in_uiPatterns, const Settings& in_settings);

private:
    void shuffle();
    void step(std::size_t in_uiPatterns);

    Settings m_settings;
    LayeredGradient m_gradient;
    double* m_pWeights;
    const fann_train_data& m_patterns;
    std::mt19937_64 m_generator;
    std::vector<unsigned int> m_vOrder;
    std::vector<double> m_vMean;    ///< of the gradients, recent ones weigh more
    std::vector<double> m_vSquares; ///< of these
    double m_dSteps = 0.0;
};

} // namespace Vexalor::MachineLearning
