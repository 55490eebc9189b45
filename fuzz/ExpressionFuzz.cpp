// Expression scripts: what is accepted links or is refused, evaluates the same in a clone, again and after a
// reset, and always comes to an end.

#include "FuzzSupport.h"
#include "quillcast-infra/ParameterTrie.h"
#include "quillcast-mathxpr/Evaluator.h"
#include "test-support/TextFileSystem.h"

#include <algorithm>
#include <memory>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr;

namespace
{

/// What the lines of a script define.
std::vector<std::string> findNames(Evaluator& io_evaluator, const std::string& in_strText)
{
    std::vector<std::string> vNames;
    std::istringstream text(in_strText);
    for (std::string strLine; std::getline(text, strLine);)
    {
        const std::size_t uiBegin = std::min(strLine.find_first_not_of(" \t\r\xEF\xBB\xBF"), strLine.size());
        const std::size_t uiEnd = strLine.find_first_of(" \t=", uiBegin);
        const std::string strName = "fuzz." + strLine.substr(uiBegin, uiEnd - uiBegin);
        if (!io_evaluator.getVariable(strName.c_str()).isNull())
            vNames.push_back(strName);
    }
    return vNames;
}

/// What all names of a script come to, window after window; those that fail are left out.
std::string evaluateAll(Evaluator& io_evaluator, const std::vector<std::string>& in_vNames)
{
    const DoubleVector windows[] = {{0.5, -0.25, 0.125, 1}, {0, 0, 0, 0}, {1, 2}, {0.5, -0.25, 0.125, 1}};
    const CountedObjPtr<Variable> pAudio = io_evaluator.getVariable("audio");
    std::string strAll;
    DoubleVector vValue;
    for (const DoubleVector& vWindow : windows)
    {
        Fuzz::require(pAudio->assign(vWindow), "short windows are taken");
        for (const std::string& strName : in_vNames)
        {
            const CountedObjPtr<Variable> pVariable = io_evaluator.getVariable(strName.c_str());
            Fuzz::require(!pVariable.isNull(), "what is linked is found");
            if (pVariable->evaluate(vValue) && vValue.size() < 1000)
                vValue.appendTo(strAll);
            strAll += '\n';
        }
    }
    return strAll;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    Evaluator evaluator;
    ParameterTrie config;
    config.setParameter(Evaluator::getParamNameScriptsDir(), ".");
    const TSHandle<VirtualFileSystem> pFiles(new Testing::TextFileSystem({{"fuzz.xpr", strText}}));
    const CountedObjPtr<DomainVariableImpl> pAudio(new DomainVariableImpl);
    Fuzz::require(evaluator.configure(config, pFiles), "the folder is taken");
    Fuzz::require(pAudio->setName("audio") && evaluator.addVariable(pAudio), "an input is added");
    Fuzz::require(evaluator.setConstant("rate", 8000), "a constant is set");
    if (!evaluator.addScript("fuzz"))
        return 0;
    Fuzz::require(evaluator.dump("/dev/null"), "the graph is written");
    if (!evaluator.link(true))
        return 0;
    const std::vector<std::string> vNames = findNames(evaluator, strText);
    const std::unique_ptr<Evaluator> pClone(evaluator.clone());
    const std::string strFirst = evaluateAll(evaluator, vNames);
    Fuzz::require(evaluateAll(*pClone, vNames) == strFirst, "a clone computes the same");
    Fuzz::require(evaluator.reset() && evaluateAll(evaluator, vNames) == strFirst,
                  "so does a reset evaluator");
    return 0;
}
