#include "MLClassifier.h"
#include "TestPrelude.h"

#include <cmath>
#include <limits>

namespace
{

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

Classifier::Result makeResult(const std::vector<double>& in_vValues)
{
    Classifier::Result result;
    for (std::size_t i = 0; i < in_vValues.size(); ++i)
        result.addEntry(std::string(1, static_cast<char>('a' + i)).c_str(), in_vValues[i]);
    return result;
}

} // namespace

TEST(ClassifierResultTest, TextReadsBackInOrder)
{
    Classifier::Result result;
    EXPECT_EQ(result.find("speech"), nullptr);
    EXPECT_EQ(result.getMaxResult(), nullptr);
    result.addEntry("speech", 0.75);
    result.addEntry("noise", 0.25);
    result.addEntry("off", -INFINITE);
    result.addEntry("odd", NOT_A_NUMBER);
    result.addEntry("zero", -0.0);
    const std::string strText = "speech=0.75\nnoise=0.25\noff=-inf\nodd=nan\nzero=-0\n";
    EXPECT_EQ(toText(result), strText);

    std::istringstream stream(strText);
    Classifier::Result back = makeResult({1.0});
    EXPECT_FALSE(back.read(stream).fail());
    EXPECT_TRUE(stream.eof());
    EXPECT_EQ(toText(back), strText);
    back.read(stream);
    EXPECT_TRUE(stream.eof() && back.size() == 0u) << "nothing is left";
}

TEST(ClassifierResultTest, LinesAreEntriesOrEndTheResult)
{
    // Text, entries as they are written, failure.
    const std::tuple<const char*, const char*, const char*, bool> CASES[] = {
        {"nothing", "", "", false},
        {"last line without its end", "a=1\nb=2", "a=1\nb=2\n", false},
        {"blanks around", "   a b= 1\n", "a b=1\n", false},
        {"a tab belongs to the name", "\ta=1\n", "\ta=1\n", false},
        {"blanks only", "   \n", "", true},
        {"rest of a line", "a=1.5 and more=2\nb=+2x\n", "a=1.5\nb=2\n", false},
        {"carriage return", "a=1\r\nb=2\r\n", "a=1\nb=2\n", false},
        {"words", "a=INF\nb=+nan\nc=-nan\n", "a=inf\nb=nan\nc=-nan\n", false},
        {"empty line", "a=1\n\nb=2\n", "a=1\n", true},
        {"no name", "=1\n", "", true},
        {"no equals sign", "a=1\nb 2\nc=3\n", "a=1\n", true},
        {"no value", "a=\n", "", true},
        {"no number", "a=one\n", "", true},
        {"half a word", "a=na\n", "", true},
        {"two signs", "a=-+1\n", "", true},
        {"a sign apart", "a=- 1\n", "", true},
        {"out of range", "a=1e999\n", "", true},
    };
    for (const auto& [name, text, entries, bFails] : CASES)
    {
        const LogCapture log("quillcast.ml.Classifier", LogLevel::DEBUGGING);
        std::istringstream stream(text);
        Classifier::Result result;
        EXPECT_EQ(result.read(stream).fail(), bFails) << name;
        EXPECT_EQ(toText(result), entries) << name;
        EXPECT_EQ(log.count("DEBUG Error parsing line "), bFails ? 1u : 0u) << name;
    }
}

TEST(ClassifierResultTest, AnEntryAloneReadsUpToItsValue)
{
    std::istringstream stream("a=1 b=2.5");
    Classifier::SingleOutputResult entry;
    EXPECT_EQ(toText(entry), "?\?\?=0");
    stream >> entry;
    EXPECT_EQ(toText(entry), "a=1");
    stream >> entry;
    EXPECT_EQ(toText(entry), "b=2.5");
    EXPECT_FALSE(stream.fail());
    stream >> entry;
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(toText(entry), "=0");

    std::istringstream noNumber("c=x");
    entry.m_dValue = 3.0;
    EXPECT_TRUE(entry.read(noNumber).fail());
    EXPECT_EQ(toText(entry), "c=0") << "the name stays, the value does not";
    EXPECT_EQ(toText(Classifier::SingleOutputResult(nullptr, 2.0)), "?\?\?=2");
}

TEST(ClassifierResultTest, FindsAndOrdersEntries)
{
    Classifier::Result result = makeResult({0.5, 0.9, 0.9});
    result.addEntry("b", 0.1);
    EXPECT_EQ(result.find("b"), result.begin() + 1) << "the first of two";
    EXPECT_EQ(result.find("B"), result.end());
    EXPECT_EQ(result.find(nullptr), result.end());
    EXPECT_EQ(result.getMaxResult(), result.begin() + 1);
    EXPECT_EQ(makeResult({NOT_A_NUMBER, -1.0}).getMaxResult()->m_dValue, -1.0);

    Classifier::Result toSort = makeResult({0.1, NOT_A_NUMBER, 0.7, 0.3});
    EXPECT_TRUE(toSort.sort(true));
    EXPECT_EQ(toText(toSort), "c=0.7\nd=0.3\na=0.1\nb=nan\n");
    EXPECT_TRUE(toSort.sort(false));
    EXPECT_EQ(toText(toSort), "b=nan\na=0.1\nd=0.3\nc=0.7\n");

    Classifier::Result copy = toSort;
    toSort.reset();
    EXPECT_EQ(toText(toSort), "b=0\na=0\nd=0\nc=0\n");
    toSort = copy;
    toSort.resize(5);
    EXPECT_EQ(toText(toSort), "b=nan\na=0.1\nd=0.3\nc=0.7\n?\?\?=0\n");
}
