// The whole stream of patterns of an annotated recording with the energy of each window as input: time,
// allocations and peak memory. The recording has the labels "class 0", "class 1"...
// usage: AudioStreamBench RECORDING.wav CLASSES

#include "MLAudioFileDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"
#include "quillcast-math/AudioFeatureComputers.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

AudioFileDataGenerator::Config makeConfig(int in_iClasses)
{
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
    for (int iClass = 0; iClass < in_iClasses; ++iClass)
        config.m_vClasses.push_back("class " + std::to_string(iClass));
    config.m_vClasses.push_back("OTHER");
    return config;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    const int iClasses = in_iArguments == 3 ? std::atoi(in_arguments[2]) : 0;
    AudioFileDataGenerator generator;
    if (iClasses < 1 || !generator.configure(makeConfig(iClasses)))
        return 2;
    bool bSet = true;
    const auto setting = Bench::measure(Bench::getRunCount(), [&]
                                        { bSet = generator.setCurrentFilename(in_arguments[1]) && bSet; });
    DoubleVector vInput;
    DoubleVector vTarget;
    Bench::Pass pass;
    const auto times = Bench::measure(Bench::getRunCount(), [&]
                                      { pass = Bench::pullAll<DataGenerator>(generator, vInput, vTarget); });
    if (!bSet || !pass.m_bDone)
        return 1;
    const std::string strClasses = std::to_string(iClasses) + (iClasses == 1 ? " class" : " classes");
    Bench::reportNanoseconds("audio pattern, energy, " + strClasses, static_cast<double>(pass.m_uiPatterns),
                             times);
    Bench::reportNanoseconds("setting the recording", 1, setting);
    Bench::reportValue("peak memory", Bench::getPeakMemory(), "MiB");
    Bench::reportPass(pass);
    return 0;
}
