#pragma once

#include "MLAudioFileDataGenerator.h"
#include "TestPrelude.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "test-support/WavBuilder.h"

/// Short recordings, and passes over them as text. Windows of 25 ms every 10 ms of recordings of 8 kHz:
/// window k holds the samples [80 k, 80 k + 200) and its time is (80 k + 200) / 8000 = 0.025 + 0.01 k
/// seconds.
namespace Vexalor::Testing
{

constexpr std::uint32_t RATE = 8000;

/// Whatever the window: these features.
class FixedFeatures : public FeatureComputerWithInputs
{
public:
    explicit FixedFeatures(const DoubleVector& in_vFeatures)
        : m_vFeatures(in_vFeatures)
    {
    }
    FixedFeatures* clone() const override { return new FixedFeatures(*this); }
    bool reset() override { return true; }
    bool setInput(const char*, const DoubleVector&) override { return true; }
    bool computeFeatures(DoubleVector& out_vFeatures) override
    {
        out_vFeatures = m_vFeatures;
        return true;
    }

private:
    DoubleVector m_vFeatures;
};

/// With the energy as input, or other features.
inline AudioFileDataGenerator::Config audioConfig(const StringVector& in_vClasses,
                                                  FeatureComputer* in_pFeatures = new EnergyFeatureComputer)
{
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(in_pFeatures);
    config.m_vClasses = in_vClasses;
    return config;
}

/// A tone of half the full scale, by default for one tenth of a second: 800 samples, 8 windows, times 0.025
/// to 0.095.
inline std::string toneRecording(const std::vector<WavRegion>& in_vRegions, std::size_t in_uiSamples = 800)
{
    return annotatedWav(RATE, toneSamples(RATE, in_uiSamples, 1000, 16384), in_vRegions);
}

/// One line for all targets of a pass, a digit a component; "-" for a pattern without target.
inline std::string readTargets(DataGenerator& io_generator)
{
    std::string strTargets;
    DoubleVector vTarget;
    EXPECT_TRUE(io_generator.gotoStart());
    while (io_generator.generateNext())
    {
        strTargets += strTargets.empty() ? "" : " ";
        if (!io_generator.getTarget(vTarget))
            strTargets += '-';
        else
            for (const double dComponent : vTarget)
                strTargets += dComponent == 1.0 ? '1' : dComponent == 0.0 ? '0' : '?';
    }
    return strTargets;
}

/// Configures a generator and sets a recording with these annotations; its name, empty when it is refused.
template <class Generator>
std::string setRecording(Generator& io_generator, const TempDir& in_folder,
                         const typename Generator::Config& in_config,
                         const std::vector<WavRegion>& in_vRegions, std::size_t in_uiSamples = 800)
{
    const std::string strFile = in_folder.write("recording.wav", toneRecording(in_vRegions, in_uiSamples));
    EXPECT_TRUE(io_generator.configure(in_config));
    return io_generator.setCurrentFilename(strFile.c_str()) ? strFile : std::string();
}

/// Classes, annotations, and the targets that must come of them.
struct TargetRow
{
    const char* m_name;
    StringVector m_vClasses;
    std::vector<WavRegion> m_vRegions;
    const char* m_targets;
};

/// The targets of two equal passes; "!" after a stream that stopped before its end; "refused".
template <class Generator>
std::string recordedTargets(const typename Generator::Config& in_config,
                            const std::vector<WavRegion>& in_vRegions)
{
    const TempDir folder;
    Generator generator;
    if (setRecording(generator, folder, in_config, in_vRegions).empty())
        return "refused";
    const std::string strFirst = readTargets(generator);
    EXPECT_EQ(readTargets(generator), strFirst) << "passes differ";
    return strFirst + (generator.endedCleanly() ? "" : "!");
}

} // namespace Vexalor::Testing
