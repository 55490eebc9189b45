#pragma once

// What every generator keeps, alone and in every stack of wrappers: a suite to be instantiated with rows of
// generators. A new stack is one more row of STACKS.

#include "MLInMemoryDataGenerator.h"
#include "MLPatternBatch.h"
#include "MLScalingDataGenerator.h"
#include "TestPrelude.h"
#include "test-support/AllocationCounter.h"

#include <functional>
#include <span>
#include <tuple>

namespace Vexalor::Testing
{

using Generator = CountedObjPtr<DataGenerator>;

struct GeneratorRow
{
    const char* m_name;
    std::function<Generator(const TempDir&)> m_create;
    std::size_t m_uiPatterns;
    std::size_t m_uiTargets; ///< patterns that have a target
    int m_iResets;           ///< of the entity in a pass, the one of gotoStart included
    bool m_bHasLibrary = false;
    bool m_bFirstIsMarked = false; ///< resets before its first pattern as well as in gotoStart
    bool m_bNeedsResets = false;   ///< passes over a sequence before which the reset fails

    /// Patterns that begin one.
    int getNbSequences() const { return m_iResets - (m_bFirstIsMarked ? 1 : 0); }
};

/// Components of the patterns of a generator.
struct PatternSizes
{
    std::size_t m_uiInput = 0;
    std::size_t m_uiTarget = 0;
};

/// Wrappers around a generator, and what they make of its resets: learning takes two passes more, and a
/// replay resets once a sequence, in generateNext.
struct StackRow
{
    const char* m_name;
    Generator (*m_wrap)(const Generator&, const PatternSizes&);
    bool m_bReplays = false; ///< the passes after the first one come from memory
    int m_iFirstPasses = 1;  ///< passes and
    int m_iFirstReplays = 0; ///< replays that the first pass takes
};

using Case = std::tuple<GeneratorRow, StackRow>;

inline void PrintTo(const Case& in_case, std::ostream* out_stream)
{
    *out_stream << std::get<0>(in_case).m_name << std::get<1>(in_case).m_name;
}

inline Generator bare(const Generator& in_generator, const PatternSizes&)
{
    return in_generator;
}

inline Generator cached(const Generator& in_generator, const PatternSizes&)
{
    const CountedObjPtr<InMemoryDataGenerator> pCache(new InMemoryDataGenerator);
    pCache->setDataGenerator(in_generator);
    return pCache;
}

inline Generator newScaling(const Generator& in_generator, const ScalingDataGenerator::Config& in_config)
{
    const CountedObjPtr<ScalingDataGenerator> pScaling(new ScalingDataGenerator);
    EXPECT_TRUE(pScaling->configure(in_config));
    pScaling->setDataGenerator(in_generator);
    return pScaling;
}

inline Generator scaled(const Generator& in_generator, const PatternSizes& in_sizes)
{
    ScalingDataGenerator::Config config;
    config.m_scalerConfig.m_vInputSlope = DoubleVector(in_sizes.m_uiInput, 3.0);
    config.m_scalerConfig.m_vInputYIntercept = DoubleVector(in_sizes.m_uiInput, -0.25);
    return newScaling(in_generator, config);
}

inline Generator learning(const Generator& in_generator, const PatternSizes& in_sizes)
{
    ScalingDataGenerator::Config config;
    config.m_bLearnScalingParameters = true;
    VectorScalingTrainer::Config::TrainingParam minMax;
    minMax.m_bMinMax = true;
    config.m_scalingTrainerConfig.m_vTrainingParam.assign(in_sizes.m_uiInput, minMax);
    config.m_scalingTrainerConfig.m_vTrainingParam.resize(in_sizes.m_uiInput + in_sizes.m_uiTarget);
    return newScaling(in_generator, config);
}

using Wrap = Generator (*)(const Generator&, const PatternSizes&);

template <Wrap outer, Wrap inner>
Generator stacked(const Generator& in_generator, const PatternSizes& in_sizes)
{
    return outer(inner(in_generator, in_sizes), in_sizes);
}

const StackRow STACKS[] = {
    {"", bare},
    {"Cached", cached, true},
    {"Scaled", scaled},
    {"Learning", learning, false, 3},
    {"CachedScaled", stacked<scaled, cached>, true},
    {"CachedLearning", stacked<learning, cached>, true, 1, 2},
    {"ScaledCached", stacked<cached, scaled>, true},
    {"LearningCached", stacked<cached, learning>, true, 3},
};

using Pass = std::vector<std::pair<DoubleVector, DoubleVector>>;

inline Pass readPatterns(DataGenerator& io_generator, std::size_t in_uiMax = SIZE_MAX)
{
    Pass vPatterns;
    DoubleVector vInput;
    while (vPatterns.size() < in_uiMax && io_generator.generateNext())
    {
        DoubleVector vTarget;
        EXPECT_TRUE(io_generator.getInput(vInput));
        const bool bTarget = io_generator.getTarget(vTarget);
        EXPECT_EQ(bTarget, !vTarget.empty()) << "a target that is not valid leaves the vector alone";
        vPatterns.emplace_back(vInput, vTarget);
        DoubleVector vAgain;
        EXPECT_TRUE(io_generator.getInput(vAgain));
        EXPECT_EQ(vAgain, vInput) << "reading a pattern does not move on";
    }
    return vPatterns;
}

/// Of the first pattern that has a target.
inline PatternSizes measure(const Generator& in_generator)
{
    DoubleVector vInput;
    DoubleVector vTarget;
    EXPECT_TRUE(in_generator->gotoStart());
    while (vTarget.empty() && in_generator->generateNext())
        EXPECT_TRUE(in_generator->getInput(vInput) && (in_generator->getTarget(vTarget) || vTarget.empty()));
    return {vInput.size(), vTarget.size()};
}

inline void expectNoPattern(DataGenerator& io_generator)
{
    DoubleVector vUntouched{42.0};
    EXPECT_FALSE(io_generator.getInput(vUntouched));
    EXPECT_FALSE(io_generator.getTarget(vUntouched));
    EXPECT_EQ(vUntouched, DoubleVector{42.0});
}

inline std::string textOf(bool in_bFirst, const DoubleVector& in_vInput, const DoubleVector& in_vTarget)
{
    std::ostringstream text;
    text << (in_bFirst ? "first " : "") << in_vInput << ' ' << in_vTarget << '\n';
    return text.str();
}

/// Takes the patterns out of a batch.
inline std::string takeText(PatternBatch& io_batch)
{
    const std::size_t uiSize = io_batch.size();
    const PatternBatch::Rows rows = io_batch.take();
    std::string strText;
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        DoubleVector vInput;
        DoubleVector vTarget;
        const double* const pInput = rows.m_pInputs.get() + i * io_batch.getInputSize();
        const double* const pTarget = rows.m_pTargets.get() + i * io_batch.getTargetSize();
        vInput.assign(pInput, pInput + io_batch.getInputSize());
        if (rows.m_pValid[i])
            vTarget.assign(pTarget, pTarget + io_batch.getTargetSize());
        strText += textOf(rows.m_pFirst[i], vInput, vTarget);
    }
    return strText;
}

class DataGeneratorContract : public testing::TestWithParam<Case>
{
protected:
    const GeneratorRow& row() const { return std::get<0>(GetParam()); }
    const StackRow& stack() const { return std::get<1>(GetParam()); }

    const LogCapture m_log{"quillcast.ml", LogLevel::ERROR};
    TempDir m_folder;
    Generator m_pGenerator = stack().m_wrap(row().m_create(m_folder), measure(row().m_create(m_folder)));
};

inline auto combine(std::span<const GeneratorRow> in_rows)
{
    return testing::Combine(testing::ValuesIn(in_rows.begin(), in_rows.end()), testing::ValuesIn(STACKS));
}

inline std::string nameOf(const testing::TestParamInfo<Case>& in_info)
{
    return std::string(std::get<0>(in_info.param).m_name) + std::get<1>(in_info.param).m_name;
}

TEST_P(DataGeneratorContract, PassesAreEqualWheneverTheyBegin)
{
    ASSERT_TRUE(m_pGenerator->gotoStart());
    expectNoPattern(*m_pGenerator);
    const Pass vFirst = readPatterns(*m_pGenerator);
    EXPECT_EQ(vFirst.size(), row().m_uiPatterns);
    std::size_t uiTargets = 0;
    for (const auto& [vInput, vTarget] : vFirst)
        uiTargets += vTarget.empty() ? 0 : 1;
    EXPECT_EQ(uiTargets, row().m_uiTargets);
    EXPECT_TRUE(m_pGenerator->atEnd());
    EXPECT_TRUE(m_pGenerator->endedCleanly());
    expectNoPattern(*m_pGenerator);
    EXPECT_FALSE(m_pGenerator->generateNext()) << "the end stays the end";

    for (const std::size_t uiStopAfter : {std::size_t(0), std::size_t(2), std::size_t(SIZE_MAX)})
    {
        ASSERT_TRUE(m_pGenerator->gotoStart());
        readPatterns(*m_pGenerator, uiStopAfter);
        ASSERT_TRUE(m_pGenerator->gotoStart());
        EXPECT_FALSE(m_pGenerator->atEnd());
        expectNoPattern(*m_pGenerator);
        EXPECT_EQ(readPatterns(*m_pGenerator), vFirst) << "after a pass of " << uiStopAfter;
    }
}

TEST_P(DataGeneratorContract, EntityIsResetAtTheStartOfEverySequence)
{
    const auto pSequences = m_pGenerator.dynamicCast<SequenceDataGenerator>();
    ASSERT_FALSE(pSequences.isNull());
    const CountedObjPtr<CountingResettable> pEntity(new CountingResettable);
    ASSERT_TRUE(pSequences->setEntityToReset(pEntity));
    EXPECT_EQ(pEntity->m_iResets, 0);
    int iExpected =
        stack().m_iFirstPasses * row().m_iResets + stack().m_iFirstReplays * row().getNbSequences();
    for (int iPass = 1; iPass <= 3; ++iPass)
    {
        ASSERT_TRUE(m_pGenerator->gotoStart());
        readPatterns(*m_pGenerator);
        EXPECT_EQ(pEntity->m_iResets, iExpected) << "pass " << iPass;
        iExpected += stack().m_bReplays ? row().getNbSequences() : row().m_iResets;
    }
    ASSERT_TRUE(m_pGenerator->gotoStart());
    pEntity->m_bResult = false;
    {
        const LogCapture quiet("quillcast", LogLevel::OFF);
        EXPECT_EQ(readPatterns(*m_pGenerator).size() == row().m_uiPatterns,
                  stack().m_bReplays || !row().m_bNeedsResets);
    }
    const AssertionCapture assertions;
    EXPECT_EQ(m_pGenerator->gotoStart(), stack().m_bReplays);
    EXPECT_EQ(pSequences->setEntityToReset({}), !stack().m_bReplays) << "too late when all is in memory";
    EXPECT_EQ(pEntity.getCount(), stack().m_bReplays ? 2u : 1u) << "an earlier entity is let go";
    EXPECT_TRUE(m_pGenerator->gotoStart());
}

TEST_P(DataGeneratorContract, OnlyTheStartOfASequenceTakesMemoryOnceWarm)
{
    DoubleVector vInput;
    DoubleVector vTarget;
    int iTaking = 0;
    for (int iPass = 1; iPass <= 2; ++iPass)
    {
        ASSERT_TRUE(m_pGenerator->gotoStart());
        iTaking = 0;
        bool bPattern = true;
        while (bPattern)
        {
            const AllocationCounter allocations;
            bPattern = m_pGenerator->generateNext();
            m_pGenerator->getInput(vInput);
            m_pGenerator->getTarget(vTarget);
            iTaking += bPattern && allocations.getCount() > 0 ? 1 : 0;
        }
    }
    EXPECT_LE(iTaking, stack().m_bReplays ? 0 : row().m_iResets);
}

TEST_P(DataGeneratorContract, BatchesHoldTheSamePatterns)
{
    const CountedObjPtr<CountingResettable> pEntity(new CountingResettable);
    ASSERT_TRUE(m_pGenerator.dynamicCast<SequenceDataGenerator>()->setEntityToReset(pEntity));
    std::string strExpected;
    ASSERT_TRUE(m_pGenerator->gotoStart());
    for (pEntity->m_iResets = 1; m_pGenerator->generateNext(); pEntity->m_iResets = 0)
    {
        DoubleVector vInput;
        DoubleVector vTarget;
        EXPECT_TRUE(m_pGenerator->getInput(vInput));
        m_pGenerator->getTarget(vTarget);
        strExpected += textOf(pEntity->m_iResets > 0, vInput, vTarget);
    }

    const Generator pGenerator = stack().m_wrap(row().m_create(m_folder), measure(row().m_create(m_folder)));
    PatternBatch batch(3);
    ASSERT_TRUE(batch.attachTo(*pGenerator));
    for (int iPass = 1; iPass <= 3; ++iPass)
    {
        ASSERT_TRUE(pGenerator->gotoStart());
        batch.startPass();
        std::string strPass;
        bool bMore = true;
        while (bMore)
        {
            bMore = pGenerator->generateBatch(batch);
            EXPECT_EQ(bMore, batch.isFull());
            strPass += takeText(batch);
        }
        EXPECT_EQ(strPass, strExpected) << "pass " << iPass;
        EXPECT_TRUE(pGenerator->atEnd() && pGenerator->endedCleanly() && !batch.hasFailed());
        EXPECT_TRUE(!pGenerator->generateBatch(batch) && batch.size() == 0) << "the end stays the end";
    }
}

TEST_P(DataGeneratorContract, StatusAndOrigin)
{
    for (int iPass = 1; iPass <= 2; ++iPass)
    {
        ASSERT_TRUE(m_pGenerator->gotoStart());
        EXPECT_EQ(m_pGenerator->generateNext(), row().m_uiPatterns > 0);
        EXPECT_NE(statusOf(*m_pGenerator), "");
        EXPECT_EQ(m_pGenerator->getLibName().isValid(), row().m_bHasLibrary);
        const Fallible<double> share = m_pGenerator->getShareRead();
        readPatterns(*m_pGenerator);
        if (!share.isValid())
            continue;
        EXPECT_TRUE(share.getValue() > 0.0 && share.getValue() <= 1.0) << share.getValue();
        EXPECT_EQ(m_pGenerator->getShareRead().getValue(), 1.0);
    }
    const AssertionCapture assertions;
    const auto pFileGenerator = m_pGenerator.dynamicCast<FileDataGenerator>();
    EXPECT_FALSE(!pFileGenerator.isNull() && pFileGenerator->setCurrentFilename(nullptr));
}

} // namespace Vexalor::Testing
