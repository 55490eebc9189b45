#include "common/LayeredGradient.h"
#include "common/AdamTraining.h"

#include <cmath>
#include <doublefann.h>
#include <gtest/gtest.h>
#include <memory>

using namespace Vexalor::MachineLearning;

namespace
{

using Output = FannNetwork::Output;

struct Case
{
    const char* m_name;
    std::vector<unsigned int> m_vSizes;
    Output m_output;
    std::vector<double> m_vTarget;
};

const Case CASES[] = {
    {"sigmoid", {3, 4, 2}, Output::SIGMOID, {1, 0.25}},
    {"symmetric", {5, 3, 2}, Output::SYMMETRIC, {-1, 0.5}},
    {"linear", {2, 7, 1}, Output::LINEAR, {3}},
    {"no hidden layer", {9, 2}, Output::SIGMOID, {0, 1}},
    {"three hidden layers", {4, 5, 3, 4, 2}, Output::SYMMETRIC, {1, -1}},
};

std::unique_ptr<FannNetwork> newNetwork(const Case& in_case)
{
    return std::unique_ptr<FannNetwork>(FannNetwork::newLayered(in_case.m_vSizes, in_case.m_output, 7));
}

std::vector<double> inputOf(const Case& in_case)
{
    std::vector<double> vInput;
    for (unsigned int i = 0; i < in_case.m_vSizes.front(); ++i)
        vInput.push_back(1.5 * std::sin(1.0 + i));
    return vInput;
}

/// The error whose gradient is looked for, of FANN's own outputs.
double errorOf(FannNetwork& io_network, const Case& in_case)
{
    const std::vector<double> vInput = inputOf(in_case);
    const double* pOutput = fann_run(&io_network.getFann(), const_cast<double*>(vInput.data()));
    const auto crossEntropy = [](double in_dOutput, double in_dTarget)
    {
        return -in_dTarget * std::log(in_dOutput) - (1 - in_dTarget) * std::log(1 - in_dOutput);
    };
    double dError = 0;
    for (std::size_t i = 0; i < in_case.m_vTarget.size(); ++i)
    {
        const double dTarget = in_case.m_vTarget[i];
        if (in_case.m_output == Output::SIGMOID)
            dError += crossEntropy(pOutput[i], dTarget);
        else if (in_case.m_output == Output::SYMMETRIC)
            dError += 2 * crossEntropy((1 + pOutput[i]) / 2, (1 + dTarget) / 2);
        else
            dError += (pOutput[i] - dTarget) * (pOutput[i] - dTarget);
    }
    return dError;
}

struct DestroyData
{
    void operator()(fann_train_data* io_pData) const { fann_destroy_train(io_pData); }
};
using TrainData = std::unique_ptr<fann_train_data, DestroyData>;

/// The pattern of a case, so many times.
TrainData newData(const Case& in_case, unsigned int in_uiCount)
{
    const std::vector<double> vInput = inputOf(in_case);
    TrainData pData(fann_create_train(in_uiCount, in_case.m_vSizes.front(), in_case.m_vSizes.back()));
    for (unsigned int i = 0; i < in_uiCount; ++i)
    {
        std::copy(vInput.begin(), vInput.end(), pData->input[i]);
        std::copy(in_case.m_vTarget.begin(), in_case.m_vTarget.end(), pData->output[i]);
    }
    return pData;
}

} // namespace

TEST(LayeredGradientTest, OutputsAndErrorAreThoseOfFann)
{
    for (const Case& layers : CASES)
    {
        const std::unique_ptr<FannNetwork> pNetwork = newNetwork(layers);
        const std::vector<double> vInput = inputOf(layers);
        LayeredGradient gradient(layers.m_vSizes, layers.m_output);
        const double dError =
            gradient.add(pNetwork->getFann().weights, vInput.data(), layers.m_vTarget.data());
        // FANN counts in single precision.
        EXPECT_FLOAT_EQ(dError, fann_test_data(&pNetwork->getFann(), newData(layers, 1).get()))
            << layers.m_name;
        const double* pOutput = fann_run(&pNetwork->getFann(), const_cast<double*>(vInput.data()));
        for (std::size_t i = 0; i < layers.m_vTarget.size(); ++i)
            EXPECT_NEAR(gradient.getOutput()[i], pOutput[i], 1e-14) << layers.m_name;
    }
}

TEST(LayeredGradientTest, GradientIsWhatTheErrorChangesByWithEachWeight)
{
    constexpr double STEP = 1e-5;
    for (const Case& layers : CASES)
    {
        const std::unique_ptr<FannNetwork> pNetwork = newNetwork(layers);
        double* const pWeights = pNetwork->getFann().weights;
        const std::vector<double> vInput = inputOf(layers);
        LayeredGradient gradient(layers.m_vSizes, layers.m_output);
        for (int iRound = 0; iRound < 2; ++iRound)
        {
            gradient.clear();
            gradient.add(pWeights, vInput.data(), layers.m_vTarget.data());
            gradient.add(pWeights, vInput.data(), layers.m_vTarget.data());
        }
        ASSERT_EQ(gradient.getSum().size(), pNetwork->getFann().total_connections);
        for (std::size_t i = 0; i < gradient.getSum().size(); ++i)
        {
            const double dWeight = pWeights[i];
            pWeights[i] = dWeight + STEP;
            const double dAbove = errorOf(*pNetwork, layers);
            pWeights[i] = dWeight - STEP;
            const double dBelow = errorOf(*pNetwork, layers);
            pWeights[i] = dWeight;
            // Two patterns: twice the difference.
            EXPECT_NEAR(gradient.getSum()[i], (dAbove - dBelow) / STEP, 1e-7) << layers.m_name << ' ' << i;
        }
    }
}

TEST(AdamTrainingTest, FirstStepIsAsLongAsWasSaidAndLeadsDownwards)
{
    const Case& layers = CASES[0];
    const std::unique_ptr<FannNetwork> pNetwork = newNetwork(layers);
    double* const pWeights = pNetwork->getFann().weights;
    const std::vector<double> vBefore(pWeights, pWeights + pNetwork->getFann().total_connections);
    const TrainData pData = newData(layers, 10);
    LayeredGradient gradient(layers.m_vSizes, layers.m_output);
    AdamTraining training(gradient, pWeights, *pData, {50, 1, 10, 0.01});
    const double dFirst = training.runEpoch();
    gradient.add(vBefore.data(), pData->input[0], pData->output[0]);
    for (std::size_t i = 0; i < vBefore.size(); ++i)
        EXPECT_NEAR(pWeights[i] - vBefore[i], std::copysign(0.01, -gradient.getSum()[i]), 1e-6) << i;
    double dLast = dFirst;
    for (int iEpoch = 1; iEpoch < 50; ++iEpoch)
        dLast = training.runEpoch();
    EXPECT_LT(dLast, 0.1 * dFirst);
}

TEST(AdamTrainingTest, StepsShrinkToNothing)
{
    const Case& layers = CASES[2];
    const std::unique_ptr<FannNetwork> pNetwork = newNetwork(layers);
    double* const pWeights = pNetwork->getFann().weights;
    const TrainData pData = newData(layers, 10);
    // Batches of 4, 4 and 2: the last three of 300 steps are (1 - cos(n pi / 300)) / 2 of the first, for n =
    // 3, 2 and 1 together 4e-4.
    AdamTraining training(LayeredGradient(layers.m_vSizes, layers.m_output), pWeights, *pData,
                          {100, 1, 4, 0.01});
    for (int iEpoch = 1; iEpoch < 100; ++iEpoch)
        training.runEpoch();
    const std::vector<double> vBefore(pWeights, pWeights + pNetwork->getFann().total_connections);
    training.runEpoch();
    for (std::size_t i = 0; i < vBefore.size(); ++i)
        EXPECT_NEAR(pWeights[i], vBefore[i], 0.01 * 4e-4) << i;
}
