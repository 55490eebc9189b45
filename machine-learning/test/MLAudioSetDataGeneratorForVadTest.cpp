#include "MLAudioSetDataGeneratorForVad.h"
#include "AudioPasses.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::readTargets;

namespace
{

constexpr const char* NO_CLASSES =
    "ERROR Could not find any valid classes to be used with annotated file. Check the m_vClasses value used "
    "to configure the data generator";

class AudioSetForVadTest : public testing::Test
{
protected:
    AudioSetForVadTest()
    {
        // Windows 0 to 2 are voice, the other five silence; then all eight silence; then all voice.
        m_folder.write("change.wav", Testing::toneRecording({{0, 360, "VOICE"}, {361, 800, "SILENCE"}}));
        m_folder.write("silence.wav", Testing::toneRecording({{0, 800, "silence"}}));
        m_folder.write("voice.wav", Testing::toneRecording({{0, 800, "Voice"}}));
    }

    bool set(AudioSetDataGeneratorForVad& io_set, const std::string& in_strList)
    {
        return io_set.setCurrentFilename(m_folder.write("set.lst", in_strList).c_str());
    }

    static AudioSetDataGeneratorForVad::Config config(std::uint32_t in_uiDebouncing,
                                                      std::uint32_t in_uiIncertitude)
    {
        AudioSetDataGeneratorForVad::Config result;
        result.m_audioGenConfig = Testing::audioConfig({"VOICE", "SILENCE"});
        result.m_uiDebouncingWindows = in_uiDebouncing;
        result.m_uiIncertitudeWindows = in_uiIncertitude;
        return result;
    }

    Testing::TempDir m_folder;
};

} // namespace

TEST_F(AudioSetForVadTest, SmoothsWithinARecordingOnly)
{
    const std::string strChange = "10 10 10 10 10 01 01 01";
    const std::string strSilence = "01 01 01 01 01 01 01 01";
    const std::string strVoice = "10 10 10 10 10 10 10 10";
    for (const std::uint32_t uiIncertitude : {0u, 2u})
    {
        AudioSetDataGeneratorForVad generator;
        ASSERT_TRUE(generator.configure(config(3, uiIncertitude)));
        ASSERT_TRUE(set(generator, "voice.wav\nsilence.wav\nchange.wav\nvoice.wav\n"));
        // The energies of the windows say nothing: incertitude is as annotated, without any assertion.
        const Testing::AssertionCapture assertions;
        const std::string strAll = strVoice + ' ' + strSilence + ' ' + strChange + ' ' + strVoice;
        EXPECT_EQ(readTargets(generator), strAll);
        EXPECT_EQ(readTargets(generator), strAll);
        EXPECT_TRUE(generator.atEnd());
        EXPECT_THAT(assertions.conditions(), ElementsAre());
    }
}

TEST_F(AudioSetForVadTest, FeaturesWhoseAverageSaysSomethingDecide)
{
    AudioSetDataGeneratorForVad::Config one = config(3, 2);
    one.m_audioGenConfig.m_pFeatureComputer =
        CloneableObjPtr<FeatureComputer>(new Testing::FixedFeatures({0.5, 1.5}));
    AudioSetDataGeneratorForVad generator;
    ASSERT_TRUE(generator.configure(one));
    ASSERT_TRUE(set(generator, "change.wav\n"));
    EXPECT_EQ(readTargets(generator), "10 10 10 10 10 10 10 01");
    DoubleVector vInput;
    ASSERT_TRUE(generator.gotoStart() && generator.generateNext() && generator.getInput(vInput));
    EXPECT_EQ(vInput, (DoubleVector{0.5, 1.5})) << "the input is that of the features alone";
}

TEST_F(AudioSetForVadTest, StatusTellsTheAnnotatedClass)
{
    const Testing::LogCapture log("quillcast.ml.generator"); // no details in the status
    AudioSetDataGeneratorForVad generator;
    ASSERT_TRUE(generator.configure(config(3, 0)));
    ASSERT_TRUE(set(generator, "change.wav\n"));
    const auto status = [&]
    {
        std::ostringstream stream;
        generator.dumpStatus(stream);
        return stream.str();
    };
    const std::string strFile = "File " + m_folder.path("change.wav") + " : ";
    ASSERT_TRUE(generator.gotoStart());
    EXPECT_EQ(status(), "Current class VOICE, constant input = 1 " + strFile + "Pattern 0, Audio time: 0s");
    for (int k = 0; k < 4; ++k)
        ASSERT_TRUE(generator.generateNext());
    EXPECT_EQ(status(),
              "Current class SILENCE, constant input = 0 " + strFile + "Pattern 4, Audio time: 0.055s")
        << "before smoothing";
    while (generator.generateNext())
        ;
    EXPECT_EQ(status(), "Current class VOICE, constant input = 1 All files have been processed");

    ASSERT_TRUE(set(generator, "silence.wav\n"));
    ASSERT_TRUE(generator.gotoStart());
    EXPECT_THAT(status(), testing::StartsWith("Current class SILENCE, constant input = 0 File "))
        << "the only class that is valid";
}

TEST_F(AudioSetForVadTest, ClassesThatNobodyAnnotatesAreTold)
{
    m_folder.write("plain.wav", Testing::toneRecording({}));
    const Testing::LogCapture log("quillcast.ml.AudioSetDataGeneratorForVad");
    const Testing::AssertionCapture assertions;
    const Testing::LogCapture reasons("quillcast.ml.generator", LogLevel::OFF);
    AudioSetDataGeneratorForVad generator;
    ASSERT_TRUE(generator.configure(config(0, 0)));
    EXPECT_TRUE(set(generator, "plain.wav\n")) << "naming goes on";
    std::ostringstream status;
    generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Current class , constant input = 0 All files have been processed");
    EXPECT_TRUE(generator.gotoStart());
    EXPECT_FALSE(generator.generateNext()) << "the first window is not covered";
    EXPECT_FALSE(generator.endedCleanly());

    AudioSetDataGeneratorForVad::Config other = config(0, 0);
    other.m_audioGenConfig.m_vClasses = {"OTHER"};
    ASSERT_TRUE(generator.configure(other));
    EXPECT_TRUE(set(generator, "voice.wav\n"));
    EXPECT_FALSE(generator.gotoStart()) << "no recording takes these classes";
    EXPECT_THAT(log.lines(), ElementsAre(NO_CLASSES, NO_CLASSES));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"VOICE", "SILENCE"})));
}
