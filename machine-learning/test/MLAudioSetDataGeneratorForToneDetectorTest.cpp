#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "AudioPasses.h"
#include "test-support/CountingResettable.h"
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

class ToneSetTest : public testing::Test
{
protected:
    ToneSetTest()
    {
        // [400, 560) samples are [0.05, 0.07) s: the windows 3 and 4; [0, 480): the windows 0 to 3.
        m_folder.write("1.wav", Testing::toneRecording({{400, 560, "SF:1005"}, {0, 480, "1400 Hz"}}));
        m_folder.write("2.wav", Testing::toneRecording({{0, 480, "SF:995"}, {0, 800, "SF:2000"}}));
        m_folder.write("3.wav",
                       Testing::annotatedWav(16000, std::vector<int>(1600, 0), {{0, 1600, "SF:1000"}}));
    }

    bool set(const StringVector& in_vClasses, const std::string& in_strList, bool in_bConstantInput = true)
    {
        AudioSetDataGeneratorForToneDetector::Config config;
        config.m_audioGenConfig = Testing::audioConfig(in_vClasses);
        config.m_audioGenConfig.m_audioConfig.m_uiSamplingRate = 0;
        config.m_bConstantInput = in_bConstantInput;
        EXPECT_TRUE(m_generator.configure(config));
        return m_generator.setCurrentFilename(m_folder.write("set.lst", in_strList).c_str());
    }

    Testing::TempDir m_folder;
    AudioSetDataGeneratorForToneDetector m_generator;
};

} // namespace

TEST_F(ToneSetTest, EachTonePassesOverAllRecordings)
{
    ASSERT_TRUE(set({"OTHER", "SF:1000", "SF:1400"}, "1.wav\n2.wav\n"));
    const Testing::LogCapture log("quillcast.ml.generator.FileSetDataGenerator.summary");
    const std::string strAll = "01 01 01 10 10 01 01 01 10 10 10 10 01 01 01 01 " // SF:1000
                               "10 10 10 10 01 01 01 01 01 01 01 01 01 01 01 01"; // SF:1400
    EXPECT_EQ(readTargets(m_generator), strAll);
    EXPECT_TRUE(m_generator.atEnd());
    EXPECT_TRUE(m_generator.endedCleanly());
    EXPECT_FALSE(m_generator.generateNext());
    const std::string strFiles = "INFO 2 file(s) listed, 2 used, 0 skipped. Patterns: 16 (0.16s); ";
    EXPECT_THAT(log.lines(), ElementsAre(strFiles + "SF:1000: 6 (0.06s); OTHER: 10 (0.1s)",
                                         strFiles + "SF:1400: 4 (0.04s); OTHER: 12 (0.12s)"));
    EXPECT_EQ(readTargets(m_generator), strAll);
}

TEST_F(ToneSetTest, FrequencyOfTheToneIsPartOfTheInput)
{
    ASSERT_TRUE(set({"SF:1000", "SF:2000"}, "2.wav\n3.wav\n"));
    ASSERT_TRUE(m_generator.gotoStart());
    std::vector<double> vConstants;
    DoubleVector vInput;
    while (m_generator.generateNext())
    {
        ASSERT_TRUE(m_generator.getInput(vInput));
        ASSERT_EQ(vInput.size(), 2u);
        if (vConstants.empty() || vConstants.back() != vInput[1])
            vConstants.push_back(vInput[1]);
    }
    // 1000 of 4000 and of 8000 Hz, then 2000 of both
    EXPECT_THAT(vConstants, ElementsAre(0.25, 0.125, 0.5, 0.25));

    ASSERT_TRUE(set({"SF:1000"}, "2.wav\n", false));
    ASSERT_TRUE(m_generator.gotoStart() && m_generator.generateNext() && m_generator.getInput(vInput));
    EXPECT_EQ(vInput.size(), 1u);
}

TEST_F(ToneSetTest, StatusTellsTheTone)
{
    const Testing::LogCapture log("quillcast.ml.generator"); // no details in the status
    ASSERT_TRUE(set({"SF:1000", "SF:1400"}, "1.wav\n"));
    const CountedObjPtr<Testing::CountingResettable> pEntity(new Testing::CountingResettable);
    ASSERT_TRUE(m_generator.setEntityToReset(pEntity));
    std::ostringstream status;
    m_generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "All files have been processed") << "before the start";
    status.str("");
    ASSERT_TRUE(m_generator.gotoStart());
    for (int k = 0; k < 9; ++k)
        ASSERT_TRUE(m_generator.generateNext());
    m_generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Current class SF:1400, constant input = 0.35 File " + m_folder.path("1.wav") +
                                " : Pattern 1, Audio time: 0.025s");
    EXPECT_EQ(pEntity->m_iResets, 2);
}

TEST_F(ToneSetTest, TonesThatNobodyAnnotatesAreLeftOut)
{
    const Testing::LogCapture log("quillcast.ml.AudioSetDataGeneratorForToneDetector");
    // 1005 is 11 Hz away from 1016.
    ASSERT_TRUE(set({"SF:1016", "SF:.*", "SF:2000"}, "1.wav\n2.wav\n"));
    EXPECT_EQ(readTargets(m_generator), "01 01 01 01 01 01 01 01 10 10 10 10 10 10 10 10");
    EXPECT_THAT(log.lines(),
                ElementsAre("WARN Class SF:1016 is left out: no recording has an annotation of it",
                            "WARN Class SF:.* is left out: it names no tone of a single frequency"));
}

TEST_F(ToneSetTest, WithoutAnyToneThereIsNoStream)
{
    const Testing::LogCapture log("quillcast.ml.AudioSetDataGeneratorForToneDetector", LogLevel::ERROR);
    EXPECT_TRUE(set({"SF:300"}, "1.wav\n"));
    EXPECT_FALSE(m_generator.gotoStart());
    EXPECT_FALSE(m_generator.generateNext());
    EXPECT_TRUE(log.has("ERROR Could not find any valid classes to be used with annotated file. Check the "
                        "m_vClasses value used to configure the data generator"));
    AudioSetDataGeneratorForToneDetector::Config negative;
    negative.m_iFrequencyTolerance = -1;
    EXPECT_FALSE(m_generator.configure(negative));
    EXPECT_FALSE(set({"SF:1000"}, "") && m_generator.gotoStart());
}
