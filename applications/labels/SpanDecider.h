#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Vexalor
{

/// How outputs become spans; stretches in samples.
struct DecisionRule
{
    /// A class begins at this output or above and ends below the low threshold; each by itself, so that
    /// several may hold at once. Without it the class of the largest output holds, the first of equals.
    std::optional<double> m_threshold;
    double m_dLowThreshold = 0.0;      ///< not above the threshold
    std::uint64_t m_uiMinGap = 0;      ///< a shorter gap between two spans of a class is bridged
    std::uint64_t m_uiMinDuration = 0; ///< a span that is shorter then is dropped
};

/// A stretch of a class, counted from 0, in samples; the stop is the first one after it.
struct DecidedSpan
{
    std::size_t m_uiClass;
    std::uint64_t m_uiStart;
    std::uint64_t m_uiStop;

    friend bool operator==(const DecidedSpan&, const DecidedSpan&) = default;
};

/// Makes spans of the outputs of successive windows. The outputs of the window that ends at sample e hold for
/// (e - shift, e], where the targets of patterns look at e: so targets that are made of the spans are the
/// decisions. For that a span of a single window stops a sample later, and one after a gap of a single window
/// starts a sample later. An output that is no number is below every threshold and largest only where none is
/// a number: then no class holds.
///
/// Call order: add* end. A span is delivered by the first window after which it can no longer change: one
/// that ends at its stop plus the least gap or later, and is not of the span. Those of one class come in the
/// order of time. Nothing is allocated for a window that delivers no span.
class SpanDecider
{
public:
    /// The shift of the windows in samples.
    SpanDecider(const DecisionRule& in_rule, std::size_t in_uiClasses, std::uint64_t in_uiShift);

    std::size_t getClassCount() const { return m_vTracks.size(); }

    /// The outputs of all classes in the window that ends before the sample in_uiEnd, a shift after the
    /// window before; appends to the spans.
    void add(const double* in_pOutputs, std::uint64_t in_uiEnd, std::vector<DecidedSpan>& io_vSpans);
    /// Delivers what is open.
    void end(std::vector<DecidedSpan>& io_vSpans);

private:
    struct Track
    {
        bool m_bOn = false;   ///< the class holds in the latest window
        bool m_bOpen = false; ///< there is a span that may still grow
        std::uint64_t m_uiStart = 0;
        std::uint64_t m_uiStop = 0;
        std::optional<std::uint64_t> m_delivered; ///< stop of the span that was delivered last
    };

    void decide(const double* in_pOutputs);
    void deliver(std::size_t in_uiClass, std::vector<DecidedSpan>& io_vSpans);

    DecisionRule m_rule;
    std::uint64_t m_uiShift;
    std::vector<Track> m_vTracks;
};

} // namespace Vexalor
