#include "MLVadAudioFileDataGenerator.h"
#include "AudioPasses.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;

namespace
{

constexpr const char* LOGGER = "quillcast.ml.VadAudioFileDataGenerator";

} // namespace

TEST(VadAudioFileDataGeneratorTest, WeakWindowsAreNoVoice)
{
    // 200 samples of a window of the level a: 200 (a / 32768)^2 is 0.00994 for 231 and 0.01002 for 232, of
    // either sign; silence is 0.
    std::vector<int> vSamples(800, 231);
    std::fill(vSamples.begin() + 400, vSamples.end(), -232);
    const Testing::TempDir folder;
    const std::string strFile =
        folder.write("recording.wav", Testing::annotatedWav(Testing::RATE, vSamples,
                                                            {{0, 720, "VOICE"}, {720, 800, "OTHER"}}));
    VadAudioFileDataGenerator generator;
    ASSERT_TRUE(generator.configure(Testing::audioConfig({"VOICE", "OTHER"})));
    ASSERT_TRUE(generator.setCurrentFilename(strFile.c_str()));
    // Window k begins at 80 k: 0 to 2 hold only the weak level; 3 [240, 440) has 160 weak samples and 40
    // strong ones, 160 * 231^2 + 40 * 232^2 = 10690720 < 0.01 * 32768^2 = 10737418; 4 [320, 520) has 80 and
    // 120, 10727760, too little as well; from 5 [400, 600) on all are strong. 7 ends at 0.095 s, after the
    // annotation, which ends at 0.09 s.
    EXPECT_EQ(Testing::readTargets(generator), "01 01 01 01 01 10 10 01");
}

TEST(VadAudioFileDataGeneratorTest, RemovalsAreTold)
{
    const Testing::TempDir folder;
    const std::string strFile = folder.write(
        "recording.wav", Testing::annotatedWav(Testing::RATE, std::vector<int>(280, 0), {{0, 240, "VOICE"}}));
    VadAudioFileDataGenerator generator;
    ASSERT_TRUE(generator.configure(Testing::audioConfig({"VOICE", "OTHER"})));
    ASSERT_TRUE(generator.setCurrentFilename(strFile.c_str()));
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_EQ(Testing::readTargets(generator), "01 01");
    // The second window, at 0.035 s, is no voice anyway.
    EXPECT_THAT(log.lines(), ElementsAre("DEBUG Current SUMSQUAREDAMPLITUDE is: 0",
                                         "DEBUG Removing VOICE annotation at audio time: 0.025",
                                         "DEBUG Current SUMSQUAREDAMPLITUDE is: 0"));
}

TEST(VadAudioFileDataGeneratorTest, ClassesAreFixed)
{
    VadAudioFileDataGenerator generator;
    Testing::AssertionCapture assertions;
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"VOICE"})));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"OTHER", "VOICE"})));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"VOICE", "SILENCE"})));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"VOICE", "other"})));
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("myConfig.m_vClasses.size() == 2", "myConfig.m_vClasses[0] == \"VOICE\"",
                            "myConfig.m_vClasses[1] == \"OTHER\"", "myConfig.m_vClasses[1] == \"OTHER\""));
    const Testing::LogCapture log(LOGGER);
    EXPECT_FALSE(generator.configure(DataGeneratorWithConfig::Config()));
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR Could not configure VadAudioFileDataGenerator : configuration "
                            "provided is not a VadAudioFileDataGenerator::Config"));
}
