#include "report/EventMatching.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace Vexalor::MachineLearning
{

namespace
{

/// What a choice of pairs is worth.
struct Worth
{
    std::int64_t m_iPairs = 0;
    std::int64_t m_iDistance = 0;
    std::int64_t m_iStartDistance = 0;

    bool isBetterThan(const Worth& in_other) const
    {
        return std::tuple(-m_iPairs, m_iDistance, m_iStartDistance) <
               std::tuple(-in_other.m_iPairs, in_other.m_iDistance, in_other.m_iStartDistance);
    }

    Worth with(const EventInterval& in_reference, const EventInterval& in_decided) const
    {
        const std::int64_t iStart = std::abs(in_decided.m_iStart - in_reference.m_iStart);
        const std::int64_t iStop = std::abs(in_decided.m_iStop - in_reference.m_iStop);
        return {m_iPairs + 1, m_iDistance + iStart + iStop, m_iStartDistance + iStart};
    }
};

/// How the best choice came about that uses decided events up to one.
enum class Step : std::uint8_t
{
    WITHOUT_REFERENCE,
    WITHOUT_DECIDED,
    PAIR
};

/// The decided events whose starts are within the collar of a reference event, and the steps to each.
struct Window
{
    std::size_t m_uiBegin;
    std::size_t m_uiEnd;
    std::size_t m_uiSteps; ///< place of the first step
};

/// The alignment: m_vBest[j] is the best choice among the reference events so far and the first j decided
/// events; beyond the last window it is that of its end.
class Alignment
{
public:
    Alignment(const std::vector<EventInterval>& in_vReference, const std::vector<EventInterval>& in_vDecided,
              std::int64_t in_iCollar)
        : m_vReference(in_vReference)
        , m_vDecided(in_vDecided)
        , m_iCollar(in_iCollar)
        , m_vBest(in_vDecided.size() + 1)
    {
        for (const EventInterval& reference : m_vReference)
            addReference(reference);
    }

    std::vector<EventMatch> trace() const
    {
        std::vector<EventMatch> vMatch;
        std::size_t uiDecided = m_vDecided.size();
        for (std::size_t i = m_vReference.size(); i-- > 0;)
        {
            const Window& window = m_vWindow[i];
            uiDecided = std::min(uiDecided, window.m_uiEnd);
            while (uiDecided > window.m_uiBegin && getStep(window, uiDecided) == Step::WITHOUT_DECIDED)
                --uiDecided;
            if (uiDecided > window.m_uiBegin && getStep(window, uiDecided) == Step::PAIR)
                vMatch.push_back({i, --uiDecided});
        }
        std::reverse(vMatch.begin(), vMatch.end());
        return vMatch;
    }

private:
    void addReference(const EventInterval& in_reference)
    {
        Window window{m_uiBegin, m_uiEnd, m_vStep.size()};
        while (window.m_uiBegin < m_vDecided.size() &&
               m_vDecided[window.m_uiBegin].m_iStart < in_reference.m_iStart - m_iCollar)
            ++window.m_uiBegin;
        while (window.m_uiEnd < m_vDecided.size() &&
               m_vDecided[window.m_uiEnd].m_iStart <= in_reference.m_iStart + m_iCollar)
            m_vBest[++window.m_uiEnd] = m_vBest[m_uiEnd];
        m_uiBegin = window.m_uiBegin;
        m_uiEnd = window.m_uiEnd;
        m_vWindow.push_back(window);
        align(in_reference);
    }

    void align(const EventInterval& in_reference)
    {
        Worth before = m_vBest[m_uiBegin];
        for (std::size_t j = m_uiBegin; j < m_uiEnd; ++j)
        {
            Worth best = m_vBest[j + 1];
            Step step = Step::WITHOUT_REFERENCE;
            const auto consider = [&](const Worth& in_worth, Step in_step)
            {
                if (!in_worth.isBetterThan(best))
                    return;
                best = in_worth;
                step = in_step;
            };
            consider(m_vBest[j], Step::WITHOUT_DECIDED);
            if (isEventNear(in_reference, m_vDecided[j], m_iCollar))
                consider(before.with(in_reference, m_vDecided[j]), Step::PAIR);
            before = m_vBest[j + 1];
            m_vBest[j + 1] = best;
            m_vStep.push_back(step);
        }
    }

    Step getStep(const Window& in_window, std::size_t in_uiDecided) const
    {
        return m_vStep[in_window.m_uiSteps + in_uiDecided - 1 - in_window.m_uiBegin];
    }

    const std::vector<EventInterval>& m_vReference;
    const std::vector<EventInterval>& m_vDecided;
    std::int64_t m_iCollar;
    std::vector<Worth> m_vBest;
    std::vector<Window> m_vWindow; ///< a reference event each
    std::vector<Step> m_vStep;
    std::size_t m_uiBegin = 0; ///< of the last window
    std::size_t m_uiEnd = 0;
};

} // namespace

bool isEventNear(const EventInterval& in_reference, const EventInterval& in_decided, std::int64_t in_iCollar)
{
    const std::int64_t iLength = in_reference.m_iStop - in_reference.m_iStart;
    return std::abs(in_decided.m_iStart - in_reference.m_iStart) <= in_iCollar &&
           2 * std::abs(in_decided.m_iStop - in_reference.m_iStop) <= std::max(2 * in_iCollar, iLength);
}

std::vector<EventMatch> matchEvents(const std::vector<EventInterval>& in_vReference,
                                    const std::vector<EventInterval>& in_vDecided, std::int64_t in_iCollar)
{
    return Alignment(in_vReference, in_vDecided, in_iCollar).trace();
}

} // namespace Vexalor::MachineLearning
