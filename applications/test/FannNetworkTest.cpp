#include "common/FannNetwork.h"
#include "common/FannFileCheck.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <doublefann.h>
#include <gmock/gmock.h>
#include <memory>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::LogCapture;
using Testing::readFile;
using Testing::TempDir;

namespace
{

const std::string LINEAR = QC_TEST_DATA "/linear.net";

std::unique_ptr<FannNetwork> load(const std::string& in_strPath)
{
    return std::unique_ptr<FannNetwork>(FannNetwork::newFromFile(in_strPath.c_str()));
}

DoubleVector compute(const FannNetwork& in_network, const DoubleVector& in_vInput)
{
    DoubleVector vOutput;
    EXPECT_TRUE(in_network.compute(in_vInput.begin(), in_vInput.end(), vOutput));
    return vOutput;
}

std::string replaced(std::string in_strText, const std::string& in_strFrom, const std::string& in_strTo)
{
    const std::size_t uiPlace = in_strText.find(in_strFrom);
    EXPECT_NE(uiPlace, std::string::npos) << in_strFrom;
    return in_strText.replace(uiPlace, in_strFrom.size(), in_strTo);
}

/// One network file of each kind that the library writes.
std::vector<std::string> textsOfAllKinds()
{
    const TempDir folder;
    std::vector<std::string> vTexts;
    for (fann* pFann : {fann_create_standard(3, 3, 4, 2), fann_create_sparse(0.5F, 3, 3, 4, 2),
                        fann_create_shortcut(3, 3, 2, 2)})
    {
        fann_save(pFann, folder.path("net").c_str());
        fann_destroy(pFann);
        vTexts.push_back(readFile(folder.path("net")));
    }
    return vTexts;
}

/// A damaged file is refused with one message, or is a network that computes and whose text is sound.
void expectRefusedOrUsable(const std::string& in_strText)
{
    const LogCapture log("quillcast.app");
    const std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newFromText(in_strText, "damaged"));
    if (pNetwork == nullptr)
    {
        EXPECT_EQ(log.count("ERROR Cannot read network file damaged: line "), 1u) << log.text();
        EXPECT_EQ(log.lines().size(), 1u) << log.text();
        return;
    }
    EXPECT_EQ(compute(*pNetwork, DoubleVector(pNetwork->getInputSize(), 0.5)).size(),
              pNetwork->getOutputSize());
    std::string strReason;
    EXPECT_TRUE(checkFannText(pNetwork->getText(), strReason)) << strReason;
}

} // namespace

TEST(FannNetworkTest, ComputesWhatTheFileSays)
{
    const std::unique_ptr<FannNetwork> pNetwork = load(LINEAR);
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_EQ(pNetwork->getInputSize(), 2u);
    EXPECT_EQ(pNetwork->getOutputSize(), 1u);
    // 2 x 1 - 3 x 2 + 0.5
    EXPECT_EQ(compute(*pNetwork, {1.0, 2.0}), DoubleVector({-3.5}));
}

TEST(FannNetworkTest, InputsOfAnotherSizeAreRefusedWithOneMessage)
{
    const std::unique_ptr<FannNetwork> pNetwork = load(LINEAR);
    ASSERT_NE(pNetwork, nullptr);
    const LogCapture log("quillcast.app.FannNetwork");
    DoubleVector vOutput;
    for (const DoubleVector& vInput : {DoubleVector(), DoubleVector(3), DoubleVector(1)})
        EXPECT_FALSE(pNetwork->compute(vInput.begin(), vInput.end(), vOutput));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR The network takes 2 inputs, the patterns have 0"));
}

TEST(FannNetworkTest, SavingAndReadingKeepEveryBit)
{
    const TempDir folder;
    const std::unique_ptr<FannNetwork> pNetwork(
        FannNetwork::newLayered({3, 5, 4, 2}, FannNetwork::Output::SIGMOID, 7));
    const std::unique_ptr<FannNetwork> pRead = load(folder.write("first", pNetwork->getText()));
    ASSERT_NE(pRead, nullptr);
    EXPECT_EQ(compute(*pRead, {0.1, -0.7, 0.3}), compute(*pNetwork, {0.1, -0.7, 0.3}));
    EXPECT_EQ(pRead->getText(), pNetwork->getText());
}

TEST(FannNetworkTest, StartWeightsFollowTheSeed)
{
    const auto start = [](std::uint64_t in_uiSeed)
    {
        const std::unique_ptr<FannNetwork> pNetwork(
            FannNetwork::newLayered({2, 2, 1}, FannNetwork::Output::LINEAR, in_uiSeed));
        return compute(*pNetwork, {0.5, 0.25});
    };
    EXPECT_EQ(start(1), start(1));
    EXPECT_FALSE(start(1) == start(2));
}

TEST(FannNetworkTest, NetworksThatNoFileCouldHoldAreRefused)
{
    const LogCapture log("quillcast.app.FannNetwork");
    EXPECT_EQ(FannNetwork::newLayered({4000000000U, 4000000000U}, FannNetwork::Output::LINEAR, 1), nullptr);
    EXPECT_EQ(log.count("up to 1600000 connections"), 1u) << log.text();
    const Testing::AssertionCapture assertions;
    EXPECT_EQ(FannNetwork::newLayered({2, 0, 1}, FannNetwork::Output::LINEAR, 1), nullptr);
    EXPECT_EQ(assertions.conditions().size(), 1u);
}

TEST(FannNetworkTest, FoldedScalingGivesWhatScaledInputsGave)
{
    const std::unique_ptr<FannNetwork> pNetwork(
        FannNetwork::newLayered({3, 6, 2}, FannNetwork::Output::SYMMETRIC, 3));
    const DoubleVector vMean{100.0, -0.25, 3.0};
    const DoubleVector vFactor{0.01, 8.0, 0.0};
    const std::vector<DoubleVector> vInputs{{90.0, -0.5, 3.0}, {250.0, 0.125, 3.0}, {-40.0, 1.0, 77.0}};
    std::vector<DoubleVector> vExpected;
    for (const DoubleVector& vInput : vInputs)
    {
        DoubleVector vScaled(3);
        for (std::size_t i = 0; i < 3; ++i)
            vScaled[i] = (vInput[i] - vMean[i]) * vFactor[i];
        vExpected.push_back(compute(*pNetwork, vScaled));
    }
    ASSERT_TRUE(pNetwork->foldInputScaling(vMean, vFactor));
    for (std::size_t i = 0; i < vInputs.size(); ++i)
        for (std::size_t j = 0; j < 2; ++j)
            EXPECT_NEAR(compute(*pNetwork, vInputs[i])[j], vExpected[i][j], 1e-9);
}

TEST(FannNetworkTest, DamageIsNamedByLineAndField)
{
    const std::string strText = readFile(LINEAR);
    const struct
    {
        const char* m_from;
        const char* m_to;
        const char* m_reason;
    } CASES[] = {
        {"FANN_FLO_2.1", "FANN_FIX_2.0", "line 1: no network file of version FANN_FLO_2.1"},
        {"num_layers=2", "num_layers=1", "line 33: layer_sizes: fewer than two layers"},
        {"num_layers=2", "num_layers=3", "line 33: layer_sizes: number expected"},
        {"num_layers=2", "num_layers=4294967295", "line 2: num_layers: number above 2147483647"},
        {"num_layers=2", "num_layers=-2", "line 2: num_layers: number expected"},
        {"connection_rate=1.000000", "connection_rate=0", "line 28: connection_rate: not in (0, 1]"},
        {"network_type=0", "network_type=2", "line 5: network_type: number above 1"},
        {"learning_rate=0.700000", "learning_rate=0,7", "line 3: learning_rate: surplus text"},
        {"learning_rate=0.700000", "learning_rate=1e39", "line 3: learning_rate: number too large"},
        {"learning_momentum", "momentum", "line 6: learning_momentum: field expected here"},
        {"functions=3", "functions=18", "line 30: cascade_activation_functions: number above 17"},
        {"functions_count=1", "functions_count=2", "line 30: cascade_activation_functions: number expected"},
        {"layer_sizes=3 2", "layer_sizes=3 2 1", "line 33: layer_sizes: surplus text"},
        {"layer_sizes=3 2", "layer_sizes=3 1", "line 33: layer_sizes: layer without neurons"},
        {"layer_sizes=3 2", "layer_sizes=3 2000000000",
         "line 33: layer_sizes: more neurons than the file has room for"},
        {"scale_included=0", "scale_included=1",
         "line 34: scale_included: networks with input scaling are not supported"},
        {"(3, 0, 1.0e+00)", "(4, 0, 1.0e+00)",
         "line 35: neurons (num_inputs, activation_function, activation_steepness): wrong number of "
         "connections of "
         "neuron 3"},
        {"(3, 0, 1.0e+00)", "(3, 0, 0.0e+00)",
         "line 35: neurons (num_inputs, activation_function, activation_steepness): steepness not above 0 of "
         "neuron "
         "3"},
        {"(1, -3.0e+00)", "(2, -3.0e+00)",
         "line 36: connections (connected_to_neuron, weight): wrong source of a connection of neuron 3"},
        {"(1, -3.0e+00)", "(-1, -3.0e+00)",
         "line 36: connections (connected_to_neuron, weight): number expected"},
        {"-3.0e+00", "nan", "line 36: connections (connected_to_neuron, weight): finite number expected"},
        {"-3.0e+00", "1e999", "line 36: connections (connected_to_neuron, weight): number expected"},
        {"(2, 5.0e-01) \n", "(2, 5.0e-01) \nmore", "line 37: surplus text"},
    };
    for (const auto& damage : CASES)
    {
        std::string strReason;
        EXPECT_FALSE(checkFannText(replaced(strText, damage.m_from, damage.m_to), strReason));
        EXPECT_EQ(strReason, damage.m_reason);
    }
}

TEST(FannNetworkTest, DamagedFilesAreRefusedOrUsable)
{
    for (const std::string& strText : textsOfAllKinds())
    {
        std::string strReason;
        ASSERT_TRUE(checkFannText(strText, strReason)) << strReason;
        // After the last connection stand a blank and a line end.
        for (std::size_t uiSize = 0; uiSize + 2 < strText.size(); ++uiSize)
            EXPECT_FALSE(checkFannText(std::string_view(strText).substr(0, uiSize), strReason)) << uiSize;

        const char* const DIGITS = "0123456789.e+-";
        for (std::size_t uiBegin = strText.find('='); uiBegin != std::string::npos;)
        {
            const std::size_t uiEnd = std::min(strText.find_first_not_of(DIGITS, uiBegin), strText.size());
            if (uiEnd > uiBegin)
                for (const char* number : {"-1", "0", "1", "3", "7", "17", "1e300", "4294967295", ""})
                    expectRefusedOrUsable(std::string(strText).replace(uiBegin, uiEnd - uiBegin, number));
            uiBegin = strText.find_first_of(DIGITS, uiEnd + 1);
        }
    }
}

TEST(FannNetworkTest, FilesThatCannotBeReadOrWrittenAreReported)
{
    const TempDir folder;
    const std::pair<std::string, std::string> UNREADABLE[] = {
        {folder.path("none"), "No such file or directory"},
        {folder.path(), "Is a directory"},
        {"/dev/zero", "file too long"}};
    for (const auto& [strPath, strReason] : UNREADABLE)
    {
        const LogCapture log("quillcast.app.FannNetwork");
        EXPECT_EQ(load(strPath), nullptr);
        EXPECT_THAT(log.lines(), ElementsAre("ERROR Cannot read network file " + strPath + ": " + strReason));
    }
}

TEST(FannNetworkTest, ClonesShareTheWeightsAndGiveTheSameBits)
{
    const DoubleVector vFirst{0.3, -0.2, 0.9};
    const DoubleVector vSecond{-1.0, 0.5, 0.125};
    for (const std::string& strText : textsOfAllKinds())
    {
        std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newFromText(strText, "net"));
        ASSERT_NE(pNetwork, nullptr);
        const DoubleVector vExpected = compute(*pNetwork, vFirst);
        const std::unique_ptr<FannNetwork> pClone(pNetwork->clone());
        const std::unique_ptr<FannNetwork> pGrandchild(pClone->clone());
        EXPECT_LT(pClone->getCloneSize(), 3000u);
        compute(*pNetwork, vSecond);
        EXPECT_EQ(compute(*pClone, vFirst), vExpected);
        pNetwork.reset();
        EXPECT_EQ(compute(*pGrandchild, vFirst), vExpected);
        EXPECT_EQ(pGrandchild->getText(), strText);
    }
}

TEST(FannNetworkTest, AnyNetworkTakesALinearScalingInOrStaysAsItWas)
{
    const DoubleVector vSlope{2.0, 0.0, -0.5};
    const DoubleVector vIntercept{1.0, 0.25, 0.0};
    const DoubleVector vInput{0.3, -0.2, 0.9};
    const DoubleVector vScaled{1.6, 0.25, -0.45};
    int iFolded = 0;
    for (const std::string& strText : textsOfAllKinds())
    {
        const std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newFromText(strText, "net"));
        const DoubleVector vExpected = compute(*pNetwork, vScaled);
        const DoubleVector vBefore = compute(*pNetwork, vInput);
        EXPECT_FALSE(pNetwork->foldLinearScaling({1.0}, {1.0}));
        const bool bFolded = pNetwork->foldLinearScaling(vSlope, vIntercept);
        iFolded += bFolded ? 1 : 0;
        for (std::size_t i = 0; i < vExpected.size(); ++i)
            EXPECT_NEAR(compute(*pNetwork, vInput)[i], bFolded ? vExpected[i] : vBefore[i], 1e-12);
    }
    EXPECT_GE(iFolded, 2) << "full and shortcut";
}

TEST(FannNetworkTest, NumbersThatAreNotFiniteNeverReachTheNetwork)
{
    const std::unique_ptr<FannNetwork> pNetwork = load(LINEAR);
    ASSERT_NE(pNetwork, nullptr);
    const LogCapture log("quillcast.app.FannNetwork");
    DoubleVector vOutput;
    for (const double dBad : {double(NAN), double(-INFINITY)})
    {
        const DoubleVector vInput{1.0, dBad};
        EXPECT_FALSE(pNetwork->compute(vInput.begin(), vInput.end(), vOutput));
    }
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Input 1 of the network is nan"));
}

TEST(FannNetworkTest, CommentsAtTheEndAreNoneOfTheReadersBusiness)
{
    const TempDir folder;
    const std::string strText = readFile(LINEAR) + "# one\n# two";
    const std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newFromText(strText, "net"));
    ASSERT_NE(pNetwork, nullptr);
    fann* pFann = fann_create_from_file(folder.write("net", strText).c_str());
    ASSERT_NE(pFann, nullptr);
    double input[] = {1.0, 2.0};
    EXPECT_EQ(*fann_run(pFann, input), compute(*pNetwork, {1.0, 2.0})[0]);
    fann_destroy(pFann);
}
