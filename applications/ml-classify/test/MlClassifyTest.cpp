#include "MLAudioFileDataGenerator.h"
#include "labels/LabelFile.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "test-support/Command.h"
#include "test-support/LogCapture.h"
#include "test-support/MakeWindower.h"
#include "test-support/TempDir.h"
#include "test-support/Terminal.h"
#include "test-support/WavBuilder.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <random>
#include <sstream>
#include <tuple>

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
        const LinearAudioWindower::Config config = Testing::makeWindower(in_uiRate, in_uiLength, in_uiShift);
        std::ostringstream text;
        XmlOutputArchive archive(text);
        archive.get() << boost::serialization::make_nvp("LinearAudioWindowerConfig", config);
        archive.finish();
        return text.str();
    }

    void writeWindower(std::uint32_t in_uiRate, std::uint64_t in_uiLength = 4, std::uint64_t in_uiShift = 2)
    {
        m_folder.write("test-input/xpr/dsp/LinearAudioWindowerConfig.xml",
                       windowerText(in_uiRate, in_uiLength, in_uiShift));
    }

    void importLabels(const std::string& in_strRecording, const std::string& in_strLabels,
                      const std::string& in_strCopy) const
    {
        std::vector<LabelSpan> vSpans;
        std::vector<Annotation> vAnnotations;
        std::vector<Annotation> vMarkers;
        ASSERT_TRUE(LabelFile::read(m_folder.path(in_strLabels), *LabelFormat::findForFile(in_strLabels), {},
                                    vSpans));
        LabelFile::toAnnotations(vSpans, vAnnotations, vMarkers);
        AnnotatedFile file;
        file.setAnnotations(vAnnotations);
        ASSERT_TRUE(
            file.writeToWAV(m_folder.path(in_strRecording).c_str(), m_folder.path(in_strCopy).c_str()));
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

/// Holds the targets of a recording with the classes A, B and C, in windows of those milliseconds, against
/// what the first three samples of each window decide: the largest, or the thresholds 0.3 and -0.4.
void expectTargets(const std::string& in_strRecording, const LinearAudioWindower::Config& in_windows,
                   const std::vector<int>& in_vSamples, bool in_bThresholds)
{
    const Testing::LogCapture log("quillcast.ml");
    MachineLearning::AudioFileDataGenerator generator;
    MachineLearning::AudioFileDataGenerator::Config config;
    config.m_audioConfig = in_windows;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
    config.m_vClasses = {"A", "B", "C", "OTHER"};
    ASSERT_TRUE(generator.configure(config) && generator.setCurrentFilename(in_strRecording.c_str()) &&
                generator.gotoStart());
    WindowSize size;
    std::string strError;
    ASSERT_TRUE(in_windows.getNominalWindowSize(size, strError));
    std::vector<double> vExpected(4);
    DoubleVector vTarget;
    std::size_t uiWindow = 0;
    for (; generator.generateNext(); ++uiWindow)
    {
        const int* pFirst = in_vSamples.data() + uiWindow * size.m_uiShift;
        for (std::size_t i = 0; i < 3; ++i)
            vExpected[i] = in_bThresholds ? double(pFirst[i] >= (vExpected[i] > 0.0 ? -0.4 : 0.3) * 32768)
                                          : double(std::max_element(pFirst, pFirst + 3) == pFirst + i);
        vExpected[3] = double(std::count(vExpected.begin(), vExpected.begin() + 3, 1.0) == 0);
        ASSERT_TRUE(generator.getTarget(vTarget));
        ASSERT_EQ(std::vector<double>(vTarget.begin(), vTarget.end()), vExpected)
            << "window " << uiWindow << " of " << size.m_uiLength << " samples every " << size.m_uiShift;
    }
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(uiWindow, (in_vSamples.size() - size.m_uiLength) / size.m_uiShift + 1);
}

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
        int m_iExit = 1;
    } cases[] = {
        {"P a.wav", "a script must be supplied", 2},
        {"P --script sums", "a recording must be supplied", 2},
        {"P --script none a.wav", "Failed to use script 'none' in the classifier."},
        {"P --script sums --script sums a.wav", "Script sums is given twice"},
        {"P --script syntax a.wav", "syntax.xpr"},
        {"P --script needs a.wav", "sums.n"},
        {"P --script fails a.wav", "Classification failed after 0.004 s of audio"},
        {"P --script sums --result-variable-name other a.wav", "Failed to retrieve variable named 'other'"},
        {"P --script sums none.wav", "none.wav"},
        {"P --script sums a.raw", "a.raw"},
        {"P --script sums a.wav --rate 1000", "Option --rate is for raw samples", 2},
        {"P --script sums - --rate 0 <a.raw", "'0' is no number", 2},
        {"P --script sums - --encoding s17 <a.raw", "there is no \"s17\", only s16", 2},
        {"head -c 5 a.raw | P --script sums -", "The samples end within a sample: 1 of 2 bytes"},
        {"P --filesystem-path none --script sums a.wav", "Failed to set working directory to : none"},
        {"P --script sums a.wav >/dev/full", "cannot write to standard output"},
    };
    for (const auto& test : cases)
    {
        const CommandResult result = shell(test.m_line);
        EXPECT_EQ(result.m_iExit, test.m_iExit) << test.m_line;
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

// Windows end at 4, 6, 8... and hold for the two samples before: a decision of the first one begins at 2.
// A label of a single window stops a sample later, one after a gap of a single window starts a sample later.
TEST_F(MlClassifyTest, DecisionsBecomeLabels)
{
    const auto samples = [&](const std::vector<int>& in_vValues)
    {
        // The first sample of window k is 2 k: its value is the output.
        std::vector<int> vSamples;
        for (const int iValue : in_vValues)
            vSamples.insert(vSamples.end(), {iValue, iValue});
        vSamples.insert(vSamples.end(), {0, 0});
        m_folder.write("b.wav", Testing::annotatedWav(1000, vSamples, {{0, 2, "old"}}));
    };
    m_folder.write("test-input/xpr/level.xpr", "result = audio[0] * 32768\n");
    m_folder.write("test-input/xpr/two.xpr", "result = [audio[0] * 32768, 5]\n");
    const struct
    {
        const char* m_name;
        std::vector<int> m_vOutputs;
        const char* m_options;
        const char* m_labels;
    } CASES[] = {
        {"a threshold",
         {9, 4, 5, 0, 7},
         "--script level --threshold 5",
         "0.002000\t0.005000\tlevel\n0.007000\t0.009000\tlevel\n0.011000\t0.013000\tlevel\n"},
        {"and a lower one",
         {9, 4, 5, 0, 4},
         "--script level --threshold 5 --low-threshold 4",
         "0.002000\t0.008000\tlevel\n"},
        {"gaps and durations",
         {9, 0, 9, 0, 0, 9},
         "--script level --threshold 5 --min-gap 0.003 --min-duration 0.004",
         "0.002000\t0.008000\tlevel\n"},
        {"the largest output, the first of equals",
         {9, 4, 5},
         "--script two",
         "0.002000\t0.005000\ttwo[0]\n0.004000\t0.007000\ttwo[1]\n0.007000\t0.009000\ttwo[0]\n"},
        {"names, and none", {9, 4}, "--script two --class-names VOICE,OTHER", "0.002000\t0.005000\tVOICE\n"},
        {"columns",
         {9},
         "--script level --threshold 5 --labels-format csv --class-names \"a b\"",
         "start_s,stop_s,label,low_hz,high_hz\n0.002000,0.005000,a b,,\n"},
        {"objects", {0}, "--script level --threshold 5 --labels-format json", "[\n]\n"}};
    for (const auto& test : CASES)
    {
        samples(test.m_vOutputs);
        for (const char* input : {"b.wav", "- <b.wav"})
        {
            const CommandResult result = shell(std::string("P --labels - ") + test.m_options + ' ' + input);
            EXPECT_EQ(result.m_strOut, test.m_labels) << test.m_name;
            EXPECT_EQ(result.m_strErr, "") << test.m_name;
            EXPECT_EQ(result.m_iExit, 0) << test.m_name;
        }
    }
    // Into a file, and into a copy of the recording, whose annotations they replace.
    samples({9, 9, 0});
    EXPECT_EQ(shell("P --labels out.TextGrid --script level --threshold 5 b.wav && P --labels copy.wav "
                    "--script level "
                    "--threshold 5 b.wav")
                  .m_strErr,
              "");
    EXPECT_THAT(Testing::readFile(m_folder.path("out.TextGrid")),
                HasSubstr("xmax = 0.006 \n            text = \"level\" \n        intervals [3]:\n"
                          "            xmin = 0.006 \n            xmax = 0.008 \n"));
    const std::string strCopy = Testing::annotatedWav(1000, {9, 9, 9, 9, 0, 0, 0, 0}, {{2, 6, "level"}});
    EXPECT_EQ(Testing::readFile(m_folder.path("copy.wav")), strCopy);
    const std::pair<const char*, const char*> REFUSED[] = {
        {"P --script level --threshold 5 a.wav", "option '--threshold' needs --labels"},
        {"P --script level --labels - a.wav", "level has a single output: --threshold tells where it holds"},
        {"P --script two --labels - --class-names A a.wav", "two has 2 outputs, --class-names names 1"},
        {"P --script two --labels - --class-names A, a.wav",
         "option '--class-names': 'A,' has an empty name"},
        {"P --script two --labels - --low-threshold 1 a.wav", "option '--low-threshold' needs --threshold"},
        {"P --script two --labels - --threshold 1 --low-threshold 2 a.wav", "'2' is no number"},
        {"P --script two --labels - --min-gap -1 a.wav", "'-1' is no number"},
        {"P --script two --labels - --threshold nan a.wav", "'nan' is no number"},
        {"P --script two --labels x.lab a.wav", "the extension of x.lab tells no format of labels"},
        {"P --script two --labels - --labels-format xml a.wav", "there is only text, textgrid"},
        {"P --script two --labels - --json a.wav", "option '--json' is for the results of windows"},
        {"P --script two --labels x.wav - <a.wav", "a copy of a recording that is a file"},
        {"P --script two --labels a.wav a.wav", "Not writing over a.wav: it is an input"},
        {"P --script two --labels copy.wav a.wav", "Not writing over copy.wav: it is a recording"},
        {"P --script two --labels none/x.txt a.wav", "Cannot write none/x.txt: No such file"},
        {"P --script two --labels /dev/full --labels-format csv a.wav",
         "Cannot write /dev/full: No space left"},
        {"P --script two --labels - a.wav >/dev/full", "cannot write to standard output"}};
    for (const auto& [line, message] : REFUSED)
    {
        const CommandResult result = shell(line);
        EXPECT_NE(result.m_iExit, 0) << line;
        EXPECT_THAT(result.m_strErr, HasSubstr(message)) << line;
    }
    EXPECT_EQ(Testing::readFile(m_folder.path("copy.wav")), strCopy);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("x.wav")));
}

TEST_F(MlClassifyTest, OfARecordingItShowsOnATerminalHowFarItIs)
{
    const Testing::Terminal terminal;
    const std::string strTerminal = std::to_string(terminal.m_iTerminal);
    const auto shown = [&](const std::string& in_strLine)
    {
        const CommandResult result = Testing::runCommand(
            {"/bin/bash", "-c", "P() { " + std::string(PROGRAM) + " --script sums \"$@\"; }; " + in_strLine},
            m_folder.path());
        EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
        return Testing::drain(terminal.m_iScreen);
    };
    EXPECT_THAT(shown("P a.wav 2>&" + strTerminal), StartsWith("\r\033[Kml-classify: 1 windows, "));
    EXPECT_EQ(shown("P a.wav --quiet 2>&" + strTerminal), "");
    EXPECT_EQ(shown("P - <a.wav 2>&" + strTerminal), "") << "somebody may speak";
    EXPECT_THAT(shown("P a.wav >&" + strTerminal + " 2>&1"), StartsWith("0.004\t")) << "among the results";
}

TEST_F(MlClassifyTest, ALabelLeavesAsSoonAsItIsCertain)
{
    // Windows of four samples every two: 9 holds until sample 6, the window that ends at 8 tells so.
    m_folder.write("test-input/xpr/level.xpr", "result = audio[3] * 32768\n");
    m_folder.write("c.raw", Testing::Wav::data({9, 9, 9, 9, 9, 9, 0, 0, 0, 0}).substr(8));
    const CommandResult result = shell(
        "mkfifo in; P --labels - --script level --threshold 5 - <in >out & exec 3>in; head -c 16 c.raw >&3; "
        "for i in $(seq 200); do if [ -s out ]; then break; fi; sleep 0.05; done; cat out; exec 3>&-; wait");
    EXPECT_EQ(result.m_strOut, "0.002000\t0.006000\tlevel\n");
}

// Decisions, written as labels and read as annotations, are the targets of a generator with the same windows.
TEST_F(MlClassifyTest, LabelsAreTheTargetsOfWhatWasDecided)
{
    using namespace MachineLearning;
    m_folder.write("test-input/xpr/noise.xpr", "result = [audio[0], audio[1], audio[2]]\n");
    std::mt19937 random(3);
    for (const auto& [uiRate, uiLength, uiShift] : {std::tuple{8000u, 25u, 10u},
                                                    {11025u, 25u, 10u},
                                                    {8000u, 10u, 10u},
                                                    {8000u, 5u, 10u},
                                                    {44100u, 20u, 7u}})
    {
        writeWindower(uiRate, uiLength, uiShift);
        std::vector<int> vSamples(2 * uiRate);
        for (int& iSample : vSamples)
            iSample = int(random() % 65536) - 32768;
        m_folder.write("noise.wav", Testing::annotatedWav(uiRate, vSamples, {}));
        for (const std::string strOptions : {"", " --threshold 0.3 --low-threshold -0.4"})
        {
            const std::string strRun =
                "P --script noise noise.wav --force" + strOptions + " --class-names A,B,C --labels ";
            ASSERT_EQ(shell(strRun + "direct.wav").m_iExit, 0);
            ASSERT_EQ(shell(strRun + "noise.txt").m_iExit, 0);
            importLabels("noise.wav", "noise.txt", "imported.wav");
            for (const char* file : {"direct.wav", "imported.wav"})
                expectTargets(m_folder.path(file), Testing::makeWindower(uiRate, uiLength, uiShift), vSamples,
                              !strOptions.empty());
        }
    }
}
