#pragma once

#include "MLClassifier.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-core/Handle.h"
#include "quillcast-core/LimitedObjPtr.h"
#include "quillcast-core/Object.h"
#include "quillcast-infra/ROConfiguration.h"
#include "quillcast-infra/VirtualFileSystem.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/FeatureComputer.h"
#include "quillcast-mathxpr/Evaluator.h"
#include "quillcast-mathxpr/Variable.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Named classifiers that are started, stopped, reset and copied together.
template <class ClassifierType>
class ClassifierSet
    : public virtual ObjectWithStartAndStop
    , public virtual Resettable
    , public virtual Cloneable
{
public:
    /// Takes ownership of the classifier in every case. False, with the reason reported and the classifier
    /// destroyed, when it cannot be added.
    virtual bool addClassifier(const char* in_szClassifierName, ClassifierType* in_pClassifier) = 0;
    virtual std::size_t size() const = 0;
};

class XprClassifierSet;

/// A classifier that lives in an XprClassifierSet and reads variables of the set's evaluator. The set
/// outlives it, or it is used no more.
class XprClassifier
    : public virtual ObjectWithStartAndStop
    , public virtual Resettable
    , public virtual Cloneable
{
public:
    /// Names with their vectors.
    using DebugInfo = std::vector<std::pair<std::string, DoubleVector>>;

    /// Replaces the result by that of the current input of the set. False, with the reason reported, on
    /// failure.
    virtual bool classify() = 0;
    virtual const Classifier::Result& getResult() const = 0;

    /// Both are called by the set to which the classifier is added.
    virtual bool setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator> in_pEvaluator) = 0;
    virtual bool setClassifierSet(LimitedObjPtr<XprClassifierSet> in_pClassifierSet) = 0;

    /// What the classifier can tell under that name; false, with out_info empty, when that is nothing.
    virtual bool getDebugInfo(const char* in_szName, DebugInfo& out_info) const = 0;
};

/// Classifiers that share one evaluator of expressions: each input is stored in one variable of it, then
/// every started classifier evaluates its own variables and fills its result.
///
/// Call order: configure? (setVariableName | addComputedInput | addClassifier)* freeze
/// (start classify* stop? | reset)*.
/// Whatever visits all classifiers does it in the byte-wise order of their names. Nothing allocates per input
/// once the first one of its length was classified. One thread at a time.
class XprClassifierSet : public ClassifierSet<XprClassifier>
{
public:
    class ClassifierImpl;

    using ClassifierMap = std::map<std::string, CountedObjPtr<XprClassifier>, std::less<>>;

    XprClassifierSet();
    /// The copy is frozen and started as the original is. It has an evaluator of its own, in the state of the
    /// original's, and clones of the classifiers.
    XprClassifierSet(const XprClassifierSet& in_other);
    XprClassifierSet& operator=(const XprClassifierSet&) = delete;
    ~XprClassifierSet() override;

    /// Tells the evaluator where its scripts are found.
    bool configure(const ROConfiguration& in_config, const TSHandle<VirtualFileSystem>& in_hFileSystem);
    /// Gives the scripts a constant, such as "rate". Before freeze.
    bool setConstant(const char* in_szName, double in_dValue);
    /// Names the variable that takes the input from the next freeze on, and adds it to the evaluator.
    bool setVariableName(const char* in_szVariableName);
    /// Adds a variable that takes what the computer makes of each input, which it is handed under the name of
    /// setVariableName; in the order of addition, before any classifier runs and whether a script uses it or
    /// not. Its state is that of the set: cloned with it, reset with it. An input that a computer fails on is
    /// none for the scripts: classify is false, and their states stay as they are. The set owns the computer
    /// in every case. Before freeze, after setVariableName. False, with the reason reported, when the
    /// computer is null or the name stands for something else.
    bool addComputedInput(const char* in_szName, FeatureComputerWithInputs* in_pComputer);
    /// A classifier that is configured already has its scripts loaded here, and a script that does not load
    /// is logged and no failure: configure it afterwards to have it fail. One that is added after freeze is
    /// not linked.
    bool addClassifier(const char* in_szClassifierName, XprClassifier* in_pClassifier) override;

    /// Links the evaluator; no effect when that was done already. False, with the set still open, when a
    /// script is wrong or nothing has the name of the input variable.
    bool freeze();

    /// Starts all classifiers, up to the first that fails. After freeze.
    bool start() override;
    /// Stops all classifiers, up to the first that fails.
    bool stop() override;
    /// True when the set was started and any of its classifiers is.
    bool isStarted() const override;
    /// Brings classifiers and evaluator to the state after freeze, with all entries of results at 0. After
    /// freeze.
    bool reset() override;

    /// Takes the next input. False at the first started classifier that fails; those after it keep their
    /// results.
    bool classify(const DoubleVector& in_vInput);

    /// Writes the graph of the expressions in the language of Graphviz.
    bool dumpEvaluator(const char* in_szFileName) const;

    XprClassifierSet* clone() const override;

    std::size_t size() const override { return m_mapClassifiers.size(); }
    ClassifierMap::const_iterator begin() const { return m_mapClassifiers.begin(); }
    ClassifierMap::const_iterator end() const { return m_mapClassifiers.end(); }
    /// end() when there is none of that name.
    ClassifierMap::const_iterator findClassifier(const char* in_szName) const;

private:
    /// A variable whose value is computed from the input.
    struct ComputedInput
    {
        std::string m_strName;
        CloneableObjPtr<FeatureComputerWithInputs> m_pComputer;
        CountedObjPtr<Math::Xpr::Variable> m_pVariable; ///< null before freeze
        DoubleVector m_vValue;
    };

    bool bindVariables(const std::string& in_strName);
    bool computeInputs(const DoubleVector& in_vInput);
    bool isComputedInput(const char* in_szName) const;
    bool resetInputs();
    void addCopyOf(const std::string& in_strName, const XprClassifier& in_classifier);

    CountedObjPtr<Math::Xpr::Evaluator> m_pEvaluator; ///< never null
    std::string m_strVariableName;
    CountedObjPtr<Math::Xpr::Variable> m_pVariable; ///< null before freeze
    DoubleVector m_vDefaultInput;
    std::vector<ComputedInput> m_vComputedInputs;
    ClassifierMap m_mapClassifiers;
    bool m_bEvaluatorLinked = false;
    bool m_bStarted = false;
};

/// What classifiers of a set have in common; a concrete one implements classify_i and clone.
class XprClassifierSet::ClassifierImpl : public XprClassifier
{
public:
    bool classify() override;
    const Classifier::Result& getResult() const override { return getResult_i(); }
    bool reset() override;
    bool start() override;
    bool stop() override;
    bool isStarted() const override { return m_bStarted; }
    bool setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator> in_pEvaluator) override;
    bool setClassifierSet(LimitedObjPtr<XprClassifierSet> in_pClassifierSet) override;
    bool getDebugInfo(const char* in_szName, DebugInfo& out_info) const override;

protected:
    /// Fills the result, which holds what the last call left there.
    virtual bool classify_i(Classifier::Result& io_result) = 0;

    const Classifier::Result& getResult_i() const { return m_result; }
    LimitedObjPtr<Math::Xpr::Evaluator> getEvaluator() const { return m_pEvaluator; }
    LimitedObjPtr<XprClassifierSet> getClassifierSet() const { return m_pClassifierSet; }

    /// Takes over the result only: a copy belongs to no set yet and is not started.
    void copyFrom(const ClassifierImpl& in_other);

private:
    LimitedObjPtr<Math::Xpr::Evaluator> m_pEvaluator;
    LimitedObjPtr<XprClassifierSet> m_pClassifierSet;
    Classifier::Result m_result;
    bool m_bStarted = false;
};

} // namespace Vexalor::MachineLearning
