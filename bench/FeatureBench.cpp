// Features of one hour of audio at 8 kHz in windows of 25 ms every 10 ms: generated and held in memory, and
// read from a recording if one is given. usage: FeatureBench [RECORDING.wav]

#include "bench/Bench.h"
#include "quillcast-audio/WindowedAudioFileReader.h"
#include "quillcast-math/ContextFeatureComputers.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/FeatureComputerSequence.h"
#include "quillcast-math/MelFeatureComputers.h"
#include "quillcast-math/ToneEnergyFeatureComputer.h"

#include <cmath>
#include <memory>
#include <random>

using namespace Vexalor;

namespace
{

constexpr std::size_t RATE = 8000;
constexpr std::size_t WINDOW = 200;
constexpr std::size_t SHIFT = 80;
constexpr std::size_t NB_SAMPLES = 3600 * RATE;
constexpr int NB_RUNS = 5;

struct Candidate
{
    const char* m_name;
    std::unique_ptr<FeatureComputerWithInputs> m_pComputer;
};

/// As the network of ./run has them: bands without their running mean, and slopes over three reaches.
FeatureComputerWithInputs* makeContext()
{
    MelSpectrum::Config bands;
    bands.m_uiNbBands = 12;
    NormalisationFeatureComputer::Config normalisation;
    normalisation.m_bVariance = false;
    auto* pNormalised = new NormalisationFeatureComputer(normalisation);
    pNormalised->setComputer(new LogMelFeatureComputer(bands));
    DeltaFeatureComputer::Config slopes;
    slopes.m_uiReach = 5;
    slopes.m_uiScales = 3;
    auto* pSlopes = new DeltaFeatureComputer(slopes);
    pSlopes->setComputer(pNormalised);
    return pSlopes;
}

std::vector<Candidate> makeCandidates()
{
    std::vector<Candidate> vCandidates;
    const auto add = [&](const char* in_name, FeatureComputerWithInputs* in_pComputer)
    {
        vCandidates.push_back({in_name, std::unique_ptr<FeatureComputerWithInputs>(in_pComputer)});
    };

    auto* pSequence = new FeatureComputerSequence;
    pSequence->add(new EnergyFeatureComputer);
    pSequence->add(new ZeroCrossingRateFeatureComputer);
    MelSpectrum::Config forty;
    forty.m_uiNbBands = 40;
    ToneEnergyFeatureComputer::Config tones;
    tones.m_vFrequencies = DoubleVector{697, 770, 852, 941, 1209, 1336, 1477, 1633};

    add("windows only (identity)", new IdentityFeatureComputer);
    add("energy and zero-crossing rate", pSequence);
    add("log-mel 24", new LogMelFeatureComputer);
    add("log-mel 40", new LogMelFeatureComputer(forty));
    add("mfcc 13 of 23", new MfccFeatureComputer);
    add("log-mel 12 without mean, slopes at 3 scales", makeContext());
    add("8 tone energies", new ToneEnergyFeatureComputer(tones));
    return vCandidates;
}

/// A tone that wanders, and noise.
std::vector<double> makeAudio()
{
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.0, 0.01);
    std::vector<double> vSamples(NB_SAMPLES);
    double dPhase = 0.0;
    for (std::size_t n = 0; n < NB_SAMPLES; ++n)
    {
        dPhase += 0.2 + 1.5 * static_cast<double>(n % (3 * RATE)) / (3 * RATE);
        vSamples[n] = 0.3 * std::sin(dPhase) + noise(random);
    }
    return vSamples;
}

bool computeWindow(FeatureComputerWithInputs& io_computer, const DoubleVector& in_vWindow,
                   DoubleVector& out_vFeatures)
{
    if (!io_computer.setInput("audio", in_vWindow) || !io_computer.computeFeatures(out_vFeatures))
        return false;
    Bench::keep(out_vFeatures.begin());
    return true;
}

bool benchMemory(const std::vector<double>& in_vSamples, Candidate& io_candidate)
{
    bool bDone = true;
    const Bench::Times times =
        Bench::measure(NB_RUNS,
                       [&]
                       {
                           DoubleVector vWindow;
                           DoubleVector vFeatures;
                           for (std::size_t n = 0; bDone && n + WINDOW <= in_vSamples.size(); n += SHIFT)
                           {
                               vWindow.assign(in_vSamples.data() + n, in_vSamples.data() + n + WINDOW);
                               bDone = computeWindow(*io_candidate.m_pComputer, vWindow, vFeatures);
                           }
                       });
    Bench::reportRealTime(std::string("memory: ") + io_candidate.m_name,
                          static_cast<double>(NB_SAMPLES) / RATE, times);
    return bDone;
}

bool benchRecording(const char* in_file, Candidate& io_candidate)
{
    bool bDone = true;
    double dSeconds = 0.0;
    const Bench::Times times =
        Bench::measure(NB_RUNS,
                       [&]
                       {
                           WindowedAudioFileReader reader;
                           bDone = bDone && reader.setSourceFile(in_file);
                           DoubleVector vWindow;
                           DoubleVector vFeatures;
                           while (bDone && reader.getNextWindow(vWindow))
                               bDone = computeWindow(*io_candidate.m_pComputer, vWindow, vFeatures);
                           bDone = bDone && reader.atEnd();
                           dSeconds = reader.getCurrentAudioTime();
                       });
    Bench::reportRealTime(std::string("recording: ") + io_candidate.m_name, dSeconds, times);
    return bDone;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    bool bDone = true;
    const std::vector<double> vSamples = makeAudio();
    for (Candidate& candidate : makeCandidates())
    {
        bDone = benchMemory(vSamples, candidate) && bDone;
        if (in_iArguments > 1)
            bDone = benchRecording(in_arguments[1], candidate) && bDone;
    }
    return bDone ? 0 : 1;
}
