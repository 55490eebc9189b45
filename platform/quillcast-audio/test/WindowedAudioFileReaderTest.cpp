#include "quillcast-audio/WindowedAudioFileReader.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <sys/stat.h>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

LinearAudioWindower::Config makeConfig(std::uint32_t in_uiRate, std::uint64_t in_uiLength,
                                       std::uint64_t in_uiShift,
                                       int in_iChannel = LinearAudioWindower::Config::MEAN_OF_CHANNELS)
{
    LinearAudioWindower::Config config;
    config.m_uiSamplingRate = in_uiRate;
    config.m_uiWindowLength = in_uiLength;
    config.m_uiWindowShift = in_uiShift;
    config.m_iChannel = in_iChannel;
    return config;
}

/// Sample n is n modulo 2^15.
std::vector<int> ramp(std::size_t in_uiCount)
{
    std::vector<int> vSamples(in_uiCount);
    for (std::size_t i = 0; i < in_uiCount; ++i)
        vSamples[i] = static_cast<int>(i % 32768);
    return vSamples;
}

std::string monoFile(const TempDir& in_folder, std::uint32_t in_uiRate, std::size_t in_uiCount)
{
    return in_folder.write("mono.wav", Wav::riff(Wav::fmt(in_uiRate) + Wav::data(ramp(in_uiCount))));
}

} // namespace

TEST(WindowedAudioFileReaderTest, WindowsAndTimes)
{
    const TempDir folder;
    // 8000 Hz: 25 ms are 200 samples, 10 ms are 80. 600 samples: floor(400 / 80) + 1 = 6 windows.
    const std::string strFile = monoFile(folder, 8000, 600);
    WindowedAudioFileReader reader;
    ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    EXPECT_EQ(reader.getWindowCount(), 6u);
    for (int iPass = 0; iPass < 2; ++iPass)
    {
        ASSERT_TRUE(reader.gotoStart());
        EXPECT_EQ(reader.getCurrentAudioTime(), 0.0);
        DoubleVector vWindow;
        for (std::size_t k = 0; k < 6; ++k)
        {
            ASSERT_TRUE(reader.getNextWindow(vWindow)) << k;
            ASSERT_EQ(vWindow.size(), 200u);
            EXPECT_EQ(vWindow[0], double(k * 80) / 32768);
            EXPECT_EQ(vWindow[199], double(k * 80 + 199) / 32768);
            EXPECT_EQ(reader.getCurrentAudioTime(), double(k * 80 + 200) / 8000);
            EXPECT_FALSE(reader.atEnd());
        }
        EXPECT_FALSE(reader.getNextWindow(vWindow));
        EXPECT_FALSE(reader.getNextWindow(vWindow));
        EXPECT_TRUE(reader.atEnd());
        EXPECT_FALSE(reader.hasInputError());
        EXPECT_EQ(reader.getCurrentAudioTime(), 600 / 8000.0);
        EXPECT_EQ(vWindow[0], 400.0 / 32768) << "the window must be left alone";
    }
}

TEST(WindowedAudioFileReaderTest, ReleasedBeforeItsEnd)
{
    const TempDir folder;
    const std::string strFile = monoFile(folder, 8000, 600);
    WindowedAudioFileReader reader;
    reader.release();
    ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    DoubleVector vWindow;
    ASSERT_TRUE(reader.getNextWindow(vWindow) && reader.getNextWindow(vWindow));
    reader.release();
    EXPECT_FALSE(reader.getNextWindow(vWindow));
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(reader.getCurrentAudioTime(), 280 / 8000.0) << "of the last window";
    ASSERT_TRUE(reader.gotoStart());
    EXPECT_FALSE(reader.atEnd());
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_EQ(vWindow[1], 1.0 / 32768);
    std::filesystem::remove(strFile);
    reader.release();
    const LogCapture log("quillcast.audio");
    EXPECT_FALSE(reader.gotoStart()) << "the file was let go of, and is gone";
}

TEST(WindowedAudioFileReaderTest, SameWindowsAsTheWindower)
{
    const TempDir folder;
    // More than two blocks of the reader, at a rate that rounds.
    const std::size_t uiCount = 40000;
    const std::string strFile = monoFile(folder, 11025, uiCount);
    std::vector<double> vSamples;
    for (const int iSample : ramp(uiCount))
        vSamples.push_back(iSample / 32768.0);
    for (const auto& config :
         {makeConfig(11025, 25, 10), makeConfig(11025, 10, 10), makeConfig(11025, 7, 100),
          makeConfig(11025, 2000, 3), makeConfig(11025, 1, 2500)})
    {
        LinearAudioWindower windower;
        WindowedAudioFileReader reader;
        ASSERT_TRUE(windower.configure(config));
        ASSERT_TRUE(reader.configure(config));
        ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
        ASSERT_TRUE(windower.pushLinearAudio(vSamples.data(), vSamples.data() + uiCount));
        DoubleVector vPushed;
        DoubleVector vPulled;
        std::uint64_t uiWindows = 0;
        while (windower.popWindow(vPushed))
        {
            ASSERT_TRUE(reader.getNextWindow(vPulled));
            ASSERT_EQ(vPulled, vPushed);
            ++uiWindows;
        }
        EXPECT_FALSE(reader.getNextWindow(vPulled));
        EXPECT_EQ(reader.getWindowCount(), uiWindows);
        EXPECT_EQ(windower.getCurrentAudioTime(), double(uiCount) / 11025);
    }
}

TEST(WindowedAudioFileReaderTest, ChannelsAndRates)
{
    const TempDir folder;
    // Two channels, frames (100, 300), (-100, 300): the mean is 200, 100.
    const std::string strFile =
        folder.write("stereo.wav", Wav::riff(Wav::fmt(1000, 2) + Wav::data({100, 300, -100, 300})));
    DoubleVector vWindow;
    struct Case
    {
        int m_iChannel;
        DoubleVector m_vExpected;
    };
    for (const Case& test :
         {Case{-1, {200 / 32768.0, 100 / 32768.0}}, Case{0, {100 / 32768.0, -100 / 32768.0}},
          Case{1, {300 / 32768.0, 300 / 32768.0}}})
    {
        WindowedAudioFileReader reader;
        ASSERT_TRUE(reader.configure(makeConfig(0, 2, 1, test.m_iChannel)));
        ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
        EXPECT_EQ(reader.getSamplingRate(), 1000u);
        ASSERT_TRUE(reader.getNextWindow(vWindow));
        EXPECT_EQ(vWindow, test.m_vExpected);
    }

    const LogCapture log("quillcast.audio");
    WindowedAudioFileReader reader;
    EXPECT_FALSE(reader.setSourceFile(strFile.c_str()));
    ASSERT_TRUE(reader.configure(makeConfig(1000, 2, 1, 2)));
    EXPECT_FALSE(reader.setSourceFile(strFile.c_str()));
    EXPECT_TRUE(log.has("ERROR Recording " + strFile +
                        " refused: its sampling rate is 1000 Hz, 8000 Hz are configured"));
    EXPECT_TRUE(log.has("ERROR Recording " + strFile + " refused: channel 2 is configured, it has 2"));
}

TEST(WindowedAudioFileReaderTest, GoToAudioTime)
{
    const TempDir folder;
    const std::string strFile = monoFile(folder, 8000, 800);
    WindowedAudioFileReader reader;
    ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    DoubleVector vWindow;
    // 0.05 s are sample 400; the last window from there starts at sample 560 and ends at 760.
    ASSERT_TRUE(reader.gotoAudioTime(0.05));
    EXPECT_EQ(reader.getCurrentAudioTime(), 0.05);
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_EQ(vWindow[0], 400 / 32768.0);
    EXPECT_EQ(reader.getCurrentAudioTime(), 0.075);
    while (reader.getNextWindow(vWindow))
        ;
    EXPECT_EQ(reader.getCurrentAudioTime(), 760 / 8000.0);
    EXPECT_TRUE(reader.atEnd());
    // Rounded to the nearest sample: 10.6 and 799.4.
    ASSERT_TRUE(reader.gotoAudioTime(10.6 / 8000));
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_EQ(vWindow[0], 11 / 32768.0);
    ASSERT_TRUE(reader.gotoAudioTime(799.4 / 8000));
    EXPECT_FALSE(reader.getNextWindow(vWindow));
    EXPECT_TRUE(reader.atEnd());

    ASSERT_TRUE(reader.gotoAudioTime(0.01));
    for (const double dTime : {-0.001, 0.1, 799.6 / 8000, 1e300, -1e300, std::nan("")})
        EXPECT_FALSE(reader.gotoAudioTime(dTime)) << dTime;
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_EQ(vWindow[0], 80 / 32768.0) << "a refused time must change nothing";
}

TEST(WindowedAudioFileReaderTest, AFailureKeepsTheEarlierRecording)
{
    const TempDir folder;
    const std::string strFile = monoFile(folder, 8000, 400);
    WindowedAudioFileReader reader;
    DoubleVector vWindow;
    {
        const AssertionCapture assertions;
        EXPECT_FALSE(reader.gotoStart());
        EXPECT_FALSE(reader.getNextWindow(vWindow));
        EXPECT_FALSE(reader.gotoAudioTime(0));
        EXPECT_EQ(assertions.conditions().size(), 3u);
    }
    ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_FALSE(reader.setSourceFile(folder.path("missing.wav").c_str()));
    EXPECT_FALSE(reader.setSourceFile(folder.path().c_str()));
    EXPECT_FALSE(reader.configure(makeConfig(8000, 0, 10)));
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_EQ(vWindow[0], 80 / 32768.0);
    // A shorter window: taken over at once, from the start.
    ASSERT_TRUE(reader.configure(makeConfig(0, 1, 1)));
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    EXPECT_EQ(vWindow.size(), 8u);
    EXPECT_EQ(vWindow[0], 0.0);
    // Settings that the recording does not suit are for the next one.
    ASSERT_TRUE(reader.configure(makeConfig(16000, 1, 1)));
    EXPECT_EQ(reader.getSamplingRate(), 0u);
    EXPECT_FALSE(reader.setSourceFile(strFile.c_str()));
    EXPECT_TRUE(reader.setSourceFile(monoFile(folder, 16000, 400).c_str()) && reader.getNextWindow(vWindow));
}

TEST(WindowedAudioFileReaderTest, InputErrorsAreNoEnd)
{
    const TempDir folder;
    // 4 s in two blocks of the reader; the second half goes while it is being read.
    const std::string strFile = monoFile(folder, 8000, 32000);
    WindowedAudioFileReader reader;
    ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    ASSERT_TRUE(reader.gotoStart());
    DoubleVector vWindow;
    ASSERT_TRUE(reader.getNextWindow(vWindow));
    std::filesystem::resize_file(strFile, 44 + 2 * 20000);
    const LogCapture log("quillcast.audio");
    std::uint64_t uiWindows = 1;
    while (reader.getNextWindow(vWindow))
        ++uiWindows;
    EXPECT_EQ(uiWindows, (20000u - 200u) / 80u + 1u);
    EXPECT_FALSE(reader.atEnd());
    EXPECT_TRUE(reader.hasInputError());
    EXPECT_EQ(log.count("ERROR Recording " + strFile + " cannot be read beyond sample 20000 of 32000"), 1u)
        << log.text();
    // It is another recording now.
    EXPECT_FALSE(reader.gotoStart());
    EXPECT_TRUE(reader.hasInputError());
    EXPECT_EQ(log.count("has changed since it was set"), 1u) << log.text();
    std::filesystem::remove(strFile);
    EXPECT_FALSE(reader.gotoStart());
    EXPECT_FALSE(reader.atEnd());
}

TEST(WindowedAudioFileReaderTest, ManyReadersMayWait)
{
    const TempDir folder;
    const std::string strFile = monoFile(folder, 8000, 400);
    const auto countOpenFiles = []
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto iBefore = countOpenFiles();
    std::vector<WindowedAudioFileReader> vReaders(100);
    DoubleVector vWindow;
    for (WindowedAudioFileReader& reader : vReaders)
        ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    EXPECT_EQ(countOpenFiles(), iBefore);
    ASSERT_TRUE(vReaders[0].gotoStart());
    EXPECT_EQ(countOpenFiles(), iBefore + 1);
    while (vReaders[0].getNextWindow(vWindow))
        ;
    EXPECT_EQ(countOpenFiles(), iBefore);
}

TEST(AudioFileReaderTest, RefusesWhatIsNoRecording)
{
    const TempDir folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const std::string strOneFrame = Wav::data({1});
    const std::pair<std::string, std::string> cases[] = {
        {folder.path("missing.wav"), "No such file or directory"},
        {folder.path(), "Is a directory"},
        {folder.path("pipe"), "is no regular file"},
        {folder.write("empty.wav", ""), "too short for a RIFF file"},
        {folder.write("text.wav", "this is no recording at all"), "no RIFF file"},
        {folder.write("rate.wav", Wav::riff(Wav::fmt(0) + strOneFrame)), "its sampling rate is 0"},
        {folder.write("channels.wav", Wav::riff(Wav::fmt(8000, 0) + strOneFrame)), "it has 0 channels"},
        {folder.write("music.wav", Wav::riff(Wav::fmt(8000, 1, 16, 0x55) + strOneFrame)),
         "its samples have an unsupported coding, 85"},
        {folder.write("none.wav", Wav::riff(Wav::fmt(8000) + Wav::chunk("data", ""))), "it has no samples"},
    };
    for (const auto& [strFile, strReason] : cases)
    {
        const LogCapture log("quillcast.audio");
        AudioFileReader reader;
        EXPECT_FALSE(reader.open(strFile.c_str(), -1));
        EXPECT_FALSE(reader.isOpen());
        EXPECT_TRUE(log.has("ERROR Cannot read recording " + strFile + ": " + strReason)) << log.text();
    }
}

/// 10 hours of a recording that takes no room on the disk: window count and last time.
class TenHoursTest : public testing::TestWithParam<std::uint32_t>
{
};

TEST_P(TenHoursTest, CountAndLastTimeAreExact)
{
    const std::uint64_t uiRate = GetParam();
    // 10 hours and a bit that is no window.
    const std::uint64_t uiFrames = 36000 * uiRate + 7;
    const std::uint64_t uiLength = (25 * uiRate + 500) / 1000;
    const std::uint64_t uiShift = (10 * uiRate + 500) / 1000;
    const TempDir folder;
    const std::string strFile = folder.path("long.wav");
    writeSparseWav(strFile, GetParam(), uiFrames);
    WindowedAudioFileReader reader;
    ASSERT_TRUE(reader.configure(makeConfig(0, 25, 10)));
    ASSERT_TRUE(reader.setSourceFile(strFile.c_str()));
    ASSERT_TRUE(reader.gotoStart());
    DoubleVector vWindow;
    std::uint64_t uiWindows = 0;
    while (reader.getNextWindow(vWindow))
        ++uiWindows;
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(uiWindows, (uiFrames - uiLength) / uiShift + 1);
    const std::uint64_t uiLast = (uiWindows - 1) * uiShift + uiLength;
    EXPECT_EQ(reader.getCurrentAudioTime(), static_cast<double>(uiLast) / static_cast<double>(uiRate));
}

INSTANTIATE_TEST_SUITE_P(Rates, TenHoursTest, testing::Values(8000u, 11025u, 22050u, 44100u));
