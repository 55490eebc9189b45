#include "onnx/OnnxNetwork.h"
#include "test-support/AllocationCounter.h"
#include "test-support/Command.h"
#include "test-support/LogCapture.h"
#include "test-support/OnnxWriter.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::DoubleNear;
using testing::ElementsAre;
using Testing::LogCapture;
using Testing::OnnxWriter;
using testing::Pointwise;
using Network = std::unique_ptr<OnnxNetwork>;
using Doubles = std::vector<double>;

namespace
{

Network load(const std::string& in_strFile)
{
    return Network(OnnxNetwork::newFromContent(in_strFile, "file.onnx"));
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

} // namespace

TEST(OnnxNetworkTest, ComputesWhatTheFileSays)
{
    const Network pNetwork = load(dense().getFile());
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_EQ(pNetwork->getInputSize(), 2u);
    EXPECT_EQ(pNetwork->getOutputSize(), 2u);
    EXPECT_FALSE(pNetwork->hasState());
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({4.5, 5}));
    EXPECT_EQ(compute(*pNetwork, {1, -2}), Doubles({0.5, 0}));
}

TEST(OnnxNetworkTest, StatesGoOnAndClonesHaveTheirOwn)
{
    const Network pNetwork = load(runningSum().getFile());
    ASSERT_NE(pNetwork, nullptr);
    EXPECT_TRUE(pNetwork->hasState());
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({1, 4}));
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({4, 16}));
    const Network pClone(pNetwork->clone());
    EXPECT_EQ(compute(*pClone, {1, 2}), Doubles({1, 4}));
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({9, 36}));
    EXPECT_TRUE(pNetwork->reset());
    EXPECT_EQ(compute(*pNetwork, {1, 2}), Doubles({1, 4}));
}
