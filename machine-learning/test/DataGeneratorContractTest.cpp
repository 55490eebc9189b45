// What every generator keeps. A new one is one more row of GENERATORS.

#include "MLAudioFileDataGenerator.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorFactory.h"
#include "MLVectorFileDataGenerator.h"
#include "quillcast-infra/DynLibsLoader.h"
#include "quillcast-math/AudioFeatureComputers.h"
#include "test-support/CountingResettable.h"
#include "test-support/LogCapture.h"
#include "test-support/ScriptedGenerator.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <functional>
#include <gtest/gtest.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::ScriptedGenerator;

namespace
{

using Generator = CountedObjPtr<DataGenerator>;

struct GeneratorRow
{
    const char* m_name;
    std::function<Generator(const Testing::TempDir&)> m_create;
    std::size_t m_uiPatterns;
    std::size_t m_uiTargets; ///< patterns that have a target
    int m_iResets;           ///< of the entity in a pass, the one of gotoStart included
    bool m_bHasLibrary = false;
};

void PrintTo(const GeneratorRow& in_row, std::ostream* out_stream)
{
    *out_stream << in_row.m_name;
}

Generator newVectorFileGenerator(const Testing::TempDir& in_folder)
{
    const CountedObjPtr<VectorFileDataGenerator> pGenerator(new VectorFileDataGenerator);
    const std::string strFile =
        in_folder.write("patterns", "[1 2] [1]\nreset\n[3 4] []\nno pattern\n[5 6] [0]\nreset\n[7 8] [1]\n");
    pGenerator->setCurrentFilename(strFile.c_str());
    return pGenerator;
}

Generator newBinaryFileGenerator(const Testing::TempDir& in_folder)
{
    const CountedObjPtr<BinaryFileDataGenerator> pGenerator(new BinaryFileDataGenerator);
    BinaryFileWriter writer;
    EXPECT_TRUE(writer.open(in_folder.path("patterns").c_str()));
    EXPECT_TRUE(writer.write(false, {1, 2}, {}) && writer.write(true, {3, 4}, {1}) &&
                writer.write(false, {5, 6}, {0}) && writer.write(true, {7, 8}, {}));
    EXPECT_TRUE(writer.close());
    pGenerator->setCurrentFilename(in_folder.path("patterns").c_str());
    return pGenerator;
}

Generator newAudioGenerator(const Testing::TempDir& in_folder)
{
    const CountedObjPtr<AudioFileDataGenerator> pGenerator(new AudioFileDataGenerator);
    AudioFileDataGenerator::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new IdentityFeatureComputer);
    config.m_vClasses = {"A", "OTHER"};
    EXPECT_TRUE(pGenerator->configure(config));
    // 8000 samples: floor((8000 - 200) / 80) + 1 = 98 windows
    const std::string strWav =
        Testing::annotatedWav(8000, Testing::toneSamples(8000, 8000, 440, 9000), {{4000, 6000, "A"}});
    EXPECT_TRUE(pGenerator->setCurrentFilename(in_folder.write("recording.wav", strWav).c_str()));
    return pGenerator;
}

Generator newPluginGenerator(const Testing::TempDir&)
{
    EXPECT_TRUE(DynLibsLoader::setPluginFolders({QC_BINARY_DIR "/lib"}));
    return loadDataGenerator(QC_TEST_DATA "/RampGenerator.xml");
}

Generator newScriptedGenerator(const Testing::TempDir&)
{
    using Patterns = std::vector<ScriptedGenerator::Pattern>;
    return Generator(new ScriptedGenerator(Patterns{{{1}, {1}, true}, {{2}, {}}, {{3}, {0}, true}}));
}

const GeneratorRow GENERATORS[] = {
    {"VectorFile", newVectorFileGenerator, 4, 3, 3}, {"BinaryFile", newBinaryFileGenerator, 4, 2, 3},
    {"AudioFile", newAudioGenerator, 98, 98, 1},     {"Plugin", newPluginGenerator, 3, 3, 1, true},
    {"Scripted", newScriptedGenerator, 3, 2, 3},
};

using Pass = std::vector<std::pair<DoubleVector, DoubleVector>>;

Pass readPatterns(DataGenerator& io_generator, std::size_t in_uiMax = SIZE_MAX)
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

void expectNoPattern(DataGenerator& io_generator)
{
    DoubleVector vUntouched{42.0};
    EXPECT_FALSE(io_generator.getInput(vUntouched));
    EXPECT_FALSE(io_generator.getTarget(vUntouched));
    EXPECT_EQ(vUntouched, DoubleVector{42.0});
}

class DataGeneratorContract : public testing::TestWithParam<GeneratorRow>
{
protected:
    const Testing::LogCapture m_log{"quillcast.ml", LogLevel::ERROR};
    Testing::TempDir m_folder;
    Generator m_pGenerator = GetParam().m_create(m_folder);
};

} // namespace

TEST_P(DataGeneratorContract, PassesAreEqualWheneverTheyBegin)
{
    ASSERT_TRUE(m_pGenerator->gotoStart());
    expectNoPattern(*m_pGenerator);
    const Pass vFirst = readPatterns(*m_pGenerator);
    EXPECT_EQ(vFirst.size(), GetParam().m_uiPatterns);
    EXPECT_EQ(static_cast<std::size_t>(std::count_if(vFirst.begin(), vFirst.end(),
                                                     [](const auto& in_pattern)
                                                     { return !in_pattern.second.empty(); })),
              GetParam().m_uiTargets);
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
    const CountedObjPtr<Testing::CountingResettable> pEntity(new Testing::CountingResettable);
    ASSERT_TRUE(pSequences->setEntityToReset(pEntity));
    EXPECT_EQ(pEntity->m_iResets, 0);
    for (int iPass = 1; iPass <= 2; ++iPass)
    {
        ASSERT_TRUE(m_pGenerator->gotoStart());
        readPatterns(*m_pGenerator);
        EXPECT_EQ(pEntity->m_iResets, iPass * GetParam().m_iResets);
    }
    const Testing::AssertionCapture assertions;
    pEntity->m_bResult = false;
    EXPECT_FALSE(m_pGenerator->gotoStart());
    ASSERT_TRUE(pSequences->setEntityToReset({}));
    EXPECT_EQ(pEntity.getCount(), 1u) << "an earlier entity is let go";
    EXPECT_TRUE(m_pGenerator->gotoStart());
}

TEST_P(DataGeneratorContract, StatusAndOrigin)
{
    std::ostringstream status;
    ASSERT_TRUE(m_pGenerator->gotoStart() && m_pGenerator->generateNext());
    EXPECT_EQ(&m_pGenerator->dumpStatus(status), &status);
    EXPECT_FALSE(status.str().empty());
    EXPECT_EQ(m_pGenerator->getLibName().isValid(), GetParam().m_bHasLibrary);
}

INSTANTIATE_TEST_SUITE_P(Every, DataGeneratorContract, testing::ValuesIn(GENERATORS),
                         [](const auto& in_info) { return std::string(in_info.param.m_name); });
