#pragma once

#include "common/FannNetwork.h"

#include <functional>
#include <memory>
#include <vector>

struct fann_train_data;

namespace Vexalor::MachineLearning
{

class LayeredGradient;
class PatternSet;

/// Trains a network on a set of patterns, with FANN's RPROP or in small batches (AdamTraining). The same
/// patterns and settings give the same network.
///
/// Inputs, and the targets of linear outputs, are standardised for the training; the network that results
/// takes and gives them as they are, and errors are those of targets as they are. Its output neurons are
/// chosen by the range of the targets: sigmoid within [0, 1], symmetric sigmoid within [-1, 1], else linear.
class FannTrainer
{
public:
    enum class Method
    {
        RPROP, ///< a step an epoch, from the gradient over all patterns
        ADAM   ///< a step a batch, many an epoch: for many patterns
    };

    struct Settings
    {
        std::vector<unsigned int> m_vHiddenSizes;
        Method m_method = Method::RPROP;
        /// Patterns in a batch, and length of the first steps; of ADAM.
        unsigned int m_uiBatch = 64;
        double m_dLearningRate = 0.003;
        unsigned int m_uiEpochs = 200;
        std::uint64_t m_uiSeed = 1;
        /// Training ends once an epoch's mean square error, as FANN counts it, is not above this.
        double m_dDesiredError = 0.0;
        /// One pattern in so many is held out, in runs of neighbours; 0: none.
        unsigned int m_uiHoldOut = 0;
        /// Training ends after so many epochs without a smaller error on what was held out, and the weights
        /// of the smallest one are taken.
        unsigned int m_uiPatience = 20;
    };

    /// What an epoch ended with; the second error is nan when nothing was held out.
    struct Epoch
    {
        unsigned int m_uiNumber = 0;
        double m_dError = 0.0;
        double m_dHeldOutError = 0.0;
    };

    /// Receives every epoch; false ends the training, as if it had been the last one.
    using Watcher = std::function<bool(const Epoch&)>;

    explicit FannTrainer(const Settings& in_settings)
        : m_settings(in_settings)
    {
    }

    /// Null, with the reason logged at error level, for a set that is empty or without targets, if no pattern
    /// would be left, for targets beyond 300, or if the errors grow beyond all bounds. out_epoch is the epoch
    /// whose weights were taken.
    std::unique_ptr<FannNetwork> train(const PatternSet& in_patterns, const Watcher& in_watcher,
                                       Epoch& out_epoch) const;

private:
    /// Trains for an epoch, and gives its error or that of what is held out.
    using Run = std::function<double()>;

    bool isHeldOut(const PatternSet& in_patterns, std::size_t in_uiIndex) const;
    bool split(const PatternSet& in_patterns, std::vector<std::size_t>& out_vTraining,
               std::vector<std::size_t>& out_vHeldOut) const;
    Run newTraining(FannNetwork& io_network, const LayeredGradient& in_gradient,
                    fann_train_data& io_patterns) const;
    bool runEpochs(FannNetwork& io_network, const Run& in_train, const Run& in_test,
                   const Watcher& in_watcher, Epoch& out_epoch) const;

    Settings m_settings;
};

} // namespace Vexalor::MachineLearning
