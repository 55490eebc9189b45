#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "test-support/LogCapture.h"
#include "test-support/MakeWindower.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>
#include <vector>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

/// 0, 1, 2...: a window shows which samples it holds.
std::vector<double> ramp(std::size_t in_uiCount)
{
    std::vector<double> vSamples(in_uiCount);
    std::iota(vSamples.begin(), vSamples.end(), 0.0);
    return vSamples;
}

} // namespace

TEST(LinearAudioWindowerTest, LengthAndShiftInSamples)
{
    struct Case
    {
        std::uint32_t m_uiRate;
        std::uint64_t m_uiLength, m_uiShift;
        std::size_t m_uiLengthSamples, m_uiShiftSamples; // round(ms * rate / 1000)
    };
    const Case cases[] = {
        {8000, 25, 10, 200, 80},   {11025, 25, 10, 276, 110},        // 275.625, 110.25
        {22050, 25, 10, 551, 221}, {44100, 25, 10, 1103, 441},       // 551.25, 220.5; 1102.5
        {44100, 1, 1, 44, 44},     {1000, 1, 67108864, 1, 67108864}, // 44.1; the largest shift
    };
    for (const Case& test : cases)
    {
        WindowSize size;
        std::string strError;
        EXPECT_TRUE(
            makeWindower(0, test.m_uiLength, test.m_uiShift).getWindowSize(test.m_uiRate, size, strError));
        EXPECT_EQ(size.m_uiLength, test.m_uiLengthSamples) << test.m_uiRate;
        EXPECT_EQ(size.m_uiShift, test.m_uiShiftSamples) << test.m_uiRate;
    }
}

TEST(LinearAudioWindowerTest, SettingsWithoutSenseChangeNothing)
{
    LinearAudioWindower windower;
    ASSERT_TRUE(windower.configure(makeWindower(1000, 3, 2)));
    for (const auto& config :
         {makeWindower(0, 0, 10), makeWindower(8000, 0, 10), makeWindower(8000, 25, 0),
          makeWindower(100, 4, 10), // 0.4 samples
          makeWindower(1000, 67108865, 1), makeWindower(8000, 25, ~0ULL), makeWindower(1, ~0ULL, 1)})
    {
        const LogCapture log("quillcast.audio");
        EXPECT_FALSE(windower.configure(config));
        EXPECT_EQ(log.count("ERROR Windower configuration refused: "), 1u) << log.text();
    }
    EXPECT_EQ(windower.getConfig(), makeWindower(1000, 3, 2));
}

TEST(LinearAudioWindowerTest, RateOfTheSourceBeforeTheFirstPush)
{
    LinearAudioWindower windower;
    ASSERT_TRUE(windower.configure(makeWindower(0, 5, 5)));
    const LogCapture log("quillcast.audio");
    const std::vector<double> vSamples = ramp(80);
    const double* pBegin = vSamples.data();
    EXPECT_FALSE(windower.pushLinearAudio(pBegin, pBegin + 1));
    EXPECT_FALSE(windower.setSourceRate(0));
    EXPECT_FALSE(windower.setSourceRate(99)) << "0.495 samples";
    EXPECT_EQ(windower.getTotalPushedAudioTime(), 0.0);
    EXPECT_TRUE(windower.setSourceRate(8000));
    EXPECT_TRUE(windower.setSourceRate(16000)) << "no audio yet";
    ASSERT_TRUE(windower.pushLinearAudio(pBegin, pBegin + 80));
    EXPECT_FALSE(windower.setSourceRate(8000));
    EXPECT_TRUE(windower.setSourceRate(16000)) << "nothing new";
    DoubleVector vWindow;
    EXPECT_EQ(windower.getLastWindowEnd(), 0u);
    ASSERT_TRUE(windower.popWindow(vWindow));
    EXPECT_EQ(vWindow.size(), 80u);
    EXPECT_EQ(windower.getLastWindowEnd(), 80u);
    EXPECT_EQ(windower.getTotalPushedAudioTime(), 0.005);
    ASSERT_TRUE(windower.reset());
    EXPECT_EQ(windower.getSamplingRate(), 16000u) << "the rate stays";

    ASSERT_TRUE(windower.configure(makeWindower(8000, 5, 5)));
    EXPECT_FALSE(windower.setSourceRate(16000));
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{
                  "ERROR Push refused: the sampling rate of the audio is not known",
                  "ERROR Sampling rate of 0 Hz refused: sampling rate is 0",
                  "ERROR Sampling rate of 99 Hz refused: a window length of 5 ms and a shift of 5 ms at 99 "
                  "Hz: both must be from 1 to 67108864 samples",
                  "ERROR Sampling rate of 8000 Hz refused: audio of another rate was pushed before",
                  "ERROR Sampling rate of 16000 Hz refused: 8000 Hz are configured"}));
}

TEST(LinearAudioWindowerTest, WindowsOfEverySplitOfThePushes)
{
    struct Case
    {
        std::uint64_t m_uiLength, m_uiShift;
    };
    // At 1000 Hz a millisecond is a sample. Overlapping, touching, with gaps, and with gaps longer than a
    // window.
    for (const Case& test : {Case{5, 2}, Case{5, 5}, Case{3, 7}, Case{1, 1}, Case{4, 30}, Case{60, 1}})
        for (const std::size_t uiBlock : {1, 2, 7, 50})
            for (const std::size_t uiCount : {0, 1, 4, 5, 6, 49, 50, 99})
            {
                LinearAudioWindower windower;
                ASSERT_TRUE(windower.configure(makeWindower(1000, test.m_uiLength, test.m_uiShift)));
                const std::vector<double> vSamples = ramp(uiCount);
                DoubleVector vWindow;
                std::size_t uiWindows = 0;
                for (std::size_t uiAt = 0; uiAt < uiCount; uiAt += uiBlock)
                {
                    const double* pBegin = vSamples.data() + uiAt;
                    ASSERT_TRUE(windower.pushLinearAudio(pBegin, pBegin + std::min(uiBlock, uiCount - uiAt)));
                    while (windower.popWindow(vWindow))
                    {
                        ASSERT_EQ(vWindow.size(), test.m_uiLength);
                        EXPECT_EQ(vWindow[0], double(uiWindows * test.m_uiShift));
                        EXPECT_EQ(vWindow.back(), double(uiWindows * test.m_uiShift + test.m_uiLength - 1));
                        ++uiWindows;
                    }
                }
                const std::size_t uiExpected =
                    uiCount < test.m_uiLength ? 0 : (uiCount - test.m_uiLength) / test.m_uiShift + 1;
                EXPECT_EQ(uiWindows, uiExpected)
                    << test.m_uiLength << '/' << test.m_uiShift << ' ' << uiCount;
                EXPECT_EQ(windower.getTotalPushedAudioTime(), double(uiCount) / 1000);
            }
}

TEST(LinearAudioWindowerTest, ResetAndCopy)
{
    LinearAudioWindower windower;
    ASSERT_TRUE(windower.configure(makeWindower(1000, 4, 2)));
    const std::vector<double> vSamples = ramp(5);
    DoubleVector vWindow;
    ASSERT_TRUE(windower.pushLinearAudio(vSamples.data(), vSamples.data() + 3));
    LinearAudioWindower copy(windower);
    ASSERT_TRUE(windower.reset());
    EXPECT_EQ(windower.getCurrentAudioTime(), 0.0);
    ASSERT_TRUE(windower.pushLinearAudio(vSamples.data() + 4, vSamples.data() + 5));
    EXPECT_FALSE(windower.popWindow(vWindow));
    EXPECT_EQ(windower.getCurrentAudioTime(), 0.001);

    ASSERT_TRUE(copy.pushLinearAudio(vSamples.data() + 3, vSamples.data() + 4));
    ASSERT_TRUE(copy.popWindow(vWindow));
    EXPECT_EQ(vWindow, (DoubleVector{0, 1, 2, 3}));
}

TEST(LinearAudioWindowerTest, RefusesWhatNobodyPops)
{
    LinearAudioWindower windower;
    const double dSample = 0.0;
    const LogCapture log("quillcast.audio");
    // The samples are not looked at when there are too many: no need to have them.
    const std::uintptr_t uiBytes = (LinearAudioWindower::MAX_WAITING_SAMPLES + 1) * sizeof dSample;
    const double* pEnd =
        reinterpret_cast<const double*>(reinterpret_cast<std::uintptr_t>(&dSample) + uiBytes);
    EXPECT_FALSE(windower.pushLinearAudio(&dSample, pEnd));
    EXPECT_EQ(log.count("ERROR Push of 134217729 samples refused"), 1u) << log.text();
    const AssertionCapture assertions;
    EXPECT_FALSE(windower.pushLinearAudio(&dSample + 1, &dSample));
    EXPECT_EQ(assertions.conditions(), std::vector<std::string>{"in_begin <= in_end"});
    EXPECT_EQ(windower.getTotalPushedAudioTime(), 0.0);
}

TEST(LinearAudioWindowerTest, ConfigInAnArchive)
{
    const char* key = boost::serialization::guid<LinearAudioWindower::Config>();
    EXPECT_STREQ(key, "LinearAudioWindowerConfig");
    LinearAudioWindower::Config saved = makeWindower(11025, ~0ULL, 20);
    saved.m_iChannel = 3;
    std::stringstream stream;
    XmlOutputArchive output(stream);
    output.get() << boost::serialization::make_nvp(key, saved);
    ASSERT_TRUE(output.finish());
    for (const char* element : {"<m_uiSamplingRate>11025</", "<m_uiWindowLength>18446744073709551615</",
                                "<m_uiWindowShift>20</", "<m_iChannel>3</"})
        EXPECT_NE(stream.str().find(element), std::string::npos) << stream.str();

    LinearAudioWindower::Config loaded;
    CheckedXmlInputArchive input(stream);
    input.get() >> boost::serialization::make_nvp(key, loaded);
    input.finish();
    EXPECT_EQ(loaded, saved);
}
