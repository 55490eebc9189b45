#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vexalor::MachineLearning
{

/// A stretch of a recording, in samples: the start belongs to it, the stop does not.
struct EventInterval
{
    std::int64_t m_iStart = 0;
    std::int64_t m_iStop = 0;
};

/// A reference event and the decided event that stands for it, by their places.
struct EventMatch
{
    std::size_t m_uiReference = 0;
    std::size_t m_uiDecided = 0;

    friend bool operator==(const EventMatch&, const EventMatch&) = default;
};

/// True when the decided event may stand for the reference event: the starts are at most in_iCollar samples
/// apart, on either side, and the stops at most as much or half the length of the reference, whichever is
/// more.
bool isEventNear(const EventInterval& in_reference, const EventInterval& in_decided, std::int64_t in_iCollar);

/// Pairs as many events as can be paired, each at most once; among these choices one whose distances between
/// starts and between stops have the least sum, and among those again one whose distances between starts
/// have. Both lists are in order of time and their events do not overlap.
///
/// Exact: where two pairs cross, the same four events can be paired in order of time with no greater sum.
/// That follows from the two conditions above and from events that do not overlap, so that an alignment in
/// order of time finds the best. The work and the memory are a small number for each decided event within
/// the collar of each reference event.
std::vector<EventMatch> matchEvents(const std::vector<EventInterval>& in_vReference,
                                    const std::vector<EventInterval>& in_vDecided, std::int64_t in_iCollar);

} // namespace Vexalor::MachineLearning
