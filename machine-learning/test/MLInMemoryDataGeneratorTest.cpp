#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "test-support/CountingResettable.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"
#include "test-support/TempDir.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::CountingResettable;
using testing::ElementsAre;
using Testing::ScriptedGenerator;

namespace
{

constexpr const char* LOGGER = "quillcast.ml.generator.InMemoryDataGenerator";
constexpr const char* INDEX = "m_iCurrentIndex == (m_vInputTarget.size()-1)";

using Patterns = std::vector<ScriptedGenerator::Pattern>;
using Inputs = std::vector<double>;

/// Inputs of a pass; how often the entity had been reset when each pattern came goes to out_pResets.
Inputs readInputs(DataGenerator& io_generator, const CountingResettable* in_pEntity = nullptr,
                  std::vector<int>* out_pResets = nullptr)
{
    Inputs vInputs;
    DoubleVector vInput;
    EXPECT_TRUE(io_generator.gotoStart());
    while (io_generator.generateNext() && io_generator.getInput(vInput))
    {
        vInputs.push_back(vInput[0]);
        if (out_pResets != nullptr)
            out_pResets->push_back(in_pEntity->m_iResets);
    }
    return vInputs;
}

class InMemoryTest : public testing::Test
{
protected:
    InMemoryTest() { m_cache.setDataGenerator(m_pSource); }

    // The first pattern is marked as well, although every pass begins a sequence.
    CountedObjPtr<ScriptedGenerator> m_pSource{
        new ScriptedGenerator(Patterns{{{1}, {10}, true}, {{2}, {}}, {{3}, {30}, true}, {{4}, {40}}})};
    CountedObjPtr<CountingResettable> m_pEntity{new CountingResettable};
    InMemoryDataGenerator m_cache;
    Testing::AssertionCapture m_assertions;
};

} // namespace

TEST_F(InMemoryTest, TheFirstPassStreamsAndTheOthersReplay)
{
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_EQ(readInputs(m_cache), (Inputs{1, 2, 3, 4}));
    EXPECT_TRUE(log.has("DEBUG New m_vInputTarget size is: 4"));
    EXPECT_EQ(log.count("DEBUG All data is in memory now"), 1U);
    EXPECT_EQ(m_pSource.getCount(), 1U) << "let go";
    ASSERT_TRUE(m_cache.gotoStart() && m_cache.generateNext() && m_cache.generateNext());
    std::ostringstream status;
    m_cache.dumpStatus(status);
    EXPECT_EQ(status.str(), "Pattern 2\nInput: [2]\nTarget: []");

    EXPECT_TRUE(m_cache.gotoStart());
    EXPECT_THAT(m_assertions.conditions(), ElementsAre());
    DoubleVector vVector;
    EXPECT_FALSE(m_cache.getInput(vVector) || m_cache.getTarget(vVector));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("currentIndexValid()", "currentIndexValid()"));
}

TEST_F(InMemoryTest, ResetsAreReplayedBeforeTheirPatterns)
{
    ASSERT_TRUE(m_cache.setEntityToReset(m_pEntity));
    Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    std::vector<int> vResets;
    EXPECT_EQ(readInputs(m_cache, m_pEntity.get(), &vResets), (Inputs{1, 2, 3, 4}));
    EXPECT_THAT(vResets, ElementsAre(2, 2, 3, 3)) << "start, mark of the first, mark of the third";
    EXPECT_EQ(log.count("DEBUG Middleman called. Will be a reset issued for pattern 0"), 2U) << log.text();
    EXPECT_EQ(log.count("DEBUG Middleman called. Will be a reset issued for pattern 2"), 1U) << log.text();

    m_pEntity->m_iResets = 0;
    vResets.clear();
    EXPECT_EQ(readInputs(m_cache, m_pEntity.get(), &vResets), (Inputs{1, 2, 3, 4}));
    EXPECT_THAT(vResets, ElementsAre(1, 1, 2, 2));
    m_pEntity->m_bResult = false;
    EXPECT_EQ(readInputs(m_cache).size(), 4U) << "a reset that fails does not stop a replay";

    log.clear();
    EXPECT_TRUE(m_cache.setEntityToReset(m_pEntity)) << "in force already";
    EXPECT_EQ(log.text(), "");
    EXPECT_FALSE(m_cache.setEntityToReset({}));
    EXPECT_EQ(log.count("WARN All data is in memory"), 1U);
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("!m_pDataGenerator.isNull()", "!m_pDataGenerator.isNull()"));
    // The other generator may go on with somebody else: that changes nothing here.
    m_pEntity->m_bResult = true;
    readInputs(*m_pSource);
    EXPECT_EQ(readInputs(m_cache).size(), 4U);
}

TEST_F(InMemoryTest, EntityIsSetWhereItCanBeReset)
{
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    ASSERT_TRUE(m_cache.setEntityToReset(m_pEntity));
    ASSERT_TRUE(m_cache.setEntityToReset({}));
    EXPECT_TRUE(log.has("DEBUG Entity is not resetable"));
    EXPECT_EQ(readInputs(m_cache).size(), 4U);
    EXPECT_EQ(m_pEntity->m_iResets, 0);
    EXPECT_EQ(m_pEntity.getCount(), 1U);

    // A failing reset fails the start, as it does without the cache between.
    InMemoryDataGenerator other;
    other.setDataGenerator(m_pSource);
    ASSERT_TRUE(other.setEntityToReset(m_pEntity));
    m_pEntity->m_bResult = false;
    EXPECT_FALSE(other.gotoStart());
    m_pEntity->m_bResult = true;
    EXPECT_EQ(readInputs(other), (Inputs{1, 2, 3, 4})) << "one entry waited, not two";
    EXPECT_EQ(readInputs(other), (Inputs{1, 2, 3, 4}));
}

TEST_F(InMemoryTest, RewindInTheFirstPassFailsAndLeavesNothingWrong)
{
    ASSERT_TRUE(m_cache.setEntityToReset(m_pEntity));
    ASSERT_TRUE(m_cache.gotoStart() && m_cache.gotoStart() && m_cache.generateNext() &&
                m_cache.generateNext());
    ASSERT_TRUE(m_cache.gotoStart());
    EXPECT_FALSE(m_cache.generateNext());
    EXPECT_THAT(m_assertions.conditions(), ElementsAre(INDEX));
    EXPECT_FALSE(m_cache.endedCleanly());
    EXPECT_FALSE(m_cache.generateNext());
    // Who goes on all the same comes to where the memory ends.
    EXPECT_TRUE(m_cache.generateNext() && m_cache.generateNext());
    EXPECT_FALSE(m_cache.generateNext());
    EXPECT_TRUE(m_cache.atEnd());
    EXPECT_FALSE(m_cache.endedCleanly()) << "the first two did not come";
    m_pEntity->m_iResets = 0;
    EXPECT_EQ(readInputs(m_cache), (Inputs{1, 2, 3, 4}));
    EXPECT_EQ(m_pEntity->m_iResets, 2);
    EXPECT_TRUE(m_cache.endedCleanly());
}

TEST_F(InMemoryTest, AStreamThatStopsIsNotTakenForItsEnd)
{
    ASSERT_TRUE(m_cache.setEntityToReset(m_pEntity));
    m_pSource->m_uiFailBefore = 2;
    m_pSource->m_bCleanEnd = false;
    EXPECT_EQ(readInputs(m_cache), (Inputs{1, 2}));
    EXPECT_FALSE(m_cache.atEnd());
    EXPECT_FALSE(m_cache.endedCleanly());
    EXPECT_FALSE(m_cache.generateNext());
    m_pSource->m_uiFailBefore = SIZE_MAX;
    EXPECT_EQ(readInputs(m_cache), (Inputs{1, 2, 3, 4})) << "streams again";
    EXPECT_FALSE(m_cache.endedCleanly());
    EXPECT_EQ(readInputs(m_cache), (Inputs{1, 2, 3, 4}));
    EXPECT_FALSE(m_cache.endedCleanly()) << "replays tell as well";
}

TEST_F(InMemoryTest, APatternWithoutInputIsNotKept)
{
    ASSERT_TRUE(m_cache.setEntityToReset(m_pEntity));
    m_pSource->m_bInputWorks = false;
    ASSERT_TRUE(m_cache.gotoStart());
    EXPECT_FALSE(m_cache.generateNext());
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("m_pDataGenerator-> getInput(m_vInputTarget.back().m_vInput)"));
    m_pSource->m_bInputWorks = true;
    while (m_cache.generateNext())
        continue;
    EXPECT_EQ(readInputs(m_cache), (Inputs{2, 3, 4}));
    EXPECT_FALSE(m_cache.endedCleanly()) << "one is missing";
}

TEST_F(InMemoryTest, CopiesHaveMiddlemenOfTheirOwn)
{
    ASSERT_TRUE(m_cache.setEntityToReset(m_pEntity));
    auto pCopy = std::make_unique<InMemoryDataGenerator>(m_cache);
    EXPECT_EQ(readInputs(*pCopy), (Inputs{1, 2, 3, 4}));
    EXPECT_EQ(m_pEntity->m_iResets, 3);
    EXPECT_EQ(readInputs(m_cache), (Inputs{1, 2, 3, 4})) << "the original still streams";
    EXPECT_EQ(m_pEntity->m_iResets, 6);

    InMemoryDataGenerator assigned;
    assigned = m_cache;
    EXPECT_EQ(readInputs(assigned), (Inputs{1, 2, 3, 4}));
    EXPECT_EQ(m_pEntity->m_iResets, 8) << "a replay";

    // A middleman that outlives its cache has nothing to reset.
    const CountedObjPtr<ScriptedGenerator> pSource(new ScriptedGenerator(Patterns{{{1}, {}, true}}));
    pCopy = std::make_unique<InMemoryDataGenerator>();
    pCopy->setDataGenerator(pSource);
    ASSERT_TRUE(pCopy->setEntityToReset(m_pEntity));
    pCopy.reset();
    EXPECT_EQ(readInputs(*pSource).size(), 1U);
    EXPECT_EQ(m_pEntity->m_iResets, 8);
    EXPECT_THAT(m_assertions.conditions(), ElementsAre());
}

TEST_F(InMemoryTest, OperationsOfTheWrappedGenerator)
{
    const Testing::LogCapture log(LOGGER, LogLevel::ERROR);
    const Testing::TempDir folder;
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
    EXPECT_TRUE(log.has("ERROR The generator to be held in memory takes no configuration"));
    EXPECT_TRUE(cache.gotoStart() && cache.generateNext());
    cache.releaseFile();
    EXPECT_EQ(readInputs(cache), (Inputs{1, 2}))
        << "a first pass that was broken off on purpose is no rewind";
    EXPECT_THAT(m_assertions.conditions(), ElementsAre());
    EXPECT_STREQ(cache.getCurrentFilename(), "") << "let go";
    cache.releaseFile();
    EXPECT_EQ(readInputs(cache), (Inputs{1, 2})) << "what is in memory stays";
    m_assertions.clear();

    const CountedObjPtr<ScalingDataGenerator> pScaling(new ScalingDataGenerator);
    pScaling->setDataGenerator(m_pSource);
    cache.setDataGenerator(pScaling);
    ScalingDataGenerator::Config config;
    config.m_scalerConfig.m_vInputSlope = {2};
    config.m_scalerConfig.m_vInputYIntercept = {0};
    EXPECT_TRUE(cache.configure(config));
    EXPECT_FALSE(cache.setCurrentFilename("file"));
    EXPECT_TRUE(log.has("ERROR The generator to be held in memory reads no file"));
    EXPECT_STREQ(cache.getCurrentFilename(), "");
}
