// Random programs, computed by the evaluator and by a plain interpreter: the same values, to the bit, and the
// same kinds of failure. QC_RANDOM_PROGRAMS says how many, QC_RANDOM_SEED with which one to begin.

#include "PlainInterpreter.h"
#include "RandomProgram.h"
#include "quillcast-infra/ParameterTrie.h"
#include "quillcast-mathxpr/Evaluator.h"
#include "test-support/LogCapture.h"
#include "test-support/TextFileSystem.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr;
using namespace Vexalor::Math::Xpr::Testing;
using Vexalor::Testing::LogCapture;

namespace
{

/// An evaluator and an interpreter that are told the same.
struct Pair
{
    std::shared_ptr<Evaluator> m_pEvaluator;
    PlainInterpreter m_interpreter;
};

bool areSame(const DoubleVector& in_vValue, const std::vector<double>& in_vOther)
{
    return std::equal(in_vValue.begin(), in_vValue.end(), in_vOther.begin(), in_vOther.end(),
                      [](double a, double b)
                      { return a == b ? std::signbit(a) == std::signbit(b) : a != a && b != b; });
}

class ProgramRun
{
public:
    explicit ProgramRun(std::uint64_t in_uiSeed)
        : m_random(in_uiSeed)
        , m_program(m_random)
    {
    }

    /// Empty, or what differs.
    std::string run(LogCapture& io_log)
    {
        std::vector<Pair> vPairs{{start(), PlainInterpreter(m_program.getDefinitions(), {{"rate", 8.0}})}};
        if (vPairs[0].m_pEvaluator == nullptr)
            return "not linked: " + io_log.text();
        for (const char* szInput : {"audio", "level"})
            vPairs[0].m_interpreter.preset(szInput, {0.0});
        for (int iStep = 0; iStep < 25; ++iStep)
        {
            Pair& pair = vPairs[m_random.below(vPairs.size())];
            const std::uint64_t uiChoice = m_random.below(20);
            if (uiChoice == 0)
                pair.m_interpreter.reset(), pair.m_pEvaluator->reset();
            else if (uiChoice == 1 && vPairs.size() < 3)
                vPairs.push_back(
                    {std::shared_ptr<Evaluator>(pair.m_pEvaluator->clone()), pair.m_interpreter});
            else if (uiChoice < 10)
                assign(pair, uiChoice < 8 ? "audio" : "level");
            else if (const std::string strFault = compare(pair, io_log); !strFault.empty())
                return strFault;
        }
        return "";
    }

    std::string getText() const
    {
        std::string strAll;
        for (const auto& [strFile, strText] : m_program.getScripts())
            strAll += "--- " + strFile + "\n" + strText;
        return strAll + "--- steps\n" + m_strSteps;
    }

private:
    std::shared_ptr<Evaluator> start()
    {
        auto pEvaluator = std::make_shared<Evaluator>();
        ParameterTrie config;
        config.setParameter(Evaluator::getParamNameScriptsDir(), ".");
        bool bGood =
            pEvaluator->configure(config, TSHandle<VirtualFileSystem>(new Vexalor::Testing::TextFileSystem(
                                              m_program.getScripts()))) &&
            pEvaluator->setConstant("rate", 8.0);
        for (const char* szInput : {"audio", "level"})
        {
            const CountedObjPtr<DomainVariableImpl> pInput(new DomainVariableImpl);
            bGood =
                bGood && pInput->setName(szInput) && pEvaluator->addVariable(pInput) && pInput->preset({0.0});
        }
        for (const auto& [strFile, strText] : m_program.getScripts())
            bGood = bGood && pEvaluator->addScript(strFile.substr(0, strFile.find('.')).c_str());
        return bGood && pEvaluator->link(true) ? pEvaluator : nullptr;
    }

    void assign(Pair& io_pair, const char* in_szInput)
    {
        std::vector<double> vValue(*in_szInput == 'l' ? 1 : m_program.getLengths()[m_random.below(3)]);
        for (double& dValue : vValue)
            dValue = static_cast<double>(m_random.below(33)) / 4.0 - 2.0;
        io_pair.m_interpreter.assign(in_szInput, vValue);
        DoubleVector vAssigned;
        vAssigned.assign(vValue.data(), vValue.data() + vValue.size());
        EXPECT_TRUE(io_pair.m_pEvaluator->getVariable(in_szInput)->assign(vAssigned));
        note(std::string(in_szInput) + " = ", vAssigned);
    }

    std::string compare(Pair& io_pair, LogCapture& io_log)
    {
        const std::vector<PlainDefinition>& vDefinitions = m_program.getDefinitions();
        const std::string strName = vDefinitions[m_random.below(vDefinitions.size())].fullName();
        io_pair.m_interpreter.lookUp(strName);
        Failures failures;
        const std::optional<std::vector<double>> expected = io_pair.m_interpreter.evaluate(strName, failures);
        io_log.clear();
        DoubleVector vValue;
        if (io_pair.m_pEvaluator->getVariable(strName.c_str())->evaluate(vValue))
        {
            note(strName + ": ", vValue);
            return expected && areSame(vValue, *expected)
                       ? ""
                       : strName + (expected ? " should be " + toText(*expected)
                                             : " should fail " + toText(failures));
        }
        const std::string strMessage = io_log.text();
        note(strName + ": " + strMessage, {});
        const bool bExpected =
            std::any_of(failures.begin(), failures.end(),
                        [&](const Failure& in_failure)
                        {
                            return strMessage.starts_with("ERROR " + in_failure.m_strPlace) &&
                                   strMessage.find(in_failure.m_strWord) != std::string::npos;
                        });
        return bExpected ? ""
                         : strName + (expected ? " should be " + toText(*expected)
                                               : " should fail " + toText(failures));
    }

    static std::string toText(const std::vector<double>& in_vValue)
    {
        DoubleVector vValue;
        vValue.assign(in_vValue.data(), in_vValue.data() + in_vValue.size());
        std::string strText;
        vValue.appendTo(strText);
        return strText;
    }

    static std::string toText(const Failures& in_failures)
    {
        std::string strText;
        for (const Failure& failure : in_failures)
            strText += failure.m_strPlace + failure.m_strWord + "; ";
        return strText;
    }

    void note(const std::string& in_strText, const DoubleVector& in_vValue)
    {
        m_strSteps += in_strText;
        in_vValue.appendTo(m_strSteps);
        m_strSteps += '\n';
    }

    Random m_random;
    RandomProgram m_program;
    std::string m_strSteps;
};

std::uint64_t numberFrom(const char* in_szVariable, std::uint64_t in_uiDefault)
{
    const char* pText = std::getenv(in_szVariable);
    return pText == nullptr ? in_uiDefault : std::strtoull(pText, nullptr, 10);
}

} // namespace

TEST(RandomProgramsTest, AreComputedAsThePlainInterpreterDoes)
{
    LogCapture log("quillcast.math.xpr");
    const std::uint64_t uiFirst = numberFrom("QC_RANDOM_SEED", 1);
    const std::uint64_t uiCount = numberFrom("QC_RANDOM_PROGRAMS", 200);
    std::size_t uiDifferent = 0;
    for (std::uint64_t uiSeed = uiFirst; uiSeed < uiFirst + uiCount && uiDifferent < 3; ++uiSeed)
    {
        ProgramRun program(uiSeed);
        const std::string strFault = program.run(log);
        uiDifferent += strFault.empty() ? 0 : 1;
        EXPECT_EQ(strFault, "") << "seed " << uiSeed << "\n" << program.getText();
    }
}
