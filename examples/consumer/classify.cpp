// Classifies audio by a script while it comes in, here a tone of 1000 Hz in the middle of silence, and prints
// when the script finds it.

#include "AudioClassifierSet.h"
#include "XprAudioClassifier.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <cmath>
#include <iostream>
#include <vector>

namespace
{

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

/// Once per program: finds the windower's configuration and the scripts below a folder. Further channels are
/// clones of the set.
bool setUp(AudioClassifierSet& io_set, const char* in_folder)
{
    auto* pFileSystem = new DiskFileSystem;
    const TSHandle<VirtualFileSystem> hFileSystem(pFileSystem);
    auto* pClassifier = new XprAudioClassifier;
    return pFileSystem->setWorkingDirectory(in_folder) &&
           io_set.configure(AudioClassifierSet::DefaultConfig(), hFileSystem) &&
           io_set.addClassifier("tone", pClassifier) && pClassifier->configure("tone", "result", {}) &&
           io_set.freeze() && io_set.start();
}

/// 10 ms of audio, as a telephone line delivers it.
std::vector<double> makePiece(int in_iPiece)
{
    std::vector<double> vSamples(80);
    if (in_iPiece >= 50 && in_iPiece < 100)
        for (int i = 0; i < 80; ++i)
            vSamples[static_cast<std::size_t>(i)] = 0.5 * std::sin(2 * M_PI * 1000 / 8000 * i);
    return vSamples;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "Usage : classify FOLDER-WITH-SCRIPTS\n";
        return 2;
    }
    const LoggingSession session;
    Logger::configureForConsole(LogLevel::WARN);

    AudioClassifierSet set;
    if (!setUp(set, argv[1]))
        return 1;
    const Classifier::Result& result = set.findClassifier("tone")->second->getResult();
    bool bPresent = false;
    for (int iPiece = 0; iPiece < 150; ++iPiece)
    {
        const std::vector<double> vSamples = makePiece(iPiece);
        if (!set.pushLinearAudio(vSamples.data(), vSamples.data() + vSamples.size()))
            return 1;
        if (result.size() == 0 || (result.begin()->m_dValue == 1.0) == bPresent)
            continue;
        bPresent = !bPresent;
        std::cout << set.getTotalPushedAudioTime() << " s: " << (bPresent ? "tone" : "no tone") << '\n';
    }
    return std::cout.flush() ? 0 : 1;
}
