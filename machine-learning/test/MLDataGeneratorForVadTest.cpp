#include "MLDataGeneratorForVad.h"
#include "AudioPasses.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;

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

} // namespace

TEST(VadTargetSmootherTest, HoldsAndHandsOver)
{
    const struct
    {
        std::size_t m_uiDebouncing;
        std::size_t m_uiIncertitude;
        const char* m_annotated;
        const char* m_smoothed;
    } TABLE[] = {
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
    for (const auto& row : TABLE)
    {
        VadTargetSmoother smoother;
        smoother.setDebouncingWindows(row.m_uiDebouncing);
        smoother.setIncertitudeWindows(row.m_uiIncertitude);
        for (int iPass = 0; iPass < 2; ++iPass)
        {
            EXPECT_EQ(smooth(smoother, row.m_annotated), row.m_smoothed)
                << row.m_uiDebouncing << ' ' << row.m_uiIncertitude;
            smoother.reset();
        }
    }
}

class DataGeneratorForVadTest : public testing::Test
{
protected:
    /// Windows 0 to 2, which end by 0.045 s, are voice, the other five silence.
    std::string read(double in_dFeature, std::size_t in_uiDebouncing, std::size_t in_uiIncertitude)
    {
        AudioFileDataGenerator::Config config = Testing::audioConfig({"VOICE", "SILENCE"});
        config.m_pFeatureComputer =
            CloneableObjPtr<FeatureComputer>(new Testing::FixedFeatures({in_dFeature}));
        DataGeneratorForVad generator;
        generator.setDebouncingWindows(in_uiDebouncing);
        generator.setIncertitudeWindows(in_uiIncertitude);
        Testing::setRecording(generator, m_folder, config, {{0, 360, "VOICE"}, {361, 800, "SILENCE"}});
        const std::string strFirst = Testing::readTargets(generator);
        EXPECT_EQ(Testing::readTargets(generator), strFirst) << "a pass begins afresh";
        return strFirst;
    }

    Testing::TempDir m_folder;
};

TEST_F(DataGeneratorForVadTest, SmoothsTheTargets)
{
    EXPECT_EQ(read(0.5, 0, 0), "10 10 10 01 01 01 01 01");
    EXPECT_EQ(read(0.5, 3, 0), "10 10 10 10 10 01 01 01");
    EXPECT_EQ(read(0.0, 3, 2), "10 10 10 10 10 01 01 01");
    EXPECT_EQ(read(1.0, 3, 2), "10 10 10 10 10 10 10 01") << "the input decides two windows";
}

TEST_F(DataGeneratorForVadTest, InputThatSaysNothingIsReported)
{
    Testing::AssertionCapture assertions;
    EXPECT_EQ(read(0.5, 3, 2), "10 10 10 10 10 01 01 01");
    EXPECT_THAT(assertions.conditions(), ElementsAre("false", "false", "false", "false")) << "two passes";
}

TEST_F(DataGeneratorForVadTest, TargetOfAWindowIsDecidedOnce)
{
    DataGeneratorForVad generator;
    generator.setDebouncingWindows(3);
    Testing::setRecording(generator, m_folder, Testing::audioConfig({"VOICE", "SILENCE"}),
                          {{0, 360, "VOICE"}, {361, 800, "SILENCE"}});
    ASSERT_TRUE(generator.gotoStart());
    DoubleVector vTarget;
    for (int k = 0; k < 5; ++k)
        ASSERT_TRUE(generator.generateNext());
    for (int i = 0; i < 4; ++i)
    {
        ASSERT_TRUE(generator.getTarget(vTarget));
        EXPECT_EQ(vTarget, (DoubleVector{1, 0})) << "held, though no earlier target was asked for";
    }
    EXPECT_EQ(generator.getAnnotatedTarget(), (DoubleVector{0, 1}));
}

TEST_F(DataGeneratorForVadTest, VoiceAndSilenceAtOnceAreReported)
{
    DataGeneratorForVad generator;
    Testing::setRecording(generator, m_folder, Testing::audioConfig({"VOICE", "SILENCE"}),
                          {{0, 240, "VOICE"}, {0, 240, "SILENCE"}}, 200);
    Testing::AssertionCapture assertions;
    EXPECT_EQ(Testing::readTargets(generator), "11");
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("(out_vTarget[0] == 0.0 && out_vTarget[1] == 1.0 ) || (out_vTarget[0] == 1.0 && "
                            "out_vTarget[1] == 0.0 )"));
}

TEST_F(DataGeneratorForVadTest, ClassesAreFixed)
{
    DataGeneratorForVad generator;
    const Testing::LogCapture log("quillcast.ml");
    Testing::AssertionCapture assertions;
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"VOICE", "SILENCE", "OTHER"})));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"SILENCE", "VOICE"})));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"VOICE", "OTHER"})));
    EXPECT_FALSE(generator.configure(DataGeneratorWithConfig::Config()));
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("myConfig.m_vClasses.size() == 2", "myConfig.m_vClasses[0] == \"VOICE\"",
                            "myConfig.m_vClasses[1] == \"SILENCE\""));
    EXPECT_EQ(log.text(), "");
}
