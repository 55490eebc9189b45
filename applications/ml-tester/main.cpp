#include "MLDataGenTesterApplicationImpl.h"
#include "common/FannNetwork.h"
#include "common/SetWatch.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constinit Logger s_logger("quillcast.app.Tester");

/// Tests a network of the FANN library.
class TesterApplication : public MLDataGenTesterApplicationImpl
{
public:
    TesterApplication()
        : MLDataGenTesterApplicationImpl(s_logger, "ml-tester")
    {
        getOptions().add_options()("network", value<std::string>(),
                                   "network file of the FANN library. MANDATORY");
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
        if (m_strNetwork.empty())
            QC_ERROR("a network file must be supplied");
        return !m_strNetwork.empty();
    }

    MLTester::TestedEntity* newTestedEntity_i() override
    {
        return FannNetwork::newFromFile(m_strNetwork.c_str());
    }

    bool run_i() override
    {
        const bool bDone = MLDataGenTesterApplicationImpl::run_i();
        m_watch.closeSet();
        return m_watch.accept() && bDone;
    }

private:
    SetWatch m_watch{"ml-tester"};
    std::string m_strNetwork;
};

} // namespace

int main(int argc, char** argv)
{
    return runApplication<TesterApplication>(argc, argv);
}
