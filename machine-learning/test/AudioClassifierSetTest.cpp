#include "AudioClassifierSet.h"
#include "ScriptFolder.h"
#include "TestPrelude.h"
#include "quillcast-audio/WindowedAudioFileReader.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "test-support/AllocationCounter.h"
#include "test-support/MakeWindower.h"
#include "test-support/WavBuilder.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <thread>

namespace
{

std::string bytes(const DoubleVector& in_vVector)
{
    return {reinterpret_cast<const char*>(in_vVector.begin()), in_vVector.size() * sizeof(double)};
}

/// The bytes that a classifier saw: those of the input and of the value of a variable in each window.
using Windows = std::vector<std::pair<std::string, std::string>>;

/// Notes the input "audio" and the variable "script.result" of every window.
class WindowNotes : public XprClassifierSet::ClassifierImpl
{
public:
    explicit WindowNotes(Windows& io_windows)
        : m_pWindows(&io_windows)
    {
    }
    WindowNotes* clone() const override { return new WindowNotes(*m_pWindows); }

protected:
    bool classify_i(Classifier::Result&) override
    {
        DoubleVector vAudio;
        DoubleVector vResult;
        const bool bDone = getEvaluator()->getVariable("audio")->evaluate(vAudio) &&
                           getEvaluator()->getVariable("script.result")->evaluate(vResult);
        m_pWindows->emplace_back(bytes(vAudio), bytes(vResult));
        return bDone;
    }

private:
    Windows* m_pWindows;
};

/// Pushes samples in pieces of that size.
bool push(AudioClassifierSet& io_set, const std::vector<double>& in_vSamples, std::size_t in_uiPiece)
{
    bool bResult = true;
    for (std::size_t i = 0; i < in_vSamples.size(); i += in_uiPiece)
    {
        const double* pBegin = in_vSamples.data() + i;
        bResult =
            io_set.pushLinearAudio(pBegin, pBegin + std::min(in_uiPiece, in_vSamples.size() - i)) && bResult;
    }
    return bResult;
}

/// The samples from in_uiBegin to in_uiEnd of the ramp 0, 1, 2...
bool pushRamp(AudioClassifierSet& io_set, std::size_t in_uiBegin, std::size_t in_uiEnd)
{
    std::vector<double> vSamples(in_uiEnd - in_uiBegin);
    std::iota(vSamples.begin(), vSamples.end(), static_cast<double>(in_uiBegin));
    return push(io_set, vSamples, vSamples.size());
}

std::vector<int> noise(std::size_t in_uiCount)
{
    std::mt19937 generator(1);
    std::vector<int> vSamples(in_uiCount);
    for (int& iSample : vSamples)
        iSample = static_cast<int>(generator() % 65536) - 32768;
    return vSamples;
}

class AudioClassifierSetTest : public testing::Test
{
protected:
    /// At 1000 Hz a millisecond is a sample.
    void setUp(AudioClassifierSet& io_set, const LinearAudioWindower::Config& in_config)
    {
        m_folder.writeWindower(in_config);
        ASSERT_TRUE(io_set.configure(m_folder.getConfig(), m_folder.getFileSystem()));
    }

    void setUpStarted(AudioClassifierSet& io_set, const LinearAudioWindower::Config& in_config)
    {
        setUp(io_set, in_config);
        ASSERT_TRUE(addScript(io_set, "script") && io_set.freeze() && io_set.start());
    }

    void setUpNoting(AudioClassifierSet& io_set, const LinearAudioWindower::Config& in_config,
                     std::uint32_t in_uiRate, Windows& out_windows)
    {
        setUp(io_set, in_config);
        ASSERT_TRUE(io_set.setSourceRate(in_uiRate) && addScript(io_set, "script") &&
                    io_set.addClassifier("script, seen from outside", new WindowNotes(out_windows)) &&
                    io_set.freeze() && io_set.start());
    }

    /// The windows of a recording as training reads them. Their energies are those of the feature computer.
    Windows readWindows(const std::string& in_strWav, const LinearAudioWindower::Config& in_config,
                        std::uint32_t in_uiRate)
    {
        Windows windows;
        AudioClassifierSet set;
        setUpNoting(set, in_config, in_uiRate, windows);
        WindowedAudioFileReader reader;
        EXPECT_TRUE(reader.configure(in_config) && reader.setSourceFile(in_strWav.c_str()));
        EnergyFeatureComputer computer;
        DoubleVector vWindow;
        DoubleVector vEnergy;
        while (reader.getNextWindow(vWindow))
        {
            EXPECT_TRUE(set.classify(vWindow));
            EXPECT_TRUE(computer.setInput("audio", vWindow) && computer.computeFeatures(vEnergy));
            EXPECT_EQ(windows.back().second.substr(0, sizeof(double)), bytes(vEnergy));
        }
        EXPECT_EQ(windows.size(), reader.getWindowCount());
        return windows;
    }

    ScriptFolder m_folder;
    AudioClassifierSet m_set;
    LogCapture m_log{"quillcast.ml.AudioClassifierSet", LogLevel::DEBUGGING};
};

constexpr const char* TWO_WINDOWS = "ERROR Call to pushLinearAudio() has cause multiple calls  to "
                                    "classify(). Check this is really what you want.";

} // namespace

TEST_F(AudioClassifierSetTest, EveryCompleteWindowIsClassified)
{
    m_folder.writeScript("script", "n = prev(n, 0) + 1\nresult = [n, audio[0]]\n");
    setUpStarted(m_set, makeWindower(1000, 4, 2));
    m_log.clear();
    EXPECT_TRUE(pushRamp(m_set, 0, 3));
    EXPECT_THAT(m_log.lines(), ElementsAre("DEBUG AudioClassifierSet::pushLinearAudio : Not enough audio to "
                                           "generate a new window"));
    m_log.clear();
    EXPECT_TRUE(pushRamp(m_set, 3, 4));
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_EQ(resultText(m_set, "script"), "0esult=1\n1esult=0\n");
    EXPECT_EQ(m_set.getTotalPushedAudioTime(), 0.004);

    EXPECT_TRUE(pushRamp(m_set, 4, 9));
    EXPECT_THAT(m_log.lines(), ElementsAre(TWO_WINDOWS));
    EXPECT_EQ(resultText(m_set, "script"), "0esult=3\n1esult=4\n") << "of the last window";
    EXPECT_EQ(m_set.getLastWindowEnd(), 8u);
    EXPECT_EQ(m_set.getTotalPushedAudioTime(), 0.009);
}

TEST_F(AudioClassifierSetTest, AFailedWindowDoesNotStopTheNextOnes)
{
    // Fails in windows whose first sample is 4: these two lengths do not match.
    m_folder.writeScript("script", "result = audio[0] == 4 ? audio + [1, 2] : audio[0]\n");
    setUpStarted(m_set, makeWindower(1000, 4, 4));
    const LogCapture evaluatorLog("quillcast.math");
    const AssertionCapture assertions;
    EXPECT_FALSE(pushRamp(m_set, 0, 12));
    EXPECT_THAT(m_log.lines(), ElementsAre(TWO_WINDOWS));
    EXPECT_THAT(assertions.conditions(), ElementsAre("m_pVariable->evaluate( m_scratchRange )"));
    EXPECT_EQ(resultText(m_set, "script"), "0esult=8\n");
}

TEST_F(AudioClassifierSetTest, ConfigurationsThatAreRefused)
{
    constexpr const char* WINDOWER = "quillcast.audioClassifierSet.audioWindowerFilePath";
    const AudioClassifierSet::DefaultConfig defaults;
    std::string strValue;
    EXPECT_TRUE(defaults.getStringParameter(WINDOWER, strValue));
    EXPECT_EQ(strValue, "dsp/LinearAudioWindowerConfig.xml");
    EXPECT_TRUE(defaults.getStringParameter("quillcast.math.xpr.scriptLoader.scriptsDir", strValue));
    EXPECT_EQ(strValue, "./dsp;./tones");

    const AssertionCapture assertions;
    EXPECT_FALSE(m_set.configure(ParameterTrie(), m_folder.getFileSystem()));
    EXPECT_FALSE(m_set.configure(m_folder.getConfig(), {}));
    EXPECT_FALSE(m_set.configure(defaults, m_folder.getFileSystem()));
    ParameterTrie config = m_folder.getConfig();
    config.setParameter(WINDOWER, "damaged.xml");
    m_folder.write("damaged.xml", "<?xml version=\"1.0\"?><boost_serialization>");
    EXPECT_FALSE(m_set.configure(config, m_folder.getFileSystem()));
    m_folder.writeWindower(makeWindower(8000, 0, 10));
    const LogCapture audioLog("quillcast.audio");
    EXPECT_FALSE(m_set.configure(m_folder.getConfig(), m_folder.getFileSystem()));
    EXPECT_EQ(m_set.getConfig(), LinearAudioWindower::Config()) << "the windower is as it was";
    AudioClassifierSet other;
    other = m_set;
    EXPECT_THAT(assertions.conditions(),
                testing::IsSupersetOf(
                    {"in_config.getStringParameter( getParamNameAudioWindowerFilePath(), strFileName )",
                     "!in_hFileSystem.isNull()", "false"}));
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre("ERROR Could not open file dsp/LinearAudioWindowerConfig.xml on VirtualFileSystem",
                    HasSubstr("ERROR Windower configuration damaged.xml: ")));
}

TEST_F(AudioClassifierSetTest, ScriptsKnowTheRate)
{
    m_folder.writeScript("script", "result = rate\n");
    m_folder.writeScript("rates", "rate = 8000\nresult = rate\n");
    AudioClassifierSet set;
    setUp(set, makeWindower(16000, 1, 1));
    setUpStarted(set, makeWindower(11025, 4, 4));
    EXPECT_TRUE(pushRamp(set, 0, 44));
    EXPECT_EQ(resultText(set, "script"), "0esult=11025\n") << "configured twice, the second one holds";

    setUp(m_set, makeWindower(0, 4, 4));
    const LogCapture otherLogs("quillcast");
    const AssertionCapture assertions;
    ASSERT_TRUE(addScript(m_set, "script"));
    EXPECT_FALSE(m_set.freeze()) << "the rate is not known";
    EXPECT_FALSE(pushRamp(m_set, 0, 1));
    EXPECT_FALSE(m_set.setSourceRate(0));
    AudioClassifierSet otherSet;
    setUp(otherSet, m_set.getConfig());
    ASSERT_TRUE(addScript(otherSet, "rates"));
    EXPECT_FALSE(otherSet.setSourceRate(22050)) << "a script defines it";
    EXPECT_EQ(otherSet.getSamplingRate(), 0u);
    ASSERT_TRUE(m_set.setSourceRate(22050) && m_set.freeze() && m_set.start());
    EXPECT_TRUE(pushRamp(m_set, 0, 88));
    EXPECT_EQ(resultText(m_set, "script"), "0esult=22050\n");
}

TEST_F(AudioClassifierSetTest, ResetIsAFreshStart)
{
    m_folder.writeScript(
        "script",
        "result = [0.9 * prev(result, [0, 1])[0] + 0.1 * mean(audio), prev(result, [0, 1])[1] + audio[0]]\n");
    Windows windows;
    setUpNoting(m_set, makeWindower(1000, 5, 3), 1000, windows);
    ASSERT_TRUE(pushRamp(m_set, 0, 100));
    const Windows fresh = windows;
    ASSERT_EQ(fresh.size(), 32u); // (100 - 5) / 3 + 1
    ASSERT_TRUE(m_set.reset());
    EXPECT_EQ(resultText(m_set, "script"), "0esult=0\n1esult=0\n");
    EXPECT_EQ(m_set.getTotalPushedAudioTime(), 0.0);
    windows.clear();
    ASSERT_TRUE(pushRamp(m_set, 0, 100));
    EXPECT_TRUE(windows == fresh);
}

TEST_F(AudioClassifierSetTest, CloneGoesOnWithAudioAndStates)
{
    m_folder.writeScript("script", "result = prev(result, 0) + audio[0]\n");
    setUpStarted(m_set, makeWindower(1000, 4, 2));
    ASSERT_TRUE(pushRamp(m_set, 0, 5));
    const XprClassifierSet& set = m_set;
    const std::unique_ptr<XprClassifierSet> pClone(set.clone());
    auto* pAudioClone = dynamic_cast<AudioClassifierSet*>(pClone.get());
    ASSERT_NE(pAudioClone, nullptr);
    for (AudioClassifierSet* pSet : {&m_set, pAudioClone})
    {
        ASSERT_TRUE(pushRamp(*pSet, 5, 6));
        EXPECT_EQ(resultText(*pSet, "script"), "0esult=2\n");
    }
}

TEST_F(AudioClassifierSetTest, TrainingAndRunTimeSeeTheSame)
{
    m_folder.writeScript("script", "smooth = 0.8 * prev(smooth, 0) + 0.2 * energy(audio)\n"
                                   "result = [energy(audio), zero_crossings(audio), smooth, sum(audio)]\n");
    const LinearAudioWindower::Config CONFIGS[] = {
        {}, // telephony: 25 ms every 10 ms at 8000 Hz
        makeWindower(0, 25, 10),
        makeWindower(8000, 32, 16),
        makeWindower(8000, 20, 20),
        makeWindower(8000, 10, 25),
        makeWindower(11025, 25, 10),
        makeWindower(44100, 23, 7),
    };
    for (const LinearAudioWindower::Config& config : CONFIGS)
    {
        const std::uint32_t uiRate = config.m_uiSamplingRate == 0 ? 22050 : config.m_uiSamplingRate;
        const std::vector<int> vNoise = noise(uiRate / 4 + 13);
        const std::string strWav = m_folder.write("noise.wav", annotatedWav(uiRate, vNoise, {}));
        std::vector<double> vSamples;
        for (const int iSample : vNoise)
            vSamples.push_back(iSample / 32768.0);
        const Windows expected = readWindows(strWav, config, uiRate);
        ASSERT_FALSE(expected.empty());
        for (const std::size_t uiPiece : {1, 7, 160, 4096})
        {
            AudioClassifierSet set;
            Windows windows;
            setUpNoting(set, config, uiRate, windows);
            ASSERT_TRUE(push(set, vSamples, uiPiece));
            EXPECT_TRUE(windows == expected) << uiRate << ' ' << uiPiece;
        }
    }
}

TEST_F(AudioClassifierSetTest, LongRunsAllocateNothingAndKeepTime)
{
    m_folder.writeScript("script",
                         "count = prev(count, 0) + 1\n"
                         "a_name_that_is_longer_than_most = [count, energy(audio), audio[1:12] * 2]\n");
    setUp(m_set, {});
    ASSERT_TRUE(addScript(m_set, "script", "a_name_that_is_longer_than_most") && m_set.freeze() &&
                m_set.start());
    const std::vector<double> vPiece(160, 0.25); // 20 ms: two window shifts
    const std::uint64_t uiPieces = 20 * 60 * 50;
    const LogCapture quiet("quillcast", LogLevel::WARN);
    for (const char* logger : {"quillcast.ml.AudioClassifierSet", "quillcast.ml.XprAudioClassifier"})
        Logger::setLevel(logger, LogLevel::WARN);
    ASSERT_TRUE(push(m_set, std::vector<double>(1600, 0.25), 80));
    const AllocationCounter allocations;
    for (std::uint64_t i = 0; i < uiPieces; ++i)
        ASSERT_TRUE(m_set.pushLinearAudio(vPiece.data(), vPiece.data() + 80) &&
                    m_set.pushLinearAudio(vPiece.data() + 80, vPiece.data() + 160));
    EXPECT_EQ(allocations.getCount(), 0u);
    EXPECT_EQ(m_set.getTotalPushedAudioTime(), 0.2 + 20 * 60);
    EXPECT_EQ(m_set.getPushedSamples(), 1600 + 160 * uiPieces);
    // Window k ends at 200 + 80 k.
    const std::uint64_t uiWindows = (1600 + 160 * uiPieces - 200) / 80 + 1;
    EXPECT_EQ(m_set.getLastWindowEnd(), 200 + 80 * (uiWindows - 1));
    EXPECT_THAT(resultText(m_set, "script"),
                testing::StartsWith("0_name_that_is_longer_than_most=" + std::to_string(uiWindows) +
                                    "\n1_name_that_is_longer_than_most=12.5\n"));
}

TEST_F(AudioClassifierSetTest, ChannelsMayHaveThreadsOfTheirOwn)
{
    // Cloned before the first window, so that all work out at once how windows of this length are evaluated.
    m_folder.writeScript("script", "result = [prev(result, [0, 0])[0] + sum(audio), size(audio)]\n");
    setUpStarted(m_set, makeWindower(1000, 4, 4));
    std::vector<std::unique_ptr<AudioClassifierSet>> channels;
    for (int i = 0; i < 1000; ++i)
        channels.emplace_back(m_set.clone());
    std::vector<std::thread> threads;
    for (std::size_t uiThread = 0; uiThread < 4; ++uiThread)
        threads.emplace_back(
            [&, uiThread]
            {
                for (int iWindow = 0; iWindow < 3; ++iWindow)
                    for (std::size_t i = uiThread; i < channels.size(); i += 4)
                        push(*channels[i], std::vector<double>(4, static_cast<double>(i)), 4);
            });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < channels.size(); ++i) // three windows of four samples
        ASSERT_EQ(resultText(*channels[i], "script"), "0esult=" + std::to_string(12 * i) + "\n1esult=4\n");
}
