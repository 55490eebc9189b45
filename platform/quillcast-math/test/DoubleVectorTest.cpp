#include "quillcast-math/DoubleVector.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

using namespace Vexalor;

namespace
{

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

std::string textOf(const DoubleVector& in_vVector)
{
    std::string strText;
    in_vVector.appendTo(strText);
    return strText;
}

struct CommaDecimals : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

} // namespace

TEST(DoubleVectorTest, TextFormIsFixed)
{
    EXPECT_EQ(textOf(DoubleVector()), "[]");
    EXPECT_EQ(textOf(DoubleVector{0.5}), "[0.5]");
    EXPECT_EQ(textOf(DoubleVector{0.1, -2.0, 1e22, -0.0, 5e-324, NOT_A_NUMBER, -INFINITE}),
              "[0.1 -2 1e+22 -0 5e-324 nan -inf]");

    std::ostringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new CommaDecimals));
    stream << std::setprecision(2) << std::fixed << std::setw(30) << DoubleVector{1234.5678};
    EXPECT_EQ(stream.str(), "[1234.5678]");
}

TEST(DoubleVectorTest, TextReadsBackToTheSameBits)
{
    std::mt19937_64 random(1);
    std::string strText;
    for (int iRound = 0; iRound < 200; ++iRound)
    {
        // 150 values of up to 24 characters pass the writer's block of 2048 characters.
        DoubleVector vWritten(150);
        for (double& dValue : vWritten)
        {
            const std::uint64_t uiBits = random();
            std::memcpy(&dValue, &uiBits, sizeof dValue);
        }
        strText.assign("before");
        vWritten.appendTo(strText);
        DoubleVector vRead;
        ASSERT_EQ(vRead.parse(strText.data() + 6, strText.data() + strText.size()),
                  strText.data() + strText.size());
        ASSERT_EQ(vRead, vWritten);
        std::istringstream stream(strText.substr(6));
        DoubleVector vStreamed;
        ASSERT_TRUE(stream >> vStreamed);
        ASSERT_EQ(vStreamed, vWritten);
    }
}

TEST(DoubleVectorTest, ParseAndReadShareOneGrammar)
{
    struct Case
    {
        std::string m_strText;
        bool m_bValid;
        DoubleVector m_vValues;
        std::size_t m_uiRest; // characters left after the form
    };
    const std::string strZeros(3000, '0');
    const Case cases[] = {
        {"[]", true, {}, 0},
        {"[ \t]", true, {}, 0},
        {"[1 2]", true, {1, 2}, 0},
        {" \t[ 1\t 2 ] [3]", true, {1, 2}, 4},
        {"[1][2]", true, {1}, 3},
        {"[nan -inf -1e-3]", true, {NOT_A_NUMBER, -INFINITE, -0.001}, 0},
        {"[0." + strZeros.substr(0, 1900) + "1]", false, {}, 0}, // below the smallest double
        {"[1." + strZeros.substr(0, 1900) + "]", true, {1}, 0},
        {"[1." + strZeros + "]", false, {}, 0}, // too long a value
        {"", false, {}, 0},
        {"1 2]", false, {}, 0},
        {"[", false, {}, 0},
        {"[1", false, {}, 0},
        {"[1 ", false, {}, 0},
        {"[1\n2]", false, {}, 0},
        {"\n[1]", false, {}, 0},
        {"[1,2]", false, {}, 0},
        {"[1.5-2]", false, {}, 0},
        {"[+1]", false, {}, 0},
        {"[--1]", false, {}, 0},
        {"[0x10]", false, {}, 0},
        {"[1[2]", false, {}, 0},
        {"[1e999]", false, {}, 0},
        {"[-1e999]", false, {}, 0},
        {"[1 x]", false, {}, 0},
        {std::string("[1\0]", 4), false, {}, 0},
    };
    for (const Case& testCase : cases)
    {
        const std::string& strText = testCase.m_strText;
        SCOPED_TRACE(strText.substr(0, 40));
        DoubleVector vParsed{7, 7};
        const char* pNext = vParsed.parse(strText.data(), strText.data() + strText.size());
        EXPECT_EQ(pNext != nullptr, testCase.m_bValid);
        EXPECT_EQ(vParsed, testCase.m_vValues);
        std::istringstream stream(strText);
        DoubleVector vRead{7, 7};
        EXPECT_EQ(static_cast<bool>(stream >> vRead), testCase.m_bValid);
        EXPECT_EQ(vRead, testCase.m_vValues);
        if (!testCase.m_bValid)
            continue;
        EXPECT_EQ(strText.data() + strText.size() - pNext, testCase.m_uiRest);
        EXPECT_EQ(stream.tellg(), static_cast<std::streamoff>(strText.size() - testCase.m_uiRest));
    }
}

TEST(DoubleVectorTest, ReadTellsTheEndOfTheStreamFromJunk)
{
    DoubleVector vVector;
    std::istringstream cut("[1 2");
    cut >> vVector;
    EXPECT_TRUE(cut.fail() && cut.eof());
    std::istringstream junk("x[1]");
    junk >> vVector;
    EXPECT_TRUE(junk.fail() && !junk.eof());
}

TEST(DoubleVectorTest, SizeIsBoundedWhenReading)
{
    std::string strText = "[";
    for (std::size_t uiValue = 0; uiValue <= DoubleVector::MAX_READ_SIZE; ++uiValue)
        strText += "0 ";
    strText += ']';
    DoubleVector vVector;
    EXPECT_EQ(vVector.parse(strText.data(), strText.data() + strText.size()), nullptr);
    strText.replace(1, 1, " "); // one value fewer
    EXPECT_NE(vVector.parse(strText.data(), strText.data() + strText.size()), nullptr);
    EXPECT_EQ(vVector.size(), DoubleVector::MAX_READ_SIZE);
}

TEST(DoubleVectorTest, EqualityAndAverage)
{
    EXPECT_EQ((DoubleVector{NOT_A_NUMBER, 0.0}), (DoubleVector{-NOT_A_NUMBER, -0.0}));
    EXPECT_NE((DoubleVector{1.0, 2.0}), (DoubleVector{1.0}));
    EXPECT_NE((DoubleVector{1.0}), (DoubleVector{std::nextafter(1.0, 2.0)}));
    EXPECT_NE((DoubleVector{NOT_A_NUMBER}), (DoubleVector{1.0}));
    EXPECT_EQ((DoubleVector{1.0, 2.0, 6.0}).getAverage(), 3.0);
    EXPECT_TRUE(std::isnan(DoubleVector().getAverage()));
}
