#include "detector/Detector.h"

#include "AudioClassifierSet.h"
#include "common/Base64.h"
#include "test-support/Command.h"
#include "test-support/LogCapture.h"
#include "test-support/OnnxWriter.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <charconv>
#include <cmath>
#include <future>
#include <gmock/gmock.h>
#include <map>
#include <sstream>
#include <sys/stat.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::CommandResult;
using testing::HasSubstr;
using Testing::LogCapture;
using testing::Not;
using Testing::OnnxWriter;
using Testing::readFile;
using testing::StartsWith;

namespace
{

constexpr std::uint32_t RATE = 8000;
constexpr std::size_t SAMPLES = 20000;

using Outputs = std::vector<double>;
/// Outputs by the end of their window, in samples.
using Decisions = std::map<std::uint64_t, Outputs>;

/// A tone that comes and goes, and noise that is the same each time.
std::vector<int> newSamples(int in_iSeed)
{
    std::vector<int> vSamples;
    std::uint32_t uiNoise = static_cast<std::uint32_t>(in_iSeed);
    for (std::size_t i = 0; i < SAMPLES; ++i)
    {
        uiNoise = uiNoise * 1664525 + 1013904223;
        const bool bTone = i / 4000 % 2 == 1;
        vSamples.push_back(static_cast<int>(uiNoise >> 24) - 128 +
                           (bTone ? static_cast<int>(8000 * std::sin(0.7 * static_cast<double>(i))) : 0));
    }
    return vSamples;
}

std::string newRecording(int in_iSeed)
{
    return Testing::annotatedWav(RATE, newSamples(in_iSeed), {{4000, 8000, "TONE"}, {12000, 16000, "TONE"}});
}

/// Chunks of one annotation, for recordings that no test of targets is about.
std::string newLabel()
{
    using Testing::Wav::cue, Testing::Wav::adtl, Testing::Wav::labl, Testing::Wav::ltxt;
    return cue({{1, 400}}) + adtl(labl(1, "TONE") + ltxt(1, 800));
}

/// A network of 10 inputs and 2 outputs, which with a state depend on all earlier inputs.
std::string newOnnx(bool in_bState)
{
    std::vector<float> vWeights;
    for (int i = 0; i < 20; ++i)
        vWeights.push_back(0.01F * static_cast<float>(i % 7 - 3));
    OnnxWriter writer;
    writer.input("x", {1, 10}).constant("w", {10, 2}, vWeights);
    if (!in_bState)
        return writer.node("MatMul", {"x", "w"}, {"s"}).node("Sigmoid", {"s"}, {"y"}).output("y").getFile();
    return writer.input("h", {1, 2})
        .node("MatMul", {"x", "w"}, {"m"})
        .node("Add", {"m", "h"}, {"s"})
        .node("Tanh", {"s"}, {"h_next"})
        .node("Sigmoid", {"s"}, {"y"})
        .output("y")
        .output("h_next")
        .getFile();
}

double toDouble(std::string_view in_text)
{
    double dValue = NAN;
    std::from_chars(in_text.data(), in_text.data() + in_text.size(), dValue);
    return dValue;
}

class DetectorTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_pFolder = std::make_unique<Testing::TempDir>();
        const Testing::TempDir& folder = *s_pFolder;
        folder.write("a.wav", newRecording(1));
        folder.write("b.wav", newRecording(2));
        folder.write("all.lst", "a.wav\nb.wav\n");
        folder.write("plain.onnx", newOnnx(false));
        folder.write("state.onnx", newOnnx(true));
        const std::vector<std::string> vFeatures{"--feature", "log-mel",   "--bands",
                                                 "10",        "--classes", "TONE,OTHER"};
        write("set.xml", {"--generator", "low-memory-audio-set"}, vFeatures);
        write("one.xml", {}, vFeatures);
        expectDone("ml-train", {"--data-gen-config", "set.xml", "--data-gen-filename", "all.lst", "--hidden",
                                "6", "--epochs", "30", "--hold-out", "5", "--network", "fann.net",
                                "--detector", "fann.detector"});
        for (const std::string strName : {"plain", "state"})
            expectDone("ml-train", {"--data-gen-config", "one.xml", "--import", strName + ".onnx",
                                    "--detector", strName + ".detector"});
    }
    static void TearDownTestSuite() { s_pFolder.reset(); }

    static CommandResult run(const std::string& in_strProgram, std::vector<std::string> in_vArguments)
    {
        in_vArguments.insert(in_vArguments.begin(), QC_BINARY_DIR "/bin/" + in_strProgram);
        return Testing::runCommand(in_vArguments, s_pFolder->path());
    }

    static CommandResult expectDone(const std::string& in_strProgram,
                                    const std::vector<std::string>& in_vArguments)
    {
        const CommandResult result = run(in_strProgram, in_vArguments);
        EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
        EXPECT_EQ(result.m_strErr, "");
        return result;
    }

    static void write(const std::string& in_strFile, std::vector<std::string> in_vOptions,
                      const std::vector<std::string>& in_vFeatures)
    {
        in_vOptions.insert(in_vOptions.begin(), {"write", in_strFile});
        in_vOptions.insert(in_vOptions.end(), in_vFeatures.begin(), in_vFeatures.end());
        expectDone("ml-config", in_vOptions);
    }

    static std::unique_ptr<Detector> load(const std::string& in_strName)
    {
        return Detector::newFromFile(s_pFolder->path(in_strName).c_str());
    }

    /// What ml-tester logs of a recording or a list, one recording after the other.
    static std::vector<Decisions> test(const std::vector<std::string>& in_vOptions)
    {
        std::vector<std::string> vOptions = in_vOptions;
        vOptions.insert(vOptions.end(), {"--classification-error", "--output-log", "log"});
        expectDone("ml-tester", vOptions);
        std::istringstream log(readFile(s_pFolder->path("log")));
        std::vector<Decisions> vAll;
        std::string strLine;
        for (std::getline(log, strLine); std::getline(log, strLine);)
        {
            std::istringstream line(strLine);
            std::string strNumber, strPattern, strTime, strTarget, strOutput;
            std::getline(line, strNumber, '\t');
            if (strNumber.starts_with("#"))
            {
                vAll.emplace_back();
                continue;
            }
            for (std::string* pField : {&strPattern, &strTime, &strTarget, &strOutput})
                std::getline(line, *pField, '\t');
            const std::size_t uiBlank = strOutput.find(' ');
            vAll.back()[static_cast<std::uint64_t>(std::llround(toDouble(strTime) * RATE))] = {
                toDouble(std::string_view(strOutput).substr(1)),
                toDouble(std::string_view(strOutput).substr(uiBlank + 1))};
        }
        return vAll;
    }

    /// What ml-classify prints.
    static Decisions classify(const std::string& in_strShellLine)
    {
        const CommandResult result = Testing::runCommand(
            {"/bin/sh", "-c", "P() { " QC_BINARY_DIR "/bin/ml-classify \"$@\"; }; " + in_strShellLine},
            s_pFolder->path());
        EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
        Decisions decisions;
        std::istringstream lines(result.m_strOut);
        for (std::string strTime, strName, strTone, strOther;
             lines >> strTime >> strName >> strTone >> strOther && strTime != "#";)
            decisions[static_cast<std::uint64_t>(std::llround(toDouble(strTime) * RATE))] = {
                toDouble(std::string_view(strTone).substr(5)),
                toDouble(std::string_view(strOther).substr(6))};
        return decisions;
    }

    static std::unique_ptr<Testing::TempDir> s_pFolder;
};

std::unique_ptr<Testing::TempDir> DetectorTest::s_pFolder;

} // namespace

TEST_F(DetectorTest, IsTestedWithoutAnythingElse)
{
    const std::vector<Decisions> vListed =
        test({"--detector", "fann.detector", "--data-gen-filename", "all.lst"});
    ASSERT_EQ(vListed.size(), 2u);
    EXPECT_EQ(vListed, test({"--data-gen-config", "set.xml", "--network", "fann.net", "--data-gen-filename",
                             "all.lst"}));
    EXPECT_EQ(test({"--detector", "fann.detector", "--data-gen-filename", "b.wav"}),
              std::vector<Decisions>{vListed[1]});
    // It was made of the generator of a recording.
    EXPECT_EQ(
        test({"--detector", "state.detector", "--data-gen-filename", "all.lst"})[1],
        test({"--data-gen-config", "one.xml", "--network", "state.onnx", "--data-gen-filename", "b.wav"})[0]);
    const CommandResult result =
        expectDone("ml-tester", {"--detector", "fann.detector", "--data-gen-filename", "a.wav"});
    EXPECT_THAT(result.m_strOut, HasSubstr("classification-error = "));
}

TEST_F(DetectorTest, GivesTheSameBitsInTestAndUse)
{
    for (const std::string strName : {"fann", "plain", "state"})
    {
        const std::string strFile = strName + ".detector";
        const Decisions expected = test({"--detector", strFile, "--data-gen-filename", "a.wav"})[0];
        ASSERT_EQ(expected.size(), (SAMPLES - 200) / 80 + 1);
        EXPECT_EQ(classify("P --detector " + strFile + " a.wav"), expected) << strName;
        EXPECT_EQ(classify("cat a.wav | P --detector " + strFile + " -"), expected) << strName;
    }
}

TEST_F(DetectorTest, GivesTheSameBitsThroughEveryEncoding)
{
    using namespace Testing;
    const struct
    {
        const char* m_name;
        std::uint32_t m_uiTag;
        std::uint32_t m_uiBits;
    } ENCODINGS[] = {{"u8", 1, 8},   {"s16", 1, 16}, {"s24", 1, 24}, {"s32", 1, 32},
                     {"f32", 3, 32}, {"f64", 3, 64}, {"alaw", 6, 8}, {"mulaw", 7, 8}};
    const std::vector<int> vSamples = newSamples(3);
    for (const auto& encoding : ENCODINGS)
    {
        std::string strBytes;
        for (const int iSample : vSamples)
        {
            const std::string strLow(encoding.m_uiBits / 8 - 1, char(iSample * 7));
            const double dSample = iSample / 32768.0;
            const auto fSample = static_cast<float>(dSample);
            if (encoding.m_uiTag != 3)
                strBytes += strLow + static_cast<char>(iSample >> 8);
            else if (encoding.m_uiBits == 32)
                strBytes.append(reinterpret_cast<const char*>(&fSample), sizeof fSample);
            else
                strBytes.append(reinterpret_cast<const char*>(&dSample), sizeof dSample);
        }
        const std::string strWav = Wav::riff(Wav::fmt(RATE, 1, encoding.m_uiBits, encoding.m_uiTag) +
                                             newLabel() + Wav::chunk("data", strBytes));
        s_pFolder->write("coded.wav", strWav);
        s_pFolder->write("coded.raw", strBytes);
        const Decisions expected =
            test({"--detector", "state.detector", "--data-gen-filename", "coded.wav"})[0];
        ASSERT_EQ(expected.size(), (SAMPLES - 200) / 80 + 1) << encoding.m_name;
        const std::string strEncoding = std::string("P --detector state.detector - --encoding ");
        EXPECT_EQ(classify(strEncoding + encoding.m_name + " <coded.raw"), expected) << encoding.m_name;
        EXPECT_EQ(classify("P --detector state.detector - <coded.wav"), expected) << encoding.m_name;
    }
}

TEST_F(DetectorTest, GivesTheSameBitsOnOneOfSeveralChannels)
{
    using namespace Testing;
    std::vector<int> vBoth;
    for (const int iSample : newSamples(1))
        vBoth.insert(vBoth.end(), {-iSample, iSample, 99});
    s_pFolder->write("three.wav", Wav::riff(Wav::fmt(RATE, 3) + newLabel() + Wav::data(vBoth)));
    write("second.xml",
          {"--channel", "1", "--feature", "log-mel", "--bands", "10", "--classes", "TONE,OTHER"}, {});
    expectDone("ml-train", {"--data-gen-config", "second.xml", "--import", "state.onnx", "--detector",
                            "second.detector"});
    const Decisions expected = test({"--detector", "state.detector", "--data-gen-filename", "a.wav"})[0];
    EXPECT_EQ(test({"--detector", "second.detector", "--data-gen-filename", "three.wav"})[0], expected);
    EXPECT_EQ(classify("P --detector second.detector three.wav"), expected);
    EXPECT_EQ(classify("P --detector second.detector - <three.wav"), expected);
}

// What was decided is no error of the detector once it is the label.
TEST_F(DetectorTest, DecisionsComeBackAsLabels)
{
    const std::string strName = "fann.detector";
    s_pFolder->write("imported.wav", newRecording(1));
    expectDone("ml-classify", {"--detector", strName, "--labels", "direct.wav", "a.wav"});
    expectDone("ml-classify", {"--detector", strName, "--labels", "a.csv", "a.wav"});
    expectDone("ml-annotate", {"import", "imported.wav", "a.csv"});
    for (const char* file : {"direct.wav", "imported.wav"})
    {
        const CommandResult result =
            expectDone("ml-tester", {"--detector", strName, "--data-gen-filename", file});
        EXPECT_THAT(result.m_strOut, HasSubstr("classification-error = 0/248 "));
        EXPECT_THAT(result.m_strOut, Not(HasSubstr(" = 248/248 "))) << "of both classes";
    }
}

namespace
{

/// A set with one detector that is its classifier, too.
std::unique_ptr<AudioClassifierSet> newSet(const Detector& in_detector)
{
    auto pSet = std::make_unique<AudioClassifierSet>();
    EXPECT_TRUE(pSet->configure(in_detector.getWindows()));
    EXPECT_TRUE(addDetector(in_detector, "it", true, *pSet));
    EXPECT_TRUE(pSet->freeze() && pSet->start());
    return pSet;
}

/// Decisions after pushes of 1 to 5000 samples: of each the last window that it completed.
Decisions push(AudioClassifierSet& io_set, const std::vector<int>& in_vSamples, std::uint32_t in_uiSeed)
{
    const LogCapture quiet("quillcast.ml.AudioClassifierSet");
    std::vector<double> vSamples;
    for (const int iSample : in_vSamples)
        vSamples.push_back(iSample / 32768.0);
    Decisions decisions;
    for (std::size_t i = 0; i < vSamples.size();)
    {
        in_uiSeed = in_uiSeed * 1664525 + 1013904223;
        const std::size_t uiMost = in_uiSeed >> 29 == 0 ? 5000 : 90;
        const std::size_t uiPiece = std::min(1 + (in_uiSeed >> 8) % uiMost, vSamples.size() - i);
        EXPECT_TRUE(io_set.pushLinearAudio(vSamples.data() + i, vSamples.data() + i + uiPiece));
        i += uiPiece;
        Outputs vOutputs;
        for (const Classifier::SingleOutputResult& entry : io_set.findClassifier("it")->second->getResult())
            vOutputs.push_back(entry.m_dValue);
        if (io_set.getLastWindowEnd() != 0)
            decisions[io_set.getLastWindowEnd()] = vOutputs;
    }
    return decisions;
}

void expectPartOf(const Decisions& in_decisions, const Decisions& in_all)
{
    EXPECT_GT(in_decisions.size(), 10u);
    for (const auto& [uiEnd, vOutputs] : in_decisions)
        EXPECT_EQ(in_all.at(uiEnd), vOutputs) << uiEnd;
}

} // namespace

TEST_F(DetectorTest, GivesTheSameBitsInPiecesOfAnySizeAfterResetAndInClones)
{
    for (const std::string strName : {"fann", "plain", "state"})
    {
        const std::unique_ptr<Detector> pDetector = load(strName + ".detector");
        ASSERT_NE(pDetector, nullptr);
        EXPECT_EQ(pDetector->getClassNames(), StringVector({"TONE", "OTHER"}));
        EXPECT_EQ(pDetector->getNetwork().hasState(), strName == "state");
        const Decisions a = test({"--detector", strName + ".detector", "--data-gen-filename", "a.wav"})[0];
        const Decisions b = test({"--detector", strName + ".detector", "--data-gen-filename", "b.wav"})[0];
        const std::unique_ptr<AudioClassifierSet> pSet = newSet(*pDetector);
        expectPartOf(push(*pSet, newSamples(1), 7), a);
        const std::unique_ptr<AudioClassifierSet> pClone(pSet->clone());
        ASSERT_TRUE(pSet->reset() && pClone->reset());
        expectPartOf(push(*pSet, newSamples(2), 8), b);
        expectPartOf(push(*pClone, newSamples(1), 9), a);
        EXPECT_EQ(pClone->findClassifier("it")->second->getResult().begin()->m_strName, "TONE");
    }
}

TEST_F(DetectorTest, ACloneGoesOnWhereTheOriginalIs)
{
    const std::unique_ptr<Detector> pDetector = load("state.detector");
    const Decisions a = test({"--detector", "state.detector", "--data-gen-filename", "a.wav"})[0];
    const std::vector<int> vSamples = newSamples(1);
    const std::unique_ptr<AudioClassifierSet> pSet = newSet(*pDetector);
    push(*pSet, {vSamples.begin(), vSamples.begin() + 5000}, 1);
    const std::unique_ptr<AudioClassifierSet> pClone(pSet->clone());
    expectPartOf(push(*pSet, {vSamples.begin() + 5000, vSamples.end()}, 2), a);
    expectPartOf(push(*pClone, {vSamples.begin() + 5000, vSamples.end()}, 3), a);
}

TEST_F(DetectorTest, ClonesOnFourThreadsGiveWhatOneGives)
{
    for (const std::string strName : {"fann", "state"})
    {
        const std::unique_ptr<Detector> pDetector = load(strName + ".detector");
        const Decisions a = test({"--detector", strName + ".detector", "--data-gen-filename", "a.wav"})[0];
        const std::unique_ptr<AudioClassifierSet> pSet = newSet(*pDetector);
        std::vector<std::future<Decisions>> vResults;
        for (std::uint32_t i = 0; i < 4; ++i)
            vResults.push_back(std::async(std::launch::async,
                                          [i, pClone = std::unique_ptr<AudioClassifierSet>(pSet->clone())]
                                          { return push(*pClone, newSamples(1), i); }));
        for (auto& result : vResults)
            expectPartOf(result.get(), a);
    }
}

TEST_F(DetectorTest, ScriptsUseDetectorsByTheirNames)
{
    s_pFolder->write("both.xpr", "result = [fann[0] > 0.5, state[1], size(plain), n]\nn = prev(n, 0) + 1\n");
    s_pFolder->write("fann.xpr", "result = fann\n");
    const std::vector<std::string> vAll{
        "--filesystem-path", ".",          "--detector",      "fann.detector", "--detector",
        "state.detector",    "--detector", "./plain.detector"};
    std::vector<std::string> vArguments = vAll;
    vArguments.insert(vArguments.end(), {"--script", "both", "a.wav"});
    const CommandResult result = expectDone("ml-classify", vArguments);
    EXPECT_THAT(result.m_strOut, HasSubstr(" 2esult=2 3esult=247\n"));
    // A script may have the name of a detector.
    vArguments = vAll;
    vArguments.insert(vArguments.end(), {"--script", "fann", "a.wav"});
    const CommandResult same = expectDone("ml-classify", vArguments);
    const CommandResult alone = expectDone("ml-classify", {"--detector", "fann.detector", "a.wav"});
    const auto getLine = [](const std::string& in_strText)
    {
        const std::string strLine = in_strText.substr(0, in_strText.find('\n'));
        return strLine.substr(strLine.find('=') + 1, strLine.find(' ') - strLine.find('=') - 1);
    };
    EXPECT_EQ(getLine(same.m_strOut), getLine(alone.m_strOut));

    // The windows are those of the detector, until others are asked for.
    const std::string strWindower =
        readFile(QC_SOURCE_DIR "/examples/scripts/dsp/LinearAudioWindowerConfig.xml");
    const std::size_t uiShift = strWindower.find("<m_uiWindowShift>10<");
    ASSERT_NE(uiShift, std::string::npos);
    s_pFolder->write("windows.xml", std::string(strWindower).replace(uiShift + 17, 2, "20"));
    vArguments.insert(vArguments.end(), {"--windower-config-file", "windows.xml"});
    const CommandResult refused = run("ml-classify", vArguments);
    EXPECT_EQ(refused.m_iExit, 1);
    EXPECT_THAT(refused.m_strErr,
                HasSubstr("Detector fann is for windows of 25 ms every 10 ms at 8000 Hz, the "
                          "windower is configured for 25 ms every 20 ms at 8000 Hz"));
}

TEST_F(DetectorTest, AHostProgramListensToAPipe)
{
    s_pFolder->write("a.raw", Testing::Wav::data(newSamples(1)).substr(8));
    const CommandResult result = Testing::runCommand(
        {"/bin/sh", "-c", "cat a.raw | " QC_BINARY_DIR "/bin/listen fann.detector"}, s_pFolder->path());
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    std::ostringstream expected;
    std::string strLast;
    const Decisions decisions = test({"--detector", "fann.detector", "--data-gen-filename", "a.wav"})[0];
    for (const auto& [uiEnd, vOutputs] : decisions)
    {
        const std::string strClass = vOutputs[0] < vOutputs[1] ? "OTHER" : "TONE";
        if (strClass != strLast)
            expected << static_cast<double>(uiEnd) / RATE << '\t' << strClass << '\n';
        strLast = strClass;
    }
    EXPECT_EQ(result.m_strOut, expected.str());
    EXPECT_THAT(result.m_strOut, HasSubstr("TONE"));
    EXPECT_EQ(Testing::runCommand({QC_BINARY_DIR "/bin/listen", s_pFolder->path("a.wav")}).m_iExit, 1);
}

TEST_F(DetectorTest, WhatMakesNoneIsRefusedByName)
{
    write("tones.xml", {"--generator", "tone-set", "--classes", "SF:1000,OTHER"}, {});
    write("text.xml", {"--generator", "vector-file"}, {});
    write("three.xml", {"--classes", "A,B,OTHER", "--bands", "10"}, {});
    write("eleven.xml", {"--classes", "TONE,OTHER", "--bands", "11"}, {});
    s_pFolder->write("not.net", "nothing");
    s_pFolder->write("not.onnx", "nothing");
    expectDone("ml-config", {"learn-scaling", "targets.xml", "--data-gen-config", "one.xml",
                             "--data-gen-filename", "a.wav", "--targets", "min-max", "--interval", "-1,1"});
    expectDone("ml-config",
               {"learn-scaling", "ten.xml", "--data-gen-config", "one.xml", "--data-gen-filename", "a.wav"});
    using Arguments = std::vector<std::string>;
    const struct
    {
        const char* m_config;
        Arguments m_vArguments;
        const char* m_message;
    } CASES[] = {
        {"tones.xml", {}, "generator MLAudioSetDataGenForToneDetector adds inputs of its own"},
        {"text.xml",
         {},
         "generator MLVectorFileDataGenerator does not make its inputs from windows of audio"},
        {"one.xml", {"--scaling-config", "targets.xml"}, "Cannot make a detector: targets are scaled"},
        {"eleven.xml",
         {"--scaling-config", "ten.xml"},
         "The scaling ten.xml is for 10 inputs, the patterns have 11"},
        {"three.xml", {"--import", "plain.onnx"}, "the network has 2 outputs, the classes are 3"},
        {"eleven.xml", {"--import", "fann.net"}, "the network takes 10 inputs, the features are 11"},
        {"one.xml", {"--import", "not.net"}, "Cannot read network file not.net: line 1"},
        {"one.xml", {"--import", "not.onnx"}, "Cannot read network file not.onnx: "},
        {"one.xml", {"--import", "none.onnx"}, "none.onnx: No such file"},
        {"one.xml", {"--import", "plain.onnx", "--network", "n"}, "Option --import makes a detector"},
        {"one.xml", {"--import", "plain.onnx", "--scaling-config", "one.xml"}, "one.xml is no scaling"},
    };
    for (const auto& row : CASES)
    {
        Arguments vArguments{"--data-gen-config", row.m_config, "--detector", "new.detector"};
        vArguments.insert(vArguments.end(), row.m_vArguments.begin(), row.m_vArguments.end());
        if (row.m_vArguments.empty() || row.m_vArguments[0] != "--import")
            vArguments.insert(vArguments.end(), {"--data-gen-filename", "a.wav"});
        const CommandResult result = run("ml-train", vArguments);
        EXPECT_NE(result.m_iExit, 0) << row.m_message;
        EXPECT_THAT(result.m_strErr, HasSubstr(row.m_message));
        EXPECT_EQ(readFile(s_pFolder->path("new.detector")), "");
    }
}

TEST_F(DetectorTest, WhatADetectorHasInItselfIsNotSaidTwice)
{
    const std::string strName = "fann.detector";
    s_pFolder->write("audio.detector", readFile(s_pFolder->path(strName)));
    const struct
    {
        const char* m_program;
        std::vector<std::string> m_vArguments;
        const char* m_message;
        int m_iExit = 2;
    } CASES[] = {
        {"ml-tester", {"--detector", strName}, "a recording, or a list of recordings, must be supplied"},
        {"ml-tester",
         {"--detector", strName, "--network", "n"},
         "--network and --detector exclude each other"},
        {"ml-tester", {"--detector", strName, "--data-gen-config", "one.xml"}, "has what --data-gen-config"},
        {"ml-tester",
         {"--detector", "one.xml", "--data-gen-filename", "a.wav"},
         "Cannot read detector one.xml: line 8: the start tag of element 'MLDetector'",
         1},
        {"ml-classify",
         {"--detector", strName, "--filesystem-path", ".", "a.wav"},
         "option '--filesystem-path' needs --script"},
        {"ml-classify",
         {"--detector", strName, "--dump-evaluator-in-file", "x", "a.wav"},
         "option '--dump-evaluator-in-file' needs --script"},
        {"ml-tester",
         {"--detector", strName, "--rate", "8000", "--data-gen-filename", "a.wav"},
         "option '--rate' needs --script"},
        {"ml-train",
         {"--data-gen-config", "one.xml", "--import", "plain.onnx", "--detector", "x", "--epochs", "9"},
         "Option --import trains nothing: it takes no --epochs"},
        {"ml-train",
         {"--data-gen-config", "one.xml", "--detector", "x", "--patience", "9"},
         "option '--patience' needs --hold-out"},
        {"ml-classify",
         {"--detector", strName, "--detector", "./fann.detector", "a.wav"},
         "Detectors fann.detector and ./fann.detector have one name: fann",
         1},
        {"ml-classify",
         {"--detector", "audio.detector", "a.wav"},
         "'audio' is an input of the classifiers already\nERROR: There cannot be a detector audio",
         1},
        {"ml-classify", {"--detector", "none", "a.wav"}, "Cannot read detector none: No such file", 1},
        {"ml-train",
         {"--data-gen-config", "one.xml", "--network", "x", "--detector", "x"},
         "Network and detector are written into files of their own"},
    };
    for (const auto& row : CASES)
    {
        const CommandResult result = run(row.m_program, row.m_vArguments);
        EXPECT_EQ(result.m_iExit, row.m_iExit) << row.m_message;
        EXPECT_THAT(result.m_strErr, StartsWith("ERROR: "));
        EXPECT_THAT(result.m_strErr, HasSubstr(row.m_message));
    }
}

TEST_F(DetectorTest, ScalingIsInTheWeightsOrBeforeTheNetwork)
{
    expectDone("ml-config", {"learn-scaling", "scaling.xml", "--data-gen-config", "one.xml",
                             "--data-gen-filename", "a.wav"});
    const std::string strText = readFile(s_pFolder->path("fann.net"));
    s_pFolder->write("same.net", strText.substr(0, strText.find('#'))); // without its digest
    for (const std::string strNetwork : {"plain.onnx", "same.net"})
    {
        expectDone("ml-train", {"--data-gen-config", "one.xml", "--import", strNetwork, "--scaling-config",
                                "scaling.xml", "--detector", "scaled.detector"});
        const Decisions apart = test({"--data-gen-config", "one.xml", "--scaling-config", "scaling.xml",
                                      "--network", strNetwork, "--data-gen-filename", "b.wav"})[0];
        const Decisions scaled = test({"--detector", "scaled.detector", "--data-gen-filename", "b.wav"})[0];
        EXPECT_EQ(scaled == apart, strNetwork == "plain.onnx");
        for (const auto& [uiEnd, vOutputs] : apart)
            EXPECT_NEAR(scaled.at(uiEnd)[0], vOutputs[0], 1e-9);
    }
}

TEST_F(DetectorTest, TheTesterWarnsWhenPatternsAreMadeOtherwise)
{
    write("other.xml", {"--classes", "TONE,OTHER", "--bands", "10", "--window", "32"}, {});
    expectDone("ml-config", {"learn-scaling", "scaling.xml", "--data-gen-config", "one.xml",
                             "--data-gen-filename", "a.wav"});
    const auto warningOf = [](std::vector<std::string> in_vArguments)
    {
        in_vArguments.insert(in_vArguments.end(), {"--data-gen-filename", "a.wav", "--classification-error"});
        const CommandResult result = run("ml-tester", in_vArguments);
        EXPECT_EQ(result.m_iExit, 0);
        return result.m_strErr;
    };
    const std::string strWarning = "WARN: Network fann.net was trained otherwise: these patterns have ";
    EXPECT_EQ(warningOf({"--network", "fann.net", "--data-gen-config", "one.xml"}), "");
    EXPECT_EQ(warningOf({"--network", "fann.net", "--data-gen-config", "other.xml"}),
              strWarning + "another configuration\n");
    EXPECT_EQ(warningOf({"--network", "fann.net", "--data-gen-config", "one.xml", "--scaling-config",
                         "scaling.xml"}),
              strWarning + "a scaling\n");
    EXPECT_EQ(warningOf({"--network", "plain.onnx", "--data-gen-config", "other.xml"}), "");
    const CommandResult imported = run("ml-train", {"--data-gen-config", "other.xml", "--import", "fann.net",
                                                    "--detector", "other.detector"});
    EXPECT_EQ(imported.m_iExit, 0);
    EXPECT_THAT(imported.m_strErr, HasSubstr("the detector has another configuration"));
}

TEST_F(DetectorTest, IsExplained)
{
    const CommandResult result = expectDone("ml-config", {"explain", "fann.detector"});
    for (const char* part :
         {"MLLowMemoryAudioSetDataGenerator", "m_strNetwork = FANN_FLO_2.1... (", "item 1 = all.lst",
          "m_dHeldOutError = ", "- a network of 10 inputs and 2 outputs: TONE, OTHER\n",
          "- windows of 200 samples every 80 samples, at 8000 Hz\n"})
        EXPECT_THAT(result.m_strOut, HasSubstr(part));
}

TEST_F(DetectorTest, NumbersThatAreNotFiniteFailTheWindow)
{
    const std::unique_ptr<Detector> pDetector = load("fann.detector");
    const std::unique_ptr<AudioClassifierSet> pSet = newSet(*pDetector);
    const LogCapture log("quillcast");
    const DoubleVector vBad(200, NAN);
    EXPECT_FALSE(pSet->pushLinearAudio(vBad.begin(), vBad.end()));
    EXPECT_THAT(log.text(), HasSubstr("Input 0 of the network is nan"));
    EXPECT_THAT(log.text(), HasSubstr("The input \"it\" cannot be computed"));
}

TEST_F(DetectorTest, DamageIsRefusedOrHarmless)
{
    const LogCapture quiet("quillcast");
    s_pFolder->write("tiny.onnx", OnnxWriter()
                                      .input("x", {1})
                                      .constant("w", {2}, {1, -1})
                                      .node("Mul", {"x", "w"}, {"y"})
                                      .output("y")
                                      .getFile());
    write("energy.xml", {"--feature", "energy", "--classes", "A,OTHER"}, {});
    expectDone("ml-train",
               {"--data-gen-config", "energy.xml", "--import", "tiny.onnx", "--detector", "tiny.detector"});
    const std::string strText = readFile(s_pFolder->path("tiny.detector"));
    const DoubleVector vWindow(200, 0.25);
    std::size_t uiTried = 0;
    std::size_t uiRefused = 0;
    const auto tryText = [&](const std::string& in_strText)
    {
        ++uiTried;
        std::istringstream text(in_strText);
        const std::unique_ptr<Detector> pDetector = Detector::newFromStream(text, "damaged");
        if (pDetector == nullptr)
        {
            ++uiRefused;
            return;
        }
        const std::unique_ptr<FeatureComputerWithInputs> pComputer(pDetector->newComputer());
        DoubleVector vOutputs;
        ASSERT_TRUE(pComputer->setInput("audio", vWindow));
        const bool bComputed = pComputer->computeFeatures(vOutputs);
        ASSERT_TRUE(!bComputed || vOutputs.size() == pDetector->getClassNames().size());
    };
    for (std::size_t i = 0; i < strText.size(); ++i)
    {
        std::string strDamaged = strText;
        strDamaged[i] = static_cast<char>(strDamaged[i] ^ 1);
        tryText(strDamaged);
        if (i % 16 == 0)
            tryText(strText.substr(0, i));
    }
    EXPECT_GT(uiRefused, uiTried / 2);
    EXPECT_LT(uiRefused, uiTried);
}

TEST(Base64Test, TextsOfTheStandardGoBothWays)
{
    // RFC 4648, 10.
    const std::pair<const char*, const char*> TEXTS[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
    std::string strBytes;
    for (const auto& [bytes, text] : TEXTS)
    {
        EXPECT_EQ(toBase64(bytes), text);
        EXPECT_TRUE(fromBase64(text, strBytes));
        EXPECT_EQ(strBytes, bytes);
    }
    std::string strAll;
    for (int i = 0; i < 1000; ++i)
        strAll += static_cast<char>(i * 7);
    EXPECT_TRUE(fromBase64(toBase64(strAll), strBytes));
    EXPECT_EQ(strBytes, strAll);
    EXPECT_TRUE(fromBase64("Zm\r\n9v\n", strBytes));
    EXPECT_EQ(strBytes, "foo");
    for (const char* text : {"Z", "Zg=", "Zg", "Z===", "====", "Zg==Zg==", "Zm 8", "Zm9v!", "Z=g="})
        EXPECT_FALSE(fromBase64(text, strBytes)) << text;
}
