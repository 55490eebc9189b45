#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace Vexalor;
using Testing::CommandResult;
using testing::HasSubstr;
using testing::Not;
using Testing::readFile;
using Testing::WavRegion;
using Json = nlohmann::json;

namespace
{

constexpr std::uint32_t RATE = 8000;
constexpr std::uint32_t LENGTH = 4800; ///< 58 windows of 25 ms every 10 ms

/// The real programs over recordings with mistakes in them.
class InspectProgramTest : public testing::Test
{
protected:
    /// A tone of 1 kHz between two weak ones.
    void record(const std::string& in_strName, const std::vector<WavRegion>& in_vRegions,
                std::uint32_t in_uiRate = RATE) const
    {
        std::vector<int> vSamples = Testing::toneSamples(in_uiRate, LENGTH, 1000, 16384);
        for (std::uint32_t i = 0; i < LENGTH; ++i)
            if (i < LENGTH / 3 || i >= 2 * LENGTH / 3)
                vSamples[i] = vSamples[i] / 64 + static_cast<int>(i % 5);
        m_folder.write(in_strName, Testing::annotatedWav(in_uiRate, vSamples, in_vRegions));
    }

    CommandResult run(std::vector<std::string> in_vArguments) const
    {
        in_vArguments.front().insert(0, QC_BINARY_DIR "/bin/");
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    void configure(const std::vector<std::string>& in_vMore, const char* in_file = "set.xml") const
    {
        std::vector<std::string> vArguments{"ml-config", "write", in_file};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        const CommandResult result = run(vArguments);
        ASSERT_EQ(result.m_iExit, 0) << result.m_strErr;
    }

    CommandResult inspect(const std::string& in_strFile, const std::vector<std::string>& in_vMore = {}) const
    {
        std::vector<std::string> vArguments{"ml-inspect", "--data-gen-config", "set.xml",
                                            "--data-gen-filename", in_strFile};
        vArguments.insert(vArguments.end(), in_vMore.begin(), in_vMore.end());
        return run(vArguments);
    }

    Json inspectToJson(const std::string& in_strFile) const
    {
        const CommandResult result = inspect(in_strFile, {"--json", "-"});
        EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
        return Json::parse(result.m_strOut, nullptr, false);
    }

    Testing::TempDir m_folder;
    const WavRegion m_voice{LENGTH / 3, 2 * LENGTH / 3, "VOICE"};
};

} // namespace

TEST_F(InspectProgramTest, CountsWhatTheProgramsDeliver)
{
    record("one.wav", {m_voice});
    record("two.wav", {m_voice, {10, 20, "VOICE"}, {4000, 4800, "noise"}, {0, 10, "OTHER"}});
    m_folder.write("set.lst", "one.wav\ntwo.wav\n");
    configure({"--generator", "low-memory-audio-set", "--feature", "energy", "--feature", "energy",
               "--feature", "zero-crossing"});
    const Json json = inspectToJson("set.lst");
    EXPECT_EQ(json["patterns"]["all"], 116);
    EXPECT_EQ(json["sequences"], 2);
    // Windows end at 0.025 s + 0.01 s * k; those of VOICE from above 0.2 s up to 0.4 s: k = 18 to 37.
    const Json voice = json["classes"][0];
    EXPECT_EQ(voice["name"], "VOICE");
    EXPECT_EQ(voice["patterns"], 40);
    EXPECT_NEAR(voice["seconds"].get<double>(), 0.4, 1e-12);
    EXPECT_NEAR(voice["annotated_seconds"].get<double>(), 0.4 + 10.0 / RATE, 1e-12);
    EXPECT_EQ(voice["events"], 3);
    EXPECT_EQ(voice["unseen_events"], 1);
    EXPECT_EQ(json["inputs"][1]["equal_to"], 0);
    EXPECT_GT(json["inputs"][0]["separation"]["best"]["value"].get<double>(), 0.9);
    const Json labels = json["labels"];
    EXPECT_EQ(labels[0]["label"], "OTHER");
    EXPECT_EQ(labels[0]["taken"], true) << "by the class of the rest";
    EXPECT_EQ(labels[2]["label"], "noise");
    EXPECT_EQ(labels[2]["taken"], false);
    EXPECT_THAT(
        inspect("set.lst").m_strOut,
        HasSubstr("116 patterns of 3 inputs and 2 targets, in 2 sequences\n2 of 2 recordings used\n"));
}

TEST_F(InspectProgramTest, ValidationFindsEverythingInOneRun)
{
    record("good.wav", {m_voice, {0, LENGTH / 3, "SILENCE"}, {2 * LENGTH / 3, LENGTH, "SILENCE"}});
    record("uncovered.wav", {m_voice, {0, LENGTH / 3, "SILENCE"}});
    record("unlabelled.wav", {});
    record("fast.wav", {m_voice}, 2 * RATE);
    m_folder.write("text.wav", "no recording");
    m_folder.write("short.wav", Testing::annotatedWav(RATE, {1, 2, 3}, {m_voice}));
    m_folder.write("bad.lst", "uncovered.wav\nmissing.wav\ntext.wav\nunlabelled.wav\nfast.wav\nshort.wav\n"
                              "good.wav\ngood.wav\n");
    m_folder.write("good.lst", "good.wav\n");
    configure({"--generator", "low-memory-audio-set", "--classes", "VOICE,SILENCE"});
    const CommandResult bad = inspect("bad.lst", {"--validate"});
    EXPECT_EQ(bad.m_iExit, 1);
    EXPECT_EQ(bad.m_strErr, "");
    for (const char* text : {"No class covers the window at 0.405s of file uncovered.wav",
                             "No class covers the window at 0.025s of file unlabelled.wav",
                             "warning: skipped: Could not open missing.wav", "text.wav: ",
                             "fast.wav refused: its sampling rate is 16000 Hz, 8000 Hz are configured",
                             "warning: skipped: short.wav: it is shorter than a window: 3 samples of 200",
                             "warning: 1 of 8 recordings without any annotation: unlabelled.wav",
                             "warning: 1 of 8 recordings listed more than once: good.wav"})
        EXPECT_THAT(bad.m_strOut, HasSubstr(text));
    const CommandResult good = inspect("good.lst", {"--validate"});
    EXPECT_EQ(good.m_iExit, 0) << good.m_strOut;
    EXPECT_EQ(good.m_strOut, "");

    const CommandResult stopped = inspect("bad.lst");
    EXPECT_EQ(stopped.m_iExit, 1) << "the set stops at its first recording";
    EXPECT_THAT(stopped.m_strErr, HasSubstr("No class covers the window at 0.405s of file uncovered.wav"));
    EXPECT_THAT(stopped.m_strOut, HasSubstr("\n1 of 8 recordings used, 4 skipped, 3 without a pattern\n"));
    EXPECT_THAT(stopped.m_strOut, HasSubstr("warning: 3 of 8 recordings not reached, since the stream "
                                            "stopped: unlabelled.wav, good.wav, good.wav\n"));
}

TEST_F(InspectProgramTest, PatternFilesAndOutputs)
{
    configure({"--generator", "vector-file"});
    std::string strPatterns;
    for (int i = 0; i < 60; ++i)
        strPatterns += '[' + std::to_string(i % 7) + " 1] " + (i % 2 == 0 ? "[1 0]\n" : "[0 1]\n");
    m_folder.write("patterns.txt", strPatterns + "[nan 1] [1 0]\n[1] [1 0]\n");
    const Json json = inspectToJson("patterns.txt");
    EXPECT_EQ(json["patterns"]["all"], 62);
    EXPECT_EQ(json["patterns"]["misfits"], 1);
    EXPECT_EQ(json["recordings"], nullptr);
    EXPECT_EQ(json["inputs"][0]["not_a_number"], 1);
    EXPECT_EQ(json["inputs"][1]["constant"], true);
    EXPECT_EQ(json["classes"][0], Json({{"name", "class 0"}, {"patterns", 31}}));

    const CommandResult page = inspect(
        "patterns.txt", {"--html", "page.html", "--json", "found.json", "--class-names", "a,</script>"});
    EXPECT_EQ(page.m_iExit, 0) << page.m_strErr;
    EXPECT_THAT(readFile(m_folder.path("page.html")), HasSubstr("&lt;/script&gt;"));
    EXPECT_THAT(readFile(m_folder.path("page.html")), Not(HasSubstr("</script>")));
    EXPECT_EQ(Json::parse(readFile(m_folder.path("found.json")))["targets"], Json({"a", "</script>"}));

    const struct
    {
        std::vector<std::string> m_vArguments;
        const char* m_message;
        int m_iExit = 1;
    } REFUSED[] = {
        {{"--json", "patterns.txt"}, "Not writing over patterns.txt: it is an input"},
        {{"--json", "x", "--html", "./x"}, "Options --json and --html name the same file", 2},
        {{"--class-names", "a"}, "Option --class-names names 1 classes, the targets have 2 values"},
        {{"--class-names", "a,a"}, "option '--class-names' names 'a' twice", 2},
        {{"--class-names", "a,"}, "option '--class-names': 'a,' has an empty name", 2},
        {{"--data-gen-config", "a.detector"}, "option '--data-gen-config': a.detector is a detector; ", 2},
        {{"--data-gen-config", "none.xml", "--html", "none.html"}, "none.xml"},
    };
    m_folder.write("a.detector", "<boost_serialization>\n<MLDetector class_id=\"1\">");
    for (const auto& row : REFUSED)
    {
        std::vector<std::string> vArguments = row.m_vArguments;
        if (vArguments.front() != "--data-gen-config")
            vArguments.insert(vArguments.end(), {"--data-gen-config", "set.xml"});
        vArguments.insert(vArguments.begin(), {"ml-inspect", "--data-gen-filename", "patterns.txt"});
        const CommandResult refused = run(vArguments);
        EXPECT_EQ(refused.m_iExit, row.m_iExit) << row.m_message;
        EXPECT_THAT(refused.m_strErr, HasSubstr(row.m_message));
        EXPECT_EQ(refused.m_strOut, "");
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("none.html")));
    const CommandResult missing = inspect("missing.txt", {"--html", "none.html"});
    EXPECT_EQ(missing.m_iExit, 1);
    EXPECT_THAT(missing.m_strErr, HasSubstr("missing.txt"));
    EXPECT_TRUE(std::filesystem::exists(m_folder.path("none.html"))) << "the page tells why";
}
