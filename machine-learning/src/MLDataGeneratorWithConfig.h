#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/MemAccount.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// A generator that takes its parameters from a Config and is saved with it. The layout of the files is in
/// doc/formats.md, "Generator configurations".
///
/// A derived class keeps a Config of its own derived class by value, for a Config held by its base would lose
/// the derived fields when it is saved, and checks the type in configure.
class DataGeneratorWithConfig : public virtual DataGenerator
{
public:
    /// Base of the parameters of a generator. Derived ones add fields, serialised under their names, and have
    /// class keys of their own.
    class Config : public virtual Object
    {
    public:
        QC_MEM_ACCOUNT("DataGeneratorWithConfig::Config");

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Takes over the parameters. False, with the reason logged and the earlier ones kept, for a Config of
    /// another class and for parameters that cannot be used.
    virtual bool configure(const Config& in_config) = 0;

    /// The library named by the configuration whose loading brought the class; unset when it came with the
    /// program.
    Fallible<const char*> getLibName() override;

    /// For the loader: stands outside the configuration of the generator and is not saved with it. Null for
    /// none.
    void setLibName(const char* in_name);

protected:
    /// The parameters held, as an object of the class that configure takes. Lives as long as the generator.
    virtual Config& getConcreteConfig_i() const = 0;

    /// That of another generator, for one that wraps it.
    static Config& getConcreteConfigOf(const DataGeneratorWithConfig& in_generator)
    {
        return in_generator.getConcreteConfig_i();
    }

private:
    friend class boost::serialization::access;
    /// Loading throws an ExceptionWithMsg when configure refuses what was read.
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    Fallible<std::string> m_strLibName;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGeneratorWithConfig, "MLDataGeneratorWithConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGeneratorWithConfig::Config, "MLDataGeneratorConfig")
