#pragma once

#include "quillcast-core/StringVector.h"
#include "report/ConfusionMatrix.h"
#include "report/EventStatistics.h"
#include "report/ScoreBins.h"
#include "report/Timeline.h"

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// How many patterns there were of each kind. All are those that were judged and those of the five other
/// kinds.
struct PatternCounts
{
    std::uint64_t m_uiAll = 0;
    std::uint64_t m_uiJudged = 0; ///< have one class, and an output for each class
    std::uint64_t m_uiWithoutTarget = 0;
    std::uint64_t m_uiWithoutClass = 0;   ///< no component of the target is 1
    std::uint64_t m_uiSeveralClasses = 0; ///< several are
    std::uint64_t m_uiMisfits = 0;        ///< target and output differ in size, or from patterns before
    std::uint64_t m_uiNotFinite = 0;      ///< of all: an output is infinite or not a number

    void merge(const PatternCounts& in_other);

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiAll, io_self.m_uiJudged, io_self.m_uiWithoutTarget, io_self.m_uiWithoutClass,
                 io_self.m_uiSeveralClasses, io_self.m_uiMisfits, io_self.m_uiNotFinite);
    }
};

/// What was found in one recording, or in one file of patterns.
struct RecordingResult
{
    std::string m_strName;
    std::string m_strTone; ///< that was looked for, of a set of tones
    std::uint64_t m_uiPatterns = 0;
    std::uint64_t m_uiJudged = 0;
    std::uint64_t m_uiErrors = 0;     ///< of those
    std::uint64_t m_uiCompared = 0;   ///< patterns whose target and output are of one size
    double m_dSquareError = 0.0;      ///< sum of the mean square errors of those
    std::uint32_t m_uiRate = 0;       ///< Hz; 0: no recording
    std::uint64_t m_uiShift = 0;      ///< of the windows, in samples
    std::uint64_t m_uiErrorSpans = 0; ///< misclassified patterns that follow each other are a span

    Ratio getErrorRate() const { return {m_uiErrors, m_uiJudged}; }
    /// None of nothing.
    std::optional<double> getMeanSquareError() const;
    /// By error rate; by mean square error where no pattern has a class.
    bool isWorseThan(const RecordingResult& in_other) const;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_strName, io_self.m_strTone, io_self.m_uiPatterns, io_self.m_uiJudged,
                 io_self.m_uiErrors, io_self.m_uiCompared, io_self.m_dSquareError, io_self.m_uiRate,
                 io_self.m_uiShift, io_self.m_uiErrorSpans);
    }
};

/// Misclassified patterns that follow each other, of one class and taken for one class.
struct ErrorSpan
{
    EventInterval m_interval; ///< in samples
    std::size_t m_uiTarget = 0;
    std::size_t m_uiDecided = 0;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_interval.m_iStart, io_self.m_interval.m_iStop, io_self.m_uiTarget,
                 io_self.m_uiDecided);
    }
};

/// A recording that is drawn.
struct RecordingTimeline
{
    static constexpr std::size_t MAX_SPANS = 5;

    /// What its traces are.
    enum class Traces
    {
        OUTPUTS, ///< each of them
        SCORE,   ///< of two outputs, the first one less the second one
        GREATEST ///< of many outputs the one that decides
    };

    std::size_t m_uiRecording = 0; ///< its place among the results
    int m_iChannel = 0;
    std::int64_t m_iStart = 0; ///< sample where the first column begins
    Traces m_traces = Traces::OUTPUTS;
    Timeline m_timeline;
    std::vector<ErrorSpan> m_vLongestSpans; ///< the longest first

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiRecording, io_self.m_iChannel, io_self.m_iStart, io_self.m_traces,
                 io_self.m_timeline, io_self.m_vLongestSpans);
    }
};

/// Everything that is known after a test.
struct TestResults
{
    bool m_bComplete = false; ///< the test went to the end of the data
    PatternCounts m_patterns;
    StringVector m_vClasses;                     ///< their names
    std::optional<std::size_t> m_uiBackground;   ///< the class that has no events
    ConfusionMatrix m_confusion;                 ///< 0 classes: no pattern was judged
    ScoreBins m_scores;                          ///< of two classes
    EventStatistics m_events;                    ///< of recordings
    std::vector<RecordingResult> m_vRecordings;  ///< in the order of the test
    std::vector<RecordingTimeline> m_vTimelines; ///< of the worst ones, the worst first

    /// Adds the results of the recordings that follow; keeps so many timelines. Results of all parts of a
    /// test add up to those of the whole. False, with nothing changed, for other classes.
    bool append(TestResults in_next, std::size_t in_uiTimelines);

    /// As ByteWriter and ByteReader take it.
    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_bComplete, io_self.m_patterns, io_self.m_vClasses, io_self.m_uiBackground,
                 io_self.m_confusion, io_self.m_scores, io_self.m_events, io_self.m_vRecordings,
                 io_self.m_vTimelines);
        if constexpr (!std::is_const_v<Self>)
            if (!io_self.isConsistent())
                io_bytes.fail();
    }

private:
    bool isConsistent() const;
};

/// The places of the recordings, the worst first; equally bad ones in the order of the test.
std::vector<std::size_t> sortWorstFirst(const std::vector<RecordingResult>& in_vRecordings);

} // namespace Vexalor::MachineLearning
