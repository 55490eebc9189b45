// The programs under mpirun, as their users run them: one command does what one process does.

#include "test/ListedRecordings.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <regex>
#include <sstream>

using testing::HasSubstr;
using Vexalor::Testing::Arguments;
using Vexalor::Testing::CommandResult;
using Vexalor::Testing::ListedRecordings;
using Vexalor::Testing::readFile;
using Vexalor::Testing::operator+;

namespace
{

constexpr const char* MPIRUN = "/usr/bin/mpirun";
constexpr const char* FAULTS = QC_BINARY_DIR "/lib/libfile-faults.so";

class RanksTest
    : public testing::Test
    , protected ListedRecordings
{
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(MPIRUN) ||
            !std::filesystem::exists(QC_BINARY_DIR "/lib/vexalor-machine-learning/libvexalor-openmpi.so"))
            GTEST_SKIP() << "no mpirun here, or the build is without: openmpi-bin, libboost-mpi-dev";
        for (const char* name : {"OMPI_ALLOW_RUN_AS_ROOT", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM"})
            setenv(name, "1", 1);
        // Open MPI leaks some, and the library of faults is loaded before that of the sanitizer.
        setenv("ASAN_OPTIONS", "detect_leaks=0:verify_asan_link_order=0", 1);
    }

    static std::string pathOf(const char* in_program)
    {
        return std::string(QC_BINARY_DIR "/bin/") + in_program;
    }

    CommandResult runTogether(int in_iRanks, const char* in_program, const Arguments& in_vArguments,
                              int in_iExit = 0) const
    {
        return start(Arguments{"-n", std::to_string(in_iRanks), pathOf(in_program)} + in_vArguments,
                     in_iExit);
    }

    /// Two ranks, of which the second one is started otherwise.
    CommandResult runUnlike(const Arguments& in_vSecond, const char* in_program,
                            const Arguments& in_vArguments, int in_iExit) const
    {
        const Arguments COMMAND = Arguments{pathOf(in_program)} + in_vArguments;
        return start(Arguments{"-n", "1"} + COMMAND + Arguments{":", "-n", "1"} + in_vSecond + COMMAND,
                     in_iExit);
    }

    const Arguments CONVERT = {"--datagen-config", "set.xml", "--input-file",  "set.lst",
                               "--output-type",    "binary",  "--output-file", "out"};

    CommandResult start(const Arguments& in_vArguments, int in_iExit) const
    {
        const CommandResult result = Vexalor::Testing::runCommand(
            Arguments{MPIRUN, "--oversubscribe", "--bind-to", "none"} + in_vArguments, m_folder.path());
        EXPECT_EQ(result.m_iExit, in_iExit) << result.m_strErr;
        return result;
    }

    /// Names in the folder that match.
    std::string listFiles(const char* in_pattern) const
    {
        std::string strNames;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
            if (std::regex_match(entry.path().filename().string(), std::regex(in_pattern)))
                strNames += entry.path().filename().string() + '\n';
        return strNames;
    }
};

} // namespace

TEST_F(RanksTest, TestsAreThoseOfOneProcess)
{
    struct Case
    {
        const char* m_kind;
        const char* m_classes;
        std::vector<int> m_vRanks; ///< more than recordings, too
    };
    const Case CASES[] = {{"low-memory-audio-set", "VOICE,SF:1400,OTHER", {1, 2, 3, 4, 8}},
                          {"audio-set", "VOICE,OTHER", {3}},
                          {"tone-set", "SF:1000,SF:1400,SF:3000", {2, 3}}};
    for (const Case& ranks : CASES)
    {
        makeList(ranks.m_kind, ranks.m_classes);
        const CommandResult whole = run("ml-tester", TEST + Arguments{"--report", "whole", "--summary"});
        for (const int iRanks : ranks.m_vRanks)
        {
            SCOPED_TRACE(std::string(ranks.m_kind) + ' ' + std::to_string(iRanks));
            const CommandResult joined =
                runTogether(iRanks, "ml-tester", TEST + Arguments{"--report", "joined", "--summary"});
            EXPECT_EQ(reportOf(joined), reportOf(whole));
            for (const char* name : {"report.json", "report.html"})
                EXPECT_EQ(readFile(m_folder.path("joined/") + name),
                          readFile(m_folder.path("whole/") + name));
        }
    }
    EXPECT_THAT(runTogether(2, "ml-tester", TEST + Arguments{"--strict"}, 1).m_strErr,
                HasSubstr("2 of 7 recordings were skipped"));
}

TEST_F(RanksTest, ScalingIsThatOfShares)
{
    makeList("low-memory-audio-set", "VOICE,OTHER");
    const Arguments LEARN = {"learn-scaling", "scaling.xml"};
    const Arguments KIND = {"--inputs", "min-max", "--interval", "-1,1"};
    run("ml-config", Arguments{"learn-scaling", "share", "--shard", "1/1"} + DATA);
    run("ml-config", LEARN + KIND + Arguments{"--join", "share"});
    const std::string strShares = readFile(m_folder.path("scaling.xml"));
    for (const int iRanks : {1, 3, 8})
    {
        std::filesystem::remove(m_folder.path("scaling.xml"));
        runTogether(iRanks, "ml-config", LEARN + KIND + DATA);
        EXPECT_EQ(readFile(m_folder.path("scaling.xml")), strShares) << iRanks;
    }
}

TEST_F(RanksTest, ConversionsAreThoseOfOneProcess)
{
    makeList("tone-set", "SF:1000,SF:1400,SF:3000");
    run("ml-convert", CONVERT);
    const std::string strWhole = readFile(m_folder.path("out"));
    for (const int iRanks : {1, 3, 8})
    {
        std::filesystem::remove(m_folder.path("out"));
        runTogether(iRanks, "ml-convert", CONVERT);
        EXPECT_EQ(readFile(m_folder.path("out")), strWhole) << iRanks;
    }
    run("ml-convert", CONVERT + Arguments{"--split-size", "0"});
    std::filesystem::rename(m_folder.path("out.2"), m_folder.path("whole.2"));
    runTogether(2, "ml-convert", CONVERT + Arguments{"--split-size", "0"});
    EXPECT_EQ(readFile(m_folder.path("out.2")), readFile(m_folder.path("whole.2")));
    EXPECT_EQ(listFiles("\\.new-.*"), "");
}

TEST_F(RanksTest, InspectionsAreThoseOfOneProcess)
{
    makeList("low-memory-audio-set", "VOICE,OTHER");
    const Arguments INSPECT = DATA + Arguments{"--json", "out"};
    const std::string strText = run("ml-inspect", INSPECT).m_strOut;
    const std::string strWhole = readFile(m_folder.path("out"));
    for (const int iRanks : {1, 3})
    {
        EXPECT_EQ(runTogether(iRanks, "ml-inspect", INSPECT).m_strOut, strText) << iRanks;
        EXPECT_EQ(readFile(m_folder.path("out")), strWhole) << iRanks;
    }
}

TEST_F(RanksTest, AMistakeIsToldOnce)
{
    makeList("low-memory-audio-set", "VOICE,OTHER");
    const std::string strConfiguration = readFile(m_folder.path("set.xml"));
    m_folder.write("cut.xml", strConfiguration.substr(0, strConfiguration.size() / 2));
    struct Case
    {
        const char* m_program;
        Arguments m_vArguments;
        int m_iExit;
        const char* m_message;
    };
    const Case CASES[] = {
        {"ml-convert",
         {"--datagen-config", "cut.xml", "--input-file", "set.lst", "--output-type", "binary",
          "--output-file", "out"},
         1,
         "ERROR: ml-convert: cut.xml: line 35, element 'FeatureComputer': the end tag is missing"},
        {"ml-tester", TEST + Arguments{"--report", "out", "--output-log", "log"}, 2,
         "ERROR: ml-tester: option '--output-log' is not for ranks"},
        {"ml-tester", DATA + Arguments{"--network", "no-net"}, 1, "ERROR: Cannot read network file no-net: "},
        {"ml-config",
         {"learn-scaling", "out", "--data-gen-config", "set.xml", "--data-gen-filename", "no.lst"},
         1,
         "ERROR: Cannot read audio set no.lst: "},
    };
    for (const Case& mistake : CASES)
    {
        const std::string strErr =
            runTogether(3, mistake.m_program, mistake.m_vArguments, mistake.m_iExit).m_strErr;
        const std::size_t uiPlace = strErr.find(mistake.m_message);
        EXPECT_NE(uiPlace, std::string::npos) << strErr;
        EXPECT_EQ(strErr.find(mistake.m_message, uiPlace + 1), std::string::npos) << strErr;
        EXPECT_FALSE(std::filesystem::exists(m_folder.path("out")));
    }
    EXPECT_EQ(runTogether(2, "ml-tester", {"--help"}).m_strOut, run("ml-tester", {"--help"}).m_strOut);
}

TEST_F(RanksTest, WhatFailsOneRankFailsAll)
{
    makeList("low-memory-audio-set", "VOICE,OTHER");
    m_folder.write("out", "earlier");
    const auto expectFailure = [&](const Arguments& in_vSecond, const char* in_program,
                                   const Arguments& in_vArguments, const char* in_message)
    {
        const std::string strErr = runUnlike(in_vSecond, in_program, in_vArguments, 1).m_strErr;
        EXPECT_THAT(strErr,
                    testing::ContainsRegex(std::string("rank 1 of 2, on [^,]+, failed: .*") + in_message));
        EXPECT_EQ(readFile(m_folder.path("out")), "earlier");
        EXPECT_EQ(listFiles("\\.new-.*"), "");
    };
    const Arguments LEARN = Arguments{"learn-scaling", "out"} + DATA;
    const std::string strOther = m_folder.path("other");
    const Arguments ELSEWHERE = {"-wdir", strOther};
    std::filesystem::create_directory(strOther);
    expectFailure(ELSEWHERE, "ml-convert", CONVERT, "set.xml");
    m_folder.write("other/set.xml", readFile(m_folder.path("set.xml")) + "<!-- another -->");
    expectFailure(ELSEWHERE, "ml-config", LEARN, "configuration, network or scripts are others here");
    m_folder.write("other/set.xml", readFile(m_folder.path("set.xml")));
    expectFailure(ELSEWHERE, "ml-config", LEARN, "Recording [cd].wav has 0 bytes here, but ");
    if (std::filesystem::exists(FAULTS)) // not in sanitized builds
        expectFailure({"env", std::string("LD_PRELOAD=") + FAULTS, "QC_FAULT_FOLDER=" + m_folder.path(),
                       "QC_FAULT_OPERATION=write", "QC_FAULT_NUMBER=1", "QC_FAULT_REPORT=/dev/null"},
                      "ml-convert", CONVERT, "Conversion stopped after ");
}

TEST_F(RanksTest, AKilledRankEndsAllAndTheNextRunRemovesWhatItLeft)
{
    makeList("low-memory-audio-set", "VOICE,OTHER");
    std::string strList;
    for (int i = 0; i < 20000; ++i)
        strList += "e.wav\n";
    const std::string strShort = readFile(m_folder.path("set.lst"));
    m_folder.write("set.lst", strList);
    // Until it writes: the folder has a temporary file of each rank then.
    const Arguments KILLED = {"/bin/sh", "-c",
                              "\"$@\" & while [ $(ls -A | grep -c ^.new-) -lt 2 ]; do sleep 0.1; done; "
                              "kill -9 $!; wait $!",
                              "sh"};
    const CommandResult killed = runUnlike(KILLED, "ml-convert", CONVERT, 137);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("out")));
    EXPECT_NE(listFiles("\\.new-.*"), "");
    m_folder.write("set.lst", strShort);
    runTogether(2, "ml-convert", CONVERT);
    EXPECT_EQ(listFiles("\\.new-.*"), "");
}

TEST_F(RanksTest, CommandsOfTheDocumentWork)
{
    makeList("low-memory-audio-set", "VOICE,OTHER");
    std::filesystem::copy(m_folder.path("set.lst"), m_folder.path("calls.lst"));
    std::filesystem::copy(m_folder.path("net"), m_folder.path("voice.net"));
    std::filesystem::create_directory_symlink(QC_SOURCE_DIR "/tools", m_folder.path("tools"));
    const bool bSlurm =
        std::filesystem::exists("/usr/sbin/slurmctld") && std::filesystem::exists("/usr/sbin/munged");
    std::istringstream document(readFile(QC_SOURCE_DIR "/doc/cluster.md"));
    // two cores may be all that there are
    std::string strCommands = "set -e; export OMPI_MCA_rmaps_base_oversubscribe=1 PATH=" QC_BINARY_DIR
                              "/bin:$PATH; trap '[ ! -d here ] || tools/slurm_here stop here' EXIT\n";
    bool bWanted = true;
    for (std::string strLine; std::getline(document, strLine);)
    {
        if (strLine.starts_with("## "))
            bWanted = strLine != "## When a rank fails" && (bSlurm || strLine != "## On a cluster");
        if (bWanted && strLine.starts_with("    "))
            strCommands += strLine.substr(4) + '\n';
    }
    const CommandResult result =
        Vexalor::Testing::runCommand({"/bin/bash", "-c", strCommands}, m_folder.path());
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    const auto readReport = [this](const char* in_folder)
    {
        return readFile(m_folder.path(std::string(in_folder) + "/report.json"));
    };
    ASSERT_NE(readReport("report"), "");
    if (!bSlurm)
        GTEST_SKIP() << "not tried on a cluster: slurm-wlm, munge";
    EXPECT_EQ(readReport("report-of-shares"), readReport("report"));
    EXPECT_EQ(readReport("report-of-ranks"), readReport("report"));
}
