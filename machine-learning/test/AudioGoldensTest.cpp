// The configuration files of the generators: byte for byte those under test/data, through the class keys that
// they name, and read by the serialisation library's own archive as well.

#include "AudioPasses.h"
#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLAudioSetDataGeneratorForVad.h"
#include "MLAudioSetDataGenerators.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorFactory.h"
#include "MLDataGeneratorForVad.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/FeatureComputerSequence.h"
#include "quillcast-math/MelFeatureComputers.h"
#include "quillcast-math/ToneEnergyFeatureComputer.h"
#include "test-support/StockXmlArchive.h"
#include "test-support/TempDir.h"

#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::audioConfig;

namespace
{

using Generator = CountedObjPtr<DataGenerator>;

template <class ConfiguredGenerator>
Generator configured(const typename ConfiguredGenerator::Config& in_config)
{
    const CountedObjPtr<ConfiguredGenerator> pGenerator(new ConfiguredGenerator);
    EXPECT_TRUE(pGenerator->configure(in_config));
    return pGenerator;
}

template <class AudioGenerator>
std::function<Generator()> audio(const StringVector& in_vClasses)
{
    return [in_vClasses]
    {
        return configured<AudioGenerator>(audioConfig(in_vClasses));
    };
}

template <class Set>
std::function<Generator()> set(const StringVector& in_vClasses)
{
    return [in_vClasses]
    {
        typename Set::Config config;
        config.m_dataGenConfig = audioConfig(in_vClasses);
        return configured<Set>(config);
    };
}

template <class PatternFile>
Generator newPatternFile()
{
    return Generator(new PatternFile);
}

Generator newFeaturesOfPatternFile()
{
    VectorFileDataGenWithFeatureComputer::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
    return configured<VectorFileDataGenWithFeatureComputer>(config);
}

/// A feature computer of each kind, and values that differ from the defaults.
Generator newAudioWithEverything()
{
    AudioFileDataGenerator::Config config;
    config.m_audioConfig.m_uiSamplingRate = 0;
    config.m_audioConfig.m_iChannel = 1;
    config.m_dMaxAudioTime = 2.5;
    config.m_vClasses = {"SF:1000", "voice .*", "OTHER"};
    ToneEnergyFeatureComputer::Config tones;
    tones.m_vFrequencies = {697, 1209.5};
    auto pSequence = std::make_unique<FeatureComputerSequence>();
    pSequence->add(new IdentityFeatureComputer);
    pSequence->add(new EnergyFeatureComputer);
    pSequence->add(new ZeroCrossingRateFeatureComputer);
    pSequence->add(new LogMelFeatureComputer);
    pSequence->add(new MfccFeatureComputer);
    pSequence->add(new ToneEnergyFeatureComputer(tones));
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(pSequence.release());
    return configured<AudioFileDataGenerator>(config);
}

DataGeneratorForAMToneDetector::Config amConfig()
{
    DataGeneratorForAMToneDetector::Config config;
    static_cast<AudioFileDataGenerator::Config&>(config) = audioConfig({"AM:1000:20", "OTHER"});
    config.m_uiFreqCarrierTol = 12;
    config.m_uiFreqModulatedTol = 3;
    return config;
}

Generator newAMSet()
{
    LowMemoryAudioSetDataGeneratorForAMToneDetector::Config config;
    config.m_dataGenConfig = amConfig();
    return configured<LowMemoryAudioSetDataGeneratorForAMToneDetector>(config);
}

Generator newVadSet()
{
    AudioSetDataGeneratorForVad::Config config;
    config.m_audioGenConfig = audioConfig({"VOICE", "SILENCE"});
    config.m_uiDebouncingWindows = 20;
    config.m_uiIncertitudeWindows = 5;
    return configured<AudioSetDataGeneratorForVad>(config);
}

Generator newToneSet()
{
    AudioSetDataGeneratorForToneDetector::Config config;
    config.m_audioGenConfig = audioConfig({"SF:1000", "SF:2100"});
    config.m_iFrequencyTolerance = 25;
    config.m_bConstantInput = false;
    return configured<AudioSetDataGeneratorForToneDetector>(config);
}

Generator newScaling()
{
    ScalingDataGenerator::Config config;
    config.m_scalerConfig.m_vInputSlope = {0.5, 1};
    config.m_scalerConfig.m_vInputYIntercept = {-1.25, 0};
    config.m_scalerConfig.m_vTargetSlope = {2};
    config.m_scalerConfig.m_vTargetYIntercept = {-1};
    config.m_scalingTrainerConfig.m_vTrainingParam.resize(3);
    config.m_scalingTrainerConfig.m_vTrainingParam[0].m_bStandardize = true;
    config.m_scalingTrainerConfig.m_vTrainingParam[2].m_bMinMax = true;
    config.m_scalingTrainerConfig.m_vTrainingParam[2].m_dScaledMinValue = -1;
    config.m_bLearnScalingParameters = true;
    return configured<ScalingDataGenerator>(config);
}

Generator newScalingThatIsNotFinite()
{
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    ScalingDataGenerator::Config config;
    config.m_scalerConfig.m_vInputSlope = {INFINITE, -INFINITE};
    config.m_scalerConfig.m_vInputYIntercept = {std::numeric_limits<double>::quiet_NaN(), 5e-324};
    config.m_scalerConfig.m_vTargetSlope = {-0.0};
    config.m_scalerConfig.m_vTargetYIntercept = {1e300};
    return configured<ScalingDataGenerator>(config);
}

using WidebandSet = LowMemoryAudioSetDataGeneratorForWidebandToneDetector;
const StringVector VOICE{"VOICE", "OTHER"};
const StringVector WIDEBAND{"WB_SF_TONE", "OTHER"};

const struct Golden
{
    const char* m_name;
    std::function<Generator()> m_create;
} GOLDENS[] = {
    {"VectorFileDataGenerator", newPatternFile<VectorFileDataGenerator>},
    {"BinaryFileDataGenerator", newPatternFile<BinaryFileDataGenerator>},
    {"VectorFileDataGenWithFeatureComputer", newFeaturesOfPatternFile},
    {"AudioFileDataGenerator", newAudioWithEverything},
    {"DataGeneratorForWidebandToneDetector", audio<DataGeneratorForWidebandToneDetector>(WIDEBAND)},
    {"DataGeneratorForAMToneDetector",
     []
     {
         return configured<DataGeneratorForAMToneDetector>(amConfig());
     }},
    {"VadAudioFileDataGenerator", audio<VadAudioFileDataGenerator>(VOICE)},
    {"DataGeneratorForVad", audio<DataGeneratorForVad>({"VOICE", "SILENCE"})},
    {"AudioSetDataGenerator", set<AudioSetDataGenerator>(VOICE)},
    {"LowMemoryAudioSetDataGenerator", set<LowMemoryAudioSetDataGenerator>(VOICE)},
    {"LowMemoryAudioSetDataGeneratorForWidebandToneDetector", set<WidebandSet>(WIDEBAND)},
    {"LowMemoryAudioSetDataGeneratorForAMToneDetector", newAMSet},
    {"LowMemoryVadAudioSetDataGenerator", set<LowMemoryVadAudioSetDataGenerator>(VOICE)},
    {"AudioSetDataGeneratorForVad", newVadSet},
    {"AudioSetDataGeneratorForToneDetector", newToneSet},
    {"ScalingDataGenerator", newScaling},
    {"ScalingDataGeneratorNotFinite", newScalingThatIsNotFinite},
};

void PrintTo(const Golden& in_golden, std::ostream* out_stream)
{
    *out_stream << in_golden.m_name;
}

std::string save(const DataGenerator& in_generator)
{
    std::ostringstream stream;
    EXPECT_TRUE(saveDataGeneratorToStream(stream, {}, in_generator));
    return stream.str();
}

class GoldensTest : public testing::TestWithParam<Golden>
{
};

} // namespace

TEST_P(GoldensTest, IsWrittenAndReadAsItStands)
{
    const std::string strFile = std::string(QC_TEST_DATA "/") + GetParam().m_name + ".xml";
    const std::string strGolden = Testing::readFile(strFile);
    const Generator pCreated = GetParam().m_create();
    EXPECT_EQ(save(*pCreated), strGolden);
    const Generator pLoaded = loadDataGenerator(strFile.c_str());
    ASSERT_FALSE(pLoaded.isNull());
    EXPECT_EQ(save(*pLoaded), strGolden);
    EXPECT_EQ(typeid(*pLoaded), typeid(*pCreated));

    if (strGolden.find("<item>inf<") != std::string::npos)
        return; // no number for the library's own archive
    std::unique_ptr<DataGenerator> pStock;
    Testing::readStockXml(strGolden,
                          [&](boost::archive::polymorphic_iarchive& io_archive)
                          {
                              StringVector vLibNames;
                              io_archive >> boost::serialization::make_nvp("MLDataGeneratorLib", vLibNames);
                              pStock = loadObject<DataGenerator>(io_archive, "MLDataGenerator");
                          });
    EXPECT_EQ(save(*pStock), strGolden);
}

INSTANTIATE_TEST_SUITE_P(Every, GoldensTest, testing::ValuesIn(GOLDENS),
                         [](const auto& in_info) { return std::string(in_info.param.m_name); });
