// Targets of voice: weak windows taken out, and smoothing of single recordings and of sets.

#include "AudioPasses.h"
#include "MLAudioSetDataGeneratorForVad.h"
#include "MLDataGeneratorForVad.h"
#include "MLVadAudioFileDataGenerator.h"

namespace
{

/// The rule over a recording: V and S are annotated as voice and silence. In the result, lower-case letters
/// are held, and ? is a window of incertitude.
std::string smooth(VadTargetSmoother& io_smoother, const std::string& in_strAnnotated)
{
    std::string strResult;
    for (const char cAnnotated : in_strAnnotated)
    {
        const DoubleVector vTarget = cAnnotated == 'V' ? DoubleVector{1, 0} : DoubleVector{0, 1};
        switch (io_smoother.advance(vTarget))
        {
        case VadTargetSmoother::Source::ANNOTATION:
            strResult += cAnnotated;
            break;
        case VadTargetSmoother::Source::PREVIOUS:
            strResult += io_smoother.getPreviousTarget() == DoubleVector{1, 0} ? 'v' : 's';
            break;
        case VadTargetSmoother::Source::INPUT:
            strResult += '?';
            break;
        }
    }
    return strResult;
}

/// Windows 0 to 2, which end by 0.045 s, are voice, the other five silence.
const std::vector<WavRegion> CHANGE{{0, 360, "VOICE"}, {361, 800, "SILENCE"}};

/// Reads VOICE and SILENCE.
class SmoothedVoiceTest : public testing::Test
{
protected:
    /// The targets of two equal passes over a change, whatever the recording: the features are fixed.
    static std::string read(double in_dFeature, std::size_t in_uiDebouncing, std::size_t in_uiIncertitude)
    {
        const TempDir folder;
        DataGeneratorForVad generator;
        generator.setDebouncingWindows(in_uiDebouncing);
        generator.setIncertitudeWindows(in_uiIncertitude);
        setRecording(generator, folder, audioConfig({"VOICE", "SILENCE"}, new FixedFeatures({in_dFeature})),
                     CHANGE);
        const std::string strFirst = readTargets(generator);
        EXPECT_EQ(readTargets(generator), strFirst) << "a pass begins afresh";
        return strFirst;
    }

    /// The set over these recordings of 8 windows.
    bool set(const std::string& in_strList, std::uint32_t in_uiDebouncing, std::uint32_t in_uiIncertitude,
             FeatureComputer* in_pFeatures = new EnergyFeatureComputer)
    {
        m_folder.write("change.wav", toneRecording(CHANGE));
        m_folder.write("silence.wav", toneRecording({{0, 800, "silence"}}));
        m_folder.write("voice.wav", toneRecording({{0, 800, "Voice"}}));
        m_folder.write("plain.wav", toneRecording({}));
        AudioSetDataGeneratorForVad::Config config;
        config.m_audioGenConfig = audioConfig(m_vClasses, in_pFeatures);
        config.m_uiDebouncingWindows = in_uiDebouncing;
        config.m_uiIncertitudeWindows = in_uiIncertitude;
        return m_set.configure(config) &&
               m_set.setCurrentFilename(m_folder.write("set.lst", in_strList).c_str());
    }

    TempDir m_folder;
    StringVector m_vClasses{"VOICE", "SILENCE"};
    AudioSetDataGeneratorForVad m_set;
    const LogCapture m_quiet{"quillcast.ml.generator", LogLevel::OFF}; // and no details in the status
    AssertionCapture m_assertions;
};

} // namespace

TEST(VadAudioFileDataGeneratorTest, WeakWindowsAreNoVoice)
{
    // 200 samples of a window of the level a: 200 (a / 32768)^2 is 0.00994 for 231 and 0.01002 for 232, of
    // either sign; silence is 0.
    std::vector<int> vSamples(800, 231);
    std::fill(vSamples.begin() + 400, vSamples.end(), -232);
    const TempDir folder;
    const std::string strFile =
        folder.write("recording.wav", annotatedWav(RATE, vSamples, {{0, 720, "VOICE"}, {720, 800, "OTHER"}}));
    VadAudioFileDataGenerator generator;
    ASSERT_TRUE(generator.configure(audioConfig({"VOICE", "OTHER"})));
    ASSERT_TRUE(generator.setCurrentFilename(strFile.c_str()));
    const LogCapture log("quillcast.ml.VadAudioFileDataGenerator", LogLevel::DEBUGGING);
    // Window k begins at 80 k: 0 to 2 hold only the weak level; 3 [240, 440) has 160 weak samples and 40
    // strong ones, 160 * 231^2 + 40 * 232^2 = 10690720 < 0.01 * 32768^2 = 10737418; 4 [320, 520) has 80 and
    // 120, 10727760, too little as well; from 5 [400, 600) on all are strong. 7 ends at 0.095 s, after the
    // annotation, which ends at 0.09 s.
    EXPECT_EQ(readTargets(generator), "01 01 01 01 01 10 10 01");
    EXPECT_EQ(log.count("DEBUG Current SUMSQUAREDAMPLITUDE is: 0.01"), 3u) << log.text();
    EXPECT_EQ(log.count("DEBUG Removing VOICE annotation at audio time: "), 5u);
    EXPECT_TRUE(log.has("DEBUG Removing VOICE annotation at audio time: 0.025"));
}

TEST(VadTargetSmootherTest, HoldsAndHandsOver)
{
    const std::tuple<std::size_t, std::size_t, const char*, const char*> TABLE[] = {
        {0, 0, "VVSSVVSS", "VVSSVVSS"},
        {1, 0, "VVSSVVSS", "VVSSVVSS"},
        // D - 1 windows of hangover
        {2, 0, "VVSSSS", "VVvSSS"},
        {3, 0, "VVSSSS", "VVvvSS"},
        {5, 0, "VSSSSSSSVSS", "VvvvvSSSVvv"},
        // Only voice is held, and only after voice.
        {3, 0, "SSVVSSS", "SSVVvvS"},
        {3, 0, "SSSS", "SSSS"},
        // Voice that comes back in time breaks the hangover off; the next one is whole again.
        {4, 0, "VSSVSSSSS", "VvvVvvvSS"},
        {4, 0, "VSSVVSSSSS", "VvvVVvvvSS"},
        // then I windows of incertitude, whatever they are annotated as
        {3, 2, "VVSSSSSS", "VVvv??SS"},
        {2, 3, "VSSSSSS", "Vv???SS"},
        {2, 3, "VSVVVVSS", "Vv???Vv?"},
        {2, 1, "VSSS", "Vv?S"},
        // Voice that comes back on the window that would end the hangover begins the incertitude.
        {3, 2, "VSSVVVV", "Vvv??VV"},
        // Below two debouncing windows the incertitude has nothing to do with the end of voice.
        {1, 2, "VVVVSSSS", "V??V??S?"},
        {0, 2, "VVVSS", "??VSS"},
    };
    for (const auto& [uiDebouncing, uiIncertitude, annotated, smoothed] : TABLE)
    {
        VadTargetSmoother smoother;
        smoother.setDebouncingWindows(uiDebouncing);
        smoother.setIncertitudeWindows(uiIncertitude);
        for (int iPass = 0; iPass < 2; ++iPass)
        {
            EXPECT_EQ(smooth(smoother, annotated), smoothed) << uiDebouncing << ' ' << uiIncertitude;
            smoother.reset();
        }
    }
}

TEST_F(SmoothedVoiceTest, TargetsOfARecordingAreSmoothed)
{
    EXPECT_EQ(read(0.5, 0, 0), "10 10 10 01 01 01 01 01");
    EXPECT_EQ(read(0.5, 3, 0), "10 10 10 10 10 01 01 01");
    EXPECT_EQ(read(0.0, 3, 2), "10 10 10 10 10 01 01 01");
    EXPECT_EQ(read(1.0, 3, 2), "10 10 10 10 10 10 10 01") << "the input decides two windows";
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
    EXPECT_EQ(read(0.5, 3, 2), "10 10 10 10 10 01 01 01") << "the input says nothing";
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("false", "false", "false", "false")) << "two passes";
}

TEST_F(SmoothedVoiceTest, TargetOfAWindowIsDecidedOnce)
{
    DataGeneratorForVad generator;
    generator.setDebouncingWindows(3);
    setRecording(generator, m_folder, audioConfig({"VOICE", "SILENCE"}), CHANGE);
    ASSERT_TRUE(generator.gotoStart());
    for (int k = 0; k < 5; ++k)
        ASSERT_TRUE(generator.generateNext());
    DoubleVector vTarget;
    for (int i = 0; i < 4; ++i)
    {
        ASSERT_TRUE(generator.getTarget(vTarget));
        EXPECT_EQ(vTarget, (DoubleVector{1, 0})) << "held, though no earlier target was asked for";
    }
    EXPECT_EQ(generator.getAnnotatedTarget(), (DoubleVector{0, 1}));

    setRecording(generator, m_folder, audioConfig({"VOICE", "SILENCE"}),
                 {{0, 240, "VOICE"}, {0, 240, "SILENCE"}}, 200);
    EXPECT_EQ(readTargets(generator), "11");
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("(out_vTarget[0] == 0.0 && out_vTarget[1] == 1.0 ) || (out_vTarget[0] == 1.0 && "
                            "out_vTarget[1] == 0.0 )"));
}

TEST_F(SmoothedVoiceTest, ASetIsSmoothedWithinARecordingOnly)
{
    const std::string strSilence = "01 01 01 01 01 01 01 01";
    const std::string strVoice = "10 10 10 10 10 10 10 10";
    for (const std::uint32_t uiIncertitude : {0u, 2u})
    {
        ASSERT_TRUE(set("voice.wav\nsilence.wav\nchange.wav\nvoice.wav\n", 3, uiIncertitude));
        EXPECT_EQ(readTargets(m_set), strVoice + ' ' + strSilence + " 10 10 10 10 10 01 01 01 " + strVoice);
    }
    EXPECT_THAT(m_assertions.conditions(), IsEmpty()) << "the energies say nothing: it is as annotated";
    // Features whose average says something decide.
    ASSERT_TRUE(set("change.wav\n", 3, 2, new FixedFeatures({0.5, 1.5})));
    EXPECT_EQ(readTargets(m_set), "10 10 10 10 10 10 10 01");
    EXPECT_THAT(readAll(m_set), testing::StartsWith("[0.5 1.5]->[1 0];")) << "the features alone";
}

TEST_F(SmoothedVoiceTest, StatusOfASetTellsTheAnnotatedClass)
{
    const std::string strFile = "File " + m_folder.path("change.wav") + " : ";
    ASSERT_TRUE(set("change.wav\n", 3, 0) && m_set.gotoStart());
    EXPECT_EQ(statusOf(m_set),
              "Current class VOICE, constant input = 1 " + strFile + "Pattern 0, Audio time: 0s");
    for (int k = 0; k < 4; ++k)
        ASSERT_TRUE(m_set.generateNext());
    EXPECT_EQ(statusOf(m_set),
              "Current class SILENCE, constant input = 0 " + strFile + "Pattern 4, Audio time: 0.055s")
        << "before smoothing";
    while (m_set.generateNext())
        ;
    EXPECT_EQ(statusOf(m_set), "Current class VOICE, constant input = 1 All files have been processed");

    ASSERT_TRUE(set("silence.wav\n", 3, 0) && m_set.gotoStart());
    EXPECT_THAT(statusOf(m_set), testing::StartsWith("Current class SILENCE, constant input = 0 File "))
        << "the only class that is valid";
}

TEST_F(SmoothedVoiceTest, ClassesThatNobodyAnnotatesAreTold)
{
    const LogCapture log("quillcast.ml.AudioSetDataGeneratorForVad");
    EXPECT_TRUE(set("plain.wav\n", 0, 0)) << "naming goes on";
    EXPECT_EQ(statusOf(m_set), "Current class , constant input = 0 All files have been processed");
    EXPECT_TRUE(m_set.gotoStart());
    EXPECT_FALSE(m_set.generateNext()) << "the first window is not covered";
    EXPECT_FALSE(m_set.endedCleanly());
    m_vClasses = {"OTHER"};
    EXPECT_TRUE(set("voice.wav\n", 0, 0));
    EXPECT_FALSE(m_set.gotoStart()) << "no recording takes these classes";
    EXPECT_EQ(log.lines(), Texts(2, "ERROR Could not find any valid classes to be used with annotated file. "
                                    "Check the m_vClasses value used to configure the data generator"));
    EXPECT_FALSE(m_set.configure(audioConfig({"VOICE", "SILENCE"})));
}
