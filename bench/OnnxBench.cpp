// ONNX networks beside plain loops over the same weights: 40-64-2 with Relu and Softmax, and a GRU of 64
// after 40 inputs, with two outputs; what a clone takes.

#include "bench/Bench.h"
#include "bench/PlainNetworks.h"
#include "onnx/OnnxNetwork.h"
#include "quillcast-core/Logger.h"

#include <cmath>
#include <memory>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using namespace Vexalor::Bench;

namespace
{

constexpr int PATTERNS = 20000;

/// Times a loop over all patterns and returns the first output of the last.
template <class Function>
double report(const char* in_name, Function in_compute)
{
    double dLast = 0.0;
    const auto times = Bench::measure(Bench::getRunCount(),
                                      [&]
                                      {
                                          for (int i = 0; i < PATTERNS; ++i)
                                              dLast = in_compute(i);
                                      });
    Bench::reportNanoseconds(in_name, PATTERNS, times);
    return dLast;
}

template <class Plain>
bool compare(const std::string& in_strName, const Weights& in_weights, const std::string& in_strFile)
{
    const std::unique_ptr<OnnxNetwork> pNetwork(OnnxNetwork::newFromContent(in_strFile, "network"));
    if (pNetwork == nullptr)
        return false;
    std::vector<Reals> vInputs;
    std::vector<DoubleVector> vDoubles;
    for (int i = 0; i < 64; ++i)
    {
        vInputs.push_back(draw(INPUTS));
        vDoubles.emplace_back();
        for (const float fReal : vInputs.back())
            vDoubles.back().push_back(4.0 * fReal);
        for (float& fReal : vInputs.back())
            fReal *= 4.0F;
    }
    Plain rows(in_weights, false);
    Plain columns(in_weights, true);
    DoubleVector vOutput(OUTPUTS);
    const double dRows = report((in_strName + ", plain loop by rows").c_str(),
                                [&](int i) { return rows.compute(vInputs[i % 64])[0]; });
    const double dColumns = report((in_strName + ", plain loop by columns").c_str(),
                                   [&](int i) { return columns.compute(vInputs[i % 64])[0]; });
    const Testing::AllocationCounter allocations;
    const std::size_t uiBefore = allocations.getCount();
    const double dNetwork = report((in_strName + ", ONNX").c_str(),
                                   [&](int i)
                                   {
                                       const DoubleVector& vInput = vDoubles[i % 64];
                                       pNetwork->compute(vInput.begin(), vInput.end(), vOutput);
                                       return vOutput[0];
                                   });
    const std::size_t uiAllocations = allocations.getCount() - uiBefore;
    const double dDifference = std::max(std::fabs(dNetwork - dRows), std::fabs(dNetwork - dColumns));
    Bench::reportValue("    largest difference of the last output", dDifference);
    Bench::reportValue("    allocations, those of the clock included", static_cast<double>(uiAllocations));
    Bench::reportValue("    a clone takes", static_cast<double>(pNetwork->getCloneSize()), "bytes");
    return dDifference < 1e-5;
}

} // namespace

int main()
{
    const LoggingSession session;
    const Weights weights;
    const bool bLayers = compare<PlainLayers>("40-64-2", weights, layersFile(weights));
    const bool bGru = compare<PlainGru>("GRU 40-64-2", weights, gruFile(weights));
    return bLayers && bGru ? 0 : 1;
}
