#include "MLVectorFileDataGenerator.h"
#include "TestPrelude.h"

#include <fstream>
#include <limits>

namespace
{

class VectorFileTest : public testing::Test
{
protected:
    std::string read(const std::string& in_strContent)
    {
        VectorFileDataGenerator generator;
        const CountedObjPtr<CountingResettable> hEntity(new CountingResettable);
        generator.setEntityToReset(hEntity);
        generator.setCurrentFilename(m_folder.write("patterns", in_strContent).c_str());
        const std::string strPatterns = readAll(generator, *hEntity);
        EXPECT_TRUE(generator.endedCleanly());
        return strPatterns;
    }

    TempDir m_folder;
};

} // namespace

TEST_F(VectorFileTest, RecordsOfEachKind)
{
    const struct
    {
        const char* m_name;
        const char* m_content;
        const char* m_patterns;
    } TABLE[] = {
        {"empty file", "", ""},
        {"one pattern", "[1 2] [3]\n", "[1 2]->[3];"},
        {"no newline at the end", "[1] [2]", "[1]->[2];"},
        {"no target", "[1] []\n", "[1];"},
        {"empty input", "[] [1]\n", "[]->[1];"},
        {"sequences", "reset\n[1] []\n[2] []\nreset\n[3] []\n", "![1];[2];![3];"},
        {"reset at the end", "[1] []\nreset\n", "[1];"},
        {"blank line and text", "[1] []\n\nhello\n[2] []\n", "[1];[2];"},
        {"carriage returns", "reset\r\n[1] [2]\r\n", "[1]->[2];"},
        {"reset kept over an unusable line", "reset\nhello\n[1] []\n", "![1];"},
        {"two resets in a row", "reset\nreset\n[1] []\n", "![1];"},
        {"unusable target, reset all the same", "reset\n[1] [x]\n[2] [3]\n", "![1];[2]->[3];"},
        {"missing target", "[1]\n", "[1];"},
        {"several blanks", "[ 1  2 ]   [ 3 ]\n", "[1 2]->[3];"},
        {"vectors of any size", "[1] [2]\n[1 2 3] []\n", "[1]->[2];[1 2 3];"},
        {"nan and inf", "[nan inf] [-inf]\n", "[nan inf]->[-inf];"},
    };
    for (const auto& row : TABLE)
        EXPECT_EQ(read(row.m_content), row.m_patterns) << row.m_name;
}

TEST_F(VectorFileTest, WarningsCountPatternLines)
{
    const LogCapture log("quillcast.ml.generator.VectorFileDataGenerator", LogLevel::WARN);
    EXPECT_EQ(read("reset\n[1] []\n\nreset\n[2] [x]\n"), "![1];![2];");
    const std::string strPrefix = "WARN MachineLearning::VectorFileDataGenerator::readLine : failed to ";
    EXPECT_THAT(log.lines(),
                ElementsAre(strPrefix + "parse line 2 of file " + m_folder.path("patterns") + ". Ignoring",
                            strPrefix + "read target from line 3. Ignoring"));
}

TEST_F(VectorFileTest, TheEndStaysWhenTheFileGrows)
{
    VectorFileDataGenerator generator;
    generator.setCurrentFilename(m_folder.write("patterns", "[1] []\n").c_str());
    ASSERT_TRUE(generator.gotoStart() && generator.generateNext());
    EXPECT_FALSE(generator.generateNext());
    std::ofstream(m_folder.path("patterns"), std::ios::app) << "[2] []\n";
    EXPECT_FALSE(generator.generateNext());
    EXPECT_TRUE(generator.atEnd());
    ASSERT_TRUE(generator.gotoStart());
    EXPECT_TRUE(generator.generateNext() && generator.generateNext());
}

TEST_F(VectorFileTest, LinesLongerThanTheBlock)
{
    // 100 000 values a vector are about 500 KB a line, twice the block.
    std::string strLong = "[";
    for (int i = 0; i < 100000; ++i)
        strLong += (i == 0 ? "" : " ") + std::to_string(i % 1000);
    strLong += "]";
    const std::string strJunk(1000000, 'x');
    const std::string strContent = strJunk + "\n" + strLong + " [1]\n[1 2\n[5] [6]\n" + strLong + " " +
                                   strLong + "\n[1 " + strJunk + "\n[7] [8]\nreset\n" + strLong + " []";
    EXPECT_EQ(read(strContent),
              strLong + "->[1];[5]->[6];" + strLong + "->" + strLong + ";[7]->[8];!" + strLong + ";");
}

TEST_F(VectorFileTest, AFileWithoutLineEndsIsNotReadForever)
{
    VectorFileDataGenerator reader;
    const LogCapture log("quillcast.ml.TextLineReader");
    ASSERT_TRUE(reader.setCurrentFilename("/dev/zero"));
    for (const std::size_t uiPass : {1, 2})
    {
        ASSERT_TRUE(reader.gotoStart());
        EXPECT_FALSE(reader.generateNext());
        EXPECT_FALSE(reader.generateNext());
        EXPECT_TRUE(reader.atEnd());
        EXPECT_FALSE(reader.endedCleanly());
        EXPECT_EQ(log.count("ERROR Line 1 of file /dev/zero has more than 1073741824 bytes"), uiPass);
    }
}

TEST_F(VectorFileTest, NewlineAtEveryPlaceAroundTheBlockEnd)
{
    // An unusable line of that many characters and its newline, then a pattern.
    for (std::size_t uiLength = (1 << 18) - 4; uiLength <= (1 << 18) + 4; ++uiLength)
        EXPECT_EQ(read(std::string(uiLength, 'x') + "\n[1] [2]\n"), "[1]->[2];") << uiLength;
}

TEST_F(VectorFileTest, WrittenPatternsReadBackToTheBit)
{
    using Limits = std::numeric_limits<double>;
    const DoubleVector vOdd{Limits::denorm_min(), -0.0, Limits::max(), 0.1, Limits::quiet_NaN(),
                            -Limits::infinity()};
    VectorFileWriter writer;
    ASSERT_TRUE(writer.open(m_folder.path("out").c_str()) && writer.write(true, vOdd, {}) &&
                writer.write(false, vOdd, {1.0, 0.0}));
    const std::string strOdd = "[5e-324 -0 1.7976931348623157e+308 0.1 nan -inf]";
    const std::string strContent = readFile(m_folder.path("out"));
    EXPECT_EQ(strContent, "reset\n" + strOdd + " []\n" + strOdd + " [1 0]\n") << "nothing waits";
    EXPECT_EQ(read(strContent), "!" + strOdd + ";" + strOdd + "->[1 0];");
}
