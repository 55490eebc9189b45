// MakeSeeds FOLDER: writes the seeds that are no texts for the hand, into a folder a target.

#include "MLAudioFileDataGenerator.h"
#include "MLBinaryFileDataGenerator.h"
#include "common/Base64.h"
#include "common/FannNetwork.h"
#include "detector/Detector.h"
#include "inspect/InspectionShare.h"
#include "ml-config/ScalingLearner.h"
#include "ml-convert/PartPatterns.h"
#include "ml-tester/TestShare.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "quillcast-math/ContextFeatureComputers.h"
#include "quillcast-math/FeatureComputerSequence.h"
#include "report/TestCollector.h"
#include "test-support/OnnxWriter.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using namespace Vexalor::Testing;

namespace
{

bool save(const std::filesystem::path& in_path, const std::string& in_strContent)
{
    std::error_code error;
    std::filesystem::create_directories(in_path.parent_path(), error);
    std::ofstream file(in_path, std::ios::binary);
    file << in_strContent;
    file.close();
    if (!file)
        std::cerr << "Cannot write " << in_path << '\n';
    return !file.fail();
}

/// A recording with every kind of annotation and a chunk that readers skip.
std::string richRecording()
{
    return Wav::riff(Wav::fmt(8000, 2) + Wav::chunk("junk", "odd") + Wav::data(std::vector<int>(900, 100)) +
                     Wav::cue({{1, 0}, {2, 100}, {3, 200}, {4, 50}}) +
                     Wav::chunk("LIST", "INFO" + Wav::chunk("INAM", std::string("a title\0", 8))) +
                     Wav::adtl(Wav::labl(1, "SF:1000") + Wav::ltxt(1, 100, "text") + Wav::note(1, "a note") +
                               Wav::ltxt(2, 50, "AM:1000:20") + Wav::note(4, "a marker")) +
                     Wav::smpl({{3, 200, 299}}));
}

/// Samples of another coding or width, 400 bytes.
std::string codedRecording(std::uint32_t in_uiTag, std::uint32_t in_uiBits)
{
    return Wav::riff(Wav::fmt(8000, 1, in_uiBits, in_uiTag) + Wav::chunk("data", std::string(400, '\x11')));
}

bool saveRecordings(const std::filesystem::path& in_folder)
{
    const std::string strRf64 =
        "RF64" + Wav::u32(0xFFFFFFFF) + "WAVE" +
        Wav::chunk("ds64", Wav::u64(860) + Wav::u64(800) + Wav::u64(400) + Wav::u32(0)) + Wav::fmt(8000) +
        Wav::data(std::vector<int>(400, 7));
    return save(in_folder / "plain.wav", annotatedWav(8000, std::vector<int>(400, 1), {{0, 200, "a"}})) &&
           save(in_folder / "rich.wav", richRecording()) &&
           save(in_folder / "float.wav", codedRecording(3, 32)) &&
           save(in_folder / "mulaw.wav", codedRecording(7, 8)) && save(in_folder / "rf64.wav", strRf64);
}

/// Of two inputs and one target, with and without target, marked and not; then one whose last record is cut.
bool savePatterns(const std::filesystem::path& in_folder)
{
    std::error_code error;
    std::filesystem::create_directories(in_folder, error);
    BinaryFileWriter writer;
    const bool bSaved = writer.open((in_folder / "plain").c_str()) && writer.write(false, {1, 2}, {}) &&
                        writer.write(true, {3, 4}, {1}) && writer.write(false, {5, 6}, {0}) && writer.close();
    const std::string strPlain = readFile(in_folder / "plain");
    return bSaved && save(in_folder / "cut", strPlain.substr(0, strPlain.size() - 4));
}

bool saveNetwork(const std::filesystem::path& in_path, FannNetwork::Output in_output)
{
    const std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newLayered({2, 3, 2}, in_output, 1));
    return pNetwork != nullptr && save(in_path, pNetwork->getText());
}

/// Numbers that differ, within [-1, 1].
std::vector<float> someReals(std::size_t in_uiCount)
{
    std::vector<float> vReals;
    for (std::size_t i = 0; i < in_uiCount; ++i)
        vReals.push_back(static_cast<float>(i * 37 % 64) / 32.0F - 1.0F);
    return vReals;
}

/// A network with a cell that is recurrent and a state for each of its values.
std::string recurrentNetwork(const std::string& in_strCell, std::int64_t in_iGates)
{
    using Writer = Testing::OnnxWriter;
    const auto uiGates = static_cast<std::size_t>(in_iGates);
    const bool bLstm = in_strCell == "LSTM";
    Writer writer;
    writer.input("x", {2, 1, 3})
        .input("h", {1, 1, 2})
        .constant("w", {1, in_iGates * 2, 3}, someReals(uiGates * 6))
        .constant("r", {1, in_iGates * 2, 2}, someReals(uiGates * 4))
        .constant("b", {1, in_iGates * 4}, someReals(uiGates * 4))
        .output("y")
        .output("h_next");
    Writer::Names vInputs{"x", "w", "r", "b", "", "h"};
    Writer::Names vOutputs{"s", "h_next"};
    if (bLstm)
    {
        writer.input("c", {1, 1, 2}).output("c_next");
        vInputs.push_back("c");
        vOutputs.push_back("c_next");
    }
    return writer.node(in_strCell, vInputs, vOutputs, {Writer::integer("hidden_size", 2)})
        .node("Transpose", {"s"}, {"t"}, {Writer::integers("perm", {0, 2, 1, 3})})
        .node("Softmax", {"t"}, {"y"}, {Writer::integer("axis", -1)})
        .getFile();
}

/// Convolution over the last windows, which a state keeps.
std::string convolution()
{
    using Writer = Testing::OnnxWriter;
    return Writer()
        .input("x", {-1, 4})
        .input("past", {1, 4, 2})
        .constant("w", {2, 2, 3}, someReals(12))
        .constant("b", {2}, {0.5F, -0.5F})
        .constant("n", {2}, {1.0F, 2.0F})
        .node("Unsqueeze", {"x", "axes"}, {"column"})
        .constantIntegers("axes", {2})
        .node("Concat", {"past", "column"}, {"all"}, {Writer::integer("axis", 2)})
        .node("Conv", {"all", "w", "b"}, {"c"},
              {Writer::integer("group", 2), Writer::integers("pads", {1, 0})})
        .node("BatchNormalization", {"c", "n", "b", "b", "n"}, {"d"})
        .node("LeakyRelu", {"d"}, {"e"}, {Writer::real("alpha", 0.1F)})
        .node("Flatten", {"e"}, {"y"})
        .node("Slice", {"all", "one", "end", "axes"}, {"past_next"})
        .constantIntegers("one", {1})
        .constantIntegers("end", {INT64_MAX})
        .output("y")
        .output("past_next")
        .getFile();
}

/// Layer normalisation, parts, a product of what was computed, and shapes that are computed.
std::string parts()
{
    using Writer = Testing::OnnxWriter;
    return Writer()
        .input("x", {1, 6})
        .constant("two", {}, {2.0F})
        .constantIntegers("matrix", {2, -1})
        .node("ReduceMean", {"x"}, {"mean"}, {Writer::integers("axes", {-1})})
        .node("Sub", {"x", "mean"}, {"centred"})
        .node("Pow", {"centred", "two"}, {"squares"})
        .node("ReduceMean", {"squares"}, {"variance"}, {Writer::integers("axes", {1})})
        .node("Sqrt", {"variance"}, {"deviation"})
        .node("Div", {"centred", "deviation"}, {"normal"})
        .node("Reshape", {"normal", "matrix"}, {"m"})
        .node("Transpose", {"m"}, {"t"})
        .node("MatMul", {"m", "t"}, {"product"})
        .node("Split", {"product"}, {"left", "right"}, {Writer::integer("axis", 1)})
        .node("Max", {"left", "right"}, {"most"})
        .node("Constant", {}, {"index"}, {Writer::tensor("value", Writer::newIntegers("", {0}))})
        .node("Shape", {"most"}, {"shape"})
        .node("Gather", {"shape", "index"}, {"size"})
        .node("ConstantOfShape", {"size"}, {"zeros"})
        .node("Gemm", {"most", "w", "zeros"}, {"y"},
              {Writer::integer("transA", 1), Writer::real("alpha", 0.5F)})
        .constant("w", {2, 2}, someReals(4))
        .output("y")
        .getFile();
}

/// A network behind the features of a window, with two classes.
std::string newDetector(FeatureComputer* in_pComputer, const std::string& in_strKind,
                        const std::string& in_strNetwork)
{
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(in_pComputer);
    config.m_vClasses = {"A", "OTHER"};
    const CountedObjPtr<AudioFileDataGenerator> pGenerator(new AudioFileDataGenerator);
    pGenerator->configure(config);
    DetectorContent content;
    content.m_pGenerator = pGenerator;
    content.m_strKind = in_strKind;
    content.m_strNetwork = in_strNetwork;
    if (in_strKind == DetectorContent::ONNX)
    {
        content.m_scaling.m_vInputSlope = {0.5};
        content.m_scaling.m_vInputYIntercept = {1.0};
    }
    content.m_origin.m_vInputFiles = {"calls.lst"};
    content.m_origin.m_vClasses.resize(2);
    std::string strReason;
    const std::unique_ptr<Detector> pDetector = Detector::newFromContent(content, strReason);
    return pDetector == nullptr ? strReason : pDetector->describe().m_strText;
}

/// The energy, its deltas, those of windows before, and all of these normalised.
FeatureComputer* newContext()
{
    auto* pDeltas = new DeltaFeatureComputer;
    auto* pSpliced = new SpliceFeatureComputer;
    auto* pNormalised = new NormalisationFeatureComputer;
    auto* pSequence = new FeatureComputerSequence;
    pDeltas->setComputer(new EnergyFeatureComputer);
    pSpliced->setComputer(pDeltas);
    pNormalised->setComputer(pSpliced);
    pSequence->add(pNormalised);
    pSequence->add(new EnergyFeatureComputer);
    return pSequence;
}

bool saveDetectors(const std::filesystem::path& in_folder)
{
    using Writer = Testing::OnnxWriter;
    const std::string strOnnx = Writer()
                                    .input("x", {1})
                                    .input("h", {1})
                                    .constant("w", {2}, {1.0F, -1.0F})
                                    .node("Add", {"x", "h"}, {"h_next"})
                                    .node("Mul", {"h_next", "w"}, {"y"})
                                    .output("y")
                                    .output("h_next")
                                    .getFile();
    const auto newFann = [](unsigned int in_uiInputs)
    {
        const std::unique_ptr<FannNetwork> pNetwork(
            FannNetwork::newLayered({in_uiInputs, 2}, FannNetwork::Output::SIGMOID, 1));
        return pNetwork->getText();
    };
    return save(in_folder / "fann",
                newDetector(new EnergyFeatureComputer, DetectorContent::FANN, newFann(1))) &&
           save(in_folder / "context", newDetector(newContext(), DetectorContent::FANN, newFann(11))) &&
           save(in_folder / "onnx",
                newDetector(new EnergyFeatureComputer, DetectorContent::ONNX, toBase64(strOnnx)));
}

bool saveOnnx(const std::filesystem::path& in_folder)
{
    return save(in_folder / "gru", recurrentNetwork("GRU", 3)) &&
           save(in_folder / "lstm", recurrentNetwork("LSTM", 4)) &&
           save(in_folder / "rnn", recurrentNetwork("RNN", 1)) &&
           save(in_folder / "convolution", convolution()) && save(in_folder / "parts", parts());
}

/// What a share of each program finds in a few patterns, after the letter of the program.
bool saveShares(const std::filesystem::path& in_folder)
{
    const DoubleVector vInput{1.0, -0.5};
    const DoubleVector vTarget{1.0, 0.0};
    InspectionShare inspection;
    inspection.m_data.m_vInputFiles = {"a.lst"};
    InspectedPart& part = inspection.m_vFiles.emplace_back().emplace_back();
    part.add(vInput, &vTarget, InspectedPart::MAX_SIZES);
    part.add(vTarget, nullptr, InspectedPart::MAX_SIZES);
    part.add({3.0}, &vTarget, InspectedPart::MAX_SIZES);
    part.m_survey.m_vListed = part.m_survey.m_vUsable = part.m_survey.m_vBeyond = {"a.wav", "b.wav"};
    part.m_survey.m_vSkipped.push_back({"c.wav", "reason"});
    part.m_survey.m_labels["VOICE"] = {2, 1.5, true};
    part.m_survey.m_rates[8000] = {2, "a.wav"};
    part.m_statistics.add(0, "VOICE", 2, 0.01);
    part.m_delivered = {"a.wav"};

    MLTester::ClassifierTesterStats stats;
    stats.keepErrors(true);
    TestCollector collector({});
    PatternSource source;
    for (const DoubleVector& vOutput : {vInput, DoubleVector{0.2, 0.7}})
    {
        collector.add(source, source.advance(), vOutput, &vTarget);
        stats.update(vOutput, vTarget);
    }
    TestShare test;
    test.addPass(stats, collector.takePart());

    const VectorScalingTrainer::Sums::Side side{{1.0, 2.0}, {-1.0, 0.5}, {0.5, 3.0}, {0.25, 0.75}};
    const ScalingShare scaling{{{2, side, side}, {}}};
    const ConvertShare conversion{"calls.lst", 3, 1, {{2, 64, ""}, {0, 0, "part.2"}}};
    const ShareFile file{"ml-inspect", 7, {1, 2}, inspection.toBytes(), {}};
    const auto saveContent = [&](const char* in_letter, const auto& in_share)
    {
        ByteWriter bytes;
        bytes(in_share);
        return save(in_folder / in_letter, in_letter + bytes.getBytes());
    };
    return saveContent("i", inspection) && saveContent("t", test) && saveContent("s", scaling) &&
           saveContent("c", conversion) && save(in_folder / "file", file.toBytes());
}

} // namespace

int main(int in_iCount, char** in_arguments)
{
    if (in_iCount != 2)
    {
        std::cerr << "usage: MakeSeeds FOLDER\n";
        return 2;
    }
    const std::filesystem::path folder = in_arguments[1];
    const bool bSaved = saveRecordings(folder / "RecordingFuzz") &&
                        saveRecordings(folder / "RecordingEditFuzz") &&
                        savePatterns(folder / "BinaryFileFuzz") &&
                        saveNetwork(folder / "NetworkFuzz/linear.net", FannNetwork::Output::LINEAR) &&
                        saveNetwork(folder / "NetworkFuzz/sigmoid.net", FannNetwork::Output::SIGMOID) &&
                        saveOnnx(folder / "OnnxFuzz") && saveDetectors(folder / "DetectorFuzz") &&
                        saveShares(folder / "ShareFuzz");
    return bSaved ? 0 : 1;
}
