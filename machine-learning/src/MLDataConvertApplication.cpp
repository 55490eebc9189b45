#include "MLDataConvertApplication.h"

#include "MLBinaryFileDataGenerator.h"
#include "MLDataComparer.h"
#include "MLDataGeneratorFactory.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/DiskFileSystem.h"

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
    const std::string strConfig = getString(in_map, CONFIG_OPTION);
    const std::string strInput = getString(in_map, INPUT_OPTION);
    if (strConfig.empty())
    {
        QC_ERROR("cannot configure data generator");
        return refuseCommand();
    }
    const CountedObjPtr<DataGenerator> pInput = loadGenerator(strConfig, strInput);
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
        m_pOutputDataGen = loadGenerator(strOutputConfig, m_bTest ? m_strOutputFile : strInput);
    m_pInputDataGen = wrapDataGenerator(pInput, {}, isInMemory(), getScalingConfigFile());
    return !m_pInputDataGen.isNull() && (strOutputConfig.empty() || !m_pOutputDataGen.isNull());
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
                                                                   const std::string& in_strInputFile) const
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
    if (pGenerator.isNull() || !checkInputFile(*pGenerator, in_strInputFile) ||
        !prepareDataGenerator(*pGenerator, in_strInputFile.c_str(), {}))
        return {};
    return pGenerator;
}

bool DataConvertApplication::run_i()
{
    QC_TRACE("DataConvertApplication::run_i");
    return m_bTest ? compare() : convert();
}

bool DataConvertApplication::convert()
{
    if (!QC_CHECK(!m_pOutputDataWriter.isNull()) || !QC_CHECK(!m_pInputDataGen.isNull()))
        return false;
    FileReplacer output(m_strOutputFile);
    const bool bPumped = openOutput(output) && pump();
    const bool bWritten = m_pOutputDataWriter->close();
    if (!bWritten)
        QC_ERROR("Could not write all patterns to " << m_strOutputFile);
    const bool bConverted = bPumped && bWritten && commit(output);
    if (bConverted)
        QC_INFO("Conversion succeeded !");
    else
        QC_ERROR("Conversion failed !");
    return bConverted;
}

bool DataConvertApplication::openOutput(FileReplacer& io_output)
{
    if (!io_output.openNameOnly())
    {
        QC_ERROR("Cannot write output file " << m_strOutputFile << ": " << io_output.getReason());
        return false;
    }
    if (!m_pOutputDataWriter->open(io_output.getTemporaryPath().c_str()))
        return false;
    m_pOutputDataWriter->setCurrentFilename(m_strOutputFile.c_str());
    return true;
}

bool DataConvertApplication::pump()
{
    DataConverter myDataConverter;
    // blank before the dot: text kept
    if (!QC_CHECK_TEXT("myDataConverter .setInputDataGenerator(*m_pInputDataGen)",
                       myDataConverter.setInputDataGenerator(*m_pInputDataGen)) ||
        !QC_CHECK(myDataConverter.setDataWriter(*m_pOutputDataWriter)))
        return false;
    myDataConverter.setWatch([this, watch = newWatch_i()](std::uint64_t in_uiPatterns)
                             { return (!watch || watch(in_uiPatterns)) && !m_pOutputDataWriter->hasLost(); });
    if (!myDataConverter.convert())
        return false;
    if (!m_pInputDataGen->endedCleanly())
    {
        QC_ERROR("The input stopped before its end, after " << myDataConverter.getNbConverted()
                                                            << " patterns");
        return false;
    }
    if (myDataConverter.getNbConverted() == 0)
        QC_WARN("The input has no pattern: " << m_strOutputFile << " stays empty");
    return true;
}

bool DataConvertApplication::commit(FileReplacer& io_output) const
{
    if (io_output.commit())
        return true;
    QC_ERROR("Cannot write output file " << m_strOutputFile << ": " << io_output.getReason());
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
