#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

using namespace Vexalor;
using Testing::CommandResult;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using Testing::readFile;
using testing::StartsWith;
using Testing::WavRegion;

namespace
{

constexpr std::uint32_t RATE = 8000;

/// A way to read a list of recordings.
struct SetKind
{
    const char* m_name;    ///< of ml-config
    const char* m_classes; ///< empty: the usual ones
    bool m_bLowMemory;
    bool m_bCovered; ///< stops where nothing is annotated
};

std::ostream& operator<<(std::ostream& out_stream, const SetKind& in_kind)
{
    return out_stream << in_kind.m_name;
}

/// The real programs over lists of short recordings.
class RecordingSetsTest : public testing::TestWithParam<SetKind>
{
protected:
    /// A tone of 1 kHz between two pauses, 0.2 s in all: 18 windows. Its labels suit all kinds.
    void record(const std::string& in_strName, std::uint32_t in_uiStart, std::uint32_t in_uiStop) const
    {
        recordWith(in_strName, in_uiStart, in_uiStop,
                   {{0, in_uiStart, "SILENCE"},
                    {in_uiStart, in_uiStop, "VOICE"},
                    {in_uiStart, in_uiStop, "SF:1000"},
                    {in_uiStart, in_uiStop, "AM:1000:20"},
                    {in_uiStop, 1600, "SILENCE"}});
    }

    void recordWith(const std::string& in_strName, std::uint32_t in_uiStart, std::uint32_t in_uiStop,
                    const std::vector<WavRegion>& in_vRegions) const
    {
        std::vector<int> vSamples = Testing::toneSamples(RATE, 1600, 1000, 16384);
        for (std::uint32_t i = 0; i < vSamples.size(); ++i)
            if (i < in_uiStart || i >= in_uiStop)
                vSamples[i] /= 100;
        m_folder.write(in_strName, Testing::annotatedWav(RATE, vSamples, in_vRegions));
    }

    CommandResult run(const char* in_program, std::vector<std::string> in_vArguments) const
    {
        in_vArguments.insert(in_vArguments.begin(), std::string(QC_BINARY_DIR "/bin/") + in_program);
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    void configure(const SetKind& in_kind) const
    {
        std::vector<std::string> vArguments{"write",     "set.xml", "--generator", in_kind.m_name,
                                            "--feature", "energy",  "--feature",   "zero-crossing"};
        if (*in_kind.m_classes != '\0')
            vArguments.insert(vArguments.end(), {"--classes", in_kind.m_classes});
        const CommandResult result = run("ml-config", vArguments);
        ASSERT_EQ(result.m_iExit, 0) << result.m_strErr;
    }

    CommandResult train(const char* in_list, const char* in_network = "net",
                        const std::vector<std::string>& in_vMore = {}) const
    {
        return run("ml-train", join({"--data-gen-config", "set.xml", "--data-gen-filename", in_list,
                                     "--network", in_network, "--hidden", "2", "--epochs", "5"},
                                    in_vMore));
    }

    CommandResult test(const char* in_list, const std::vector<std::string>& in_vMore = {}) const
    {
        return run("ml-tester", join({"--data-gen-config", "set.xml", "--data-gen-filename", in_list,
                                      "--network", "net", "--mean-square-error", "--classification-error"},
                                     in_vMore));
    }

    static std::vector<std::string> join(std::vector<std::string> in_vFirst,
                                         const std::vector<std::string>& in_vMore)
    {
        in_vFirst.insert(in_vFirst.end(), in_vMore.begin(), in_vMore.end());
        return in_vFirst;
    }

    /// The report without the summaries of the set before it.
    static std::string reportOf(const CommandResult& in_result)
    {
        const std::size_t uiPlace = in_result.m_strOut.find("\nNumber of data pattern(s)");
        return uiPlace == std::string::npos ? "none" : in_result.m_strOut.substr(uiPlace);
    }

    static int count(const std::string& in_strText, const std::string& in_strPart)
    {
        int iCount = 0;
        for (std::size_t ui = in_strText.find(in_strPart); ui != std::string::npos;
             ui = in_strText.find(in_strPart, ui + 1))
            ++iCount;
        return iCount;
    }

    void recordUnusable() const
    {
        // The later label starts earlier, which tones of one class do not allow either.
        recordWith("refused.wav", 0, 1600,
                   {{400, 800, "VOICE"},
                    {0, 600, "VOICE"},
                    {400, 800, "SF:1000"},
                    {0, 600, "SF:1000"},
                    {400, 800, "AM:1000:20"},
                    {0, 600, "AM:1000:20"}});
        m_folder.write("text.wav", "no recording");
        m_folder.write("empty.wav", "");
        m_folder.write("short.wav", Testing::annotatedWav(RATE, {1, 2, 3}, {}));
        std::filesystem::create_directory(m_folder.path("folder.wav"));
    }

    static void expectMessages(const std::string& in_strErr)
    {
        const bool bLowMemory = GetParam().m_bLowMemory;
        const std::string strClose = bLowMemory ? ")" : "";
        for (const char* name : {"text.wav", "refused.wav", "empty.wav", "folder.wav"})
            EXPECT_EQ(count(in_strErr, std::string("ERROR: File ") + name + strClose +
                                           " exists but setCurrentFilename() failed. Skipping file...\n"),
                      1)
                << name << in_strErr;
        EXPECT_THAT(
            in_strErr,
            HasSubstr(bLowMemory
                          ? "ERROR: File missing.wav does not exist or cannot be read. Skipping file...\n"
                          : "ERROR: File missing.wav exists but setCurrentFilename() failed. Skipping "
                            "file...\n"));
        EXPECT_THAT(
            in_strErr,
            HasSubstr("ERROR: Just gone to the start of file short.wav but could not get first window\n"));
    }

    Testing::TempDir m_folder;
};

INSTANTIATE_TEST_SUITE_P(Kinds, RecordingSetsTest,
                         testing::Values(SetKind{"audio-set", "", false, false},
                                         SetKind{"low-memory-audio-set", "", true, false},
                                         SetKind{"wideband-set", "", true, false},
                                         SetKind{"am-set", "AM:1000:20,OTHER", true, false},
                                         SetKind{"vad-set", "", true, false},
                                         SetKind{"smoothed-vad-set", "", false, true},
                                         SetKind{"tone-set", "SF:1000", false, false}),
                         [](const auto& in_info)
                         {
                             std::string strName = in_info.param.m_name;
                             std::erase(strName, '-');
                             return strName;
                         });

} // namespace

TEST_P(RecordingSetsTest, ProgramsPassOverRecordingsThatCannotBeUsed)
{
    record("first.wav", 400, 800);
    record("last.wav", 640, 1440);
    recordWith("plain.wav", 0, 1600, {});
    recordUnusable();
    const std::string strPlain = GetParam().m_bCovered ? "" : "plain.wav\n";
    m_folder.write("good.lst", "first.wav\n" + strPlain + "last.wav\n");
    m_folder.write("mixed.lst", "missing.wav\nfirst.wav\ntext.wav\nrefused.wav\nempty.wav\nfolder.wav\n" +
                                    strPlain + "last.wav\nshort.wav\n");
    configure(GetParam());
    ASSERT_EQ(train("good.lst").m_iExit, 0);
    const std::string strNetwork = readFile(m_folder.path("net"));

    const CommandResult training = train("mixed.lst");
    EXPECT_EQ(training.m_iExit, 0) << training.m_strErr;
    EXPECT_EQ(readFile(m_folder.path("net")), strNetwork) << "exactly the patterns of the good ones";
    expectMessages(training.m_strErr);
    // 18 patterns a recording
    const std::string strCounts = GetParam().m_bCovered
                                      ? "8 file(s) listed, 2 used, 6 skipped. Patterns: 36 (0.36s); "
                                      : "9 file(s) listed, 3 used, 6 skipped. Patterns: 54 (0.54s); ";
    EXPECT_THAT(training.m_strOut, StartsWith(strCounts));

    const CommandResult good = test("good.lst");
    EXPECT_EQ(good.m_iExit, 0) << good.m_strErr;
    EXPECT_EQ(good.m_strErr, "");
    EXPECT_NE(reportOf(good), "none");
    const CommandResult mixed = test("mixed.lst");
    EXPECT_EQ(mixed.m_iExit, 0) << mixed.m_strErr;
    EXPECT_EQ(reportOf(mixed), reportOf(good));
    EXPECT_THAT(mixed.m_strOut, HasSubstr(strCounts));
    EXPECT_THAT(training.m_strErr, StartsWith(mixed.m_strErr));

    const CommandResult strict = test("mixed.lst", {"--strict", "--in-memory"});
    EXPECT_EQ(strict.m_iExit, 1);
    EXPECT_EQ(reportOf(strict), reportOf(good)) << "given all the same";
    EXPECT_THAT(strict.m_strErr,
                EndsWith("ERROR: 6 of " + strCounts.substr(0, 1) + " recordings were skipped\n"));
    EXPECT_EQ(test("good.lst", {"--strict"}).m_iExit, 0);
    EXPECT_EQ(train("mixed.lst", "none", {"--strict"}).m_iExit, 1);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("none"))) << "before the training";
}

TEST_F(RecordingSetsTest, SetThatStopsBeforeItsEndIsAFailure)
{
    record("covered.wav", 400, 800);
    recordWith("uncovered.wav", 0, 1600, {{0, 800, "VOICE"}});
    m_folder.write("good.lst", "covered.wav\n");
    m_folder.write("set.lst", "covered.wav\nuncovered.wav\ncovered.wav\n");
    for (const SetKind& kind : {SetKind{"smoothed-vad-set", "", false, true},
                                SetKind{"low-memory-audio-set", "VOICE,SILENCE", true, true}})
    {
        configure(kind);
        ASSERT_EQ(train("good.lst").m_iExit, 0);
        const CommandResult testing = test("set.lst");
        EXPECT_EQ(testing.m_iExit, 1);
        // 18 windows of the first, 8 of the second, up to 0.095 s
        EXPECT_THAT(testing.m_strOut, HasSubstr("Number of data pattern(s) processed  : 26\n"));
        EXPECT_THAT(testing.m_strErr,
                    HasSubstr("No class covers the window at 0.105s of file uncovered.wav"));
        EXPECT_THAT(testing.m_strErr, HasSubstr("ERROR: The report covers a part of the data set"));
        const CommandResult training = train("set.lst");
        EXPECT_EQ(training.m_iExit, 1);
        EXPECT_THAT(training.m_strErr, HasSubstr("ERROR: Cannot train on set.lst\n"));
    }
}

TEST_F(RecordingSetsTest, ListsThatCannotBeUsedAreAMessage)
{
    record("good.wav", 400, 800);
    m_folder.write("good.lst", "good.wav\n");
    m_folder.write("none.lst", "missing.wav\n# good.wav\n");
    for (const SetKind& kind :
         {SetKind{"audio-set", "", false, false}, SetKind{"low-memory-audio-set", "", true, false}})
    {
        configure(kind);
        ASSERT_EQ(train("good.lst").m_iExit, 0);
        EXPECT_EQ(test("missing.lst").m_iExit, 1);
        EXPECT_EQ(test("good.wav").m_iExit, 1) << "no list";
        const CommandResult none = test("none.lst");
        EXPECT_EQ(none.m_iExit, 1);
        EXPECT_THAT(none.m_strErr,
                    HasSubstr("ERROR: Audio set none.lst has no file that can be used, of 1 listed"));
        EXPECT_THAT(none.m_strOut, Not(HasSubstr("Number of data")));
    }
}

TEST_F(RecordingSetsTest, TrainingTellsTheMistakesInItsData)
{
    record("good.wav", 400, 1200);
    recordWith("speech.wav", 400, 1200, {{400, 1200, "VOICE"}});
    recordWith("typo.wav", 400, 1200, {{400, 1200, "VIOCE"}});
    recordWith("plain.wav", 400, 1200, {});
    recordWith("brief.wav", 400, 1200, {{401, 410, "VOICE"}});
    m_folder.write("silent.wav", Testing::annotatedWav(RATE, std::vector<int>(1600), {{400, 1200, "VOICE"}}));
    m_folder.write("fast.wav",
                   Testing::annotatedWav(2 * RATE, Testing::toneSamples(2 * RATE, 3200, 1000, 9000),
                                         {{400, 2400, "VOICE"}}));
    const char* const NOT_TRAINED =
        "ERROR: Not trained, for the reasons above; --insist trains all the same\n";
    struct Mistake
    {
        const char* m_classes;
        const char* m_list;
        const char* m_message;
        bool m_bError; ///< without --strict too
    };
    const Mistake MISTAKES[] = {
        {"VOIZE,OTHER", "good.wav\n", "VOIZE: 0 patterns; did you mean VOICE?\n", true},
        {"MUSIC,OTHER", "speech.wav\n", "MUSIC: 0 patterns; there are annotations VOICE\n", true},
        {"VOICE,OTHER", "brief.wav\n", "VOICE: 0 patterns, though 1 annotated event\n", true},
        {"VOICE,OTHER", "plain.wav\n", "VOICE: 0 patterns; there are no annotations at all\n", true},
        {"VOICE,OTHER", "silent.wav\n", "no input ever changes: there is nothing to learn from\n", true},
        {"VOICE,OTHER", "good.wav\nfast.wav\n",
         "the features are for 8000 Hz, but 1 recording of 16000 Hz, the first is fast.wav: frequencies are "
         "wrong there\n",
         true},
        {"VOICE,OTHER", "speech.wav\nplain.wav\n",
         "1 of 2 recordings without any annotation, wholly OTHER: plain.wav\n", false},
        {"VOICE,OTHER", "speech.wav\ntypo.wav\n",
         "no class takes the label 'VIOCE' (1 annotation, 0.1 s); did you mean VOICE?\n", false},
        {"VOICE,OTHER", "speech.wav\n", "VOICE: 10 patterns, fewer than 11\n", false},
        {"VOICE,OTHER", "speech.wav\nspeech.wav\n", "1 of 2 recordings listed more than once: speech.wav\n",
         false},
        {"VOICE,V.*,OTHER", "speech.wav\n", "10 patterns of several classes at once\n", false},
    };
    for (const Mistake& mistake : MISTAKES)
    {
        SCOPED_TRACE(mistake.m_message);
        ASSERT_EQ(
            run("ml-config", {"write", "set.xml", "--generator", "audio-set", "--rate", "0", "--feature",
                              "energy", "--feature", "tones", "--set", "m_dSamplingRate=8000", "--frequency",
                              "1000", "--classes", mistake.m_classes})
                .m_iExit,
            0);
        m_folder.write("set.lst", mistake.m_list);
        const CommandResult usual = train("set.lst", "new", {"--least-patterns", "11"});
        EXPECT_EQ(usual.m_iExit, mistake.m_bError ? 1 : 0) << usual.m_strErr;
        EXPECT_THAT(usual.m_strErr,
                    HasSubstr((mistake.m_bError ? "ERROR: " : "WARN: ") + std::string(mistake.m_message)));
        const CommandResult strict = train("set.lst", "none", {"--strict", "--least-patterns", "11"});
        EXPECT_EQ(strict.m_iExit, 1);
        EXPECT_THAT(strict.m_strErr, HasSubstr(std::string("ERROR: ") + mistake.m_message));
        EXPECT_THAT(strict.m_strErr, HasSubstr(NOT_TRAINED));
        EXPECT_EQ(train("set.lst", "new", {"--insist"}).m_iExit, 0);
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("none")));
    // A test tells where its figures mean nothing.
    for (const auto& [list, message] :
         {std::pair("speech.wav\nplain.wav\n", ""),
          std::pair("plain.wav\n",
                    "WARN: No annotation of any class in set.lst: every pattern was taken for OTHER; "
                    "labels beside a recording are read by ml-annotate import and label-copies\n")})
    {
        m_folder.write("set.lst", list);
        EXPECT_EQ(run("ml-tester", {"--data-gen-config", "set.xml", "--data-gen-filename", "set.lst",
                                    "--network", "new", "--mean-square-error"})
                      .m_strErr,
                  message);
    }
}
