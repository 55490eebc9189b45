// Expression scripts over windows of 25 ms every 10 ms: energy, zero crossings, eight tones with a decision
// and twenty formulas, apart and together; linking, cloning, memory of a thousand clones. usage:
// ExpressionBench RECORDING.wav

#include "bench/Bench.h"
#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-math/SignalKernels.h"
#include "quillcast-mathxpr/Evaluator.h"

#include <fstream>
#include <memory>
#include <unistd.h>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr;

namespace
{

constexpr std::size_t WINDOW = 200;
constexpr std::size_t SHIFT = 80;
constexpr int NB_CLONES = 1000;

/// Name and expression.
using Definitions = std::vector<std::pair<const char*, const char*>>;

const Definitions TONES = {
    {"g", "tone_energy(audio, [697, 770, 852, 941, 1209, 1336, 1477, 1633], rate)"},
    {"share", "max(g) / (sum(g) + 0.0000000001)"},
    {"tone", "share > 0.4 ? share : 0"},
};
const Definitions FORMULAS = {
    {"v1", "e/200"},
    {"v2", "log(v1+0.0000000001)"},
    {"v3", "z/199"},
    {"v4", "v2*0.5+v3"},
    {"v5", "max(v4,-10)"},
    {"v6", "min(v5,10)"},
    {"v7", "1/(1+exp(-v6))"},
    {"v8", "v7*v7"},
    {"v9", "v8-v3"},
    {"v10", "abs(v9)"},
    {"v11", "sqrt(v10+1)"},
    {"v12", "v11*v1+v2"},
    {"v13", "v12>0 ? v7 : v3"},
    {"v14", "v13*3-1"},
    {"v15", "v14*v14"},
    {"v16", "v15+v8*v10"},
    {"v17", "v16/(1+v15)"},
    {"v18", "v17*0.9+v9*0.1"},
    {"v19", "max(v18,v17)"},
    {"v20", "v19>0.3 ? v19 : 0"},
};
const Definitions FEATURES = {{"e", "energy(audio)"}, {"z", "zero_crossings(audio)"}};
const Definitions RESULT = {{"r", "tone + v20"}};

struct Script
{
    Script(const std::vector<Definitions>& in_vParts, const std::vector<const char*>& in_vInputs)
    {
        for (const char* szName : in_vInputs)
        {
            vInputs.emplace_back(new DomainVariableImpl);
            bGood = bGood && vInputs.back()->setName(szName) && evaluator.addVariable(vInputs.back());
        }
        bGood = bGood && evaluator.setConstant("rate", 8000);
        for (const Definitions& definitions : in_vParts)
            for (const auto& [szName, szText] : definitions)
                bGood = bGood && evaluator.addExpression(szName, szText);
    }

    CountedObjPtr<Variable> link(const char* in_szResult)
    {
        bGood = bGood && evaluator.link(true) && evaluator.reconfigureExpressions();
        return evaluator.getVariable(in_szResult);
    }

    Evaluator evaluator;
    std::vector<CountedObjPtr<DomainVariableImpl>> vInputs;
    bool bGood = true;
};

bool readSamples(const char* in_szFile, std::vector<double>& out_vSamples)
{
    AudioFileReader reader;
    if (!reader.open(in_szFile, 0))
        return false;
    out_vSamples.resize(reader.getFrameCount());
    return reader.read(out_vSamples.data(), out_vSamples.size()) == out_vSamples.size();
}

/// Calls a function for each window; the window is a vector of its own, as a windower delivers it.
template <class Function>
void forEachWindow(const std::vector<double>& in_vSamples, Function in_function)
{
    DoubleVector vWindow;
    for (std::size_t n = 0; n + WINDOW <= in_vSamples.size(); n += SHIFT)
    {
        vWindow.assign(in_vSamples.data() + n, in_vSamples.data() + n + WINDOW);
        in_function(vWindow);
    }
}

/// Times one script over all windows, and counts allocations.
bool benchScript(const char* in_szTitle, const std::vector<Definitions>& in_vParts, const char* in_szResult,
                 const std::vector<double>& in_vSamples)
{
    Script script(in_vParts, {"audio"});
    const CountedObjPtr<Variable> pResult = script.link(in_szResult);
    DoubleVector vResult;
    double dSum = 0.0;
    std::size_t uiWindows = 0;
    bool bDone = script.bGood && !pResult.isNull();
    const auto pass = [&]
    {
        dSum = 0.0;
        uiWindows = 0;
        forEachWindow(in_vSamples,
                      [&](const DoubleVector& in_vWindow)
                      {
                          bDone =
                              bDone && script.vInputs[0]->assign(in_vWindow) && pResult->evaluate(vResult);
                          dSum += vResult.back();
                          ++uiWindows;
                      });
    };
    if (!bDone)
        return false;
    pass();
    const Testing::AllocationCounter allocations;
    pass();
    // The window outside of the script is allocated once a pass.
    const std::size_t uiAllocations = allocations.getCount() - 1;
    const Bench::Times times = Bench::measure(Bench::getRunCount(), pass);
    Bench::reportNanoseconds(in_szTitle, static_cast<double>(uiWindows), times);
    Bench::reportValue("    sum of the results", dSum);
    Bench::reportValue("    allocations in a pass", static_cast<double>(uiAllocations));
    return bDone;
}

/// The twenty formulas alone, their two inputs computed beforehand.
bool benchFormulas(const std::vector<double>& in_vSamples)
{
    Script script({FORMULAS}, {"e", "z"});
    const CountedObjPtr<Variable> pResult = script.link("v20");
    std::vector<DoubleVector> vInputs;
    forEachWindow(in_vSamples,
                  [&](const DoubleVector& in_vWindow)
                  {
                      vInputs.push_back({SignalKernels::sumOfSquares(in_vWindow.begin(), WINDOW)});
                      vInputs.push_back(
                          {double(SignalKernels::countZeroCrossings(in_vWindow.begin(), WINDOW))});
                  });
    DoubleVector vResult;
    bool bDone = script.bGood && !pResult.isNull();
    double dSum = 0.0;
    const Bench::Times times = Bench::measure(Bench::getRunCount(),
                                              [&]
                                              {
                                                  dSum = 0.0;
                                                  for (std::size_t i = 0; bDone && i < vInputs.size(); i += 2)
                                                  {
                                                      bDone = script.vInputs[0]->assign(vInputs[i]) &&
                                                              script.vInputs[1]->assign(vInputs[i + 1]) &&
                                                              pResult->evaluate(vResult);
                                                      dSum += vResult.back();
                                                  }
                                              });
    Bench::reportNanoseconds("script: 20 scalar formulas", static_cast<double>(vInputs.size() / 2), times);
    Bench::reportValue("    sum of the results", dSum);
    return bDone;
}

/// Linking, the first evaluation and cloning, of all definitions together.
bool benchSetUp(const std::vector<double>& in_vSamples)
{
    constexpr int NB_TIMES = 2000;
    Script script({TONES, FEATURES, FORMULAS, RESULT}, {"audio"});
    const CountedObjPtr<Variable> pResult = script.link("r");
    DoubleVector vWindow;
    DoubleVector vResult;
    vWindow.assign(in_vSamples.data(), in_vSamples.data() + WINDOW);
    bool bDone = script.bGood && !pResult.isNull();
    const auto evaluate = [&]
    {
        bDone = script.vInputs[0]->assign(vWindow) && pResult->evaluate(vResult) && bDone;
    };
    const auto report = [&](const char* in_szTitle, auto in_function, int in_iTimes)
    {
        const Bench::Times times = Bench::measure(Bench::getRunCount(),
                                                  [&]
                                                  {
                                                      for (int i = 0; i < in_iTimes; ++i)
                                                          in_function();
                                                  });
        Bench::reportNanoseconds(in_szTitle, in_iTimes, times);
    };
    report(
        "script: ten evaluations of 26 variables",
        [&]
        {
            for (int i = 0; i < 10; ++i)
                evaluate();
        },
        NB_TIMES);
    report(
        "script: link of 26 variables", [&] { bDone = script.evaluator.link(true) && bDone; }, NB_TIMES);
    report(
        "script: link and first evaluation of 26 variables",
        [&]
        {
            bDone = script.evaluator.link(true) && bDone;
            evaluate();
        },
        20);
    const std::size_t uiBytes = script.evaluator.getOwnMemory();
    const std::vector<char> vMemory(uiBytes);
    report(
        "script: clone", [&] { std::unique_ptr<Evaluator>(script.evaluator.clone()); }, NB_TIMES);
    report(
        "script: three copies of as much memory",
        [&]
        {
            for (int i = 0; i < 3; ++i)
                Bench::keep(std::vector<char>(vMemory).data());
        },
        NB_TIMES);
    Bench::reportValue("    memory of a clone", static_cast<double>(uiBytes), "bytes");
    return bDone;
}

/// Bytes of this process that are in memory.
double residentBytes()
{
    std::ifstream file("/proc/self/statm");
    double dTotal = 0.0;
    double dResident = 0.0;
    file >> dTotal >> dResident;
    return dResident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

/// A thousand clones, each after a window of its own.
bool benchClones(const std::vector<double>& in_vSamples)
{
    Script script({TONES, FEATURES, FORMULAS, RESULT}, {"audio"});
    bool bDone = !script.link("r").isNull() && script.bGood;
    std::vector<std::unique_ptr<Evaluator>> vClones;
    vClones.reserve(NB_CLONES);
    DoubleVector vWindow;
    DoubleVector vResult;
    const double dBefore = residentBytes();
    for (int i = 0; i < NB_CLONES; ++i)
    {
        vClones.emplace_back(script.evaluator.clone());
        vWindow.assign(in_vSamples.data() + i * SHIFT, in_vSamples.data() + i * SHIFT + WINDOW);
        bDone = vClones.back()->getVariable("audio")->assign(vWindow) &&
                vClones.back()->getVariable("r")->evaluate(vResult) && bDone;
    }
    Bench::reportValue("script: resident memory of each of 1000 clones",
                       (residentBytes() - dBefore) / NB_CLONES, "bytes");
    return bDone;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    std::vector<double> vSamples;
    if (in_iArguments != 2 || !readSamples(in_arguments[1], vSamples))
    {
        std::fprintf(stderr, "usage: ExpressionBench RECORDING.wav\n");
        return 1;
    }
    // The clones first, while no memory lies about that they could take.
    const bool bDone =
        benchClones(vSamples) && benchScript("script: assign + energy", {FEATURES}, "e", vSamples) &&
        benchScript("script: assign + zero crossings", {FEATURES}, "z", vSamples) &&
        benchScript("script: assign + tones + decision", {TONES}, "tone", vSamples) &&
        benchScript("script: assign + all four", {TONES, FEATURES, FORMULAS, RESULT}, "r", vSamples) &&
        benchFormulas(vSamples) && benchSetUp(vSamples);
    return bDone ? 0 : 1;
}
