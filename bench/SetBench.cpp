// Sets of recordings: what naming a recording costs, what a long list takes, and the stream of a set beside
// those of its recordings.
// usage: SetBench name FOLDER               naming each recording of FOLDER, with its annotations
//        SetBench STRATEGY LIST             up-front or low-memory: memory, open files and time over a list
//        SetBench stream LIST               patterns of a set, in both strategies, and of its recordings
//        alone

#include "MLAudioSetDataGenerators.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"
#include "quillcast-math/AudioFeatureComputers.h"

#include <cstring>
#include <filesystem>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

namespace fs = std::filesystem;

/// Windows of 25 ms every 10 ms, their energy as input.
AudioFileDataGenerator::Config makeConfig()
{
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
    config.m_vClasses = {"TONE 1000", "OTHER"};
    return config;
}

template <class Set>
bool configureSet(Set& io_set)
{
    typename Set::Config config;
    config.m_dataGenConfig = makeConfig();
    return io_set.configure(config);
}

std::size_t countOpenFiles()
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

int nameRecordings(const char* in_folder)
{
    std::vector<std::string> vNames;
    for (const fs::directory_entry& entry : fs::directory_iterator(in_folder))
        if (entry.path().extension() == ".wav")
            vNames.push_back(entry.path());
    AudioFileDataGenerator generator;
    bool bNamed = generator.configure(makeConfig()) && !vNames.empty();
    const auto times = Bench::measure(Bench::getRunCount(),
                                      [&]
                                      {
                                          for (const std::string& strName : vNames)
                                              bNamed =
                                                  generator.setCurrentFilename(strName.c_str()) && bNamed;
                                      });
    Bench::reportNanoseconds("name a small recording", static_cast<double>(vNames.size()), times);
    return bNamed ? 0 : 1;
}

/// Most files that are open at a time in a pass, asked for in the middle of each recording.
std::size_t countOpenFilesOfPass(FileDataGenerator& io_set)
{
    std::size_t uiMost = 0;
    std::size_t uiPatterns = 0;
    bool bNext = io_set.gotoStart();
    while (bNext && io_set.generateNext())
        if (++uiPatterns % 98 == 49)
            uiMost = std::max(uiMost, countOpenFiles());
    return uiMost;
}

template <class Set>
int passOver(const char* in_strategy, const char* in_list)
{
    Set set;
    const double dMemory = Bench::getMemory();
    const std::size_t uiOpen = countOpenFiles();
    const double dStart = Bench::cpuSeconds();
    if (!configureSet(set) || !set.setCurrentFilename(in_list))
        return 1;
    const double dSetting = Bench::cpuSeconds() - dStart;
    const double dTaken = Bench::getMemory() - dMemory;
    DoubleVector vInput;
    DoubleVector vTarget;
    const Bench::Pass pass = Bench::pullAll<DataGenerator>(set, vInput, vTarget);
    if (!pass.m_bDone || set.getFileCounts().m_uiUsed != set.getFileCounts().m_uiListed)
        return 1;
    const std::size_t uiMostOpen = countOpenFilesOfPass(set);
    const auto dFiles = static_cast<double>(set.getFileCounts().m_uiListed);
    const std::string strTitle = in_strategy + (" set of " + std::to_string(set.getFileCounts().m_uiListed));
    Bench::reportValue(strTitle + ", setting it, a recording", 1e6 * dSetting / dFiles, "us");
    Bench::reportValue(strTitle + ", memory that setting it takes", dTaken, "MiB");
    Bench::reportValue(strTitle + ", the same, a recording", 1024 * dTaken / dFiles, "KiB");
    Bench::reportValue(strTitle + ", peak memory", Bench::getPeakMemory(), "MiB");
    Bench::reportValue(strTitle + ", files open at most", static_cast<double>(uiMostOpen - uiOpen));
    Bench::reportPass(pass);
    return 0;
}

/// The recordings of a list, one generator after the other.
Bench::Pass pullAlone(const StringVector& in_vNames, std::vector<AudioFileDataGenerator>& io_generators,
                      bool in_bName)
{
    Bench::Pass all;
    all.m_bDone = true;
    DoubleVector vInput;
    DoubleVector vTarget;
    for (std::size_t i = 0; i < in_vNames.size(); ++i)
    {
        AudioFileDataGenerator& generator = io_generators[in_bName ? 0 : i];
        all.m_bDone = all.m_bDone && (!in_bName || generator.setCurrentFilename(in_vNames[i].c_str()));
        const Bench::Pass pass = Bench::pullAll<DataGenerator>(generator, vInput, vTarget);
        all.m_bDone = all.m_bDone && pass.m_bDone;
        all.m_uiPatterns += pass.m_uiPatterns;
        all.m_dInputSum += pass.m_dInputSum;
    }
    return all;
}

/// In turns, so that both see the same neighbours of the machine.
template <class Set>
bool compareStreams(const char* in_strategy, const char* in_list, bool in_bName)
{
    AudioSetParser parser;
    Set set;
    if (!parser.open(in_list) || !configureSet(set) || !set.setCurrentFilename(in_list))
        return false;
    const StringVector vNames = parser.getFilenames();
    std::vector<AudioFileDataGenerator> vGenerators(vNames.size());
    for (std::size_t i = 0; i < vNames.size(); ++i)
        if (!vGenerators[i].configure(makeConfig()) || !vGenerators[i].setCurrentFilename(vNames[i].c_str()))
            return false;
    DoubleVector vInput;
    DoubleVector vTarget;
    Bench::Pass ours;
    Bench::Pass alone;
    std::vector<double> vRatios;
    Bench::Times best{1e9, 1e9, 1e9};
    Bench::Times bestAlone = best;
    for (int iRun = 0; iRun < Bench::getRunCount(); ++iRun)
    {
        const auto times =
            Bench::measure(3, [&] { ours = Bench::pullAll<DataGenerator>(set, vInput, vTarget); });
        const auto timesAlone = Bench::measure(3, [&] { alone = pullAlone(vNames, vGenerators, in_bName); });
        vRatios.push_back(times.m_dMinimum / timesAlone.m_dMinimum);
        best = times.m_dMinimum < best.m_dMinimum ? times : best;
        bestAlone = timesAlone.m_dMinimum < bestAlone.m_dMinimum ? timesAlone : bestAlone;
    }
    std::sort(vRatios.begin(), vRatios.end());
    const auto dPatterns = static_cast<double>(ours.m_uiPatterns);
    Bench::reportNanoseconds(std::string(in_strategy) + " set, a pattern", dPatterns, best);
    Bench::reportNanoseconds(in_bName ? "its recordings alone, named and read" : "its recordings alone",
                             dPatterns, bestAlone);
    Bench::reportValue("    ratio", vRatios[vRatios.size() / 2]);
    Bench::reportPass(ours);
    return ours.m_bDone && alone.m_bDone && ours.m_uiPatterns == alone.m_uiPatterns;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    if (in_iArguments != 3)
        return 2;
    const std::string strMode = in_arguments[1];
    const char* source = in_arguments[2];
    if (strMode == "name")
        return nameRecordings(source);
    if (strMode == "up-front")
        return passOver<AudioSetDataGenerator>("up-front", source);
    if (strMode == "low-memory")
        return passOver<LowMemoryAudioSetDataGenerator>("low-memory", source);
    if (strMode != "stream")
        return 2;
    return compareStreams<AudioSetDataGenerator>("up-front", source, false) &&
                   compareStreams<LowMemoryAudioSetDataGenerator>("low-memory", source, true)
               ? 0
               : 1;
}
