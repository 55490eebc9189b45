// Prints what a generator of recordings wants to be learnt: a line for each window with the recording, the
// time in seconds and the target, separated by tabs; "-" where there is none.
// usage: dump-targets --log-level WARN CONFIG INPUT

#include "MLAudioFileDataGenerator.h"
#include "MLDataGenApplicationImpl.h"
#include "MLFileSetDataGenerator.h"

#include <charconv>
#include <iostream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constinit Logger s_logger("quillcast.app.DumpTargets");

std::string toText(double in_dValue)
{
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof(text), in_dValue).ptr);
}

class DumpTargetsApplication : public MLDataGenApplicationImpl
{
public:
    DumpTargetsApplication()
        : MLDataGenApplicationImpl(s_logger, "dump-targets")
    {
        setArguments("files", 2, "CONFIG INPUT",
                     "Prints the target of every window of a recording or a set.");
    }

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override
    {
        if (!MLDataGenApplicationImpl::processCmdlineVarsMap(in_map))
            return false;
        if (in_map.count("files") != 0)
            m_vFiles = in_map["files"].as<StringVector>();
        if (isStopped() || m_vFiles.size() == 2)
            return true;
        QC_ERROR("A configuration and its input are needed");
        return false;
    }

    bool run_i() override
    {
        const auto pGenerator = newDataGenerator(m_vFiles[0].c_str(), m_vFiles[1].c_str(), {}, nullptr);
        if (pGenerator.isNull() || !pGenerator->gotoStart())
            return false;
        DoubleVector vTarget;
        while (pGenerator->generateNext())
        {
            if (!pGenerator->getTarget(vTarget))
                vTarget.clear();
            print(*pGenerator, vTarget);
        }
        if (!pGenerator->endedCleanly())
            QC_ERROR("The stream stopped before its end");
        return pGenerator->endedCleanly();
    }

private:
    static void print(DataGenerator& in_generator, const DoubleVector& in_vTarget)
    {
        auto* pRecording = dynamic_cast<AudioFileDataGenerator*>(&in_generator);
        if (auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(&in_generator))
            pRecording = dynamic_cast<AudioFileDataGenerator*>(pSet->getCurrentDataGenerator().get());
        if (pRecording != nullptr)
            std::cout << pRecording->getCurrentFilename() << '\t' << toText(pRecording->getCurrentAudioTime())
                      << '\t';
        std::cout << (in_vTarget.empty() ? "-" : "");
        for (std::size_t i = 0; i < in_vTarget.size(); ++i)
            std::cout << (i == 0 ? "" : " ") << toText(in_vTarget[i]);
        std::cout << '\n';
    }

    StringVector m_vFiles;
};

} // namespace

int main(int argc, char** argv)
{
    return runApplication<DumpTargetsApplication>(argc, argv);
}
