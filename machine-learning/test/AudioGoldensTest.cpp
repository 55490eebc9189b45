// The configuration files of the generators of recordings and sets: byte for byte those under test/data,
// through the class keys that they name.

#include "AudioPasses.h"
#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLAudioSetDataGeneratorForVad.h"
#include "MLAudioSetDataGenerators.h"
#include "MLDataGeneratorFactory.h"
#include "MLDataGeneratorForVad.h"
#include "quillcast-core/SerializationArchives.h"
#include "test-support/StockXmlArchive.h"
#include "test-support/TempDir.h"

#include <functional>
#include <gtest/gtest.h>
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

template <class Set>
Generator newSet(const StringVector& in_vClasses)
{
    typename Set::Config config;
    config.m_dataGenConfig = audioConfig(in_vClasses);
    return configured<Set>(config);
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

using WidebandSet = LowMemoryAudioSetDataGeneratorForWidebandToneDetector;

const struct Golden
{
    const char* m_name;
    std::function<Generator()> m_create;
} GOLDENS[] = {
    {"DataGeneratorForWidebandToneDetector",
     []
     {
         return configured<DataGeneratorForWidebandToneDetector>(audioConfig({"WB_SF_TONE", "OTHER"}));
     }},
    {"DataGeneratorForAMToneDetector",
     []
     {
         return configured<DataGeneratorForAMToneDetector>(amConfig());
     }},
    {"VadAudioFileDataGenerator",
     []
     {
         return configured<VadAudioFileDataGenerator>(audioConfig({"VOICE", "OTHER"}));
     }},
    {"DataGeneratorForVad",
     []
     {
         return configured<DataGeneratorForVad>(audioConfig({"VOICE", "SILENCE"}));
     }},
    {"AudioSetDataGenerator",
     []
     {
         return newSet<AudioSetDataGenerator>({"VOICE", "OTHER"});
     }},
    {"LowMemoryAudioSetDataGenerator",
     []
     {
         return newSet<LowMemoryAudioSetDataGenerator>({"VOICE", "OTHER"});
     }},
    {"LowMemoryAudioSetDataGeneratorForWidebandToneDetector",
     []
     {
         return newSet<WidebandSet>({"WB_SF_TONE", "OTHER"});
     }},
    {"LowMemoryAudioSetDataGeneratorForAMToneDetector", newAMSet},
    {"LowMemoryVadAudioSetDataGenerator",
     []
     {
         return newSet<LowMemoryVadAudioSetDataGenerator>({"VOICE", "OTHER"});
     }},
    {"AudioSetDataGeneratorForVad", newVadSet},
    {"AudioSetDataGeneratorForToneDetector", newToneSet},
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

class AudioGoldensTest : public testing::TestWithParam<Golden>
{
protected:
    const std::string m_strFile = std::string(QC_TEST_DATA "/") + GetParam().m_name + ".xml";
};

} // namespace

TEST_P(AudioGoldensTest, IsWrittenAndReadAsItStands)
{
    const std::string strGolden = Testing::readFile(m_strFile);
    EXPECT_EQ(save(*GetParam().m_create()), strGolden);
    const Generator pLoaded = loadDataGenerator(m_strFile.c_str());
    ASSERT_FALSE(pLoaded.isNull());
    EXPECT_EQ(save(*pLoaded), strGolden);
    EXPECT_EQ(typeid(*pLoaded), typeid(*GetParam().m_create()));
}

TEST_P(AudioGoldensTest, StockArchiveReadsIt)
{
    StringVector vLibNames;
    std::unique_ptr<DataGenerator> pGenerator;
    Testing::readStockXml(Testing::readFile(m_strFile),
                          [&](boost::archive::polymorphic_iarchive& io_archive)
                          {
                              io_archive >> boost::serialization::make_nvp("MLDataGeneratorLib", vLibNames);
                              pGenerator = loadObject<DataGenerator>(io_archive, "MLDataGenerator");
                          });
    ASSERT_NE(pGenerator, nullptr);
    EXPECT_EQ(save(*pGenerator), Testing::readFile(m_strFile));
}

INSTANTIATE_TEST_SUITE_P(Every, AudioGoldensTest, testing::ValuesIn(GOLDENS),
                         [](const auto& in_info) { return std::string(in_info.param.m_name); });
