#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using Testing::CommandResult;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr const char* PROGRAM = QC_BINARY_DIR "/bin/ml-classify";

/// The real program in a folder with scripts, a windower of 4 samples every 2 and recordings at 1000 Hz,
/// where a millisecond is a sample.
class MlClassifyTest : public testing::Test
{
protected:
    MlClassifyTest()
    {
        std::filesystem::create_directories(m_folder.path("test-input/xpr/dsp"));
        writeWindower(1000);
        m_folder.write("test-input/xpr/sums.xpr", "result = [sum(audio) * 32768, prev(n, 0)]\n"
                                                  "n = prev(n, 0) + 1\n");
        m_folder.write("test-input/xpr/odd.xpr", "result = [1 / audio[0], log(0 - 1)]\n");
        // Windows end at 4, 6, 8; one sample is left over.
        const std::vector<int> vSamples{0, 1, 2, 3, 4, 5, 6, 7, 8};
        m_folder.write("a.wav", Testing::annotatedWav(1000, vSamples, {}));
        m_folder.write("a.raw", Testing::Wav::data(vSamples).substr(8, 18));
    }

    static std::string windowerText(std::uint32_t in_uiRate, std::uint64_t in_uiLength,
                                    std::uint64_t in_uiShift)
    {
        LinearAudioWindower::Config config;
        config.m_uiSamplingRate = in_uiRate;
        config.m_uiWindowLength = in_uiLength;
        config.m_uiWindowShift = in_uiShift;
        std::ostringstream text;
        XmlOutputArchive archive(text);
        archive.get() << boost::serialization::make_nvp("LinearAudioWindowerConfig", config);
        archive.finish();
        return text.str();
    }

    void writeWindower(std::uint32_t in_uiRate)
    {
        m_folder.write("test-input/xpr/dsp/LinearAudioWindowerConfig.xml", windowerText(in_uiRate, 4, 2));
    }

    CommandResult run(std::vector<std::string> in_vArguments) const
    {
        in_vArguments.insert(in_vArguments.begin(), PROGRAM);
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    /// A line of the shell, in which "P" stands for the program.
    CommandResult shell(const std::string& in_strLine) const
    {
        return Testing::runCommand(
            {"/bin/sh", "-c", "P() { " + std::string(PROGRAM) + " \"$@\"; }; " + in_strLine},
            m_folder.path());
    }

    Testing::TempDir m_folder;
};

// 0 + 1 + 2 + 3 = 6; each window adds 8.
constexpr const char* SUMS = "0.004\tsums\t0esult=6 1esult=0\n"
                             "0.006\tsums\t0esult=14 1esult=1\n"
                             "0.008\tsums\t0esult=22 1esult=2\n"
                             "# end at 0.009 s, windows: 3, samples left over: 1\n";

} // namespace

TEST_F(MlClassifyTest, PrintsEveryWindowOfARecordingAndOfAPipe)
{
    const CommandResult recording = run({"--script", "sums", "a.wav"});
    EXPECT_EQ(recording.m_iExit, 0) << recording.m_strErr;
    EXPECT_EQ(recording.m_strOut, SUMS);
    EXPECT_EQ(recording.m_strErr, "");
    EXPECT_EQ(shell("cat a.raw | P --script sums -").m_strOut, SUMS);
    EXPECT_EQ(shell("(head -c 3 a.raw; sleep 0.1; tail -c +4 a.raw) | P --script sums - --encoding s16 "
                    "--rate 1000")
                  .m_strOut,
              SUMS)
        << "a sample comes in two pieces";
    EXPECT_EQ(shell("P --script sums - </dev/null").m_strOut,
              "# end at 0 s, windows: 0, samples left over: 0\n");
}

TEST_F(MlClassifyTest, ARecordingInAPipeIsReadAsOne)
{
    using namespace Testing;
    const std::string strData = Wav::data({0, 1, 2, 3, 4, 5, 6, 7, 8});
    const std::string strList = Wav::adtl(Wav::labl(1, "odd"));
    const std::string strSamples = strData.substr(8);
    const std::string strUnknown = "data" + Wav::u32(0xFFFFFFFF) + strSamples;
    const std::string strLong = Wav::chunk("ds64", Wav::u64(0) + Wav::u64(18) + Wav::u64(9) + Wav::u32(0));
    const std::string strStereo = Wav::data({9, 0, 9, 1, 9, 2, 9, 3, 9, 4, 9, 5, 9, 6, 9, 7, 9, 8});
    const std::string strExtended =
        Wav::chunk("fmt ", Wav::u16(0xFFFE) + Wav::fmt(1000).substr(10, 14) + Wav::u16(22) + Wav::u16(16) +
                               Wav::u32(4) + Wav::u16(1) + std::string(14, '\0'));
    const std::pair<const char*, std::string> RECORDINGS[] = {
        {"chunks on both sides", Wav::riff(strList + Wav::fmt(1000) + strList + strData + strList)},
        {"extended format", Wav::riff(strExtended + strData)},
        {"size unknown", Wav::riff(Wav::fmt(1000) + strUnknown)},
        {"size 0", Wav::riff(Wav::fmt(1000) + "data" + Wav::u32(0) + strSamples)},
        {"64 bits", "RF64" + Wav::riff(strLong + Wav::fmt(1000) + strUnknown + strList).substr(4)},
        {"broadcast", "BW64" + Wav::riff(strLong + Wav::fmt(1000) + strUnknown + strList).substr(4)}};
    for (const auto& [name, strRecording] : RECORDINGS)
    {
        m_folder.write("b.wav", strRecording);
        const CommandResult piped = shell("cat b.wav | P --script sums -");
        EXPECT_EQ(piped.m_iExit, 0) << name << piped.m_strErr;
        EXPECT_EQ(piped.m_strOut, SUMS) << name;
        EXPECT_EQ(piped.m_strErr, "") << name;
    }
    m_folder.write("two.wav", Wav::riff(Wav::fmt(1000, 2) + strStereo));
    EXPECT_EQ(shell("cat two.wav | P --script sums -").m_strOut,
              run({"--script", "sums", "two.wav"}).m_strOut);
    const CommandResult cut = shell("head -c 61 a.wav | P --script sums -");
    EXPECT_EQ(cut.m_iExit, 0);
    EXPECT_EQ(cut.m_strOut,
              std::string(SUMS).substr(0, 89) + "# end at 0.008 s, windows: 3, samples left over: 0\n");
    EXPECT_EQ(cut.m_strErr, "WARN: The recording on standard input is shorter than its header says\n");

    m_folder.write("adpcm.wav", Wav::riff(Wav::fmt(1000, 1, 4, 0x11) + strData));
    const std::pair<const char*, const char*> REFUSED[] = {
        {"head -c 30 a.wav | P --script sums -", "standard input: its \"fmt \" chunk is cut"},
        {"head -c 40 a.wav | P --script sums -", "standard input: it ends before its samples"},
        {"cat adpcm.wav | P --script sums -", "samples of coding 17 with 4 bits are read from a file only"},
        {"printf 'RIFFxxxxAVI ' | P --script sums -", "it is no WAV recording"},
        {"cat a.wav | P --script sums - --rate 1000", "Option --rate is for raw samples"}};
    for (const auto& [line, message] : REFUSED)
    {
        const CommandResult result = shell(line);
        EXPECT_EQ(result.m_iExit, 1) << line;
        EXPECT_THAT(result.m_strErr, HasSubstr(message)) << line;
    }
}

TEST_F(MlClassifyTest, AWindowLeavesAsSoonAsItIsComplete)
{
    // Four samples have come and the pipe stays open.
    m_folder.write("test-input/xpr/dsp/LinearAudioWindowerConfig.xml", windowerText(1000, 4, 3));
    const CommandResult result = shell(
        "mkfifo in; P --script sums - <in >out & exec 3>in; head -c 8 a.raw >&3; "
        "for i in $(seq 200); do if [ -s out ]; then break; fi; sleep 0.05; done; cat out; exec 3>&-; wait");
    EXPECT_EQ(result.m_strOut, "0.004\tsums\t0esult=6 1esult=0\n");
}

TEST_F(MlClassifyTest, JsonIsAnObjectALine)
{
    const CommandResult result = run({"--json", "--script=sums", "--script=odd", "a.wav"});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    EXPECT_THAT(
        result.m_strOut,
        StartsWith(
            "{\"time\":0.004,\"classifier\":\"odd\",\"entries\":[{\"name\":\"0esult\",\"value\":\"inf\"},"
            "{\"name\":\"1esult\",\"value\":\"-nan\"}]}\n"
            "{\"time\":0.004,\"classifier\":\"sums\",\"entries\":[{\"name\":\"0esult\",\"value\":6},"
            "{\"name\":\"1esult\",\"value\":0}]}\n"));
    EXPECT_THAT(result.m_strOut, EndsWith("{\"end\":0.009,\"windows\":3,\"left_over\":1}\n"));
}

TEST_F(MlClassifyTest, RateOfTheWindowerAndOfTheAudio)
{
    m_folder.write("test-input/xpr/rates.xpr", "result = rate\n");
    writeWindower(0);
    EXPECT_EQ(run({"--script", "sums", "a.wav"}).m_strOut, SUMS);
    EXPECT_THAT(shell("P --script rates - --rate 500 <a.raw").m_strOut,
                StartsWith("0.004\trates\t0esult=500\n"));
    const CommandResult noRate = shell("P --script rates - <a.raw");
    EXPECT_EQ(noRate.m_iExit, 1);
    EXPECT_THAT(noRate.m_strErr, HasSubstr("option --rate is needed"));

    writeWindower(8000);
    for (const CommandResult& result :
         {run({"--script", "sums", "a.wav"}), shell("P --script sums - --rate 1000 <a.raw")})
    {
        EXPECT_EQ(result.m_iExit, 1);
        EXPECT_THAT(result.m_strErr, HasSubstr("Sampling rate of 1000 Hz refused: 8000 Hz are configured"));
        EXPECT_THAT(result.m_strErr,
                    HasSubstr("Audio of 1000 Hz does not fit the configuration of the windower"));
        EXPECT_EQ(result.m_strOut, "");
    }
}

TEST_F(MlClassifyTest, WhatIsWrongIsSaidAndFails)
{
    m_folder.write("test-input/xpr/syntax.xpr", "result = audio *\n");
    m_folder.write("test-input/xpr/fails.xpr", "result = audio + [1, 2]\n");
    m_folder.write("test-input/xpr/needs.xpr", "result = sums.n\n");
    const struct
    {
        const char* m_line;
        const char* m_message;
    } cases[] = {
        {"P a.wav", "a script must be supplied"},
        {"P --script sums", "a recording must be supplied"},
        {"P --script none a.wav", "Failed to use script 'none' in the classifier."},
        {"P --script sums --script sums a.wav", "Script sums is given twice"},
        {"P --script syntax a.wav", "syntax.xpr"},
        {"P --script needs a.wav", "sums.n"},
        {"P --script fails a.wav", "Classification failed after 0.004 s of audio"},
        {"P --script sums --result-variable-name other a.wav", "Failed to retrieve variable named 'other'"},
        {"P --script sums none.wav", "none.wav"},
        {"P --script sums a.raw", "a.raw"},
        {"P --script sums a.wav --rate 1000", "Option --rate is for raw samples"},
        {"P --script sums - --rate 0 <a.raw", "'0' is no number"},
        {"P --script sums - --encoding s17 <a.raw", "there is no \"s17\", only s16"},
        {"head -c 5 a.raw | P --script sums -", "The samples end within a sample: 1 of 2 bytes"},
        {"P --filesystem-path none --script sums a.wav", "Failed to set working directory to : none"},
        {"P --script sums a.wav >/dev/full", "cannot write to standard output"},
    };
    for (const auto& test : cases)
    {
        const CommandResult result = shell(test.m_line);
        EXPECT_EQ(result.m_iExit, 1) << test.m_line;
        EXPECT_THAT(result.m_strErr, HasSubstr(test.m_message)) << test.m_line;
        EXPECT_THAT(result.m_strOut, testing::Not(HasSubstr("# end"))) << test.m_line;
    }
    EXPECT_EQ(shell("P --script needs --further-script sums a.wav").m_iExit, 0);
}

TEST_F(MlClassifyTest, AClosedPipeEndsTheRunAtOnce)
{
    // Audio without end: only the failed write can end it.
    const CommandResult result = shell("{ timeout 20 " + std::string(PROGRAM) +
                                       " --script sums - </dev/zero; echo $? >status; } | head -n 2");
    EXPECT_EQ(result.m_strOut, "0.004\tsums\t0esult=0 1esult=0\n0.006\tsums\t0esult=0 1esult=1\n");
    EXPECT_EQ(Testing::readFile(m_folder.path("status")), "1\n");
}

TEST_F(MlClassifyTest, HelpAndTheGraph)
{
    EXPECT_THAT(run({"--help"}).m_strOut, HasSubstr("--dump-evaluator-in-file"));
    EXPECT_EQ(run({"--script", "sums", "a.wav", "--dump-evaluator-in-file", "graph.dot"}).m_iExit, 0);
    EXPECT_THAT(Testing::readFile(m_folder.path("graph.dot")), HasSubstr("sums"));
    const std::string strRecording = Testing::readFile(m_folder.path("a.wav"));
    EXPECT_EQ(run({"--script", "sums", "a.wav", "--dump-evaluator-in-file", "a.wav"}).m_strErr,
              "ERROR: Not writing over a.wav: it is an input; --force writes all the same\n");
    EXPECT_EQ(Testing::readFile(m_folder.path("a.wav")), strRecording);
}
