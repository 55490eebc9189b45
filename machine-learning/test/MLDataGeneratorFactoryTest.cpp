#include "MLDataGeneratorFactory.h"
#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "TestPrelude.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/ExceptionWithMsg.h"
#include "quillcast-infra/DynLibsLoader.h"

#include <cmath>
#include <filesystem>

namespace
{

const std::string GOLDENS = QC_TEST_DATA "/";
constexpr const char* APPLICATION = "quillcast.ml.datagen.application";

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

    static CountedObjPtr<DataGenerator> create(const std::string& in_strConfigFile,
                                               const char* in_inputFile = nullptr,
                                               Handle<Resettable, ReferenceCount> in_entity = {},
                                               const char* in_scaling = nullptr, bool in_bInMemory = false)
    {
        return newDataGenerator(in_strConfigFile.c_str(), in_inputFile, in_entity, in_bInMemory, in_scaling);
    }

    /// The ramp's configuration with another text in place of one.
    std::string writeRamp(const std::string& in_strOld, const std::string& in_strNew) const
    {
        return m_folder.write("ramp.xml", replaced(readFile(m_strRamp), in_strOld, in_strNew));
    }

    TempDir m_folder;
    const std::string m_strVector = GOLDENS + "VectorFileDataGenerator.xml";
    const std::string m_strRamp = GOLDENS + "RampGenerator.xml";
    const CountedObjPtr<CountingResettable> m_pEntity{new CountingResettable};
    LogCapture m_log{"quillcast.serialization", LogLevel::WARN};
};

constexpr const char* LIBRARY = "libramp-generator.so";

} // namespace

TEST_F(FactoryTest, FileGeneratorGetsItsFileAndEntity)
{
    const LogCapture log(APPLICATION, LogLevel::DEBUGGING);
    const auto pGenerator = create(m_strVector, "patterns.txt", m_pEntity);
    ASSERT_FALSE(pGenerator.isNull());
    EXPECT_TRUE(log.has("DEBUG Current neural net is resetable")) << log.text();
    EXPECT_STREQ(pGenerator.dynamicCast<FileDataGenerator>()->getCurrentFilename(), "patterns.txt");
    EXPECT_EQ(m_pEntity.getCount(), 2U);
    EXPECT_FALSE(pGenerator->getLibName().isValid());
    EXPECT_STREQ(create(m_strVector).dynamicCast<FileDataGenerator>()->getCurrentFilename(), "");
    EXPECT_TRUE(log.has("DEBUG Current neural net is not resetable"));
}

TEST_F(FactoryTest, PluginGeneratorIsLoadedByName)
{
    const auto pGenerator = create(m_strRamp, "is ignored", m_pEntity);
    ASSERT_FALSE(pGenerator.isNull());
    ASSERT_TRUE(pGenerator->getLibName().isValid());
    EXPECT_STREQ(pGenerator->getLibName().getValue(), LIBRARY);
    // The file says: 3 patterns, starts 0.1 and -1, step 0.5, offset 10.
    EXPECT_EQ(readAll(*pGenerator), "[10.1 9]->[0];[10.6 9.5]->[1];[11.1 10]->[2];");
    EXPECT_EQ(m_pEntity->m_iResets, 1);
    std::ostringstream saved;
    EXPECT_TRUE(saveDataGeneratorToStream(saved, {LIBRARY}, *pGenerator));
    EXPECT_EQ(saved.str(), readFile(m_strRamp));
}

TEST_F(FactoryTest, LibraryOfAClassIsFoundHoweverItWasLoaded)
{
    const std::string strRamp = readFile(m_strRamp);
    const std::string strVector = readFile(m_strVector);
    const std::string strList =
        strRamp.substr(0, strRamp.find("<MLDataGenerator ")); // the ramp's library alone
    // For the sake of another class, then for its own, again, by a path, and no more.
    ASSERT_FALSE(
        create(m_folder.write("other.xml", strList + strVector.substr(strVector.find("<MLDataGenerator "))))
            .isNull());
    m_log.clear();
    for (const char* name :
         {LIBRARY, LIBRARY, "./libramp-generator.so", QC_BINARY_DIR "/lib/../lib/libramp-generator.so"})
    {
        if (*name == '.')
            std::filesystem::current_path(QC_BINARY_DIR "/lib");
        const auto pRamp = create(writeRamp(LIBRARY, name));
        ASSERT_TRUE(pRamp->getLibName().isValid());
        EXPECT_STREQ(pRamp->getLibName().getValue(), name);
    }
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(FactoryTest, FeaturesOfAPatternFile)
{
    VectorFileDataGenWithFeatureComputer generator;
    EXPECT_FALSE(generator.configure(VectorFileDataGenWithFeatureComputer::Config())) << "no computer";
    EXPECT_FALSE(generator.gotoStart());
    const std::string strPatterns = m_folder.write("patterns", "[1 2] [3 4]\n[] [5]\n[nan]\n[3]\n");
    const auto pGenerator = create(GOLDENS + "VectorFileDataGenWithFeatureComputer.xml", strPatterns.c_str());
    ASSERT_FALSE(pGenerator.isNull());
    const LogCapture log("quillcast.ml.generator.VectorFileDataGenerator", LogLevel::WARN);
    EXPECT_EQ(readAll(*pGenerator), "[5]->[3 4];[nan];[9];") << "energies";
    EXPECT_THAT(log.text(), HasSubstr("failed to parse line 2 of file "));
}

TEST_F(FactoryTest, SecondPluginWithAKeyIsReported)
{
    ASSERT_FALSE(create(m_strRamp).isNull());
    m_log.clear();
    const auto pGenerator = create(writeRamp(LIBRARY, "libtwin-generator.so"));
    ASSERT_FALSE(pGenerator.isNull());
    EXPECT_EQ(m_log.text(),
              "WARN The library 'libtwin-generator.so' brought no class of this configuration; the class "
              "key 'RampGenerator' was registered before by the library 'libramp-generator.so'\n");
    EXPECT_STREQ(pGenerator->getLibName().getValue(), LIBRARY);
}

TEST_F(FactoryTest, LibraryThatCannotBeLoadedStopsBeforeTheGenerator)
{
    // With an unknown class after it: that is never reached.
    const std::string strMissing = readFile(writeRamp(LIBRARY, "libnone.so"));
    EXPECT_TRUE(
        create(m_folder.write("none.xml", replaced(strMissing, "RampGenerator", "Unknown"))).isNull());
    EXPECT_TRUE(
        m_log.has("ERROR Failed to load dynamic library 'libnone.so' in which the data generator class is "
                  "should be located "))
        << m_log.text();
    m_log.clear();
    DynLibsLoader::setRefuseAll(true);
    EXPECT_TRUE(create(m_strRamp).isNull());
    DynLibsLoader::setRefuseAll(false);
    EXPECT_EQ(m_log.lines().size(), 1U);
}

TEST_F(FactoryTest, FilesThatAreNoConfigurationAreRefused)
{
    const std::string strGolden = readFile(m_strRamp);
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
              "cannot be created");
    EXPECT_EQ(refusal(replaced(strGolden, "\"RampGenerator\"", "\"RampConstantOffset\"")),
              "FILE: line 10, element 'MLDataGenerator': the start tag of element 'RampOffset' is missing");
    EXPECT_EQ(refusal(strGolden.substr(0, strGolden.find("<MLDataGenerator ")) +
                      "<MLDataGenerator class_id=\"-1\"></MLDataGenerator>\n</boost_serialization>\n"),
              "FILE: the file holds no generator");

    // The Config of another class, and none.
    const AssertionCapture assertions;
    const std::string strConfig = strGolden.substr(0, strGolden.find("<GeneratorConfig"));
    const std::string strEnd = "</RampGenerator>\n</MLDataGenerator>\n</boost_serialization>\n";
    for (const char* config : {"<GeneratorConfig class_id=\"-1\"></GeneratorConfig>",
                               "<GeneratorConfig class_id=\"4\" class_name=\"MLDataGeneratorConfig\" "
                               "tracking_level=\"0\" version=\"0\"></GeneratorConfig>"})
        EXPECT_THROW(create(m_folder.write("bad.xml", strConfig + config + strEnd)), ExceptionWithMsg)
            << config;
}

TEST_F(FactoryTest, FailuresGiveNullAndTheReason)
{
    const LogCapture log(APPLICATION, LogLevel::ERROR);
    const AssertionCapture assertions;
    const std::string strNone = m_folder.path("none.xml");
    EXPECT_TRUE(create(strNone).isNull());
    EXPECT_TRUE(create(m_folder.path()).isNull());
    EXPECT_TRUE(newDataGenerator(nullptr, "", {}, false, nullptr).isNull());
    EXPECT_THAT(assertions.conditions(), ElementsAre("in_configFile != nullptr"));
    EXPECT_TRUE(create(m_strVector, "", {}, strNone.c_str()).isNull());
    EXPECT_TRUE(create(m_strVector, "", {}, m_strVector.c_str(), true).isNull());
    EXPECT_TRUE(create(m_strVector, "", {}, writeRamp(LIBRARY, "libnone.so").c_str()).isNull());
    const std::string strCut = m_folder.write("cut.xml", readFile(m_strVector).substr(0, 100));
    EXPECT_THROW(create(m_strVector, "", {}, strCut.c_str()), ArchiveError);
    EXPECT_TRUE(tryNewDataGenerator(m_strVector.c_str(), "", {}, false, strCut.c_str()).isNull());
    EXPECT_FALSE(tryNewDataGenerator(m_strVector.c_str(), "", {}, false, nullptr).isNull());
    const std::string strOpen = "ERROR failed to open ";
    EXPECT_THAT(log.lines(),
                ElementsAre(strOpen + "DataGenerator config file " + strNone + " for reading",
                            strOpen + "DataGenerator config file " + m_folder.path() + " for reading",
                            strOpen + "scaling data generator config file " + strNone + " for reading",
                            "ERROR scaling data generator config file " + m_strVector +
                                " describes another kind of generator",
                            "ERROR Cannot create the data generator: " + strCut +
                                ": line 3: the text does not begin like an archive of the serialization "
                                "library"));
}

TEST_F(FactoryTest, CacheAndScalingAreWrappedAroundInThisOrder)
{
    const std::string strPatterns = m_folder.write("patterns", "[2 5] [1]\nreset\n[4 6] [0]\n");
    const std::string strScaling = GOLDENS + "ScalingDataGenerator.xml";
    for (const bool bInMemory : {false, true})
        for (const char* scaling : {static_cast<const char*>(nullptr), "", strScaling.c_str()})
        {
            const bool bScaling = scaling == strScaling.c_str();
            SCOPED_TRACE(std::string(bInMemory ? "in memory " : "") + (bScaling ? "scaled" : ""));
            const auto pGenerator = create(m_strVector, strPatterns.c_str(), m_pEntity, scaling, bInMemory);
            ASSERT_FALSE(pGenerator.isNull());
            EXPECT_EQ(!pGenerator.dynamicCast<ScalingDataGenerator>().isNull(), bScaling);
            EXPECT_EQ(!pGenerator.dynamicCast<InMemoryDataGenerator>().isNull(), bInMemory && !bScaling);

            // The file scales input 0 by 0.5 and -1.25, targets by 2 and -1; what it learns besides is
            // appended. Learning takes two passes of two resets; out of memory the start of the third one
            // resets nothing.
            const std::string strPass =
                bScaling ? "[-0.25 5]->[1];![0.75 6]->[-1];" : "[2 5]->[1];![4 6]->[0];";
            m_pEntity->m_iResets = 0;
            ASSERT_TRUE(pGenerator->gotoStart());
            EXPECT_EQ(m_pEntity->m_iResets, bScaling ? (bInMemory ? 4 : 5) : 1);
            EXPECT_EQ(readPass(*pGenerator, *m_pEntity), (bScaling && bInMemory ? "!" : "") + strPass);
            // A replay resets in generateNext alone, which shows that there is one.
            ASSERT_TRUE(pGenerator->gotoStart());
            EXPECT_EQ(m_pEntity->m_iResets, bInMemory ? 0 : 1);
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
    EXPECT_EQ(uiKeys, 44U);
}
