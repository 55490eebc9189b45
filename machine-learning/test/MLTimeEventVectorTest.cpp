#include "MLTimeEventVector.h"
#include "TestPrelude.h"
#include "quillcast-audio/Annotation.h"

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.AudioFileDataGenerator";

using Interval = std::pair<double, double>;

bool add(TimeEventVector& io_events, const Interval& in_interval)
{
    return io_events.addEvent(Annotation("label", in_interval.first, in_interval.second));
}

} // namespace

TEST(TimeEventVectorTest, OverlapsAreRefused)
{
    // Intervals that are taken, then one, and whether it is taken.
    const std::tuple<const char*, std::vector<Interval>, Interval, bool> TABLE[] = {
        {"apart", {{1, 2}}, {3, 4}, true},
        {"before", {{3, 4}}, {1, 2}, true},
        {"between", {{1, 2}, {5, 6}}, {3, 4}, true},
        {"start equals an existing stop", {{1, 2}}, {2, 3}, false},
        {"stop equals an existing start", {{2, 3}}, {1, 2}, true},
        {"inside", {{1, 4}}, {2, 3}, false},
        {"around", {{2, 3}}, {1, 4}, false},
        {"over a start", {{2, 4}}, {1, 3}, false},
        {"over a stop", {{1, 3}}, {2, 4}, false},
        {"the same start", {{1, 3}}, {1, 2}, false},
        {"over several", {{1, 2}, {3, 4}, {5, 6}}, {0.5, 5.5}, false},
        {"empty interval apart", {{1, 2}}, {3, 3}, true},
        {"empty interval inside", {{1, 3}}, {2, 2}, false},
    };
    const LogCapture log(LOGGER);
    for (const auto& [name, vTaken, last, bTaken] : TABLE)
    {
        TimeEventVector events("TONE");
        for (const Interval& interval : vTaken)
            ASSERT_TRUE(add(events, interval)) << name;
        EXPECT_EQ(add(events, last), bTaken) << name;
        EXPECT_EQ(events.empty(), !bTaken) << name;
    }
    EXPECT_EQ(log.count("ERROR Annotations for TONE overlap"), 8u) << log.text();
    TimeEventVector events("TONE");
    EXPECT_FALSE(add(events, {2.5, 1.5}));
    EXPECT_EQ(log.lines().back(),
              "ERROR One of the annotations for TONE has a start time greater than its stop "
              "time. Start time: 2.5s. Stop time: 1.5s");
}

TEST(TimeEventVectorTest, TextIsInTheOrderOfTime)
{
    TimeEventVector events("TONE");
    ASSERT_TRUE(add(events, {3, 4}) && add(events, {1.25, 2}));
    EXPECT_EQ(toText(events), "\n\tTime event 0 : 1.25s : ON\n\tTime event 1 : 2s : OFF"
                              "\n\tTime event 2 : 3s : ON\n\tTime event 3 : 4s : OFF");
    EXPECT_STREQ(events.getEventName(), "TONE");
}

TEST(TimeEventVectorTest, WalkGoesForwardAndStartsAgain)
{
    TimeEventVector events("TONE");
    ASSERT_TRUE(add(events, {1, 2}) && add(events, {3, 3.001}) && add(events, {5, 6}));
    for (int iPass = 0; iPass < 2; ++iPass)
    {
        EXPECT_FALSE(events.getTarget(1.0)) << "an event time is reached when it is exceeded";
        EXPECT_FALSE(events.getTarget(1.0 + 0.9e-6));
        EXPECT_TRUE(events.getTarget(1.0 + 1.1e-6));
        EXPECT_TRUE(events.getTarget(2.0));
        EXPECT_FALSE(events.getTarget(2.1));
        EXPECT_FALSE(events.getTarget(3.01)) << "an event shorter than a step is not seen";
        EXPECT_TRUE(events.getTarget(5.5));
        EXPECT_FALSE(events.getTarget(100));
        EXPECT_FALSE(events.getTarget(5.5)) << "there is no way back";
        events.reset();
    }
    EXPECT_FALSE(events.getTarget(0.5));
    EXPECT_TRUE(events.getTarget(5.0)) << "after the first step an event time counts when it is reached";
}

TEST(TimeEventVectorTest, EventsThatNoStepSees)
{
    TimeEventVector events("TONE");
    for (const Interval& interval : {Interval{1, 1.2}, {1.4, 1.6}, {2, 4}, {4.5, 4.6}, {8, 9}, {10, 11}})
        ASSERT_TRUE(add(events, interval));
    EXPECT_EQ(events.getEventCount(), 6u);
    for (int iPass = 0; iPass < 2; ++iPass)
    {
        EXPECT_EQ(events.countUnseenEvents(), 6u);
        // Over two at once; into one; out of it and over the next; into one, where the pass ends.
        std::vector<std::size_t> vUnseen;
        for (const double dTime : {1.8, 3.0, 5.0, 8.5})
        {
            events.getTarget(dTime);
            vUnseen.push_back(events.countUnseenEvents());
        }
        EXPECT_THAT(vUnseen, ElementsAre(6u, 5u, 5u, 4u));
        events.reset();
    }
}

TEST(TimeEventVectorTest, TransitionsLieStrictlyWithin)
{
    TimeEventVector events("TONE");
    ASSERT_TRUE(add(events, {1, 2}));
    EXPECT_TRUE(events.isTransitionWindow(0.9, 1.1));
    EXPECT_TRUE(events.isTransitionWindow(1.9, 2.1));
    EXPECT_FALSE(events.isTransitionWindow(1.0, 1.5));
    EXPECT_FALSE(events.isTransitionWindow(1.5, 2.0));
    EXPECT_FALSE(events.isTransitionWindow(2.5, 9.0));
}
