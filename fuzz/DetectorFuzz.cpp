// Detector files: loading takes memory in proportion to the file; what is accepted computes, gives the same
// again after a reset and in a clone, and saves and loads equal to itself.

#include "FuzzSupport.h"
#include "detector/Detector.h"
#include "quillcast-infra/DynLibsLoader.h"

#include <memory>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// Outputs of two windows; empty where one could not be computed: its features may be infinite.
std::vector<DoubleVector> computeTwice(FeatureComputerWithInputs& io_computer, std::size_t in_uiOutputs)
{
    std::vector<DoubleVector> vOutputs(2);
    const DoubleVector vWindow(200, 0.25);
    for (DoubleVector& vOutput : vOutputs)
        if (io_computer.setInput("audio", vWindow) && io_computer.computeFeatures(vOutput))
            Fuzz::require(vOutput.size() == in_uiOutputs, "an output for each class");
        else
            vOutput.clear();
    return vOutputs;
}

/// nan is equal to itself here.
bool isSame(const std::vector<DoubleVector>& in_vLeft, const std::vector<DoubleVector>& in_vRight)
{
    std::string strLeft;
    std::string strRight;
    for (const DoubleVector& vOutput : in_vLeft)
        vOutput.appendTo(strLeft);
    for (const DoubleVector& vOutput : in_vRight)
        vOutput.appendTo(strRight);
    return strLeft == strRight;
}

std::unique_ptr<Detector> load(const std::string& in_strText)
{
    std::istringstream text(in_strText);
    return Detector::newFromStream(text, "input");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    DynLibsLoader::setRefuseAll(true);
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    std::unique_ptr<Detector> pDetector;
    {
        const Fuzz::MemoryWatch memory;
        pDetector = load(strText);
        Fuzz::require(memory.getPeak() <= 8 * in_uiSize + (std::size_t(16) << 20),
                      "memory in proportion to the file");
    }
    if (pDetector == nullptr)
        return 0;
    const std::size_t uiOutputs = pDetector->getClassNames().size();
    const std::unique_ptr<FeatureComputerWithInputs> pComputer(pDetector->newComputer());
    const std::unique_ptr<FeatureComputerWithInputs> pClone(pComputer->clone());
    const std::vector<DoubleVector> vOutputs = computeTwice(*pComputer, uiOutputs);
    Fuzz::require(isSame(computeTwice(*pClone, uiOutputs), vOutputs), "a clone computes the same");
    Fuzz::require(pComputer->reset() && isSame(computeTwice(*pComputer, uiOutputs), vOutputs),
                  "a reset starts again");

    const std::string strSaved = pDetector->describe().m_strText;
    const std::unique_ptr<Detector> pAgain = load(strSaved);
    Fuzz::require(pAgain != nullptr && pAgain->describe().m_strText == strSaved,
                  "what was saved loads as the same");
    return 0;
}
