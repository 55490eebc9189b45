// Network files: what is accepted computes, and saves and loads equal to itself.

#include "FuzzSupport.h"
#include "common/FannNetwork.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::unique_ptr<FannNetwork> pNetwork(
        FannNetwork::newFromText(Fuzz::toText(in_data, in_uiSize), "input"));
    if (pNetwork == nullptr)
        return 0;
    const DoubleVector vInput(pNetwork->getInputSize(), 0.5);
    DoubleVector vOutput;
    Fuzz::require(pNetwork->compute(vInput.begin(), vInput.end(), vOutput), "an accepted network computes");
    Fuzz::require(vOutput.size() == pNetwork->getOutputSize(), "an output for each output neuron");

    const std::string strText = pNetwork->getText();
    const std::unique_ptr<FannNetwork> pAgain(FannNetwork::newFromText(strText, "copy"));
    Fuzz::require(pAgain != nullptr && pAgain->getText() == strText, "what was saved loads as the same");
    DoubleVector vAgain;
    Fuzz::require(pAgain->compute(vInput.begin(), vInput.end(), vAgain) && vAgain == vOutput,
                  "what was saved computes the same");
    return 0;
}
