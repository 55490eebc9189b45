// A classifier set at work: what the set adds to its evaluator for a window, a day of audio in pieces of 20
// ms, and what a further channel, a clone, costs. HOURS in the environment shortens the day.

#include "AudioClassifierSet.h"
#include "XprAudioClassifier.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <malloc.h>
#include <memory>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::uint32_t RATE = 8000;
constexpr std::size_t PIECE = 160; ///< 20 ms
constexpr int NB_CHANNELS = 1000;

/// Energy with a slow mean, as voice detectors have it.
constexpr const char* SCRIPT = "level = log10(energy(audio) / size(audio) + 1e-10)\n"
                               "floor_level = 0.99 * prev(floor_level, 0 - 3) + 0.01 * level\n"
                               "windows = prev(windows, 0) + 1\n"
                               "result = [level > floor_level + 1, level, windows]\n";

/// 25 ms every 20 ms, so that a piece completes at most one window.
bool setUp(AudioClassifierSet& io_set, const Testing::TempDir& in_folder)
{
    LinearAudioWindower::Config config;
    config.m_uiWindowShift = 20;
    std::ostringstream text;
    XmlOutputArchive archive(text);
    archive.get() << boost::serialization::make_nvp("LinearAudioWindowerConfig", config);
    archive.finish();
    in_folder.write("windower.xml", text.str());
    in_folder.write("voice.xpr", SCRIPT);

    auto pFileSystem = std::make_unique<DiskFileSystem>();
    pFileSystem->setWorkingDirectory(in_folder.path().c_str());
    ParameterTrie parameters;
    parameters.setParameter(Math::Xpr::Evaluator::getParamNameScriptsDir(), ".");
    parameters.setParameter(AudioClassifierSet::getParamNameAudioWindowerFilePath(), "windower.xml");
    auto* pClassifier = new XprAudioClassifier;
    return io_set.configure(parameters, TSHandle<VirtualFileSystem>(pFileSystem.release())) &&
           io_set.addClassifier("voice", pClassifier) && pClassifier->configure("voice", "result", {}) &&
           io_set.freeze() && io_set.start();
}

DoubleVector makeTone(std::size_t in_uiCount)
{
    DoubleVector vSamples(in_uiCount);
    for (std::size_t i = 0; i < in_uiCount; ++i)
        vSamples[i] = 0.5 * std::sin(0.3 * static_cast<double>(i));
    return vSamples;
}

double lastEntry(const XprClassifierSet& in_set)
{
    const Classifier::Result& result = in_set.begin()->second->getResult();
    return (result.end() - 1)->m_dValue;
}

std::size_t heapBytes()
{
    return mallinfo2().uordblks;
}

void benchWindow(AudioClassifierSet& io_set)
{
    constexpr int WINDOWS = 100000;
    const DoubleVector vWindow = makeTone(200);
    const DoubleVector vPiece = makeTone(PIECE);
    LinearAudioWindower windower;
    windower.configure(io_set.getConfig());
    DoubleVector vPopped;
    // Two windowers, since that of a set is part of it.
    Bench::reportNanoseconds("cut a window out of a piece of 20 ms", WINDOWS,
                             Bench::measure(Bench::getRunCount(),
                                            [&]
                                            {
                                                for (int i = 0; i < WINDOWS; ++i)
                                                {
                                                    windower.pushLinearAudio(vPiece.begin(), vPiece.end());
                                                    windower.popWindow(vPopped);
                                                }
                                            }));
    Bench::reportNanoseconds("classify a window", WINDOWS,
                             Bench::measure(Bench::getRunCount(),
                                            [&]
                                            {
                                                for (int i = 0; i < WINDOWS; ++i)
                                                    io_set.classify(vWindow);
                                            }));
    Bench::reportNanoseconds("push a piece, cut and classified", WINDOWS,
                             Bench::measure(Bench::getRunCount(),
                                            [&]
                                            {
                                                for (int i = 0; i < WINDOWS; ++i)
                                                    io_set.pushLinearAudio(vPiece.begin(), vPiece.end());
                                            }));
}

/// False when the set lost count of time or of windows.
bool benchDay(AudioClassifierSet& io_set)
{
    const char* pHours = std::getenv("HOURS");
    const std::uint64_t uiPieces = (pHours == nullptr ? 24 : std::atoi(pHours)) * 3600ULL * 50;
    const DoubleVector vPiece = makeTone(PIECE);
    bool bDone = io_set.reset();
    const std::size_t uiHeap = heapBytes();
    const Testing::AllocationCounter allocations;
    const double dStart = Bench::cpuSeconds();
    for (std::uint64_t i = 0; i < uiPieces; ++i)
        bDone = io_set.pushLinearAudio(vPiece.begin(), vPiece.end()) && bDone;
    const double dSeconds = Bench::cpuSeconds() - dStart;
    const auto uiAllocations = static_cast<double>(allocations.getCount());
    // Window k ends at 200 + 160 k.
    const std::uint64_t uiWindows = (uiPieces * PIECE - 200) / 160 + 1;
    const double dTime = static_cast<double>(uiPieces * PIECE) / RATE;
    Bench::reportRealTime("audio in pieces of 20 ms", dTime, {dSeconds, dSeconds, dSeconds});
    Bench::reportValue("    audio time at the end", io_set.getTotalPushedAudioTime(), "s");
    Bench::reportValue("    error of it", io_set.getTotalPushedAudioTime() - dTime, "s");
    Bench::reportValue("    windows counted by the script", lastEntry(io_set));
    Bench::reportValue("    windows there are", static_cast<double>(uiWindows));
    Bench::reportValue("    allocations", uiAllocations);
    Bench::reportValue("    heap at the end against the start",
                       static_cast<double>(heapBytes()) - static_cast<double>(uiHeap), "bytes");
    return bDone && io_set.getTotalPushedAudioTime() == dTime &&
           lastEntry(io_set) == static_cast<double>(uiWindows) &&
           io_set.getLastWindowEnd() == 200 + 160 * (uiWindows - 1);
}

bool benchChannels(AudioClassifierSet& io_set)
{
    std::vector<std::unique_ptr<AudioClassifierSet>> channels;
    channels.reserve(NB_CHANNELS);
    const DoubleVector vPiece = makeTone(PIECE);
    bool bDone = io_set.reset();
    const std::size_t uiHeap = heapBytes();
    const double dStart = Bench::cpuSeconds();
    for (int i = 0; i < NB_CHANNELS; ++i)
        channels.emplace_back(io_set.clone());
    const double dCloned = Bench::cpuSeconds() - dStart;
    for (int iPiece = 0; iPiece < 50; ++iPiece)
        for (const auto& pChannel : channels)
            bDone = pChannel->pushLinearAudio(vPiece.begin(), vPiece.end()) && bDone;
    Bench::reportNanoseconds("clone a set", NB_CHANNELS, {dCloned, dCloned, dCloned});
    Bench::reportValue("    heap of a channel that has worked",
                       static_cast<double>(heapBytes() - uiHeap) / NB_CHANNELS, "bytes");
    Bench::reportValue("    windows counted by the last of 1000", lastEntry(*channels.back()));
    return bDone;
}

} // namespace

int main()
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    const Testing::TempDir folder;
    AudioClassifierSet set;
    if (!setUp(set, folder))
        return 1;
    benchWindow(set);
    return benchDay(set) && benchChannels(set) ? 0 : 1;
}
