// Makes the files that the other programs read, the same bytes every time. usage: BenchInputs FOLDER
//
// patterns.txt     200 000 patterns of 40 inputs and 3 targets, normal deviates, as text
// patterns.binary  the same as a binary pattern file
// patterns.raw     the same as bare doubles
// hour-N.wav       one hour at 8 kHz, a tone that wanders and noise, with 1 000 events of each of N classes
// ten-hours-8.wav  ten hours of silence, with the events of 8 classes; a sparse file
// voice.wav        ten minutes, every other second of them VOICE
// minutes.lst      20 recordings of a minute, minutes/N.wav
// small-10000.lst  10 000 names of 1 000 recordings of a second with three labels, small/N.wav; small-10.lst
// 10
//                  of these

#include "MLBinaryFileDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "test-support/WavBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
namespace Wav = Vexalor::Testing::Wav;

namespace
{

constexpr std::size_t NB_PATTERNS = 200000;
constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr std::uint32_t RATE = 8000;
constexpr std::uint32_t HOUR = 3600 * RATE; ///< samples
constexpr int NB_EVENTS = 1000;

bool makePatterns(const std::string& in_strFolder)
{
    std::mt19937_64 random(1);
    std::normal_distribution<double> values;
    std::ofstream raw(in_strFolder + "/patterns.raw", std::ios::binary);
    VectorFileWriter text;
    BinaryFileWriter binary;
    DoubleVector vInput(NB_INPUTS);
    DoubleVector vTarget(NB_TARGETS);
    bool bDone = text.open((in_strFolder + "/patterns.txt").c_str()) &&
                 binary.open((in_strFolder + "/patterns.binary").c_str());
    for (std::size_t uiPattern = 0; bDone && uiPattern < NB_PATTERNS; ++uiPattern)
    {
        for (DoubleVector* pVector : {&vInput, &vTarget})
        {
            std::generate(pVector->begin(), pVector->end(), [&] { return values(random); });
            raw.write(reinterpret_cast<const char*>(pVector->begin()),
                      static_cast<std::streamsize>(pVector->size() * sizeof(double)));
        }
        bDone = text.write(false, vInput, vTarget) && binary.write(false, vInput, vTarget);
    }
    raw.close();
    return text.close() && binary.close() && bDone && raw;
}

std::vector<std::int16_t> makeSamples()
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.0, 300.0);
    std::vector<std::int16_t> vSamples(HOUR);
    double dPhase = 0.0;
    for (std::size_t n = 0; n < HOUR; ++n)
    {
        dPhase += 0.2 + 1.5 * static_cast<double>(n % (3 * RATE)) / (3 * RATE);
        vSamples[n] = static_cast<std::int16_t>(std::lround(8000.0 * std::sin(dPhase) + noise(random)));
    }
    return vSamples;
}

/// Events of each class, spread evenly: those of class c of C start c/C of a step after those of class 0 and
/// last half of that distance.
std::string makeEvents(std::uint32_t in_uiFrames, int in_iClasses)
{
    const double dStep = static_cast<double>(in_uiFrames) / (NB_EVENTS + 1);
    const auto uiLength = static_cast<std::uint32_t>(dStep / in_iClasses / 2);
    std::vector<Wav::Cue> vCues;
    std::string strEntries;
    for (int iEvent = 0; iEvent < NB_EVENTS; ++iEvent)
    {
        for (int iClass = 0; iClass < in_iClasses; ++iClass)
        {
            const auto uiId = static_cast<std::uint32_t>(vCues.size() + 1);
            const double dStart = (iEvent + static_cast<double>(iClass) / in_iClasses) * dStep;
            vCues.push_back({uiId, static_cast<std::uint32_t>(dStart)});
            strEntries += Wav::labl(uiId, "class " + std::to_string(iClass)) + Wav::ltxt(uiId, uiLength);
        }
    }
    return Wav::cue(vCues) + Wav::adtl(strEntries);
}

/// Without samples the file has a hole in their place.
bool makeRecording(const std::string& in_strPath, std::uint32_t in_uiFrames, int in_iClasses,
                   const std::vector<std::int16_t>& in_vSamples)
{
    const std::uint32_t uiBytes = 2 * in_uiFrames;
    const std::string strFormat = Wav::fmt(RATE);
    const std::string strEvents = makeEvents(in_uiFrames, in_iClasses);
    const auto uiSize = static_cast<std::uint32_t>(4 + strFormat.size() + 8 + uiBytes + strEvents.size());
    std::ofstream file(in_strPath, std::ios::binary);
    file << "RIFF" << Wav::u32(uiSize) << "WAVE" << strFormat << "data" << Wav::u32(uiBytes);
    if (in_vSamples.empty())
        file.seekp(uiBytes, std::ios::cur);
    else
        file.write(reinterpret_cast<const char*>(in_vSamples.data()), uiBytes);
    file << strEvents;
    file.close();
    return static_cast<bool>(file);
}

bool makeRecordings(const std::string& in_strFolder)
{
    const std::vector<std::int16_t> vSamples = makeSamples();
    bool bDone = makeRecording(in_strFolder + "/ten-hours-8.wav", 10 * HOUR, 8, {});
    for (const int iClasses : {1, 8, 32})
        bDone = makeRecording(in_strFolder + "/hour-" + std::to_string(iClasses) + ".wav", HOUR, iClasses,
                              vSamples) &&
                bDone;
    return bDone;
}

/// Its events, a tenth of a second long, begin at each multiple of in_uiStep samples.
bool makeLabelled(const std::string& in_strPath, const std::vector<std::int16_t>& in_vSamples,
                  const char* in_label, std::uint32_t in_uiStep, std::uint32_t in_uiLength)
{
    std::vector<Testing::WavRegion> vRegions;
    for (std::uint32_t uiStart = in_uiStep; uiStart + in_uiLength <= in_vSamples.size(); uiStart += in_uiStep)
        vRegions.push_back({uiStart, uiStart + in_uiLength, in_label});
    std::ofstream file(in_strPath, std::ios::binary);
    file << Testing::annotatedWav(RATE, {in_vSamples.begin(), in_vSamples.end()}, vRegions);
    file.close();
    return static_cast<bool>(file);
}

bool makeSets(const std::string& in_strFolder)
{
    constexpr std::uint32_t MINUTE = 60 * RATE;
    constexpr const char* LABEL = "TONE 1000";
    const std::vector<std::int16_t> vSamples = makeSamples();
    const auto cut = [&](std::uint32_t in_uiFrom, std::uint32_t in_uiCount)
    {
        return std::vector<std::int16_t>(vSamples.begin() + in_uiFrom,
                                         vSamples.begin() + in_uiFrom + in_uiCount);
    };
    bool bDone = makeLabelled(in_strFolder + "/voice.wav", cut(0, 10 * MINUTE), "VOICE", 2 * RATE, RATE);
    std::filesystem::create_directories(in_strFolder + "/minutes");
    std::filesystem::create_directories(in_strFolder + "/small");
    std::ofstream minutes(in_strFolder + "/minutes.lst");
    std::ofstream small(in_strFolder + "/small-10000.lst");
    std::ofstream few(in_strFolder + "/small-10.lst");
    for (std::uint32_t i = 0; i < 20; ++i)
    {
        const std::string strName = "minutes/" + std::to_string(i) + ".wav";
        bDone = makeLabelled(in_strFolder + '/' + strName, cut(i * MINUTE, MINUTE), LABEL, 3 * RATE, 800) &&
                bDone;
        minutes << strName << '\n';
    }
    for (std::uint32_t i = 0; i < 10000; ++i)
    {
        const std::string strName = "small/" + std::to_string(i % 1000) + ".wav";
        if (i < 1000)
            bDone =
                makeLabelled(in_strFolder + '/' + strName, cut(i * RATE, RATE), LABEL, 2000, 800) && bDone;
        (i < 10 ? few << strName << '\n' : few);
        small << strName << '\n';
    }
    return bDone && minutes.flush() && small.flush() && few.flush();
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    if (in_iArguments != 2)
    {
        std::fprintf(stderr, "usage: BenchInputs FOLDER\n");
        return 2;
    }
    std::error_code error;
    std::filesystem::create_directories(in_arguments[1], error);
    if (makePatterns(in_arguments[1]) && makeRecordings(in_arguments[1]) && makeSets(in_arguments[1]))
        return 0;
    std::fprintf(stderr, "could not write the input files to %s\n", in_arguments[1]);
    return 1;
}
