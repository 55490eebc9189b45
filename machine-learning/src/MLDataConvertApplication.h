#pragma once

#include "MLDataConverter.h"
#include "MLDataGenApplicationImpl.h"

#include <cstdint>
#include <optional>
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

    /// The input, without what is wrapped around it. The default loads the configuration and prepares its
    /// generator. Null, with the reason logged, on failure.
    virtual CountedObjPtr<DataGenerator> newInput_i(const variables_map& in_map);
    /// Hands its input file to the generator of the input. False, with the reason logged, on failure.
    virtual bool prepareInput_i(const CountedObjPtr<DataGenerator>& in_pGenerator,
                                const std::string& in_strInputFile);
    /// All of a conversion. The default writes the patterns of the input to the output file, by the writer of
    /// the output type.
    virtual bool convert_i();
    /// A pass of the input into a file, which gets its name when it is complete; the number of patterns.
    /// None, with the reason logged, on failure.
    std::optional<std::uint64_t> convertInto(FileDataWriter& io_writer, const std::string& in_strFile);
    /// The same into a file whose name is left to the caller.
    std::optional<std::uint64_t> writeInto(FileDataWriter& io_writer, FileReplacer& io_output);
    DataGenerator& getInput() { return *m_pInputDataGen; }
    /// From here on in place of the input that the options have named.
    void setInput(const CountedObjPtr<DataGenerator>& in_pInput) { m_pInputDataGen = in_pInput; }
    const std::string& getOutputFile() const { return m_strOutputFile; }

private:
    bool takeGenerators(const variables_map& in_map);
    bool takeOutputType(const std::string& in_strType);
    CountedObjPtr<DataGenerator> loadGenerator(const std::string& in_strConfigFile,
                                               const std::string& in_strInputFile);
    bool openOutput(FileDataWriter& io_writer, FileReplacer& io_output) const;
    std::optional<std::uint64_t> pump(FileDataWriter& io_writer, const std::string& in_strFile);
    bool commit(FileReplacer& io_output) const;
    bool takeSplitSize(const variables_map& in_map);
    bool compare();

    bool m_bTest = false;
    bool m_bStrict = false;
    bool m_bSplit = false;
    std::string m_strOutputType;
    std::string m_strOutputFile;
    CountedObjPtr<DataGenerator> m_pInputDataGen;
    CountedObjPtr<DataGenerator> m_pOutputDataGen; ///< of a test
    CountedObjPtr<FileDataWriter> m_pOutputDataWriter;
};

} // namespace Vexalor::MachineLearning
