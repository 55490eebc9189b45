#include "MLVectorFileDataGenerator.h"
#include "test-support/CountingResettable.h"
#include "test-support/FileFaults.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <fstream>
#include <gmock/gmock.h>
#include <limits>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::FileFaults;
using testing::IsEmpty;

namespace
{

using Limits = std::numeric_limits<double>;

class VectorFileTest : public testing::Test
{
protected:
    /// Reads a file of that content to its end: one line a pattern, "!" for a reset of the entity before it.
    std::string read(const std::string& in_strContent)
    {
        VectorFileDataGenerator generator;
        const CountedObjPtr<Testing::CountingResettable> hEntity(new Testing::CountingResettable);
        generator.setEntityToReset(hEntity);
        generator.setCurrentFilename(m_folder.write("patterns", in_strContent).c_str());
        EXPECT_TRUE(generator.gotoStart());
        EXPECT_EQ(hEntity->m_iResets, 1);
        return readPass(generator, *hEntity);
    }

    static std::string readPass(VectorFileDataGenerator& io_generator, Testing::CountingResettable& io_entity)
    {
        std::ostringstream text;
        io_entity.m_iResets = 0;
        DoubleVector vInput;
        DoubleVector vTarget;
        EXPECT_FALSE(io_generator.getInput(vInput));
        while (io_generator.generateNext())
        {
            text << std::string(static_cast<std::size_t>(io_entity.m_iResets), '!');
            io_entity.m_iResets = 0;
            EXPECT_TRUE(io_generator.getInput(vInput));
            text << vInput;
            if (io_generator.getTarget(vTarget))
                text << "->" << vTarget;
            text << ';';
        }
        EXPECT_TRUE(io_generator.atEnd());
        EXPECT_TRUE(io_generator.endedCleanly());
        EXPECT_FALSE(io_generator.getInput(vInput));
        EXPECT_FALSE(io_generator.getTarget(vTarget));
        return text.str() + std::string(static_cast<std::size_t>(io_entity.m_iResets), '!');
    }

    Testing::TempDir m_folder;
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
    const Testing::LogCapture log("quillcast.ml.generator.VectorFileDataGenerator", LogLevel::WARN);
    EXPECT_EQ(read("reset\n[1] []\n\nreset\n[2] [x]\n"), "![1];![2];");
    const std::string strPrefix = "WARN MachineLearning::VectorFileDataGenerator::readLine : failed to ";
    EXPECT_THAT(log.lines(),
                ElementsAre(strPrefix + "parse line 2 of file " + m_folder.path("patterns") + ". Ignoring",
                            strPrefix + "read target from line 3. Ignoring"));
}

TEST_F(VectorFileTest, PassesAreEqualAndAGivenNameIsUsedByTheFirst)
{
    const Testing::LogCapture log("quillcast.ml.generator.VectorFileDataGenerator", LogLevel::INFO);
    VectorFileDataGenerator generator;
    const CountedObjPtr<Testing::CountingResettable> hEntity(new Testing::CountingResettable);
    generator.setEntityToReset(hEntity);
    generator.setCurrentFilename(m_folder.write("first", "[1] [2]\nreset\n[3] []\n").c_str());
    ASSERT_TRUE(generator.gotoStart());
    EXPECT_EQ(readPass(generator, *hEntity), "[1]->[2];![3];");
    generator.setCurrentFilename("second");
    EXPECT_STREQ(generator.getCurrentFilename(), "second");
    ASSERT_TRUE(generator.gotoStart());
    ASSERT_TRUE(generator.generateNext());
    std::ostringstream status;
    generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Pattern 1");
    ASSERT_TRUE(generator.gotoStart()) << "in the middle of a pass";
    EXPECT_EQ(readPass(generator, *hEntity), "[1]->[2];![3];");
}

TEST_F(VectorFileTest, StatusAtDebugLevelShowsThePattern)
{
    const Testing::LogCapture log("quillcast.ml.generator.VectorFileDataGenerator", LogLevel::DEBUGGING);
    VectorFileDataGenerator generator;
    generator.setCurrentFilename(m_folder.write("patterns", "[1 2] [3]\n").c_str());
    ASSERT_TRUE(generator.gotoStart() && generator.generateNext());
    std::ostringstream status;
    generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Pattern 1\nInput: [1 2]\nTarget: [3]");
    EXPECT_TRUE(log.has("DEBUG Opening file " + m_folder.path("patterns"))) << log.text();
}

TEST_F(VectorFileTest, SourcesThatCannotBeRead)
{
    const std::string strStart =
        "ERROR MachineLearning::VectorFileDataGenerator::gotoStart : failed to open file ";
    for (const std::string& strName : {std::string("/does/not/exist"), m_folder.path()})
    {
        const Testing::LogCapture log("quillcast.ml.generator.VectorFileDataGenerator");
        VectorFileDataGenerator generator;
        generator.setCurrentFilename(strName.c_str());
        EXPECT_FALSE(generator.gotoStart());
        EXPECT_THAT(log.lines(), ElementsAre(strStart + strName + " for reading"));
        EXPECT_FALSE(generator.generateNext()) << "and does not loop";
        EXPECT_TRUE(generator.atEnd());
        // A start that works is a new one, whatever was tried before.
        generator.setCurrentFilename(m_folder.write("patterns", "hello\n[1] []\n").c_str());
        ASSERT_TRUE(generator.gotoStart());
        EXPECT_FALSE(generator.atEnd());
        EXPECT_TRUE(generator.generateNext());
    }
}

TEST_F(VectorFileTest, AnErrorOfTheSystemEndsThePassAndIsTold)
{
    // Each line a block and a half, so that every read ends within one.
    const std::string strFiller(400000, ' ');
    std::string strContent;
    for (int i = 0; i < 6; ++i)
        strContent += "[" + std::to_string(i) + strFiller + "] [1]\n";
    const std::string strLines = "[7] [1]\n" + std::string(300000, ' ') + "\n[8] [1]\n";
    for (const std::string& strPath : {m_folder.write("long", strContent), m_folder.write("short", strLines)})
    {
        std::size_t uiEarlier = 0;
        bool bReachedEnd = false;
        for (unsigned int uiFailing = 1; !bReachedEnd; ++uiFailing)
        {
            const Testing::LogCapture log("quillcast", LogLevel::WARN);
            VectorFileDataGenerator generator;
            generator.setCurrentFilename(strPath.c_str());
            const FileFaults faults(m_folder.path(), FileFaults::READ, uiFailing);
            ASSERT_TRUE(generator.gotoStart());
            std::size_t uiPatterns = 0;
            DoubleVector vTarget;
            for (; generator.generateNext(); ++uiPatterns)
                EXPECT_TRUE(generator.getTarget(vTarget)) << "no pattern is cut";
            bReachedEnd = FileFaults::getCalls(FileFaults::READ) < uiFailing;
            EXPECT_GE(uiPatterns, uiEarlier);
            EXPECT_TRUE(generator.atEnd());
            EXPECT_FALSE(generator.generateNext());
            EXPECT_EQ(generator.endedCleanly(), bReachedEnd) << uiFailing;
            EXPECT_EQ(log.count("ERROR Cannot read " + strPath), bReachedEnd ? 0u : 1u) << log.text();
            EXPECT_EQ(log.count("WARN"), strPath.ends_with("short") && uiPatterns > 1 ? 1u : 0u);
            uiEarlier = uiPatterns;
        }
        EXPECT_EQ(uiEarlier, strPath.ends_with("short") ? 2u : 6u);
    }
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

TEST_F(VectorFileTest, FailingResetStopsTheStartButNotTheStream)
{
    VectorFileDataGenerator generator;
    const CountedObjPtr<Testing::CountingResettable> hEntity(new Testing::CountingResettable);
    generator.setEntityToReset(hEntity);
    generator.setCurrentFilename(m_folder.write("patterns", "reset\n[1] []\n").c_str());
    ASSERT_TRUE(generator.gotoStart());
    hEntity->m_bResult = false;
    EXPECT_TRUE(generator.generateNext());
    Testing::AssertionCapture assertions;
    EXPECT_FALSE(generator.gotoStart());
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("m_pEntityToReset.isNull() || m_pEntityToReset->reset()"));
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

TEST_F(VectorFileTest, NewlineAtEveryPlaceAroundTheBlockEnd)
{
    constexpr std::size_t BLOCK = 1 << 18;
    for (std::size_t uiLength = BLOCK - 4; uiLength <= BLOCK + 4; ++uiLength)
    {
        // An unusable line of uiLength characters and its newline, then a pattern.
        EXPECT_EQ(read(std::string(uiLength, 'x') + "\n[1] [2]\n"), "[1]->[2];") << uiLength;
    }
}

TEST_F(VectorFileTest, WrittenPatternsReadBackToTheBit)
{
    VectorFileWriter writer;
    ASSERT_TRUE(writer.open(m_folder.path("out").c_str()));
    const DoubleVector vOdd{Limits::denorm_min(), -0.0, Limits::max(), 0.1, Limits::quiet_NaN(),
                            -Limits::infinity()};
    EXPECT_TRUE(writer.write(true, vOdd, {}));
    EXPECT_TRUE(writer.write(false, vOdd, {1.0, 0.0}));
    EXPECT_TRUE(writer.write(false, vOdd, {}));
    EXPECT_TRUE(writer.close());
    const std::string strOdd = "[5e-324 -0 1.7976931348623157e+308 0.1 nan -inf]";
    EXPECT_EQ(Testing::readFile(m_folder.path("out")),
              "reset\n" + strOdd + " []\n" + strOdd + " [1 0]\n" + strOdd + " []\n");
    EXPECT_EQ(read(Testing::readFile(m_folder.path("out"))),
              "!" + strOdd + ";" + strOdd + "->[1 0];" + strOdd + ";");
}

TEST_F(VectorFileTest, WriterKeepsSizesAndCanBeReused)
{
    Testing::AssertionCapture assertions;
    VectorFileWriter writer;
    ASSERT_TRUE(writer.open(m_folder.path("first").c_str()));
    EXPECT_TRUE(writer.write(false, {1, 2}, {3}));
    EXPECT_FALSE(writer.write(false, {1}, {3}));
    EXPECT_FALSE(writer.write(false, {1, 2}, {3, 4}));
    EXPECT_TRUE(writer.write(false, {4, 5}, {}));
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("m_uiNbInput == in_vInput.size()",
                            "in_vTarget.empty() || m_uiNbTarget == in_vTarget.size()"));
    EXPECT_EQ(Testing::readFile(m_folder.path("first")), "[1 2] [3]\n[4 5] []\n") << "flushed while open";

    ASSERT_TRUE(writer.open(m_folder.path("second").c_str()));
    EXPECT_STREQ(writer.getCurrentFilename(), m_folder.path("second").c_str());
    EXPECT_TRUE(writer.write(false, {1, 2, 3}, {}));
    EXPECT_TRUE(writer.close());
    EXPECT_EQ(Testing::readFile(m_folder.path("second")), "[1 2 3] []\n");
}

TEST_F(VectorFileTest, LostPatternsAreTold)
{
    const Testing::LogCapture log("quillcast.ml.generator.VectorFileDataGenerator");
    VectorFileWriter writer;
    EXPECT_FALSE(writer.open("/does/not/exist"));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Could not open file /does/not/exist for output."));
    EXPECT_TRUE(writer.close()) << "nothing was written";
    EXPECT_TRUE(writer.write(false, {1}, {}));
    EXPECT_TRUE(writer.hasLost());
    {
        const Testing::AssertionCapture assertions;
        EXPECT_FALSE(writer.write(false, {1, 2}, {}));
        EXPECT_FALSE(writer.open(nullptr));
        EXPECT_THAT(assertions.conditions(),
                    ElementsAre("m_uiNbInput == in_vInput.size()", "in_filename != nullptr"));
    }
    EXPECT_FALSE(writer.close());

    ASSERT_TRUE(writer.open("/dev/full"));
    EXPECT_TRUE(writer.write(false, {1}, {}));
    EXPECT_FALSE(writer.close());
    ASSERT_TRUE(writer.open(m_folder.path("out").c_str())) << "works again afterwards";
    EXPECT_TRUE(writer.write(false, {1}, {}));
    EXPECT_TRUE(writer.close());
}
