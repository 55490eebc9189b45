#include "inspect/InputStatistics.h"
#include "inspect/InspectionShare.h"
#include "inspect/NearestName.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <random>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;

namespace
{

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

using Classes = std::vector<std::size_t>;

struct Pattern
{
    double m_dValue;
    Classes m_vClasses;
    bool m_bTarget;
};

/// Values of a kind, of two classes that overlap, one pattern in seven without target.
std::vector<Pattern> draw(const std::function<double(double, std::size_t)>& in_toValue)
{
    std::mt19937 generator(7);
    std::normal_distribution<double> normal;
    std::vector<Pattern> vPatterns;
    for (std::size_t i = 0; i < 2000; ++i)
    {
        const std::size_t uiClass = i % 3 == 0 ? 1 : 0;
        vPatterns.push_back({in_toValue(normal(generator), uiClass), {uiClass}, i % 7 != 0});
    }
    return vPatterns;
}

ValueBins toBins(const std::vector<Pattern>& in_vPatterns, std::size_t in_uiFirst, std::size_t in_uiLast)
{
    ValueBins bins(2);
    for (std::size_t i = in_uiFirst; i < in_uiLast; ++i)
        bins.add(in_vPatterns[i].m_dValue, in_vPatterns[i].m_bTarget ? &in_vPatterns[i].m_vClasses : nullptr);
    return bins;
}

/// Of all pairs.
double getArea(const std::vector<Pattern>& in_vPatterns, std::size_t in_uiClass)
{
    std::vector<double> vPositive;
    std::vector<double> vNegative;
    for (const Pattern& pattern : in_vPatterns)
        if (pattern.m_bTarget)
            (pattern.m_vClasses.front() == in_uiClass ? vPositive : vNegative).push_back(pattern.m_dValue);
    double dInOrder = 0.0;
    for (const double dPositive : vPositive)
        for (const double dNegative : vNegative)
            dInOrder += dPositive > dNegative ? 1.0 : dPositive == dNegative ? 0.5 : 0.0;
    return dInOrder / static_cast<double>(vPositive.size() * vNegative.size());
}

void expectSame(const ValueBins::Histogram& in_left, const ValueBins::Histogram& in_right)
{
    EXPECT_EQ(in_left.m_dLowerEdge, in_right.m_dLowerEdge);
    EXPECT_EQ(in_left.m_dWidth, in_right.m_dWidth);
    ASSERT_EQ(in_left.m_vColumns.size(), in_right.m_vColumns.size());
    for (std::size_t i = 0; i < in_left.m_vColumns.size(); ++i)
    {
        EXPECT_EQ(in_left.m_vColumns[i].m_uiAll, in_right.m_vColumns[i].m_uiAll);
        EXPECT_EQ(in_left.m_vColumns[i].m_vClasses, in_right.m_vColumns[i].m_vClasses);
    }
}

/// Against every value: columns count what lies in them.
void expectCounts(const ValueBins::Histogram& in_histogram, const std::vector<Pattern>& in_vPatterns)
{
    std::uint64_t uiAll = 0;
    for (std::size_t i = 0; i < in_histogram.m_vColumns.size(); ++i)
    {
        const double dLow = in_histogram.m_dLowerEdge + static_cast<double>(i) * in_histogram.m_dWidth;
        const double dHigh = dLow + in_histogram.m_dWidth;
        const auto isIn = [&](const Pattern& in_pattern)
        {
            return in_histogram.m_dWidth == 0.0 ||
                   (in_pattern.m_dValue >= dLow && in_pattern.m_dValue < dHigh);
        };
        const auto isInOfFirst = [&](const Pattern& in_pattern)
        {
            return isIn(in_pattern) && in_pattern.m_bTarget && in_pattern.m_vClasses.front() == 0;
        };
        const ValueBins::Counts& column = in_histogram.m_vColumns[i];
        EXPECT_EQ(column.m_uiAll, std::count_if(in_vPatterns.begin(), in_vPatterns.end(), isIn)) << i;
        EXPECT_EQ(column.m_vClasses[0], std::count_if(in_vPatterns.begin(), in_vPatterns.end(), isInOfFirst));
        uiAll += column.m_uiAll;
    }
    EXPECT_EQ(uiAll, in_vPatterns.size());
}

} // namespace

TEST(ValueBinsTest, AreasAndHistogramsAreThoseOfAllValues)
{
    struct Case
    {
        const char* m_name;
        std::function<double(double, std::size_t)> m_toValue;
        double m_dGreatestError;
    };
    const Case CASES[] = {
        {"around zero", [](double d, std::size_t ui) { return d + static_cast<double>(ui); }, 0.004},
        {"small differences from a large mean",
         [](double d, std::size_t ui) { return 1e6 + 1e-3 * (d + static_cast<double>(ui)); }, 0.004},
        {"energies", [](double d, std::size_t ui) { return std::exp(4.0 * (d + static_cast<double>(ui))); },
         0.004},
        {"whole numbers, each its own bin",
         [](double d, std::size_t ui) { return std::round(10.0 * d) + static_cast<double>(ui); }, 0.0},
        {"one outlier",
         [](double d, std::size_t ui) { return d > 3.0 ? 1e300 : d - static_cast<double>(ui); }, 0.004},
        {"too small for their columns",
         [](double d, std::size_t) { return d > 3.0 ? 1e300 : std::copysign(1e-300, d); }, 0.0},
        {"one value", [](double, std::size_t) { return -2.5; }, 0.0},
    };
    for (const Case& testCase : CASES)
    {
        SCOPED_TRACE(testCase.m_name);
        const std::vector<Pattern> vPatterns = draw(testCase.m_toValue);
        const ValueBins bins = toBins(vPatterns, 0, vPatterns.size());
        EXPECT_LE(bins.getNbBins(), ValueBins::MAX_BINS);
        for (const std::size_t uiClass : {0, 1})
        {
            const AreaUnderCurve::Area area = bins.getArea(uiClass);
            EXPECT_LE(area.m_dError, testCase.m_dGreatestError);
            EXPECT_NEAR(area.m_dValue, getArea(vPatterns, uiClass), area.m_dError + 1e-12);
        }
        expectCounts(bins.getHistogram(32), vPatterns);

        ValueBins joined = toBins(vPatterns, 1400, vPatterns.size());
        ASSERT_TRUE(joined.merge(toBins(vPatterns, 0, 100)));
        ASSERT_TRUE(joined.merge(toBins(vPatterns, 100, 1400)));
        EXPECT_EQ(joined.getArea(1).m_dValue, bins.getArea(1).m_dValue);
        EXPECT_EQ(joined.getArea(1).m_dError, bins.getArea(1).m_dError);
        expectSame(joined.getHistogram(32), bins.getHistogram(32));
    }
    EXPECT_FALSE(ValueBins(2).merge(ValueBins(3)));
    EXPECT_TRUE(std::isnan(ValueBins(1).getArea(0).m_dValue));
    EXPECT_TRUE(ValueBins(1).getHistogram(8).m_vColumns.empty());
}

TEST(ValueBinsTest, TheGreatestNumbersHaveColumns)
{
    ValueBins bins(0);
    const double dMost = std::numeric_limits<double>::max();
    for (const double dValue : {-dMost, -0.0, 0.0, std::numeric_limits<double>::denorm_min(), dMost})
        bins.add(dValue, nullptr);
    const ValueBins::Histogram histogram = bins.getHistogram(4);
    std::vector<std::uint64_t> vCounts;
    for (const ValueBins::Counts& column : histogram.m_vColumns)
        vCounts.push_back(column.m_uiAll);
    EXPECT_THAT(vCounts, ElementsAre(1, 0, 3, 1)) << "of 2^1023 each";
}

TEST(InputStatisticsTest, MomentsAreThoseOfTwoPasses)
{
    std::vector<double> vValues;
    std::mt19937 generator(3);
    for (int i = 0; i < 1000; ++i)
        vValues.push_back(1e9 + std::uniform_real_distribution<double>()(generator));
    double dAbove = 0.0; // differences from 1e9 are exact
    for (const double dValue : vValues)
        dAbove += dValue - 1e9;
    const double dMean = 1e9 + dAbove / 1000;
    double dSquares = 0.0;
    for (const double dValue : vValues)
        dSquares += (dValue - dMean) * (dValue - dMean);
    Moments whole;
    Moments first;
    Moments second;
    for (std::size_t i = 0; i < vValues.size(); ++i)
    {
        whole.add(vValues[i]);
        (i < 300 ? first : second).add(vValues[i]);
    }
    Moments none;
    first.merge(none);
    none.merge(first);
    none.merge(second);
    for (const Moments& moments : {whole, none})
    {
        EXPECT_EQ(moments.m_uiCount, 1000);
        EXPECT_NEAR(moments.getMean(), dMean, 1e-5);
        EXPECT_NEAR(moments.getDeviation(), std::sqrt(dSquares / 1000), 1e-7); // of digits left beside 1e9
        EXPECT_EQ(moments.m_dLeast, *std::min_element(vValues.begin(), vValues.end()));
        EXPECT_EQ(moments.m_dGreatest, *std::max_element(vValues.begin(), vValues.end()));
        EXPECT_FALSE(moments.isConstant());
    }
    EXPECT_EQ(none.getMean(), whole.getMean());
    EXPECT_EQ(none.getDeviation(), whole.getDeviation());
}

TEST(InputStatisticsTest, MomentsAreExactInAnyOrder)
{
    constexpr double MOST = std::numeric_limits<double>::max();
    constexpr double LEAST = std::numeric_limits<double>::denorm_min();
    struct Case
    {
        std::vector<double> m_vValues;
        double m_dMean;
        double m_dDeviation;
    };
    const Case CASES[] = {
        {{0.1, 0.1, 0.1}, 0.1, 0.0},
        {{MOST, MOST, MOST}, MOST, 0.0},
        {{MOST, -MOST}, 0.0, MOST},
        {{-1e300, 1.0, 1e300}, 1.0 / 3.0, 1e300 * std::sqrt(2.0 / 3.0)},
        {{1e-200, 3e-200}, 2e-200, 1e-200},
        {{LEAST, LEAST, -2 * LEAST, -2 * LEAST, -2 * LEAST}, -LEAST / 5 * 4, 1.5 * LEAST},
        {{-1.0, -2.0, -3.0, -4.0}, -2.5, std::sqrt(1.25)},
        {{}, 0.0, 0.0},
    };
    for (const Case& testCase : CASES)
    {
        SCOPED_TRACE(testing::PrintToString(testCase.m_vValues));
        Moments forwards;
        Moments backwards;
        for (std::size_t i = 0; i < 1000 * testCase.m_vValues.size(); ++i)
            forwards.add(testCase.m_vValues[i % testCase.m_vValues.size()]);
        for (std::size_t i = testCase.m_vValues.size(); i > 0; --i)
        {
            Moments part;
            for (int j = 0; j < 1000; ++j)
                part.add(testCase.m_vValues[i - 1]);
            backwards.merge(part);
        }
        EXPECT_DOUBLE_EQ(forwards.getMean(), testCase.m_dMean);
        EXPECT_DOUBLE_EQ(forwards.getDeviation(), testCase.m_dDeviation);
        EXPECT_EQ(forwards.getMean(), backwards.getMean());
        EXPECT_EQ(forwards.getDeviation(), backwards.getDeviation());
    }
}

TEST(InputStatisticsTest, InputsThatTellNothingAreFound)
{
    // input:  changes, constant, constant but for rounding, as 0, not finite, as 0 but for one value
    const auto toInput = [](int in_i)
    {
        const double d = in_i * in_i % 17;
        return DoubleVector{d,
                            5.0,
                            3.0 + 1e-15 * in_i,
                            d,
                            in_i == 4   ? NOT_A_NUMBER
                            : in_i == 5 ? INFINITE
                                        : d,
                            in_i == 19 ? d + 1e-9 : d};
    };
    InputStatistics whole(6, 1);
    InputStatistics first(6);
    InputStatistics second(6, 1);
    const Classes vOne{0};
    for (int i = 0; i < 20; ++i)
    {
        const Classes* const pClasses = i < 8 ? nullptr : &vOne;
        whole.add(toInput(i), pClasses);
        (i < 8 ? first : second).add(toInput(i), pClasses);
    }
    EXPECT_FALSE(first.append(second)) << "other classes";
    first.setClasses(1);
    ASSERT_TRUE(first.append(second));
    for (const InputStatistics& statistics : {whole, first})
    {
        EXPECT_THAT(statistics.findEqual(), ElementsAre(0, 1, 2, 0, 4, 5));
        std::vector<std::size_t> vConstant;
        for (std::size_t i = 0; i < 6; ++i)
            if (statistics.getColumns()[i].isConstant())
                vConstant.push_back(i);
        EXPECT_THAT(vConstant, ElementsAre(1, 2));
        EXPECT_EQ(statistics.getColumns()[4].m_uiNotANumber, 1);
        EXPECT_EQ(statistics.getColumns()[4].m_uiInfinite, 1);
        EXPECT_EQ(statistics.getColumns()[4].m_moments.m_uiCount, 18);
    }
}

TEST(InputStatisticsTest, MemoryOfBinsIsBounded)
{
    const std::size_t uiClasses = 100;
    const InputStatistics statistics(100'000, uiClasses);
    EXPECT_LE(statistics.getNbBinned() * ValueBins::MAX_BINS * ValueBins::getSizeOfBin(uiClasses),
              InputStatistics::MAX_BIN_BYTES);
    EXPECT_GT(statistics.getNbBinned(), 100);
}

TEST(InspectionShareTest, ContentThatNoShareHasIsRefused)
{
    InspectionShare share;
    share.m_data.m_vInputFiles = {"a.lst"};
    share.m_vFiles.resize(1);
    InspectedPart& part = share.m_vFiles[0].emplace_back();
    const auto isTaken = [&]()
    {
        return InspectionShare().append(share.toBytes());
    };
    EXPECT_TRUE(isTaken());
    EXPECT_FALSE(InspectionShare().append(share.toBytes() + 'x') || InspectionShare().append(""));
    part.m_survey.m_labels["a"] = {1, NOT_A_NUMBER, true};
    EXPECT_FALSE(isTaken());
    part.m_survey.m_labels.clear();
    part.m_statistics.add(0, "a", 1, 1e15);
    EXPECT_FALSE(isTaken());
    part.m_statistics = {};
    part.m_uiWithoutTarget = 1;
    EXPECT_FALSE(isTaken()) << "more than there are patterns";
}

TEST(NearestNameTest, FindsWhatWasMeant)
{
    struct Case
    {
        const char* m_name;
        const char* m_nearest; ///< empty: none
    };
    const StringVector NAMES{"VOICE", "SILENCE", "ABC", "1", "SF:1000"};
    for (const Case& testCase :
         {Case{"VOIZE", "VOICE"}, Case{"voic", "VOICE"}, Case{"VOCIE", "VOICE"}, Case{"VOICE ", "VOICE"},
          Case{"SILANZE", "SILENCE"}, Case{"SILANZA", ""}, Case{"2", ""}, Case{"AB", ""}, Case{"ABD", "ABC"},
          Case{"SF:1010", "SF:1000"}, Case{"", ""}, Case{"SPEECH", ""}})
        EXPECT_EQ(findNearestName(testCase.m_name, NAMES), testCase.m_nearest) << testCase.m_name;
    EXPECT_EQ(findNearestName(std::string(100'000, 'a'), {std::string(100'000, 'a')}), "") << "no text";
}
