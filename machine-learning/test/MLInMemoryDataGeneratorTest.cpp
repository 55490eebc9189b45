#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "TestPrelude.h"

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.InMemoryDataGenerator";

/// The first pattern is marked as well, although every pass begins a sequence.
class InMemoryTest : public testing::Test
{
protected:
    InMemoryTest()
    {
        m_cache.setDataGenerator(m_pSource);
        EXPECT_TRUE(m_cache.setEntityToReset(m_pEntity));
    }

    std::string readAll(InMemoryDataGenerator& io_cache) { return Testing::readAll(io_cache, *m_pEntity); }

    CountedObjPtr<ScriptedGenerator> m_pSource{
        new ScriptedGenerator(Patterns{{{1}, {10}, true}, {{2}, {}}, {{3}, {30}, true}, {{4}, {40}}})};
    CountedObjPtr<CountingResettable> m_pEntity{new CountingResettable};
    InMemoryDataGenerator m_cache;
    AssertionCapture m_assertions;
    LogCapture m_log{LOGGER, LogLevel::DEBUGGING};
};

constexpr const char* ALL = "![1]->[10];[2];![3]->[30];[4]->[40];";

} // namespace

TEST_F(InMemoryTest, TheFirstPassStreamsAndTheOthersReplay)
{
    EXPECT_EQ(readAll(m_cache), ALL);
    EXPECT_TRUE(m_log.has("DEBUG New m_vInputTarget size is: 4"));
    EXPECT_EQ(m_log.count("DEBUG Middleman called. Will be a reset issued for pattern 0"), 2U)
        << m_log.text();
    EXPECT_EQ(m_log.count("DEBUG Middleman called. Will be a reset issued for pattern 2"), 1U)
        << m_log.text();
    EXPECT_EQ(m_log.count("DEBUG All data is in memory now"), 1U);
    EXPECT_EQ(m_pSource.getCount(), 1U) << "let go";
    EXPECT_EQ(readAll(m_cache), ALL);
    ASSERT_TRUE(m_cache.gotoStart() && m_cache.generateNext() && m_cache.generateNext());
    EXPECT_EQ(statusOf(m_cache), "Pattern 2\nInput: [2]\nTarget: []");
    m_pEntity->m_bResult = false;
    EXPECT_EQ(readAll(m_cache), ALL) << "a reset that fails does not stop a replay";

    m_log.clear();
    EXPECT_TRUE(m_cache.setEntityToReset(m_pEntity)) << "in force already";
    EXPECT_EQ(m_log.text(), "");
    EXPECT_FALSE(m_cache.setEntityToReset({}));
    EXPECT_EQ(m_log.count("WARN All data is in memory"), 1U);
    EXPECT_EQ(m_assertions.conditions(), Texts(2, "!m_pDataGenerator.isNull()"));
    // The other generator may go on with somebody else: that changes nothing here.
    m_pEntity->m_bResult = true;
    Testing::readAll(*m_pSource);
    EXPECT_EQ(readAll(m_cache), ALL);

    m_assertions.clear();
    DoubleVector vVector;
    ASSERT_TRUE(m_cache.gotoStart());
    EXPECT_FALSE(m_cache.getInput(vVector) || m_cache.getTarget(vVector));
    EXPECT_EQ(m_assertions.conditions(), Texts(2, "currentIndexValid()"));
}

TEST_F(InMemoryTest, EntityIsSetWhereItCanBeReset)
{
    ASSERT_TRUE(m_cache.setEntityToReset({}));
    EXPECT_TRUE(m_log.has("DEBUG Entity is not resetable"));
    EXPECT_EQ(readAll(m_cache), "[1]->[10];[2];[3]->[30];[4]->[40];");
    EXPECT_EQ(m_pEntity.getCount(), 1U);

    // A failing reset fails the start, as it does without the cache between.
    InMemoryDataGenerator other;
    other.setDataGenerator(m_pSource);
    ASSERT_TRUE(other.setEntityToReset(m_pEntity));
    m_pEntity->m_bResult = false;
    EXPECT_FALSE(other.gotoStart());
    m_pEntity->m_bResult = true;
    EXPECT_EQ(readAll(other), ALL) << "one entry waited, not two";
    EXPECT_EQ(readAll(other), ALL);
}

TEST_F(InMemoryTest, RewindInTheFirstPassFailsAndLeavesNothingWrong)
{
    ASSERT_TRUE(m_cache.gotoStart() && m_cache.gotoStart() && m_cache.generateNext() &&
                m_cache.generateNext());
    ASSERT_TRUE(m_cache.gotoStart());
    EXPECT_FALSE(m_cache.generateNext());
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_iCurrentIndex == (m_vInputTarget.size()-1)"));
    EXPECT_FALSE(m_cache.endedCleanly());
    EXPECT_FALSE(m_cache.generateNext());
    // Who goes on all the same comes to where the memory ends.
    EXPECT_TRUE(m_cache.generateNext() && m_cache.generateNext());
    EXPECT_FALSE(m_cache.generateNext());
    EXPECT_TRUE(m_cache.atEnd());
    EXPECT_FALSE(m_cache.endedCleanly()) << "the first two did not come";
    EXPECT_EQ(readAll(m_cache), ALL);
    EXPECT_TRUE(m_cache.endedCleanly());
}

TEST_F(InMemoryTest, AStreamThatStopsIsNotTakenForItsEnd)
{
    m_pSource->m_uiFailBefore = 2;
    m_pSource->m_bCleanEnd = false;
    EXPECT_EQ(readAll(m_cache), "![1]->[10];[2];");
    EXPECT_FALSE(m_cache.atEnd() || m_cache.endedCleanly() || m_cache.generateNext());
    m_pSource->m_uiFailBefore = SIZE_MAX;
    EXPECT_EQ(readAll(m_cache), ALL) << "streams again";
    EXPECT_FALSE(m_cache.endedCleanly());
    EXPECT_EQ(readAll(m_cache), ALL);
    EXPECT_FALSE(m_cache.endedCleanly()) << "replays tell as well";
}

TEST_F(InMemoryTest, APatternWithoutInputIsNotKept)
{
    m_pSource->m_bInputWorks = false;
    ASSERT_TRUE(m_cache.gotoStart());
    EXPECT_FALSE(m_cache.generateNext());
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("m_pDataGenerator-> getInput(m_vInputTarget.back().m_vInput)"));
    m_pSource->m_bInputWorks = true;
    while (m_cache.generateNext())
        continue;
    EXPECT_EQ(readAll(m_cache), "[2];![3]->[30];[4]->[40];");
    EXPECT_FALSE(m_cache.endedCleanly()) << "one is missing";
}

TEST_F(InMemoryTest, CopiesHaveMiddlemenOfTheirOwn)
{
    auto pCopy = std::make_unique<InMemoryDataGenerator>(m_cache);
    EXPECT_EQ(readAll(*pCopy), ALL);
    EXPECT_EQ(m_log.count("DEBUG Middleman called."), 3u);
    EXPECT_EQ(readAll(m_cache), ALL);
    EXPECT_EQ(m_log.count("DEBUG Middleman called."), 6u) << "the original still streams";
    InMemoryDataGenerator assigned;
    assigned = m_cache;
    EXPECT_EQ(readAll(assigned), ALL);
    EXPECT_EQ(m_log.count("DEBUG Middleman called."), 6u) << "a replay";

    // A middleman that outlives its cache has nothing to reset.
    pCopy = std::make_unique<InMemoryDataGenerator>();
    pCopy->setDataGenerator(m_pSource);
    ASSERT_TRUE(pCopy->setEntityToReset(m_pEntity));
    pCopy.reset();
    EXPECT_EQ(Testing::readAll(*m_pSource, *m_pEntity), "[1]->[10];[2];[3]->[30];[4]->[40];");
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
}

TEST_F(InMemoryTest, OperationsOfTheWrappedGenerator)
{
    const TempDir folder;
    const std::string strFile = folder.write("patterns", "[1] [1]\n[2] [1]\n");
    InMemoryDataGenerator cache;
    EXPECT_FALSE(cache.configure(ScalingDataGenerator::Config()) || cache.setCurrentFilename("file"));
    EXPECT_STREQ(cache.getCurrentFilename(), "");
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("! m_pDataGenerator.isNull()", "!m_pDataGenerator.isNull()",
                            "!m_pDataGenerator.isNull()"));
    m_assertions.clear();
    const CountedObjPtr<VectorFileDataGenerator> pFile(new VectorFileDataGenerator);
    cache.setDataGenerator(pFile);
    EXPECT_TRUE(cache.setCurrentFilename(strFile.c_str()));
    EXPECT_EQ(pFile->getCurrentFilename(), strFile);
    EXPECT_EQ(cache.getCurrentFilename(), strFile);
    EXPECT_FALSE(cache.configure(ScalingDataGenerator::Config())) << "takes none";
    EXPECT_TRUE(m_log.has("ERROR The generator to be held in memory takes no configuration"));
    EXPECT_TRUE(cache.gotoStart() && cache.generateNext());
    cache.releaseFile();
    EXPECT_EQ(readAll(cache), "[1]->[1];[2]->[1];") << "a first pass broken off on purpose is no rewind";
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
    EXPECT_STREQ(cache.getCurrentFilename(), "") << "let go";
    cache.releaseFile();
    EXPECT_EQ(readAll(cache), "[1]->[1];[2]->[1];") << "what is in memory stays";

    const CountedObjPtr<ScalingDataGenerator> pScaling(new ScalingDataGenerator);
    pScaling->setDataGenerator(m_pSource);
    cache.setDataGenerator(pScaling);
    EXPECT_TRUE(cache.configure(ScalingDataGenerator::Config()));
    EXPECT_FALSE(cache.setCurrentFilename("file"));
    EXPECT_TRUE(m_log.has("ERROR The generator to be held in memory reads no file"));
    EXPECT_STREQ(cache.getCurrentFilename(), "");
}
