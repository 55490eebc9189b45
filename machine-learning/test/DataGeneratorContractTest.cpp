// The generators of the library under the contract. A new one is one more row of GENERATORS.

#include "DataGeneratorContract.h"
#include "AudioPasses.h"
#include "MLAudioFileDataGenerator.h"
#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLAudioSetDataGeneratorForVad.h"
#include "MLAudioSetDataGenerators.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLDataGeneratorFactory.h"
#include "MLHelpers.h"
#include "MLInMemoryDataGenerator.h"
#include "MLPatternBatch.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "quillcast-infra/DynLibsLoader.h"
#include "quillcast-math/ContextFeatureComputers.h"
#include "test-support/AllocationCounter.h"
#include "test-support/TempDir.h"

#include <functional>

namespace
{

Generator newVectorFileGenerator(const TempDir& in_folder)
{
    const CountedObjPtr<VectorFileDataGenerator> pGenerator(new VectorFileDataGenerator);
    const std::string strFile =
        in_folder.write("patterns", "[1 2] [1]\nreset\n[3 4] []\nno pattern\n[5 6] [0]\nreset\n[7 8] [1]\n");
    pGenerator->setCurrentFilename(strFile.c_str());
    return pGenerator;
}

/// The energies of the inputs; a line without a window is skipped.
Generator newFeatureFileGenerator(const TempDir& in_folder)
{
    VectorFileDataGenWithFeatureComputer::Config config;
    config.m_pFeatureComputer = CloneableObjPtr<FeatureComputer>(new EnergyFeatureComputer);
    const CountedObjPtr<VectorFileDataGenWithFeatureComputer> pGenerator(
        new VectorFileDataGenWithFeatureComputer);
    EXPECT_TRUE(pGenerator->configure(config));
    const std::string strFile =
        in_folder.write("patterns", "[1 2] [1]\nreset\n[3] []\nreset\n[] [0]\n[5 6] [0]\n");
    pGenerator->setCurrentFilename(strFile.c_str());
    return pGenerator;
}

Generator newBinaryFileGenerator(const TempDir& in_folder)
{
    const CountedObjPtr<BinaryFileDataGenerator> pGenerator(new BinaryFileDataGenerator);
    const std::string strFile = in_folder.path("patterns");
    BinaryFileWriter writer;
    EXPECT_TRUE(writePatterns(writer, strFile,
                              {{{1, 2}, {}}, {{3, 4}, {1}, true}, {{5, 6}, {0}}, {{7, 8}, {}, true}}));
    pGenerator->setCurrentFilename(strFile.c_str());
    return pGenerator;
}

/// As a split set with a sequence in each part.
Generator newSplitFileGenerator(const TempDir& in_folder)
{
    const CountedObjPtr<BinaryFileDataGenerator> pGenerator(new BinaryFileDataGenerator);
    newBinaryFileGenerator(in_folder);
    const std::string strBytes = Testing::readFile(in_folder.path("patterns"));
    SplitFileWriter parts(in_folder.path("set").c_str(), 0);
    // a header of 30 bytes, then patterns: 18 bytes without target, 26 with one
    std::size_t uiStart = 0;
    for (const std::size_t uiSize : {48, 52, 18})
    {
        EXPECT_TRUE(parts.write(strBytes.substr(uiStart, uiSize).c_str(), uiSize));
        uiStart += uiSize;
    }
    EXPECT_EQ(uiStart, strBytes.size());
    parts.close();
    EXPECT_FALSE(parts.fail());
    pGenerator->setCurrentFilename(in_folder.path("set").c_str());
    return pGenerator;
}

Generator newAudioGenerator(const TempDir& in_folder)
{
    const CountedObjPtr<AudioFileDataGenerator> pGenerator(new AudioFileDataGenerator);
    // The windows of 440 Hz differ, and each stands beside those before.
    auto* pSplice = new SpliceFeatureComputer;
    pSplice->setComputer(new IdentityFeatureComputer);
    // 8000 samples: floor((8000 - 200) / 80) + 1 = 98 windows
    EXPECT_NE(
        setRecording(*pGenerator, in_folder, audioConfig({"A", "OTHER"}, pSplice), {{4000, 6000, "A"}}, 8000),
        "");
    return pGenerator;
}

/// Two recordings of 8 windows, with one that cannot be used between them.
template <class Set>
Generator newSet(const TempDir& in_folder, const typename Set::Config& in_config)
{
    in_folder.write("first.wav", toneRecording({{0, 400, "VOICE"}, {401, 800, "SILENCE"}}));
    in_folder.write("second.wav", toneRecording({{0, 399, "SILENCE"}, {400, 800, "VOICE"}}));
    const std::string strList = in_folder.write("set.lst", "first.wav\nnone.wav\nsecond.wav\n");
    const CountedObjPtr<Set> pSet(new Set);
    EXPECT_TRUE(pSet->configure(in_config));
    EXPECT_TRUE(pSet->setCurrentFilename(strList.c_str()));
    return pSet;
}

template <class Set>
Generator newAudioSet(const TempDir& in_folder)
{
    typename Set::Config config;
    config.m_dataGenConfig = audioConfig({"VOICE", "OTHER"});
    return newSet<Set>(in_folder, config);
}

/// The same recordings after another part of the list.
template <class Set>
Generator newLaterPart(const TempDir& in_folder)
{
    const Generator pSet = newAudioSet<Set>(in_folder);
    RecordingList list;
    EXPECT_TRUE(list.read(in_folder.path("set.lst").c_str()));
    list.m_place = RecordingList::Place::LATER_PART;
    EXPECT_TRUE(dynamic_cast<Set&>(*pSet).setRecordings(list));
    return pSet;
}

Generator newVadSet(const TempDir& in_folder)
{
    AudioSetDataGeneratorForVad::Config config;
    config.m_audioGenConfig = audioConfig({"VOICE", "SILENCE"});
    config.m_uiDebouncingWindows = 3;
    config.m_uiIncertitudeWindows = 1;
    return newSet<AudioSetDataGeneratorForVad>(in_folder, config);
}

Generator newToneSet(const TempDir& in_folder)
{
    in_folder.write("tones.wav", toneRecording({{0, 400, "SF:1000"}, {400, 800, "SF:2000"}}));
    AudioSetDataGeneratorForToneDetector::Config config;
    config.m_audioGenConfig = audioConfig({"SF:1000", "SF:2000"});
    const CountedObjPtr<AudioSetDataGeneratorForToneDetector> pSet(new AudioSetDataGeneratorForToneDetector);
    EXPECT_TRUE(pSet->configure(config));
    EXPECT_TRUE(pSet->setCurrentFilename(in_folder.write("set.lst", "tones.wav\n").c_str()));
    return pSet;
}

Generator newPluginGenerator(const TempDir&)
{
    EXPECT_TRUE(DynLibsLoader::setPluginFolders({QC_BINARY_DIR "/lib"}));
    return loadDataGenerator(QC_TEST_DATA "/RampGenerator.xml");
}

Generator newScriptedGenerator(const TempDir&)
{
    return Generator(new ScriptedGenerator(Patterns{{{1}, {1}, true}, {{2}, {}}, {{3}, {0}, true}}));
}

Generator newEmptyGenerator(const TempDir&)
{
    return Generator(new ScriptedGenerator({}));
}

const GeneratorRow GENERATORS[] = {
    {"VectorFile", newVectorFileGenerator, 4, 3, 3},
    {"FeatureFile", newFeatureFileGenerator, 3, 2, 3},
    {"BinaryFile", newBinaryFileGenerator, 4, 2, 3},
    {"SplitFile", newSplitFileGenerator, 4, 2, 3},
    {"AudioFile", newAudioGenerator, 98, 98, 1},
    {"Plugin", newPluginGenerator, 3, 3, 1, true},
    // 16 patterns of two recordings; of one recording for each of two tones
    {"AudioSet", newAudioSet<AudioSetDataGenerator>, 16, 16, 2, false, false, true},
    {"LowMemoryAudioSet", newAudioSet<LowMemoryAudioSetDataGenerator>, 16, 16, 2, false, false, true},
    {"LaterPart", newLaterPart<AudioSetDataGenerator>, 16, 16, 3, false, true, true},
    {"LowMemoryLaterPart", newLaterPart<LowMemoryAudioSetDataGenerator>, 16, 16, 3, false, true, true},
    {"LowMemoryVadSet", newAudioSet<LowMemoryVadAudioSetDataGenerator>, 16, 16, 2, false, false, true},
    {"VadSet", newVadSet, 16, 16, 2, false, false, true},
    {"ToneSet", newToneSet, 16, 16, 2, false, false, true},
    {"Scripted", newScriptedGenerator, 3, 2, 3, true, true},
    {"Empty", newEmptyGenerator, 0, 0, 1, true, true}, // no pattern, no reset in a replay
};

} // namespace

TEST(PatternBatch, TakesMemoryAsPatternsComeAndRefusesOtherSizes)
{
    ScriptedGenerator generator({{{1, 2}, {}}, {{3, 4}, {5}}, {{6, 7}, {}, true}, {{8}, {9}}, {{1, 2}, {3}}});
    PatternBatch batch(SIZE_MAX);
    ASSERT_TRUE(batch.attachTo(generator) && generator.gotoStart());
    const LogCapture log("quillcast.ml", LogLevel::ERROR);
    EXPECT_FALSE(generator.generateBatch(batch));
    EXPECT_TRUE(batch.hasFailed());
    EXPECT_TRUE(log.has(
        "ERROR The input of a pattern has size 1, those before it 2: they do not fit into one matrix"));
    EXPECT_TRUE(std::isnan(batch.getRows().m_pTargets[0])) << "the target of a pattern that came before any";
    EXPECT_EQ(takeText(batch), "first [1 2] []\n[3 4] [5]\nfirst [6 7] []\n");
}

template <class Wrapper>
class WrapperContract : public testing::Test
{
};
using Wrappers = testing::Types<InMemoryDataGenerator, ScalingDataGenerator>;
TYPED_TEST_SUITE(WrapperContract, Wrappers);

TYPED_TEST(WrapperContract, WithoutAGeneratorEveryOperationFails)
{
    AssertionCapture assertions;
    TypeParam wrapper;
    EXPECT_FALSE(wrapper.gotoStart() || wrapper.generateNext() || wrapper.atEnd() ||
                 wrapper.setEntityToReset({}));
    EXPECT_EQ(assertions.conditions(), Texts(4, "!m_pDataGenerator.isNull()"));
    expectNoPattern(wrapper);
    EXPECT_FALSE(wrapper.endedCleanly() || wrapper.getLibName().isValid() ||
                 wrapper.getShareRead().isValid());
}

TYPED_TEST(WrapperContract, AGeneratorWithoutSequencesHasNothingToReset)
{
    TypeParam wrapper;
    wrapper.setDataGenerator(Generator(new EmptyGenerator));
    const CountedObjPtr<CountingResettable> pEntity(new CountingResettable);
    const LogCapture log("quillcast.ml", LogLevel::DEBUGGING);
    EXPECT_TRUE(wrapper.setEntityToReset(pEntity));
    EXPECT_EQ(pEntity.getCount(), 1U);
    EXPECT_EQ(log.has("DEBUG Entity is resetable but data generator does not need to reset it."),
              (std::is_same_v<TypeParam, InMemoryDataGenerator>));
}

INSTANTIATE_TEST_SUITE_P(Every, DataGeneratorContract, combine(GENERATORS), nameOf);
