// The programs in shares, as their users run them: what is joined equals what one process makes of the whole.

#include "common/Shard.h"
#include "test/ListedRecordings.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <sstream>

using testing::HasSubstr;
using Vexalor::Testing::Arguments;
using Vexalor::Testing::CommandResult;
using Vexalor::Testing::ListedRecordings;
using Vexalor::Testing::readFile;
using Vexalor::Testing::operator+;

namespace
{

/// A way to read a list of recordings.
struct SetKind
{
    const char* m_name;
    const char* m_classes;
};

std::ostream& operator<<(std::ostream& out_stream, const SetKind& in_kind)
{
    return out_stream << in_kind.m_name;
}

class SharesTest
    : public testing::TestWithParam<SetKind>
    , protected ListedRecordings
{
protected:
    void SetUp() override { makeList(GetParam().m_name, GetParam().m_classes); }

    /// Each share by a process of its own, the last one first. Their files.
    Arguments runShares(const char* in_program, const Arguments& in_vArguments, std::size_t in_uiShares) const
    {
        Arguments vFiles;
        for (std::size_t i = in_uiShares; i > 0; --i)
        {
            vFiles.push_back("share." + std::to_string(i));
            Arguments vArguments = in_vArguments;
            std::replace(vArguments.begin(), vArguments.end(), std::string("SHARE"), vFiles.back());
            run(in_program,
                vArguments + Arguments{"--shard", std::to_string(i) + '/' + std::to_string(in_uiShares)});
        }
        return vFiles;
    }

    const Arguments SHARE_OF_TEST = TEST + Arguments{"--shard-file", "SHARE"};
};

INSTANTIATE_TEST_SUITE_P(Kinds, SharesTest,
                         testing::Values(SetKind{"audio-set", "VOICE,OTHER"},
                                         SetKind{"low-memory-audio-set", "VOICE,SF:1400,OTHER"},
                                         SetKind{"tone-set", "SF:1000,SF:1400,SF:3000"},
                                         SetKind{"wideband-set", "WB_SF_TONE,OTHER"}),
                         [](const auto& in_info)
                         {
                             std::string strName = in_info.param.m_name;
                             std::erase(strName, '-');
                             return strName;
                         });

} // namespace

TEST(ShardTest, SharesCoverTheListInOrder)
{
    using Sizes = std::vector<std::uint64_t>;
    for (const Sizes& vSizes :
         {Sizes{5, 1, 1, 1, 8, 2}, Sizes{0, 0, 0}, Sizes{100, 0, 1}, Sizes{}, Sizes(1000, 7)})
        for (std::size_t uiShares = 1; uiShares < 10; ++uiShares)
        {
            std::size_t uiNext = 0;
            std::uint64_t uiTotal = 0;
            std::uint64_t uiLargest = 0;
            for (const std::uint64_t uiSize : vSizes)
            {
                uiTotal += uiSize;
                uiLargest = std::max(uiLargest, uiSize);
            }
            for (std::size_t i = 1; i <= uiShares; ++i)
            {
                const auto [uiFirst, uiEnd] = Vexalor::findShare(vSizes, {i, uiShares});
                ASSERT_EQ(uiFirst, uiNext);
                ASSERT_LE(uiFirst, uiEnd);
                std::uint64_t uiShare = 0;
                for (std::size_t j = uiFirst; j < uiEnd; ++j)
                    uiShare += vSizes[j];
                EXPECT_LE(uiShare, uiTotal / uiShares + 1 + uiLargest);
                uiNext = uiEnd;
            }
            EXPECT_EQ(uiNext, vSizes.size());
        }
}

TEST_P(SharesTest, TestsJoinToThatOfOneProcess)
{
    const CommandResult whole = run("ml-tester", TEST + Arguments{"--report", "whole", "--summary"});
    ASSERT_NE(reportOf(whole), "none");
    // more shares than recordings, too
    for (const std::size_t uiShares : {1, 2, 3, 4, 9})
    {
        SCOPED_TRACE(uiShares);
        const Arguments vFiles = runShares("ml-tester", SHARE_OF_TEST, uiShares);
        const CommandResult joined =
            run("ml-tester", Arguments{"--report", "joined", "--summary", "--join"} + vFiles);
        EXPECT_EQ(reportOf(joined), reportOf(whole));
        EXPECT_EQ(readFile(m_folder.path("joined/report.json")),
                  readFile(m_folder.path("whole/report.json")));
        EXPECT_EQ(readFile(m_folder.path("joined/report.html")),
                  readFile(m_folder.path("whole/report.html")));
        EXPECT_THAT(run("ml-tester", Arguments{"--strict", "--join"} + vFiles, 1).m_strErr,
                    HasSubstr("2 of 7 recordings were skipped"));
    }
}

TEST_P(SharesTest, ScalingIsTheSameOfAnyNumberOfShares)
{
    const Arguments SHARE = Arguments{"learn-scaling", "SHARE"} + DATA;
    run("ml-config", Arguments{"learn-scaling", "whole.xml"} + DATA);
    std::string strFirst;
    for (const std::size_t uiShares : {1, 2, 3, 9})
    {
        SCOPED_TRACE(uiShares);
        run("ml-config",
            Arguments{"learn-scaling", "joined.xml", "--join"} + runShares("ml-config", SHARE, uiShares));
        const std::string strJoined = readFile(m_folder.path("joined.xml"));
        EXPECT_TRUE(strFirst.empty() || strJoined == strFirst);
        strFirst = strJoined;
    }
    // The plain running sum differs in the last digits at most: the patterns scaled by either test the same.
    const CommandResult whole = run("ml-tester", TEST + Arguments{"--scaling-config", "whole.xml"});
    const CommandResult joined = run("ml-tester", TEST + Arguments{"--scaling-config", "joined.xml"});
    EXPECT_EQ(reportOf(joined), reportOf(whole));
}

TEST_P(SharesTest, ConversionsJoinToTheBytesOfOneProcess)
{
    const Arguments INPUT = {"--datagen-config", "set.xml", "--input-file", "set.lst"};
    for (const char* type : {"binary", "vector"})
    {
        const Arguments TYPE = {"--output-type", type, "--output-file"};
        run("ml-convert", INPUT + TYPE + Arguments{"whole"});
        for (const std::size_t uiShares : {1, 2, 3, 9})
        {
            SCOPED_TRACE(std::string(type) + ' ' + std::to_string(uiShares));
            const Arguments vFiles = runShares("ml-convert", INPUT + TYPE + Arguments{"SHARE"}, uiShares);
            run("ml-convert", TYPE + Arguments{"joined", "--join"} + vFiles);
            EXPECT_EQ(readFile(m_folder.path("joined")), readFile(m_folder.path("whole")));
        }
    }
    const Arguments TYPE = {"--output-type", "binary", "--output-file", "none", "--join"};
    EXPECT_THAT(run("ml-convert", TYPE + Arguments{"share.1", "share.2"}, 1).m_strErr,
                HasSubstr("Share 3/9 is missing"));
    runShares("ml-convert", INPUT + Arguments{"--output-type", "binary", "--output-file", "SHARE"}, 2);
    std::string strPatterns = readFile(m_folder.path("share.2.1"));
    strPatterns.back() ^= 1;
    m_folder.write("share.2.1", strPatterns);
    EXPECT_THAT(run("ml-convert", TYPE + Arguments{"share.1", "share.2"}, 1).m_strErr,
                HasSubstr("share.2.1 is not what share 2/2 has left"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("none")));
}

TEST_P(SharesTest, InspectionsJoinToThatOfOneProcess)
{
    constexpr std::uint32_t RATE = 8000;
    m_folder.write("lost.wav", Vexalor::Testing::annotatedWav(RATE, std::vector<int>(2000, 7),
                                                              {{10, 20, "VOICE"}, {1000, 9000, "voize"}}));
    m_folder.write("fast.wav",
                   Vexalor::Testing::annotatedWav(2 * RATE, std::vector<int>(900, 5), {{0, 900, "SF:1000"}}));
    m_folder.write("more.lst", "fast.wav\nlost.wav\nmissing.wav\nb.wav\nlost.wav\na.wav\nfast.wav\n");
    m_folder.write("bad.lst", "missing.wav\ntext.wav\n");
    run("ml-config", {"write", "sizes.xml", "--generator", GetParam().m_name, "--feature", "identity",
                      "--rate", "0", "--classes", GetParam().m_classes});
    run("ml-config", {"write", "stops.xml", "--generator", "audio-set", "--classes", "VOICE,SILENCE"});
    const Arguments FILES = {"--data-gen-filename", "set.lst", "--data-gen-filename", "more.lst"};
    struct Case
    {
        Arguments m_vArguments;
        std::vector<std::size_t> m_vShares;
        int m_iExit;
        const char* m_text;
    };
    const Case CASES[] = {
        {DATA, {1, 2, 3, 4, 9}, 0, "5 of 7 recordings used, 2 skipped"},
        {FILES + Arguments{"--data-gen-config", "set.xml"}, {1, 3, 9}, 0, " listed more than once: "},
        {FILES + Arguments{"--data-gen-config", "sizes.xml"}, {2, 9}, 0, " patterns of other sizes than"},
        {FILES + Arguments{"--data-gen-config", "set.xml", "--validate"},
         {2, 9},
         1,
         "whose inputs never change"},
        {FILES + Arguments{"--data-gen-config", "stops.xml", "--validate"}, {4}, 1, "No class covers"},
        {{"--data-gen-config", "set.xml", "--data-gen-filename", "bad.lst"}, {1, 2}, 1, "cannot be read to"},
    };
    for (const Case& testCase : CASES)
    {
        SCOPED_TRACE(testing::PrintToString(testCase.m_vArguments));
        const CommandResult whole = run(
            "ml-inspect", testCase.m_vArguments + Arguments{"--json", "whole.json", "--html", "whole.html"},
            testCase.m_iExit);
        EXPECT_THAT(whole.m_strOut, HasSubstr(testCase.m_text));
        for (const std::size_t uiShares : testCase.m_vShares)
        {
            SCOPED_TRACE(uiShares);
            const Arguments vFiles =
                runShares("ml-inspect", testCase.m_vArguments + Arguments{"--shard-file", "SHARE"}, uiShares);
            const CommandResult joined = run(
                "ml-inspect", Arguments{"--json", "joined.json", "--html", "joined.html", "--join"} + vFiles,
                testCase.m_iExit);
            EXPECT_EQ(joined.m_strOut, whole.m_strOut);
            EXPECT_EQ(joined.m_strErr, whole.m_strErr);
            for (const std::string strType : {".json", ".html"})
                EXPECT_EQ(readFile(m_folder.path("joined" + strType)),
                          readFile(m_folder.path("whole" + strType)));
        }
    }
    EXPECT_THAT(run("ml-inspect", {"--join", "share.1", "share.1"}, 1).m_strErr, HasSubstr("once more"));
    EXPECT_THAT(run("ml-inspect", {"--validate", "--join", "share.1"}, 2).m_strErr,
                HasSubstr("option '--validate' is for the shares, not for --join"));
    EXPECT_THAT(
        run("ml-inspect", DATA + Arguments{"--json", "-", "--shard", "1/2", "--shard-file", "s"}, 2).m_strErr,
        HasSubstr("option '--json' is for --join, not for a share"));
}

TEST_P(SharesTest, ListsWithoutAUsableRecordingFailAsInOneProcess)
{
    if (std::string(GetParam().m_name) == "tone-set")
        GTEST_SKIP() << "without a recording there are no tones, and no share";
    const Arguments TYPE = {"--output-type", "binary", "--output-file"};
    for (const char* list : {"missing.wav\ntext.wav\n", ""})
    {
        m_folder.write("bad.lst", list);
        const Arguments INPUT = {"--datagen-config", "set.xml", "--input-file", "bad.lst"};
        const Arguments BAD = {"--data-gen-config", "set.xml",   "--data-gen-filename",
                               "bad.lst",           "--network", "net"};
        const std::string strCause = "ERROR: Audio set bad.lst has no file that can be used, of ";
        EXPECT_THAT(run("ml-tester", BAD, 1).m_strErr, HasSubstr(strCause));
        const Arguments vTests = runShares("ml-tester", BAD + Arguments{"--shard-file", "SHARE"}, 2);
        const CommandResult joined = run("ml-tester", Arguments{"--join"} + vTests, 1);
        EXPECT_THAT(joined.m_strErr, HasSubstr(strCause));
        EXPECT_EQ(joined.m_strOut, "");
        const Arguments vParts = runShares("ml-convert", INPUT + TYPE + Arguments{"SHARE"}, 2);
        m_folder.write("kept", "kept");
        EXPECT_THAT(run("ml-convert", TYPE + Arguments{"kept", "--join"} + vParts, 1).m_strErr,
                    HasSubstr(strCause));
        EXPECT_EQ(readFile(m_folder.path("kept")), "kept");
    }
}

TEST_P(SharesTest, CommandsOfTheDocumentWork)
{
    std::filesystem::copy(m_folder.path("set.lst"), m_folder.path("calls.lst"));
    std::filesystem::copy(m_folder.path("net"), m_folder.path("voice.net"));
    std::istringstream document(readFile(QC_SOURCE_DIR "/doc/shares.md"));
    std::string strCommands = "set -e; PATH=" QC_BINARY_DIR "/bin:$PATH\n";
    for (std::string strLine; std::getline(document, strLine);)
        if (strLine.starts_with("    "))
            strCommands += strLine + '\n';
    const CommandResult result =
        Vexalor::Testing::runCommand({"/bin/sh", "-c", strCommands}, m_folder.path());
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    for (const char* name : {"report/report.html", "scaling.xml", "patterns.bin", "data.html"})
        EXPECT_TRUE(std::filesystem::exists(m_folder.path(name))) << name;
}

TEST_P(SharesTest, SharesThatDoNotBelongTogetherAreRefused)
{
    runShares("ml-tester", SHARE_OF_TEST, 3);
    m_folder.write("other.lst", "a.wav\nb.wav\n");
    run("ml-tester", Arguments{"--data-gen-config", "set.xml", "--data-gen-filename", "other.lst",
                               "--network", "net", "--shard", "2/3", "--shard-file", "other.2"});
    std::string strBytes = readFile(m_folder.path("share.2"));
    m_folder.write("cut.2", strBytes.substr(0, strBytes.size() - 1));
    strBytes[strBytes.size() / 2] ^= 1;
    m_folder.write("damaged.2", strBytes);
    m_folder.write("empty.2", "");
    run("ml-config", Arguments{"learn-scaling", "scaling.2", "--shard", "2/3"} + DATA);
    struct Fault
    {
        Arguments m_vFiles;
        const char* m_message;
    };
    const Fault FAULTS[] = {
        {{"share.1", "share.3"}, "Share 2/3 is missing"},
        {{"share.1", "share.2", "share.2", "share.3"}, "share.2 is share 2/3 once more"},
        {{"share.1", "other.2", "share.3"}, "other.2, share 2/3, is of another job than share.1"},
        {{"share.1", "cut.2", "share.3"}, "Cannot read share cut.2: it is cut off, or damaged"},
        {{"share.1", "damaged.2", "share.3"}, "Cannot read share damaged.2: it is cut off, or damaged"},
        {{"share.1", "empty.2", "share.3"}, "Cannot read share empty.2: it is no file of a share"},
        {{"share.1", "nowhere", "share.3"}, "Cannot read share nowhere: No such file"},
        {{"share.1", "scaling.2", "share.3"},
         "scaling.2 is a share of ml-config learn-scaling, not of ml-tester"},
    };
    for (const Fault& fault : FAULTS)
    {
        const CommandResult result =
            run("ml-tester", Arguments{"--report", "joined", "--join"} + fault.m_vFiles, 1);
        EXPECT_THAT(result.m_strErr, HasSubstr(fault.m_message));
        EXPECT_EQ(result.m_strOut, "");
        EXPECT_FALSE(std::filesystem::exists(m_folder.path("joined/report.json")));
    }
}

TEST_P(SharesTest, WhatASharedJobCannotDoIsRefused)
{
    std::string strLearning = readFile(m_folder.path("set.xml"));
    run("ml-config", Arguments{"learn-scaling", "scaling.xml"} + DATA);
    strLearning = readFile(m_folder.path("scaling.xml"));
    const std::string strOff = "<m_bLearnScalingParameters>0";
    ASSERT_NE(strLearning.find(strOff), std::string::npos);
    strLearning.replace(strLearning.find(strOff), strOff.size(), "<m_bLearnScalingParameters>1");
    m_folder.write("learning.xml", strLearning);
    run("ml-config", {"write", "one.xml", "--feature", "energy"});
    struct Case
    {
        Arguments m_vArguments;
        int m_iExit;
        const char* m_message;
    };
    const Arguments SHARD = {"--shard", "1/2", "--shard-file", "share"};
    const Case CASES[] = {
        {TEST + SHARD + Arguments{"--scaling-config", "learning.xml"}, 1, "with ml-config learn-scaling"},
        {Arguments{"--data-gen-config", "one.xml", "--data-gen-filename", "a.wav", "--network", "net"} +
             SHARD,
         1, "There are no shares of a.wav: only lists of recordings are shared out"},
        {TEST + SHARD + Arguments{"--report", "r"}, 2, "option '--report' is for --join, not for a share"},
        {TEST + Arguments{"--shard", "1/2"}, 2, "options '--shard' and '--shard-file' need each other"},
        {TEST + Arguments{"--shard", "3/2", "--shard-file", "share"}, 2, "'3/2' is no share"},
        {TEST + Arguments{"--shard", "0/2", "--shard-file", "share"}, 2, "'0/2' is no share"},
        {TEST + Arguments{"--shard", "1/", "--shard-file", "share"}, 2, "'1/' is no share"},
        {Arguments{"--network", "net", "--join", "x"}, 2,
         "option '--network' is for the shares, not for --join"},
        {SHARD + Arguments{"--join", "x"}, 2, "options '--shard' and '--join' exclude each other"},
        {TEST + Arguments{"--shard", "1/2", "--shard-file", "a.wav"}, 1,
         "Not writing over a.wav: it is a recording"},
    };
    for (const Case& refused : CASES)
        EXPECT_THAT(run("ml-tester", refused.m_vArguments, refused.m_iExit).m_strErr,
                    HasSubstr(refused.m_message));
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("share")));
}
