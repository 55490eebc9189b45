#include "MLDataConvertApplication.h"

#include "MLBinaryFileDataGenerator.h"
#include "MLDataComparer.h"
#include "MLDataGeneratorFactory.h"
#include "MLHelpers.h"
#include "MLPatternFileWriter.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <unistd.h>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.DataConvertApplication");

constexpr const char* INPUT_OPTION = "input-file";
constexpr const char* CONFIG_OPTION = "datagen-config";
constexpr const char* OUTPUT_CONFIG_OPTION = "output-datagen-config";
constexpr const char* OUTPUT_OPTION = "output-file";
constexpr const char* TYPE_OPTION = "output-type";
constexpr const char* TEST_OPTION = "test";
constexpr const char* STRICT_OPTION = "strict";
constexpr const char* SPLIT_OPTION = "split-size";

struct OutputType
{
    const char* m_keyword;
    FileDataWriter* (*m_newWriter)();
};

constexpr OutputType OUTPUT_TYPES[] = {
    {"binary",
     []() -> FileDataWriter*
     {
         return new BinaryFileWriter;
     }},
    {"vector",
     []() -> FileDataWriter*
     {
         return new VectorFileWriter;
     }},
};

/// A generator without a file needs none; it does with one what it did without.
bool checkInputFile(const DataGenerator& in_generator, const std::string& in_strInputFile)
{
    const bool bReadsFile = dynamic_cast<const FileDataGenerator*>(&in_generator) != nullptr;
    if (bReadsFile && in_strInputFile.empty())
    {
        // two blanks: text kept
        QC_ERROR("This data generator needs an input file so you need  to specify an argument for --"
                 << INPUT_OPTION);
        return false;
    }
    if (!bReadsFile && !in_strInputFile.empty())
        QC_WARN("An input file is provided for the data generator but this data generator does not need any "
                "input file.");
    return true;
}

/// The parts of a split set whose descriptor gets its name at the end, as they do right before it. Those that
/// did not get it are removed.
class SplitParts
{
public:
    explicit SplitParts(const FileReplacer& in_descriptor)
        : m_descriptor(in_descriptor)
    {
    }
    ~SplitParts()
    {
        std::error_code error;
        for (std::uint64_t i = m_uiTaken + 1; !m_descriptor.getTemporaryPath().empty(); ++i)
            if (!std::filesystem::remove(temporaryName(i), error))
                return;
    }
    SplitParts(const SplitParts&) = delete;
    SplitParts& operator=(const SplitParts&) = delete;

    /// False, with the reason logged, when one cannot be brought to the disk or to its name.
    bool takeNames()
    {
        std::uint64_t uiParts = 0;
        if (!readNumberOfSplitFiles(m_descriptor.getTemporaryPath(), uiParts))
            return false;
        for (; m_uiTaken < uiParts; ++m_uiTaken)
        {
            const std::string strName = m_descriptor.getPath() + '.' + std::to_string(m_uiTaken + 1);
            const int iFile = open(temporaryName(m_uiTaken + 1).c_str(), O_RDONLY | O_CLOEXEC);
            const bool bOnDisk = iFile >= 0 && fsync(iFile) == 0;
            if (iFile >= 0)
                close(iFile);
            if (bOnDisk && std::rename(temporaryName(m_uiTaken + 1).c_str(), strName.c_str()) == 0)
                continue;
            QC_ERROR("Cannot write output file " << strName << ": " << std::strerror(errno));
            return false;
        }
        return true;
    }

private:
    std::string temporaryName(std::uint64_t in_uiPart) const
    {
        return m_descriptor.getTemporaryPath() + '.' + std::to_string(in_uiPart);
    }

    const FileReplacer& m_descriptor;
    std::uint64_t m_uiTaken = 0;
};

} // namespace

DataConvertApplication::DataConvertApplication(const char* in_name)
    : MLDataGenApplicationImpl(s_logger, in_name)
{
    QC_TRACE("DataConvertApplication ctor");
    auto addOption = getOptions().add_options();
    addOption(INPUT_OPTION, value<std::string>()->value_name("FILE"),
              "Input filename for input data generator");
    addOption(CONFIG_OPTION, value<std::string>()->value_name("FILE"),
              "data generator configuration file. MANDATORY");
    addOption(OUTPUT_CONFIG_OPTION, value<std::string>()->value_name("FILE"),
              "data generator configuration file. MANDATORY if --test");
    addOption(OUTPUT_OPTION, value<std::string>()->value_name("FILE"),
              "Output filename for output data writer. MANDATORY");
    addOption(TYPE_OPTION, value<std::string>()->value_name("TYPE"),
              "data writer type. Possible values are \"binary\" or \"vector\". MANDATORY if not --test");
    addOption(TEST_OPTION, bool_switch(),
              "load the two datagen files and config and compare outputs for equality");
    addOption(STRICT_OPTION, bool_switch(),
              "with --test: compare lengths as well, and values to the bit, and print a digest of each");
    addOption(SPLIT_OPTION, value<std::string>()->value_name("MIB"),
              "write a split set, whose parts are cut once they hold more than this");
}

bool DataConvertApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("DataConvertApplication::processCmdlineVarsMap");
    if (!MLDataGenApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    m_bTest = isSwitchOn(in_map, TEST_OPTION);
    m_bStrict = isSwitchOn(in_map, STRICT_OPTION);
    m_strOutputFile = getString(in_map, OUTPUT_OPTION);
    if (m_bTest || !m_bStrict)
        return takeGenerators(in_map);
    QC_ERROR("--" << STRICT_OPTION << " has no effect without --" << TEST_OPTION);
    return refuseCommand();
}

bool DataConvertApplication::takeGenerators(const variables_map& in_map)
{
    const std::string strInput = getString(in_map, INPUT_OPTION);
    const CountedObjPtr<DataGenerator> pInput = newInput_i(in_map);
    if (pInput.isNull() || !takeOutputType(getString(in_map, TYPE_OPTION)))
        return false;
    const std::string strOutputConfig = getString(in_map, OUTPUT_CONFIG_OPTION);
    if (strOutputConfig.empty() && m_bTest)
    {
        QC_ERROR("cannot configure output data generator");
        return refuseCommand();
    }
    if (m_strOutputFile.empty())
    {
        QC_ERROR("need an output filename");
        return refuseCommand();
    }
    if (!strOutputConfig.empty())
    {
        const std::string& strFile = m_bTest ? m_strOutputFile : strInput;
        m_pOutputDataGen = loadGenerator(strOutputConfig, strFile);
        if (!m_pOutputDataGen.isNull() && !prepareDataGenerator(*m_pOutputDataGen, strFile.c_str(), {}))
            m_pOutputDataGen = {};
    }
    if (!takeSplitSize(in_map))
        return false;
    m_pInputDataGen = wrapDataGenerator(pInput, {}, isInMemory(), getScalingConfigFile());
    return !m_pInputDataGen.isNull() && (strOutputConfig.empty() || !m_pOutputDataGen.isNull());
}

bool DataConvertApplication::takeSplitSize(const variables_map& in_map)
{
    constexpr unsigned int BITS_OF_MEGABYTE = 20;
    m_bSplit = in_map.count(SPLIT_OPTION) != 0;
    if (!m_bSplit)
        return true;
    const std::uint64_t uiMegabytes =
        getCount(in_map, SPLIT_OPTION, 0, std::numeric_limits<std::uint64_t>::max() >> BITS_OF_MEGABYTE);
    auto* pWriter = dynamic_cast<PatternFileWriter*>(m_pOutputDataWriter.get());
    if (pWriter == nullptr)
    {
        QC_ERROR("--" << SPLIT_OPTION << " has no effect with --" << TEST_OPTION);
        return refuseCommand();
    }
    pWriter->setSplitSize(uiMegabytes);
    return true;
}

CountedObjPtr<DataGenerator> DataConvertApplication::newInput_i(const variables_map& in_map)
{
    const std::string strConfig = getString(in_map, CONFIG_OPTION);
    const std::string strInput = getString(in_map, INPUT_OPTION);
    if (strConfig.empty())
    {
        QC_ERROR("cannot configure data generator");
        refuseCommand();
        return {};
    }
    const CountedObjPtr<DataGenerator> pInput = loadGenerator(strConfig, strInput);
    return !pInput.isNull() && prepareInput_i(pInput, strInput) ? pInput : CountedObjPtr<DataGenerator>();
}

bool DataConvertApplication::prepareInput_i(const CountedObjPtr<DataGenerator>& in_pGenerator,
                                            const std::string& in_strInputFile)
{
    return prepareDataGenerator(*in_pGenerator, in_strInputFile.c_str(), {});
}

/// A test writes nothing, whatever type it is given.
bool DataConvertApplication::takeOutputType(const std::string& in_strType)
{
    if (in_strType.empty())
    {
        if (!m_bTest)
            QC_ERROR("need an output data type (\"binary\" or \"vector\")");
        return m_bTest || refuseCommand();
    }
    for (const OutputType& type : OUTPUT_TYPES)
    {
        if (in_strType != type.m_keyword)
            continue;
        if (!m_bTest)
            m_pOutputDataWriter = CountedObjPtr<FileDataWriter>(type.m_newWriter());
        return true;
    }
    QC_ERROR(TYPE_OPTION << " has to be either \"binary\" or \"vector\"");
    return refuseCommand();
}

CountedObjPtr<DataGenerator> DataConvertApplication::loadGenerator(const std::string& in_strConfigFile,
                                                                   const std::string& in_strInputFile)
{
    const DiskFileSystem fileSystem;
    basic_vfsistream<char> stream(fileSystem, in_strConfigFile.c_str());
    if (!stream)
    {
        QC_ERROR("Cannot open data generator config file " << in_strConfigFile << " for input.");
        QC_WARN(in_strConfigFile << ": " << stream.getReason());
        return {};
    }
    const CountedObjPtr<DataGenerator> pGenerator(loadDataGeneratorFromStream(stream));
    if (pGenerator.isNull() || !checkInputFile(*pGenerator, in_strInputFile))
        return {};
    return pGenerator;
}

bool DataConvertApplication::run_i()
{
    QC_TRACE("DataConvertApplication::run_i");
    return m_bTest ? compare() : convert_i();
}

bool DataConvertApplication::convert_i()
{
    if (!QC_CHECK(!m_pOutputDataWriter.isNull()) || !QC_CHECK(!m_pInputDataGen.isNull()))
        return false;
    const bool bConverted = convertInto(*m_pOutputDataWriter, m_strOutputFile).has_value();
    if (bConverted)
        QC_INFO("Conversion succeeded !");
    else
        QC_ERROR("Conversion failed !");
    return bConverted;
}

std::optional<std::uint64_t> DataConvertApplication::convertInto(FileDataWriter& io_writer,
                                                                 const std::string& in_strFile)
{
    FileReplacer output(in_strFile);
    std::optional<SplitParts> parts;
    if (m_bSplit)
        parts.emplace(output);
    const std::optional<std::uint64_t> patterns = writeInto(io_writer, output);
    const bool bParts = !m_bSplit || (patterns && parts->takeNames());
    return patterns && bParts && commit(output) ? patterns : std::nullopt;
}

std::optional<std::uint64_t> DataConvertApplication::writeInto(FileDataWriter& io_writer,
                                                               FileReplacer& io_output)
{
    std::optional<std::uint64_t> patterns;
    if (openOutput(io_writer, io_output))
        patterns = pump(io_writer, io_output.getPath());
    const bool bWritten = io_writer.close();
    if (!bWritten)
        QC_ERROR("Could not write all patterns to " << io_output.getPath());
    return bWritten ? patterns : std::nullopt;
}

bool DataConvertApplication::openOutput(FileDataWriter& io_writer, FileReplacer& io_output) const
{
    if (!io_output.openNameOnly())
    {
        QC_ERROR("Cannot write output file " << io_output.getPath() << ": " << io_output.getReason());
        return false;
    }
    if (!io_writer.open(io_output.getTemporaryPath().c_str()))
        return false;
    io_writer.setCurrentFilename(io_output.getPath().c_str());
    return true;
}

std::optional<std::uint64_t> DataConvertApplication::pump(FileDataWriter& io_writer,
                                                          const std::string& in_strFile)
{
    DataConverter myDataConverter;
    // blank before the dot: text kept
    if (!QC_CHECK_TEXT("myDataConverter .setInputDataGenerator(*m_pInputDataGen)",
                       myDataConverter.setInputDataGenerator(*m_pInputDataGen)) ||
        !QC_CHECK_TEXT("myDataConverter.setDataWriter(*m_pOutputDataWriter)",
                       myDataConverter.setDataWriter(io_writer)))
        return {};
    myDataConverter.setWatch([&io_writer, watch = newWatch_i()](std::uint64_t in_uiPatterns)
                             { return (!watch || watch(in_uiPatterns)) && !io_writer.hasLost(); });
    if (!myDataConverter.convert())
        return {};
    if (!m_pInputDataGen->endedCleanly())
    {
        QC_ERROR("The input stopped before its end, after " << myDataConverter.getNbConverted()
                                                            << " patterns");
        return {};
    }
    if (myDataConverter.getNbConverted() == 0)
        QC_WARN("The input has no pattern: " << in_strFile << " stays empty");
    return myDataConverter.getNbConverted();
}

bool DataConvertApplication::commit(FileReplacer& io_output) const
{
    if (io_output.commit())
        return true;
    QC_ERROR("Cannot write output file " << io_output.getPath() << ": " << io_output.getReason());
    return false;
}

bool DataConvertApplication::compare()
{
    if (!QC_CHECK(!m_pInputDataGen.isNull()) || !QC_CHECK(!m_pOutputDataGen.isNull()))
        return false;
    QC_INFO("Test of conversion started...");
    DataComparer comparer(*m_pInputDataGen, *m_pOutputDataGen);
    comparer.setWatch(newWatch_i());
    return m_bStrict ? comparer.compareStrictly() : comparer.compare();
}

} // namespace Vexalor::MachineLearning
