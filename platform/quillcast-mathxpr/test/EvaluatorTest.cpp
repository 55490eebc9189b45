#include "Scripts.h"

#include "test-support/AllocationCounter.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace Vexalor;
using namespace Vexalor::Math::Xpr;
using namespace Vexalor::Math::Xpr::Testing;
using Vexalor::Testing::AssertionCapture;
using Vexalor::Testing::LogCapture;
using Vexalor::Testing::readFile;

TEST(EvaluatorTest, AddingAgainChangesNothing)
{
    Scripts scripts;
    ASSERT_TRUE(scripts.add("a", "x = 1"));
    EXPECT_TRUE(scripts.add("a", "x = 2")); // known by its name: not read again
    ASSERT_TRUE(scripts.evaluator.addExpression("y", "a.x + 1"));
    EXPECT_TRUE(scripts.evaluator.addExpression("y", "a.x + 1"));
    CountedObjPtr<DomainVariableImpl> pAgain(new DomainVariableImpl);
    ASSERT_TRUE(pAgain->setName("audio"));
    EXPECT_TRUE(scripts.evaluator.addVariable(pAgain));
    const LogCapture log("quillcast.math.xpr");
    EXPECT_FALSE(scripts.evaluator.addExpression("y", "a.x + 2"));
    EXPECT_FALSE(scripts.evaluator.addExpression("audio", "1"));
    EXPECT_FALSE(scripts.evaluator.setConstant("y", 1));
    EXPECT_EQ(log.count("stands for something else already"), 3u) << log.text();
    for (const char* szName : {"pi", "sum", "prev", "and"})
    {
        const CountedObjPtr<DomainVariableImpl> pReserved(new DomainVariableImpl);
        EXPECT_TRUE(pReserved->setName(szName));
        EXPECT_FALSE(scripts.evaluator.setConstant(szName, 1) || scripts.evaluator.addVariable(pReserved));
    }
    EXPECT_EQ(log.count("has a meaning of its own and cannot be defined"), 8u) << log.text();
    ASSERT_TRUE(scripts.link());
    EXPECT_EQ(scripts.get("y"), "[2]");
    EXPECT_TRUE(pAgain->assign({5}));
    EXPECT_EQ(scripts.get("audio"), "[5]");
}

TEST(EvaluatorTest, ScriptsAreFoundInTheFirstFolderThatHasThem)
{
    Scripts scripts;
    std::filesystem::create_directory(scripts.folder.path("one"));
    std::filesystem::create_directory(scripts.folder.path("two"));
    scripts.folder.write("one/a.xpr", "x = 1");
    scripts.folder.write("two/a.xpr", "x = 2");
    scripts.folder.write("two/b.xpr", "x = 3");
    scripts.folder.write("c.xpr", "x = 4");
    ASSERT_TRUE(scripts.configure("./one;two"));
    EXPECT_TRUE(scripts.evaluator.addScript("a"));
    EXPECT_TRUE(scripts.evaluator.addScript("b"));
    const LogCapture log("quillcast.math.xpr");
    EXPECT_FALSE(scripts.evaluator.addScript("c"));
    EXPECT_FALSE(scripts.evaluator.addScript("../c"));
    EXPECT_FALSE(scripts.configure("one;../other"));
    EXPECT_FALSE(scripts.configure("/one"));
    EXPECT_FALSE(scripts.configure(""));
    EXPECT_EQ(log.text(), "ERROR Cannot find script 'c': there is no c.xpr in one/, two/\n"
                          "ERROR '../c' cannot be the name of a script\n"
                          "ERROR Script folder '../other' is not below the root of the file system\n"
                          "ERROR Script folder '/one' is not below the root of the file system\n"
                          "ERROR Parameter quillcast.math.xpr.scriptLoader.scriptsDir names no folder\n");
    ASSERT_TRUE(scripts.link());
    EXPECT_EQ(scripts.get("a.x"), "[1]");
    EXPECT_EQ(scripts.get("b.x"), "[3]");
}

TEST(EvaluatorTest, StatesAdvanceOncePerWindow)
{
    Scripts scripts;
    ASSERT_TRUE(scripts.add("a", "count = prev(count, 0) + 1\n"
                                 "later = 100 + count\n"
                                 "last = prev(audio, -1)\n"
                                 "smooth = 0.5 * prev(smooth, 0) + 0.5 * audio\n"));
    ASSERT_TRUE(scripts.link());
    ASSERT_TRUE(scripts.pAudio->preset({0}));
    EXPECT_EQ(scripts.get("a.count"), "[1]");
    ASSERT_TRUE(scripts.pAudio->assign({2, 4}));
    EXPECT_EQ(scripts.get("a.last"), "[-1 -1]");
    EXPECT_EQ(scripts.get("a.smooth"), "[1 2]");
    EXPECT_EQ(scripts.get("a.count"), "[1]");
    EXPECT_EQ(scripts.get("a.count"), "[1]");
    ASSERT_TRUE(scripts.pAudio->assign({8, 6})); // nobody asks in this window
    ASSERT_TRUE(scripts.pAudio->assign({0, 0}));
    EXPECT_EQ(scripts.get("a.count"), "[3]");
    EXPECT_EQ(scripts.get("a.last"), "[8 6]");
    EXPECT_EQ(scripts.get("a.later"), "[103]");     // asked for the first time, which makes a new plan
    EXPECT_EQ(scripts.get("a.smooth"), "[2.25 2]"); // ((0 + 1) / 2 + 8 / 2) / 2, ((0 + 2) / 2 + 6 / 2) / 2

    const std::unique_ptr<Evaluator> pClone(scripts.evaluator.clone());
    ASSERT_TRUE(scripts.pAudio->preset({0}));
    ASSERT_TRUE(scripts.evaluator.reset());
    EXPECT_EQ(scripts.get("a.count"), "[1]");
    ASSERT_TRUE(pClone->getVariable("audio")->assign({1, 1}));
    EXPECT_EQ(Scripts::get(*pClone, "a.count"), "[4]");
    EXPECT_EQ(scripts.get("a.count"), "[1]");
}

TEST(EvaluatorTest, NothingIsAllocatedOnceWarm)
{
    Scripts scripts;
    ASSERT_TRUE(scripts.add("a", "t = tone_energy(audio, [500, 1000], 8000)\n"
                                 "m = log_mel(audio, 4, 8000) + prev(m, 0)\n"
                                 "x = t[0] > 1 ? [t, audio[argmax(audio)]] : max(m) > 0 ? [1, 2, 3] : t[1]\n"
                                 "y = sum(m) + sum(t)"));
    ASSERT_TRUE(scripts.link());
    const CountedObjPtr<Variable> pX = scripts.evaluator.getVariable("a.x");
    const CountedObjPtr<Variable> pY = scripts.evaluator.getVariable("a.y");
    DoubleVector vWindow(200, 0.5);
    DoubleVector vValue;
    const auto classify = [&]
    {
        return scripts.pAudio->assign(vWindow) && pX->evaluate(vValue) && pY->evaluate(vValue);
    };
    ASSERT_TRUE(classify());
    const Vexalor::Testing::AllocationCounter allocations;
    for (int i = 0; i < 10; ++i)
    {
        vWindow[i] = i;
        ASSERT_TRUE(classify());
    }
    EXPECT_EQ(allocations.getCount(), 0u);

    DoubleVector vOther(100, 0.5);
    std::size_t uiAllocations = 0;
    for (int i = 0; i < 10; ++i)
    {
        const Vexalor::Testing::AllocationCounter ofTwoLengths;
        std::swap(vWindow, vOther);
        ASSERT_TRUE(classify());
        uiAllocations += i < 2 ? 0 : ofTwoLengths.getCount();
    }
    EXPECT_EQ(uiAllocations, 0u);
}

TEST(EvaluatorTest, ALookupCostsWhatItAdds)
{
    Scripts scripts;
    std::string strText;
    for (int i = 0; i < 400; ++i)
        strText += "x" + std::to_string(i) + " = tone_energy(audio, " + std::to_string(100 + i) + ", 8000)\n";
    ASSERT_TRUE(scripts.add("a", strText));
    ASSERT_TRUE(scripts.link());
    ASSERT_TRUE(scripts.pAudio->assign({1, 2, 3, 4}));
    const auto classify = [](Evaluator& io_evaluator, int in_iFirst)
    {
        const Vexalor::Testing::AllocationCounter allocations;
        for (int i = in_iFirst; i < in_iFirst + 100; ++i)
            EXPECT_NE(Scripts::get(io_evaluator, ("a.x" + std::to_string(i)).c_str()), "failed");
        return allocations.getCount();
    };
    const std::unique_ptr<Evaluator> pClone(scripts.evaluator.clone());
    classify(scripts.evaluator, 0);
    const std::size_t uiEarly = classify(scripts.evaluator, 100);
    classify(scripts.evaluator, 200);
    EXPECT_LT(classify(scripts.evaluator, 300), 1.5 * uiEarly);
    EXPECT_LT(classify(*pClone, 0), 0.5 * uiEarly) << "a clone plans nothing";
}

TEST(EvaluatorTest, OnlyTheSideThatIsTakenIsEvaluated)
{
    Scripts scripts;
    // Out of range wherever "far" is needed; needed by two choices and once more inside of one.
    ASSERT_TRUE(scripts.add("a", "i = audio[0]\n"
                                 "far = audio[i] + 1\n"
                                 "safe = i < 2 ? far : -1\n"
                                 "twice = (i < 2 ? far * 2 : 0) + (i < 1 ? (i < 0.5 ? far : 0) : 10)\n"
                                 "always = far"));
    ASSERT_TRUE(scripts.link());
    const LogCapture log("quillcast.math.xpr");
    const struct
    {
        DoubleVector m_vWindow;
        const char* m_values[3]; ///< safe, twice, always
    } WINDOWS[] = {
        {{0, 5}, {"[1]", "[3]", "[1]"}},      // far = 0 + 1; 1 * 2 + 1
        {{1, 5}, {"[6]", "[22]", "[6]"}},     // far = 5 + 1; 6 * 2 + 10
        {{7, 5}, {"[-1]", "[10]", "failed"}}, // 0 + 10
    };
    for (const auto& window : WINDOWS)
    {
        ASSERT_TRUE(scripts.pAudio->assign(window.m_vWindow));
        EXPECT_EQ(scripts.get("a.safe"), window.m_values[0]);
        EXPECT_EQ(scripts.get("a.twice"), window.m_values[1]);
        EXPECT_EQ(scripts.get("a.always"), window.m_values[2]);
    }
    ASSERT_TRUE(scripts.add("b", "\n\nsame = audio[audio[0]] + 1") && scripts.link());
    EXPECT_EQ(scripts.get("a.always"), "failed");
    EXPECT_EQ(scripts.get("b.same"), "failed");
    EXPECT_EQ(log.text(), "ERROR a.xpr:2: index out of range or not whole: there are 2 values\n"
                          "ERROR a.xpr:2: index out of range or not whole: there are 2 values\n"
                          "ERROR b.xpr:3: index out of range or not whole: there are 2 values\n");
}

TEST(EvaluatorTest, AHandleOutlivesItsEvaluator)
{
    CountedObjPtr<Variable> pX;
    CountedObjPtr<DomainVariableImpl> pAudio;
    {
        Scripts scripts;
        ASSERT_TRUE(scripts.add("a", "x = sum(audio)"));
        ASSERT_TRUE(scripts.link());
        pX = scripts.evaluator.getVariable("a.x");
        pAudio = scripts.pAudio;
        ASSERT_TRUE(scripts.evaluator.addExpression("later", "1"));
        EXPECT_TRUE(scripts.evaluator.getVariable("later").isNull()); // until the next link
    }
    DoubleVector vValue;
    ASSERT_TRUE(pAudio->assign({1, 2}));
    ASSERT_TRUE(pX->evaluate(vValue));
    EXPECT_EQ(vValue, DoubleVector{3});
}

TEST(EvaluatorTest, DumpsTheGraph)
{
    Scripts scripts;
    ASSERT_TRUE(scripts.add("a", "x = sum(audio) * rate # comment\ny = [prev(y, 0),\n other.z]\n"));
    ASSERT_TRUE(scripts.evaluator.setConstant("rate", 8000));
    const std::string strFile = scripts.folder.path("graph.dot");
    ASSERT_TRUE(scripts.evaluator.dump(strFile.c_str()));
    EXPECT_EQ(readFile(strFile), "digraph evaluator {\n"
                                 "    rankdir=LR;\n"
                                 "    \"a.x\" [label=\"a.x = sum(audio) * rate\", shape=ellipse];\n"
                                 "    \"a.y\" [label=\"a.y = [prev(y, 0), other.z]\", shape=ellipse];\n"
                                 "    \"audio\" [label=\"audio\", shape=box, style=bold];\n"
                                 "    \"other.z\" [label=\"other.z\", shape=ellipse, style=dashed];\n"
                                 "    \"rate\" [label=\"rate = 8000\", shape=box];\n"
                                 "    \"audio\" -> \"a.x\";\n"
                                 "    \"rate\" -> \"a.x\";\n"
                                 "    \"other.z\" -> \"a.y\";\n"
                                 "    \"a.y\" -> \"a.y\" [style=dotted, label=\"prev\", constraint=false];\n"
                                 "}\n");
    const LogCapture log("quillcast.math.xpr");
    EXPECT_FALSE(scripts.evaluator.dump(scripts.folder.path("none/graph.dot").c_str()));
    EXPECT_EQ(log.count("none/graph.dot: No such file or directory"), 1u) << log.text();
}
