// MakeSeeds FOLDER: writes the seeds that are no texts for the hand, into a folder a target.

#include "MLBinaryFileDataGenerator.h"
#include "common/FannNetwork.h"
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
                        saveNetwork(folder / "NetworkFuzz/sigmoid.net", FannNetwork::Output::SIGMOID);
    return bSaved ? 0 : 1;
}
