// What the pattern files of both formats share, readers and writers.

#include "MLBinaryFileDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "TestPrelude.h"
#include "test-support/FileFaults.h"

namespace
{

struct Text
{
    using Generator = VectorFileDataGenerator;
    using Writer = VectorFileWriter;
    static constexpr const char* NAME = "VectorFileDataGenerator";
    static constexpr const char* INPUT_SIZE = "m_uiNbInput == in_vInput.size()";
    static constexpr const char* TARGET_SIZE = "in_vTarget.empty() || m_uiNbTarget == in_vTarget.size()";
};

struct Binary
{
    using Generator = BinaryFileDataGenerator;
    using Writer = BinaryFileWriter;
    static constexpr const char* NAME = "BinaryFileDataGenerator";
    static constexpr const char* INPUT_SIZE = "in_vInput.size() == m_uiNbInput";
    static constexpr const char* TARGET_SIZE = "in_vTarget.size() == m_uiNbTarget";
};

template <class Format>
class PatternFileTest : public testing::Test
{
protected:
    PatternFileTest()
    {
        m_generator.setEntityToReset(m_hEntity);
        EXPECT_TRUE(writePatterns(m_writer, m_folder.path("good"), {{{1, 2}, {3}}, {{4, 5}, {}, true}}));
    }

    const std::string m_strLogger = std::string("quillcast.ml.generator.") + Format::NAME;
    TempDir m_folder;
    const CountedObjPtr<CountingResettable> m_hEntity{new CountingResettable};
    typename Format::Generator m_generator;
    typename Format::Writer m_writer;
};
using Formats = testing::Types<Text, Binary>;
TYPED_TEST_SUITE(PatternFileTest, Formats);

} // namespace

TYPED_TEST(PatternFileTest, SourcesThatCannotBeOpened)
{
    for (const std::string& strName : {std::string("/does/not/exist"), this->m_folder.path()})
    {
        typename TypeParam::Generator generator;
        generator.setEntityToReset(this->m_hEntity);
        EXPECT_FALSE(generator.generateNext()) << "never started";
        const LogCapture log(this->m_strLogger.c_str());
        generator.setCurrentFilename(strName.c_str());
        EXPECT_FALSE(generator.gotoStart());
        EXPECT_THAT(log.lines(),
                    ElementsAre(std::string("ERROR MachineLearning::") + TypeParam::NAME +
                                "::gotoStart : failed to open file " + strName + " for reading"));
        EXPECT_FALSE(generator.generateNext()) << "and does not loop";
        // A start that works is a new one, whatever was tried before.
        generator.setCurrentFilename(this->m_folder.path("good").c_str());
        EXPECT_EQ(readAll(generator, *this->m_hEntity), "[1 2]->[3];![4 5];");
        EXPECT_TRUE(generator.endedCleanly());
    }
}

TYPED_TEST(PatternFileTest, StatusIsThatOfTheOpenFileWhateverTheNameSays)
{
    this->m_generator.setCurrentFilename(this->m_folder.path("good").c_str());
    ASSERT_TRUE(this->m_generator.gotoStart());
    this->m_generator.setCurrentFilename("another");
    EXPECT_STREQ(this->m_generator.getCurrentFilename(), "another");
    ASSERT_TRUE(this->m_generator.gotoStart() && this->m_generator.generateNext());
    std::ostringstream status;
    for (const LogLevel level : {LogLevel::INFO, LogLevel::DEBUGGING})
    {
        const LogCapture log(this->m_strLogger.c_str(), level);
        this->m_generator.dumpStatus(status << ", ");
    }
    EXPECT_EQ(status.str(), ", Pattern 1, Pattern 1\nInput: [1 2]\nTarget: [3]");
}

TYPED_TEST(PatternFileTest, AnErrorOfTheSystemEndsThePassAndIsTold)
{
    // A pattern is 160 KB or, as text, 380 KB, so that reads of 256 KB end within one.
    const std::string strPath = this->m_folder.path("patterns");
    const Patterns vPatterns(8, {DoubleVector(20000, 1.0 / 3), {1}});
    ASSERT_TRUE(writePatterns(this->m_writer, strPath, vPatterns));
    std::size_t uiEarlier = 0;
    bool bReachedEnd = false;
    for (unsigned int uiFailing = 1; !bReachedEnd; ++uiFailing)
    {
        const LogCapture log("quillcast", LogLevel::WARN);
        typename TypeParam::Generator generator;
        generator.setCurrentFilename(strPath.c_str());
        const FileFaults faults(this->m_folder.path(), FileFaults::READ, uiFailing);
        std::size_t uiPatterns = 0;
        DoubleVector vTarget;
        for (bool bStarted = generator.gotoStart(); bStarted && generator.generateNext(); ++uiPatterns)
            EXPECT_TRUE(generator.getTarget(vTarget)) << "no pattern is cut";
        bReachedEnd = FileFaults::getCalls(FileFaults::READ) < uiFailing;
        EXPECT_GE(uiPatterns, uiEarlier);
        EXPECT_FALSE(generator.generateNext());
        EXPECT_EQ(generator.endedCleanly(), bReachedEnd) << uiFailing;
        EXPECT_EQ(log.count("ERROR Cannot read " + strPath), bReachedEnd ? 0u : 1u) << log.text();
        EXPECT_EQ(log.count("WARN"), 0u) << log.text();
        uiEarlier = uiPatterns;
    }
    EXPECT_EQ(uiEarlier, 8u);
}

TYPED_TEST(PatternFileTest, PatternsThatAreLostAreTold)
{
    auto& writer = this->m_writer;
    const LogCapture log(this->m_strLogger.c_str());
    EXPECT_FALSE(writer.open("/does/not/exist"));
    EXPECT_STREQ(writer.getCurrentFilename(), "/does/not/exist");
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Could not open file /does/not/exist for output."));
    EXPECT_TRUE(writer.close()) << "nothing was written";
    typename TypeParam::Writer unopened;
    EXPECT_TRUE(unopened.write(false, {1}, {1}));
    EXPECT_TRUE(unopened.hasLost());
    {
        const AssertionCapture assertions;
        EXPECT_FALSE(unopened.write(false, {1, 2}, {1}));
        EXPECT_FALSE(unopened.write(false, {1}, {1, 2}));
        EXPECT_FALSE(unopened.open(nullptr));
        EXPECT_THAT(assertions.conditions(),
                    ElementsAre(TypeParam::INPUT_SIZE, TypeParam::TARGET_SIZE, "in_filename != nullptr"));
    }
    EXPECT_FALSE(unopened.close());
    {
        typename TypeParam::Writer full;
        ASSERT_TRUE(full.open("/dev/full"));
        EXPECT_TRUE(full.write(false, {1}, {1}));
    }
    EXPECT_TRUE(log.has("ERROR Could not write all patterns to /dev/full")) << log.text();
    ASSERT_TRUE(unopened.open(this->m_folder.path("out").c_str())) << "works again, for other sizes";
    EXPECT_TRUE(unopened.write(false, {1, 2}, {1, 2}));
    EXPECT_TRUE(unopened.close());
}
