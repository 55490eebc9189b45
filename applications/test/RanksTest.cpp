// The programs under mpirun, as their users run them: one command does what one process does.

#include "test/ListedRecordings.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <regex>

using testing::HasSubstr;
using Vexalor::Testing::Arguments;
using Vexalor::Testing::CommandResult;
using Vexalor::Testing::ListedRecordings;
using Vexalor::Testing::readFile;
using Vexalor::Testing::operator+;

namespace
{

constexpr const char* MPIRUN = "/usr/bin/mpirun";

class RanksTest
    : public testing::Test
    , protected ListedRecordings
{
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(MPIRUN) ||
            !std::filesystem::exists(QC_BINARY_DIR "/lib/libvexalor-openmpi.so"))
            GTEST_SKIP() << "no mpirun here, or the build is without: openmpi-bin, libboost-mpi-dev";
        for (const char* name : {"OMPI_ALLOW_RUN_AS_ROOT", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM"})
            setenv(name, "1", 1);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // Open MPI leaves some
    }

    CommandResult runTogether(int in_iRanks, const char* in_program, const Arguments& in_vArguments,
                              int in_iExit = 0) const
    {
        const CommandResult result = Vexalor::Testing::runCommand(
            Arguments{MPIRUN, "--oversubscribe", "--bind-to", "none", "-n", std::to_string(in_iRanks),
                      std::string(QC_BINARY_DIR "/bin/") + in_program} +
                in_vArguments,
            m_folder.path());
        EXPECT_EQ(result.m_iExit, in_iExit) << in_program << ' ' << result.m_strErr;
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
    const Arguments CONVERT = {"--datagen-config", "set.xml", "--input-file", "set.lst",
                               "--output-type",    "binary",  "--output-file"};
    run("ml-convert", CONVERT + Arguments{"whole"});
    for (const int iRanks : {1, 3, 8})
    {
        runTogether(iRanks, "ml-convert", CONVERT + Arguments{"joined"});
        EXPECT_EQ(readFile(m_folder.path("joined")), readFile(m_folder.path("whole"))) << iRanks;
    }
    run("ml-convert", CONVERT + Arguments{"split", "--split-size", "0"});
    runTogether(2, "ml-convert", CONVERT + Arguments{"together", "--split-size", "0"});
    EXPECT_EQ(readFile(m_folder.path("together.2")), readFile(m_folder.path("split.2")));
    EXPECT_EQ(listFiles("\\.new-.*"), "");
}
