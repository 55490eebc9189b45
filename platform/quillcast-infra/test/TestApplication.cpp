#include "quillcast-core/Assertion.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-infra/ApplicationImpl.h"
#include "quillcast-infra/DynLibsLoader.h"

#include <iostream>
#include <new>

using namespace Vexalor;

namespace
{

constinit Logger s_logger("quillcast.test.Application");

/// Does what --action tells, so that the framework can be watched from outside.
class TestApplication : public ApplicationImpl
{
public:
    TestApplication()
        : ApplicationImpl(s_logger, "infra-test-application")
    {
        hideOnConsole("secret");
        setExamples("infra-test-application --action ok \\\n    word");
        getOptions().add_options()("action", value<std::string>(), "what to do");
        getOptions().add_options()("count", value<std::string>()->default_value("1"), "a count");
        getOptions().add_options()("real", value<std::string>()->default_value("0"), "a number");
        setArguments(
            "words", 2, "[word...]",
            "Does what it is told.\n"
            "  more  is printed, a piece a line, which is quite a long description of a simple thing");
    }

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override
    {
        if (!ApplicationImpl::processCmdlineVarsMap(in_map))
            return false;
        if (isStopped())
            return true;
        m_strAction = getString(in_map, "action");
        if (m_strAction == "throw-early")
            throw std::runtime_error("thrown early");
        if (m_strAction == "refuse-command")
            return refuseCommand();
        if (m_strAction == "stop")
            stop();
        if (in_map.count("words") != 0)
            m_vWords = in_map["words"].as<StringVector>();
        const std::uint64_t uiCount = getCount(in_map, "count", 1, 9);
        const double dReal = getReal(in_map, "real", -1, 1);
        QC_DEBUG("processed " << uiCount << ' ' << dReal);
        return m_strAction != "refuse";
    }

    bool run_i() override
    {
        QC_INFO("running");
        QC_INFO("secret");
        if (m_strAction == "fail-deeply")
            return failDeeply();
        if (m_strAction == "throw")
            throw std::runtime_error("thrown late");
        if (m_strAction == "throw-int")
            throw 1;
        if (m_strAction == "load")
            return DynLibsLoader::loadDynLib(m_vWords[0].c_str());
        if (m_strAction == "throw-memory")
            throw std::bad_alloc();
        for (const std::string& strWord : m_vWords)
            std::cout << strWord << '\n';
        std::string strParameter;
        if (getConfiguration()->getStringParameter("test.parameter", strParameter))
            std::cout << strParameter << '\n';
        return m_strAction != "fail";
    }

private:
    /// As an operation does that calls others, in the course of many.
    static bool failDeeply()
    {
        QC_ERROR("x.wav is no recording");
        ConsoleLog::settleErrors();
        for (int i = 0; i < 13; ++i)
            QC_WARN("line " << i << " is no pattern");
        QC_CHECK_TEXT("it works", false);
        QC_ERROR("no such file");
        QC_ERROR("failed to do anything");
        return false;
    }

    std::string m_strAction;
    StringVector m_vWords;
};

} // namespace

int main(int argc, char** argv)
{
    // A copy works as the original does.
    const LoggingSession session;
    const TestApplication original;
    TestApplication copy = original;
    return copy.run(argc, argv);
}
