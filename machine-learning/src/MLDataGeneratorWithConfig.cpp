#include "MLDataGeneratorWithConfig.h"

#include "quillcast-core/ExceptionWithMsg.h"
#include "quillcast-core/SerializationArchives.h"

namespace Vexalor::MachineLearning
{

template <class Archive>
void DataGeneratorWithConfig::Config::serialize(Archive&, unsigned int)
{
}

template <class Archive>
void DataGeneratorWithConfig::serialize(Archive& io_archive, unsigned int)
{
    static constexpr const char* CONFIG_ELEMENT = "GeneratorConfig";
    serializeBase<DataGenerator>(io_archive, *this);
    describeField(io_archive, "", "its parameters");
    if constexpr (Archive::is_saving::value)
    {
        saveObject<Config>(io_archive, CONFIG_ELEMENT, &getConcreteConfig_i());
    }
    else
    {
        const std::unique_ptr<Config> pConfig = loadObject<Config>(io_archive, CONFIG_ELEMENT);
        if (pConfig == nullptr || !configure(*pConfig))
            throw ExceptionWithMsg("Unable to configure data generator with deserialized config");
    }
}

QC_ARCHIVES(DataGeneratorWithConfig::Config);
QC_ARCHIVES(DataGeneratorWithConfig);

Fallible<const char*> DataGeneratorWithConfig::getLibName()
{
    if (!m_strLibName.isValid())
        return {};
    return m_strLibName.getValue().c_str();
}

void DataGeneratorWithConfig::setLibName(const char* in_name)
{
    m_strLibName = in_name == nullptr ? Fallible<std::string>() : Fallible<std::string>(in_name);
}

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::DataGeneratorWithConfig)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::DataGeneratorWithConfig::Config)
