#include "Scripts.h"

#include "quillcast-mathxpr/Limits.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr;
using namespace Vexalor::Math::Xpr::Testing;
using Vexalor::Testing::AssertionCapture;
using Vexalor::Testing::LogCapture;

namespace
{

std::string repeat(const std::string& in_strText, std::size_t in_uiCount)
{
    std::string strResult;
    for (std::size_t i = 0; i < in_uiCount; ++i)
        strResult += in_strText;
    return strResult;
}

struct BadScript
{
    const char* m_name;
    std::string m_strText;
    std::string m_strReason;
};

} // namespace

TEST(BadInputTest, MalformedScriptsAreRefusedWhenAdded)
{
    const std::string strDeep = repeat("(", Limits::MAX_DEPTH + 1) + "1" + repeat(")", Limits::MAX_DEPTH + 1);
    const BadScript cases[] = {
        {"no definition", "\n1 + 2", "2: expected a name and found '1'"},
        {"no equals sign", "x + 1", "1: expected '=' and found '+'"},
        {"half an expression", "x = 1 +", "1: expected a value and found the end"},
        {"second line", "x = 1 +\n2", "1: expected a value and found the end of the line"},
        {"two values", "x = 1 2", "1: expected an operator or the end of the line and found '2'"},
        {"open bracket", "x = (1\n + 2\n", "3: expected ')' and found the end"},
        {"wrong bracket", "x = [1)", "1: expected ']' and found ')'"},
        {"character", "x = 1 $ 2", "1: unexpected character at '$'"},
        {"byte", std::string("x = 1 \0", 7), "1: unexpected character"},
        {"large number", "x = 1e309", "1: number out of range at '1'"},
        {"small number", "x = 1e-400", "1: number out of range at '1'"},
        {"number and name", "x = 2y", "1: malformed number at '2'"},
        {"two points", "x = 1.2.3", "1: malformed number at '1'"},
        {"second dot", "x = a.b.c", "1: unexpected character at '.'"},
        {"twice", "x = 1\n\nx = 2", "3: 'x' is already defined in line 1"},
        {"function as a name", "sum = 1", "1: 'sum' has a meaning of its own and cannot be defined"},
        {"input as a name", "x = 1\naudio = 2", "2: 'audio' is an input or a constant and cannot be defined"},
        {"name of another script", "a.x = 1", "1: expected a name and found 'a.x'"},
        {"function without brackets", "x = sum", "1: expected '(' after 'sum' and found the end"},
        {"unknown function", "x = y(1)", "1: unknown function 'y'"},
        {"arguments", "x = size(1, 2)", "1: 'size' does not take 2 arguments"},
        {"no arguments", "x = sum()", "1: 'sum' does not take 0 arguments"},
        {"chain", "x = 1 < 2 < 3", "1: comparisons cannot be chained; join them by 'and'"},
        {"state of an expression", "x = prev(1 + 2, 0)", "1: expected a name and found '1'"},
        {"state without initial value", "x = prev(x)", "1: expected ',' and found ')'"},
        {"question without colon", "x = 1 ? 2", "1: expected ':' and found the end"},
        {"deep brackets", "x = " + strDeep, "1: nested more than 200 deep"},
        {"deep signs", "x = " + repeat("-", 100000) + "1", "1: nested more than 200 deep"},
        {"deep powers", "x = " + repeat("2^", 100000) + "1", "1: nested more than 200 deep"},
        {"deep choices", "x = " + repeat("1?2:", 60000) + "1", "1: nested more than 200 deep"},
    };
    for (const BadScript& testCase : cases)
    {
        Scripts scripts;
        const LogCapture log("quillcast.math.xpr");
        EXPECT_FALSE(scripts.add("bad", testCase.m_strText)) << testCase.m_name;
        EXPECT_EQ(log.text(), "ERROR bad.xpr:" + testCase.m_strReason + "\n") << testCase.m_name;
        EXPECT_TRUE(scripts.link()) << testCase.m_name;
        EXPECT_EQ(scripts.get("bad.x"), "unknown") << testCase.m_name;
    }
    Scripts scripts;
    const LogCapture log("quillcast.math.xpr");
    EXPECT_FALSE(scripts.add("large", std::string(Limits::MAX_SCRIPT_SIZE + 1, ' ')));
    EXPECT_EQ(log.text(), "ERROR large.xpr: longer than 262144 bytes\n");
    EXPECT_TRUE(scripts.add("deep", "x = " + strDeep.substr(1, strDeep.size() - 2)));
}

TEST(BadInputTest, UnknownNamesAndCyclesAreReportedByLink)
{
    const BadScript cases[] = {
        {"unknown", "x = [1,\n y]", "2: unknown name 'y'"},
        {"unknown state", "x = prev(y, 0)", "1: unknown name 'y'"},
        {"script that is not there", "x = other.y", "1: unknown name 'other.y': that script was not added"},
        {"rate", "x = rate", "1: unknown name 'rate': the sampling rate was not set"},
        {"itself", "x = x + 1", "1: cycle: bad.x -> bad.x; only prev(name, initial) may refer back"},
        {"two", "\nx = y\ny = x",
         "2: cycle: bad.x -> bad.y -> bad.x; only prev(name, initial) may refer back"},
    };
    for (const BadScript& testCase : cases)
    {
        Scripts scripts;
        ASSERT_TRUE(scripts.add("bad", testCase.m_strText)) << testCase.m_name;
        const LogCapture log("quillcast.math.xpr");
        const AssertionCapture assertions;
        EXPECT_FALSE(scripts.link()) << testCase.m_name;
        EXPECT_EQ(log.text(), "ERROR bad.xpr:" + testCase.m_strReason + "\n") << testCase.m_name;
        EXPECT_FALSE(scripts.evaluator.reconfigureExpressions()) << testCase.m_name;
        EXPECT_EQ(scripts.get("audio"), "failed") << testCase.m_name;
    }
}

TEST(BadInputTest, LinkCanLeaveOutWhatIsIncomplete)
{
    Scripts scripts;
    ASSERT_TRUE(scripts.add("a", "x = other.y\nz = prev(x, 0)\nw = z + 1\ngood = 2"));
    EXPECT_FALSE(scripts.evaluator.link(true));
    EXPECT_EQ(scripts.get("a.w"), "unknown");
    ASSERT_TRUE(scripts.evaluator.link(false));
    EXPECT_EQ(scripts.get("a.w"), "unknown");
    EXPECT_EQ(scripts.get("a.good"), "[2]");
    ASSERT_TRUE(scripts.add("other", "y = 3"));
    ASSERT_TRUE(scripts.evaluator.link(true));
    EXPECT_EQ(scripts.get("a.w"), "[1]");
}

TEST(BadInputTest, WhatCannotBeComputedFailsAlone)
{
    const BadScript cases[] = {
        {"lengths", "\nx = audio + [1, 2]", "2: lengths 3 and 2 do not match"},
        {"index", "x = audio[3]", "1: index out of range or not whole: there are 3 values"},
        {"computed index", "x = audio[sum(audio)]", "1: index out of range or not whole: there are 3 values"},
        {"index into nothing", "x = [][audio[0]]", "1: index out of range or not whole: there are 0 values"},
        {"index not a number", "x = audio[0 * sum(audio) / 0]",
         "1: index out of range or not whole: there are 3 values"},
        {"slice", "x = audio[2:1]", "1: bounds of a slice out of range or not whole: there are 3 values"},
        {"slice of the audio's making", "x = audio[0:audio[0]]",
         "1: the bounds of a slice must not depend on inputs or states"},
        {"condition", "x = audio ? 1 : 2", "1: the condition before '?' has 3 values instead of 1"},
        {"initial value", "x = prev(x, audio)",
         "1: the initial value of a state must not depend on inputs or states"},
        {"length of a state", "x = audio\ny = prev(x, [1, 2])", ""},
        {"state that grows", "x = [1, prev(x, 0)]", "1: the length of 'bad.x' depends on itself"},
        {"greatest of nothing", "x = max([])", "1: 'max' of no values"},
        {"million", "x = range(1000000)",
         "1: 'range' takes a whole number from 0 to 65536 that does not depend on inputs or states"},
        {"joined", "y = range(60000)\nx = [y, y]", "2: a vector of 120000 values; at most 65536 are allowed"},
        {"frequency", "x = tone_energy(audio, 5000, 8000)",
         "1: 'tone_energy': frequencies must be above 0 and below half the rate"},
        {"frequencies of the audio's making", "x = tone_energy(audio, audio, 8000)",
         "1: the settings of 'tone_energy' must not depend on inputs or states"},
        {"bands", "x = log_mel(audio, 0.5, 8000)",
         "1: 'log_mel': the settings do not fit a window of 3 values"},
    };
    for (const BadScript& testCase : cases)
    {
        Scripts scripts;
        ASSERT_TRUE(scripts.add("bad", testCase.m_strText + "\ngood = sum(audio) - sum(prev(audio, 0))"))
            << testCase.m_name;
        ASSERT_TRUE(scripts.link()) << testCase.m_name;
        ASSERT_TRUE(scripts.pAudio->assign({1, 2, 3}));
        EXPECT_EQ(scripts.get("bad.good"), "[6]") << testCase.m_name;
        if (testCase.m_strReason.empty())
            continue;
        const LogCapture log("quillcast.math.xpr");
        EXPECT_EQ(scripts.get("bad.x"), "failed") << testCase.m_name;
        EXPECT_EQ(log.text(), "ERROR bad.xpr:" + testCase.m_strReason + "\n") << testCase.m_name;
        EXPECT_EQ(scripts.get("bad.good"), "[6]") << testCase.m_name;
    }
}

TEST(BadInputTest, InputsAreBounded)
{
    Scripts scripts;
    ASSERT_TRUE(scripts.add("a", "x = [sum(audio), windows]\nwindows = prev(windows, 0) + 1\n"
                                 "earlier = prev(windows, 0)"));
    ASSERT_TRUE(scripts.link());
    ASSERT_TRUE(scripts.pAudio->assign({1}));
    EXPECT_EQ(scripts.get("a.x"), "[1 1]");
    const LogCapture log("quillcast.math.xpr");
    EXPECT_FALSE(scripts.pAudio->assign(DoubleVector(1000000)));
    EXPECT_EQ(log.text(), "ERROR An input of 1000000 values; at most 65536 are allowed\n");
    EXPECT_EQ(scripts.get("a.x") + scripts.get("a.earlier"), "[1 1][0]") << "nothing has changed";
    EXPECT_TRUE(scripts.pAudio->assign(DoubleVector()));
    EXPECT_EQ(scripts.get("a.x"), "[0 2]");
    EXPECT_TRUE(scripts.pAudio->assign(DoubleVector{std::nan("")}));
    EXPECT_EQ(scripts.get("a.x"), "[nan 3]");
}

TEST(BadInputTest, ValuesWithoutRoomFailWhereTheyStand)
{
    Scripts scripts;
    std::string strText = "double = 2 * audio\n";
    for (const std::string strNumber : {"0", "1", "2", "3", "4", "5", "6", "7"})
        strText += "v" + strNumber + " = audio + 1\ns" + strNumber + " = prev(v" + strNumber + ", 0)[0]\n";
    ASSERT_TRUE(scripts.add("a", strText));
    ASSERT_TRUE(scripts.link());
    ASSERT_TRUE(scripts.pAudio->assign(DoubleVector(65536, 1.0)));
    const LogCapture log("quillcast.math.xpr");
    for (const char* szName : {"a.double", "a.s0", "a.s1", "a.s2", "a.s3", "a.s4", "a.s5", "a.s6"})
        EXPECT_NE(scripts.get(szName), "failed") << szName;
    EXPECT_EQ(scripts.get("a.s7"), "failed") << "not the initial value for ever";
    EXPECT_EQ(log.text(), "ERROR a.xpr:17: the scripts need more than 2097152 values\n");

    for (int i = 0; i < 32; ++i)
    {
        const CountedObjPtr<DomainVariableImpl> pInput(new DomainVariableImpl);
        ASSERT_TRUE(pInput->setName(("more" + std::to_string(i)).c_str()));
        ASSERT_TRUE(scripts.evaluator.addVariable(pInput) && pInput->assign(DoubleVector(65536, 2.0)));
    }
    EXPECT_EQ(scripts.get("audio").substr(0, 4), "[1 1") << "each input has its own place";
    EXPECT_EQ(scripts.get("a.double"), "failed");
    EXPECT_NE(log.text().find("ERROR a.xpr:1: the scripts need more"), std::string::npos);
}

TEST(BadInputTest, ManyNamesTakeLittleTime)
{
    Scripts scripts;
    std::string strText;
    for (int i = 10000; i > 0; --i)
        strText += "x" + std::to_string(i) + "=x" + std::to_string(i - 1) + "+1\n";
    ASSERT_TRUE(scripts.add("chain", strText + "x0=audio\n"));
    ASSERT_TRUE(scripts.add("inside", strText + "x0=audio\nresult=audio>0?x10000:0\n"));
    strText.clear();
    for (int i = 3000; i > 0; --i)
        strText += "y" + std::to_string(i) + "=a?(b?y" + std::to_string(i - 1) + "+1:y" +
                   std::to_string(i - 1) + "+2):(c?y" + std::to_string(i - 1) + "+3:0)\n";
    ASSERT_TRUE(scripts.add("choices", strText + "y0=audio\na=audio>0\nb=audio>1\nc=audio<0\n"));
    ASSERT_TRUE(scripts.link());
    ASSERT_TRUE(scripts.pAudio->assign({1}));
    EXPECT_EQ(scripts.get("chain.x10000"), "[10001]");
    EXPECT_EQ(scripts.get("inside.result"), "[10001]");
    EXPECT_EQ(scripts.get("choices.y3000"), "[6001]"); // a and not b: 2 each
}

TEST(BadInputTest, ManyStatesFindTheirLengths)
{
    Scripts scripts;
    std::string strText = "d0 = audio\n";
    for (int i = 1; i <= 100; ++i)
        strText += "d" + std::to_string(i) + " = prev(d" + std::to_string(i - 1) + ", 0)\n";
    ASSERT_TRUE(scripts.add("delays", strText));
    strText = "r0 = audio + prev(r99, 0)\n";
    for (int i = 1; i < 100; ++i)
        strText += "r" + std::to_string(i) + " = prev(r" + std::to_string(i - 1) + ", 0)\n";
    ASSERT_TRUE(scripts.add("ring", strText));
    ASSERT_TRUE(scripts.link());
    for (int i = 1; i <= 101; ++i)
    {
        ASSERT_TRUE(scripts.pAudio->assign({double(i), 5}));
        ASSERT_EQ(scripts.get("delays.d100"), i <= 100 ? "[0 0]" : "[1 5]");
        // The first window came round after a hundred.
        ASSERT_EQ(scripts.get("ring.r0"), i <= 100 ? "[" + std::to_string(i) + " 5]" : "[102 10]");
    }
}
