// Targets of tones: amplitude-modulated ones, those of any frequency, and sets of one tone after the other.

#include "AudioPasses.h"
#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLDataGeneratorForAMToneDetector.h"
#include "MLDataGeneratorForWidebandToneDetector.h"
#include "quillcast-audio/Annotation.h"

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.AudioFileDataGenerator";

class OpenAMGenerator : public DataGeneratorForAMToneDetector
{
public:
    using DataGeneratorForAMToneDetector::isAnnotationUsable_i;
};

DataGeneratorForAMToneDetector::Config amConfig(std::uint32_t in_uiCarrier, std::uint32_t in_uiModulated)
{
    DataGeneratorForAMToneDetector::Config result;
    static_cast<AudioFileDataGenerator::Config&>(result) = audioConfig({"AM:1000:20", "OTHER"});
    result.m_uiFreqCarrierTol = in_uiCarrier;
    result.m_uiFreqModulatedTol = in_uiModulated;
    return result;
}

class Timeline : public DataGeneratorForWidebandToneDetector::WBTimeEventVector
{
public:
    Timeline()
        : WBTimeEventVector("WB_SF_TONE")
    {
    }
    const std::vector<double>& times() const { return m_vEventTimes; }
};

using Times = std::vector<double>;

/// Adds pairs of start and stop in turn; whether the last one was taken.
bool add(Timeline& io_timeline, const Times& in_vPairs)
{
    bool bTaken = true;
    for (std::size_t i = 0; i < in_vPairs.size(); i += 2)
    {
        EXPECT_TRUE(bTaken);
        bTaken = io_timeline.addEvent(Annotation("SF:1000", in_vPairs[i], in_vPairs[i + 1]));
    }
    return bTaken;
}

class ToneSetTest : public testing::Test
{
protected:
    ToneSetTest()
    {
        // [400, 560) samples are [0.05, 0.07) s: the windows 3 and 4; [0, 480): the windows 0 to 3.
        m_folder.write("1.wav", toneRecording({{400, 560, "SF:1005"}, {0, 480, "1400 Hz"}}));
        m_folder.write("2.wav", toneRecording({{0, 480, "SF:995"}, {0, 800, "SF:2000"}}));
        m_folder.write("3.wav", annotatedWav(16000, std::vector<int>(1600, 0), {{0, 1600, "SF:1000"}}));
    }

    bool set(const StringVector& in_vClasses, const std::string& in_strList, bool in_bConstantInput = true)
    {
        AudioSetDataGeneratorForToneDetector::Config config;
        config.m_audioGenConfig = audioConfig(in_vClasses, new FixedFeatures({7}));
        config.m_audioGenConfig.m_audioConfig.m_uiSamplingRate = 0;
        config.m_bConstantInput = in_bConstantInput;
        EXPECT_TRUE(m_generator.configure(config));
        return m_generator.setCurrentFilename(m_folder.write("set.lst", in_strList).c_str());
    }

    TempDir m_folder;
    const LogCapture m_log{"quillcast.ml.AudioSetDataGeneratorForToneDetector"};
    AudioSetDataGeneratorForToneDetector m_generator;
};

} // namespace

TEST(AMToneTest, BothFrequenciesAreWithinTheirTolerances)
{
    const std::tuple<const char*, std::uint32_t, std::uint32_t, bool> TABLE[] = {
        {"AM:1000:20", 0, 0, true},
        {"am 1000/20 hz", 0, 0, true},
        {"AM:1001:20", 0, 0, false},
        {"AM:1000:21", 0, 0, false},
        {"AM:990:22", 10, 2, true},
        {"AM:1010:18", 10, 2, true},
        {"AM:989:20", 10, 2, false},
        {"AM:1011:20", 10, 2, false},
        {"AM:1000:17", 10, 2, false},
        {"AM:1000:23", 10, 2, false},
        {"AM:1:1", 1000, 20, true},
        // 1000 - 1001 wraps round to 2^32 - 1, and so does 20 - 21.
        {"AM:1000:20", 1001, 0, false},
        {"AM:1000:20", 0, 21, false},
        {"AM:4294967295:20", 1001, 0, false},
        {"SF:1000", 10, 2, false},
        {"1000:20", 10, 2, false},
    };
    OpenAMGenerator generator;
    for (const auto& [label, uiCarrierTol, uiModulatedTol, bUsable] : TABLE)
    {
        ASSERT_TRUE(generator.configure(amConfig(uiCarrierTol, uiModulatedTol)));
        EXPECT_EQ(generator.isAnnotationUsable_i(label, "AM:1000:20"), bUsable)
            << label << ' ' << uiCarrierTol << ' ' << uiModulatedTol;
    }
    ASSERT_TRUE(generator.configure(amConfig(0, 0)));
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_FALSE(generator.isAnnotationUsable_i("AM:1000:20", "AM.*"));
    EXPECT_FALSE(generator.isAnnotationUsable_i("speech", "AM:1000:20"));
    EXPECT_FALSE(generator.isAnnotationUsable_i("AM:1000:50", "AM:1000:20"));
    EXPECT_THAT(
        log.lines(),
        ElementsAre("DEBUG Rejecting annotation 'AM:1000:20'  since it does not fit class : AM.*",
                    "DEBUG Rejecting annotation 'speech' because it is not an amplitude modulated one"));
}

TEST(AMToneTest, TargetsFollowTheTones)
{
    // [400, 560) samples are [0.05, 0.07) s: the times 0.055 and 0.065.
    EXPECT_EQ(recordedTargets<DataGeneratorForAMToneDetector>(
                  amConfig(5, 0), {{400, 560, "AM:995:20"}, {0, 800, "AM:994:20"}, {0, 800, "SF:1000"}}),
              "01 01 01 10 10 01 01 01");
    EXPECT_EQ(recordedTargets<DataGeneratorForAMToneDetector>(
                  amConfig(5, 0), {{0, 400, "AM:1000:20"}, {200, 600, "AM:1001:20"}}),
              "refused");
}

TEST(WidebandTimelineTest, OverlapsAreCombined)
{
    const std::tuple<const char*, Times, Times> TABLE[] = {
        {"No overlap", {1, 2, 3, 4}, {1, 2, 3, 4}},
        {"No overlap", {3, 4, 1, 2}, {1, 2, 3, 4}},
        {"No overlap", {1, 2, 2.005, 3}, {1, 2, 2.005, 3}},
        {"1.1", {1, 3, 1, 3}, {}},
        {"1.1", {1, 3, 1.005, 3}, {}},
        {"1.1", {1, 3, 0.995, 2.995}, {}},
        {"1.1", {0, 0.5, 1, 3, 1, 3, 4, 5, 4, 5}, {0, 0.5}},
        {"1.2", {1, 3, 1, 2}, {2, 3}},
        {"1.2", {1, 3, 0.995, 2}, {2, 3}},
        {"1.3", {1, 2, 1, 3}, {2, 3}},
        {"2.1", {1, 3, 2, 3}, {1, 2}},
        {"2.1", {1, 3, 2, 3.005}, {1, 2}},
        {"2.2", {1, 4, 2, 3}, {1, 2, 3, 4}},
        {"2.2", {0, 0.5, 1, 4, 5, 6, 2, 3}, {0, 0.5, 1, 2, 3, 4, 5, 6}},
        {"2.3", {1, 3, 2, 4}, {1, 2, 3, 4}},
        {"2.3", {1, 3, 2, 4, 5, 6}, {1, 2, 3, 4, 5, 6}},
        // Touching: the stop of the one is the start of the other, still in progress throughout.
        {"2.3", {1, 2, 2, 3}, {1, 2, 2, 3}},
        // Only the first interval that is met is combined; what results need not be in order.
        {"2.3", {1, 2, 3, 4, 1.5, 3.5}, {1, 1.5, 2, 3.5, 3, 4}},
        {"1.3", {1, 2, 3, 4, 0.995, 3.5}, {2, 3.5, 3, 4}},
        // A third tone of the same time is alone again.
        {"1.1", {1, 2, 1, 2, 1, 2}, {1, 2}},
    };
    for (const auto& [name, vPairs, vTimes] : TABLE)
    {
        const LogCapture log(LOGGER, LogLevel::DEBUGGING);
        Timeline timeline;
        EXPECT_TRUE(add(timeline, vPairs)) << name;
        EXPECT_EQ(timeline.times(), vTimes) << name;
        EXPECT_TRUE(log.has(std::string("DEBUG Case ") + name)) << log.text();
    }
    for (const Times& vPairs : {Times{2, 3, 1, 2.5}, Times{2, 3, 1, 4}, Times{2, 3, 4, 5, 1, 4.5}})
    {
        const AssertionCapture assertions;
        Timeline timeline;
        EXPECT_FALSE(add(timeline, vPairs)) << "an earlier start";
        EXPECT_THAT(assertions.conditions(), ElementsAre("false"));
    }
}

TEST(WidebandTimelineTest, StepsAreTold)
{
    Timeline timeline;
    ASSERT_TRUE(add(timeline, {1, 3}));
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    ASSERT_TRUE(add(timeline, {2, 4}));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            "DEBUG Time vector entering addEvent_i: \n\tTime event 0 : 1s : ON\n\tTime event 1 : 3s : OFF",
            "DEBUG Existing: (1 - 3)  New: 2 - 4)", "DEBUG Case 2.3",
            "DEBUG Time vector leaving addEvent_i: \n\tTime event 0 : 1s : ON\n\tTime event 1 : 2s : OFF"
            "\n\tTime event 2 : 3s : ON\n\tTime event 3 : 4s : OFF"));
}

TEST(WidebandTimelineTest, TimesOutOfOrderAreWalkedAsTheyStand)
{
    Timeline timeline;
    ASSERT_TRUE(add(timeline, {1, 2, 3, 4, 1.5, 3.5}));
    // 1 on, 1.5 off, 2 on, 3.5 off, 3 on, 4 off
    EXPECT_TRUE(timeline.getTarget(1.2));
    EXPECT_FALSE(timeline.getTarget(1.7));
    EXPECT_TRUE(timeline.getTarget(3.2));
    EXPECT_TRUE(timeline.getTarget(3.6)) << "3.5 and 3 are reached together";
    EXPECT_FALSE(timeline.getTarget(4.1));
}

TEST(WidebandToneTest, TargetsFollowTheTones)
{
    const TargetRow TABLE[] = {
        {"any frequency", {"WB_SF_TONE", "OTHER"}, {{400, 560, "SF:440"}}, "01 01 01 10 10 01 01 01"},
        {"labels of other kinds",
         {"WB_SF_TONE", "OTHER"},
         {{0, 800, "AM:1000:20"}, {0, 800, "WB_SF_TONE"}, {0, 800, "1000"}},
         "01 01 01 01 01 01 01 01"},
        {"other classes stay empty",
         {"SF:440", "wb_sf_tone", "OTHER"},
         {{0, 800, "SF:440"}},
         "001 001 001 001 001 001 001 001"},
        {"the tones of a dual tone cancel",
         {"WB_SF_TONE", "OTHER"},
         {{0, 800, "SF:697"}, {0, 800, "SF:1209"}},
         "01 01 01 01 01 01 01 01"},
        {"a part of a tone is overlapped",
         {"WB_SF_TONE", "OTHER"},
         {{0, 800, "SF:697"}, {400, 560, "SF:1209"}},
         "10 10 10 01 01 10 10 10"},
        {"a later cue that starts earlier",
         {"WB_SF_TONE"},
         {{400, 560, "SF:1"}, {0, 480, "SF:2"}},
         "refused"},
    };
    const AssertionCapture assertions;
    for (const TargetRow& row : TABLE)
    {
        const LogCapture log(LOGGER);
        const std::string strTargets = recordedTargets<DataGeneratorForWidebandToneDetector>(
            audioConfig(row.m_vClasses), row.m_vRegions);
        EXPECT_EQ(strTargets, row.m_targets) << row.m_name;
        EXPECT_EQ(log.count("ERROR Error found parsing "), strTargets == "refused" ? 1u : 0u) << row.m_name;
        EXPECT_EQ(
            log.count("ERROR The tone from 0 to 0.06 s overlaps the later one from 0.05 to 0.07 s that "),
            strTargets == "refused" ? 1u : 0u)
            << row.m_name;
    }
}

TEST_F(ToneSetTest, EachTonePassesOverAllRecordings)
{
    ASSERT_TRUE(set({"OTHER", "SF:1000", "SF:1400"}, "1.wav\n2.wav\n"));
    const LogCapture log("quillcast.ml.generator.FileSetDataGenerator.summary");
    const std::string strAll = "01 01 01 10 10 01 01 01 10 10 10 10 01 01 01 01 " // SF:1000
                               "10 10 10 10 01 01 01 01 01 01 01 01 01 01 01 01"; // SF:1400
    EXPECT_EQ(readTargets(m_generator), strAll);
    const std::string strFiles = "INFO 2 file(s) listed, 2 used, 0 skipped. Patterns: 16 (0.16s); ";
    EXPECT_THAT(log.lines(), ElementsAre(strFiles + "SF:1000: 6 (0.06s); OTHER: 10 (0.1s)",
                                         strFiles + "SF:1400: 4 (0.04s); OTHER: 12 (0.12s)"));
}

TEST_F(ToneSetTest, FrequencyOfTheToneIsPartOfTheInput)
{
    ASSERT_TRUE(set({"SF:1000", "SF:2000"}, "2.wav\n3.wav\n"));
    const std::string strAll = readAll(m_generator);
    // 1000 of 4000 and of 8000 Hz, then 2000 of both
    std::size_t uiPlace = 0;
    for (const char* input : {"[7 0.25]->", "[7 0.125]->", "[7 0.5]->", "[7 0.25]->"})
    {
        uiPlace = strAll.find(input, uiPlace);
        EXPECT_NE(uiPlace, std::string::npos) << input;
    }
    ASSERT_TRUE(set({"SF:1000"}, "2.wav\n", false));
    EXPECT_THAT(readAll(m_generator), testing::StartsWith("[7]->[1 0];"));
}

TEST_F(ToneSetTest, StatusTellsTheTone)
{
    const LogCapture log("quillcast.ml.generator"); // no details in the status
    ASSERT_TRUE(set({"SF:1000", "SF:1400"}, "1.wav\n"));
    EXPECT_EQ(statusOf(m_generator), "All files have been processed") << "before the start";
    ASSERT_TRUE(m_generator.gotoStart());
    for (int k = 0; k < 9; ++k)
        ASSERT_TRUE(m_generator.generateNext());
    EXPECT_EQ(statusOf(m_generator), "Current class SF:1400, constant input = 0.35 File " +
                                         m_folder.path("1.wav") + " : Pattern 1, Audio time: 0.025s");
}

TEST_F(ToneSetTest, TonesThatNobodyAnnotatesAreLeftOut)
{
    // 1005 is 11 Hz away from 1016.
    ASSERT_TRUE(set({"SF:1016", "SF:.*", "SF:2000"}, "1.wav\n2.wav\n"));
    EXPECT_EQ(readTargets(m_generator), "01 01 01 01 01 01 01 01 10 10 10 10 10 10 10 10");
    EXPECT_THAT(m_log.lines(),
                ElementsAre("WARN Class SF:1016 is left out: no recording has an annotation of it",
                            "WARN Class SF:.* is left out: it names no tone of a single frequency"));
    EXPECT_TRUE(set({"SF:300"}, "1.wav\n"));
    EXPECT_FALSE(m_generator.gotoStart());
    EXPECT_FALSE(m_generator.generateNext());
    EXPECT_TRUE(m_log.has("ERROR Could not find any valid classes to be used with annotated file. Check the "
                          "m_vClasses value used to configure the data generator"));
    EXPECT_FALSE(set({"SF:1000"}, "") && m_generator.gotoStart());
    AudioSetDataGeneratorForToneDetector::Config negative;
    negative.m_iFrequencyTolerance = -1;
    EXPECT_FALSE(m_generator.configure(negative));
    EXPECT_EQ(m_log.lines().back(), "ERROR The frequency tolerance -1 Hz is negative");
}
