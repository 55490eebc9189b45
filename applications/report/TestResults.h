#pragma once

#include "quillcast-core/StringVector.h"
#include "report/ConfusionMatrix.h"
#include "report/EventStatistics.h"
#include "report/ScoreBins.h"
#include "report/Timeline.h"

#include <cstdint>
#include <optional>
#include <string>
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
};

/// What was found in one recording, or in one file of patterns.
struct RecordingResult
{
    std::string m_strName;
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
};

/// Misclassified patterns that follow each other, of one class and taken for one class.
struct ErrorSpan
{
    EventInterval m_interval; ///< in samples
    std::size_t m_uiTarget = 0;
    std::size_t m_uiDecided = 0;
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
};

/// The places of the recordings, the worst first; equally bad ones in the order of the test.
std::vector<std::size_t> sortWorstFirst(const std::vector<RecordingResult>& in_vRecordings);

} // namespace Vexalor::MachineLearning
