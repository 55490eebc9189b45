#pragma once

#include "common/FannTrainer.h"
#include "common/Progress.h"

#include <chrono>
#include <string>

namespace Vexalor::MachineLearning
{

/// What a training shows on a terminal.
class TrainingProgress
{
public:
    /// Begins to measure.
    explicit TrainingProgress(unsigned int in_uiEpochs)
        : m_uiEpochs(in_uiEpochs)
        , m_start(std::chrono::steady_clock::now())
    {
    }

    void show(const FannTrainer::Epoch& in_epoch);

    /// "epoch 12, mean square error 0.01, held out 0.02"
    static std::string toText(const FannTrainer::Epoch& in_epoch);
    /// The same with the rate and the time that the rest takes at most: after in_dSeconds.
    static std::string toText(const FannTrainer::Epoch& in_epoch, unsigned int in_uiEpochs,
                              double in_dSeconds);

private:
    unsigned int m_uiEpochs;
    Progress m_progress;
    std::chrono::steady_clock::time_point m_start;
};

} // namespace Vexalor::MachineLearning
