#pragma once

#include "MLTester.h"
#include "report/PatternSource.h"
#include "report/TestResults.h"

#include <cstdint>

namespace Vexalor::MachineLearning
{

/// Gathers the results of a test, pattern by pattern. Its memory grows with the number of recordings and of
/// the events of one recording, not with that of the patterns.
///
/// Call order: (advance of the source, add)* finish getResults*.
class TestCollector
{
public:
    struct Settings
    {
        /// How many of the worst recordings are drawn.
        std::size_t m_uiTimelines = 10;
        /// In the order of the target; empty: as the generator names them.
        StringVector m_vClasses;
    };

    explicit TestCollector(Settings in_settings)
        : m_settings(std::move(in_settings))
    {
    }

    /// The current pattern of the source, whose first one of a recording is marked; a null target is none.
    void add(const PatternSource& in_source, bool in_bNewRecording, const DoubleVector& in_vOutput,
             const DoubleVector* in_pTarget);
    void finish(bool in_bComplete);
    /// For a part of a test: finishes it, hands its results out, and begins anew.
    TestResults takePart();
    /// The results of a part that follows. False for those of other classes.
    bool appendPart(TestResults in_part)
    {
        return m_results.append(std::move(in_part), m_settings.m_uiTimelines);
    }
    const TestResults& getResults() const { return m_results; }

private:
    /// What a pattern is taken for.
    struct Judgement
    {
        bool m_bJudged = false;
        std::size_t m_uiTarget = 0;
        std::size_t m_uiDecided = 0;

        bool isError() const { return m_bJudged && m_uiTarget != m_uiDecided; }
    };

    void startRecording(const PatternSource& in_source, const DoubleVector& in_vOutput);
    void finishRecording();
    void keepTimeline();
    Judgement judge(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget);
    void takeClasses(std::size_t in_uiClasses);
    void count(const Judgement& in_judgement, const DoubleVector& in_vOutput);
    void addToEvents(const Judgement& in_judgement, const EventInterval& in_interval);
    void addToTimeline(const Judgement& in_judgement, const DoubleVector& in_vOutput,
                       const DoubleVector* in_pTarget);
    void addToSpan(const Judgement& in_judgement, const EventInterval& in_interval);
    void keepSpan();

    Settings m_settings;
    TestResults m_results;
    StringVector m_vGeneratorClasses;
    bool m_bInRecording = false;
    RecordingResult m_recording;
    RecordingTimeline m_timeline;
    EventTracker m_reference;
    EventTracker m_decided;
    bool m_bInSpan = false;
    ErrorSpan m_span;
};

} // namespace Vexalor::MachineLearning
