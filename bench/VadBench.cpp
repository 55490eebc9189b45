// The stream of voice patterns of one recording, with the energy of each window as input: windows of 10 ms,
// one after the other, as voice detectors take them. usage: VadBench RECORDING.wav

#include "MLVadAudioFileDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"
#include "quillcast-math/AudioFeatureComputers.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
    config.m_audioConfig.m_uiWindowLength = 10;
    config.m_audioConfig.m_uiWindowShift = 10;
    config.m_vClasses = {"VOICE", "OTHER"};
    VadAudioFileDataGenerator generator;
    if (in_iArguments != 2 || !generator.configure(config) || !generator.setCurrentFilename(in_arguments[1]))
        return 2;
    DoubleVector vInput;
    DoubleVector vTarget;
    Bench::Pass pass;
    const auto times = Bench::measure(Bench::getRunCount(), [&]
                                      { pass = Bench::pullAll<DataGenerator>(generator, vInput, vTarget); });
    Bench::reportNanoseconds("voice patterns, energy, 10 ms", static_cast<double>(pass.m_uiPatterns), times);
    Bench::reportPass(pass);
    return pass.m_bDone ? 0 : 1;
}
