#include "MLDataGeneratorForWidebandToneDetector.h"
#include "AudioPasses.h"
#include "quillcast-audio/Annotation.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::WavRegion;

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.AudioFileDataGenerator";

class Timeline : public DataGeneratorForWidebandToneDetector::WBTimeEventVector
{
public:
    Timeline()
        : WBTimeEventVector("WB_SF_TONE")
    {
    }
    const std::vector<double>& times() const { return m_vEventTimes; }
};

using Times = std::vector<double>;

bool add(Timeline& io_timeline, double in_dStart, double in_dStop)
{
    return io_timeline.addEvent(Annotation("SF:1000", in_dStart, in_dStop));
}

/// The times after pairs of start and stop were added in turn; the refusal must be the last one.
Times combine(const Times& in_vPairs, bool& out_bRefused)
{
    Timeline timeline;
    out_bRefused = false;
    for (std::size_t i = 0; i < in_vPairs.size(); i += 2)
    {
        EXPECT_FALSE(out_bRefused);
        out_bRefused = !add(timeline, in_vPairs[i], in_vPairs[i + 1]);
    }
    return timeline.times();
}

} // namespace

TEST(WidebandTimelineTest, OverlapsAreCombined)
{
    const struct
    {
        const char* m_case;
        Times m_vPairs;
        Times m_vTimes;
    } TABLE[] = {
        {"Case No overlap", {1, 2, 3, 4}, {1, 2, 3, 4}},
        {"Case No overlap", {3, 4, 1, 2}, {1, 2, 3, 4}},
        {"Case No overlap", {1, 2, 2.005, 3}, {1, 2, 2.005, 3}},
        {"Case 1.1", {1, 3, 1, 3}, {}},
        {"Case 1.1", {1, 3, 1.005, 3}, {}},
        {"Case 1.1", {1, 3, 0.995, 2.995}, {}},
        {"Case 1.1", {0, 0.5, 1, 3, 1, 3, 4, 5, 4, 5}, {0, 0.5}},
        {"Case 1.2", {1, 3, 1, 2}, {2, 3}},
        {"Case 1.2", {1, 3, 0.995, 2}, {2, 3}},
        {"Case 1.3", {1, 2, 1, 3}, {2, 3}},
        {"Case 2.1", {1, 3, 2, 3}, {1, 2}},
        {"Case 2.1", {1, 3, 2, 3.005}, {1, 2}},
        {"Case 2.2", {1, 4, 2, 3}, {1, 2, 3, 4}},
        {"Case 2.2", {0, 0.5, 1, 4, 5, 6, 2, 3}, {0, 0.5, 1, 2, 3, 4, 5, 6}},
        {"Case 2.3", {1, 3, 2, 4}, {1, 2, 3, 4}},
        {"Case 2.3", {1, 3, 2, 4, 5, 6}, {1, 2, 3, 4, 5, 6}},
        // Touching: the stop of the one is the start of the other, still in progress throughout.
        {"Case 2.3", {1, 2, 2, 3}, {1, 2, 2, 3}},
        // Only the first interval that is met is combined; what results need not be in order.
        {"Case 2.3", {1, 2, 3, 4, 1.5, 3.5}, {1, 1.5, 2, 3.5, 3, 4}},
        {"Case 1.3", {1, 2, 3, 4, 0.995, 3.5}, {2, 3.5, 3, 4}},
        // A third tone of the same time is alone again.
        {"Case 1.1", {1, 2, 1, 2, 1, 2}, {1, 2}},
    };
    for (const auto& row : TABLE)
    {
        const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
        bool bRefused = true;
        EXPECT_EQ(combine(row.m_vPairs, bRefused), row.m_vTimes) << row.m_case;
        EXPECT_FALSE(bRefused) << row.m_case;
        EXPECT_TRUE(log.has(std::string("DEBUG ") + row.m_case)) << log.text();
    }
}

TEST(WidebandTimelineTest, EarlierStartIsRefused)
{
    for (const Times& vPairs : {Times{2, 3, 1, 2.5}, Times{2, 3, 1, 4}, Times{2, 3, 4, 5, 1, 4.5}})
    {
        Testing::AssertionCapture assertions;
        bool bRefused = false;
        combine(vPairs, bRefused);
        EXPECT_TRUE(bRefused);
        EXPECT_THAT(assertions.conditions(), ElementsAre("false"));
    }
}

TEST(WidebandTimelineTest, StepsAreTold)
{
    Timeline timeline;
    ASSERT_TRUE(add(timeline, 1, 3));
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    ASSERT_TRUE(add(timeline, 2, 4));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            "DEBUG Time vector entering addEvent_i: \n\tTime event 0 : 1s : ON\n\tTime event 1 : 3s : OFF",
            "DEBUG Existing: (1 - 3)  New: 2 - 4)", "DEBUG Case 2.3",
            "DEBUG Time vector leaving addEvent_i: \n\tTime event 0 : 1s : ON\n\tTime event 1 : 2s : OFF"
            "\n\tTime event 2 : 3s : ON\n\tTime event 3 : 4s : OFF"));
}

TEST(WidebandTimelineTest, TimesOutOfOrderAreWalkedAsTheyStand)
{
    Timeline timeline;
    ASSERT_TRUE(add(timeline, 1, 2) && add(timeline, 3, 4) && add(timeline, 1.5, 3.5));
    // 1 on, 1.5 off, 2 on, 3.5 off, 3 on, 4 off
    EXPECT_TRUE(timeline.getTarget(1.2));
    EXPECT_FALSE(timeline.getTarget(1.7));
    EXPECT_TRUE(timeline.getTarget(3.2));
    EXPECT_TRUE(timeline.getTarget(3.6)) << "3.5 and 3 are reached together";
    EXPECT_FALSE(timeline.getTarget(4.1));
}

TEST(DataGeneratorForWidebandToneDetectorTest, TargetsFollowTheTones)
{
    const struct
    {
        const char* m_name;
        StringVector m_vClasses;
        std::vector<WavRegion> m_vRegions;
        const char* m_targets; ///< empty: refused
    } TABLE[] = {
        // [400, 560) samples are [0.05, 0.07) s: the times 0.055 and 0.065.
        {"any frequency", {"WB_SF_TONE", "OTHER"}, {{400, 560, "SF:440"}}, "01 01 01 10 10 01 01 01"},
        {"labels of other kinds",
         {"WB_SF_TONE", "OTHER"},
         {{0, 800, "AM:1000:20"}, {0, 800, "WB_SF_TONE"}, {0, 800, "1000"}},
         "01 01 01 01 01 01 01 01"},
        {"other classes stay empty",
         {"SF:440", "wb_sf_tone", "OTHER"},
         {{0, 800, "SF:440"}},
         "001 001 001 001 001 001 001 001"},
        {"the tones of a dual tone cancel",
         {"WB_SF_TONE", "OTHER"},
         {{0, 800, "SF:697"}, {0, 800, "SF:1209"}},
         "01 01 01 01 01 01 01 01"},
        {"a part of a tone is overlapped",
         {"WB_SF_TONE", "OTHER"},
         {{0, 800, "SF:697"}, {400, 560, "SF:1209"}},
         "10 10 10 01 01 10 10 10"},
        {"a later cue that starts earlier", {"WB_SF_TONE"}, {{400, 560, "SF:1"}, {0, 480, "SF:2"}}, ""},
    };
    const Testing::TempDir folder;
    const Testing::AssertionCapture assertions;
    for (const auto& row : TABLE)
    {
        DataGeneratorForWidebandToneDetector generator;
        ASSERT_TRUE(generator.configure(Testing::audioConfig(row.m_vClasses)));
        const std::string strFile = folder.write("recording.wav", Testing::toneRecording(row.m_vRegions));
        const Testing::LogCapture log(LOGGER);
        const bool bSet = generator.setCurrentFilename(strFile.c_str());
        EXPECT_EQ(bSet ? Testing::readTargets(generator) : "", row.m_targets) << row.m_name;
        EXPECT_EQ(log.has("ERROR Error found parsing " + strFile + " file"), !bSet) << row.m_name;
    }
}
