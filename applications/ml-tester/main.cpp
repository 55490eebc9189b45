#include "MLDataGenTesterApplicationImpl.h"
#include "common/NetworkFile.h"
#include "common/ScriptEntity.h"
#include "common/SetWatch.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constinit Logger s_logger("quillcast.app.Tester");

/// Tests a network of the FANN library or from an ONNX file, or an expression script.
class TesterApplication : public MLDataGenTesterApplicationImpl
{
public:
    TesterApplication()
        : MLDataGenTesterApplicationImpl(s_logger, "ml-tester")
    {
        auto addOption = getOptions().add_options();
        addOption("network", value<std::string>(),
                  "network file of the FANN library, or ONNX. MANDATORY, or --script");
        addOption("script", value<std::string>()->value_name("NAME"),
                  "test the script NAME.xpr: the input of a pattern is its variable audio");
        addOption("further-script", value<StringVector>()->value_name("NAME"),
                  "a script that it needs; may be repeated");
        addOption("filesystem-path", value<std::string>()->value_name("DIR")->default_value("."),
                  "where scripts are found");
        addOption("result-variable-name", value<std::string>()->value_name("NAME")->default_value("result"),
                  "the variable of the script that is the output");
        addOption("rate", value<std::string>()->value_name("HZ"),
                  "the constant rate of scripts; that of the recordings unless given, where there is one "
                  "recording and nothing in between");
        addWrapperOptions();
        SetWatch::addOption(getOptions());
    }

    CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                  Handle<Resettable, ReferenceCount> in_entityToReset,
                                                  const char* in_scalingConfigFile) override
    {
        return m_watch.newDataGenerator(in_configFile, in_inputFile, in_entityToReset, isInMemory(),
                                        in_scalingConfigFile);
    }

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override
    {
        if (!MLDataGenTesterApplicationImpl::processCmdlineVarsMap(in_map))
            return false;
        if (isStopped())
            return true;
        takeWrapperOptions(in_map);
        m_watch.takeOption(in_map);
        m_strNetwork = getString(in_map, "network");
        takeScriptOptions(in_map);
        if (m_strNetwork.empty() && m_script.m_strScript.empty())
            QC_ERROR("a network file must be supplied");
        else if (!m_strNetwork.empty() && !m_script.m_strScript.empty())
            QC_ERROR("Options --network and --script exclude each other");
        return m_strNetwork.empty() != m_script.m_strScript.empty();
    }

    MLTester::TestedEntity* newTestedEntity_i() override
    {
        if (m_strNetwork.empty())
            return ScriptEntity::newFromScript(m_script);
        return newNetworkFromFile(m_strNetwork.c_str());
    }

    bool run_i() override
    {
        const bool bDone = MLDataGenTesterApplicationImpl::run_i();
        m_watch.closeSet();
        return m_watch.accept() && bDone;
    }

private:
    void takeScriptOptions(const variables_map& in_map)
    {
        m_script.m_strScript = getString(in_map, "script");
        m_script.m_strFolder = getString(in_map, "filesystem-path");
        m_script.m_strVariable = getString(in_map, "result-variable-name");
        if (in_map.count("further-script") != 0)
            m_script.m_vFurtherScripts = in_map["further-script"].as<StringVector>();
        if (in_map.count("rate") != 0)
            m_script.m_dRate = getReal(in_map, "rate", 1.0, 1e9);
    }

    SetWatch m_watch{"ml-tester"};
    std::string m_strNetwork;
    ScriptEntity::Settings m_script;
};

} // namespace

int main(int argc, char** argv)
{
    return runApplication<TesterApplication>(argc, argv);
}
