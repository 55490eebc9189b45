// Reads a set of recordings with the generators of voice activity, each in both strategies and in two passes,
// and compares the streams bit by bit. Prints patterns and a digest of each. usage: compare-strategies
// (voice-other | voice-silence | smoothed) LIST

#include "MLAudioSetDataGeneratorForVad.h"
#include "MLAudioSetDataGenerators.h"
#include "MLDataGeneratorForVad.h"
#include "quillcast-core/Logger.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "quillcast-math/ContextFeatureComputers.h"

#include <bit>
#include <cstdio>
#include <filesystem>
#include <optional>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// A hash over the names of the recordings and the bits of inputs and targets.
struct Digest
{
    std::uint64_t m_uiHash = 0xcbf29ce484222325;
    std::uint64_t m_uiPatterns = 0;

    void add(std::uint64_t in_uiValue)
    {
        m_uiHash = (m_uiHash ^ in_uiValue) * 0x100000001b3;
        m_uiHash ^= m_uiHash >> 32;
    }
    void add(const DoubleVector& in_vVector)
    {
        add(in_vVector.size());
        for (const double dValue : in_vVector)
            add(std::bit_cast<std::uint64_t>(dValue));
    }
    friend bool operator==(const Digest&, const Digest&) = default;
};

AudioFileDataGenerator::Config makeConfig(const char* in_otherClass)
{
    AudioFileDataGenerator::Config config;
    config.m_audioConfig.m_uiSamplingRate = 0;
    // A feature that remembers, so that streams differ where it does not begin anew with each recording.
    auto* pNormalisation = new NormalisationFeatureComputer;
    pNormalisation->setComputer(new EnergyFeatureComputer);
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(pNormalisation);
    config.m_vClasses = {"VOICE", in_otherClass};
    return config;
}

/// Nothing when the pass cannot start or stops before its end.
std::optional<Digest> readPass(FileDataGenerator& io_set)
{
    Digest digest;
    DoubleVector vInput;
    DoubleVector vTarget;
    if (!io_set.gotoStart())
        return {};
    while (io_set.generateNext())
    {
        for (const char c : std::filesystem::path(io_set.getCurrentFilename()).filename().string())
            digest.add(static_cast<unsigned char>(c));
        if (!io_set.getInput(vInput) || !io_set.getTarget(vTarget))
            return {};
        digest.add(vInput);
        digest.add(vTarget);
        ++digest.m_uiPatterns;
    }
    return io_set.endedCleanly() ? std::optional(digest) : std::nullopt;
}

/// Two passes that agree with each other and with io_digest, if there is one already.
bool readTwice(const char* in_strategy, FileDataGenerator& io_set, const char* in_list,
               std::optional<Digest>& io_digest)
{
    if (!io_set.setCurrentFilename(in_list))
        return false;
    for (int iPass = 1; iPass <= 2; ++iPass)
    {
        const std::optional<Digest> digest = readPass(io_set);
        if (!digest.has_value())
            return false;
        std::printf("%s, pass %d: %llu patterns, digest %016llx\n", in_strategy, iPass,
                    static_cast<unsigned long long>(digest->m_uiPatterns),
                    static_cast<unsigned long long>(digest->m_uiHash));
        if (!io_digest.has_value())
            io_digest = digest;
        if (digest != io_digest)
            return false;
    }
    return true;
}

template <class FileGenerator>
bool compareStrategies(const char* in_otherClass, const char* in_list)
{
    using UpFront = FileSetDataGenerator<FileGenerator, FileSetDataGeneratorNoT>;
    using LowMemory = FileSetDataGenerator<FileGenerator, LowMemoryFileSetDataGeneratorNoT>;
    typename UpFront::Config upFrontConfig;
    typename LowMemory::Config lowMemoryConfig;
    static_cast<AudioFileDataGenerator::Config&>(upFrontConfig.m_dataGenConfig) = makeConfig(in_otherClass);
    lowMemoryConfig.m_dataGenConfig = upFrontConfig.m_dataGenConfig;
    UpFront upFront;
    LowMemory lowMemory;
    std::optional<Digest> digest;
    return upFront.configure(upFrontConfig) && lowMemory.configure(lowMemoryConfig) &&
           readTwice("up front", upFront, in_list, digest) &&
           readTwice("low memory", lowMemory, in_list, digest);
}

/// Smoothing is that of a set alone.
bool readSmoothed(const char* in_list)
{
    AudioSetDataGeneratorForVad::Config config;
    config.m_audioGenConfig = makeConfig("SILENCE");
    config.m_uiDebouncingWindows = 20;
    config.m_uiIncertitudeWindows = 5;
    AudioSetDataGeneratorForVad set;
    std::optional<Digest> digest;
    return set.configure(config) && readTwice("smoothed", set, in_list, digest);
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::configureForConsole(LogLevel::WARN);
    if (in_iArguments != 3)
        return 2;
    const std::string strKind = in_arguments[1];
    const char* list = in_arguments[2];
    bool bSame = false;
    if (strKind == "voice-other")
        bSame = compareStrategies<VadAudioFileDataGenerator>("OTHER", list);
    else if (strKind == "voice-silence")
        bSame = compareStrategies<DataGeneratorForVad>("SILENCE", list);
    else if (strKind == "smoothed")
        bSame = readSmoothed(list);
    return bSame ? 0 : 1;
}
