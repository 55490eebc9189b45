#include "common/FannTrainer.h"

#include "common/AdamTraining.h"
#include "common/PatternSet.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cmath>
#include <doublefann.h>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.FannTrainer");

/// Longest run of neighbouring patterns that is held out together: neighbours are alike, and a pattern
/// between two of the training would tell nothing new.
constexpr std::size_t LONGEST_RUN = 50;
/// A short set is held out in so many runs.
constexpr std::size_t LEAST_RUNS = 10;

/// FANN limits the sum of a neuron to 150 over its steepness of 0.5, that of a linear one too.
constexpr double LARGEST_OUTPUT = 300;

/// A weight of an input of deviation 1 turns a sigmoid from 0.02 to 0.98 when it is so large.
constexpr double LEAST_REACH = 4;

/// Of targets that a sigmoid learns: a class of one pattern in a thousand has 0.03.
constexpr double LEAST_DEVIATION = 0.03;

struct DestroyData
{
    void operator()(fann_train_data* io_pData) const { fann_destroy_train(io_pData); }
};
using TrainData = std::unique_ptr<fann_train_data, DestroyData>;

/// What inputs and targets are trained as: (input - mean) * factor and (target - mean) / deviation.
struct Scaling
{
    DoubleVector m_vInputMean;
    DoubleVector m_vInputFactor;
    DoubleVector m_vTargetMean;
    double m_dTargetDeviation = 1.0;
};

/// The mean that leaves targets as they are.
DoubleVector keepTargets(const PatternSet& in_patterns)
{
    DoubleVector vMean;
    double dDeviation = 0.0;
    in_patterns.getTargetScaling(vMean, dDeviation);
    if (dDeviation < LEAST_DEVIATION)
        QC_WARN("Targets differ from their mean by " << dDeviation << " only, which trains badly: ml-config "
                                                     << "learn-scaling --targets standardize scales them");
    return DoubleVector(in_patterns.getTargetSize());
}

/// Targets of sigmoids stay as they are: these reach them with weights of about 1. What varies little is
/// learnt badly then.
Scaling getScaling(const PatternSet& in_patterns, FannNetwork::Output in_output)
{
    Scaling scaling;
    in_patterns.getInputScaling(scaling.m_vInputMean, scaling.m_vInputFactor);
    if (in_output == FannNetwork::Output::LINEAR)
        in_patterns.getTargetScaling(scaling.m_vTargetMean, scaling.m_dTargetDeviation);
    else
        scaling.m_vTargetMean = keepTargets(in_patterns);
    return scaling;
}

/// The chosen patterns, scaled; null when there are none.
TrainData newTrainData(const PatternSet& in_patterns, const std::vector<std::size_t>& in_vIndices,
                       const Scaling& in_scaling)
{
    if (in_vIndices.empty())
        return nullptr;
    TrainData pData(fann_create_train(static_cast<unsigned int>(in_vIndices.size()),
                                      static_cast<unsigned int>(in_patterns.getInputSize()),
                                      static_cast<unsigned int>(in_patterns.getTargetSize())));
    if (pData == nullptr)
        throw std::bad_alloc();
    for (std::size_t i = 0; i < in_vIndices.size(); ++i)
    {
        const double* pInput = in_patterns.getInput(in_vIndices[i]);
        for (std::size_t j = 0; j < in_patterns.getInputSize(); ++j)
            pData->input[i][j] = (pInput[j] - in_scaling.m_vInputMean[j]) * in_scaling.m_vInputFactor[j];
        const double* pTarget = in_patterns.getTarget(in_vIndices[i]);
        for (std::size_t j = 0; j < in_patterns.getTargetSize(); ++j)
            pData->output[i][j] = (pTarget[j] - in_scaling.m_vTargetMean[j]) / in_scaling.m_dTargetDeviation;
    }
    return pData;
}

std::vector<double> getWeights(const fann& in_fann)
{
    return {in_fann.weights, in_fann.weights + in_fann.total_connections};
}

/// False, with the reason logged, for targets that no output reaches.
bool chooseOutput(const PatternSet& in_patterns, FannNetwork::Output& out_output)
{
    double dMin = 0;
    double dMax = 0;
    in_patterns.getTargetRange(dMin, dMax);
    if (dMin < -LARGEST_OUTPUT || dMax > LARGEST_OUTPUT)
    {
        QC_ERROR("Targets reach from " << dMin << " to " << dMax << ", a network gives at most "
                                       << LARGEST_OUTPUT << " either way");
        return false;
    }
    out_output = FannNetwork::Output::LINEAR;
    if (dMax <= 1 && dMin >= -1)
        out_output = dMin >= 0 ? FannNetwork::Output::SIGMOID : FannNetwork::Output::SYMMETRIC;
    return true;
}

std::vector<unsigned int> getSizes(const PatternSet& in_patterns,
                                   const std::vector<unsigned int>& in_vHiddenSizes)
{
    std::vector<unsigned int> vSizes{static_cast<unsigned int>(in_patterns.getInputSize())};
    vSizes.insert(vSizes.end(), in_vHiddenSizes.begin(), in_vHiddenSizes.end());
    vSizes.push_back(static_cast<unsigned int>(in_patterns.getTargetSize()));
    return vSizes;
}

} // namespace

bool FannTrainer::isHeldOut(const PatternSet& in_patterns, std::size_t in_uiIndex) const
{
    if (m_settings.m_uiHoldOut == 0)
        return false;
    const std::size_t uiShort = in_patterns.size() / (LEAST_RUNS * m_settings.m_uiHoldOut);
    const std::size_t uiRun = std::clamp<std::size_t>(uiShort, 1, LONGEST_RUN);
    return in_uiIndex / uiRun % m_settings.m_uiHoldOut == m_settings.m_uiHoldOut - 1;
}

bool FannTrainer::split(const PatternSet& in_patterns, std::vector<std::size_t>& out_vTraining,
                        std::vector<std::size_t>& out_vHeldOut) const
{
    for (std::size_t i = 0; i < in_patterns.size(); ++i)
        (isHeldOut(in_patterns, i) ? out_vHeldOut : out_vTraining).push_back(i);
    if (in_patterns.size() == 0)
        QC_ERROR("No pattern with a target to train on");
    else if (out_vTraining.empty() || (m_settings.m_uiHoldOut > 0 && out_vHeldOut.empty()))
        QC_ERROR("Too few patterns, " << in_patterns.size() << ", to hold out one in "
                                      << m_settings.m_uiHoldOut);
    else
        return true;
    return false;
}

std::unique_ptr<FannNetwork> FannTrainer::train(const PatternSet& in_patterns, const Watcher& in_watcher,
                                                Epoch& out_epoch) const
{
    QC_TRACE("FannTrainer::train");
    std::vector<std::size_t> vTraining;
    std::vector<std::size_t> vHeldOut;
    FannNetwork::Output output;
    if (!split(in_patterns, vTraining, vHeldOut) || !chooseOutput(in_patterns, output))
        return nullptr;
    const std::vector<unsigned int> vSizes = getSizes(in_patterns, m_settings.m_vHiddenSizes);
    std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newLayered(vSizes, output, m_settings.m_uiSeed));
    if (pNetwork == nullptr)
        return nullptr;
    const Scaling scaling = getScaling(in_patterns, output);
    const double dErrorUnit = scaling.m_dTargetDeviation * scaling.m_dTargetDeviation;
    const TrainData pTraining = newTrainData(in_patterns, vTraining, scaling);
    const TrainData pHeldOut = newTrainData(in_patterns, vHeldOut, scaling);
    const Run trainEpoch = newTraining(*pNetwork, LayeredGradient(vSizes, output), *pTraining);
    const Run runEpoch = [&]
    {
        return dErrorUnit * trainEpoch();
    };
    Run test;
    if (pHeldOut != nullptr)
        test = [&]
        {
            return dErrorUnit * fann_test_data(&pNetwork->getFann(), pHeldOut.get());
        };
    if (!runEpochs(*pNetwork, runEpoch, test, in_watcher, out_epoch) ||
        !pNetwork->foldInputScaling(scaling.m_vInputMean, scaling.m_vInputFactor) ||
        !pNetwork->foldTargetScaling(scaling.m_vTargetMean, scaling.m_dTargetDeviation))
        return nullptr;
    return pNetwork;
}

FannTrainer::Run FannTrainer::newTraining(FannNetwork& io_network, const LayeredGradient& in_gradient,
                                          fann_train_data& io_patterns) const
{
    fann* pFann = &io_network.getFann();
    if (m_settings.m_method == Method::ADAM)
    {
        const AdamTraining::Settings settings{m_settings.m_uiEpochs, m_settings.m_uiSeed,
                                              m_settings.m_uiBatch, m_settings.m_dLearningRate};
        const double dReach = AdamTraining::getReach(io_patterns.num_data, settings);
        if (dReach < LEAST_REACH)
            QC_WARN("All steps of this training together change a weight by at most "
                    << dReach << ": more epochs, smaller batches or a higher rate learn more, "
                    << "or rprop where patterns are few");
        const auto pTraining =
            std::make_shared<AdamTraining>(in_gradient, pFann->weights, io_patterns, settings);
        return [pTraining]
        {
            return pTraining->runEpoch();
        };
    }
    fann_set_training_algorithm(pFann, FANN_TRAIN_RPROP);
    fann_set_train_error_function(pFann, FANN_ERRORFUNC_LINEAR);
    return [pFann, &io_patterns]
    {
        return fann_train_epoch(pFann, &io_patterns);
    };
}

bool FannTrainer::runEpochs(FannNetwork& io_network, const Run& in_train, const Run& in_test,
                            const Watcher& in_watcher, Epoch& out_epoch) const
{
    fann& fannNetwork = io_network.getFann();
    std::vector<double> vBestWeights;
    double dBest = std::numeric_limits<double>::infinity();
    Epoch epoch;
    for (epoch.m_uiNumber = 1; epoch.m_uiNumber <= m_settings.m_uiEpochs; ++epoch.m_uiNumber)
    {
        epoch.m_dError = in_train();
        epoch.m_dHeldOutError = in_test ? in_test() : std::numeric_limits<double>::quiet_NaN();
        if (!std::isfinite(epoch.m_dError))
        {
            QC_ERROR("The training error grew beyond all bounds in epoch " << epoch.m_uiNumber);
            return false;
        }
        const bool bGoesOn = in_watcher(epoch);
        if (!in_test || epoch.m_dHeldOutError < dBest)
        {
            dBest = epoch.m_dHeldOutError;
            out_epoch = epoch;
            if (in_test)
                vBestWeights = getWeights(fannNetwork);
        }
        if (!bGoesOn || epoch.m_dError <= m_settings.m_dDesiredError ||
            epoch.m_uiNumber - out_epoch.m_uiNumber >= m_settings.m_uiPatience)
            break;
    }
    std::copy(vBestWeights.begin(), vBestWeights.end(), fannNetwork.weights);
    return true;
}

} // namespace Vexalor::MachineLearning
