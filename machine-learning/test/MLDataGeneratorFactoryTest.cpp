#include "MLDataGeneratorFactory.h"
#include "MLAudioFileDataGenerator.h"
#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/ExceptionWithMsg.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-infra/DynLibsLoader.h"
#include "test-support/CountingResettable.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using namespace Vexalor::Testing;

namespace
{

const std::string GOLDENS = QC_TEST_DATA "/";
constexpr const char* APPLICATION = "quillcast.ml.datagen.application";

std::string saved(const StringVector& in_vLibNames, const DataGenerator& in_generator)
{
    std::ostringstream stream;
    EXPECT_TRUE(saveDataGeneratorToStream(stream, in_vLibNames, in_generator));
    return stream.str();
}

std::string replaced(std::string in_strText, const std::string& in_strOld, const std::string& in_strNew)
{
    const std::size_t uiPosition = in_strText.find(in_strOld);
    EXPECT_NE(uiPosition, std::string::npos) << in_strOld;
    return in_strText.replace(uiPosition, in_strOld.size(), in_strNew);
}

/// Plug-ins are found by name in the folder where the build puts them.
class FactoryTest : public testing::Test
{
protected:
    FactoryTest() { EXPECT_TRUE(DynLibsLoader::setPluginFolders({QC_BINARY_DIR "/lib"})); }

    CountedObjPtr<DataGenerator> create(const std::string& in_strConfigFile,
                                        const char* in_inputFile = nullptr,
                                        Handle<Resettable, ReferenceCount> in_entity = {})
    {
        return newDataGenerator(in_strConfigFile.c_str(), in_inputFile, in_entity, false, nullptr);
    }

    TempDir m_folder;
};

} // namespace

TEST_F(FactoryTest, FileGeneratorGetsItsFileAndEntity)
{
    const CountedObjPtr<CountingResettable> pEntity(new CountingResettable);
    LogCapture log(APPLICATION, LogLevel::DEBUGGING);
    const auto pGenerator = create(GOLDENS + "VectorFileDataGenerator.xml", "patterns.txt", pEntity);
    ASSERT_FALSE(pGenerator.isNull());
    EXPECT_TRUE(log.has("DEBUG Current neural net is resetable")) << log.text();
    EXPECT_STREQ(pGenerator.dynamicCast<VectorFileDataGenerator>()->getCurrentFilename(), "patterns.txt");
    EXPECT_EQ(pEntity.getCount(), 2U);
    EXPECT_FALSE(pGenerator->getLibName().isValid());

    const auto pNameless = create(GOLDENS + "VectorFileDataGenerator.xml");
    EXPECT_STREQ(pNameless.dynamicCast<VectorFileDataGenerator>()->getCurrentFilename(), "");
    EXPECT_TRUE(log.has("DEBUG Current neural net is not resetable"));
}

TEST_F(FactoryTest, PluginGeneratorIsLoadedByName)
{
    const CountedObjPtr<CountingResettable> pEntity(new CountingResettable);
    const std::string strFile = GOLDENS + "RampGenerator.xml";
    const auto pGenerator = create(strFile, "is ignored", pEntity);
    ASSERT_FALSE(pGenerator.isNull());
    ASSERT_TRUE(pGenerator->getLibName().isValid());
    EXPECT_STREQ(pGenerator->getLibName().getValue(), "libramp-generator.so");

    // The file says: 3 patterns, starts 0.1 and -1, step 0.5, offset 10.
    ASSERT_TRUE(pGenerator->gotoStart());
    EXPECT_EQ(pEntity->m_iResets, 1);
    DoubleVector vInput;
    EXPECT_FALSE(pGenerator->getInput(vInput));
    ASSERT_TRUE(pGenerator->generateNext() && pGenerator->generateNext() && pGenerator->generateNext());
    ASSERT_TRUE(pGenerator->getInput(vInput));
    EXPECT_EQ(vInput, (DoubleVector{0.1 + 2 * 0.5 + 10, -1 + 2 * 0.5 + 10}));
    EXPECT_FALSE(pGenerator->generateNext());

    EXPECT_EQ(saved({"libramp-generator.so"}, *pGenerator), readFile(strFile));
}

TEST_F(FactoryTest, LibraryOfAClassIsFoundHoweverItWasLoaded)
{
    const std::string strRamp = readFile(GOLDENS + "RampGenerator.xml");
    const std::string strList =
        strRamp.substr(0, strRamp.find("<MLDataGenerator ")); // of libraries: that of the ramp alone
    std::string strOther = readFile(GOLDENS + "VectorFileDataGenerator.xml");
    strOther = strList + strOther.substr(strOther.find("<MLDataGenerator "));
    // For the sake of another class, then for its own, again, by a path, and no more.
    ASSERT_FALSE(create(m_folder.write("other.xml", strOther)).isNull());
    LogCapture log("quillcast.serialization", LogLevel::WARN);
    for (const char* name : {"libramp-generator.so", "libramp-generator.so", "./libramp-generator.so",
                             QC_BINARY_DIR "/lib/../lib/libramp-generator.so"})
    {
        if (*name == '.')
            std::filesystem::current_path(QC_BINARY_DIR "/lib");
        const auto pRamp =
            create(m_folder.write("ramp.xml", replaced(strRamp, "libramp-generator.so", name)));
        ASSERT_TRUE(pRamp->getLibName().isValid());
        EXPECT_STREQ(pRamp->getLibName().getValue(), name);
    }
    EXPECT_EQ(log.text(), "");
}

TEST_F(FactoryTest, FeaturesOfAPatternFile)
{
    VectorFileDataGenWithFeatureComputer generator;
    EXPECT_FALSE(generator.configure(VectorFileDataGenWithFeatureComputer::Config())) << "no computer";
    EXPECT_FALSE(generator.gotoStart());
    EXPECT_FALSE(generator.configure(AudioFileDataGenerator::Config())) << "of another generator";

    const CountedObjPtr<DataGenerator> pGenerator(
        loadDataGenerator((GOLDENS + "VectorFileDataGenWithFeatureComputer.xml").c_str()));
    ASSERT_FALSE(pGenerator.isNull());
    pGenerator.dynamicCast<FileDataGenerator>()->setCurrentFilename(
        m_folder.write("patterns", "[1 2] [3 4]\n[] [5]\n[nan]\n[3]\n").c_str());
    DoubleVector vPattern;
    LogCapture log("quillcast.ml.generator.VectorFileDataGenerator", LogLevel::WARN);
    ASSERT_TRUE(pGenerator->gotoStart() && pGenerator->generateNext());
    EXPECT_TRUE(pGenerator->getInput(vPattern) && vPattern == DoubleVector{5}) << vPattern;
    EXPECT_TRUE(pGenerator->getTarget(vPattern) && vPattern == (DoubleVector{3, 4})) << vPattern;
    ASSERT_TRUE(pGenerator->generateNext() && pGenerator->getInput(vPattern));
    EXPECT_TRUE(std::isnan(vPattern[0]));
    EXPECT_THAT(log.text(), testing::HasSubstr("failed to parse line 2 of file "));
    ASSERT_TRUE(pGenerator->generateNext() && pGenerator->getInput(vPattern));
    EXPECT_EQ(vPattern, DoubleVector{9});
    EXPECT_FALSE(pGenerator->generateNext());
}

TEST_F(FactoryTest, SecondPluginWithAKeyIsReported)
{
    const std::string strGolden = readFile(GOLDENS + "RampGenerator.xml");
    ASSERT_FALSE(create(GOLDENS + "RampGenerator.xml").isNull());
    LogCapture log("quillcast.serialization", LogLevel::WARN);
    const auto pGenerator = create(
        m_folder.write("twin.xml", replaced(strGolden, "libramp-generator.so", "libtwin-generator.so")));
    ASSERT_FALSE(pGenerator.isNull());
    EXPECT_EQ(log.text(),
              "WARN The library 'libtwin-generator.so' brought no class of this configuration; the class "
              "key 'RampGenerator' was registered before by the library 'libramp-generator.so'\n");
    EXPECT_STREQ(pGenerator->getLibName().getValue(), "libramp-generator.so");
}

TEST_F(FactoryTest, LibraryThatCannotBeLoadedStopsBeforeTheGenerator)
{
    const std::string strGolden = readFile(GOLDENS + "RampGenerator.xml");
    const std::string strMissing = replaced(strGolden, "libramp-generator.so", "libnone.so");
    // With an unknown class after it: that is never reached.
    const std::string strFile =
        m_folder.write("missing.xml", replaced(strMissing, "RampGenerator", "Unknown"));
    LogCapture log("quillcast.serialization", LogLevel::ERROR);
    EXPECT_TRUE(create(strFile).isNull());
    EXPECT_TRUE(
        log.has("ERROR Failed to load dynamic library 'libnone.so' in which the data generator class is "
                "should be located "))
        << log.text();

    log.clear();
    DynLibsLoader::setRefuseAll(true);
    EXPECT_TRUE(create(GOLDENS + "RampGenerator.xml").isNull());
    DynLibsLoader::setRefuseAll(false);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(FactoryTest, FilesThatAreNoConfigurationAreRefused)
{
    const std::string strGolden = readFile(GOLDENS + "RampGenerator.xml");
    const auto refusal = [&](const std::string& in_strText)
    {
        try
        {
            create(m_folder.write("bad.xml", in_strText));
        }
        catch (const ArchiveError& error)
        {
            return replaced(error.what(), m_folder.path("bad.xml"), "FILE");
        }
        return std::string();
    };
    EXPECT_EQ(refusal(""),
              "FILE: line 1: the text does not begin like an archive of the serialization library");
    EXPECT_EQ(refusal(replaced(strGolden, "\"RampGenerator\"", "\"MLDataGenerator\"")),
              "FILE: line 9, element 'MLDataGenerator': an object of the abstract class 'MLDataGenerator' "
              "cannot be "
              "created");
    EXPECT_EQ(refusal(replaced(strGolden, "\"RampGenerator\"", "\"RampConstantOffset\"")),
              "FILE: line 10, element 'MLDataGenerator': the start tag of element 'RampOffset' is missing");
    const std::string strNull =
        strGolden.substr(0, strGolden.find("<MLDataGenerator ")) +
        "<MLDataGenerator class_id=\"-1\"></MLDataGenerator>\n</boost_serialization>\n";
    EXPECT_EQ(refusal(strNull), "FILE: the file holds no generator");

    // The Config of another class, and none.
    AssertionCapture assertions;
    const std::string strConfig = strGolden.substr(0, strGolden.find("<GeneratorConfig"));
    const std::string strEnd = "</RampGenerator>\n</MLDataGenerator>\n</boost_serialization>\n";
    for (const char* config : {"<GeneratorConfig class_id=\"-1\"></GeneratorConfig>",
                               "<GeneratorConfig class_id=\"4\" class_name=\"MLDataGeneratorConfig\" "
                               "tracking_level=\"0\" version=\"0\"></GeneratorConfig>"})
    {
        const std::string strFile = m_folder.write("bad.xml", strConfig + config + strEnd);
        EXPECT_THROW(create(strFile), ExceptionWithMsg) << config;
    }
}

TEST_F(FactoryTest, FailuresGiveNullAndTheReason)
{
    LogCapture log(APPLICATION, LogLevel::ERROR);
    EXPECT_TRUE(create(m_folder.path("none.xml")).isNull());
    EXPECT_TRUE(log.has("ERROR failed to open DataGenerator config file " + m_folder.path("none.xml") +
                        " for reading"))
        << log.text();
    EXPECT_TRUE(create(m_folder.path()).isNull());
    EXPECT_EQ(log.lines().size(), 2U) << log.text();
    AssertionCapture assertions;
    EXPECT_TRUE(newDataGenerator(nullptr, "", {}, false, nullptr).isNull());
    EXPECT_THAT(assertions.conditions(), testing::ElementsAre("in_configFile != nullptr"));

    const std::string strFile = GOLDENS + "VectorFileDataGenerator.xml";
    const std::string strNone = m_folder.path("none.xml");
    log.clear();
    EXPECT_TRUE(newDataGenerator(strFile.c_str(), "", {}, false, strNone.c_str()).isNull());
    EXPECT_TRUE(newDataGenerator(strFile.c_str(), "", {}, true, strFile.c_str()).isNull());
    EXPECT_EQ(log.text(), "ERROR failed to open scaling data generator config file " + strNone +
                              " for reading\nERROR scaling data generator config file " + strFile +
                              " describes another kind of generator\n");
    const std::string strMissing =
        m_folder.write("missing.xml", replaced(readFile(GOLDENS + "RampGenerator.xml"),
                                               "libramp-generator.so", "libnone.so"));
    EXPECT_TRUE(newDataGenerator(strFile.c_str(), "", {}, false, strMissing.c_str()).isNull());
    const std::string strCut = m_folder.write("cut.xml", readFile(strFile).substr(0, 100));
    EXPECT_THROW(newDataGenerator(strFile.c_str(), "", {}, false, strCut.c_str()), ArchiveError);
    log.clear();
    EXPECT_TRUE(tryNewDataGenerator(strFile.c_str(), "", {}, false, strCut.c_str()).isNull());
    EXPECT_EQ(log.text(), "ERROR Cannot create the data generator: " + strCut +
                              ": line 3: the text does not begin like an archive of the serialization "
                              "library\n");
    EXPECT_FALSE(tryNewDataGenerator(strFile.c_str(), "", {}, false, nullptr).isNull());
}

TEST_F(FactoryTest, CacheAndScalingAreWrappedAroundInThisOrder)
{
    const std::string strFile = GOLDENS + "VectorFileDataGenerator.xml";
    const std::string strPatterns = m_folder.write("patterns", "[2 5] [1]\nreset\n[4 6] [0]\n");
    const std::string strScaling = GOLDENS + "ScalingDataGenerator.xml";
    struct Case
    {
        bool m_bInMemory;
        const char* m_scaling;
    };
    for (const auto& [bInMemory, scaling] : {Case{false, nullptr}, Case{false, ""}, Case{true, ""},
                                             Case{false, strScaling.c_str()}, Case{true, strScaling.c_str()}})
    {
        const bool bScaling = scaling != nullptr && *scaling != '\0';
        SCOPED_TRACE(std::string(bInMemory ? "in memory " : "") + (bScaling ? "scaled" : ""));
        const CountedObjPtr<CountingResettable> pEntity(new CountingResettable);
        const auto pGenerator =
            newDataGenerator(strFile.c_str(), strPatterns.c_str(), pEntity, bInMemory, scaling);
        ASSERT_FALSE(pGenerator.isNull());
        EXPECT_EQ(!pGenerator.dynamicCast<ScalingDataGenerator>().isNull(), bScaling);
        EXPECT_EQ(!pGenerator.dynamicCast<InMemoryDataGenerator>().isNull(), bInMemory && !bScaling);

        // The file scales input 0 by 0.5 and -1.25; what it learns besides is appended. Without that there
        // is one reset at the start and one before the second pattern.
        pEntity->m_iResets = 0;
        DoubleVector vInput;
        ASSERT_TRUE(pGenerator->gotoStart() && pGenerator->generateNext() && pGenerator->getInput(vInput));
        EXPECT_EQ(vInput, bScaling ? (DoubleVector{2 * 0.5 - 1.25, 5}) : (DoubleVector{2, 5}));
        ASSERT_TRUE(pGenerator->generateNext());
        EXPECT_EQ(pEntity->m_iResets, bScaling ? 6 : 2);
        EXPECT_FALSE(pGenerator->generateNext());
        // A replay resets in generateNext alone, which shows that there is one.
        ASSERT_TRUE(pGenerator->gotoStart());
        EXPECT_EQ(pEntity->m_iResets, (bScaling ? 6 : 2) + (bInMemory ? 0 : 1));
    }
}

TEST(ClassKeyTest, RegistryHoldsTheDocumentedTable)
{
    registerGeneratorClasses();
    std::istringstream document(readFile(QC_TEST_DATA "/../../../doc/classes.md"));
    std::size_t uiKeys = 0;
    for (std::string strLine; std::getline(document, strLine);)
    {
        if (!strLine.starts_with("| `"))
            continue;
        ++uiKeys;
        const std::string strKey = strLine.substr(3, strLine.find('`', 3) - 3);
        const auto expected =
            strLine.ends_with("| yes |") ? ClassKeyState::CREATABLE : ClassKeyState::ABSTRACT;
        EXPECT_EQ(getClassKeyState(strKey.c_str()), expected) << strKey;
    }
    EXPECT_EQ(uiKeys, 41U);
}
