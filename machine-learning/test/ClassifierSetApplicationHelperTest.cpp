#include "ClassifierSetApplicationHelper.h"
#include "ScriptFolder.h"
#include "TestPrelude.h"
#include "quillcast-infra/ApplicationImpl.h"

namespace
{

/// Adds one classifier, "script".
struct OneScript : ClassifierSetApplicationHelper::Strategy
{
    bool addClassifiers(AudioClassifierSet& io_set) override
    {
        return m_bWorks && addScript(io_set, "script", m_strVariable.c_str());
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

void take(ClassifierSetApplicationHelper& io_options, ClassifierSetApplicationHelper& io_helper,
          const Texts& in_vArguments)
{
    HelperProgram program(io_options, io_helper);
    EXPECT_EQ(runApplication(program, in_vArguments), 0);
}

class ClassifierSetApplicationHelperTest : public testing::Test
{
protected:
    Texts arguments(const std::string& in_strPath, const std::string& in_strWindower,
                    const std::string& in_strVariable) const
    {
        return {
            "--filesystem-path",      in_strPath,     "--windower-config-file",   in_strWindower,
            "--result-variable-name", in_strVariable, "--dump-evaluator-in-file", m_folder.path("graph.dot")};
    }

    Texts goodArguments(const std::string& in_strVariable = "result") const
    {
        return arguments(m_folder.path(), ScriptFolder::WINDOWER_FILE, in_strVariable);
    }

    ScriptFolder m_folder;
    OneScript m_strategy;
    ClassifierSetApplicationHelper m_helper{&m_strategy};
    LogCapture m_log{"quillcast.ml.ClassifierSetApplicationHelper"};
    AssertionCapture m_assertions;
};

} // namespace

TEST_F(ClassifierSetApplicationHelperTest, OptionsHaveTheirDefaultsAndTexts)
{
    testing::internal::CaptureStdout();
    take(m_helper, m_helper, {"--help"});
    const std::string strHelp = testing::internal::GetCapturedStdout();
    for (const char* part :
         {"--filesystem-path DIR (=test-input/xpr)", "--result-variable-name NAME (=result)",
          "--windower-config-file FILE (=dsp/LinearAudioWindowerConfig.xml)", "--dump-evaluator-in-file FILE",
          "graphwiz 'dot' format"})
        EXPECT_THAT(strHelp, HasSubstr(part));

    const TempDir folder;
    const WorkingDirectory workingDirectory(folder.path());
    take(m_helper, m_helper, {});
    EXPECT_EQ(m_helper.getOutVariableName(), "result");
    EXPECT_FALSE(m_helper.setupClassifierSet());
    EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Failed to set working directory to : test-input/xpr"));
}

TEST_F(ClassifierSetApplicationHelperTest, SetsUpAStartedSetAndWritesItsGraph)
{
    m_folder.writeScript("script", "value = sum(audio)\n");
    m_strategy.m_strVariable = "value";
    take(m_helper, m_helper, goodArguments("value"));
    EXPECT_EQ(m_helper.getOutVariableName(), "value");
    ASSERT_TRUE(m_helper.setupClassifierSet() && m_helper.startSet());
    EXPECT_THAT(readFile(m_folder.path("graph.dot")), HasSubstr("digraph"));
    const std::vector<double> vSamples(200, 0.5);
    EXPECT_TRUE(m_helper.getSet().pushLinearAudio(vSamples.data(), vSamples.data() + 200));
    EXPECT_EQ(resultText(m_helper.getSet(), "script"), "0alue=100\n");
    EXPECT_TRUE(m_helper.stopSet());
    EXPECT_FALSE(m_helper.getSet().isStarted());

    m_folder.writeScript("script", "value = unknown_name\n");
    ClassifierSetApplicationHelper unlinked(&m_strategy);
    take(unlinked, unlinked, goodArguments());
    ASSERT_TRUE(unlinked.setupClassifierSet());
    const LogCapture evaluatorLog("quillcast.math");
    EXPECT_FALSE(unlinked.startSet());
    EXPECT_THAT(readFile(m_folder.path("graph.dot")), HasSubstr("unknown_name")) << "all the same";
    EXPECT_THAT(evaluatorLog.text(), HasSubstr("unknown_name"));
}

TEST_F(ClassifierSetApplicationHelperTest, FailuresHaveTheirTexts)
{
    const LogCapture setLog("quillcast.ml.AudioClassifierSet");
    const std::string strPath = m_folder.path();
    const std::string strWindower = ScriptFolder::WINDOWER_FILE;
    const std::tuple<Texts, Texts, Texts> CASES[] = {
        // arguments, conditions, messages
        {goodArguments(""), {"!m_strOutVariableName.empty()"}, {}},
        {arguments("", strWindower, "result"), {"!m_strFileSystemPath.empty()"}, {}},
        {arguments(strPath, "", "result"), {"!m_strWindowerConfigFile.empty()"}, {}},
        {arguments("/does/not/exist", strWindower, "result"),
         {},
         {"ERROR Failed to set working directory to : /does/not/exist"}},
        {arguments(strPath, "none.xml", "result"), {}, {"ERROR Failed to configure audio set"}},
    };
    for (const auto& [vArguments, vConditions, vMessages] : CASES)
    {
        take(m_helper, m_helper, vArguments);
        m_log.clear();
        m_assertions.clear();
        EXPECT_FALSE(m_helper.setupClassifierSet());
        EXPECT_EQ(m_assertions.conditions(), vConditions);
        EXPECT_EQ(m_log.lines(), vMessages);
    }

    m_strategy.m_bWorks = false;
    ClassifierSetApplicationHelper withoutStrategy(nullptr);
    m_log.clear();
    for (ClassifierSetApplicationHelper* pHelper : {&m_helper, &withoutStrategy})
    {
        take(*pHelper, *pHelper, goodArguments());
        EXPECT_FALSE(pHelper->setupClassifierSet());
    }
    EXPECT_EQ(m_log.lines(), Texts(2, "ERROR Failed to add classifier in set"));
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
