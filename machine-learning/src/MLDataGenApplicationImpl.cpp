#include "MLDataGenApplicationImpl.h"

#include "MLDataGeneratorFactory.h"
#include "quillcast-core/Logger.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.datagen.application");

constexpr const char* IN_MEMORY_OPTION = "in-memory";
constexpr const char* SCALING_OPTION = "scaling-config";

} // namespace

MLDataGenApplicationImpl::MLDataGenApplicationImpl(Logger& in_logger, const char* in_name)
    : ApplicationImpl(in_logger, in_name)
{
    QC_TRACE("MLDataGenApplicationImpl ctor");
    registerGeneratorClasses();
}

CountedObjPtr<DataGenerator>
MLDataGenApplicationImpl::newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                           Handle<Resettable, ReferenceCount> in_entityToReset,
                                           const char* in_scalingConfigFile)
{
    QC_TRACE("MLDataGenApplicationImpl::newDataGenerator");
    return MachineLearning::newDataGenerator(in_configFile, in_inputFile, in_entityToReset, m_bInMemory,
                                             in_scalingConfigFile);
}

void MLDataGenApplicationImpl::addWrapperOptions()
{
    auto addOption = getOptions().add_options();
    addOption(SCALING_OPTION, value<std::string>()->value_name("FILE"),
              "scaling file, by which inputs and targets are scaled");
    addOption(IN_MEMORY_OPTION, bool_switch(),
              "keep the patterns of the first pass in memory for the others");
}

void MLDataGenApplicationImpl::takeWrapperOptions(const variables_map& in_map)
{
    setInMemory(isSwitchOn(in_map, IN_MEMORY_OPTION));
    setScalingConfigFile(getString(in_map, SCALING_OPTION));
}

} // namespace Vexalor::MachineLearning
