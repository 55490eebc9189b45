#pragma once

#include "MLDataConverter.h"
#include "MLDataGenApplicationImpl.h"

#include <string>

namespace Vexalor
{
class FileReplacer;
}

namespace Vexalor::MachineLearning
{

/// The command-line converter: writes the patterns of a generator to a pattern file, or tests that two
/// generators deliver the same patterns. The options are those of doc/programs.md, "ml-convert".
///
/// The output file gets its name when it is complete: it may be the input file, and a conversion that fails
/// leaves what was there before. The settings of the base (cache, scaling) hold for the generator of the
/// input, also where that is the reference of a test.
class DataConvertApplication : public MLDataGenApplicationImpl
{
public:
    /// The name lives as long as the application.
    explicit DataConvertApplication(const char* in_name);

protected:
    /// Loads the generators as well. A derived class sets the settings of the base before.
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    /// False also when patterns were read or written that could not be stored, and when a stream stopped
    /// before its end.
    bool run_i() override;

    /// Watches one conversion or comparison, and is destroyed at its end. None unless a derived class has
    /// one.
    virtual DataConverter::Watch newWatch_i() { return {}; }
    /// Of the input, for a watch.
    Fallible<double> getShareRead() const { return m_pInputDataGen->getShareRead(); }

private:
    bool takeGenerators(const variables_map& in_map);
    bool takeOutputType(const std::string& in_strType);
    CountedObjPtr<DataGenerator> loadGenerator(const std::string& in_strConfigFile,
                                               const std::string& in_strInputFile) const;
    bool convert();
    bool openOutput(FileReplacer& io_output);
    bool pump();
    bool commit(FileReplacer& io_output) const;
    bool compare();

    bool m_bTest = false;
    bool m_bStrict = false;
    std::string m_strOutputType;
    std::string m_strOutputFile;
    CountedObjPtr<DataGenerator> m_pInputDataGen;
    CountedObjPtr<DataGenerator> m_pOutputDataGen; ///< of a test
    CountedObjPtr<FileDataWriter> m_pOutputDataWriter;
};

} // namespace Vexalor::MachineLearning
