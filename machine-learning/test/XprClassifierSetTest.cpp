#include "XprClassifierSet.h"
#include "TestPrelude.h"

namespace
{

/// Notes its calls, as "name.operation", and fails those that it is told to fail. Counts how often it was
/// classified.
class NotingClassifier : public XprClassifierSet::ClassifierImpl
{
public:
    NotingClassifier(Texts& io_calls, std::string in_strName, std::string in_strFailing = "")
        : m_pTexts(&io_calls)
        , m_strName(std::move(in_strName))
        , m_strFailing(std::move(in_strFailing))
    {
    }
    ~NotingClassifier() override { note("destroyed"); }

    bool start() override { return note("start") && ClassifierImpl::start(); }
    bool stop() override { return note("stop") && ClassifierImpl::stop(); }
    bool reset() override { return note("reset") && ClassifierImpl::reset(); }
    bool setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator> in_pEvaluator) override
    {
        return note("setEvaluator") && ClassifierImpl::setEvaluator(in_pEvaluator);
    }
    bool setClassifierSet(LimitedObjPtr<XprClassifierSet> in_pSet) override
    {
        return note("setClassifierSet") && ClassifierImpl::setClassifierSet(in_pSet);
    }
    NotingClassifier* clone() const override
    {
        auto* pClone = new NotingClassifier(*m_pTexts, m_strName + "'", m_strFailing);
        pClone->copyFrom(*this);
        return pClone;
    }

protected:
    bool classify_i(Classifier::Result& io_result) override
    {
        io_result.addEntry("call", static_cast<double>(io_result.size() + 1));
        return note("classify");
    }

private:
    bool note(const char* in_operation) const
    {
        m_pTexts->push_back(m_strName + '.' + in_operation);
        return m_strFailing != in_operation;
    }

    Texts* m_pTexts;
    std::string m_strName;
    std::string m_strFailing;
};

class XprClassifierSetTest : public testing::Test
{
protected:
    bool add(const char* in_name, const char* in_failing = "")
    {
        return m_set.addClassifier(in_name, new NotingClassifier(m_calls, in_name, in_failing));
    }

    /// With the input variable "in" and an evaluator that has no scripts.
    void freeze()
    {
        ASSERT_TRUE(m_set.setVariableName("in"));
        ASSERT_TRUE(m_set.freeze());
        m_calls.clear();
    }

    Texts m_calls;
    XprClassifierSet m_set;
    AssertionCapture m_assertions;
};

const DoubleVector INPUT{1, 2, 3};

} // namespace

TEST_F(XprClassifierSetTest, OrderOfCallsIsEnforced)
{
    ASSERT_TRUE(add("a"));
    m_calls.clear();
    EXPECT_FALSE(m_set.classify(INPUT));
    EXPECT_FALSE(m_set.start());
    EXPECT_FALSE(m_set.reset());
    EXPECT_FALSE(m_set.freeze()) << "there is no variable";
    EXPECT_FALSE(m_set.start()) << "the set is still open";
    EXPECT_FALSE(m_set.setVariableName(nullptr));
    EXPECT_THAT(
        m_assertions.conditions(),
        ElementsAre("m_bEvaluatorLinked && \"freeze() *MUST* be called prior to start and \" \"classify()\"",
                    "m_bEvaluatorLinked && \"freeze() *MUST* be called prior to start()\"",
                    "!m_pVariable.isNull()", "!m_pVariable.isNull()",
                    "m_bEvaluatorLinked && \"freeze() *MUST* be called prior to start()\"",
                    "in_szVariableName != 0"));
    EXPECT_THAT(m_calls, IsEmpty());
    m_assertions.clear();

    freeze();
    EXPECT_TRUE(m_set.freeze()) << "again";
    EXPECT_FALSE(m_set.isStarted());
    EXPECT_TRUE(m_set.start());
    EXPECT_TRUE(m_set.freeze()) << "harmless even now";
    EXPECT_TRUE(m_set.classify(INPUT));
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
}

TEST_F(XprClassifierSetTest, AddingTakesOwnershipInEveryCase)
{
    const LogCapture log("quillcast.ml.XprClassifierSet", LogLevel::DEBUGGING);
    ASSERT_TRUE(add("a"));
    EXPECT_FALSE(m_set.addClassifier("b", nullptr));
    EXPECT_FALSE(m_set.addClassifier(nullptr, new NotingClassifier(m_calls, "n")));
    EXPECT_FALSE(add("a"));
    EXPECT_FALSE(add("c", "setClassifierSet"));
    EXPECT_FALSE(add("d", "setEvaluator"));
    EXPECT_THAT(m_calls, ElementsAre("a.setClassifierSet", "a.setEvaluator", "n.destroyed", "a.destroyed",
                                     "c.setClassifierSet", "c.destroyed", "d.setClassifierSet",
                                     "d.setEvaluator", "d.destroyed"));
    EXPECT_THAT(
        m_assertions.conditions(),
        ElementsAre("! pClassifier.isNull() && \"Can not add Classifier* to the classifier set: \" \"pointer "
                    "is not of the expected type Math::Xpr::\" \"XprClassifierSet::Classifier\"",
                    "in_szClassifierName != nullptr",
                    "m_mapClassifiers.end() == m_mapClassifiers.find(in_szClassifierName)",
                    "pClassifier->setClassifierSet(this)", "pClassifier->setEvaluator(&*m_pEvaluator)"));
    EXPECT_THAT(log.lines(), ElementsAre("DEBUG Added classifier 'a'"));
    EXPECT_EQ(m_set.size(), 1u);
    EXPECT_EQ(m_set.findClassifier("b"), m_set.end());
    EXPECT_EQ(m_set.findClassifier("a"), m_set.begin());
}

TEST_F(XprClassifierSetTest, VisitsInTheOrderOfNamesUpToTheFirstFailure)
{
    const auto operate = [](XprClassifierSet& io_set, const std::string& in_strOperation)
    {
        return in_strOperation == "classify" ? io_set.classify(INPUT)
               : in_strOperation == "reset"  ? io_set.reset()
                                             : io_set.stop();
    };
    for (const std::string strName : {"classify", "reset", "stop"})
        for (const std::string& strFailing : {std::string(), strName}) // of "B", which is between "A" and "a"
        {
            Texts calls;
            XprClassifierSet set;
            for (const char* name : {"a", "A", "B"})
                ASSERT_TRUE(set.addClassifier(
                    name, new NotingClassifier(calls, name, *name == 'B' ? strFailing : "")));
            ASSERT_TRUE(set.setVariableName("in") && set.freeze() && set.start() && set.isStarted());
            calls.clear();
            EXPECT_EQ(operate(set, strName), strFailing.empty()) << strName;
            Texts vExpected{"A." + strName, "B." + strName};
            if (strFailing.empty())
                vExpected.push_back("a." + strName);
            EXPECT_EQ(calls, vExpected) << strName;
            calls.clear();
        }
}

TEST_F(XprClassifierSetTest, StartedIsWhatItsClassifiersAre)
{
    freeze();
    EXPECT_TRUE(m_set.start());
    EXPECT_FALSE(m_set.isStarted()) << "there is none";
    EXPECT_TRUE(m_set.classify(INPUT));

    ASSERT_TRUE(add("a") && add("b") && add("c", "start"));
    m_calls.clear();
    EXPECT_FALSE(m_set.start());
    EXPECT_TRUE(m_set.isStarted()) << "the others stay started";
    EXPECT_TRUE(m_set.findClassifier("b")->second->stop());
    EXPECT_TRUE(m_set.classify(INPUT));
    EXPECT_THAT(m_calls, ElementsAre("a.start", "b.start", "c.start", "b.stop", "a.classify"));
    EXPECT_EQ(m_set.findClassifier("a")->second->getResult().size(), 1u);
    EXPECT_EQ(m_set.findClassifier("b")->second->getResult().size(), 0u);

    EXPECT_TRUE(m_set.stop());
    EXPECT_FALSE(m_set.isStarted());
    m_calls.clear();
    EXPECT_TRUE(m_set.classify(INPUT));
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(XprClassifierSetTest, CloneIsFrozenAndStartedAsTheOriginal)
{
    ASSERT_TRUE(add("a") && add("b"));
    freeze();
    ASSERT_TRUE(m_set.start() && m_set.findClassifier("b")->second->stop() && m_set.classify(INPUT));
    m_calls.clear();
    {
        const std::unique_ptr<XprClassifierSet> pClone(m_set.clone());
        EXPECT_THAT(m_calls, ElementsAre("a'.setClassifierSet", "a'.setEvaluator", "a'.start",
                                         "b'.setClassifierSet", "b'.setEvaluator"));
        EXPECT_TRUE(pClone->isStarted());
        EXPECT_TRUE(pClone->classify(INPUT));
        EXPECT_TRUE(pClone->findClassifier("a")->second->isStarted());
        EXPECT_FALSE(pClone->findClassifier("b")->second->isStarted());
        EXPECT_EQ(pClone->findClassifier("a")->second->getResult().size(), 2u) << "the copied result went on";
        EXPECT_EQ(m_set.findClassifier("a")->second->getResult().size(), 1u);
        m_calls.clear();
    }
    EXPECT_THAT(m_calls, ElementsAre("a'.destroyed", "b'.destroyed"));

    const std::unique_ptr<XprClassifierSet> pOpen(XprClassifierSet().clone());
    EXPECT_TRUE(pOpen->setVariableName("x") && pOpen->freeze());
    EXPECT_THAT(m_assertions.conditions(), IsEmpty());
}

TEST_F(XprClassifierSetTest, TellsWhatItTookAndWhatItHeld)
{
    freeze();
    const LogCapture profiling("quillcast.profiling.ml.XprClassifierSet", LogLevel::DEBUGGING);
    EXPECT_TRUE(m_set.classify(INPUT));
    ASSERT_EQ(profiling.lines().size(), 1u);
    EXPECT_THAT(profiling.lines()[0],
                testing::MatchesRegex("DEBUG XprClassifierSet::classify : [0-9.e+-]+ us"));

    const LogCapture log("quillcast.ml.XprClassifierSet", LogLevel::DEBUGGING);
    {
        XprClassifierSet set;
        ASSERT_TRUE(set.addClassifier("x", new NotingClassifier(m_calls, "x")));
    }
    ASSERT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(log.lines()[1], "DEBUG Classifier set contains 1 classifiers");
    EXPECT_THAT(log.lines()[2],
                testing::MatchesRegex("DEBUG Erasing classifier 'x' at address : 0x[0-9a-f]+"));

    XprClassifier::DebugInfo info{{"old", INPUT}};
    EXPECT_FALSE(NotingClassifier(m_calls, "y").getDebugInfo("any", info));
    EXPECT_THAT(info, IsEmpty());
}
