#include "MLDataGeneratorFactory.h"
#include "ml-config/ClassNames.h"
#include "ml-config/GeneratorFile.h"
#include "quillcast-core/BoostRegex.h"
#include "quillcast-core/SerializationArchives.h"
#include "test-support/Command.h"
#include "test-support/StockXmlArchive.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <set>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::CommandResult;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Testing::readFile;
using Testing::TempDir;

namespace
{

constexpr const char* PROGRAM = QC_BINARY_DIR "/bin/ml-config";
const std::string TREE = QC_SOURCE_DIR;
const std::string GOLDENS = TREE + "/machine-learning/test/data/";

std::vector<std::string> goldens()
{
    std::vector<std::string> vPaths;
    for (const auto& entry : std::filesystem::directory_iterator(GOLDENS))
    {
        // The plug-in for tests does not describe itself.
        if (entry.path().extension() == ".xml" && entry.path().stem() != "RampGenerator")
            vPaths.push_back(entry.path());
    }
    return vPaths;
}

/// The commands of doc/programs.md that write into the examples; a backslash continues a line.
std::vector<std::string> documentedCommands()
{
    std::ifstream document(TREE + "/doc/programs.md");
    std::vector<std::string> vCommands;
    for (std::string strLine; std::getline(document, strLine);)
    {
        if (!strLine.starts_with("    ml-config write examples/configurations/"))
            continue;
        for (std::string strMore; strLine.ends_with('\\') && std::getline(document, strMore);)
            strLine.replace(strLine.size() - 1, 1, strMore);
        vCommands.push_back(strLine);
    }
    return vCommands;
}

class MlConfigTest : public testing::Test
{
protected:
    CommandResult run(std::vector<std::string> in_vArguments) const
    {
        in_vArguments.insert(in_vArguments.begin(), PROGRAM);
        return Testing::runCommand(in_vArguments, m_folder.path());
    }

    CommandResult shell(const std::string& in_strCommand, const std::string& in_strFolder) const
    {
        return Testing::runCommand({"/bin/bash", "-c", in_strCommand}, in_strFolder);
    }

    std::vector<std::string> list() const
    {
        std::vector<std::string> vNames;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
            vNames.push_back(entry.path().filename());
        return vNames;
    }

    TempDir m_folder;
};

} // namespace

TEST_F(MlConfigTest, WhatIsWrittenLoadsAndEqualsItselfWhenSaved)
{
    const std::vector<std::string> CASES[] = {
        {},
        {"--generator", "vector-file"},
        {"--generator", "vector-file-features", "--rate", "16000", "--feature", "tones", "--frequency",
         "697"},
        {"--generator", "binary-file"},
        {"--generator", "wideband"},
        {"--generator", "am", "--class", "AM:1000:20", "--carrier-tolerance", "7", "--modulation-tolerance",
         "2"},
        {"--generator", "vad"},
        {"--generator", "smoothed-vad"},
        {"--generator", "audio-set", "--classes", "A,B"},
        {"--generator", "low-memory-audio-set", "--rate", "0", "--feature", "energy"},
        {"--generator", "wideband-set", "--class", "WB_SF_TONE"},
        {"--generator", "am-set", "--classes", "AM:1000:20,OTHER", "--carrier-tolerance", "7"},
        {"--generator", "vad-set"},
        {"--generator", "smoothed-vad-set", "--debouncing", "20", "--incertitude", "5"},
        {"--generator", "tone-set", "--classes", "SF:1000,SF:1400", "--tone-tolerance", "25",
         "--constant-input", "no"},
        {"--rate", "16000", "--feature", "mfcc", "--cepstra", "12", "--bands", "26", "--channel", "1"},
        {"--feature", "log-mel", "--feature", "energy", "--feature", "log-mel", "--feature", "zero-crossing"},
        {"--feature", "tones", "--frequency", "697,770.5", "--frequency", "1209", "--max-time", "0.1"},
        {"--rate", "0", "--feature", "identity", "--class", "a<&\"b,c", "--literal-class", "#1 *--"},
    };
    for (const std::vector<std::string>& vOptions : CASES)
    {
        SCOPED_TRACE(testing::PrintToString(vOptions));
        std::vector<std::string> vArguments{"write", "out.xml"};
        vArguments.insert(vArguments.end(), vOptions.begin(), vOptions.end());
        const CommandResult result = run(vArguments);
        ASSERT_EQ(result.m_iExit, 0) << result.m_strErr;

        const CountedObjPtr<DataGenerator> pGenerator = loadDataGenerator(m_folder.path("out.xml").c_str());
        ASSERT_FALSE(pGenerator.isNull());
        std::ostringstream saved;
        ASSERT_TRUE(saveDataGeneratorToStream(saved, {}, *pGenerator));
        const std::string strText = readFile(m_folder.path("out.xml"));
        const std::string strComment = strText.substr(std::min(saved.str().size(), strText.size()));
        EXPECT_EQ(strText, saved.str() + strComment);

        // Nothing of a comment but its end may look like one.
        EXPECT_TRUE(strComment.starts_with("<!--\n")) << strComment;
        EXPECT_EQ(strComment.find("--", 4), strComment.size() - 4) << strComment;
        // The serialisation library's own reader takes no notice of it.
        EXPECT_NO_THROW(Testing::readStockXml(
            strText,
            [](boost::archive::polymorphic_iarchive& io_archive)
            {
                StringVector vLibraries;
                io_archive >> boost::serialization::make_nvp("MLDataGeneratorLib", vLibraries);
                DataGenerator* pLoaded = nullptr;
                io_archive >> boost::serialization::make_nvp("MLDataGenerator", pLoaded);
                delete pLoaded;
            }));
    }
}

TEST_F(MlConfigTest, PutsFeaturesIntoContexts)
{
    ASSERT_EQ(run({"write",           "out.xml", "--feature",        "log-mel",    "--feature", "energy",
                   "--low-frequency", "200",     "--context",        "normalised", "--context", "deltas",
                   "--context",       "spliced", "--time-constant",  "99.5",       "--reach",   "5",
                   "--order",         "2",       "--windows-before", "1",          "--step",    "7"})
                  .m_iExit,
              0);
    const CommandResult result = run({"explain", "out.xml"});
    std::size_t uiAt = 0;
    for (const char* text :
         {"m_pFeatureComputer = SpliceFeatureComputer ", "m_pComputer = DeltaFeatureComputer ",
          "m_pComputer = NormalisationFeatureComputer ", "m_pComputer = FeatureComputerSequence ",
          "m_dLowFrequency = 200 Hz ", "m_dTimeConstant = 99.5 windows ", "m_uiReach = 5 windows ",
          "m_uiOrder = 2 ", "m_uiWindowsBefore = 1 windows ", "m_uiStep = 7 windows ",
          // 24 bands and an energy, with their slopes and those of these, of two windows
          "- 150 inputs and 2 targets a pattern\n"})
    {
        uiAt = result.m_strOut.find(text, uiAt);
        ASSERT_NE(uiAt, std::string::npos) << text << '\n' << result.m_strOut;
    }
}

TEST_F(MlConfigTest, ExplainsValuesDefaultsAndPatterns)
{
    ASSERT_EQ(run({"write", "out.xml", "--rate", "16000", "--shift", "30", "--feature", "mfcc", "--feature",
                   "tones", "--frequency", "1000", "--feature", "energy", "--feature", "tones", "--classes",
                   "VOICE,SF:1000,tone.*"})
                  .m_iExit,
              0);
    const CommandResult result = run({"explain", "out.xml"});
    EXPECT_EQ(result.m_iExit, 0);
    EXPECT_EQ(result.m_strErr, "");
    for (const char* line : {
             "MLDataGeneratorLib = none   ",
             "MLDataGenerator = MLAudioFileDataGenerator   ",
             "m_uiSamplingRate = 16000 Hz (default 8000)   ",
             "m_uiWindowLength = 25 ms   ",
             "m_iChannel = -1   ",
             "item 1 = MfccFeatureComputer   ",
             "m_dSamplingRate = 16000 Hz (default 8000)   ",
             "m_uiNbBands = 23   ", // the default of MFCC, not that of mel bands elsewhere
             "m_vFrequencies = 1 item   ",
             "item 1 = 1000 Hz\n",
             "item 3 = EnergyFeatureComputer   ",
             "item 4 = ToneEnergyFeatureComputer   ", // in the file, its class is a number by now
             "item 3 = tone.*\n",
             // 13 coefficients, one tone, one energy, one tone
             "\n- 16 inputs and 3 targets a pattern\n",
             // 25 ms and 30 ms of 16 samples each
             "\n- windows of 400 samples every 480 samples, at 16000 Hz\n",
             "80 samples between two of them are not looked at",
             "there is no class OTHER",
             "class 'SF:1000' is a tone",
             "class 'tone.*' is a regular expression",
         })
        EXPECT_THAT(result.m_strOut, HasSubstr(line));
}

TEST_F(MlConfigTest, ExplainsSetsAndTheirRecordings)
{
    ASSERT_EQ(run({"write", "tones.xml", "--generator", "tone-set", "--classes", "SF:1000,SF:1400",
                   "--feature", "energy"})
                  .m_iExit,
              0);
    std::string strText = run({"explain", "tones.xml"}).m_strOut;
    for (const char* line :
         {"MLDataGenerator = MLAudioSetDataGenForToneDetector   ", "m_iFrequencyTolerance = 10 Hz   ",
          "m_bConstantInput = 1   ", "m_uiSamplingRate = 8000 Hz   ",
          // the energy and the tone; the tone and what it is not
          "\n- 2 inputs and 2 targets a pattern\n"})
        EXPECT_THAT(strText, HasSubstr(line));
    EXPECT_THAT(strText, Not(HasSubstr("there is no class OTHER")));

    ASSERT_EQ(run({"write", "vad.xml", "--generator", "smoothed-vad-set", "--debouncing", "1",
                   "--incertitude", "5"})
                  .m_iExit,
              0);
    strText = run({"explain", "vad.xml"}).m_strOut;
    for (const char* line :
         {"m_uiDebouncingWindows = 1 (default 0)   ", "item 2 = SILENCE\n",
          "windows of incertitude need at least 2 debouncing windows", "there is no class OTHER"})
        EXPECT_THAT(strText, HasSubstr(line));

    ASSERT_EQ(run({"write", "am.xml", "--generator", "am-set", "--classes", "AM:1000:20,OTHER",
                   "--modulation-tolerance", "3"})
                  .m_iExit,
              0);
    EXPECT_THAT(run({"explain", "am.xml"}).m_strOut, HasSubstr("m_uiFreqModulatedTol = 3 Hz (default 0)   "));
}

TEST_F(MlConfigTest, ExplainsPlugIns)
{
    const CommandResult result = run(
        {"explain", GOLDENS + "RampGenerator.xml", "--log-level", "ERROR", "--plugin-folder", QC_PLUGIN_DIR});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    EXPECT_EQ(result.m_strOut.substr(result.m_strOut.find("    m_strTitle")),
              "    m_strTitle = ramp & offset\n"
              "    m_uiNbPattern = 3 (default 0)                       number of patterns\n"
              "    m_dStep = 0.5 (default 1)\n"
              "    m_vStart = 2 items\n"
              "      item 1 = 0.1\n"
              "      item 2 = -1\n"
              "    m_pOffset = RampConstantOffset\n"
              "      m_dValue = 10 (default 0)\n");
    EXPECT_EQ(run({"explain", GOLDENS + "RampGenerator.xml", "--no-plugins"}).m_iExit, 1);
}

TEST_F(MlConfigTest, WritesWhatPlugInsBring)
{
    const std::vector<std::string> PLUGIN{"--library", "libramp-generator.so", "--plugin-folder",
                                          QC_PLUGIN_DIR};
    std::vector<std::string> vArguments{"write",       "ramp.xml",
                                        "--generator", "RampGenerator",
                                        "--set",       "m_uiNbPattern=3",
                                        "--set",       "m_vStart=0.1,-1",
                                        "--set",       "m_strTitle=ramp, <offset> & more",
                                        "--set",       "GeneratorConfig/m_dStep=0.5"};
    vArguments.insert(vArguments.end(), PLUGIN.begin(), PLUGIN.end());
    CommandResult result = run(vArguments);
    ASSERT_EQ(result.m_iExit, 0) << result.m_strErr;
    std::string strText =
        run({"explain", "ramp.xml", "--log-level", "ERROR", "--plugin-folder", QC_PLUGIN_DIR}).m_strOut;
    for (const char* line :
         {"MLDataGeneratorLib = 1 item ", "m_strTitle = ramp, <offset> & more\n", "m_uiNbPattern = 3 ",
          "m_vStart = 2 items\n      item 1 = 0.1\n      item 2 = -1\n", "m_pOffset = none\n"})
        EXPECT_THAT(strText, HasSubstr(line));
    EXPECT_THAT(readFile(m_folder.path("ramp.xml")),
                HasSubstr("    m_uiNbPattern (default 0): number of patterns\n"));

    // What the generator refuses by default, and a feature.
    vArguments = {"write", "none.xml", "--generator", "RampGenerator"};
    vArguments.insert(vArguments.end(), PLUGIN.begin(), PLUGIN.end());
    EXPECT_THAT(run(vArguments).m_strErr, HasSubstr("Unable to configure data generator"));
    vArguments = {"write",     "feature.xml",   "--feature", "RampFeature",
                  "--feature", "mfcc",          "--set",     "RampFeature/m_dGain=2.5",
                  "--set",     "m_dFloor=1e-08"};
    vArguments.insert(vArguments.end(), PLUGIN.begin(), PLUGIN.end());
    result = run(vArguments);
    ASSERT_EQ(result.m_iExit, 0) << result.m_strErr;
    EXPECT_THAT(result.m_strOut, HasSubstr("written: 14 inputs and 2 targets a pattern\n"));
    strText = readFile(m_folder.path("feature.xml"));
    EXPECT_THAT(strText, HasSubstr("<m_dGain>2.5</m_dGain>"));
    EXPECT_THAT(strText, HasSubstr("<m_dFloor>1e-08</m_dFloor>"));
    EXPECT_THAT(strText, HasSubstr("m_dGain (default 1)\n"));
}

TEST_F(MlConfigTest, WarnsOfWhatIsProbablyNotMeant)
{
    struct Case
    {
        std::vector<std::string> m_vOptions;
        const char* m_warning; ///< empty: none
    };
    const Case CASES[] = {
        {{"--generator", "smoothed-vad-set", "--debouncing", "1", "--incertitude", "5"},
         "need at least 2 debouncing windows"},
        {{"--generator", "smoothed-vad-set", "--debouncing", "2", "--incertitude", "5"}, ""},
        {{"--generator", "am-set", "--class", "AM:1000:20", "--class", "AM:1000:30", "--modulation-tolerance",
          "21"},
         "no annotation can belong to class 'AM:1000:20': a tolerance is larger than its frequency\n"},
        {{"--generator", "am", "--class", "AM:1000:20", "--carrier-tolerance", "1000"}, ""},
        {{"--set", "m_dSamplingRate=16000"}, "their frequencies are wrong"},
    };
    for (const Case& test : CASES)
    {
        std::vector<std::string> vArguments{"write", "out.xml"};
        vArguments.insert(vArguments.end(), test.m_vOptions.begin(), test.m_vOptions.end());
        const CommandResult result = run(vArguments);
        EXPECT_EQ(result.m_iExit, 0);
        EXPECT_EQ(result.m_strErr.empty(), *test.m_warning == '\0') << result.m_strErr;
        EXPECT_THAT(result.m_strErr, HasSubstr(test.m_warning));
        EXPECT_THAT(run({"explain", "out.xml"}).m_strOut, HasSubstr(test.m_warning));
    }
}

TEST_F(MlConfigTest, StandardOutputCarriesTheConfigurationAlone)
{
    // A library is loaded, which is told at info level.
    const CommandResult result =
        run({"write", "-", "--library", "libramp-generator.so", "--plugin-folder", QC_PLUGIN_DIR});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    EXPECT_THAT(result.m_strOut, testing::StartsWith("<?xml"));
    EXPECT_THAT(result.m_strOut, HasSubstr("<item>libramp-generator.so</item>"));
    EXPECT_THAT(result.m_strOut, testing::EndsWith("\n-->\n"));
}

TEST_F(MlConfigTest, RefusesWhatCannotWork)
{
    struct Case
    {
        std::vector<std::string> m_vOptions;
        const char* m_reason;
        int m_iExit = 1;
    };
    const Case CASES[] = {
        {{"--generator", "audi"}, "there is no generator 'audi'"},
        {{"--feature", "mel"}, "there is no feature 'mel'"},
        {{"--context", "energy"}, "there is no context 'energy'"},
        {{"--generator", "vector-file", "--context", "deltas"},
         "option '--feature': the configuration has no field m_pFeatureComputer"},
        {{"--reach", "2"}, "option '--reach': the configuration has no field m_uiReach"},
        {{"--context", "deltas", "--reach", "600000"}, "deltas reach no further than 1024 windows"},
        {{"--context", "spliced", "--context", "spliced", "--step", "4000"}, "are more than 262144 values"},
        {{"--generator", "EnergyFeatureComputer"}, "there is no generator 'EnergyFeatureComputer'"},
        {{"--generator", "MLDataGenerator"}, "there is no generator 'MLDataGenerator'"},
        {{"--generator", "vector-file", "--rate", "8000"},
         "option '--rate': the configuration has no field m_uiSamplingRate"},
        {{"--generator", "vector-file", "--feature", "energy"},
         "option '--feature': the configuration has no field m_pFeatureComputer"},
        {{"--generator", "binary-file", "--class", "A"},
         "option '--classes': the configuration has no field m_vClasses"},
        {{"--set", "m_uiWindowLength"},
         "option '--set': 'm_uiWindowLength' is not of the form FIELD=VALUE",
         2},
        {{"--set", "MfccFeatureComputer/m_uiNbBands=8"},
         "option '--set': the configuration has no field MfccFeatureComputer/m_uiNbBands"},
        {{"--set", "m_audioConfig=8"}, "option '--set': field m_audioConfig is no number, text or list"},
        {{"--set", "m_uiNbBands=many"}, "element 'm_uiNbBands': 'many' is not a whole number"},
        {{"--generator", "vector-file-features", "--feature", "tones"},
         "there are no frequencies (m_vFrequencies)"},
        {{"--generator", "vector-file-features", "--rate", "0"}, "m_dSamplingRate"},
        {{"--feature", "energy", "--bands", "8"},
         "option '--bands': the configuration has no field m_uiNbBands"},
        {{"--rate", "-8000"}, "option '--rate': '-8000' is no number", 2},
        {{"--window", "0"}, "option '--window': '0' is no number", 2},
        {{"--rate", "40", "--feature", "energy", "--shift", "12"}, "a shift of 12 ms at 40 Hz"},
        {{"--channel", "left"}, "option '--channel': 'left' is no number", 2},
        {{"--max-time", "-1"}, "option '--max-time': '-1' is no number", 2},
        {{"--bands", "200"}, "the number of bands (m_uiNbBands) must be from 1"},
        {{"--feature", "mfcc", "--cepstra", "24"}, "24 cepstral coefficients of 23 bands"},
        {{"--feature", "tones"}, "there are no frequencies (m_vFrequencies)"},
        {{"--feature", "tones", "--frequency", "4000"}, "below half the sampling rate"},
        {{"--feature", "tones", "--frequency", "697,"}, "option '--frequency': '' is no number above 0", 2},
        {{"--feature", "tones", "--frequency", "inf"}, "option '--frequency': 'inf' is no number above 0", 2},
        {{"--window", "4000000", "--feature", "identity"}, "too large to be tried"},
        {{"--feature", "mfcc", "--window", "60000", "--bands", "9000", "--cepstra", "9000"},
         "too large to be tried"},
        {{"--generator", "am"}, "generator 'am' needs classes"},
        {{"--generator", "am", "--class", "SF:1000"},
         "class 'SF:1000' is not OTHER or an amplitude-modulated"},
        {{"--generator", "tone-set", "--class", "OTHER", "--class", "tone"}, "class 'tone' is not a tone"},
        {{"--generator", "wideband-set", "--class", "SF:1000"}, "class 'SF:1000' is not WB_SF_TONE or OTHER"},
        {{"--generator", "vad-set", "--classes", "VOICE,SILENCE"}, "the classes are always VOICE,OTHER"},
        {{"--generator", "smoothed-vad", "--class", "VOICE"}, "the classes are always VOICE,SILENCE"},
        {{"--generator", "tone-set", "--class", "SF:1000", "--constant-input", "1"}, "neither yes nor no", 2},
        {{"--class", "(voice"}, "class '(voice' is no valid regular expression"},
        {{"--classes", "VOICE,,OTHER"}, "a class has no name"},
        {{"--classes", "VOICE,OTHER", "--class", "VOICE"}, "class 'VOICE' is there twice"},
        {{"--library", "./no-such-library.so"}, "library './no-such-library.so' cannot be loaded"},
    };
    for (const Case& test : CASES)
    {
        SCOPED_TRACE(testing::PrintToString(test.m_vOptions));
        std::vector<std::string> vArguments{"write", "out.xml"};
        vArguments.insert(vArguments.end(), test.m_vOptions.begin(), test.m_vOptions.end());
        const CommandResult result = run(vArguments);
        EXPECT_EQ(result.m_iExit, test.m_iExit);
        EXPECT_THAT(result.m_strErr, HasSubstr(test.m_reason));
        EXPECT_THAT(list(), IsEmpty());
    }
    for (const std::vector<std::string>& vArguments : std::vector<std::vector<std::string>>{
             {}, {"write"}, {"explain"}, {"change", "out.xml"}, {"write", "a", "b"}})
        EXPECT_EQ(run(vArguments).m_iExit, 2) << testing::PrintToString(vArguments);
    EXPECT_EQ(run({"explain", "a", "--rate", "8"}).m_iExit, 2);
}

TEST_F(MlConfigTest, LearnsAScalingThatIsAppliedToOtherData)
{
    ASSERT_EQ(run({"write", "generator.xml", "--generator", "vector-file"}).m_iExit, 0);
    m_folder.write("one.txt", "[1 10] [0]\nreset\n[-7 -7] []\n[5 20] [4]\n");
    m_folder.write("two.txt", "[9 30] [2]\n");
    const CommandResult learning =
        run({"learn-scaling", "scaling.xml", "--data-gen-config", "generator.xml", "--data-gen-filename",
             "one.txt", "--data-gen-filename", "two.txt", "--targets", "min-max", "--interval=-1,1"});
    ASSERT_EQ(learning.m_iExit, 0) << learning.m_strErr;
    EXPECT_EQ(learning.m_strErr, "");
    EXPECT_THAT(learning.m_strOut,
                HasSubstr("Configuration scaling.xml written: 2 inputs and 1 target a pattern are scaled\n"));

    // Inputs 1, 5, 9 have the mean 5 and the deviation 4, inputs 10, 20, 30 have 20 and 10. The targets go
    // from 0 to 4.
    const auto pGenerator = newDataGenerator(m_folder.path("generator.xml").c_str(),
                                             m_folder.write("other.txt", "[13 0] [1]\n").c_str(), {}, false,
                                             m_folder.path("scaling.xml").c_str());
    DoubleVector vInput;
    DoubleVector vTarget;
    ASSERT_TRUE(pGenerator->gotoStart() && pGenerator->generateNext() && pGenerator->getInput(vInput) &&
                pGenerator->getTarget(vTarget));
    EXPECT_EQ(vInput, (DoubleVector{(13 - 5) / 4.0, (0 - 20) / 10.0}));
    EXPECT_EQ(vTarget, DoubleVector{1 * (2 / 4.0) - 1});

    const CommandResult explanation = run({"explain", "scaling.xml"});
    EXPECT_EQ(explanation.m_iExit, 0);
    for (const char* line :
         {"m_vInputSlope = 2 items   ", "item 2 = 0.1\n", "m_bLearnScalingParameters = 0   ",
          "\n- 2 inputs and 1 target a pattern are scaled\n"})
        EXPECT_THAT(explanation.m_strOut, HasSubstr(line));
    EXPECT_THAT(
        run({"learn-scaling", "-", "--data-gen-config", "generator.xml", "--data-gen-filename", "one.txt"})
            .m_strOut,
        testing::StartsWith("<?xml"));
}

TEST_F(MlConfigTest, ScalingThatCannotBeLearntIsNotWritten)
{
    ASSERT_EQ(run({"write", "generator.xml", "--generator", "vector-file"}).m_iExit, 0);
    m_folder.write("good.txt", "[1 10] [0]\n[5 20] [4]\n");
    m_folder.write("constant.txt", "[1 10] [0]\n[5 10] [4]\n");
    m_folder.write("targetless.txt", "[1 10] []\n");
    struct Case
    {
        std::vector<std::string> m_vOptions;
        const char* m_reason;
        int m_iExit = 1;
    };
    const Case CASES[] = {
        {{"--data-gen-filename", "constant.txt"}, "Input 1 has one value only: it cannot be standardized"},
        {{"--data-gen-filename", "targetless.txt"}, "There is no pattern with a target to learn from"},
        {{"--data-gen-filename", "none.txt"}, "Cannot go to the start of the data set"},
        {{"--data-gen-filename", "good.txt", "--data-gen-filename", "none.txt"},
         "The data set stopped before its end"},
        {{"--inputs", "minmax"}, "there is no scaling 'minmax'", 2},
        {{"--interval", "0,1"}, "option '--interval' is only for: min-max", 2},
        {{"--inputs", "min-max", "--interval", "1"}, "option '--interval' takes two numbers", 2},
        {{"--inputs", "min-max", "--interval", "0,x"}, "option '--interval': 'x' is no number\n", 2},
        {{"--rate", "8000"}, "option '--rate' is for write", 2},
        {{"--data-gen-config", ""}, "a data generator configuration file must be supplied", 2},
    };
    for (const Case& test : CASES)
    {
        std::vector<std::string> vArguments{"learn-scaling", "scaling.xml"};
        if (test.m_vOptions.front() != "--data-gen-config")
            vArguments.insert(vArguments.end(), {"--data-gen-config", "generator.xml"});
        vArguments.insert(vArguments.end(), test.m_vOptions.begin(), test.m_vOptions.end());
        const CommandResult result = run(vArguments);
        EXPECT_EQ(result.m_iExit, test.m_iExit) << test.m_reason;
        EXPECT_THAT(result.m_strErr, HasSubstr(test.m_reason));
        EXPECT_FALSE(std::filesystem::exists(m_folder.path("scaling.xml"))) << test.m_reason;
    }
    EXPECT_EQ(run({"explain", "generator.xml", "--inputs", "none"}).m_iExit, 2);
    EXPECT_EQ(run({"write", "generator.xml", "--inputs", "none"}).m_iExit, 2);

    // What is not finite is written, with a warning, and read again.
    const CommandResult infinite = run({"learn-scaling", "scaling.xml", "--data-gen-config", "generator.xml",
                                        "--data-gen-filename", "constant.txt", "--inputs", "min-max"});
    EXPECT_EQ(infinite.m_iExit, 0);
    EXPECT_THAT(infinite.m_strErr, HasSubstr("WARN: scaling.xml: some slopes or intercepts are not finite"));
    EXPECT_THAT(run({"explain", "scaling.xml"}).m_strOut, HasSubstr("item 2 = inf\n"));
}

TEST_F(MlConfigTest, ExplainRefusesWhatIsNoUsableConfiguration)
{
    ASSERT_EQ(run({"write", "good.xml"}).m_iExit, 0);
    const std::string strGood = readFile(m_folder.path("good.xml"));
    const auto replaced = [&](const std::string& in_strOld, const std::string& in_strNew)
    {
        std::string strText = strGood;
        return strText.replace(strText.find(in_strOld), in_strOld.size(), in_strNew);
    };
    struct Case
    {
        const char* m_file;
        const char* m_reason;
    };
    m_folder.write("cut.xml", strGood.substr(0, strGood.size() / 3));
    m_folder.write("number.xml", replaced("<m_uiNbBands>24", "<m_uiNbBands>-24"));
    m_folder.write("bands.xml", replaced("<m_uiNbBands>24", "<m_uiNbBands>2400"));
    m_folder.write("table.xml", replaced("<m_uiFftSize>0", "<m_uiFftSize>33554432"));
    m_folder.write("windows.xml", replaced("<m_uiWindowLength>25", "<m_uiWindowLength>0"));
    m_folder.write("text.xml", "[1 2] [1]\n");
    std::string strScaling = readFile(GOLDENS + "ScalingDataGenerator.xml");
    m_folder.write("both.xml", strScaling.replace(strScaling.find("<m_bMinMax>0"), 12, "<m_bMinMax>1"));
    const Case CASES[] = {
        {"both.xml", "a component cannot be standardized and scaled to an interval"},
        {"none.xml", "Cannot read none.xml: No such file or directory"},
        {".", "Cannot read .: Is a directory"},
        {"text.xml", "text.xml: line 2: "},
        {"cut.xml", "cut.xml: line "},
        {"number.xml", "element 'm_uiNbBands': '-24' is not a whole number"},
        {"bands.xml", "the features of a window of 200 samples cannot be computed"},
        {"table.xml", "too large to be tried"},
        {"windows.xml", "Unable to configure data generator with deserialized config"},
    };
    for (const Case& test : CASES)
    {
        const CommandResult result = run({"explain", test.m_file});
        EXPECT_EQ(result.m_iExit, 1) << test.m_file;
        EXPECT_THAT(result.m_strErr, HasSubstr(test.m_reason));
    }
}

TEST_F(MlConfigTest, ExplainPrintsNoControlCharactersOfOthers)
{
    ASSERT_EQ(run({"write", "out.xml", "--class", "a\x1b[2J](x)?"}).m_iExit, 0);
    const CommandResult result = run({"explain", "out.xml"});
    EXPECT_THAT(result.m_strOut, HasSubstr("item 1 = a?[2J](x)?\n"));
    EXPECT_THAT(result.m_strOut, Not(HasSubstr("\x1b")));
}

TEST_F(MlConfigTest, WritesOverNoRecordingAndNoInput)
{
    m_folder.write("k.wav", "RIFF and more");
    m_folder.write("patterns.txt", "[1 10] [0]\n[5 20] [4]\n");
    ASSERT_EQ(run({"write", "generator.xml", "--generator", "vector-file"}).m_iExit, 0);
    const std::vector<std::string> LEARNING{"--data-gen-config", "generator.xml", "--data-gen-filename",
                                            "patterns.txt"};
    const std::tuple<const char*, const char*, const char*> CASES[] = {
        {"write", "k.wav", "it is a recording"},
        {"learn-scaling", "k.wav", "it is a recording"},
        {"learn-scaling", "./generator.xml", "it is an input"},
        {"learn-scaling", "patterns.txt", "it is an input"}};
    for (const auto& [command, file, reason] : CASES)
    {
        const std::string strBefore = readFile(m_folder.path(file));
        std::vector<std::string> vArguments{command, file};
        if (vArguments.front() != "write")
            vArguments.insert(vArguments.end(), LEARNING.begin(), LEARNING.end());
        const CommandResult result = run(vArguments);
        EXPECT_EQ(result.m_iExit, 1) << file;
        EXPECT_THAT(result.m_strErr, HasSubstr(std::string("Not writing over ") + file + ": " + reason));
        EXPECT_EQ(readFile(m_folder.path(file)), strBefore) << file;
    }
    EXPECT_EQ(run({"write", "k.wav", "--force"}).m_iExit, 0);
}

TEST_F(MlConfigTest, AFullDiskLeavesTheEarlierFile)
{
    m_folder.write("out.xml", "earlier");
    const std::string strProgram = PROGRAM;
    // A file of 2 KiB at most; the configuration has about 4.
    const CommandResult limited = shell("ulimit -f 2; " + strProgram + " write out.xml", m_folder.path());
    EXPECT_EQ(limited.m_iExit, 1);
    EXPECT_EQ(limited.m_strErr, "ERROR: Cannot write out.xml: File too large\n");
    EXPECT_EQ(readFile(m_folder.path("out.xml")), "earlier");
    EXPECT_EQ(list().size(), 1u);

    EXPECT_EQ(shell(strProgram + " write - > /dev/full", m_folder.path()).m_iExit, 1);
    std::filesystem::create_symlink("/dev/full", m_folder.path("full"));
    const CommandResult full = run({"write", "full"});
    EXPECT_EQ(full.m_iExit, 1);
    EXPECT_EQ(full.m_strErr, "ERROR: Cannot write full: No space left on device\n");
}

namespace
{

/// Keys of the classes of objects.
std::set<std::string> collectClasses(const ArchiveElement& in_parent)
{
    std::set<std::string> classes;
    for (const ArchiveElement& element : in_parent.m_vElements)
    {
        classes.merge(collectClasses(element));
        if (!element.m_strClass.empty())
            classes.insert(element.m_strClass);
    }
    return classes;
}

/// Looks at every element, and collects a row of the tables of doc/formats.md for each field of a class.
void collectRows(const ArchiveElement& in_parent, const std::string& in_strOwner,
                 std::set<std::string>& out_rows)
{
    for (const ArchiveElement& element : in_parent.m_vElements)
    {
        const bool bItem = in_parent.m_kind == ArchiveElement::Kind::LIST;
        EXPECT_TRUE(bItem || !element.m_strMeaning.empty()) << in_strOwner << ' ' << element.m_strName;
        EXPECT_TRUE(!element.m_bPointer || element.m_strName == "GeneratorConfig" ||
                    !element.m_strClassMeaning.empty())
            << element.m_strClass;
        const bool bValue = element.m_kind == ArchiveElement::Kind::VALUE;
        const bool bObject = element.m_kind == ArchiveElement::Kind::OBJECT;
        const std::string strDefault = bValue ? element.m_strValue + ' ' : bObject ? "" : "none ";
        const std::string strUnit = element.m_strUnit.empty() ? "" : element.m_strUnit + "; ";
        if (!bItem && element.m_strName.starts_with("m_"))
            out_rows.insert("`" + element.m_strName + "` | " + strDefault + "| " + strUnit +
                            element.m_strMeaning + " |\n");
        collectRows(element, element.m_strClass.empty() ? in_strOwner : element.m_strClass, out_rows);
    }
}

} // namespace

TEST(MlConfigDescriptionsTest, AllIsDescribedAndStandsInTheDocument)
{
    std::set<std::string> rows;
    std::set<std::string> unused;
    for (const std::string& strPath : goldens())
    {
        std::string strText;
        GeneratorFile file;
        ASSERT_TRUE(readConfigurationText(strPath.c_str(), strText) &&
                    file.fromText(strText, strPath.c_str()));
        const ArchiveDescription description = file.describe();
        EXPECT_EQ(description.m_strText, strText) << strPath;
        collectRows(description.m_root, "", unused);
        for (const std::string& strKey : collectClasses(description.m_root))
            collectRows(describeDefaultObject(strKey.c_str()), strKey, rows);
    }
    const std::string strDocument = readFile(TREE + "/doc/formats.md");
    for (const std::string& strRow : rows)
        EXPECT_NE(strDocument.find(strRow), std::string::npos) << strRow;
}

TEST(MlConfigClassesTest, ALiteralClassMeansItsLabelAlone)
{
    struct Case
    {
        const char* m_label;
        const char* m_other;
    };
    const Case CASES[] = {{"1*", "11"},         {"a.b", "axb"},         {"(x)|[y]", "x"},
                          {"OTHER", "OTHE"},    {"SF:1000", "SF:1001"}, {"1000 Hz", "SF:1000"},
                          {"a\\d^$+?{2}", "a1"}};
    for (const Case& test : CASES)
    {
        const std::string strClass = toLiteralClass(test.m_label);
        const BoostRegex regex(strClass, BoostRegex::ICASE);
        EXPECT_TRUE(regex.match(test.m_label)) << strClass;
        EXPECT_FALSE(regex.match(test.m_other)) << strClass;
        EXPECT_NE(strClass, "OTHER");
        for (const std::string& strRemark : describeClasses({strClass, "OTHER"}))
            EXPECT_THAT(strRemark, Not(HasSubstr("is a tone")));
    }
}

TEST_F(MlConfigTest, DocumentedCommandsWriteTheExamples)
{
    const std::string strExamples = TREE + "/examples/configurations/";
    std::filesystem::create_directories(m_folder.path("examples/configurations"));
    for (const std::string& strCommand : documentedCommands())
    {
        const CommandResult result = shell("PATH=" QC_BINARY_DIR "/bin; " + strCommand, m_folder.path());
        EXPECT_EQ(result.m_iExit, 0) << strCommand << '\n' << result.m_strErr;
    }
    std::size_t uiExamples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(strExamples))
    {
        const std::string strName = entry.path().filename();
        EXPECT_TRUE(readFile(m_folder.path("examples/configurations/" + strName)) == readFile(entry.path()))
            << strName;
        EXPECT_EQ(run({"explain", entry.path()}).m_iExit, 0) << strName;
        ++uiExamples;
    }
    EXPECT_EQ(uiExamples, documentedCommands().size());
    EXPECT_GT(uiExamples, 0u);
}
