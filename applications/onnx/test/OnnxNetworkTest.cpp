#include "onnx/OnnxNetwork.h"
#include "test-support/AllocationCounter.h"
#include "test-support/Command.h"
#include "test-support/LogCapture.h"
#include "test-support/OnnxWriter.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <future>
#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::DoubleNear;
using testing::ElementsAre;
using Testing::LogCapture;
using Testing::OnnxWriter;
using testing::Pointwise;
using NetworkPtr = std::unique_ptr<OnnxNetwork>;
using Doubles = std::vector<double>;

namespace
{

NetworkPtr load(const std::string& in_strFile)
{
    return NetworkPtr(OnnxNetwork::newFromContent(in_strFile, "file.onnx"));
}

Doubles compute(const OnnxNetwork& in_network, const Doubles& in_vInput)
{
    DoubleVector vOutput;
    EXPECT_TRUE(in_network.compute(in_vInput.data(), in_vInput.data() + in_vInput.size(), vOutput));
    return Doubles(vOutput.begin(), vOutput.end());
}

/// [1, 2] x [[2, -3], [1, 4]] + [0.5, 0], without what is negative.
OnnxWriter dense()
{
    return OnnxWriter()
        .input("x", {-1, 2})
        .constant("w", {2, 2}, {2, -3, 1, 4})
        .constant("b", {2}, {0.5, 0})
        .node("Gemm", {"x", "w", "b"}, {"g"}, {}, "layer")
        .node("Relu", {"g"}, {"y"})
        .output("y");
}

/// The sum of all inputs so far.
OnnxWriter runningSum()
{
    return OnnxWriter()
        .input("x", {1, 2})
        .input("h", {1, 2})
        .node("Add", {"x", "h"}, {"h_next"})
        .node("Mul", {"h_next", "h_next"}, {"y"})
        .output("y")
        .output("h_next");
}

/// One node between the input and the output, after the constants that it takes.
OnnxWriter single(const std::string& in_strType, const OnnxWriter::Sizes& in_vShape,
                  const std::vector<std::string>& in_vAttributes = {},
                  const OnnxWriter::Names& in_vConstants = {}, OnnxWriter in_constants = {})
{
    OnnxWriter::Names vInputs{"x"};
    vInputs.insert(vInputs.end(), in_vConstants.begin(), in_vConstants.end());
    return in_constants.input("x", in_vShape).node(in_strType, vInputs, {"y"}, in_vAttributes).output("y");
}

/// A cell whose weights are all in_fWeight, over one time and one batch; the output is the state itself.
OnnxWriter recurrent(const std::string& in_strType, std::int64_t in_iGates, float in_fWeight,
                     const std::vector<std::string>& in_vAttributes = {})
{
    const auto uiGates = static_cast<std::size_t>(in_iGates);
    return OnnxWriter()
        .input("x", {1, 1, 1})
        .input("h", {1, 1, 1})
        .constant("w", {1, in_iGates, 1}, std::vector<float>(uiGates, in_fWeight))
        .constant("b", {1, 2 * in_iGates}, std::vector<float>(2 * uiGates, 0.25F))
        .node(in_strType, {"x", "w", "w", "b", "", "h"}, {"y", "h_next"}, in_vAttributes, "cell")
        .output("y")
        .output("h_next");
}

/// The reason for which a file is refused.
std::string reasonOf(const std::string& in_strFile)
{
    const LogCapture log("quillcast.app.OnnxNetwork");
    EXPECT_EQ(load(in_strFile), nullptr);
    const std::string strStart = "ERROR Cannot read network file file.onnx: ";
    EXPECT_EQ(log.lines().size(), 1u) << log.text();
    EXPECT_EQ(log.count(strStart), 1u) << log.text();
    return log.lines().empty() ? "" : log.lines()[0].substr(strStart.size());
}

double sigmoid(double in_dX)
{
    return 1.0 / (1.0 + std::exp(-in_dX));
}

} // namespace

TEST(OnnxNetworkTest, ComputesWhatTheFileSays)
{
    const NetworkPtr pNetwork = load(dense().getFile());
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_EQ(pNetwork->getInputSize(), 2u);
    EXPECT_EQ(pNetwork->getOutputSize(), 2u);
    EXPECT_FALSE(pNetwork->hasState());
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({4.5, 5}));
    EXPECT_EQ(compute(*pNetwork, {1, -2}), Doubles({0.5, 0}));
}

TEST(OnnxNetworkTest, StatesGoOnAndClonesHaveTheirOwn)
{
    const NetworkPtr pNetwork = load(runningSum().getFile());
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_TRUE(pNetwork->hasState());
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({1, 4}));
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({4, 16}));
    const NetworkPtr pClone(pNetwork->clone());
    EXPECT_EQ(compute(*pClone, {1, 2}), Doubles({9, 36}));
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({9, 36}));
    EXPECT_TRUE(pNetwork->reset());
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({1, 4}));
}

TEST(OnnxNetworkTest, StatesStartAtTheirInitializerAndMayChangePlaces)
{
    // Each state becomes the other: the output is 3 and 5 in turns, from what the state was.
    const NetworkPtr pNetwork = load(OnnxWriter()
                                         .input("a", {1})
                                         .input("b", {1})
                                         .input("x", {1})
                                         .constant("a", {1}, {3})
                                         .constant("b", {1}, {5})
                                         .node("Identity", {"a"}, {"b_next"})
                                         .node("Identity", {"b"}, {"a_next"})
                                         .node("Identity", {"a"}, {"y"})
                                         .output("a_next")
                                         .output("y")
                                         .output("b_next")
                                         .getFile());
    ASSERT_NE(pNetwork, nullptr);
    for (const double dExpected : {3, 5, 3})
        EXPECT_EQ(compute(*pNetwork, {0}), Doubles({dExpected}));
    pNetwork->reset();
    EXPECT_EQ(compute(*pNetwork, {0}), Doubles({3}));
}

TEST(OnnxNetworkTest, OperatorsFollowTheirFormulas)
{
    using W = OnnxWriter;
    const OnnxWriter ramp = OnnxWriter().constant("w", {1, 1, 2}, {1, 10}).constant("b", {1}, {0.5});
    const struct
    {
        const char* m_name;
        std::string m_strFile;
        Doubles m_vInput;
        Doubles m_vOutput;
    } CASES[] = {
        // A row times a column is one number.
        {"row times column",
         single("MatMul", {1, 3}, {}, {"c"}, W().constant("c", {3, 1}, {1, 2, 3})).getFile(),
         {4, 5, 6},
         {4 + 10 + 18}},
        {"vector times matrix",
         single("MatMul", {2}, {}, {"c"}, W().constant("c", {2, 2}, {1, 2, 3, 4})).getFile(),
         {1, 10},
         {31, 42}},
        // Kernel [1, 10] over 0 1 2 3, from place -1 on, every second: 10 x 1, 2 + 10 x 3 (each + 0.5).
        {"convolution with pads and strides",
         single("Conv", {1, 1, 4}, {W::integers("pads", {1, 1}), W::integers("strides", {2})}, {"w", "b"},
                ramp)
             .getFile(),
         {1, 2, 3, 4},
         {10.5, 32.5, 4.5}},
        // As many places as elements: one zero after them.
        {"convolution that keeps its size",
         single("Conv", {1, 1, 3}, {W::text("auto_pad", "SAME_UPPER")}, {"w", "b"}, ramp).getFile(),
         {1, 2, 3},
         {21.5, 32.5, 3.5}},
        {"softmax over all, before opset 13",
         single("Softmax", {1, 2, 2}).getFile(12),
         {0, 0, 0, 0},
         {0.25, 0.25, 0.25, 0.25}},
        {"softmax of the last axis",
         single("Softmax", {1, 2, 2}).getFile(13),
         {0, 0, 0, 0},
         {0.5, 0.5, 0.5, 0.5}},
        {"slice backwards",
         single("Slice", {4}, {}, {"start", "end", "axis", "step"},
                W().constantIntegers("start", {-1})
                    .constantIntegers("end", {INT64_MIN})
                    .constantIntegers("axis", {0})
                    .constantIntegers("step", {-2}))
             .getFile(),
         {1, 2, 3, 4},
         {4, 2}},
        // (x - 1) / sqrt(4 - 0) x 3 + 0.5
        {"batch normalisation",
         single("BatchNormalization", {1, 1}, {W::real("epsilon", 0)}, {"s", "o", "m", "v"},
                W().constant("s", {1}, {3})
                    .constant("o", {1}, {0.5})
                    .constant("m", {1}, {1})
                    .constant("v", {1}, {4}))
             .getFile(),
         {7},
         {9.5}},
        {"pad", single("Pad", {2}, {W::integers("pads", {1, 2})}).getFile(10), {1, 2}, {0, 1, 2, 0, 0}},
        {"clip by inputs",
         single("Clip", {2}, {}, {"", "most"}, W().constant("most", {}, {1})).getFile(),
         {-5, 5},
         {-5, 1}},
    };
    for (const auto& row : CASES)
    {
        const NetworkPtr pNetwork = load(row.m_strFile);
        ASSERT_NE(pNetwork, nullptr) << row.m_name;
        EXPECT_THAT(compute(*pNetwork, row.m_vInput), Pointwise(DoubleNear(1e-6), row.m_vOutput))
            << row.m_name;
    }
}

TEST(OnnxNetworkTest, RecurrentCellsFollowTheirFormulas)
{
    // All weights 0.5, all biases 0.25: every gate sums 0.5 x + 0.25 and 0.5 h + 0.25.
    const auto sum = [](double in_dX)
    {
        return 0.5 * in_dX + 0.25;
    };
    const double X = 0.75;
    double dGru = 0;
    double dReset = 0;
    double dRnn = 0;
    const NetworkPtr pGru = load(recurrent("GRU", 3, 0.5F).getFile());
    const NetworkPtr pReset =
        load(recurrent("GRU", 3, 0.5F, {OnnxWriter::integer("linear_before_reset", 1)}).getFile());
    const NetworkPtr pRnn =
        load(recurrent("RNN", 1, 0.5F, {OnnxWriter::texts("activations", {"Relu"})}).getFile());
    ASSERT_TRUE(pGru != nullptr && pReset != nullptr && pRnn != nullptr);
    for (int i = 0; i < 3; ++i)
    {
        const double dGate = sigmoid(sum(X) + sum(dGru));
        dGru = (1 - dGate) * std::tanh(sum(X) + sum(dGate * dGru)) + dGate * dGru;
        EXPECT_NEAR(compute(*pGru, {X})[0], dGru, 1e-6);
        const double dResetGate = sigmoid(sum(X) + sum(dReset));
        dReset = (1 - dResetGate) * std::tanh(sum(X) + dResetGate * sum(dReset)) + dResetGate * dReset;
        EXPECT_NEAR(compute(*pReset, {X})[0], dReset, 1e-6);
        dRnn = std::max(0.0, sum(X) + sum(dRnn));
        EXPECT_NEAR(compute(*pRnn, {X})[0], dRnn, 1e-6);
    }
}

TEST(OnnxNetworkTest, WhatIsNotSupportedIsRefusedWithItsNode)
{
    using W = OnnxWriter;
    const std::string strDouble =
        W::number(1, 1) + W::number(2, 11) + W::bytes(8, "d") + W::bytes(10, "12345678");
    const std::string strElsewhere = W::number(1, 1) + W::number(2, 1) + W::bytes(8, "e") + W::number(14, 1);
    const std::string strShort = W::number(1, 3) + W::number(2, 1) + W::bytes(8, "s") + W::bytes(9, "1234");
    OnnxWriter squares = OnnxWriter().input("x", {400, 400});
    for (int i = 0; i < 3; ++i)
        squares.node("MatMul", {i == 0 ? "x" : "y" + std::to_string(i), "x"}, {"y" + std::to_string(i + 1)});
    const struct
    {
        std::string m_strFile;
        const char* m_reason;
    } CASES[] = {
        {"", "no ONNX file: it has no graph"},
        {"\x08\x08", "no ONNX file: it has no graph"},
        {dense().getFile().substr(0, 40), "the file is cut off or damaged"},
        {dense().getFile(8), "opset 8 is not supported; 9 to 16 are"},
        {dense().getFile(17), "opset 17 is not supported; 9 to 16 are"},
        {single("MaxPool", {1, 1, 4}).getFile(), "node \"y\" (MaxPool): the operator is not supported"},
        {single("Relu", {2}, {W::real("slope", 1)}).getFile(),
         "node \"y\" (Relu): its attribute \"slope\" is not supported"},
        {single("Relu", {2}, {}, {"z\n"}).getFile(), "node \"y\" (Relu): nothing before it gives \"z?\""},
        {single("Gemm", {1, 3}, {}, {"c"}, W().constant("c", {2, 2}, {1, 2, 3, 4})).getFile(),
         "node \"y\" (Gemm): a product of tensors of shapes [1, 3] and [2, 2]"},
        {single("Add", {3}, {}, {"c"}, W().constant("c", {2}, {1, 2})).getFile(),
         "node \"y\" (Add): shapes [3] and [2] do not fit together"},
        {single("Add", {3}, {}, {"c"}, W().constantIntegers("c", {2})).getFile(),
         "node \"y\" (Add): integers are supported in shapes only"},
        {single("Reshape", {3}, {}, {"c"}, W().constantIntegers("c", {2, -1})).getFile(),
         "node \"y\" (Reshape): a tensor of shape [3] cannot become one of [2, 1]"},
        {single("Slice", {3}, {W::integers("starts", {3}), W::integers("ends", {9})}).getFile(9),
         "node \"y\" (Slice): a tensor of shape [0] is empty"},
        {dense().node("Constant", {}, {"n"}, {W::bytes(1, "value_floats") + W::reals(7, {})}).getFile(),
         "node \"n\" (Constant): a tensor of shape [0] is empty"},
        {dense().node("Split", {"x"}, {}, {}, "none").getFile(), "node \"none\" (Split): it has no output"},
        {dense().constant("e", {2, 0}, {}).node("MatMul", {"x", "e"}, {"m"}).getFile(),
         "node \"m\" (MatMul): a tensor of shape [2, 0] is empty"},
        {recurrent("GRU", 3, 1, {W::real("clip", 1)}).getFile(),
         "node \"cell\" (GRU): its attribute \"clip\" is not supported"},
        {recurrent("GRU", 3, 1, {W::integer("layout", 1)}).getFile(),
         "node \"cell\" (GRU): its attribute \"layout\" is 1, only 0 is supported"},
        {recurrent("RNN", 1, 1, {W::texts("activations", {"Affine"})}).getFile(),
         "node \"cell\" (RNN): its activations are not supported"},
        {dense().add(W::bytes(5, strDouble)).getFile(),
         "tensor \"d\": elements of kind DOUBLE are not supported; FLOAT is"},
        {dense().add(W::bytes(5, strElsewhere)).getFile(), "tensor \"e\": its data are in another file"},
        {dense().add(W::bytes(5, strShort)).getFile(), "tensor \"s\": shape [3], but 1 elements"},
        {dense().input("z", {1}).getFile(),
         "it must have one input beside its states (h and h_next), it has 2: \"x\", \"z\""},
        {dense().output("g").getFile(),
         "it must have one output beside its states (h and h_next), it has 2: \"y\", \"g\""},
        {runningSum().node("Identity", {"x"}, {"x"}).getFile(),
         "node \"x\" (Identity): two values are named \"x\""},
        {OnnxWriter()
             .input("x", {2})
             .input("h", {3})
             .output("h_next")
             .output("y")
             .node("Identity", {"x"}, {"h_next"})
             .node("Identity", {"x"}, {"y"})
             .getFile(),
         "state \"h_next\" has the shape [2], but it comes in as [3]"},
        {squares.output("y3").getFile(),
         "node \"y2\" (MatMul): the network takes more than 100000000 multiplications a pattern"},
        {single("Expand", {1}, {}, {"c"}, W().constantIntegers("c", {1 << 22})).getFile(),
         "node \"y\" (Expand): the network needs too much memory"},
        {single("Expand", {1}, {}, {"c"}, W().constantIntegers("c", {1 << 22, 1 << 22})).getFile(),
         "node \"y\" (Expand): a tensor of shape [4194304, 4194304] is too large"},
    };
    for (const auto& row : CASES)
        EXPECT_EQ(reasonOf(row.m_strFile), row.m_reason);
}

TEST(OnnxNetworkTest, FilesDamagedAtAnyByteAreRefusedOrUsable)
{
    const LogCapture log("quillcast.app.OnnxNetwork");
    for (const std::string& strFile : {recurrent("GRU", 3, 0.5F).getFile(), dense().getFile()})
        for (std::size_t i = 0; i < strFile.size(); ++i)
            for (const int iBits : {1, 2, 4, 8, 16, 32, 64, 128, 255, 127})
            {
                std::string strDamaged = strFile;
                strDamaged[i] = static_cast<char>(strDamaged[i] ^ iBits);
                const NetworkPtr pNetwork = load(strDamaged);
                if (pNetwork == nullptr)
                    continue;
                EXPECT_EQ(compute(*pNetwork, Doubles(pNetwork->getInputSize(), 0.5)).size(),
                          pNetwork->getOutputSize());
            }
}

TEST(OnnxNetworkTest, InputsThatAreNoneLeaveTheStates)
{
    const NetworkPtr pNetwork = load(runningSum().getFile());
    ASSERT_NE(pNetwork, nullptr);
    compute(*pNetwork, {1, 2});
    for (const auto& [vInput, strReason] : std::vector<std::pair<Doubles, std::string>>{
             {{1}, "The network takes 2 inputs, the patterns have 1"},
             {{1, NAN}, "Input 1 of the network is nan"},
             {{1e300, 0}, "Input 0 of the network is inf"}})
    {
        const NetworkPtr pClone(pNetwork->clone());
        const LogCapture log("quillcast.app.OnnxNetwork");
        DoubleVector vOutput;
        EXPECT_FALSE(pClone->compute(vInput.data(), vInput.data() + vInput.size(), vOutput));
        EXPECT_FALSE(pClone->compute(vInput.data(), vInput.data() + vInput.size(), vOutput));
        EXPECT_THAT(log.lines(), ElementsAre("ERROR " + strReason));
        EXPECT_EQ(compute(*pClone, {1, 2}), Doubles({4, 16}));
    }
}

TEST(OnnxNetworkTest, PatternsAllocateNothing)
{
    const NetworkPtr pNetwork = load(recurrent("GRU", 3, 0.5F).getFile());
    ASSERT_NE(pNetwork, nullptr);
    const double dInput = 0.5;
    DoubleVector vOutput(1);
    const Testing::AllocationCounter allocations;
    for (int i = 0; i < 10; ++i)
        pNetwork->compute(&dInput, &dInput + 1, vOutput);
    EXPECT_EQ(allocations.getCount(), 0u);
}

TEST(OnnxNetworkTest, ClonesOnThreadsGiveTheOutputsOfOne)
{
    const NetworkPtr pNetwork = load(recurrent("GRU", 3, 0.5F).getFile());
    ASSERT_NE(pNetwork, nullptr);
    const auto run = [](const OnnxNetwork& in_network)
    {
        Doubles vOutputs;
        for (int i = 0; i < 500; ++i)
            vOutputs.push_back(compute(in_network, {std::sin(i)})[0]);
        return vOutputs;
    };
    std::vector<std::future<Doubles>> vResults;
    for (int i = 0; i < 4; ++i)
        vResults.push_back(std::async(std::launch::async, [&run, pClone = NetworkPtr(pNetwork->clone())]
                                      { return run(*pClone); }));
    const Doubles vExpected = run(*pNetwork);
    for (auto& result : vResults)
        EXPECT_EQ(result.get(), vExpected);
}

TEST(OnnxNetworkTest, TheTesterTakesThemByContentAndResetsTheirStates)
{
    const Testing::TempDir folder;
    const auto run = [&folder](const char* in_program, std::vector<std::string> in_vArguments)
    {
        in_vArguments.insert(in_vArguments.begin(), std::string(QC_BINARY_DIR "/bin/") + in_program);
        return Testing::runCommand(in_vArguments, folder.path());
    };
    ASSERT_EQ(run("ml-config", {"write", "text.xml", "--generator", "vector-file"}).m_iExit, 0);
    folder.write("sum", runningSum().getFile());
    folder.write("cut.onnx", runningSum().getFile().substr(2, 30));
    // Squares of the running sums of each sequence.
    folder.write("patterns.txt", "reset\n[1 2] [1 4]\n[1 1] [4 9]\nreset\n[3 1] [9 1]\n");
    const std::vector<std::string> vTest{"--data-gen-config", "text.xml",           "--data-gen-filename",
                                         "patterns.txt",      "--sum-square-error", "--network"};
    const auto test = [&](const char* in_network)
    {
        std::vector<std::string> vArguments = vTest;
        vArguments.push_back(in_network);
        return run("ml-tester", vArguments);
    };
    const Testing::CommandResult sum = test("sum");
    EXPECT_EQ(sum.m_iExit, 0) << sum.m_strErr;
    EXPECT_THAT(sum.m_strOut, testing::HasSubstr("processed  : 3\nsum-square-error = 0.000000e+00"));
    const Testing::CommandResult cut = test("cut.onnx");
    EXPECT_EQ(cut.m_iExit, 1);
    EXPECT_THAT(cut.m_strErr,
                testing::HasSubstr("Cannot read network file cut.onnx: the file is cut off or damaged"));
}
