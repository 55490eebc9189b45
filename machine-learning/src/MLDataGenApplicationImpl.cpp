#include "MLDataGenApplicationImpl.h"

#include "MLDataGeneratorFactory.h"
#include "quillcast-core/Logger.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.datagen.application");

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

} // namespace Vexalor::MachineLearning
