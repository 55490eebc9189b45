// ml-convert as its users run it.

#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorFactory.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "test-support/Command.h"
#include "test-support/FileSizeLimit.h"
#include "test-support/TempDir.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::CommandResult;
using testing::HasSubstr;
using Testing::readFile;
using testing::StartsWith;

namespace
{

using Limits = std::numeric_limits<double>;

/// Every kind of value that a file keeps to the bit.
constexpr double VALUES[] = {0.1,  -1.0 / 3.0,         1e23,
                             0.0,  Limits::min() / 3,  -Limits::denorm_min(),
                             -0.0, Limits::max(),      -Limits::infinity(),
                             1.0,  Limits::infinity(), Limits::quiet_NaN(),
                             5.5,  -123456789.125,     -Limits::quiet_NaN()};

class ConvertTest : public testing::Test
{
protected:
    ConvertTest()
    {
        save("vector.xml", VectorFileDataGenerator());
        save("binary.xml", BinaryFileDataGenerator());
    }

    void save(const char* in_file, const DataGenerator& in_generator) const
    {
        vfsostream config(DiskFileSystem(), m_folder.path(in_file).c_str());
        EXPECT_TRUE(saveDataGeneratorToStream(config, {}, in_generator));
        EXPECT_TRUE(config.close());
    }

    CommandResult run(std::vector<std::string> in_vArguments, const char* in_program = "ml-convert") const
    {
        in_vArguments.insert(in_vArguments.begin(), std::string(QC_BINARY_DIR "/bin/") + in_program);
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    /// The type names the reader of the input as well as the writer.
    CommandResult convert(const char* in_inputType, const char* in_input, const char* in_outputType,
                          const char* in_output, const std::vector<std::string>& in_vMore = {}) const
    {
        std::vector<std::string> vArguments{"--datagen-config", std::string(in_inputType) + ".xml",
                                            "--input-file",     in_input,
                                            "--output-type",    in_outputType,
                                            "--output-file",    in_output};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        return run(vArguments);
    }

    CommandResult testStrictly(const char* in_reference, const char* in_type, const char* in_tested,
                               const std::vector<std::string>& in_vMore = {}) const
    {
        std::vector<std::string> vArguments{"--test",
                                            "--strict",
                                            "--datagen-config",
                                            "vector.xml",
                                            "--input-file",
                                            in_reference,
                                            "--output-file",
                                            in_tested,
                                            "--output-datagen-config",
                                            std::string(in_type) + ".xml"};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        return run(vArguments);
    }

    /// Every third pattern has no target, every fourth begins a sequence.
    void writeText(const char* in_file, std::size_t in_uiInputs, std::size_t in_uiPatterns) const
    {
        VectorFileWriter writer;
        ASSERT_TRUE(writer.open(m_folder.path(in_file).c_str()));
        DoubleVector vInput(in_uiInputs);
        std::size_t uiValue = 0;
        for (std::size_t i = 0; i < in_uiPatterns; ++i)
        {
            std::generate(vInput.begin(), vInput.end(),
                          [&] { return VALUES[uiValue++ % std::size(VALUES)]; });
            const DoubleVector vTarget{VALUES[i % std::size(VALUES)], 1.0};
            ASSERT_TRUE(writer.write(i % 4 == 1, vInput, i % 3 == 0 ? DoubleVector() : vTarget));
        }
        ASSERT_TRUE(writer.close());
    }

    std::vector<std::string> listFolder() const
    {
        std::vector<std::string> vNames;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
            vNames.push_back(entry.path().filename().string());
        std::sort(vNames.begin(), vNames.end());
        return vNames;
    }

    Testing::TempDir m_folder;
};

} // namespace

TEST_F(ConvertTest, SplitSetsAreReadAsFilesAre)
{
    writeText("text", 40000, 10); // 3.2 MB as a binary file
    for (const char* type : {"vector", "binary"})
    {
        ASSERT_EQ(convert("vector", "text", type, "whole").m_iExit, 0);
        ASSERT_EQ(convert("vector", "text", type, "set", {"--split-size", "1"}).m_iExit, 0);
        std::string strParts;
        for (const char* part : {"set.1", "set.2", "set.3"})
        {
            EXPECT_GT(std::filesystem::file_size(m_folder.path(part)), 0);
            strParts += readFile(m_folder.path(part));
        }
        for (int i = 4; std::filesystem::exists(m_folder.path("set." + std::to_string(i))); ++i)
            strParts += readFile(m_folder.path("set." + std::to_string(i)));
        EXPECT_TRUE(strParts == readFile(m_folder.path("whole"))) << type;
        EXPECT_THAT(testStrictly("text", type, "set").m_strOut, HasSubstr("\nFiles equal\n"));
        ASSERT_EQ(convert(type, "set", "vector", "again").m_iExit, 0);
        EXPECT_TRUE(readFile(m_folder.path("again")) == readFile(m_folder.path("text")));
        for (const std::string& strName : listFolder())
            if (strName.starts_with("set."))
                std::filesystem::remove(m_folder.path(strName));
    }
    EXPECT_THAT(testStrictly("text", "binary", "set").m_strErr,
                HasSubstr("Cannot read part set.1 of a split set"));
    m_folder.write("set", "# Vexalor Split format description\nNumberOfSplitFiles=none\n");
    EXPECT_THAT(testStrictly("text", "binary", "set").m_strErr, HasSubstr("XXX has  to be a valid integer"));
    // A file that is larger than allowed: nothing of the set stays.
    const std::vector<std::string> vBefore = listFolder();
    const Testing::FileSizeLimit limit(100000);
    EXPECT_EQ(convert("vector", "text", "binary", "full", {"--split-size", "1"}).m_iExit, 1);
    EXPECT_EQ(listFolder(), vBefore);
}

TEST_F(ConvertTest, FilesComeBackToTheBit)
{
    for (const std::size_t uiInputs : {1, 40, 10000})
    {
        writeText("text", uiInputs, 40);
        const CommandResult result = convert("vector", "text", "binary", "binary");
        ASSERT_EQ(result.m_iExit, 0) << result.m_strErr;
        EXPECT_EQ(result.m_strOut, "Number of patterns read/written: 40\nConversion succeeded !\n");
        // 40 patterns, 14 of them without target
        EXPECT_EQ(std::filesystem::file_size(m_folder.path("binary")),
                  30 + 40 * (2 + 8 * uiInputs) + 26 * 2 * 8);
        ASSERT_EQ(convert("binary", "binary", "vector", "text again").m_iExit, 0);
        EXPECT_TRUE(readFile(m_folder.path("text again")) == readFile(m_folder.path("text"))) << uiInputs;
        ASSERT_EQ(convert("vector", "text again", "binary", "binary again").m_iExit, 0);
        EXPECT_TRUE(readFile(m_folder.path("binary again")) == readFile(m_folder.path("binary"))) << uiInputs;

        const CommandResult test = testStrictly("text", "binary", "binary");
        EXPECT_EQ(test.m_iExit, 0) << test.m_strErr;
        EXPECT_THAT(test.m_strOut, StartsWith("Test of conversion started...\nNumber of lines read : 40\n"
                                              "Digest of reference : 40 patterns, inputs "));
        EXPECT_THAT(test.m_strOut, HasSubstr("\nFiles equal\n"));
    }
}

TEST_F(ConvertTest, ScalingAndCacheHoldForTheInput)
{
    m_folder.write("text", "[1 10] [0]\nreset\n[3 20] [1]\n[5 60] []\n");
    ASSERT_EQ(run({"learn-scaling", "scaling.xml", "--data-gen-config", "vector.xml", "--data-gen-filename",
                   "text", "--inputs", "min-max"},
                  "ml-config")
                  .m_iExit,
              0);
    // Learnt from the patterns with target: 1 to 3 and 10 to 20 become 0 to 1.
    for (const std::vector<std::string>& vMore :
         {std::vector<std::string>{"--scaling-config", "scaling.xml"},
          std::vector<std::string>{"--scaling-config", "scaling.xml", "--in-memory"}})
    {
        ASSERT_EQ(convert("vector", "text", "vector", "scaled", vMore).m_iExit, 0);
        EXPECT_EQ(readFile(m_folder.path("scaled")), "[0 0] [0]\nreset\n[1 1] [1]\n[2 5] []\n");
        EXPECT_EQ(testStrictly("text", "vector", "scaled", vMore).m_iExit, 0);
    }
    EXPECT_EQ(testStrictly("text", "vector", "scaled").m_iExit, 1);
}

TEST_F(ConvertTest, AFullDiskLeavesNothingAndFails)
{
    // About 1.3 MB as text and 0.7 MB as binary, in 3 blocks.
    writeText("text", 1000, 80);
    const std::vector<std::string> vBefore = listFolder();
    for (const char* type : {"binary", "vector"})
    {
        for (const std::uint64_t uiSize : {200'000, 300'000, 500'000})
        {
            const Testing::FileSizeLimit limit(uiSize);
            const CommandResult result = convert("vector", "text", type, "out");
            EXPECT_EQ(result.m_iExit, 1) << type;
            EXPECT_THAT(result.m_strErr, HasSubstr("WARN: out: File too large\n"));
            EXPECT_THAT(result.m_strErr, HasSubstr("ERROR: Could not write all patterns to out\n"
                                                   "ERROR: Conversion failed !\n"));
        }
    }
    EXPECT_EQ(listFolder(), vBefore);
}

TEST_F(ConvertTest, AStopInTheMiddleLeavesTheEarlierFile)
{
    m_folder.write("out", "earlier");
    ASSERT_EQ(mkfifo(m_folder.path("pipe").c_str(), 0600), 0);
    const std::vector<std::string> vBefore = listFolder();
    // Patterns that never end, because a writer of the pipe stays open.
    const int iPipe = open(m_folder.path("pipe").c_str(), O_RDWR);
    const std::string strPatterns = "[1] [1]\n[2] [1]\n";
    ASSERT_EQ(write(iPipe, strPatterns.data(), strPatterns.size()), 16);
    for (const char* signal : {"TERM", "INT", "HUP"})
    {
        const CommandResult result = Testing::runCommand(
            {"/usr/bin/timeout", "-s", signal, "1", QC_BINARY_DIR "/bin/ml-convert", "--datagen-config",
             "vector.xml", "--input-file", "pipe", "--output-type", "vector", "--output-file", "out"},
            m_folder.path());
        EXPECT_EQ(result.m_iExit, 124) << "status of timeout: " << result.m_strErr;
        EXPECT_EQ(readFile(m_folder.path("out")), "earlier");
        EXPECT_EQ(listFolder(), vBefore);
    }
    close(iPipe);
}

TEST_F(ConvertTest, HelpAndExitStatus)
{
    const CommandResult help = run({"--help"});
    EXPECT_EQ(help.m_iExit, 0);
    EXPECT_THAT(help.m_strOut, StartsWith("Usage : ml-convert [options]\n"));
    for (const char* option : {"--input-file", "--datagen-config", "--output-datagen-config", "--output-file",
                               "--output-type", "--test", "--strict", "--scaling-config", "--in-memory"})
        EXPECT_THAT(help.m_strOut, HasSubstr(option));
    EXPECT_EQ(run({}).m_strErr, "ERROR: cannot configure data generator\n");
    EXPECT_EQ(run({"surplus"}).m_iExit, 2);
    m_folder.write("damaged.xml", readFile(m_folder.path("vector.xml")).substr(0, 100));
    const CommandResult damaged = convert("damaged", "text", "binary", "out");
    EXPECT_EQ(damaged.m_iExit, 1);
    EXPECT_THAT(damaged.m_strErr, StartsWith("ERROR: ml-convert: damaged.xml: "));
}
