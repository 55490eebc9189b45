#include "quillcast-core/ByteArchive.h"
#include "report/ConfusionMatrix.h"
#include "report/EventStatistics.h"
#include "report/ScoreBins.h"
#include "report/TestResults.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <tuple>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr double INFINITE = std::numeric_limits<double>::infinity();

/// Pairs, their distance, their distance of starts.
using Worth = std::tuple<std::int64_t, std::int64_t, std::int64_t>;

Worth weigh(const std::vector<EventMatch>& in_vMatch, const std::vector<EventInterval>& in_vReference,
            const std::vector<EventInterval>& in_vDecided)
{
    Worth worth{0, 0, 0};
    for (const EventMatch& match : in_vMatch)
    {
        const EventInterval& reference = in_vReference[match.m_uiReference];
        const EventInterval& decided = in_vDecided[match.m_uiDecided];
        const std::int64_t iStart = std::abs(reference.m_iStart - decided.m_iStart);
        --std::get<0>(worth);
        std::get<1>(worth) += iStart + std::abs(reference.m_iStop - decided.m_iStop);
        std::get<2>(worth) += iStart;
    }
    return worth;
}

/// The least worth of all choices of pairs, crossed ones too.
Worth tryAll(const std::vector<EventInterval>& in_vReference, const std::vector<EventInterval>& in_vDecided,
             std::int64_t in_iCollar)
{
    std::vector<EventMatch> vMatch;
    std::vector<bool> vTaken(in_vDecided.size(), false);
    Worth best{0, 0, 0};
    const std::function<void(std::size_t)> goOn = [&](std::size_t in_uiReference)
    {
        if (in_uiReference == in_vReference.size())
        {
            best = std::min(best, weigh(vMatch, in_vReference, in_vDecided));
            return;
        }
        goOn(in_uiReference + 1);
        for (std::size_t j = 0; j < in_vDecided.size(); ++j)
        {
            if (vTaken[j] || !isEventNear(in_vReference[in_uiReference], in_vDecided[j], in_iCollar))
                continue;
            vTaken[j] = true;
            vMatch.push_back({in_uiReference, j});
            goOn(in_uiReference + 1);
            vMatch.pop_back();
            vTaken[j] = false;
        }
    };
    goOn(0);
    return best;
}

/// Events that do not overlap, close enough to be mistaken for each other.
std::vector<EventInterval> makeEvents(std::mt19937& io_random)
{
    std::vector<EventInterval> vEvents(io_random() % 7);
    std::int64_t iTime = io_random() % 10;
    for (EventInterval& event : vEvents)
    {
        event.m_iStart = iTime;
        event.m_iStop = iTime + 1 + io_random() % 12;
        iTime = event.m_iStop + io_random() % 4;
    }
    return vEvents;
}

/// The events, each of one of three classes.
std::vector<LabelledEvent> label(const std::vector<EventInterval>& in_vEvents, std::mt19937& io_random)
{
    std::vector<LabelledEvent> vLabelled;
    for (const EventInterval& event : in_vEvents)
        vLabelled.push_back({io_random() % 3, event});
    return vLabelled;
}

} // namespace

// Rows are targets:  5 1 0
//                    2 3 0
//                    0 0 0   the third class was neither there nor decided
namespace
{

TestResults makeResults(const char* in_name, std::uint64_t in_uiErrors)
{
    TestResults results;
    results.m_vClasses = {"A", "OTHER"};
    results.m_uiBackground = 1;
    results.m_confusion = ConfusionMatrix(2);
    results.m_confusion.add(0, 1);
    results.m_events = EventStatistics(2);
    results.m_scores.add(true, 0.25);
    results.m_patterns.m_uiAll = results.m_patterns.m_uiJudged = 10;
    RecordingResult recording;
    recording.m_strName = in_name;
    recording.m_uiJudged = 10;
    recording.m_uiErrors = in_uiErrors;
    recording.m_uiRate = 8000;
    results.m_vRecordings = {recording};
    RecordingTimeline timeline;
    timeline.m_traces = RecordingTimeline::Traces::SCORE;
    timeline.m_timeline = Timeline(1);
    const double dScore = 0.25;
    timeline.m_timeline.add({1, 2, true}, &dScore);
    timeline.m_vLongestSpans = {{{0, 80}, 0, 1}};
    results.m_vTimelines = {timeline};
    return results;
}

} // namespace

TEST(TestResultsTest, PartsAddUp)
{
    TestResults whole;
    for (const auto& [name, uiErrors] : {std::pair("a", 2), {"b", 5}, {"c", 2}})
        ASSERT_TRUE(whole.append(makeResults(name, static_cast<std::uint64_t>(uiErrors)), 2));
    EXPECT_EQ(whole.m_patterns.m_uiAll, 30u);
    EXPECT_EQ(whole.m_confusion.getCount(0, 1), 3u);
    EXPECT_EQ(whole.m_scores.getNbPositive(), 3u);
    ASSERT_EQ(whole.m_vTimelines.size(), 2u) << "the worst, of equal ones the first";
    EXPECT_EQ(whole.m_vTimelines[0].m_uiRecording, 1u);
    EXPECT_EQ(whole.m_vTimelines[1].m_uiRecording, 0u);
    TestResults other = makeResults("d", 1);
    other.m_vClasses = {"A", "B"};
    EXPECT_FALSE(whole.append(other, 2));
    EXPECT_EQ(whole.m_vRecordings.size(), 3u);
}

TEST(TestResultsTest, OnlyTheirBytesAreTaken)
{
    ByteWriter writer;
    writer(makeResults("a", 2));
    std::string strBytes = writer.getBytes();
    const auto read = [](const std::string& in_strBytes)
    {
        ByteReader reader(in_strBytes);
        TestResults results;
        reader(results);
        return reader.isAtEnd() && TestResults().append(std::move(results), 10);
    };
    EXPECT_TRUE(read(strBytes));
    for (std::size_t uiSize = 0; uiSize < strBytes.size(); uiSize += 991)
        EXPECT_FALSE(read(strBytes.substr(0, uiSize))) << uiSize;
    EXPECT_FALSE(read(strBytes + '\0'));
    // Any byte may be another one: nothing is read beyond what is there.
    for (std::size_t i = 0; i < strBytes.size(); i += i < 300 || i + 300 > strBytes.size() ? 1 : 977)
        for (const int iBit : {0, 7})
        {
            strBytes[i] = static_cast<char>(strBytes[i] ^ (1 << iBit));
            read(strBytes);
            strBytes[i] = static_cast<char>(strBytes[i] ^ (1 << iBit));
        }
}

TEST(ConfusionMatrixTest, SharesAndTheirDenominators)
{
    ConfusionMatrix matrix(3);
    const int COUNTS[2][2] = {{5, 1}, {2, 3}};
    for (std::size_t i = 0; i < 2; ++i)
        for (std::size_t j = 0; j < 2; ++j)
            for (int k = 0; k < COUNTS[i][j]; ++k)
                matrix.add(i, j);
    EXPECT_EQ(matrix.getAccuracy(), (Ratio{8, 11}));
    EXPECT_EQ(matrix.getPrecision(0), (Ratio{5, 7}));
    EXPECT_EQ(matrix.getRecall(0), (Ratio{5, 6}));
    EXPECT_EQ(matrix.getF1(0), (Ratio{10, 13}));
    EXPECT_EQ(matrix.getPrecision(1), (Ratio{3, 4}));
    EXPECT_EQ(matrix.getRecall(1), (Ratio{3, 5}));
    EXPECT_EQ(matrix.getRecall(2).getValue(), std::nullopt);
    EXPECT_EQ(matrix.getF1(2).getValue(), std::nullopt);

    ConfusionMatrix sum;
    EXPECT_TRUE(sum.merge(matrix));
    EXPECT_TRUE(sum.merge(matrix));
    EXPECT_FALSE(sum.merge(ConfusionMatrix(2)));
    EXPECT_EQ(sum.getRecall(0), (Ratio{10, 12}));
}

TEST(ScoreBinsTest, EveryScoreReachesTheEdgeOfItsBinAndNoGreaterOne)
{
    for (const double dScore : {-INFINITE, -1e12, -3.7, -1.0, -0.99999, -1.0 / 2048, -1e-300, -0.0, 0.0,
                                1e-300, 1.0 / 2048, 0.5, 0.99999, 1.0, 1.3, 2.0, 1e12, INFINITE})
    {
        ScoreBins bins;
        bins.add(true, dScore);
        const std::vector<ScoreBins::Point> vCurve = bins.getCurve();
        for (std::size_t i = 1; i < vCurve.size(); ++i) // nothing reaches the first one
            EXPECT_EQ(vCurve[i].m_uiMisses, dScore >= vCurve[i].m_dThreshold ? 0u : 1u)
                << dScore << " at " << vCurve[i].m_dThreshold;
        EXPECT_EQ(vCurve.back().m_uiMisses, 0u) << dScore;
    }
}

// Each curve is held against counting the scores themselves, and the area against all pairs.
TEST(ScoreBinsTest, CurveIsExactAndTheAreaWithinItsError)
{
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    for (const double dSpread : {0.001, 0.3, 40.0})
    {
        std::vector<double> vScore[2];
        ScoreBins bins;
        ScoreBins halves[2];
        for (int i = 0; i < 600; ++i)
        {
            const double dScore = dSpread * (normal(random) + (i % 3 == 0 ? 1.0 : 0.0));
            vScore[i % 3 == 0].push_back(dScore);
            bins.add(i % 3 == 0, dScore);
            halves[i % 2].add(i % 3 == 0, dScore);
        }
        bins.add(true, std::nan(""));
        EXPECT_EQ(bins.getNbNotANumber(), 1u);
        EXPECT_EQ(bins.getNbPositive(), 200u);

        const auto countReaching = [&](bool in_bPositive, double in_dThreshold)
        {
            return std::count_if(vScore[in_bPositive].begin(), vScore[in_bPositive].end(),
                                 [=](double in_dScore) { return in_dScore >= in_dThreshold; });
        };
        bool bHasZero = false;
        for (const ScoreBins::Point& point : bins.getCurve())
        {
            EXPECT_EQ(point.m_uiFalseAlarms, countReaching(false, point.m_dThreshold));
            EXPECT_EQ(point.m_uiMisses, 200 - countReaching(true, point.m_dThreshold));
            bHasZero = bHasZero || point.m_dThreshold == 0.0;
        }
        EXPECT_TRUE(bHasZero);
        EXPECT_EQ(bins.getCurve().back().m_uiFalseAlarms, 400u);

        double dPairs = 0.0;
        for (const double dPositive : vScore[1])
            dPairs += static_cast<double>(std::count_if(vScore[0].begin(), vScore[0].end(),
                                                        [=](double in_d) { return in_d < dPositive; }));
        const AreaUnderCurve::Area area = bins.getArea();
        EXPECT_NEAR(area.m_dValue, dPairs / (200.0 * 400.0), area.m_dError);
        EXPECT_LT(area.m_dError, dSpread == 0.001 ? 0.2 : 0.01);

        halves[0].merge(halves[1]);
        EXPECT_EQ(halves[0].getArea().m_dValue, area.m_dValue);
    }
}

// Positive scores 0.5 and -0.5, negative ones 0.25 and -1: at 0.25 half of either is wrong.
TEST(ScoreBinsTest, EqualErrorIsWhereTheSharesMeet)
{
    ScoreBins bins;
    bins.add(true, 0.5);
    bins.add(true, -0.5);
    bins.add(false, 0.25);
    bins.add(false, -1.0);
    const std::vector<ScoreBins::Point> vCurve = bins.getCurve();
    const ScoreBins::Point& point = findEqualError(vCurve, bins);
    EXPECT_EQ(point.m_dThreshold, 0.25);
    EXPECT_EQ(point.m_uiFalseAlarms, 1u);
    EXPECT_EQ(point.m_uiMisses, 1u);
}

TEST(EventMatchingTest, AsGoodAsTheBestOfAllChoices)
{
    std::mt19937 random(2);
    std::size_t uiPairs = 0;
    for (int i = 0; i < 20000; ++i)
    {
        const std::vector<EventInterval> vReference = makeEvents(random);
        const std::vector<EventInterval> vDecided = makeEvents(random);
        const std::int64_t iCollar = random() % 9;
        const std::vector<EventMatch> vMatch = matchEvents(vReference, vDecided, iCollar);
        uiPairs += vMatch.size();
        for (std::size_t j = 0; j < vMatch.size(); ++j)
        {
            ASSERT_TRUE(
                isEventNear(vReference[vMatch[j].m_uiReference], vDecided[vMatch[j].m_uiDecided], iCollar));
            ASSERT_TRUE(j == 0 || (vMatch[j - 1].m_uiReference < vMatch[j].m_uiReference &&
                                   vMatch[j - 1].m_uiDecided < vMatch[j].m_uiDecided));
        }
        ASSERT_EQ(weigh(vMatch, vReference, vDecided), tryAll(vReference, vDecided, iCollar))
            << "round " << i;
    }
    EXPECT_GT(uiPairs, 10000u);
}

// At 1000 Hz the collar is 200 samples on either side; a long event may end later by half its length.
TEST(EventMatchingTest, TheCollarIncludesItsEnds)
{
    struct Row
    {
        const char* m_name;
        EventInterval m_decided;
        bool m_bNear;
    };
    const EventInterval reference{1000, 1600};
    const Row ROWS[] = {{"start at the edge", {1200, 1600}, true},
                        {"start after it", {1201, 1600}, false},
                        {"early start", {800, 1600}, true},
                        {"too early", {799, 1600}, false},
                        {"stop at half the length", {1000, 1900}, true},
                        {"after that", {1000, 1901}, false}};
    for (const Row& row : ROWS)
        EXPECT_EQ(isEventNear(reference, row.m_decided, 200), row.m_bNear) << row.m_name;
    EXPECT_FALSE(isEventNear({0, 100}, {0, 301}, 200));
    EXPECT_TRUE(isEventNear({0, 101}, {0, 301}, 200));
}

// Reference  a [0,1000) b [2000,3000) a [4000,5000)
// Decided    a [100,900) a [2100,3050)              b [9000,9500)
//            hit          substitution  deletion     insertion
TEST(EventStatisticsTest, KindsOfErrorsAndLags)
{
    EventStatistics statistics(2);
    const std::vector<LabelledEvent> vReference{{0, {0, 1000}}, {1, {2000, 3000}}, {0, {4000, 5000}}};
    const std::vector<LabelledEvent> vDecided{{0, {100, 900}}, {0, {2100, 3050}}, {1, {9000, 9500}}};
    statistics.addRecording(vReference, vDecided, 1000);
    EXPECT_EQ(statistics.getTotal().m_uiHits, 1u);
    EXPECT_EQ(statistics.getNbSubstitutions(), 1u);
    EXPECT_EQ(statistics.getNbDeletions(), 1u);
    EXPECT_EQ(statistics.getNbInsertions(), 1u);
    EXPECT_EQ(statistics.getClasses()[0].m_uiReference, 2u);
    EXPECT_EQ(statistics.getClasses()[1].m_uiDecided, 1u);
    EXPECT_DOUBLE_EQ(statistics.getOnsetLag().getMean(), 0.1);
    EXPECT_DOUBLE_EQ(statistics.getOffsetLag().getMean(), -0.1);
    EXPECT_DOUBLE_EQ(statistics.getOffsetLag().getMeanAbsolute(), 0.1);

    // A second recording, 20 samples late at 2000 Hz: 0.01 s. Mean (0.1 + 0.01) / 2, deviation 0.045.
    EventStatistics other(2);
    other.addRecording({{1, {0, 400}}}, {{1, {20, 400}}}, 2000);
    EXPECT_TRUE(statistics.merge(other));
    EXPECT_EQ(statistics.getTotal().m_uiHits, 2u);
    EXPECT_DOUBLE_EQ(statistics.getOnsetLag().getMean(), 0.055);
    EXPECT_NEAR(statistics.getOnsetLag().getDeviation(), 0.045, 1e-12);
    EXPECT_EQ(statistics.getOnsetLag().m_dMin, 0.01);
    EXPECT_FALSE(statistics.merge(EventStatistics(3)));
}

// Whatever the events, none is counted twice or lost.
TEST(EventStatisticsTest, CountsAddUp)
{
    std::mt19937 random(3);
    for (int i = 0; i < 2000; ++i)
    {
        EventStatistics statistics(3);
        const std::vector<LabelledEvent> vReference = label(makeEvents(random), random);
        const std::vector<LabelledEvent> vDecided = label(makeEvents(random), random);
        statistics.addRecording(vReference, vDecided, 25);
        const std::uint64_t uiPaired = statistics.getTotal().m_uiHits + statistics.getNbSubstitutions();
        ASSERT_EQ(uiPaired + statistics.getNbDeletions(), vReference.size());
        ASSERT_EQ(uiPaired + statistics.getNbInsertions(), vDecided.size());
        ASSERT_EQ(statistics.getOnsetLag().m_uiCount, statistics.getTotal().m_uiHits);
    }
}

TEST(EventTrackerTest, WindowsThatFollowEachOtherAreOneEvent)
{
    EventTracker tracker;
    tracker.add(1, {0, 80});
    tracker.add(1, {80, 160});
    tracker.add(0, {160, 240});
    tracker.add(0, {320, 400}); // one window is missing
    ASSERT_EQ(tracker.getEvents().size(), 3u);
    EXPECT_EQ(tracker.getEvents()[0].m_interval.m_iStop, 160);
    EXPECT_EQ(tracker.getEvents()[2].m_interval.m_iStart, 320);
}
