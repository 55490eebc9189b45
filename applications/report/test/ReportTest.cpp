#include "report/OutputLog.h"
#include "report/ReportJson.h"
#include "report/ReportPage.h"
#include "report/ReportSummary.h"
#include "report/ReportText.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <nlohmann/json.hpp>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Json = nlohmann::ordered_json;
using testing::HasSubstr;
using testing::Not;

namespace
{

/// Two recordings of one pattern each, of classes and names that a page must not take for markup.
TestResults makeResults(const std::string& in_strName)
{
    TestResults results;
    results.m_bComplete = true;
    results.m_vClasses = {in_strName, "b"};
    results.m_confusion = ConfusionMatrix(2);
    results.m_confusion.add(0, 1);
    results.m_events = EventStatistics(2);
    results.m_patterns.m_uiAll = results.m_patterns.m_uiJudged = 1;
    RecordingResult recording;
    recording.m_strName = "folder/" + in_strName;
    recording.m_uiPatterns = recording.m_uiJudged = recording.m_uiErrors = recording.m_uiCompared = 1;
    recording.m_dSquareError = std::nan("");
    results.m_vRecordings = {recording, recording};
    results.m_vRecordings[1].m_uiRate = 8000;
    results.m_vRecordings[1].m_uiShift = 80;
    RecordingTimeline timeline;
    timeline.m_uiRecording = 1;
    timeline.m_timeline = Timeline(1);
    const double dNone = std::nan("");
    timeline.m_timeline.add({Timeline::toClasses(0), Timeline::toClasses(1), true}, &dNone);
    timeline.m_vLongestSpans = {{{0, 80}, 0, 1}};
    results.m_vTimelines = {timeline};
    return results;
}

} // namespace

// 10 000 patterns in at most 2400 columns: 8 each. Pattern 5000 is in column 625, the last one in 1249.
TEST(TimelineTest, NothingIsLostWhenColumnsAreJoined)
{
    Timeline timeline(1);
    for (int i = 0; i < 10000; ++i)
    {
        const double dValue = i == 5000 ? 7.0 : i == 5001 ? std::nan("") : i == 9999 ? -3.0 : 0.5;
        timeline.add({Timeline::toClasses(i == 5000 ? 1 : 0), 0, i == 5000}, &dValue);
    }
    EXPECT_EQ(timeline.getPatternsPerColumn(), 8u);
    ASSERT_EQ(timeline.getNbColumns(), 1250u);
    EXPECT_EQ(timeline.getRange(0, 625).m_dMax, 7.0);
    EXPECT_EQ(timeline.getRange(0, 625).m_dMin, 0.5);
    EXPECT_EQ(timeline.getRange(0, 1249).m_dMin, -3.0);
    std::size_t uiErrors = 0;
    for (std::size_t i = 0; i < timeline.getNbColumns(); ++i)
        uiErrors += timeline.getFlags(i).m_bError ? 1 : 0;
    EXPECT_EQ(uiErrors, 1u);
    EXPECT_TRUE(timeline.getFlags(625).m_bError);
    EXPECT_EQ(timeline.getFlags(625).m_target, 3u);
    EXPECT_EQ(Timeline::toClasses(64), 0u);
}

TEST(OutputLogTest, LinesOfTwoRecordings)
{
    const Testing::TempDir folder;
    OutputLog log(folder.path("log"));
    const DoubleVector vTarget{1.0, 0.0};
    ASSERT_TRUE(log.open());
    log.startRecording("a\nb");
    log.write(0.025, &vTarget, {0.1, std::nan("")});
    log.write(0.035, nullptr, {});
    log.startRecording("c");
    log.write(std::nullopt, &vTarget, {0.5});
    ASSERT_TRUE(log.close());
    EXPECT_EQ(Testing::readFile(folder.path("log")), "recording\tpattern\ttime\ttarget\toutput\n"
                                                     "# 1\ta b\n"
                                                     "1\t1\t0.025\t[1 0]\t[0.1 nan]\n"
                                                     "1\t2\t0.035\t\t[]\n"
                                                     "# 2\tc\n"
                                                     "2\t1\t\t[1 0]\t[0.5]\n");
}

TEST(ReportTest, WhatIsNoNumberIsNullAndWhatIsNoTextIsReplaced)
{
    const std::string strText = toText(makeReport({"net", "conf", ""}, makeResults("\xE9t\xE9")));
    const Json report = Json::parse(strText);
    EXPECT_EQ(report["classes"][0], "\uFFFDt\uFFFD");
    EXPECT_TRUE(report["recordings"][0]["mean_square_error"].is_null());
    EXPECT_TRUE(report["scores"][0]["precision"]["value"].is_null());
    EXPECT_EQ(report["scores"][0]["recall"]["value"], 0.0);
    EXPECT_TRUE(report["timelines"][0]["outputs"]["traces"][0]["least"][0].is_null());
    EXPECT_TRUE(report["timelines"][0]["envelope"].is_null());
    EXPECT_THAT(makePage(report), HasSubstr("\uFFFDt\uFFFD"));
}

TEST(ReportTest, NamesAreNoMarkup)
{
    const std::string strName = "</script><b title=\"x'>&";
    const Json report = Json::parse(toText(makeReport({strName, strName, strName}, makeResults(strName))));
    const std::string strPage = makePage(report);
    EXPECT_THAT(strPage, Not(HasSubstr("<b title")));
    EXPECT_THAT(strPage, HasSubstr("&lt;/script&gt;&lt;b title=&quot;x'&gt;&amp;"));
    EXPECT_EQ(strPage.find("</script>"), strPage.rfind("</script>"));
    EXPECT_THAT(makeSummary(report), HasSubstr(strName));
}

TEST(ReportTest, NamesLoseTheFolderThatAllShare)
{
    struct Case
    {
        const char* m_first;
        const char* m_second;
        const char* m_expected; ///< of the second
    };
    for (const Case& names :
         {Case{"/a/bc/x.wav", "/a/bd/y.wav", ">bd/y.wav<"}, Case{"/a/x.wav", "b/y.wav", ">b/y.wav<"},
          Case{"b/y.wav", "/a/x.wav", ">/a/x.wav<"}, Case{"x.wav", "b/x.wav", ">b/x.wav<"},
          Case{"/x.wav", "/y.wav", ">y.wav<"}})
    {
        TestResults results = makeResults("a");
        results.m_vRecordings[0].m_strName = names.m_first;
        results.m_vRecordings[1].m_strName = names.m_second;
        const Json report = Json::parse(toText(makeReport({}, results)));
        EXPECT_THAT(makePage(report), HasSubstr(names.m_expected)) << names.m_first;
    }
}

TEST(ReportTest, APageOfNothingSaysSo)
{
    const Json report = Json::parse(toText(makeReport({}, TestResults())));
    EXPECT_EQ(report["accuracy"]["denominator"], 0);
    EXPECT_THAT(makePage(report), HasSubstr("No pattern was judged"));
    EXPECT_THAT(makePage(report), HasSubstr("<strong>The test failed:</strong>"));
    EXPECT_EQ(makeSummary(report), "");
}

TEST(ReportTextTest, Times)
{
    EXPECT_EQ(ReportText::toTime(0.004), "0:00.00");
    EXPECT_EQ(ReportText::toTime(59.999), "1:00.00");
    EXPECT_EQ(ReportText::toTime(3723.5), "1:02:03.50");
}
