#include "labels/SpanDecider.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <tuple>

using namespace Vexalor;

namespace
{

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

using Outputs = std::vector<std::vector<double>>; ///< of each window, of each class

struct Windows
{
    std::uint64_t m_uiLength;
    std::uint64_t m_uiShift;
};

std::vector<DecidedSpan> run(const DecisionRule& in_rule, const Windows& in_windows,
                             const Outputs& in_vOutputs)
{
    std::vector<DecidedSpan> vSpans;
    SpanDecider decider(in_rule, in_vOutputs.front().size(), in_windows.m_uiShift);
    for (std::size_t i = 0; i < in_vOutputs.size(); ++i)
        decider.add(in_vOutputs[i].data(), in_windows.m_uiLength + i * in_windows.m_uiShift, vSpans);
    decider.end(vSpans);
    return vSpans;
}

bool isFirst(const std::vector<DecidedSpan>& in_vSpans, std::size_t in_uiClass)
{
    return in_vSpans.empty() || in_vSpans.back().m_uiClass != in_uiClass;
}

/// By the words of the rule: each sample is marked, gaps are filled, short stretches wiped out.
std::vector<DecidedSpan> model(const DecisionRule& in_rule, const Windows& in_windows,
                               const Outputs& in_vOutputs)
{
    std::vector<DecidedSpan> vSpans;
    const std::size_t uiSamples = in_windows.m_uiLength + in_vOutputs.size() * in_windows.m_uiShift;
    for (std::size_t uiClass = 0; uiClass < in_vOutputs.front().size(); ++uiClass)
    {
        std::vector<bool> vMarked(uiSamples);
        bool bOn = false;
        for (std::size_t i = 0; i < in_vOutputs.size(); ++i)
        {
            const double dOwn = in_vOutputs[i][uiClass];
            if (in_rule.m_threshold)
                bOn = bOn ? dOwn >= in_rule.m_dLowThreshold : dOwn >= *in_rule.m_threshold;
            else
            {
                bOn = dOwn == dOwn;
                for (std::size_t j = 0; j < in_vOutputs[i].size(); ++j)
                    if (in_vOutputs[i][j] > dOwn || (j < uiClass && in_vOutputs[i][j] == dOwn))
                        bOn = false;
            }
            const std::uint64_t uiEnd = in_windows.m_uiLength + i * in_windows.m_uiShift;
            for (std::uint64_t k = uiEnd < in_windows.m_uiShift ? 0 : uiEnd - in_windows.m_uiShift; k < uiEnd;
                 ++k)
                vMarked[k] = vMarked[k] || bOn;
        }
        const auto wipe = [&](bool in_bValue, std::uint64_t in_uiShortest, bool in_bInside)
        {
            for (std::size_t uiBegin = 0; uiBegin < uiSamples;)
            {
                std::size_t uiEnd = uiBegin;
                while (uiEnd < uiSamples && vMarked[uiEnd] == vMarked[uiBegin])
                    ++uiEnd;
                if (vMarked[uiBegin] == in_bValue && uiEnd - uiBegin < in_uiShortest &&
                    (!in_bInside || (uiBegin > 0 && uiEnd < uiSamples)))
                    std::fill(vMarked.begin() + std::ptrdiff_t(uiBegin),
                              vMarked.begin() + std::ptrdiff_t(uiEnd), !in_bValue);
                uiBegin = uiEnd;
            }
        };
        wipe(false, in_rule.m_uiMinGap, true);
        wipe(true, in_rule.m_uiMinDuration, false);
        std::uint64_t uiGap = uiSamples;
        for (std::size_t i = 0; i < uiSamples;)
        {
            const std::size_t uiBegin = i;
            while (i < uiSamples && vMarked[i] == vMarked[uiBegin])
                ++i;
            // Of a single window: a sample later.
            if (vMarked[uiBegin])
                vSpans.push_back(
                    {uiClass, uiBegin + (uiGap == in_windows.m_uiShift && !isFirst(vSpans, uiClass) ? 1 : 0),
                     i + (i - uiBegin <= in_windows.m_uiShift ? 1 : 0)});
            uiGap = i - uiBegin;
        }
    }
    return vSpans;
}

} // namespace

TEST(SpanDecider, AgreesWithTheModel)
{
    std::mt19937 random(7);
    const auto choose = [&](std::uint64_t in_uiMost)
    {
        return random() % (in_uiMost + 1);
    };
    for (int i = 0; i < 2000; ++i)
    {
        const Windows windows{1 + choose(8), 1 + choose(5)};
        DecisionRule rule;
        if (choose(2) != 0)
        {
            rule.m_threshold = 0.5 + 0.125 * double(choose(3));
            rule.m_dLowThreshold = *rule.m_threshold - 0.125 * double(choose(4));
        }
        rule.m_uiMinGap = choose(1) * choose(20);
        rule.m_uiMinDuration = choose(1) * choose(20);
        Outputs vOutputs(1 + choose(40), std::vector<double>(1 + choose(3)));
        for (std::vector<double>& vWindow : vOutputs)
            for (double& dOutput : vWindow)
                dOutput = choose(15) == 0 ? NOT_A_NUMBER : double(choose(8)) / 8.0;
        std::vector<DecidedSpan> vSpans = run(rule, windows, vOutputs);
        std::stable_sort(vSpans.begin(), vSpans.end(),
                         [](const DecidedSpan& in_left, const DecidedSpan& in_right)
                         { return in_left.m_uiClass < in_right.m_uiClass; });
        ASSERT_EQ(vSpans, model(rule, windows, vOutputs)) << i;
    }
}

// Windows of 200 samples every 80: the first decision holds from 120 on, a sample longer for being alone.
TEST(SpanDecider, ASpanIsDeliveredAsSoonAsItIsCertain)
{
    const std::tuple<const char*, std::uint64_t, std::uint64_t> CASES[] = {
        {"no gap is bridged: the first window after it", 0, 280},
        {"a gap as long as a shift is not bridged", 80, 280},
        {"a gap of one shift is bridged, one of two is not", 81, 360}};
    for (const auto& [name, uiMinGap, uiCertain] : CASES)
    {
        SpanDecider decider({0.5, 0.5, uiMinGap, 0}, 1, 80);
        std::vector<DecidedSpan> vSpans;
        std::uint64_t uiEnd = 200;
        double dOutput = 1.0;
        for (decider.add(&dOutput, uiEnd, vSpans); vSpans.empty() && uiEnd < 1000;)
        {
            dOutput = 0.0;
            decider.add(&dOutput, uiEnd += 80, vSpans);
        }
        EXPECT_EQ(uiEnd, uiCertain) << name;
        EXPECT_EQ(vSpans, (std::vector<DecidedSpan>{{0, 120, 201}})) << name;
    }
}
