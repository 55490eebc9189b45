#pragma once

#include "XprClassifierSet.h"
#include "quillcast-core/MemAccount.h"
#include "quillcast-core/StringVector.h"

namespace Vexalor::MachineLearning
{

/// A classifier of an XprClassifierSet whose output is a variable of a script: each classification evaluates
/// the variable and gives one entry for each of its elements.
///
/// States of the script advance with every window of the set from the first classification on, also while the
/// classifier is stopped.
///
/// Call order: configure before or after it is added to a set; then as the set has it. Its scripts are loaded
/// into the set's evaluator by whichever comes last.
///
/// Names of entries: the decimal index of the element written over the first characters of the variable's
/// name. A variable "result" has the entries "0esult", "1esult" ... "10sult".
class XprAudioClassifier : public XprClassifierSet::ClassifierImpl
{
public:
    QC_MEM_ACCOUNT("XprAudioClassifier");
    static void* operator new[](std::size_t in_uiBytes) { return getMemAccount().allocate(in_uiBytes); }
    static void operator delete[](void* io_pMemory, std::size_t in_uiBytes) noexcept
    {
        getMemAccount().release(io_pMemory, in_uiBytes);
    }

    XprAudioClassifier() = default;

    static const char* getName() { return "XprAudioClassifier"; }

    /// Names the script, its variable and further scripts, which may be null. Refused once started. False,
    /// with the reason logged, also when the classifier is in a set already and a script does not load.
    bool configure(const char* in_szScriptName, const char* in_szVariableName,
                   LimitedObjPtr<StringVector> in_pFurtherScripts);

    /// Loads the scripts. True even if one does not load, which is logged.
    bool setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator> in_pEvaluator) override;

    XprAudioClassifier* clone() const override;

protected:
    bool addXprScripts();
    /// The variable is looked up at the first call that finds it. One that finds none writes the graph of the
    /// expressions into the file "XprAudioClassifierEvaluator.dot" of the working directory.
    bool classify_i(Classifier::Result& io_result) override;

private:
    XprAudioClassifier(const XprAudioClassifier& in_other);

    bool bindVariable();
    void fillResult(Classifier::Result& out_result);

    bool m_bConfigured = false;
    std::string m_strVariableName;
    std::string m_strScriptName;
    StringVector m_vFurtherScripts;
    CountedObjPtr<Math::Xpr::Variable> m_pVariable;
    DoubleVector m_scratchRange;
    StringVector m_vEntryNames; ///< of as many entries as the result has had
};

} // namespace Vexalor::MachineLearning
