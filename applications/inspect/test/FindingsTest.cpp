#include "inspect/DataFindings.h"

#include <functional>
#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::uint64_t LEAST_PATTERNS = 20;

/// Three recordings of VOICE and OTHER, with nothing to find fault with.
DataFacts goodFacts()
{
    DataFacts facts;
    facts.m_survey.m_vListed = facts.m_survey.m_vUsable = {"a.wav", "b.wav", "c.wav"};
    facts.m_survey.m_labels["voice"] = {4, 1.5, true};
    facts.m_survey.m_rates[8000] = {3, "a.wav"};
    facts.m_vClasses.resize(2);
    facts.m_vClasses[0].m_strClass = "VOICE";
    facts.m_vClasses[1].m_strClass = "OTHER";
    facts.m_vClasses[0].m_uiEvents = 4;
    for (auto& row : facts.m_vClasses)
        row.m_uiPatterns = 100;
    facts.m_uiPatterns = 200;
    facts.m_uiInputs = 5;
    facts.m_vFeatureRates = {8000.0};
    return facts;
}

struct Case
{
    std::function<void(DataFacts&)> m_change;
    std::vector<std::string> m_vFindings;
};

std::vector<std::string> findIn(const Case& in_case)
{
    DataFacts facts = goodFacts();
    in_case.m_change(facts);
    std::vector<std::string> vTexts;
    for (const Finding& finding : findProblems(facts, LEAST_PATTERNS))
        vTexts.push_back(toText(finding.m_severity) + (": " + finding.m_strText));
    return vTexts;
}

/// As the classes of the configuration are, with all patterns in the last one.
void setClasses(DataFacts& io_facts, const StringVector& in_vClasses)
{
    io_facts.m_vClasses.assign(in_vClasses.size(), {});
    for (std::size_t i = 0; i < in_vClasses.size(); ++i)
        io_facts.m_vClasses[i].m_strClass = in_vClasses[i];
    io_facts.m_vClasses.back().m_uiPatterns = io_facts.m_uiPatterns;
}

} // namespace

TEST(DataFindingsTest, Classes)
{
    const Case CASES[] = {
        {[](DataFacts&) {}, {}},
        {[](DataFacts& io)
         {
             setClasses(io, {"VOIZE", "OTHER"});
             io.m_survey.m_labels["voice"].m_bTaken = false;
         },
         {"error: VOIZE: 0 patterns; did you mean voice?",
          "warning: no class takes the label 'voice' (4 annotations, 1.5 s); did you mean VOIZE?"}},
        {[](DataFacts& io) {
             setClasses(io, {"MUSIC", "OTHER"});
         },
         {"error: MUSIC: 0 patterns; there are annotations voice"}},
        {[](DataFacts& io)
         {
             setClasses(io, {"MUSIC", "OTHER"});
             io.m_survey.m_labels.clear();
         },
         {"error: MUSIC: 0 patterns; there are no annotations at all"}},
        {[](DataFacts& io)
         {
             setClasses(io, {"VOICE", "OTHER"});
             io.m_vClasses[0].m_uiEvents = 1;
             io.m_vClasses[0].m_uiUnseenEvents = 1;
         },
         {"error: VOICE: 0 patterns, though 1 annotated event"}},
        {[](DataFacts& io)
         {
             io.m_vClasses[0].m_uiUnseenEvents = 2;
             io.m_vClasses[0].m_uiPatterns = 1;
         },
         {"warning: VOICE: 1 pattern, fewer than 20",
          "note: VOICE: 2 of 4 annotated events are seen by no window"}},
        {[](DataFacts& io) {
             setClasses(io, {"OTHER", "VOICE"});
         },
         {"error: all targets are the same: there is nothing to learn",
          "warning: OTHER: 0 patterns; other classes cover everything"}},
        {[](DataFacts& io)
         {
             io.m_survey = {};
             setClasses(io, {"class 0", "class 1"});
         },
         {"error: class 0: 0 patterns"}},
        {[](DataFacts& io)
         {
             io.m_survey = {};
             setClasses(io, {"class 0"});
         },
         {"error: all targets are the same: there is nothing to learn"}},
        {[](DataFacts& io) {
             io.m_vConfiguredClasses = {"SPEECH", "VOICE", "OTHER"};
         },
         {"warning: SPEECH is left out: 0 patterns; there are annotations voice"}},
        {[](DataFacts& io) { io.m_uiSeveralClasses = 1; }, {"warning: 1 pattern of several classes at once"}},
    };
    for (const Case& testCase : CASES)
        EXPECT_EQ(findIn(testCase), testCase.m_vFindings);
}

TEST(DataFindingsTest, Recordings)
{
    const auto addLabels = [](DataFacts& io)
    {
        for (const char* label : {"OTHER", "SILENCE", "noise", "VOICE ", "VIOCE"})
            io.m_survey.m_labels[label] = {1, 2.0, false};
    };
    const Case CASES[] = {
        {addLabels,
         {"warning: no class takes the label 'VIOCE' (1 annotation, 2 s); did you mean VOICE?",
          "warning: no class takes the label 'VOICE ' (1 annotation, 2 s); did you mean VOICE?",
          "note: no class takes the labels 'SILENCE' (1 annotation, 2 s), 'noise' (1 annotation, 2 s); that "
          "time is OTHER"}},
        {[](DataFacts& io)
         {
             io.m_vClasses[1].m_strClass = "MUSIC";
             io.m_survey.m_labels["SILENCE"] = {1, 2.0, false};
         },
         {"note: no class takes the label 'SILENCE' (1 annotation, 2 s)"}},
        {[](DataFacts& io)
         {
             setClasses(io, {"SF:500", "OTHER"});
             io.m_survey.m_labels = {{"SF:510 ", {1, 2.0, false}}};
             io.m_survey.m_rates[16000] = {2, "b.wav"};
             io.m_vFeatureRates.clear();
         },
         {"error: SF:500: 0 patterns; did you mean 'SF:510 '?",
          "note: recordings of several rates: 3 of 8000 Hz, 2 of 16000 Hz",
          "note: no class takes the label 'SF:510 ' (1 annotation, 2 s); that time is OTHER"}},
        {[](DataFacts& io) { io.m_survey.m_vWithoutAnnotation = {"b.wav"}; },
         {"warning: 1 of 3 recordings without any annotation, wholly OTHER: b.wav"}},
        {[](DataFacts& io)
         {
             io.m_survey.m_vListed = {"a", "b", "a", "b", "a", "b", "a", "b", "a"};
             io.m_survey.m_vBeyond = {"h"};
             io.m_vUnchanging = {"i"};
         },
         {"warning: 7 of 9 recordings listed more than once: a, b, a, b, a and 2 more",
          "warning: 1 of 9 recordings with an annotation that reaches past the end of the recording: h",
          "warning: 1 of 9 recordings whose inputs never change: i"}},
        {[](DataFacts& io) {
             io.m_survey.m_vSkipped = {{"b.wav", "b.wav is empty"}, {"c.wav", "it is too short"}};
         },
         {"warning: skipped: b.wav is empty", "warning: skipped: c.wav: it is too short"}},
        {[](DataFacts& io) { io.m_vFeatureRates = {16000.0}; },
         {"error: the features are for 16000 Hz, but 3 recordings of 8000 Hz, the first is a.wav: "
          "frequencies "
          "are wrong there"}},
    };
    for (const Case& testCase : CASES)
        EXPECT_EQ(findIn(testCase), testCase.m_vFindings);
}

TEST(DataFindingsTest, PatternsAndInputs)
{
    const Case CASES[] = {
        {[](DataFacts& io)
         {
             io = {};
             io.m_vStops = {"set.lst: no such file"};
         },
         {"error: the data cannot be read to their end: set.lst: no such file",
          "error: there is no pattern"}},
        {[](DataFacts& io)
         {
             io = {};
             io.m_uiPatterns = io.m_uiWithoutTarget = 3;
             io.m_uiMisfits = 2;
         },
         {"error: no pattern has a target", "error: 2 patterns of other sizes than the first one"}},
        {[](DataFacts& io)
         {
             io.m_vConstantInputs = {4};
             io.m_vNotFiniteInputs = {0, 2};
             io.m_vEqualInputs = {{1, 3}};
         },
         {"error: inputs 0, 2: values that are not finite", "warning: input 4 never changes",
          "warning: inputs 1, 3 are equal in every pattern"}},
        {[](DataFacts& io) {
             io.m_vConstantInputs = {0, 1, 2, 4};
         },
         {"warning: inputs 0 to 2, 4 never change"}},
        {[](DataFacts& io) {
             io.m_vConstantInputs = {0, 1, 2, 3, 4};
         },
         {"error: no input ever changes: there is nothing to learn from"}},
    };
    for (const Case& testCase : CASES)
        EXPECT_EQ(findIn(testCase), testCase.m_vFindings);
}
