#include "XprAudioClassifier.h"
#include "ScriptFolder.h"
#include "TestPrelude.h"

#include <filesystem>
#include <numeric>
#include <sys/stat.h>

namespace
{

class XprAudioClassifierTest : public testing::Test
{
protected:
    XprAudioClassifierTest()
    {
        EXPECT_TRUE(m_set.configure(m_folder.getConfig(), m_folder.getFileSystem()) &&
                    m_set.setVariableName("audio"));
    }

    bool start() { return m_set.freeze() && m_set.start(); }
    bool startOf(const char* in_name) const { return m_set.findClassifier(in_name)->second->start(); }
    bool stopOf(const char* in_name) const { return m_set.findClassifier(in_name)->second->stop(); }

    std::string result(const char* in_name) const { return resultText(m_set, in_name); }

    ScriptFolder m_folder;
    WorkingDirectory m_workingDirectory{m_folder.path()}; ///< where graphs are written
    XprClassifierSet m_set;
    AssertionCapture m_assertions;
    LogCapture m_log{"quillcast.ml.XprAudioClassifier", LogLevel::DEBUGGING};
};

constexpr const char* DUMP_FILE = "XprAudioClassifierEvaluator.dot";

} // namespace

TEST_F(XprAudioClassifierTest, EntriesAreTheElementsUnderTheirOddNames)
{
    m_folder.writeScript("a", "result = audio * 2\nr = audio\nnone = audio[0:0]\n");
    ASSERT_TRUE(addScript(m_set, "a") && addScript(m_set, "a", "r", "r") &&
                addScript(m_set, "a", "none", "none") && start());
    ASSERT_TRUE(m_set.classify({0.5, -1, 3}));
    EXPECT_EQ(result("a"), "0esult=1\n1esult=-2\n2esult=6\n");
    EXPECT_EQ(result("none"), "");
    ASSERT_TRUE(m_set.classify(DoubleVector(11, 1.0)));
    EXPECT_THAT(result("a"), HasSubstr("9esult=2\n10sult=2\n"));
    EXPECT_THAT(result("r"), HasSubstr("9=1\n10=1\n"));
    ASSERT_TRUE(m_set.classify({4}));
    EXPECT_EQ(result("a"), "0esult=8\n");
    EXPECT_TRUE(m_log.has("DEBUG Xpr result is : [8]"));
    EXPECT_TRUE(m_log.has("DEBUG Corresponding Result is : 0esult=8\n"));
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
}

TEST_F(XprAudioClassifierTest, ScriptsLoadAsSoonAsThereIsAnEvaluator)
{
    m_folder.writeScript("main", "result = helper.twice + 1\n");
    m_folder.writeScript("helper", "twice = 2 * sum(audio)\n");
    StringVector vFurther{"helper"};
    auto* pEarly = new XprAudioClassifier;
    ASSERT_TRUE(pEarly->configure("main", "result", LimitedObjPtr<StringVector>(&vFurther)));
    ASSERT_TRUE(m_set.addClassifier("early", pEarly) && addScript(m_set, "main", "result", "late", vFurther));
    EXPECT_THAT(m_log.lines(),
                ElementsAre("DEBUG Evaluator not set yet, script will be added on call to setEvaluator()",
                            "DEBUG Got an evaluator, add script now",
                            "DEBUG Evaluator already known, add script right away"));
    ASSERT_TRUE(start());
    EXPECT_FALSE(pEarly->configure("main", "result", {}));
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("!isStarted() && \"Can't add XPR script once the classifier is started.\""));
    ASSERT_TRUE(m_set.classify({1, 2}));
    EXPECT_EQ(result("early") + result("late"), "0esult=7\n0esult=7\n");
}

TEST_F(XprAudioClassifierTest, ScriptsThatDoNotLoad)
{
    m_folder.writeScript("bad", "result = audio +\n");
    m_folder.writeScript("good", "result = audio\n");
    const LogCapture evaluatorLog("quillcast.math");
    EXPECT_FALSE(addScript(m_set, "bad") || addScript(m_set, "missing") ||
                 addScript(m_set, "good", "result", nullptr, {"missing"}));
    EXPECT_EQ(m_assertions.conditions(), Texts(3, "addXprScripts()"));
    m_assertions.clear();
    auto* pClassifier = new XprAudioClassifier;
    ASSERT_TRUE(pClassifier->configure("bad", "result", {}));
    EXPECT_TRUE(m_set.addClassifier("added all the same", pClassifier));
    EXPECT_EQ(m_log.count("ERROR Failed to use script 'bad' in the classifier."), 2u);
    EXPECT_EQ(m_log.count("ERROR Failed to use script 'missing' in the classifier."), 2u);
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
    ASSERT_TRUE(start());
    EXPECT_FALSE(m_set.classify({1})) << "the first classifier in the order of names fails";
}

TEST_F(XprAudioClassifierTest, MisuseIsRefused)
{
    XprAudioClassifier classifier;
    EXPECT_FALSE(classifier.classify());
    EXPECT_FALSE(classifier.configure(nullptr, "result", {}));
    EXPECT_FALSE(classifier.configure("script", nullptr, {}));
    ASSERT_TRUE(classifier.configure("script", "", {}));
    EXPECT_FALSE(classifier.classify());
    ASSERT_TRUE(classifier.configure("script", "result", {}));
    EXPECT_FALSE(classifier.classify()) << "it is in no set";
    EXPECT_THAT(m_assertions.conditions(),
                ElementsAre("m_bConfigured && \"configure() must be call prior to classify_i()\"",
                            "in_szScriptName != nullptr", "in_szVariableName != nullptr",
                            "!m_strVariableName.empty()", "!pEvaluator.isNull()"));

    m_folder.writeScript("mismatch", "result = audio + [1, 2]\n");
    ASSERT_TRUE(addScript(m_set, "mismatch") && start());
    m_assertions.clear();
    const LogCapture evaluatorLog("quillcast.math");
    EXPECT_FALSE(m_set.classify({1, 2, 3}));
    EXPECT_THAT(m_assertions.conditions(), ElementsAre("m_pVariable->evaluate( m_scratchRange )"));
    EXPECT_THAT(evaluatorLog.text(), HasSubstr("mismatch.xpr"));
    EXPECT_TRUE(m_set.classify({1, 2}));
    EXPECT_EQ(result("mismatch"), "0esult=2\n1esult=4\n");
}

TEST_F(XprAudioClassifierTest, MissingVariableWritesTheGraphAndFailsEveryTime)
{
    m_folder.writeScript("a", "reslut = audio\n");
    ASSERT_TRUE(addScript(m_set, "a") && start());
    const std::unique_ptr<XprClassifierSet> pClone(m_set.clone());
    m_log.clear();
    const auto isWritten = [&](XprClassifierSet& io_set)
    {
        // A file that is replaced has another number.
        struct stat before = {};
        struct stat after = {};
        ::stat(DUMP_FILE, &before);
        EXPECT_FALSE(io_set.classify({1}));
        return ::stat(DUMP_FILE, &after) == 0 && before.st_ino != after.st_ino;
    };

    EXPECT_TRUE(isWritten(m_set));
    EXPECT_THAT(readFile(DUMP_FILE), HasSubstr("reslut"));
    EXPECT_FALSE(isWritten(m_set) || isWritten(*pClone)) << "the file holds it";
    EXPECT_EQ(m_log.lines(), Texts(3, "ERROR Failed to retrieve variable named 'result'. Evaluator dumped in "
                                      "file 'XprAudioClassifierEvaluator.dot'"));
    EXPECT_EQ(m_assertions.conditions(), Texts(3, "!m_pVariable.isNull()"));

    std::filesystem::remove(DUMP_FILE);
    EXPECT_TRUE(isWritten(*pClone)) << "the file was gone";
    m_folder.write(DUMP_FILE, "something else");
    EXPECT_TRUE(isWritten(*pClone)) << "the file held something else";
    m_folder.writeScript("b", "other = audio\n");
    ASSERT_TRUE(m_set.stop() && addScript(m_set, "b", "other") && startOf("a"));
    EXPECT_TRUE(isWritten(m_set)) << "the evaluator changed";
    EXPECT_THAT(readFile(DUMP_FILE), HasSubstr("other"));
    EXPECT_TRUE(isWritten(*pClone)) << "the file held another set's";
    EXPECT_THAT(readFile(DUMP_FILE), testing::Not(HasSubstr("other")));
}

TEST_F(XprAudioClassifierTest, ClonesGoOnFromTheStateOfTheOriginal)
{
    m_folder.writeScript("count", "result = prev(result, 0) + audio\n");
    ASSERT_TRUE(addScript(m_set, "count") && start() && m_set.classify({1}) && m_set.classify({1}));
    const std::unique_ptr<XprClassifierSet> pClone(m_set.clone());
    EXPECT_EQ(resultText(*pClone, "count"), "0esult=2\n");
    ASSERT_TRUE(pClone->classify({10}) && m_set.classify({1}));
    EXPECT_EQ(resultText(*pClone, "count"), "0esult=12\n");
    EXPECT_EQ(result("count"), "0esult=3\n");

    ASSERT_TRUE(m_set.setVariableName("other"));
    const std::unique_ptr<XprClassifierSet> pLater(m_set.clone());
    ASSERT_TRUE(pLater->classify({4}));
    EXPECT_EQ(resultText(*pLater, "count"), "0esult=7\n") << "it hears what the original hears";

    ASSERT_TRUE(pClone->reset());
    EXPECT_EQ(resultText(*pClone, "count"), "0esult=0\n") << "entries stay, values are 0";
    ASSERT_TRUE(pClone->classify({5}) && m_set.classify({1}));
    EXPECT_EQ(resultText(*pClone, "count"), "0esult=5\n");
    EXPECT_EQ(result("count"), "0esult=4\n");
}

TEST_F(XprAudioClassifierTest, StatesAdvanceWhileAClassifierIsStopped)
{
    m_folder.writeScript("count", "result = prev(result, 0) + 1\n");
    m_folder.writeScript("other", "result = count.result\n");
    ASSERT_TRUE(addScript(m_set, "count") && addScript(m_set, "other") && start() && m_set.classify({0}));
    EXPECT_EQ(result("count") + result("other"), "0esult=1\n0esult=1\n") << "once, whoever asks";
    ASSERT_TRUE(stopOf("count") && stopOf("other") && m_set.classify({0}) && m_set.classify({0}));
    EXPECT_EQ(result("count"), "0esult=1\n") << "the result of the last time";
    ASSERT_TRUE(startOf("count") && m_set.classify({0}));
    EXPECT_EQ(result("count"), "0esult=4\n");
}

TEST_F(XprAudioClassifierTest, MemoryIsAccountedUnderTheName)
{
    MemAccount& account = MemAccount::get(XprAudioClassifier::getName());
    const std::int64_t iBytes = account.getBytes();
    {
        const auto pOne = std::make_unique<XprAudioClassifier>();
        const auto pThree = std::make_unique<XprAudioClassifier[]>(3);
        EXPECT_GE(account.getBytes(), iBytes + std::int64_t(4 * sizeof(XprAudioClassifier)));
    }
    EXPECT_EQ(account.getBytes(), iBytes);
}

namespace
{

/// The sum of the input, and how many inputs there were; fails on an empty one.
class RunningSum final : public virtual FeatureComputerWithInputs
{
public:
    RunningSum* clone() const override { return new RunningSum(*this); }
    bool reset() override
    {
        m_dInputs = 0;
        return true;
    }
    bool setInput(const char* in_name, const DoubleVector& in_vInput) override
    {
        m_pInput = &in_vInput;
        return std::string(in_name) == "audio";
    }
    bool computeFeatures(DoubleVector& out_vFeatures) override
    {
        if (m_pInput->empty())
            return false;
        const double dSum = std::accumulate(m_pInput->begin(), m_pInput->end(), 0.0);
        out_vFeatures = {dSum, ++m_dInputs};
        return true;
    }

private:
    const DoubleVector* m_pInput = nullptr;
    double m_dInputs = 0;
};

} // namespace

TEST_F(XprAudioClassifierTest, ComputedInputsAreThereInEveryWindowWithTheirOwnState)
{
    m_folder.writeScript("a", "result = sums + [0, 100 * n]\nn = prev(n, 0) + sums[0]\n");
    m_folder.writeScript("b", "result = audio\n");
    ASSERT_TRUE(m_set.addComputedInput("sums", new RunningSum));
    ASSERT_TRUE(addScript(m_set, "a") && addScript(m_set, "b") && start());
    ASSERT_TRUE(stopOf("a") && m_set.classify({5})) << "nothing uses it";
    ASSERT_TRUE(startOf("a"));
    ASSERT_TRUE(m_set.classify({1, 2}));
    EXPECT_EQ(result("a"), "0esult=3\n1esult=302\n");
    EXPECT_FALSE(m_set.classify({})) << "no window for the scripts";
    XprClassifierSet copy(m_set);
    ASSERT_TRUE(m_set.classify({4}));
    EXPECT_EQ(result("a"), "0esult=4\n1esult=703\n");
    ASSERT_TRUE(copy.classify({6}));
    EXPECT_EQ(resultText(copy, "a"), "0esult=6\n1esult=903\n");
    ASSERT_TRUE(m_set.reset() && m_set.classify({2}));
    EXPECT_EQ(result("a"), "0esult=2\n1esult=201\n");
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());

    EXPECT_FALSE(m_set.addComputedInput("late", new RunningSum));
    XprClassifierSet other;
    EXPECT_FALSE(other.addComputedInput("early", new RunningSum)) << "before the variable of the input";
    ASSERT_TRUE(other.setVariableName("audio") && other.setConstant("rate", 8000));
    EXPECT_FALSE(other.addComputedInput("none", nullptr));
    EXPECT_TRUE(other.addComputedInput("sums", new RunningSum));
    for (const char* taken : {"audio", "rate", "sums", "no name"})
        EXPECT_FALSE(other.addComputedInput(taken, new RunningSum)) << taken;
    EXPECT_FALSE(other.setVariableName("sums"));
}
