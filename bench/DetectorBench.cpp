// Detectors at work: a window of audio through a classifier set with a detector, 40 log-mel features and a
// network 40-64-2, beside the same features and FANN, or a plain loop, called by hand; and what a further
// channel, a clone, costs.

#include "bench/Bench.h"
#include "bench/PlainNetworks.h"

#include "AudioClassifierSet.h"
#include "MLAudioFileDataGenerator.h"
#include "common/Base64.h"
#include "common/FannNetwork.h"
#include "detector/Detector.h"
#include "quillcast-core/Logger.h"
#include "quillcast-math/MelFeatureComputers.h"

#include <doublefann.h>
#include <malloc.h>
#include <memory>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using namespace Vexalor::Bench;

namespace
{

constexpr int WINDOWS = 20000;
constexpr std::size_t SHIFT = 80;
constexpr int NB_CHANNELS = 1000;

AudioFileDataGenerator::Config newConfig()
{
    LogMelFeatureComputer::Config features;
    features.m_uiNbBands = INPUTS;
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new LogMelFeatureComputer(features));
    config.m_vClasses = {"A", "OTHER"};
    return config;
}

std::unique_ptr<Detector> newDetector(const std::string& in_strKind, const std::string& in_strNetwork)
{
    const CountedObjPtr<AudioFileDataGenerator> pGenerator(new AudioFileDataGenerator);
    pGenerator->configure(newConfig());
    DetectorContent content;
    content.m_pGenerator = pGenerator;
    content.m_strKind = in_strKind;
    content.m_strNetwork = in_strNetwork;
    std::string strReason;
    std::unique_ptr<Detector> pDetector = Detector::newFromContent(content, strReason);
    if (pDetector == nullptr)
        std::fprintf(stderr, "%s\n", strReason.c_str());
    return pDetector;
}

DoubleVector makeNoise(std::size_t in_uiCount)
{
    std::minstd_rand random(7);
    DoubleVector vSamples(in_uiCount);
    for (double& dSample : vSamples)
        dSample = static_cast<double>(random() % 20001) / 20000.0 - 0.5;
    return vSamples;
}

/// Cuts windows, computes their features and hands these to a function; returns what the last call gave.
class ByHand
{
public:
    template <class Compute>
    double run(const DoubleVector& in_vSamples, Compute in_compute)
    {
        double dLast = 0.0;
        m_windower.reset();
        for (std::size_t i = 0; i < in_vSamples.size(); i += SHIFT)
        {
            m_windower.pushLinearAudio(in_vSamples.begin() + i, in_vSamples.begin() + i + SHIFT);
            while (m_windower.popWindow(m_vWindow))
            {
                m_pFeatures->setInput("audio", m_vWindow);
                m_pFeatures->computeFeatures(m_vFeatures);
                dLast = in_compute(m_vFeatures);
            }
        }
        return dLast;
    }

private:
    LinearAudioWindower m_windower;
    AudioFileDataGenerator::Config m_config = newConfig();
    FeatureComputerWithInputs* m_pFeatures =
        dynamic_cast<FeatureComputerWithInputs*>(m_config.m_pFeatureComputer.get());
    DoubleVector m_vWindow;
    DoubleVector m_vFeatures;
};

bool setUp(const Detector& in_detector, AudioClassifierSet& io_set)
{
    return io_set.configure(in_detector.getWindows()) && addDetector(in_detector, "it", true, io_set) &&
           io_set.freeze() && io_set.start();
}

double runSet(AudioClassifierSet& io_set, const DoubleVector& in_vSamples, std::size_t in_uiWindows = WINDOWS)
{
    io_set.reset();
    for (std::size_t i = 0; i < in_uiWindows * SHIFT; i += SHIFT)
        io_set.pushLinearAudio(in_vSamples.begin() + i, in_vSamples.begin() + i + SHIFT);
    return io_set.begin()->second->getResult().begin()->m_dValue;
}

template <class Function>
double report(const std::string& in_strName, Function in_run)
{
    double dLast = 0.0;
    Bench::reportNanoseconds(in_strName, WINDOWS,
                             Bench::measure(Bench::getRunCount(), [&] { dLast = in_run(); }));
    return dLast;
}

/// False when the set allocated for a window.
bool benchChannels(AudioClassifierSet& io_set, const DoubleVector& in_vSamples)
{
    const Testing::AllocationCounter allocations;
    runSet(io_set, in_vSamples);
    const auto uiAllocations = allocations.getCount();
    std::vector<std::unique_ptr<AudioClassifierSet>> vChannels;
    vChannels.reserve(NB_CHANNELS);
    const std::size_t uiBefore = mallinfo2().uordblks;
    for (int i = 0; i < NB_CHANNELS; ++i)
    {
        vChannels.emplace_back(io_set.clone());
        runSet(*vChannels.back(), in_vSamples, 10);
    }
    const std::size_t uiAfter = mallinfo2().uordblks;
    Bench::reportValue("    allocations", static_cast<double>(uiAllocations));
    Bench::reportValue("    a further channel takes",
                       static_cast<double>(uiAfter - uiBefore) / NB_CHANNELS / 1024.0, "KB");
    return uiAllocations == 0;
}

bool benchFann(const DoubleVector& in_vSamples)
{
    const std::unique_ptr<FannNetwork> pNetwork(
        FannNetwork::newLayered({INPUTS, HIDDEN, OUTPUTS}, FannNetwork::Output::SIGMOID, 1));
    const std::unique_ptr<Detector> pDetector = newDetector(DetectorContent::FANN, pNetwork->getText());
    AudioClassifierSet set;
    if (pDetector == nullptr || !setUp(*pDetector, set))
        return false;
    ByHand byHand;
    fann& fannNetwork = pNetwork->getFann();
    const double dByHand =
        report("FANN 40-64-2 by hand",
               [&]
               {
                   return byHand.run(in_vSamples, [&](DoubleVector& io_vFeatures)
                                     { return *fann_run(&fannNetwork, io_vFeatures.begin()); });
               });
    const double dSet = report("FANN 40-64-2, detector", [&] { return runSet(set, in_vSamples); });
    Bench::reportValue("    a clone of the network takes",
                       static_cast<double>(pDetector->getNetwork().getCloneSize()), "bytes");
    return dByHand == dSet && benchChannels(set, in_vSamples);
}

bool benchOnnx(const DoubleVector& in_vSamples)
{
    const Weights weights;
    const std::unique_ptr<Detector> pDetector =
        newDetector(DetectorContent::ONNX, toBase64(layersFile(weights)));
    AudioClassifierSet set;
    if (pDetector == nullptr || !setUp(*pDetector, set))
        return false;
    ByHand byHand;
    PlainLayers plain(weights, true);
    Reals vInput(INPUTS);
    const double dByHand =
        report("ONNX 40-64-2, plain loop by hand",
               [&]
               {
                   return byHand.run(in_vSamples,
                                     [&](const DoubleVector& in_vFeatures)
                                     {
                                         std::copy(in_vFeatures.begin(), in_vFeatures.end(), vInput.begin());
                                         return double(plain.compute(vInput)[0]);
                                     });
               });
    const double dSet = report("ONNX 40-64-2, detector", [&] { return runSet(set, in_vSamples); });
    return std::fabs(dByHand - dSet) < 1e-4 && benchChannels(set, in_vSamples);
}

} // namespace

int main()
{
    const LoggingSession session;
    Logger::configureForConsole(LogLevel::WARN);
    const DoubleVector vSamples = makeNoise(WINDOWS * SHIFT);
    const bool bFann = benchFann(vSamples);
    const bool bOnnx = benchOnnx(vSamples);
    return bFann && bOnnx ? 0 : 1;
}
