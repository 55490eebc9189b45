// Listens to a pipe through a detector: prints the time in seconds and the class whenever another class has
// the largest output.
// usage: arecord -t raw -f S16_LE -r 8000 | listen voice.detector

#include "AudioClassifierSet.h"
#include "detector/Detector.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <iostream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// The class with the largest output in the last window.
std::string findClass(const AudioClassifierSet& in_set)
{
    const Classifier::Result& result = in_set.begin()->second->getResult();
    const auto isSmaller = [](const auto& in_left, const auto& in_right)
    {
        return in_left.m_dValue < in_right.m_dValue;
    };
    return std::max_element(result.begin(), result.end(), isSmaller)->m_strName;
}

} // namespace

int main(int argc, char** argv)
{
    const LoggingSession session;
    Logger::configureForConsole(LogLevel::WARN);
    const auto pDetector = argc == 2 ? Detector::newFromFile(argv[1]) : nullptr;
    AudioClassifierSet set;
    if (pDetector == nullptr || !set.configure(pDetector->getWindows()) || !set.setSourceRate(8000) ||
        !addDetector(*pDetector, "it", true, set) || !set.freeze() || !set.start())
        return 1;
    std::string strClass;
    std::int16_t iSample = 0;
    while (std::cin.read(reinterpret_cast<char*>(&iSample), sizeof iSample))
    {
        const double dSample = iSample / 32768.0;
        const std::uint64_t uiEarlierEnd = set.getLastWindowEnd();
        if (!set.pushLinearAudio(&dSample, &dSample + 1))
            return 1;
        if (set.getLastWindowEnd() == uiEarlierEnd || findClass(set) == strClass)
            continue;
        strClass = findClass(set);
        std::cout << set.getTotalPushedAudioTime() << '\t' << strClass << std::endl;
    }
}
