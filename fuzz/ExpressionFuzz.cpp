// Expression scripts: what is accepted links or is refused, evaluates the same in a clone, again and after a
// reset, and always comes to an end; the graph is written whole.

#include "FuzzSupport.h"
#include "quillcast-mathxpr/Evaluator.h"
#include "quillcast-mathxpr/Program.h"
#include "quillcast-mathxpr/Script.h"

#include <memory>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr;

namespace
{

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
    const std::shared_ptr<const Script> pScript = parseScript(strText, "fuzz.xpr");
    if (pScript == nullptr)
        return 0;
    Evaluator evaluator;
    const CountedObjPtr<DomainVariableImpl> pAudio(new DomainVariableImpl);
    Fuzz::require(pAudio->setName("audio") && evaluator.addVariable(pAudio), "an input is added");
    Fuzz::require(evaluator.setConstant("rate", 8000), "a constant is set");
    std::vector<std::string> vNames;
    for (const Definition& definition : pScript->m_vDefinitions)
        if (evaluator.addExpression(definition.m_strName.c_str(), definition.m_strText.c_str()))
            vNames.push_back(definition.m_strName);
    Program program;
    program.addInput("audio");
    program.addScript("fuzz", pScript);
    std::string strDot;
    writeDot(program, strDot);
    Fuzz::require(strDot.ends_with("}\n"), "the graph is whole");
    if (!evaluator.link(true))
        return 0;
    const std::unique_ptr<Evaluator> pClone(evaluator.clone());
    const std::string strFirst = evaluateAll(evaluator, vNames);
    Fuzz::require(evaluateAll(*pClone, vNames) == strFirst, "a clone computes the same");
    Fuzz::require(evaluator.reset() && evaluateAll(evaluator, vNames) == strFirst,
                  "so does a reset evaluator");
    return 0;
}
