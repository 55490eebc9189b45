// ONNX files: loading takes memory in proportion to the file, and what is accepted computes, gives the same
// again after a reset, and in a clone.

#include "FuzzSupport.h"
#include "onnx/OnnxNetwork.h"

#include <cmath>
#include <memory>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

std::vector<DoubleVector> computeTwice(const OnnxNetwork& in_network)
{
    std::vector<DoubleVector> vOutputs(2);
    const DoubleVector vInput(in_network.getInputSize(), 0.5);
    for (DoubleVector& vOutput : vOutputs)
    {
        Fuzz::require(in_network.compute(vInput.begin(), vInput.end(), vOutput),
                      "an accepted network computes");
        Fuzz::require(vOutput.size() == in_network.getOutputSize(), "an output of the size announced");
    }
    return vOutputs;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strContent = Fuzz::toText(in_data, in_uiSize);
    const Fuzz::MemoryWatch memory;
    const std::unique_ptr<OnnxNetwork> pNetwork(OnnxNetwork::newFromContent(strContent, "input"));
    Fuzz::require(memory.getPeak() <= 8 * in_uiSize + (std::size_t(16) << 20),
                  "memory in proportion to the file");
    if (pNetwork != nullptr)
    {
        const std::unique_ptr<OnnxNetwork> pClone(pNetwork->clone());
        const std::vector<DoubleVector> vOutputs = computeTwice(*pNetwork);
        Fuzz::require(pNetwork->reset() && computeTwice(*pNetwork) == vOutputs, "a reset starts again");
        Fuzz::require(computeTwice(*pClone) == vOutputs, "a clone computes the same");
    }
    return 0;
}
