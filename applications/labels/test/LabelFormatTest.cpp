#include "labels/LabelFormat.h"
#include "labels/LabelFile.h"

#include <gmock/gmock.h>
#include <random>
#include <sstream>

using namespace Vexalor;
using testing::HasSubstr;

namespace
{

const LabelReadOptions OPTIONS{"call", 10.0, {}};

/// "0-0.5 a; 1-1 b [100,-]": each with its band, if it has one.
std::string describe(const std::vector<LabelSpan>& in_vSpans)
{
    std::ostringstream text;
    for (const LabelSpan& span : in_vSpans)
    {
        text << (&span == in_vSpans.data() ? "" : "; ") << span.m_dStart << '-' << span.m_dStop << ' '
             << span.m_strLabel;
        if (span.m_low || span.m_high)
            text << " [" << (span.m_low ? std::to_string(int(*span.m_low)) : "-") << ','
                 << (span.m_high ? std::to_string(int(*span.m_high)) : "-") << ']';
    }
    return text.str();
}

/// What a text is read as; "refused: " and why, when it is.
std::string read(const std::string& in_strFormat, const std::string& in_strText,
                 const LabelReadOptions& in_options = OPTIONS)
{
    std::vector<LabelSpan> vSpans;
    LabelFault fault;
    if (LabelFormat::find(in_strFormat)->read(in_strText, in_options, vSpans, fault))
        return describe(vSpans);
    EXPECT_TRUE(vSpans.empty());
    return "refused: " + fault.getText();
}

std::string write(const std::string& in_strFormat, const std::vector<LabelSpan>& in_vSpans,
                  const LabelWriteOptions& in_options = {"call", 10.0, 0})
{
    std::string strText;
    std::string strError;
    return LabelFormat::find(in_strFormat)->write(in_vSpans, in_options, strText, strError)
               ? strText
               : "refused: " + strError;
}

/// ASCII with a byte order mark, of either order.
std::string toUtf16(const std::string& in_strText, bool in_bBigEndian)
{
    std::string strText = in_bBigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : in_strText)
        strText.append({in_bBigEndian ? '\0' : c, in_bBigEndian ? c : '\0'});
    return strText;
}

const std::string GRID = "File type = \"ooTextFile\"\nObject class = \"TextGrid\"\n\n";
/// Two tiers with gaps, a newline and quotes in labels, and a third of points.
const std::string LONG_GRID = GRID +
                              "xmin = 0 \nxmax = 2.5 \ntiers? <exists> \nsize = 3 \nitem []: \n"
                              "    item [1]:\n        class = \"IntervalTier\" \n        name = \"word\" \n"
                              "        xmin = 0 \n        xmax = 2.5 \n        intervals: size = 3 \n"
                              "        intervals [1]:\n            xmin = 0 \n            xmax = 0.5 \n"
                              "            text = \"\" \n"
                              "        intervals [2]:\n            xmin = 0.5 \n            xmax = 1.25 \n"
                              "            text = \"say \"\"ah\"\"\nverb\" \n"
                              "        intervals [3]:\n            xmin = 1.25 \n            xmax = 2.5 \n"
                              "            text = \"\" \n"
                              "    item [2]:\n        class = \"IntervalTier\" \n        name = \"empty\" \n"
                              "        xmin = 0 \n        xmax = 2.5 \n        intervals: size = 0 \n"
                              "    item [3]:\n        class = \"TextTier\" \n        name = \"bell\" \n"
                              "        xmin = 0 \n        xmax = 2.5 \n        points: size = 1 \n"
                              "        points [1]:\n            number = 2 \n            mark = \"ring\" \n";
const std::string GRID_SPANS = "0.5-1.25 say \"ah\"\nverb; 2-2 ring";

} // namespace

TEST(LabelFormat, ReadsWhatOtherProgramsWrite)
{
    std::string strTight = LONG_GRID;
    for (std::size_t uiAt = 0; (uiAt = strTight.find("item [", uiAt)) != std::string::npos;)
        strTight.erase(uiAt + 4, 1);
    const std::string strShort =
        GRID + "0\n2.5\n<exists>\n3\n\"IntervalTier\"\n\"word\"\n0\n2.5\n3\n0\n0.5\n\"\"\n0.5\n1.25\n"
               "\"say \"\"ah\"\"\nverb\"\n1.25\n2.5\n\"\"\n\"IntervalTier\"\n\"empty\"\n0\n2.5\n0\n"
               "\"TextTier\"\n\"bell\"\n0\n2.5\n1\n2\n\"ring\"\n";
    const struct
    {
        const char* m_name;
        const char* m_format;
        std::string m_strText;
        std::string m_strSpans;
    } CASES[] = {
        {"track", "text", "0.500000\t1.250000\tVOICE\r\n2.000000\t2.000000\t\r\n", "0.5-1.25 VOICE; 2-2 "},
        {"track with frequencies", "text",
         "0\t1\ta b\n\\\t-1.000000\t6334.5\n1\t1\t\n\\\t697\t697\n2\t3\ttab\tin it\n\\\t5\t-1\n",
         "0-1 a b [-,6334]; 1-1  [697,697]; 2-3 tab\tin it [5,-]"},
        {"table", "text", "\xEF\xBB\xBFstart_s\tstop_s\tlabel\tby\n# note\n\n0\t1e0\tx\tme\n1\t2",
         "0-1 x; 1-2 "},
        {"long", "textgrid", LONG_GRID, GRID_SPANS},
        {"tight", "textgrid", strTight, GRID_SPANS},
        {"short", "textgrid", strShort, GRID_SPANS},
        {"UTF-16, low byte first", "textgrid", toUtf16(LONG_GRID, false), GRID_SPANS},
        {"UTF-16, high byte first", "textgrid", toUtf16(strShort, true), GRID_SPANS},
        {"characters of two units", "textgrid",
         toUtf16(GRID + "0 1 <exists> 1 \"TextTier\" \"\" 0 1 1 0.5 \"", true) +
             std::string("\xD8\x34\xDD\x1E\x02\x59\x00\"", 8),
         "0.5-0.5 \xF0\x9D\x84\x9E\xC9\x99"},
        {"comments and units", "textgrid",
         "\"ooTextFile short\" \"TextGrid\" ! \"by\" 3 hands\n0s 1s <exists> 1 ! one tier\n\"IntervalTier\" "
         "\"a\" 0 1 "
         "1\n-0s 0.5s \"!x\"! the only one",
         "0-0.5 !x"},
        {"no tiers", "textgrid", GRID + "0 1 <absent>", ""},
        {"turns", "rttm",
         ";; a comment\nSPKR-INFO call 1 <NA> <NA> <NA> unknown A <NA>\nSPEAKER call 1 0.00 5.25 <NA> <NA> A "
         "<NA> "
         "<NA>\n\nSPEAKER\tcall\t1\t2.5\t.5\t<NA>\t<NA>\tB\t<NA>\r\n",
         "0-5.25 A; 2.5-3 B"},
        {"turns of two recordings", "rttm",
         "SPEAKER other 1 0 1 <NA> <NA> A <NA> <NA>\nSPEAKER call 1 1 2 <NA> <NA> <NA> 0.9 <NA>\n", "1-3 "},
        {"turns of another name", "rttm", "SPEAKER mixture 1 0 1 <NA> <NA> A <NA> <NA>\n", "0-1 A"},
        {"columns in any order", "csv",
         "n,label,stop_s,start_s,high_hz\r\n1,\"a, \"\"b\"\"\r\nc\",2,1.5,\r\n\r\n2,,3,3,440\n",
         "1.5-2 a, \"b\"\r\nc; 3-3  [-,440]"},
        {"byte order mark", "csv", "\xEF\xBB\xBFstart_s,stop_s,label\n0,1,\xCE\xA9", "0-1 \xCE\xA9"},
        {"objects", "json",
         "[ {\"label\": \"\\u03a9\", \"start_s\": 0, \"stop_s\": 1e0, \"by\": {\"label\": [1, {}]}, "
         "\"low_hz\": null},\n"
         "{\"start_s\":2,\"stop_s\":3,\"label\":\"\",\"low_hz\":1,\"high_hz\":2}]",
         "0-1 \xCE\xA9; 2-3  [1,2]"},
        {"no objects", "json", "[]", ""}};
    for (const auto& test : CASES)
        EXPECT_EQ(read(test.m_format, test.m_strText), test.m_strSpans) << test.m_name;
}

TEST(LabelFormat, RefusesNonsenseByItsLine)
{
    const std::string strTurn = "SPEAKER call 1 1 2 <NA> <NA> A <NA> <NA>\n";
    const std::string strLong(100000, 'x');
    const struct
    {
        const char* m_format;
        std::string m_strText;
        const char* m_fault;
    } CASES[] = {
        {"text", "0\t1\tfine\nVOICE\n", "line 2: \"VOICE\" is no start time in seconds"},
        {"text", strLong + "\t1\n", "line 1: \"xxxxxxxxxx"},
        {"text", "0\tinf\tx\n", "line 1: \"inf\" is no stop time"},
        {"text", "0\t1\tx\n\\\t1\n", "line 2: a backslash is followed by two frequencies"},
        {"text", "\\\t1\t2\n", "line 1: it tells frequencies, and no label precedes it"},
        {"text", "0\t1\tx\n\\\t3\t2\n", "line 2: its low frequency is above its high one"},
        {"text", "0\t1\tx\n\\\t-2\t2\n", "line 2: -2 is no frequency in Hz"},
        {"text", "\xFF\xFE\x30", "it begins as UTF-16 and is none"},
        {"text", std::string("\xFF\xFE\x00\xDC", 4), "it begins as UTF-16 and is none"},
        {"textgrid", "", "line 1: it is no TextGrid saved as a text file"},
        {"textgrid", "0\t1\tVOICE\n", "line 1: it is no TextGrid saved as a text file"},
        {"textgrid", "\"ooTextFile\" \"Pitch\"", "an object of the class \"Pitch\", no TextGrid"},
        {"textgrid", GRID + "0 1 <exists> -1", "line 4: the number of tiers cannot be -1"},
        {"textgrid", GRID + "0 1 <exists> 1e99", "line 4: the number of tiers cannot be 1e+99"},
        {"textgrid", GRID + "0 1 <exists> \"" + strLong + "\"", "is expected here, not \"xxxxxxxxxx"},
        {"textgrid", GRID + "0 1 <exists> 1 \"Tier\" ", "there is no class of tiers \"Tier\""},
        {"textgrid", GRID + "0 1 <exists> 1\n\"IntervalTier\" \"a\" 0 1 2\n0 1 \"x\"\n",
         "line 7: the start of an interval is expected here, and the file ends"},
        {"textgrid", GRID + "0 1 <exists> 1 \"IntervalTier\" \"a\" 0 1 1\n0 \"x\"\n",
         "line 5: the end of an interval is expected here, not \"x\""},
        {"textgrid", GRID + "0 1 <exists> 1 \"TextTier\" \"a\" 0 1 1\n0 1\n", "not the number 1"},
        {"textgrid", GRID + "0 1 <exists> 1 \"TextTier\" \"a\" 0 1 1\n0 \"x\n\n",
         "line 5: a text that begins here has no"},
        {"textgrid", GRID + "0 1 <exists> 1 \"IntervalTier\" \"a\" 0 1 1\n1 0.5 \"x\"",
         "line 5: it stops before its start"},
        {"textgrid", GRID + "0 1 <exists> 0\n0", "line 5: the last tier ended before this"},
        {"textgrid", "ooBinaryFile\x08TextGrid", "no TextGrid saved as a text file"},
        {"rttm", strTurn + "SPEAKER call 1 1 2 <NA>\n", "line 2: it has 6 fields, not 9 or 10"},
        {"rttm", "TURN call 1 1 2 <NA> <NA> A <NA> <NA>\n", "line 1: \"TURN\" is no type of line"},
        {"rttm", strLong, "line 1: \"xxxxxxxxxx"},
        {"rttm", "SPEAKER call 1 1 -2 <NA> <NA> A <NA> <NA>\n", "line 1: \"-2\" is no duration in seconds"},
        {"rttm", "SPEAKER call 1 <NA> 2 <NA> <NA> A <NA> <NA>\n", "line 1: \"<NA>\" is no start time"},
        {"rttm", "SPEAKER a 1 1 2 <NA> <NA> A <NA> <NA>\nSPEAKER b 1 1 2 <NA> <NA> A <NA> <NA>\n",
         "line 2: it tells of the recordings \"a\" and \"b\", and of none named \"call\""},
        {"rttm", strTurn + "SPEAKER call 1 2 3.5 <NA> <NA> A <NA> <NA>\n",
         "line 2: its fifth field seems to be a stop time"},
        {"rttm", "SPEAKER call 1 6 7.5 <NA> <NA> A <NA> <NA>\n",
         "line 1: its fifth field seems to be a stop time"},
        {"csv", "", "it is empty; the first line names the columns"},
        {"csv", "start_s;stop_s;label\n0;1;x\n", "line 1: no column is named start_s"},
        {"csv", "start_s,stop_s,label,label\n", "line 1: two columns are named label"},
        {"csv", "start_s,stop_s,label\n0,1,\"a\nb\"\n0,x,c\n",
         "line 4: \"x\" is no number, in column stop_s"},
        {"csv", "start_s,stop_s,label\n" + strLong + ",1,x\n", "line 2: \"xxxxxxxxxx"},
        {"csv", "start_s,stop_s,label\n0,1\n", "line 2: it has 2 fields, the first line has 3"},
        {"csv", "start_s,stop_s,label\n0,1,\"x\n", "line 2: a quote that begins here has no end"},
        {"csv", "start_s,stop_s,label\n0,1,\"x\"y\n", "line 2: something stands between a closing quote"},
        {"csv", "start_s,stop_s,label\n0,1,x\"y\"\n", "line 2: a quote stands inside a field"},
        {"csv", "start_s,stop_s,label\n0,,x\n", "line 2: \"\" is no number, in column stop_s"},
        {"json", "{\"start_s\":0}", "line 1: an array of objects is expected"},
        {"json", "[[]]", "an array of objects is expected"},
        {"json", "[1]", "an array of objects is expected"},
        {"json", "[\n{\"start_s\":0,\"stop_s\":1}]",
         "line 2: the object that ends here lacks start_s, stop_s or label"},
        {"json", "[{\"start_s\":\"0\"}]", "line 1: start_s has a value of the wrong type"},
        {"json", "[{\"label\":{}}]", "line 1: label has a value of the wrong type"},
        {"json", "[{\"stop_s\":null}]", "line 1: stop_s has a value of the wrong type"},
        {"json", "[\n\n{\"start_s\":0,}]", "line 3: it is no JSON: syntax error"},
        {"json", "[{\"start_s\":1e999}]", "line 1: number 1e999 is out of range"},
        {"json", "[{\"start_s\":1" + std::string(100000, '0') + "}]", "line 1: number 1000000000"},
        {"json", "[\"" + strLong + "\x01\"]", "line 1: it is no JSON"},
        {"json", "[{\"label\":\"\xFF\"}]", "line 1: it is no JSON"},
        {"json", "", "it is no JSON"}};
    for (const auto& test : CASES)
    {
        const std::string strFault = read(test.m_format, test.m_strText);
        EXPECT_TRUE(strFault.starts_with("refused: ")) << test.m_format << ": " << test.m_fault;
        EXPECT_THAT(strFault, HasSubstr(test.m_fault)) << test.m_format;
        EXPECT_LT(strFault.size(), 300u) << test.m_format;
    }
}

TEST(LabelFormat, TiersAreChosenByName)
{
    EXPECT_EQ(read("textgrid", LONG_GRID, {"", 0.0, {"bell", "empty"}}), "2-2 ring");
    EXPECT_EQ(read("textgrid", LONG_GRID, {"", 0.0, {"phone"}}),
              "refused: it has no tier \"phone\", only \"word\", \"empty\", \"bell\"");
}

TEST(LabelFormat, WritesWhatTheyRead)
{
    const std::vector<LabelSpan> vSpans{
        {0.5, 1.25, "a \"b\", c", {}, {}}, {1.0, 3.0, "\xCE\xA9\n", 100.0, {}}, {2.0, 2.0, "", {}, 440.5}};
    EXPECT_EQ(write("text", vSpans),
              "0.5\t1.25\ta \"b\", c\n1\t3\t\xCE\xA9 \n\\\t100\t-1\n2\t2\t\n\\\t-1\t440.5\n");
    EXPECT_EQ(write("csv", vSpans, {"", 0.0, 6}),
              "start_s,stop_s,label,low_hz,high_hz\n0.500000,1.250000,\"a \"\"b\"\", c\",,\n"
              "1.000000,3.000000,\"\xCE\xA9\n\",100,\n2.000000,2.000000,,,440.5\n");
    EXPECT_EQ(write("json", vSpans),
              "[\n{\"start_s\":0.5,\"stop_s\":1.25,\"label\":\"a \\\"b\\\", c\"}\n"
              ",{\"start_s\":1,\"stop_s\":3,\"label\":\"\xCE\xA9\\n\",\"low_hz\":100}\n"
              ",{\"start_s\":2,\"stop_s\":2,\"label\":\"\",\"high_hz\":440.5}\n]\n");
    EXPECT_EQ(write("json", {{0.0, 1.0, "\xE9", {}, {}}}),
              "[\n{\"start_s\":0,\"stop_s\":1,\"label\":\"\xC3\xA9\"}\n]\n");
    EXPECT_EQ(write("rttm", {{0.5, 1.25, "A", {}, {}}, {2.0, 3.0, "", {}, {}}}, {"my call", 0.0, 6}),
              "SPEAKER my_call 1 0.500000 0.750000 <NA> <NA> A <NA> <NA>\n"
              "SPEAKER my_call 1 2.000000 1.000000 <NA> <NA> <NA> <NA> <NA>\n");
    EXPECT_EQ(write("rttm", vSpans), "refused: label \"a \"b\", c\" at 0.5 s cannot be a field of RTTM");
    EXPECT_THAT(write("textgrid", {{0.0, 1.0, "", {}, {}}}), HasSubstr("cannot be told from a gap"));
    // What overlaps goes into a tier of its own; points too. The grid is as long as the recording.
    const std::string strGrid = write("textgrid", vSpans);
    EXPECT_EQ(read("textgrid", strGrid), "0.5-1.25 a \"b\", c; 1-3 \xCE\xA9\n; 2-2 ");
    EXPECT_EQ(read("textgrid", strGrid, {"", 0.0, {"labels 2", "points"}}), "1-3 \xCE\xA9\n; 2-2 ");
    EXPECT_THAT(strGrid, HasSubstr("xmin = 3 \n            xmax = 10 \n            text = \"\" \n"));
}

// What was written and read again is written as the same, whatever the spans are.
TEST(LabelFormat, WritingAndReadingIsAFixedPoint)
{
    std::mt19937 random(1);
    for (int i = 0; i < 200; ++i)
    {
        std::vector<LabelSpan> vSpans(random() % 20);
        for (LabelSpan& span : vSpans)
        {
            span.m_dStart = (random() % 80000) / 8000.0;
            span.m_dStop = span.m_dStart + (random() % 5) * (random() % 8000) / 11025.0;
            span.m_strLabel = "class" + std::to_string(random() % 4);
            if (random() % 4 == 0)
                span.m_low = span.m_high = random() % 4000;
        }
        for (const char* format : {"text", "textgrid", "rttm", "csv", "json"})
        {
            std::vector<LabelSpan> vRead;
            LabelFault fault;
            const LabelReadOptions options{"call", 0.0, {}};
            const std::string strText = write(format, vSpans);
            if (!LabelFormat::find(format)->read(strText, options, vRead, fault))
            {
                // Random turns of one speaker overlap, so that their durations can be taken for stop times.
                EXPECT_THAT(fault.getText(), HasSubstr("seems to be a stop time")) << format;
                continue;
            }
            EXPECT_EQ(write(format, vRead), strText) << format;
            EXPECT_EQ(vRead.size(), vSpans.size()) << format;
            const bool bKeepsAll = std::string(format) != "textgrid" && std::string(format) != "rttm";
            EXPECT_TRUE(!bKeepsAll || vRead == vSpans) << format;
        }
    }
}

TEST(LabelFormat, TheExtensionTellsTheFormat)
{
    EXPECT_EQ(LabelFormat::findForFile("a.b/x.TEXTGRID"), LabelFormat::find("textgrid"));
    EXPECT_EQ(LabelFormat::findForFile("x.tsv"), LabelFormat::find("text"));
    EXPECT_EQ(LabelFormat::findForFile("x.xml"), nullptr);
    EXPECT_EQ(LabelFormat::find("xml"), nullptr);
}

TEST(LabelFile, TonesHaveFrequencies)
{
    const std::pair<const char*, const char*> CASES[] = {{"SF:1000", "0-1 SF:1000 [1000,1000]"},
                                                         {"AM:1000:20", "0-1 AM:1000:20 [980,1020]"},
                                                         {"AM:10:20", "0-1 AM:10:20 [0,30]"},
                                                         {"VOICE", "0-1 VOICE"}};
    for (const auto& [label, spans] : CASES)
        EXPECT_EQ(describe({LabelFile::toSpan(Annotation(label, 0.0, 1.0))}), spans);
    std::vector<Annotation> vAnnotations;
    std::vector<Annotation> vMarkers;
    EXPECT_EQ(LabelFile::toAnnotations({{0.0, 1.0, "", 697.4, 697.4},
                                        {0.0, 1.0, "SF:5", 5.0, 5.0},
                                        {0.0, 1.0, "x", 1.0, {}},
                                        {2.0, 2.0, "", 1.0, 2.0}},
                                       vAnnotations, vMarkers),
              2u)
        << "bands that no label tells";
    ASSERT_EQ(vAnnotations.size(), 3u);
    EXPECT_EQ(vAnnotations[0].getLabel(), "SF:697");
    EXPECT_EQ(vMarkers.size(), 1u);
}
