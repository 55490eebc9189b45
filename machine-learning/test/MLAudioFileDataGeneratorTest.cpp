#include "MLAudioFileDataGenerator.h"
#include "AudioPasses.h"
#include "MLDataGeneratorForAMToneDetector.h"
#include "MLDataGeneratorForVad.h"
#include "MLScalingDataGenerator.h"
#include "MLVadAudioFileDataGenerator.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "quillcast-audio/Annotation.h"

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.AudioFileDataGenerator";

/// Shows what is protected.
class OpenGenerator : public AudioFileDataGenerator
{
public:
    using AudioFileDataGenerator::buildTimeEventVector;
    using AudioFileDataGenerator::EventVectors;
    using AudioFileDataGenerator::gotoAudioTime;
    using AudioFileDataGenerator::isAnnotationUsable_i;

    bool getRegexForClass(const char* in_class, std::string& out_strRegex) override
    {
        ++m_iAsked;
        return AudioFileDataGenerator::getRegexForClass(in_class, out_strRegex);
    }

    int m_iAsked = 0;
};

class AudioGeneratorTest : public testing::Test
{
protected:
    std::string record(const std::vector<WavRegion>& in_vRegions)
    {
        return m_folder.write("recording.wav", toneRecording(in_vRegions));
    }

    /// m_generator over a recording with these annotations; its name.
    std::string set(const StringVector& in_vClasses, const std::vector<WavRegion>& in_vRegions)
    {
        return setRecording(m_generator, m_folder, audioConfig(in_vClasses), in_vRegions);
    }

    TempDir m_folder;
    OpenGenerator m_generator;
};

} // namespace

TEST_F(AudioGeneratorTest, TargetsFollowTheAnnotations)
{
    const TargetRow TABLE[] = {
        // [400, 560) samples are [0.05, 0.07) s: the times 0.055 and 0.065.
        {"one class and the rest", {"A", "OTHER"}, {{400, 560, "A"}}, "01 01 01 10 10 01 01 01"},
        {"the rest is last wherever it stands", {"OTHER", "A"}, {{400, 560, "A"}}, "01 01 01 10 10 01 01 01"},
        {"letter case and expressions", {"a.*", "OTHER"}, {{0, 800, "Alpha"}}, "10 10 10 10 10 10 10 10"},
        {"whole labels only", {"lph", "OTHER"}, {{0, 800, "Alpha"}}, "01 01 01 01 01 01 01 01"},
        {"two classes at once", {"A", "B"}, {{0, 800, "A"}, {0, 400, "B"}}, "11 11 11 10 10 10 10 10"},
        // Sample 360 is 0.045 s, the time of window 2: not yet in progress there.
        {"start at the time of a window", {"A", "OTHER"}, {{360, 800, "A"}}, "01 01 01 10 10 10 10 10"},
        {"annotation nobody asked for", {"A", "OTHER"}, {{0, 800, "B"}}, "01 01 01 01 01 01 01 01"},
        {"uncovered point ends the stream", {"A"}, {{0, 400, "A"}}, "1 1 1!"},
        {"no class", {}, {{0, 800, "A"}}, "!"},
        {"nothing but the rest", {"OTHER"}, {}, "1 1 1 1 1 1 1 1"},
        {"overlap", {"A", "OTHER"}, {{0, 400, "A"}, {200, 600, "A"}}, "refused"},
        {"overlap of another class",
         {"A", "OTHER"},
         {{0, 800, "A"}, {0, 400, "B"}, {200, 600, "B"}},
         "10 10 10 10 10 10 10 10"},
        {"touching in file order", {"A", "OTHER"}, {{0, 400, "A"}, {400, 600, "A"}}, "refused"},
        // Sample 600 is 0.075 s, the time of window 5: still in progress there.
        {"touching in the other order",
         {"A", "OTHER"},
         {{400, 600, "A"}, {0, 400, "A"}},
         "10 10 10 10 10 10 01 01"},
    };
    const AssertionCapture assertions;
    for (const TargetRow& row : TABLE)
        EXPECT_EQ(recordedTargets<AudioFileDataGenerator>(audioConfig(row.m_vClasses), row.m_vRegions),
                  row.m_targets)
            << row.m_name;
    AudioFileDataGenerator::Config limited = audioConfig({"OTHER"});
    limited.m_dMaxAudioTime = 0.045; // the time of window 2, which does not exceed it
    EXPECT_EQ(recordedTargets<AudioFileDataGenerator>(limited, {}), "1 1 1") << "a clean end";
}

TEST_F(AudioGeneratorTest, RecordingShorterThanAWindowIsTold)
{
    const std::string strFile = setRecording(m_generator, m_folder, audioConfig({"OTHER"}), {}, 199);
    const LogCapture log(LOGGER, LogLevel::WARN);
    EXPECT_EQ(readTargets(m_generator), "");
    EXPECT_TRUE(m_generator.endedCleanly());
    EXPECT_EQ(log.text(), "WARN Recording " + strFile + " is shorter than a window: there is no pattern\n");
}

TEST_F(AudioGeneratorTest, InputsAreTheFeaturesOfEachWindow)
{
    set({"OTHER"}, {});
    ASSERT_TRUE(m_generator.gotoStart());
    DoubleVector vInput;
    EXPECT_EQ(m_generator.getCurrentAudioTime(), 0.0);
    for (int k = 0; k < 8; ++k)
    {
        ASSERT_TRUE(m_generator.generateNext() && m_generator.getInput(vInput));
        EXPECT_EQ(m_generator.getCurrentAudioTime(), (80 * k + 200) / 8000.0);
        ASSERT_EQ(vInput.size(), 1u);
        // 25 periods of 8 samples at half of full scale: 200 * 0.5^2 / 2 = 25, up to the rounding of samples.
        EXPECT_NEAR(vInput[0], 25.0, 0.01);
    }
    EXPECT_FALSE(m_generator.atEnd());
    EXPECT_FALSE(m_generator.generateNext());
}

TEST_F(AudioGeneratorTest, FrequencyToleranceIncludesItsEnds)
{
    const auto isUsable = [&](const char* in_label)
    {
        return m_generator.isAnnotationUsable_i(in_label, "SF:1000");
    };
    EXPECT_TRUE(isUsable("SF:990") && isUsable("1010 Hz"));
    EXPECT_FALSE(isUsable("SF:989") || isUsable("SF:1011"));
    m_generator.setFrequencyClassTolerance(0);
    EXPECT_TRUE(isUsable("sf:1000"));
    EXPECT_FALSE(isUsable("SF:1001"));
    m_generator.setFrequencyClassTolerance(4000000000u);
    EXPECT_TRUE(isUsable("SF:1") && isUsable("SF:2000000000"));
}

TEST_F(AudioGeneratorTest, ClassesAreMatchedWithoutARecording)
{
    EXPECT_TRUE(m_generator.isAnnotationUsable_i("Alpha", "a.*"));
    EXPECT_FALSE(m_generator.isAnnotationUsable_i("Beta", "a.*") ||
                 m_generator.isAnnotationUsable_i("Alpha", "b.*"));
    OpenGenerator::EventVectors vEvents;
    ASSERT_TRUE(
        m_generator.buildTimeEventVector({"b.*", "OTHER"}, {{"Alpha", 0, 1}, {"Beta", 2, 3}}, "", vEvents));
    ASSERT_EQ(vEvents.size(), 1u);
    EXPECT_EQ(vEvents[0]->getEventCount(), 1u);
    EXPECT_EQ(m_generator.m_iAsked, 1);
}

TEST_F(AudioGeneratorTest, ExpressionsAreAskedForOnceAClassAndMayFail)
{
    const LogCapture log(LOGGER);
    const std::string strLong(5000, 'a');
    set({"(", "(a+)+b", "OTHER"}, {{0, 400, "x"}, {400, 800, strLong}});
    EXPECT_EQ(m_generator.m_iAsked, 2);
    const std::string strText = "ERROR Unexpected std::runtime exception caught in "
                                "AudioFileDataGenerator::setCurrentFilename with regex: ";
    EXPECT_THAT(log.lines(), ElementsAre(strText + "\"(\" for annotation 'x'",
                                         strText + "\"(\" for annotation '" + strLong + "'",
                                         strText + "\"(a+)+b\" for annotation '" + strLong + "'"));
    EXPECT_EQ(readTargets(m_generator), "001 001 001 001 001 001 001 001");
}

TEST_F(AudioGeneratorTest, FilesThatCannotBeUsed)
{
    ASSERT_TRUE(m_generator.configure(audioConfig({"A"})));
    const std::string strOtherRate =
        m_folder.write("rate.wav", annotatedWav(16000, std::vector<int>(1600), {}));
    const std::string strText = m_folder.write("text.wav", "no recording");
    const std::string strOverlap = record({{0, 400, "A"}, {200, 600, "A"}});
    const std::pair<std::string, std::string> TABLE[] = {
        {"/does/not/exist.wav", "ERROR Could not open /does/not/exist.wav for reading"},
        {m_folder.path(), "ERROR Could not open " + m_folder.path() + " for reading"},
        {strText, "ERROR failed to load annotations from WAV file " + strText},
        {strOtherRate, "ERROR Could not set source file " + strOtherRate + " in AudioFileReader"},
        {strOverlap, "ERROR Could not match datagenerator's classes with input file annotations"},
    };
    const LogCapture log(LOGGER);
    const AssertionCapture assertions;
    for (const auto& [strFile, strMessage] : TABLE)
    {
        EXPECT_FALSE(m_generator.setCurrentFilename(strFile.c_str())) << strFile;
        EXPECT_EQ(log.lines().back(), strMessage);
        EXPECT_FALSE(m_generator.gotoStart() || m_generator.generateNext()) << "the earlier one has gone";
    }
    ASSERT_TRUE(m_generator.setCurrentFilename(record({{0, 800, "A"}}).c_str()));
    EXPECT_EQ(readTargets(m_generator), "1 1 1 1 1 1 1 1");
}

TEST_F(AudioGeneratorTest, ConfigurationsThatCannotBeUsed)
{
    const LogCapture log(LOGGER);
    AudioFileDataGenerator::Config senseless = audioConfig({"OTHER"});
    senseless.m_audioConfig.m_uiWindowShift = 0;
    EXPECT_FALSE(m_generator.configure(senseless));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Error configuring AudioFileReader"));

    const AssertionCapture assertions;
    ASSERT_TRUE(m_generator.configure(audioConfig({"OTHER"}, nullptr)));
    ASSERT_TRUE(m_generator.setCurrentFilename(record({}).c_str()));
    EXPECT_FALSE(m_generator.gotoStart());
    EXPECT_FALSE(m_generator.generateNext());
    EXPECT_EQ(assertions.conditions(), Texts(2, "!m_pFeatureComputer.isNull()"));

    // A configuration that the recording does not suit is for the next one.
    AudioFileDataGenerator::Config otherRate = audioConfig({"OTHER"});
    otherRate.m_audioConfig.m_uiSamplingRate = 44100;
    ASSERT_TRUE(m_generator.configure(otherRate));
    EXPECT_FALSE(m_generator.gotoStart() || m_generator.generateNext());
    ASSERT_TRUE(m_generator.configure(audioConfig({"OTHER"})));
    EXPECT_FALSE(m_generator.gotoStart());
    EXPECT_TRUE(m_generator.setCurrentFilename(record({}).c_str()) && m_generator.gotoStart());
}

TEST_F(AudioGeneratorTest, UncoveredPointIsTold)
{
    const std::string strFile = set({"A"}, {{0, 400, "A"}});
    const LogCapture log(LOGGER);
    const AssertionCapture assertions;
    DoubleVector vVector;
    EXPECT_EQ(readTargets(m_generator), "1 1 1");
    EXPECT_FALSE(m_generator.getInput(vVector) || m_generator.getTarget(vVector));
    EXPECT_THAT(assertions.conditions(), ElementsAre("generateTarget()"));
    EXPECT_THAT(log.lines(), ElementsAre("WARN No class covers the window at 0.055s of file " + strFile +
                                             ": the stream stops there",
                                         "ERROR Classes are not exhaustive in file " + strFile +
                                             ". Point at time 0.055 does not belong to any class"));
}

TEST_F(AudioGeneratorTest, ErrorsAreCountedByStatusDumps)
{
    const std::string strFile = set({"OTHER"}, {});
    const LogCapture log(LOGGER);
    for (std::size_t uiPass = 1; uiPass <= 2; ++uiPass)
    {
        std::string strStatus;
        ASSERT_TRUE(m_generator.gotoStart());
        while (m_generator.generateNext())
            if (m_generator.getCurrentAudioTime() > 0.07)
                strStatus += statusOf(m_generator) + '/';
        EXPECT_EQ(strStatus, "Pattern 6, Audio time: 0.075s/Pattern 7, Audio time: 0.085s/"
                             "Pattern 8, Audio time: 0.095s/");
        // 3 of 8 are 37.5 %, in whole numbers 37 %
        EXPECT_EQ(log.lines(), Texts(uiPass, "INFO Number of errors on file " + strFile + " : 3/8 (37%)"));
    }
}

TEST_F(AudioGeneratorTest, IntervalsAreToldForDebugging)
{
    // [408, 424) samples lie between the times of windows 2 (sample 360) and 3 (440).
    const std::string strFile = set({"A", "B", "OTHER"}, {{0, 240, "A"}, {408, 424, "A"}, {480, 800, "A"}});
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    for (std::size_t uiPass = 1; uiPass <= 2; ++uiPass)
    {
        readTargets(m_generator);
        EXPECT_EQ(
            log.count("DEBUG Class A of file " + strFile +
                      ": 3 interval(s) annotated, 2 delivered, 1 annotated without any window that sees it"),
            uiPass)
            << log.text();
        EXPECT_EQ(
            log.count("DEBUG Class B of file " + strFile + ": 0 interval(s) annotated, 0 delivered, 0 "),
            uiPass);
    }
}

TEST_F(AudioGeneratorTest, TransitionWindowsAndJumps)
{
    set({"A", "OTHER"}, {{400, 560, "A"}}); // [0.05, 0.07) s
    ASSERT_TRUE(m_generator.gotoStart());
    std::string strTransitions;
    while (m_generator.generateNext())
        strTransitions += m_generator.isTransitionWindowForTarget(0) ? 'T' : '.';
    // Window k covers (0.01 k, 0.025 + 0.01 k): 0.05 lies within k = 3 and 4, 0.07 within k = 5 and 6.
    EXPECT_EQ(strTransitions, "...TTTT.");
    const AssertionCapture assertions;
    EXPECT_FALSE(m_generator.isTransitionWindowForTarget(1));
    EXPECT_THAT(assertions.conditions(), ElementsAre("in_uiTargetIndex < m_vEventVecPtr.size()"));

    DoubleVector vTarget;
    ASSERT_TRUE(m_generator.gotoStart());
    ASSERT_TRUE(m_generator.gotoAudioTime(0.03)); // sample 240: the window [240, 440) ends at 0.055 s
    ASSERT_TRUE(m_generator.generateNext() && m_generator.getTarget(vTarget));
    EXPECT_EQ(m_generator.getCurrentAudioTime(), 0.055);
    EXPECT_EQ(vTarget, (DoubleVector{1, 0}));
    EXPECT_FALSE(m_generator.gotoAudioTime(1.0));
}

TEST(AudioGeneratorsTest, ConfigurationsOfOtherKindsAndClassesAreRefused)
{
    const LogCapture log("quillcast.ml");
    const AssertionCapture assertions;
    const DataGeneratorWithConfig::Config none;
    const DataGeneratorForAMToneDetector::Config am;
    AudioFileDataGenerator base;
    DataGeneratorForAMToneDetector amTones;
    VadAudioFileDataGenerator voice;
    DataGeneratorForVad smoothed;
    VectorFileDataGenWithFeatureComputer features;
    ScalingDataGenerator scaling;
    EXPECT_FALSE(base.configure(none) || base.configure(am) || amTones.configure(audioConfig({"OTHER"})) ||
                 voice.configure(none) || features.configure(audioConfig({})) || scaling.configure(none));
    const auto refusal = [](const std::string& in_strClass)
    {
        return "ERROR Could not configure " + in_strClass + " : configuration provided is not a " +
               in_strClass + "::Config";
    };
    EXPECT_THAT(log.lines(),
                ElementsAre(refusal("AudioFileDataGenerator"), refusal("AudioFileDataGenerator"),
                            refusal("DataGeneratorForAMToneDetector"), refusal("VadAudioFileDataGenerator"),
                            refusal("VectorFileDataGenWithFeatureComputer"),
                            refusal("ScalingDataGenerator")));
    EXPECT_FALSE(smoothed.configure(none));
    for (const StringVector& vClasses : {StringVector{"VOICE"}, {"A", "OTHER"}, {"VOICE", "other"}})
        EXPECT_FALSE(voice.configure(audioConfig(vClasses)) || smoothed.configure(audioConfig(vClasses)));
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("myConfig.m_vClasses.size() == 2", "myConfig.m_vClasses.size() == 2",
                            "myConfig.m_vClasses[0] == \"VOICE\"", "myConfig.m_vClasses[0] == \"VOICE\"",
                            "myConfig.m_vClasses[1] == \"OTHER\"", "myConfig.m_vClasses[1] == \"SILENCE\""));
}
