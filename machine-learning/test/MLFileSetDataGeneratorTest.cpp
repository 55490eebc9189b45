#include "MLFileSetDataGenerator.h"
#include "AudioPasses.h"
#include "MLAudioSetDataGenerators.h"
#include "MLDataGeneratorForVad.h"
#include "test-support/FileFaults.h"

#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.FileSetDataGenerator.summary";

/// The strategies that have no key of their own.
using WidebandSet = FileSetDataGenerator<DataGeneratorForWidebandToneDetector, FileSetDataGeneratorNoT>;
using AMSet = FileSetDataGenerator<DataGeneratorForAMToneDetector, FileSetDataGeneratorNoT>;
using VadSet = FileSetDataGenerator<VadAudioFileDataGenerator, FileSetDataGeneratorNoT>;
using SmoothedVadSet = FileSetDataGenerator<DataGeneratorForVad, FileSetDataGeneratorNoT>;
using LowMemorySmoothedVadSet = FileSetDataGenerator<DataGeneratorForVad, LowMemoryFileSetDataGeneratorNoT>;

/// Patterns up to in_uiMax of a pass: the name of the recording, input, target.
Texts readPatterns(FileDataGenerator& io_generator, std::size_t in_uiMax = SIZE_MAX)
{
    Texts vPatterns;
    DoubleVector vInput;
    EXPECT_TRUE(io_generator.gotoStart());
    while (vPatterns.size() < in_uiMax && io_generator.generateNext())
    {
        DoubleVector vTarget;
        EXPECT_TRUE(io_generator.getInput(vInput));
        io_generator.getTarget(vTarget);
        std::ostringstream text;
        text << io_generator.getCurrentFilename() << vInput << vTarget;
        vPatterns.push_back(text.str());
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
    static_cast<AudioFileDataGenerator::Config&>(config.m_dataGenConfig) = audioConfig(in_vClasses);
    config.m_dataGenConfig.m_dMaxAudioTime = in_dMaxAudioTime;
    ASSERT_TRUE(io_set.configure(config));
}

/// first.wav: 8 windows, 2 of A; last.wav: 18 windows, A in progress up to 0.1 s, the first 8; plain.wav: 8
/// windows, no annotation; short.wav: no window.
class FileSetTest : public testing::Test
{
protected:
    FileSetTest()
    {
        record("first.wav", {{400, 560, "A"}});
        record("last.wav", {{0, 800, "A"}}, 1600);
        record("plain.wav", {});
        record("short.wav", {}, 100);
    }

    void record(const std::string& in_strName, const std::vector<WavRegion>& in_vRegions,
                std::size_t in_uiSamples = 800)
    {
        m_folder.write(in_strName, toneRecording(in_vRegions, in_uiSamples));
    }

    bool setList(FileDataGenerator& io_set, const std::string& in_strText)
    {
        return io_set.setCurrentFilename(m_folder.write("set.lst", in_strText).c_str());
    }

    std::string file(const std::string& in_strName) { return m_folder.path(in_strName); }

    TempDir m_folder;
    const LogCapture m_reasons{"quillcast", LogLevel::OFF};
};

/// Both strategies.
template <class Set>
class FileSetStrategyTest : public FileSetTest
{
protected:
    static constexpr bool LOW_MEMORY = std::is_base_of_v<LowMemoryFileSetDataGeneratorNoT, Set>;

    FileSetStrategyTest() { configure(m_set, {"A", "OTHER"}); }

    Set m_set;
};
using Strategies = testing::Types<AudioSetDataGenerator, LowMemoryAudioSetDataGenerator>;
TYPED_TEST_SUITE(FileSetStrategyTest, Strategies);

} // namespace

TYPED_TEST(FileSetStrategyTest, RecordingsThatCannotBeUsedAreSkipped)
{
    this->record("refused.wav", {{0, 400, "A"}, {200, 600, "A"}});
    this->m_folder.write("text.wav", "no recording");
    std::filesystem::create_directory(this->file("folder.wav"));
    ASSERT_EQ(mkfifo(this->file("pipe.wav").c_str(), 0600), 0);
    TypeParam& set = this->m_set;
    configure(set, {"A", "B", "OTHER"});
    ASSERT_TRUE(this->setList(set, "first.wav\nplain.wav\nlast.wav\n"));
    const Texts vGood = readPatterns(set);
    const LogCapture log(LOGGER);
    ASSERT_TRUE(this->setList(set, "missing.wav\nfirst.wav\ntext.wav\nshort.wav\nrefused.wav\npipe.wav\n"
                                   "plain.wav\nfolder.wav\nlast.wav\nshort.wav\nmissing.wav\n"));
    EXPECT_EQ(readPatterns(set), vGood) << "exactly the patterns of the good ones";
    EXPECT_EQ(vGood.size(), 8u + 8u + 18u);
    EXPECT_TRUE(set.endedCleanly());

    EXPECT_TRUE(log.has("ERROR File " + this->file("pipe.wav") + (this->LOW_MEMORY ? ")" : "") +
                        " exists but setCurrentFilename() failed. Skipping file..."))
        << log.text();
    EXPECT_EQ(log.count("Skipping file..."), 6u) << log.text();
    EXPECT_EQ(log.count("ERROR Just gone to the start of file " + this->file("short.wav") +
                        " but could not get first window"),
              2u);
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
    const FileFaults calls(this->m_folder.path());
    ASSERT_TRUE(this->setList(this->m_set, "first.wav\nplain.wav\nlast.wav\n"));
    const unsigned int uiNamed = FileFaults::getCalls(FileFaults::OPEN);
    for (unsigned int uiPass = 1; uiPass <= 3; ++uiPass)
    {
        readPatterns(this->m_set);
        EXPECT_EQ(FileFaults::getCalls(FileFaults::OPEN), uiNamed + uiPass * (this->LOW_MEMORY ? 2 * 3 : 3));
    }
    ASSERT_TRUE(this->m_set.setCurrentFilename(this->file("set.lst").c_str()));
    EXPECT_EQ(FileFaults::getCalls(FileFaults::OPEN) - uiNamed - 3 * (this->LOW_MEMORY ? 6 : 3),
              this->LOW_MEMORY ? 1u : 1u + 3u)
        << "the list, and up front the recordings";
}

TYPED_TEST(FileSetStrategyTest, ListWithoutAnyUsableRecording)
{
    TypeParam& set = this->m_set;
    EXPECT_FALSE(set.gotoStart()) << "no list";
    EXPECT_FALSE(set.generateNext());
    const LogCapture log(LOGGER);
    for (const char* list : {"missing.wav\n", "# nothing\n"})
    {
        ASSERT_TRUE(this->setList(set, list));
        EXPECT_FALSE(set.gotoStart() || set.generateNext());
        EXPECT_TRUE(set.atEnd());
        DoubleVector vVector;
        EXPECT_FALSE(set.getInput(vVector) || set.getTarget(vVector));
    }
    EXPECT_EQ(statusOf(set), "All files have been processed");
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
    const struct
    {
        const char* m_list;
        std::size_t m_uiPatterns;
        bool m_bStops; ///< at the uncovered window, else with the next recording
    } TABLE[] = {
        {"covered.wav\ncut.wav\ncovered.wav\n", 8 + 4, true},
        {"plain.wav\ncovered.wav\n", 0, true},
        {"covered.wav\nplain.wav\ncovered.wav\n", 8 + 8, false},
    };
    TypeParam& set = this->m_set;
    configure(set, {"A"});
    for (const auto& [list, uiPatterns, bStops] : TABLE)
    {
        ASSERT_TRUE(this->setList(set, list));
        const AssertionCapture assertions;
        EXPECT_EQ(readPatterns(set).size(), uiPatterns) << list;
        EXPECT_EQ(assertions.conditions(), bStops
                                               ? Texts({"generateTarget()", "m_pCurrentGenerator->atEnd()"})
                                               : Texts({"generateTarget()"}));
        EXPECT_FALSE(set.endedCleanly()) << list;
        EXPECT_EQ(set.atEnd(), !bStops) << list;
        EXPECT_FALSE(set.generateNext()) << "the end stays the end";
        EXPECT_EQ(readPatterns(set).size(), uiPatterns) << list;
    }
}

TYPED_TEST(FileSetStrategyTest, StatusNamesTheRecording)
{
    TypeParam& set = this->m_set;
    ASSERT_TRUE(this->setList(set, "first.wav\nlast.wav\n"));
    const std::string strList = this->file("set.lst");
    const std::string strLast = this->file("last.wav");
    EXPECT_EQ(set.getCurrentFilename(), strList);
    EXPECT_TRUE(set.getCurrentDataGenerator().isNull());
    EXPECT_EQ(readPatterns(set, 9).size(), 9u);
    EXPECT_EQ(set.getCurrentFilename(), strLast);
    EXPECT_EQ(statusOf(set), "File " + strLast + " : Pattern 1, Audio time: 0.025s");
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    while (set.generateNext())
        ;
    EXPECT_EQ(statusOf(set), "All files have been processed");
    EXPECT_EQ(set.getCurrentFilename(), strList);
    EXPECT_TRUE(log.has("DEBUG End of file " + strLast + " reached")) << log.text();
    EXPECT_TRUE(log.has("DEBUG End of last audio file reached"));
    readPatterns(set);
    EXPECT_TRUE(log.has("DEBUG Switching to file " + strLast));
}

TYPED_TEST(FileSetStrategyTest, WatcherIsToldOfEachRecording)
{
    Texts vTold;
    this->m_set.setFileWatcher(
        [&](const std::string& in_strFilename, std::size_t in_uiNumber, std::size_t in_uiListed)
        {
            vTold.push_back(std::filesystem::path(in_strFilename).filename().string() + ' ' +
                            std::to_string(in_uiNumber) + '/' + std::to_string(in_uiListed));
        });
    ASSERT_TRUE(this->setList(this->m_set, "first.wav\nmissing.wav\nshort.wav\nlast.wav\n"));
    const Texts vSetUp{"first.wav 1/4", "missing.wav 2/4", "short.wav 3/4", "last.wav 4/4"};
    EXPECT_EQ(vTold, this->LOW_MEMORY ? Texts() : vSetUp);
    vTold.clear();
    readPatterns(this->m_set);
    // What was skipped while the set was made counts from the start.
    const std::string strFirst = this->LOW_MEMORY ? "first.wav 1/4" : "first.wav 2/4";
    EXPECT_THAT(vTold, ElementsAre(strFirst, "short.wav 3/4", "last.wav 4/4"));
}

TYPED_TEST(FileSetStrategyTest, ListsAndConfigurationsReplaceEarlierOnes)
{
    TypeParam& set = this->m_set;
    ASSERT_TRUE(this->setList(set, "first.wav\nlast.wav\n"));
    readPatterns(set, 10);
    configure(set, {"OTHER"});
    ASSERT_TRUE(this->setList(set, "plain.wav\nfirst.wav\n"));
    EXPECT_FALSE(set.generateNext()) << "not started";
    EXPECT_EQ(readTargets(set), "1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1");
    EXPECT_THAT(readPatterns(set, 1), ElementsAre(testing::StartsWith(this->file("plain.wav"))));

    const LogCapture log(LOGGER);
    EXPECT_FALSE(set.configure(audioConfig({"A"}))) << "that of a single recording";
    using OtherSet = std::conditional_t<FileSetStrategyTest<TypeParam>::LOW_MEMORY, AudioSetDataGenerator,
                                        LowMemoryAudioSetDataGenerator>;
    EXPECT_FALSE(set.configure(typename OtherSet::Config()));
    typename TypeParam::Config senseless;
    senseless.m_dataGenConfig.m_audioConfig.m_uiWindowShift = 0;
    EXPECT_TRUE(set.configure(senseless));
    this->setList(set, "plain.wav\n");
    EXPECT_FALSE(set.gotoStart());
    EXPECT_TRUE(log.has("ERROR Could not configure FileDataGenerator with the configuration provided to "
                        "FileSetDataGenerator. File " +
                        this->file("plain.wav") + " will be skipped."))
        << log.text();
}

TYPED_TEST(FileSetStrategyTest, FewFilesAreOpenAtATime)
{
    std::string strText;
    for (int i = 0; i < 600; ++i)
        strText += "first.wav\nlast.wav\n";
    const std::size_t uiOpen = countOpenFiles();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{uiOpen + 6, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    for (const double dMaxAudioTime : {0.0, 0.05})
    {
        TypeParam set;
        configure(set, {"A", "OTHER"}, dMaxAudioTime);
        EXPECT_TRUE(this->setList(set, strText));
        // 26 windows of a pair; up to 0.05 s 3 of each
        EXPECT_EQ(readPatterns(set).size(), dMaxAudioTime == 0.0 ? 600u * 26 : 600u * 6);
        for (std::size_t uiPatterns = 1; uiPatterns < 200; uiPatterns += 4)
            EXPECT_EQ(readPatterns(set, uiPatterns).size(), uiPatterns);
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
    const auto expectEqual = [&](auto in_upFront, auto in_lowMemory, const StringVector& in_vClasses)
    {
        configure(in_upFront, in_vClasses);
        configure(in_lowMemory, in_vClasses);
        ASSERT_TRUE(setList(in_upFront, "1.wav\n2.wav\n3.wav\n1.wav\n"));
        ASSERT_TRUE(setList(in_lowMemory, "1.wav\n2.wav\n3.wav\n1.wav\n"));
        const Texts vPatterns = readPatterns(in_upFront);
        EXPECT_GE(vPatterns.size(), 8u);
        EXPECT_EQ(readPatterns(in_lowMemory), vPatterns);
    };
    expectEqual(AudioSetDataGenerator(), LowMemoryAudioSetDataGenerator(), {"VOICE", "SF:440", "OTHER"});
    expectEqual(WidebandSet(), LowMemoryAudioSetDataGeneratorForWidebandToneDetector(),
                {"WB_SF_TONE", "OTHER"});
    expectEqual(AMSet(), LowMemoryAudioSetDataGeneratorForAMToneDetector(), {"AM:1000:20", "OTHER"});
    expectEqual(VadSet(), LowMemoryVadAudioSetDataGenerator(), {"VOICE", "OTHER"});
    record("1.wav", {{0, 400, "VOICE"}, {401, 2000, "SILENCE"}}, 2000);
    record("2.wav", {{0, 800, "SILENCE"}});
    const AssertionCapture assertions;
    expectEqual(SmoothedVadSet(), LowMemorySmoothedVadSet(), {"VOICE", "SILENCE"});
    EXPECT_THAT(assertions.conditions(), IsEmpty());
}

TEST_F(FileSetTest, RecordingThatVanishesIsPassedOver)
{
    AudioSetDataGenerator set;
    configure(set, {"A", "OTHER"});
    ASSERT_TRUE(setList(set, "first.wav\nlast.wav\nplain.wav\n"));
    std::filesystem::remove(file("last.wav"));
    const LogCapture log(LOGGER, LogLevel::INFO);
    EXPECT_EQ(readPatterns(set).size(), 16u);
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR Could not go to the start of the new data generator. Corresponding "
                            "filename is " +
                                file("last.wav"),
                            "INFO 3 file(s) listed, 2 used, 1 skipped. Patterns: 16 (0.16s); A: 2 (0.02s); "
                            "OTHER: 14 (0.14s)"));
    EXPECT_TRUE(set.endedCleanly());
}
