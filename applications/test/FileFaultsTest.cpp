// What the programs do when the system refuses any one of the calls by which they read and write files.

#include "test-support/FileFaults.h"
#include "MLAudioFileDataGenerator.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorFactory.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <map>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::CommandResult;
using Testing::FileFaults;

namespace
{

struct ProgramRow
{
    const char* m_name;
    std::vector<std::string> m_vCommand;
};

std::vector<std::string> convert(const std::string& in_strConfig, const std::string& in_strInput,
                                 const std::string& in_strType, const std::string& in_strMore = "--in-memory")
{
    return {"ml-convert",    "--datagen-config", in_strConfig,    "--input-file", in_strInput,
            "--output-type", in_strType,         "--output-file", "out",          in_strMore};
}

const std::string DATA_CONFIG = "--data-gen-config=vector.xml";
const std::string DATA_FILE = "--data-gen-filename=text";

const ProgramRow PROGRAMS[] = {
    {"TextToBinary", convert("vector.xml", "text", "binary")},
    {"BinaryToText", convert("binary.xml", "binary", "vector")},
    {"RecordingToBinary", convert("audio.xml", "a.wav", "binary")},
    {"Scaled", convert("vector.xml", "text", "vector", "--scaling-config=scaling.xml")},
    {"LearnScaling", {"ml-config", "learn-scaling", "out", DATA_CONFIG, DATA_FILE, "--inputs=min-max"}},
    {"Train", {"ml-train", DATA_CONFIG, DATA_FILE, "--network=out", "--hidden=2", "--epochs=2"}},
    {"Test", {"ml-tester", DATA_CONFIG, DATA_FILE, "--network=net", "--mean-square-error"}},
    {"Annotate", {"ml-annotate", "import", "a.wav", "labels.txt"}},
    {"Export", {"ml-annotate", "export", "a.wav", "out"}},
};

/// Name and content of what is in a folder.
using Content = std::map<std::string, std::string>;

class FileFaultsTest : public testing::TestWithParam<ProgramRow>
{
protected:
    FileFaultsTest()
    {
        save("vector.xml", VectorFileDataGenerator());
        save("binary.xml", BinaryFileDataGenerator());
        AudioFileDataGenerator audioGenerator;
        AudioFileDataGenerator::Config config;
        config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
        config.m_vClasses = {"A", "OTHER"};
        EXPECT_TRUE(audioGenerator.configure(config));
        save("audio.xml", audioGenerator);
        std::string strText;
        for (int i = 0; i < 8; ++i)
            strText += (i % 3 == 0 ? "reset\n[" : "[") + std::to_string(i % 5) + " 2] [" +
                       std::to_string(i % 2) + "]\n";
        m_folder.write("text", strText);
        m_folder.write("a.wav", Testing::annotatedWav(8000, Testing::toneSamples(8000, 800, 440, 9000),
                                                      {{100, 500, "A"}}));
        m_folder.write("labels.txt", "0.01\t0.05\tB\n");
        run({"ml-convert", "--datagen-config=vector.xml", "--input-file=text", "--output-type=binary",
             "--output-file=binary"});
        run({"ml-config", "learn-scaling", "scaling.xml", DATA_CONFIG, DATA_FILE, "--inputs=min-max"});
        run({"ml-train", DATA_CONFIG, DATA_FILE, "--network=net", "--hidden=2", "--epochs=2"});
        m_folder.write("out", "earlier");
        m_before = read();
        EXPECT_EQ(m_before.size(), 10u) << "all of the above";
    }

    void save(const char* in_file, const DataGenerator& in_generator) const
    {
        vfsostream config(DiskFileSystem(), m_folder.path(in_file).c_str());
        EXPECT_TRUE(saveDataGeneratorToStream(config, {}, in_generator));
        EXPECT_TRUE(config.close());
    }

    /// In the folder, with a fault unless the number is 0.
    CommandResult run(std::vector<std::string> in_vCommand,
                      FileFaults::Operation in_operation = FileFaults::OPEN,
                      unsigned int in_uiFailing = 0) const
    {
        in_vCommand.front().insert(0, QC_BINARY_DIR "/bin/");
        const std::vector<std::string> vFault{"/usr/bin/env",
                                              "LD_PRELOAD=" QC_BINARY_DIR "/lib/libfile-faults.so",
                                              "QC_FAULT_FOLDER=" + m_folder.path(),
                                              std::string("QC_FAULT_OPERATION=") +
                                                  FileFaults::getName(in_operation),
                                              "QC_FAULT_NUMBER=" + std::to_string(in_uiFailing),
                                              "QC_FAULT_REPORT=" + m_report.path("calls")};
        in_vCommand.insert(in_vCommand.begin(), vFault.begin(), vFault.end());
        return Testing::runCommand(in_vCommand, m_folder.path());
    }

    Content read() const
    {
        Content content;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
            content[entry.path().filename().string()] = Testing::readFile(entry.path().string());
        return content;
    }

    /// The folder as it was before the program.
    void restore() const
    {
        for (const auto& [strName, strContent] : m_before)
            m_folder.write(strName, strContent);
    }

    Testing::TempDir m_folder;
    Testing::TempDir m_report;
    Content m_before;
};

} // namespace

TEST_P(FileFaultsTest, EveryCallThatFailsIsToldAndLeavesNothingHalfWritten)
{
    const CommandResult reference = run(GetParam().m_vCommand);
    ASSERT_EQ(reference.m_iExit, 0) << reference.m_strErr;
    const Content after = read();
    std::istringstream report(Testing::readFile(m_report.path("calls")));
    unsigned int uiFaults = 0;
    for (int i = 0; i < FileFaults::NB_OPERATIONS; ++i)
    {
        const auto operation = static_cast<FileFaults::Operation>(i);
        unsigned int uiCalls = 0;
        ASSERT_TRUE(report >> uiCalls);
        for (unsigned int uiFailing = 1; uiFailing <= uiCalls; ++uiFailing, ++uiFaults)
        {
            restore();
            const CommandResult result = run(GetParam().m_vCommand, operation, uiFailing);
            const std::string strWhere = std::string(FileFaults::getName(operation)) + ' ' +
                                         std::to_string(uiFailing) + " of " + std::to_string(uiCalls) + ": " +
                                         result.m_strErr;
            if (result.m_iExit == 0)
            {
                EXPECT_EQ(read(), after) << strWhere;
                EXPECT_EQ(result.m_strOut, reference.m_strOut) << strWhere;
                continue;
            }
            EXPECT_EQ(result.m_iExit, 1) << strWhere;
            EXPECT_THAT(result.m_strErr, testing::HasSubstr("ERROR: ")) << strWhere;
            EXPECT_EQ(read(), m_before) << strWhere;
        }
    }
    EXPECT_GE(uiFaults, 4u);
}

INSTANTIATE_TEST_SUITE_P(Programs, FileFaultsTest, testing::ValuesIn(PROGRAMS),
                         [](const auto& in_info) { return std::string(in_info.param.m_name); });
