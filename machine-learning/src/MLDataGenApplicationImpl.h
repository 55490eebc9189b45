#pragma once

#include "MLDataGenerator.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// Base of the command-line applications that work on a generator built from a configuration file.
class MLDataGenApplicationImpl : public ApplicationImpl
{
public:
    /// The logger and the name live as long as the application.
    MLDataGenApplicationImpl(Logger& in_logger, const char* in_name);

    /// A generator that is ready for gotoStart, made by the free newDataGenerator with the in-memory setting
    /// of the application. Null, with the reason logged, on failure; throws for a file that is no
    /// configuration. A program that has something to do in between overrides it.
    virtual CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                          Handle<Resettable, ReferenceCount> in_entityToReset,
                                                          const char* in_scalingConfigFile);

protected:
    /// Whether generators are read into memory; not unless a derived application says so.
    void setInMemory(bool in_bInMemory) { m_bInMemory = in_bInMemory; }
    /// The scaling file that a derived application hands to newDataGenerator; none unless it says so.
    void setScalingConfigFile(const std::string& in_strFile) { m_strScalingConfigFile = in_strFile; }
    bool isInMemory() const { return m_bInMemory; }
    const char* getScalingConfigFile() const { return m_strScalingConfigFile.c_str(); }

    /// For an application that lets its user choose both: adds the options "in-memory" and "scaling-config",
    /// and takes over their values.
    void addWrapperOptions();
    void takeWrapperOptions(const variables_map& in_map);

private:
    bool m_bInMemory = false;
    std::string m_strScalingConfigFile;
};

} // namespace Vexalor::MachineLearning
