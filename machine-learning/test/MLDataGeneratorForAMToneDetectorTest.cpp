#include "MLDataGeneratorForAMToneDetector.h"
#include "AudioPasses.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.AudioFileDataGenerator";

class OpenGenerator : public DataGeneratorForAMToneDetector
{
public:
    using DataGeneratorForAMToneDetector::isAnnotationUsable_i;
};

DataGeneratorForAMToneDetector::Config config(std::uint32_t in_uiCarrier, std::uint32_t in_uiModulated)
{
    DataGeneratorForAMToneDetector::Config result;
    static_cast<AudioFileDataGenerator::Config&>(result) = Testing::audioConfig({"AM:1000:20", "OTHER"});
    result.m_uiFreqCarrierTol = in_uiCarrier;
    result.m_uiFreqModulatedTol = in_uiModulated;
    return result;
}

} // namespace

TEST(DataGeneratorForAMToneDetectorTest, BothFrequenciesAreWithinTheirTolerances)
{
    const struct
    {
        const char* m_label;
        std::uint32_t m_uiCarrierTol;
        std::uint32_t m_uiModulatedTol;
        bool m_bUsable;
    } TABLE[] = {
        {"AM:1000:20", 0, 0, true},
        {"am 1000/20 hz", 0, 0, true},
        {"AM:1001:20", 0, 0, false},
        {"AM:1000:21", 0, 0, false},
        {"AM:990:22", 10, 2, true},
        {"AM:1010:18", 10, 2, true},
        {"AM:989:20", 10, 2, false},
        {"AM:1011:20", 10, 2, false},
        {"AM:1000:17", 10, 2, false},
        {"AM:1000:23", 10, 2, false},
        {"AM:1:1", 1000, 20, true},
        // 1000 - 1001 wraps round to 2^32 - 1, and so does 20 - 21.
        {"AM:1000:20", 1001, 0, false},
        {"AM:1000:20", 0, 21, false},
        {"AM:4294967295:20", 1001, 0, false},
        {"SF:1000", 10, 2, false},
        {"1000:20", 10, 2, false},
    };
    for (const auto& row : TABLE)
    {
        OpenGenerator generator;
        ASSERT_TRUE(generator.configure(config(row.m_uiCarrierTol, row.m_uiModulatedTol)));
        EXPECT_EQ(generator.isAnnotationUsable_i(row.m_label, "AM:1000:20"), row.m_bUsable)
            << row.m_label << ' ' << row.m_uiCarrierTol << ' ' << row.m_uiModulatedTol;
    }
}

TEST(DataGeneratorForAMToneDetectorTest, RejectionsAreTold)
{
    OpenGenerator generator;
    ASSERT_TRUE(generator.configure(config(0, 0)));
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_FALSE(generator.isAnnotationUsable_i("AM:1000:20", "AM.*"));
    EXPECT_FALSE(generator.isAnnotationUsable_i("speech", "AM:1000:20"));
    EXPECT_FALSE(generator.isAnnotationUsable_i("AM:1000:50", "AM:1000:20"));
    EXPECT_THAT(
        log.lines(),
        ElementsAre("DEBUG Rejecting annotation 'AM:1000:20'  since it does not fit class : AM.*",
                    "DEBUG Rejecting annotation 'speech' because it is not an amplitude modulated one"));
}

TEST(DataGeneratorForAMToneDetectorTest, TargetsFollowTheTones)
{
    const Testing::TempDir folder;
    DataGeneratorForAMToneDetector generator;
    // [400, 560) samples are [0.05, 0.07) s: the times 0.055 and 0.065.
    ASSERT_NE(Testing::setRecording(generator, folder, config(5, 0),
                                    {{400, 560, "AM:995:20"}, {0, 800, "AM:994:20"}, {0, 800, "SF:1000"}}),
              "");
    EXPECT_EQ(Testing::readTargets(generator), "01 01 01 10 10 01 01 01");
    EXPECT_EQ(Testing::setRecording(generator, folder, config(5, 0),
                                    {{0, 400, "AM:1000:20"}, {200, 600, "AM:1001:20"}}),
              "");
}

TEST(DataGeneratorForAMToneDetectorTest, ConfigurationsOfOtherClassesAreRefused)
{
    const Testing::LogCapture log(LOGGER);
    DataGeneratorForAMToneDetector generator;
    ASSERT_TRUE(generator.configure(config(7, 3)));
    EXPECT_FALSE(generator.configure(Testing::audioConfig({"OTHER"}))) << "would lose its tolerances";
    EXPECT_EQ(generator.getConfig().m_uiFreqCarrierTol, 7u);
    EXPECT_EQ(generator.getConfig().m_uiFreqModulatedTol, 3u);

    AudioFileDataGenerator base;
    EXPECT_FALSE(base.configure(config(7, 3))) << "would lose the tolerances";
    EXPECT_THAT(
        log.lines(),
        ElementsAre("ERROR Could not configure DataGeneratorForAMToneDetector : configuration provided "
                    "is not a DataGeneratorForAMToneDetector::Config",
                    "ERROR Could not configure AudioFileDataGenerator : configuration provided is not "
                    "a AudioFileDataGenerator::Config"));
}
