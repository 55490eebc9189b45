#include "ClassifierSetApplicationHelper.h"
#include "ScriptFolder.h"
#include "XprAudioClassifier.h"
#include "quillcast-infra/ApplicationImpl.h"
#include "test-support/LogCapture.h"

#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::AssertionCapture;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

/// Adds one classifier, "script".
struct OneScript : ClassifierSetApplicationHelper::Strategy
{
    bool addClassifiers(AudioClassifierSet& io_set) override
    {
        if (!m_bWorks)
            return false;
        auto* pClassifier = new XprAudioClassifier;
        return io_set.addClassifier("script", pClassifier) &&
               pClassifier->configure("script", m_strVariable.c_str(), {});
    }

    bool m_bWorks = true;
    std::string m_strVariable = "result";
};

constinit Logger s_logger("quillcast.ml.test.HelperProgram");

/// Brings the options of one helper and hands their values to another, which may be the same.
class HelperProgram : public ApplicationImpl
{
public:
    HelperProgram(ClassifierSetApplicationHelper& io_options, ClassifierSetApplicationHelper& io_helper)
        : ApplicationImpl(s_logger, "helper-program")
        , m_helper(io_helper)
    {
        options_description hidden;
        EXPECT_TRUE(io_options.addOptions(getOptions(), hidden));
        EXPECT_TRUE(hidden.options().empty());
    }

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override
    {
        return ApplicationImpl::processCmdlineVarsMap(in_map) && m_helper.processCmdlineVarsMap(in_map);
    }
    bool run_i() override { return true; }

private:
    ClassifierSetApplicationHelper& m_helper;
};

class ClassifierSetApplicationHelperTest : public testing::Test
{
protected:
    static void take(ClassifierSetApplicationHelper& io_options, ClassifierSetApplicationHelper& io_helper,
                     std::vector<std::string> in_vArguments)
    {
        in_vArguments.insert(in_vArguments.begin(), "helper-program");
        std::vector<const char*> vArguments;
        for (const std::string& strArgument : in_vArguments)
            vArguments.push_back(strArgument.c_str());
        ASSERT_EQ(
            HelperProgram(io_options, io_helper).run(static_cast<int>(vArguments.size()), vArguments.data()),
            0);
    }

    std::vector<std::string> arguments(const std::string& in_strPath, const std::string& in_strWindower,
                                       const std::string& in_strVariable = "result") const
    {
        return {
            "--filesystem-path",      in_strPath,     "--windower-config-file",   in_strWindower,
            "--result-variable-name", in_strVariable, "--dump-evaluator-in-file", m_folder.path("graph.dot")};
    }

    std::vector<std::string> goodArguments(const std::string& in_strVariable = "result") const
    {
        return arguments(m_folder.path(), Testing::ScriptFolder::WINDOWER_FILE, in_strVariable);
    }

    Testing::ScriptFolder m_folder;
    OneScript m_strategy;
    ClassifierSetApplicationHelper m_helper{&m_strategy};
    Testing::LogCapture m_log{"quillcast.ml.ClassifierSetApplicationHelper"};
    AssertionCapture m_assertions;
};

} // namespace

TEST_F(ClassifierSetApplicationHelperTest, OptionsHaveTheirDefaultsAndTexts)
{
    testing::internal::CaptureStdout();
    take(m_helper, m_helper, {"--help"});
    const std::string strHelp = testing::internal::GetCapturedStdout();
    for (const char* part :
         {"--filesystem-path arg (=test-input/xpr)", "--result-variable-name arg (=result)",
          "--windower-config-file arg (=dsp/LinearAudioWindowerConfig.xml)", "--dump-evaluator-in-file arg",
          "graphwiz 'dot' format"})
        EXPECT_THAT(strHelp, HasSubstr(part));

    const Testing::TempDir folder;
    const Testing::WorkingDirectory workingDirectory(folder.path());
    take(m_helper, m_helper, {});
    EXPECT_EQ(m_helper.getOutVariableName(), "result");
    EXPECT_FALSE(m_helper.setupClassifierSet());
    EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Failed to set working directory to : test-input/xpr"));
}

TEST_F(ClassifierSetApplicationHelperTest, SetsUpAStartedSet)
{
    m_folder.writeScript("script", "value = sum(audio)\n");
    m_strategy.m_strVariable = "value";
    take(m_helper, m_helper, goodArguments("value"));
    EXPECT_EQ(m_helper.getOutVariableName(), "value");
    ASSERT_TRUE(m_helper.setupClassifierSet() && m_helper.startSet());
    EXPECT_THAT(Testing::readFile(m_folder.path("graph.dot")), HasSubstr("digraph"));
    const std::vector<double> vSamples(200, 0.5);
    EXPECT_TRUE(m_helper.getSet().pushLinearAudio(vSamples.data(), vSamples.data() + 200));
    EXPECT_EQ(Testing::resultText(m_helper.getSet(), "script"), "0alue=100\n");
    EXPECT_TRUE(m_helper.stopSet());
    EXPECT_FALSE(m_helper.getSet().isStarted());
}

TEST_F(ClassifierSetApplicationHelperTest, GraphIsWrittenEvenIfItCannotBeLinked)
{
    m_folder.writeScript("script", "result = unknown_name\n");
    take(m_helper, m_helper, goodArguments());
    ASSERT_TRUE(m_helper.setupClassifierSet());
    const Testing::LogCapture evaluatorLog("quillcast.math");
    EXPECT_FALSE(m_helper.startSet());
    EXPECT_THAT(Testing::readFile(m_folder.path("graph.dot")), HasSubstr("unknown_name"));
    EXPECT_THAT(evaluatorLog.text(), HasSubstr("unknown_name"));
}

TEST_F(ClassifierSetApplicationHelperTest, FailuresHaveTheirTexts)
{
    const Testing::LogCapture setLog("quillcast.ml.AudioClassifierSet");
    const std::string strPath = m_folder.path();
    const std::string strWindower = Testing::ScriptFolder::WINDOWER_FILE;
    const struct
    {
        std::vector<std::string> m_vArguments;
        const char* m_assertion; ///< null: none, as with the message
        const char* m_message;
    } cases[] = {
        {goodArguments(""), "!m_strOutVariableName.empty()", nullptr},
        {arguments("", strWindower), "!m_strFileSystemPath.empty()", nullptr},
        {arguments(strPath, ""), "!m_strWindowerConfigFile.empty()", nullptr},
        {arguments("/does/not/exist", strWindower), nullptr,
         "ERROR Failed to set working directory to : /does/not/exist"},
        {arguments(strPath, "none.xml"), nullptr, "ERROR Failed to configure audio set"},
    };
    using Lines = std::vector<std::string>;
    for (const auto& test : cases)
    {
        take(m_helper, m_helper, test.m_vArguments);
        m_log.clear();
        m_assertions.clear();
        EXPECT_FALSE(m_helper.setupClassifierSet());
        EXPECT_EQ(m_assertions.conditions(), test.m_assertion == nullptr ? Lines() : Lines{test.m_assertion});
        EXPECT_EQ(m_log.lines(), test.m_message == nullptr ? Lines() : Lines{test.m_message});
    }

    m_strategy.m_bWorks = false;
    ClassifierSetApplicationHelper withoutStrategy(nullptr);
    for (ClassifierSetApplicationHelper* pHelper : {&m_helper, &withoutStrategy})
    {
        take(*pHelper, *pHelper, goodArguments());
        m_log.clear();
        EXPECT_FALSE(pHelper->setupClassifierSet());
        EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Failed to add classifier in set"));
    }
}

TEST_F(ClassifierSetApplicationHelperTest, ACopyTakesTheOptionsOfTheOriginal)
{
    m_folder.writeScript("script", "result = audio[0]\n");
    ClassifierSetApplicationHelper copy(m_helper);
    take(m_helper, copy, goodArguments());
    ASSERT_TRUE(copy.setupClassifierSet() && copy.startSet());
    EXPECT_EQ(copy.getSet().size(), 1u);
    EXPECT_EQ(m_helper.getSet().size(), 0u);
    copy = m_helper;
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("false"));
    EXPECT_EQ(copy.getSet().size(), 1u) << "assignment does nothing";
}
