#include "MLDataGeneratorFactory.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "test-support/Command.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <sstream>
#include <sys/stat.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::CommandResult;
using testing::ContainsRegex;
using testing::HasSubstr;
using Testing::readFile;
using testing::StartsWith;

namespace
{

/// Two classes on either side of a line through inputs of very different sizes, with a pattern between that
/// has no target.
std::string patternText(int in_iFirst, int in_iLast)
{
    std::ostringstream text;
    text << "reset\n";
    for (int i = in_iFirst; i < in_iLast; ++i)
    {
        const int iX = 7 * i % 20;
        const int iY = 11 * i % 17;
        if (iX == iY)
            text << '[' << iX << ' ' << 0.001 * iY << "] []\n";
        else
            text << '[' << iX << ' ' << 0.001 * iY << (iX > iY ? "] [1 0]\n" : "] [0 1]\n");
    }
    return text.str();
}

class ProgramsTest : public testing::Test
{
protected:
    ProgramsTest()
    {
        vfsostream config(DiskFileSystem(), m_folder.path("vector.xml").c_str());
        EXPECT_TRUE(saveDataGeneratorToStream(config, {}, VectorFileDataGenerator()));
        EXPECT_TRUE(config.close());
        m_folder.write("train.txt", patternText(0, 200));
        m_folder.write("test.txt", patternText(200, 340));
    }

    CommandResult run(const char* in_program, std::vector<std::string> in_vArguments) const
    {
        in_vArguments.insert(in_vArguments.begin(), std::string(QC_BINARY_DIR "/bin/") + in_program);
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    CommandResult train(const std::vector<std::string>& in_vMore, const char* in_file = "train.txt",
                        const char* in_network = "net") const
    {
        std::vector<std::string> vArguments{"--data-gen-config",
                                            "vector.xml",
                                            "--data-gen-filename",
                                            in_file,
                                            "--network",
                                            in_network,
                                            "--hidden",
                                            "8",
                                            "--epochs",
                                            "300"};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        return run("ml-train", vArguments);
    }

    CommandResult test(const std::string& in_strNetwork, const char* in_file = "test.txt") const
    {
        return run("ml-tester",
                   {"--data-gen-config", "vector.xml", "--data-gen-filename", in_file, "--network",
                    in_strNetwork, "--mean-square-error", "--classification-error"});
    }

    Testing::TempDir m_folder;
};

} // namespace

TEST_F(ProgramsTest, TrainsANetworkThatTheTesterFindsGood)
{
    const CommandResult training = train({});
    ASSERT_EQ(training.m_iExit, 0) << training.m_strErr;
    // Every pair of numbers occurs once in 340 patterns, 17 pairs are equal: 11 of them here, 6 in the test.
    EXPECT_THAT(training.m_strOut,
                StartsWith("Training on 189 patterns of 2 inputs and 2 targets; 11 without target left out\n"
                           "Network net written: epoch "));
    EXPECT_EQ(training.m_strErr, "");

    const CommandResult testing = test("net");
    EXPECT_EQ(testing.m_iExit, 0);
    EXPECT_EQ(testing.m_strErr, "");
    EXPECT_THAT(testing.m_strOut,
                StartsWith("\nNumber of data pattern(s) processed  : 134\nmean-square-error = "));
    const std::size_t uiPlace = testing.m_strOut.find("classification-error = ");
    ASSERT_NE(uiPlace, std::string::npos) << testing.m_strOut;
    // Chance would give about 66 errors.
    EXPECT_LT(std::stoi(testing.m_strOut.substr(uiPlace + 23)), 8) << testing.m_strOut;
    EXPECT_THAT(testing.m_strOut, testing::Not(HasSubstr("Computed output: ")));
}

TEST_F(ProgramsTest, TrainingRepeatsItselfAndFollowsItsOptions)
{
    ASSERT_EQ(train({}).m_iExit, 0);
    const std::string strFirst = readFile(m_folder.path("net"));
    ASSERT_EQ(train({}).m_iExit, 0);
    EXPECT_EQ(readFile(m_folder.path("net")), strFirst);
    ASSERT_EQ(train({"--seed", "2"}).m_iExit, 0);
    EXPECT_NE(readFile(m_folder.path("net")), strFirst);

    const CommandResult two = train({"--data-gen-filename", "test.txt"});
    EXPECT_THAT(two.m_strOut, StartsWith("Training on 323 patterns of 2 inputs and 2 targets; 17 without"));
    const CommandResult heldOut = train({"--hold-out", "4", "--patience", "3"});
    EXPECT_EQ(heldOut.m_iExit, 0);
    EXPECT_THAT(heldOut.m_strOut, HasSubstr(", held out "));
}

TEST_F(ProgramsTest, BadInputOfTrainingIsAMessageAndLeavesTheEarlierNetwork)
{
    m_folder.write("net", "earlier");
    m_folder.write("uneven.txt", "[1 2] [1]\n[1 2 3] [1]\n");
    m_folder.write("targetless.txt", "[1 2] []\n");
    m_folder.write("huge.txt", "[1e308] [0]\n[-1e308] [1]\n");
    m_folder.write("damaged.xml", readFile(m_folder.path("vector.xml")).substr(0, 100));
    const struct
    {
        std::vector<std::string> m_vArguments;
        int m_iExit;
        const char* m_message;
    } CASES[] = {
        {{"--data-gen-filename", "none.txt"}, 1, "ERROR: Cannot train on none.txt\n"},
        {{"--data-gen-filename", "."}, 1, "ERROR: Cannot train on .\n"},
        {{}, 2, "The generator of vector.xml reads a file: give it with --data-gen-filename\n"},
        {{"--data-gen-filename", "uneven.txt"}, 1, "ERROR: Pattern 1 has 3 inputs and 1 targets"},
        {{"--data-gen-filename", "targetless.txt"}, 1, "ERROR: No pattern with a target to train on\n"},
        {{"--data-gen-filename", "train.txt", "--network", "none/net"},
         1,
         "ERROR: Cannot write network file none/net: No such file or directory\n"},
        {{"--data-gen-filename", "train.txt", "--network", "/dev/full"},
         1,
         "ERROR: Cannot write network file /dev/full: No space left on device\n"},
        {{"--data-gen-filename", "train.txt", "--data-gen-config", "none.xml"},
         1,
         "ERROR: failed to open DataGenerator config file none.xml for reading\n"},
        {{"--data-gen-filename", "train.txt", "--data-gen-config", "damaged.xml"}, 1, "ERROR: ml-train: "},
        {{"--epochs=-1"}, 2, "ERROR: ml-train: option '--epochs': '-1' is no number from 1 to 1000000000\n"},
        {{"--hidden", "3,"}, 2, "'3,' is neither 0 nor sizes joined by commas\n"},
        {{"--hidden", "1000000,1000000", "--data-gen-filename", "train.txt"},
         1,
         "ERROR: A network may have up to 1600000 connections"},
        {{"--training", "sgd"}, 2, "option '--training': 'sgd' is neither rprop nor adam\n"},
        {{"--batch", "8"}, 2, "option '--batch' is of --training adam\n"},
        {{"--training", "adam", "--learning-rate", "2"},
         2,
         "option '--learning-rate': '2' is no number from "},
        {{"--hold-out", "1"}, 2, "'--hold-out': 1 would leave no pattern to train on\n"},
        {{"--network", ""}, 2, "ERROR: a network file must be supplied\n"},
        {{"--data-gen-config", ""}, 2, "ERROR: a data generator configuration file must be supplied\n"},
        {{"surplus"}, 2, "command line: every file is the value of an option, see --help\n"},
    };
    for (const auto& badCase : CASES)
    {
        std::vector<std::string> vArguments = badCase.m_vArguments;
        for (const char* option : {"--data-gen-config", "--network"})
            if (std::find(vArguments.begin(), vArguments.end(), option) == vArguments.end())
                vArguments.insert(vArguments.end(), {option, *(option + 2) == 'n' ? "net" : "vector.xml"});
        const CommandResult result = run("ml-train", vArguments);
        EXPECT_EQ(result.m_iExit, badCase.m_iExit) << badCase.m_message;
        EXPECT_THAT(result.m_strErr, HasSubstr(badCase.m_message));
    }
    EXPECT_EQ(readFile(m_folder.path("net")), "earlier");
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
        EXPECT_THAT(entry.path().filename().string(), testing::Not(StartsWith(".")));
}

TEST_F(ProgramsTest, TrainingWritesOverNoRecordingAndNoInput)
{
    m_folder.write("k.wav", "RIFF and more");
    std::filesystem::create_hard_link(m_folder.path("train.txt"), m_folder.path("link"));
    const std::pair<const char*, const char*> CASES[] = {
        {"k.wav", "it is a recording"}, {"link", "it is an input"}, {"vector.xml", "it is an input"}};
    for (const auto& [file, reason] : CASES)
    {
        const std::string strBefore = readFile(m_folder.path(file));
        const CommandResult refused = train({}, "train.txt", file);
        EXPECT_EQ(refused.m_iExit, 1);
        EXPECT_EQ(refused.m_strErr, std::string("ERROR: Not writing over ") + file + ": " + reason +
                                        "; --force writes all the same\n");
        EXPECT_EQ(readFile(m_folder.path(file)), strBefore);
    }
    EXPECT_EQ(train({"--force"}, "train.txt", "k.wav").m_iExit, 0);
}

TEST_F(ProgramsTest, ANetworkGoesIntoAPipe)
{
    ASSERT_EQ(mkfifo(m_folder.path("pipe").c_str(), 0600), 0);
    std::future<std::string> reader =
        std::async(std::launch::async, [&] { return readFile(m_folder.path("pipe")); });
    EXPECT_EQ(train({}, "train.txt", "pipe").m_iExit, 0);
    ASSERT_EQ(train({}).m_iExit, 0);
    EXPECT_EQ(reader.get(), readFile(m_folder.path("net")));
}

TEST_F(ProgramsTest, BadInputOfTheTesterIsAMessage)
{
    ASSERT_EQ(train({}).m_iExit, 0);
    m_folder.write("damaged.net", readFile(m_folder.path("net")).substr(0, 3000));
    m_folder.write("wide.txt", "[1 2 3] [1 0]\n[1 2 3] [1 0]\n");
    m_folder.write("one.txt", "[1 2] [1 0]\n[1 2] [1]\n");
    m_folder.write("three.txt", "[1 2] [1 0 0]\n");
    const struct
    {
        const char* m_network;
        const char* m_file;
        const char* m_message;
        int m_iExit = 1;
    } CASES[] = {
        {"none.net", "test.txt", "ERROR: Cannot read network file none.net: No such file or directory\n"},
        {"damaged.net", "test.txt", "ERROR: Cannot read network file damaged.net: line 3"},
        {"net", "none.txt", "ERROR: Cannot go to the start of the data set\n"},
        {"net", "wide.txt", "ERROR: The network takes 2 inputs, the patterns have 3\n"},
        {"net", "one.txt",
         "ERROR: The report makes no sense: output and target differ in size in 1 of 2 patterns\n"},
        {"net", "three.txt",
         "ERROR: The outputs of the entity have 2 values, the targets 3: they do not fit\n"},
        {"", "test.txt", "ERROR: a network file must be supplied\n", 2},
        {"a.detector", "test.txt",
         "option '--network': a.detector is a detector; give it with --detector, which needs neither\n", 2},
    };
    m_folder.write("a.detector", "<boost_serialization>\n<MLDetector class_id=\"1\">");
    for (const auto& badCase : CASES)
    {
        const CommandResult result = test(badCase.m_network, badCase.m_file);
        EXPECT_EQ(result.m_iExit, badCase.m_iExit) << badCase.m_message;
        EXPECT_THAT(result.m_strErr, HasSubstr(badCase.m_message));
    }
    m_folder.write("several.txt", "[1 2] [1 1]\n[1 2] [1 0]\n[1 2] [1 1]\n");
    EXPECT_EQ(test("net", "several.txt").m_strErr,
              "WARN: Patterns of several classes, which the classification error leaves out: 2\n");
}

TEST_F(ProgramsTest, ScalingIsLearntOnceAndAppliedInTrainingAndTest)
{
    ASSERT_EQ(
        run("ml-config", {"learn-scaling", "scaling.xml", "--data-gen-config", "vector.xml",
                          "--data-gen-filename", "train.txt", "--targets", "min-max", "--interval=-1,1"})
            .m_iExit,
        0);
    const CommandResult training = train({"--scaling-config", "scaling.xml", "--in-memory"});
    ASSERT_EQ(training.m_iExit, 0) << training.m_strErr;
    const std::string strNetwork = readFile(m_folder.path("net"));
    ASSERT_EQ(train({"--scaling-config", "scaling.xml"}).m_iExit, 0);
    EXPECT_EQ(readFile(m_folder.path("net")), strNetwork) << "the cache changes nothing";
    ASSERT_EQ(train({}).m_iExit, 0);
    EXPECT_NE(readFile(m_folder.path("net")), strNetwork) << "the scaling does";

    m_folder.write("net", strNetwork);
    const auto countErrors = [&](const std::vector<std::string>& in_vMore)
    {
        std::vector<std::string> vArguments{
            "--data-gen-config", "vector.xml", "--data-gen-filename",   "test.txt",
            "--network",         "net",        "--classification-error"};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        const std::string strOut = run("ml-tester", vArguments).m_strOut;
        const std::size_t uiPlace = strOut.find("classification-error = ");
        return uiPlace == std::string::npos ? -1 : std::stoi(strOut.substr(uiPlace + 23));
    };
    // Of 134 patterns; the second input of a pattern is 0.017 at most unless it is scaled.
    const int iErrors = countErrors({"--scaling-config", "scaling.xml"});
    EXPECT_GE(iErrors, 0);
    EXPECT_LT(iErrors, 8);
    EXPECT_EQ(countErrors({"--scaling-config", "scaling.xml", "--in-memory"}), iErrors);
    EXPECT_GT(countErrors({}), 20);

    for (const char* file : {"none.xml", "vector.xml"})
    {
        const CommandResult refused =
            run("ml-tester", {"--data-gen-config", "vector.xml", "--data-gen-filename", "test.txt",
                              "--network", "net", "--scaling-config", file});
        EXPECT_EQ(refused.m_iExit, 1);
        EXPECT_THAT(refused.m_strErr, HasSubstr("scaling data generator config file " + std::string(file)));
    }
}

TEST_F(ProgramsTest, AnInterruptEndsTrainingAndKeepsTheNetwork)
{
    std::string strPatterns; // that contradict each other, so that training has no end of its own
    for (int i = 0; i < 40; ++i)
        strPatterns += '[' + std::to_string(i / 2) + (i % 2 == 0 ? " 1] [1 0]\n" : " 1] [0 1]\n");
    m_folder.write("endless.txt", strPatterns);
    // Where jobs are controlled, SIGINT is not ignored in the background.
    const CommandResult result = Testing::runCommand(
        {"/usr/bin/timeout", "60", "/bin/bash", "-c",
         "set -m; " QC_BINARY_DIR
         "/bin/ml-train --data-gen-config vector.xml --data-gen-filename endless.txt "
         "--network net --epochs 1000000000 --hold-out 4 --patience 1000000000 --log-level DEBUG 2>log & "
         "until grep -q 'epoch 3,' log; do sleep 0.05; done; kill -INT $!; wait $!"},
        m_folder.path());
    EXPECT_EQ(result.m_iExit, 0);
    EXPECT_THAT(result.m_strOut, HasSubstr("Network net written: epoch "));
    const std::string strLog = readFile(m_folder.path("log"));
    EXPECT_THAT(strLog,
                ContainsRegex("WARN: Interrupted in epoch [0-9]+: the network of epoch [0-9]+ is kept"));
    EXPECT_EQ(test("net").m_iExit, 0) << "whole";
}
