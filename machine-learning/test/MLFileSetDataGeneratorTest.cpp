#include "MLFileSetDataGenerator.h"
#include "AudioPasses.h"
#include "MLAudioSetDataGenerators.h"
#include "MLDataGeneratorForVad.h"
#include "test-support/FileFaults.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::readTargets;

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.FileSetDataGenerator.summary";

/// The strategies that have no key of their own.
using WidebandSet = FileSetDataGenerator<DataGeneratorForWidebandToneDetector, FileSetDataGeneratorNoT>;
using AMSet = FileSetDataGenerator<DataGeneratorForAMToneDetector, FileSetDataGeneratorNoT>;
using VadSet = FileSetDataGenerator<VadAudioFileDataGenerator, FileSetDataGeneratorNoT>;
using SmoothedVadSet = FileSetDataGenerator<DataGeneratorForVad, FileSetDataGeneratorNoT>;
using LowMemorySmoothedVadSet = FileSetDataGenerator<DataGeneratorForVad, LowMemoryFileSetDataGeneratorNoT>;

struct Pattern
{
    std::string m_strFile;
    DoubleVector m_vInput;
    DoubleVector m_vTarget;

    friend bool operator==(const Pattern&, const Pattern&) = default;
};

/// Patterns up to in_uiMax of a pass.
std::vector<Pattern> readPatterns(FileDataGenerator& io_generator, std::size_t in_uiMax = SIZE_MAX)
{
    std::vector<Pattern> vPatterns;
    EXPECT_TRUE(io_generator.gotoStart());
    while (vPatterns.size() < in_uiMax && io_generator.generateNext())
    {
        Pattern& pattern = vPatterns.emplace_back();
        pattern.m_strFile = io_generator.getCurrentFilename();
        EXPECT_TRUE(io_generator.getInput(pattern.m_vInput));
        io_generator.getTarget(pattern.m_vTarget);
    }
    return vPatterns;
}

std::size_t countOpenFiles()
{
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Iterator("/proc/self/fd"), Iterator()));
}

template <class Set>
void configure(Set& io_set, const StringVector& in_vClasses, double in_dMaxAudioTime = 0.0)
{
    typename Set::Config config;
    static_cast<AudioFileDataGenerator::Config&>(config.m_dataGenConfig) = Testing::audioConfig(in_vClasses);
    config.m_dataGenConfig.m_dMaxAudioTime = in_dMaxAudioTime;
    ASSERT_TRUE(io_set.configure(config));
}

class FileSetTest : public testing::Test
{
protected:
    void record(const std::string& in_strName, const std::vector<Testing::WavRegion>& in_vRegions,
                std::size_t in_uiSamples = 800)
    {
        m_folder.write(in_strName, Testing::toneRecording(in_vRegions, in_uiSamples));
    }
    std::string list(const std::string& in_strText) { return m_folder.write("set.lst", in_strText); }
    std::string file(const std::string& in_strName) { return m_folder.path(in_strName); }

    /// first.wav: 8 windows, 2 of A; last.wav: 18 windows, A in progress up to 0.1 s, the first 8; plain.wav:
    /// 8 windows, no annotation; short.wav: no window.
    void recordUsable()
    {
        record("first.wav", {{400, 560, "A"}});
        record("last.wav", {{0, 800, "A"}}, 1600);
        record("plain.wav", {});
        record("short.wav", {}, 100);
    }

    Testing::TempDir m_folder;
};

/// Both strategies.
template <class Set>
class FileSetStrategyTest : public FileSetTest
{
};
using Strategies = testing::Types<AudioSetDataGenerator, LowMemoryAudioSetDataGenerator>;
TYPED_TEST_SUITE(FileSetStrategyTest, Strategies);

template <class Set>
constexpr bool IS_LOW_MEMORY = std::is_base_of_v<LowMemoryFileSetDataGeneratorNoT, Set>;

} // namespace

TYPED_TEST(FileSetStrategyTest, RecordingsThatCannotBeUsedAreSkipped)
{
    this->recordUsable();
    this->record("refused.wav", {{0, 400, "A"}, {200, 600, "A"}});
    this->m_folder.write("text.wav", "no recording");
    std::filesystem::create_directory(this->file("folder.wav"));
    ASSERT_EQ(mkfifo(this->file("pipe.wav").c_str(), 0600), 0);
    const std::string strList =
        this->list("missing.wav\nfirst.wav\ntext.wav\nshort.wav\nrefused.wav\npipe.wav\n"
                   "plain.wav\nfolder.wav\nlast.wav\nshort.wav\nmissing.wav\n");
    TypeParam set;
    configure(set, {"A", "B", "OTHER"});
    const Testing::LogCapture log(LOGGER);
    const Testing::LogCapture reasons("quillcast", LogLevel::OFF);
    ASSERT_TRUE(set.setCurrentFilename(strList.c_str()));
    const std::vector<Pattern> vPatterns = readPatterns(set);
    EXPECT_TRUE(set.endedCleanly());

    TypeParam goodSet;
    configure(goodSet, {"A", "B", "OTHER"});
    ASSERT_TRUE(goodSet.setCurrentFilename(
        this->m_folder.write("good.lst", "first.wav\nplain.wav\nlast.wav\n").c_str()));
    EXPECT_EQ(vPatterns, readPatterns(goodSet)) << "exactly the patterns of the good ones";
    EXPECT_EQ(vPatterns.size(), 8u + 8u + 18u);

    const std::string strOpen = IS_LOW_MEMORY<TypeParam> ? ")" : "";
    const std::string strMissing = IS_LOW_MEMORY<TypeParam>
                                       ? " does not exist or cannot be read. Skipping file..."
                                       : " exists but setCurrentFilename() failed. Skipping file...";
    for (const char* name : {"text.wav", "refused.wav", "folder.wav", "pipe.wav"})
        EXPECT_EQ(log.count("ERROR File " + this->file(name) + strOpen +
                            " exists but setCurrentFilename() failed. Skipping file..."),
                  1u)
            << name << log.text();
    EXPECT_EQ(log.count("ERROR File " + this->file("missing.wav") + strMissing), 2u) << log.text();
    EXPECT_EQ(log.count("ERROR Just gone to the start of file " + this->file("short.wav") +
                        " but could not get first window"),
              2u);
    EXPECT_EQ(log.count("ERROR"), 8u) << log.text();
    // 10 windows of A, 24 of none; 10 ms each
    const char* summary = "INFO 11 file(s) listed, 3 used, 8 skipped. Patterns: 34 (0.34s); A: 10 (0.1s); "
                          "B: 0 (0s); OTHER: 24 (0.24s)";
    EXPECT_EQ(log.count(summary), 1u) << log.text();
    readPatterns(set, 12);
    EXPECT_EQ(log.count("INFO 11"), 1u) << "a pass that was broken off has none";
    readPatterns(set);
    EXPECT_FALSE(set.generateNext());
    EXPECT_EQ(log.count(summary), 2u) << log.text();
    EXPECT_EQ(set.getFileCounts().m_uiSkipped, 8u);
}

TYPED_TEST(FileSetStrategyTest, ARecordingIsOpenedOnceWhenNamedAndOnceAPass)
{
    this->recordUsable();
    const std::string strList = this->list("first.wav\nplain.wav\nlast.wav\n");
    TypeParam set;
    configure(set, {"A", "B", "OTHER"});
    const Testing::FileFaults calls(this->m_folder.path());
    ASSERT_TRUE(set.setCurrentFilename(strList.c_str()));
    const unsigned int uiNamed = IS_LOW_MEMORY<TypeParam> ? 1 : 1 + 3;
    EXPECT_EQ(calls.getCalls(Testing::FileFaults::OPEN), uiNamed) << "the list, and up front the recordings";
    for (unsigned int uiPass = 1; uiPass <= 3; ++uiPass)
    {
        EXPECT_EQ(readPatterns(set).size(), 34u);
        EXPECT_EQ(calls.getCalls(Testing::FileFaults::OPEN),
                  uiNamed + uiPass * (IS_LOW_MEMORY<TypeParam> ? 2 * 3 : 3));
    }
}

TYPED_TEST(FileSetStrategyTest, ListWithoutAnyUsableRecording)
{
    TypeParam set;
    configure(set, {"A", "OTHER"});
    std::ostringstream status;
    EXPECT_FALSE(set.gotoStart()) << "no list";
    EXPECT_FALSE(set.generateNext());
    const Testing::LogCapture reasons("quillcast", LogLevel::OFF);
    const Testing::LogCapture log(LOGGER);
    for (const std::string& strText : {std::string("missing.wav\n"), std::string("# nothing\n")})
    {
        ASSERT_TRUE(set.setCurrentFilename(this->list(strText).c_str()));
        EXPECT_FALSE(set.gotoStart());
        EXPECT_FALSE(set.generateNext());
        EXPECT_TRUE(set.atEnd());
        DoubleVector vVector;
        EXPECT_FALSE(set.getInput(vVector) || set.getTarget(vVector));
    }
    set.dumpStatus(status);
    EXPECT_EQ(status.str(), "All files have been processed");
    EXPECT_TRUE(
        log.has("ERROR Audio set " + this->file("set.lst") + " has no file that can be used, of 1 listed"))
        << log.text();
    EXPECT_FALSE(set.setCurrentFilename(this->file("no.lst").c_str()));
    EXPECT_FALSE(set.gotoStart());
}

TYPED_TEST(FileSetStrategyTest, UncoveredWindowIsNoCleanEnd)
{
    this->record("covered.wav", {{0, 800, "A"}});
    this->record("cut.wav", {{0, 480, "A"}}); // to 0.06 s: windows 0 to 3
    this->record("bare.wav", {});
    const struct
    {
        const char* m_list;
        std::size_t m_uiPatterns;
        bool m_bStops; ///< at the uncovered window, else with the next recording
    } TABLE[] = {
        {"covered.wav\ncut.wav\ncovered.wav\n", 8 + 4, true},
        {"bare.wav\ncovered.wav\n", 0, true},
        {"covered.wav\nbare.wav\ncovered.wav\n", 8 + 8, false},
    };
    TypeParam set;
    configure(set, {"A"});
    const Testing::LogCapture reasons("quillcast", LogLevel::OFF);
    for (const auto& row : TABLE)
    {
        ASSERT_TRUE(set.setCurrentFilename(this->list(row.m_list).c_str()));
        for (int iPass = 0; iPass < 2; ++iPass)
        {
            Testing::AssertionCapture assertions;
            EXPECT_EQ(readPatterns(set).size(), row.m_uiPatterns) << row.m_list;
            std::vector<std::string> vExpected{"generateTarget()"};
            if (row.m_bStops)
                vExpected.emplace_back("m_pCurrentGenerator->atEnd()");
            EXPECT_EQ(assertions.conditions(), vExpected) << row.m_list;
            EXPECT_FALSE(set.endedCleanly()) << row.m_list;
            EXPECT_EQ(set.atEnd(), !row.m_bStops) << row.m_list;
            EXPECT_FALSE(set.generateNext()) << "the end stays the end";
        }
    }
}

TYPED_TEST(FileSetStrategyTest, StatusNamesTheRecording)
{
    const Testing::LogCapture quiet("quillcast.ml.generator"); // no details in the status
    this->recordUsable();
    TypeParam set;
    configure(set, {"A", "OTHER"});
    const std::string strList = this->list("first.wav\nlast.wav\n");
    ASSERT_TRUE(set.setCurrentFilename(strList.c_str()));
    EXPECT_EQ(set.getCurrentFilename(), strList);
    EXPECT_TRUE(set.getCurrentDataGenerator().isNull());
    ASSERT_TRUE(set.gotoStart());
    for (int i = 0; i < 9; ++i)
        ASSERT_TRUE(set.generateNext());
    EXPECT_EQ(set.getCurrentFilename(), this->file("last.wav"));
    std::ostringstream status;
    set.dumpStatus(status);
    EXPECT_EQ(status.str(), "File " + this->file("last.wav") + " : Pattern 1, Audio time: 0.025s");
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    while (set.generateNext())
        ;
    set.dumpStatus(status << '/');
    EXPECT_THAT(status.str(), testing::EndsWith("/All files have been processed"));
    EXPECT_EQ(set.getCurrentFilename(), strList);
    EXPECT_TRUE(log.has("DEBUG End of file " + this->file("last.wav") + " reached")) << log.text();
    EXPECT_TRUE(log.has("DEBUG End of last audio file reached"));
    ASSERT_TRUE(set.gotoStart());
    while (set.generateNext())
        ;
    EXPECT_TRUE(log.has("DEBUG Switching to file " + this->file("last.wav")));
}

TYPED_TEST(FileSetStrategyTest, WatcherIsToldOfEachRecording)
{
    this->recordUsable();
    TypeParam set;
    configure(set, {"A", "OTHER"});
    std::vector<std::string> vTold;
    set.setFileWatcher(
        [&](const std::string& in_strFilename, std::size_t in_uiNumber, std::size_t in_uiListed)
        {
            vTold.push_back(std::filesystem::path(in_strFilename).filename().string() + ' ' +
                            std::to_string(in_uiNumber) + '/' + std::to_string(in_uiListed));
        });
    const Testing::LogCapture reasons("quillcast", LogLevel::OFF);
    ASSERT_TRUE(set.setCurrentFilename(this->list("first.wav\nmissing.wav\nshort.wav\nlast.wav\n").c_str()));
    std::vector<std::string> vSetUp{"first.wav 1/4", "missing.wav 2/4", "short.wav 3/4", "last.wav 4/4"};
    EXPECT_EQ(vTold, IS_LOW_MEMORY<TypeParam> ? std::vector<std::string>() : vSetUp);
    vTold.clear();
    readPatterns(set);
    // What was skipped while the set was made counts from the start.
    const std::string strFirst = IS_LOW_MEMORY<TypeParam> ? "first.wav 1/4" : "first.wav 2/4";
    EXPECT_THAT(vTold, ElementsAre(strFirst, "short.wav 3/4", "last.wav 4/4"));
}

TYPED_TEST(FileSetStrategyTest, ListsAndConfigurationsReplaceEarlierOnes)
{
    this->recordUsable();
    TypeParam set;
    configure(set, {"A", "OTHER"});
    ASSERT_TRUE(set.setCurrentFilename(this->list("first.wav\nlast.wav\n").c_str()));
    readPatterns(set, 10);
    configure(set, {"OTHER"});
    ASSERT_TRUE(set.setCurrentFilename(this->list("plain.wav\nfirst.wav\n").c_str()));
    EXPECT_FALSE(set.generateNext()) << "not started";
    EXPECT_EQ(readTargets(set), "1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1");
    EXPECT_EQ(readPatterns(set, 1)[0].m_strFile, this->file("plain.wav"));

    const Testing::LogCapture log(LOGGER);
    EXPECT_FALSE(set.configure(Testing::audioConfig({"A"}))) << "that of a single recording";
    using OtherSet =
        std::conditional_t<IS_LOW_MEMORY<TypeParam>, AudioSetDataGenerator, LowMemoryAudioSetDataGenerator>;
    EXPECT_FALSE(set.configure(typename OtherSet::Config()));
    typename TypeParam::Config senseless;
    senseless.m_dataGenConfig.m_audioConfig.m_uiWindowShift = 0;
    EXPECT_TRUE(set.configure(senseless));
    const Testing::LogCapture reasons("quillcast.ml.generator.AudioFileDataGenerator", LogLevel::OFF);
    set.setCurrentFilename(this->list("plain.wav\n").c_str());
    EXPECT_FALSE(set.gotoStart());
    EXPECT_TRUE(log.has("ERROR Could not configure FileDataGenerator with the configuration provided to "
                        "FileSetDataGenerator. File " +
                        this->file("plain.wav") + " will be skipped."))
        << log.text();
}

TYPED_TEST(FileSetStrategyTest, FewFilesAreOpenAtATime)
{
    this->recordUsable();
    std::string strText;
    for (int i = 0; i < 600; ++i)
        strText += "first.wav\nlast.wav\n";
    const std::string strList = this->list(strText);
    const std::size_t uiOpen = countOpenFiles();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{uiOpen + 6, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    for (const double dMaxAudioTime : {0.0, 0.05})
    {
        TypeParam set;
        configure(set, {"A", "OTHER"}, dMaxAudioTime);
        EXPECT_TRUE(set.setCurrentFilename(strList.c_str()));
        // 26 windows of a pair; up to 0.05 s 3 of each
        EXPECT_EQ(readPatterns(set).size(), dMaxAudioTime == 0.0 ? 600u * 26 : 600u * 6);
        for (std::size_t uiBreakOff = 1; uiBreakOff < 200; uiBreakOff += 4)
            EXPECT_EQ(readPatterns(set, 200 - uiBreakOff).size(), 200 - uiBreakOff);
        EXPECT_LE(countOpenFiles(), uiOpen + 2);
        EXPECT_EQ(set.getFileCounts().m_uiSkipped, 0u);
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(FileSetTest, GeneratorsOfEveryKindAgreeInBothStrategies)
{
    record("1.wav", {{0, 400, "VOICE"}, {401, 640, "SILENCE"}, {641, 900, "OTHER"}, {901, 2000, "SILENCE"}},
           2000);
    record("2.wav", {{0, 300, "SF:440"}, {200, 500, "SF:880"}, {400, 800, "AM:1000:20"}});
    record("3.wav", {{0, 720, "VOICE"}, {721, 800, "SILENCE"}});
    const std::string strList = list("1.wav\n2.wav\n3.wav\n1.wav\n");
    const Testing::LogCapture reasons("quillcast", LogLevel::OFF);
    const auto expectEqual = [&](auto in_upFront, auto in_lowMemory, const StringVector& in_vClasses)
    {
        configure(in_upFront, in_vClasses);
        configure(in_lowMemory, in_vClasses);
        ASSERT_TRUE(in_upFront.setCurrentFilename(strList.c_str()));
        ASSERT_TRUE(in_lowMemory.setCurrentFilename(strList.c_str()));
        const std::vector<Pattern> vPatterns = readPatterns(in_upFront);
        EXPECT_GE(vPatterns.size(), 8u);
        EXPECT_EQ(readPatterns(in_upFront), vPatterns);
        EXPECT_EQ(readPatterns(in_lowMemory), vPatterns);
        EXPECT_EQ(readPatterns(in_lowMemory), vPatterns);
    };
    expectEqual(AudioSetDataGenerator(), LowMemoryAudioSetDataGenerator(), {"VOICE", "SF:440", "OTHER"});
    expectEqual(WidebandSet(), LowMemoryAudioSetDataGeneratorForWidebandToneDetector(),
                {"WB_SF_TONE", "OTHER"});
    expectEqual(AMSet(), LowMemoryAudioSetDataGeneratorForAMToneDetector(), {"AM:1000:20", "OTHER"});
    expectEqual(VadSet(), LowMemoryVadAudioSetDataGenerator(), {"VOICE", "OTHER"});
    Testing::AssertionCapture assertions;
    record("1.wav", {{0, 400, "VOICE"}, {401, 2000, "SILENCE"}}, 2000);
    record("2.wav", {{0, 800, "SILENCE"}});
    expectEqual(SmoothedVadSet(), LowMemorySmoothedVadSet(), {"VOICE", "SILENCE"});
    EXPECT_THAT(assertions.conditions(), ElementsAre());
}

TEST_F(FileSetTest, RecordingThatVanishesIsPassedOver)
{
    recordUsable();
    AudioSetDataGenerator set;
    configure(set, {"A", "OTHER"});
    ASSERT_TRUE(set.setCurrentFilename(list("first.wav\nlast.wav\nplain.wav\n").c_str()));
    std::filesystem::remove(file("last.wav"));
    const Testing::LogCapture reasons("quillcast.audio", LogLevel::OFF);
    const Testing::LogCapture log(LOGGER, LogLevel::INFO);
    EXPECT_EQ(readPatterns(set).size(), 16u);
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR Could not go to the start of the new data generator. Corresponding "
                            "filename is " +
                                file("last.wav"),
                            "INFO 3 file(s) listed, 2 used, 1 skipped. Patterns: 16 (0.16s); A: 2 (0.02s); "
                            "OTHER: 14 (0.14s)"));
    EXPECT_TRUE(set.endedCleanly());
}
