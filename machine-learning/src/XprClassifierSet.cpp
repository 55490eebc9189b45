#include "XprClassifierSet.h"

#include "quillcast-core/Assertion.h"

#include <algorithm>
#include <chrono>
#include <memory>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.XprClassifierSet");
constinit Logger s_profilingLogger("quillcast.profiling.ml.XprClassifierSet");

/// Logs how long the scope took, when that is asked for.
class ProfilingScope
{
public:
    explicit ProfilingScope(const char* in_name)
        : m_name(s_profilingLogger.isEnabledFor(LogLevel::DEBUGGING) ? in_name : nullptr)
    {
        if (m_name != nullptr)
            m_start = Clock::now();
    }
    ProfilingScope(const ProfilingScope&) = delete;
    ProfilingScope& operator=(const ProfilingScope&) = delete;
    ~ProfilingScope()
    {
        if (m_name == nullptr)
            return;
        const std::chrono::duration<double, std::micro> elapsed = Clock::now() - m_start;
        LogMessage(s_profilingLogger, LogLevel::DEBUGGING, __FILE__, __LINE__).stream()
            << m_name << " : " << elapsed.count() << " us";
    }

private:
    using Clock = std::chrono::steady_clock;

    const char* m_name;
    Clock::time_point m_start;
};

} // namespace

XprClassifierSet::XprClassifierSet()
    : m_pEvaluator(new Math::Xpr::Evaluator)
    , m_vDefaultInput(1, 0.0)
{
    QC_TRACE("XprClassifierSet ctor");
}

XprClassifierSet::XprClassifierSet(const XprClassifierSet& in_other)
    : ClassifierSet<XprClassifier>(in_other)
    , m_pEvaluator(in_other.m_pEvaluator->clone())
    , m_strVariableName(in_other.m_strVariableName)
    , m_vDefaultInput(in_other.m_vDefaultInput)
    , m_vComputedInputs(in_other.m_vComputedInputs)
    , m_bEvaluatorLinked(in_other.m_bEvaluatorLinked)
    , m_bStarted(in_other.m_bStarted)
{
    QC_TRACE("XprClassifierSet cctor");
    if (!in_other.m_pVariable.isNull())
        bindVariables(in_other.m_pVariable->getName());
    for (const auto& [strName, pClassifier] : in_other.m_mapClassifiers)
        addCopyOf(strName, *pClassifier);
}

XprClassifierSet::~XprClassifierSet()
{
    QC_TRACE("XprClassifierSet dtor");
    QC_DEBUG("Classifier set contains " << m_mapClassifiers.size() << " classifiers");
    while (!m_mapClassifiers.empty())
    {
        const auto itFirst = m_mapClassifiers.begin();
        QC_DEBUG("Erasing classifier '"
                 << itFirst->first << "' at address : " << static_cast<const void*>(itFirst->second.get()));
        m_mapClassifiers.erase(itFirst);
    }
}

bool XprClassifierSet::bindVariables(const std::string& in_strName)
{
    m_pVariable = m_pEvaluator->getVariable(in_strName.c_str());
    for (ComputedInput& input : m_vComputedInputs)
    {
        input.m_pVariable = m_pEvaluator->getVariable(input.m_strName.c_str());
        if (!QC_CHECK(!input.m_pVariable.isNull()))
            return false;
    }
    return QC_CHECK(!m_pVariable.isNull());
}

/// Into a copy of the set that the classifier belongs to.
void XprClassifierSet::addCopyOf(const std::string& in_strName, const XprClassifier& in_classifier)
{
    std::unique_ptr<Cloneable> pClone(in_classifier.clone());
    auto* pClassifier = dynamic_cast<XprClassifier*>(pClone.get());
    if (pClassifier != nullptr)
        pClone.release();
    if (!QC_CHECK_TEXT("addClassifier( iteClassifier->first.c_str(), "
                       "dynamic_cast<XprClassifier*>(pClassifierClone.releaseControl()) )",
                       addClassifier(in_strName.c_str(), pClassifier)) ||
        !in_classifier.isStarted())
        return;
    const auto iteNewClassifier = m_mapClassifiers.find(in_strName);
    if (QC_CHECK(end() != iteNewClassifier) && QC_CHECK(!iteNewClassifier->second.isNull()))
        QC_CHECK(iteNewClassifier->second->start());
}

bool XprClassifierSet::configure(const ROConfiguration& in_config,
                                 const TSHandle<VirtualFileSystem>& in_hFileSystem)
{
    QC_TRACE("XprClassifierSet::configure");
    if (m_pEvaluator->configure(in_config, in_hFileSystem))
        return true;
    QC_ERROR("failed to configure evaluator");
    return false;
}

bool XprClassifierSet::setConstant(const char* in_szName, double in_dValue)
{
    QC_TRACE("XprClassifierSet::setConstant");
    return QC_CHECK(in_szName != nullptr) && m_pEvaluator->setConstant(in_szName, in_dValue);
}

bool XprClassifierSet::setVariableName(const char* in_szVariableName)
{
    QC_TRACE("XprClassifierSet::setVariableName");
    if (!QC_CHECK_TEXT("in_szVariableName != 0", in_szVariableName != nullptr) ||
        !QC_CHECK(!isComputedInput(in_szVariableName)))
        return false;
    const CountedObjPtr<Math::Xpr::DomainVariableImpl> pVariable(new Math::Xpr::DomainVariableImpl);
    pVariable->setName(in_szVariableName);
    if (!m_pEvaluator->addVariable(pVariable))
        return false;
    m_strVariableName = in_szVariableName;
    return true;
}

bool XprClassifierSet::isComputedInput(const char* in_szName) const
{
    return std::any_of(m_vComputedInputs.begin(), m_vComputedInputs.end(),
                       [&](const ComputedInput& in_input) { return in_input.m_strName == in_szName; });
}

bool XprClassifierSet::addComputedInput(const char* in_szName, FeatureComputerWithInputs* in_pComputer)
{
    QC_TRACE("XprClassifierSet::addComputedInput");
    CloneableObjPtr<FeatureComputerWithInputs> pComputer(in_pComputer);
    if (!QC_CHECK(in_szName != nullptr) || !QC_CHECK(!pComputer.isNull()) || !QC_CHECK(!m_bEvaluatorLinked) ||
        !QC_CHECK(!m_strVariableName.empty()))
        return false;
    if (m_strVariableName == in_szName || isComputedInput(in_szName))
    {
        QC_ERROR("'" << in_szName << "' is an input of the classifiers already");
        return false;
    }
    const CountedObjPtr<Math::Xpr::DomainVariableImpl> pVariable(new Math::Xpr::DomainVariableImpl);
    if (!pVariable->setName(in_szName) || !m_pEvaluator->addVariable(pVariable))
        return false;
    m_vComputedInputs.push_back({in_szName, std::move(pComputer), {}, {}});
    return true;
}

bool XprClassifierSet::addClassifier(const char* in_szClassifierName, XprClassifier* in_pClassifier)
{
    QC_TRACE("XprClassifierSet::addClassifier");
    const CountedObjPtr<XprClassifier> pClassifier(in_pClassifier);
    if (!QC_CHECK_TEXT("! pClassifier.isNull() && \"Can not add Classifier* to the classifier set: \" "
                       "\"pointer is not of the expected type Math::Xpr::\" "
                       "\"XprClassifierSet::Classifier\"",
                       !pClassifier.isNull()))
        return false;
    if (!QC_CHECK(in_szClassifierName != nullptr))
        return false;
    if (!QC_CHECK(m_mapClassifiers.end() == m_mapClassifiers.find(in_szClassifierName)))
        return false;
    if (!QC_CHECK_TEXT("pClassifier->setClassifierSet(this)",
                       pClassifier->setClassifierSet(LimitedObjPtr<XprClassifierSet>(this))))
        return false;
    if (!QC_CHECK_TEXT("pClassifier->setEvaluator(&*m_pEvaluator)",
                       pClassifier->setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator>(m_pEvaluator.get()))))
        return false;
    m_mapClassifiers.emplace(in_szClassifierName, pClassifier);
    QC_DEBUG("Added classifier '" << in_szClassifierName << "'");
    return true;
}

bool XprClassifierSet::freeze()
{
    QC_TRACE("XprClassifierSet::freeze");
    if (m_bEvaluatorLinked)
        return true;
    if (!QC_CHECK_TEXT("!isStarted() && \"freeze() MUST be called before \" \"any classifier is started\"",
                       !isStarted()))
        return false;
    if (!QC_CHECK(!m_pEvaluator.isNull()))
        return false;
    QC_DEBUG("Linking evaluator...");
    if (!QC_CHECK(m_pEvaluator->link(true)) || !QC_CHECK(m_pEvaluator->reconfigureExpressions()))
        return false;
    // The reset, because the default inputs are no window.
    m_bEvaluatorLinked = bindVariables(m_strVariableName) && resetInputs() && m_pEvaluator->reset();
    return m_bEvaluatorLinked;
}

bool XprClassifierSet::start()
{
    QC_TRACE("XprClassifierSet::start");
    if (!QC_CHECK_TEXT("m_bEvaluatorLinked && \"freeze() *MUST* be called prior to start()\"",
                       m_bEvaluatorLinked))
        return false;
    for (const auto& [strName, pClassifier] : m_mapClassifiers)
        if (!pClassifier->start())
            return false;
    m_bStarted = true;
    return true;
}

/// Leaves the set's own flag: isStarted asks the classifiers.
bool XprClassifierSet::stop()
{
    QC_TRACE("XprClassifierSet::stop");
    for (const auto& [strName, pClassifier] : m_mapClassifiers)
        if (!pClassifier->stop())
            return false;
    return true;
}

bool XprClassifierSet::isStarted() const
{
    QC_TRACE("XprClassifierSet::isStarted()");
    return m_bStarted && std::any_of(begin(), end(),
                                     [](const ClassifierMap::value_type& in_entry)
                                     { return in_entry.second->isStarted(); });
}

bool XprClassifierSet::reset()
{
    QC_TRACE("XprClassifierSet::reset");
    if (!QC_CHECK(!m_pVariable.isNull()) || !resetInputs())
        return false;
    for (const auto& [strName, pClassifier] : m_mapClassifiers)
        if (!pClassifier->reset())
            return false;
    return m_pEvaluator->reset();
}

bool XprClassifierSet::resetInputs()
{
    const auto reset = [this](const ComputedInput& in_input)
    {
        return in_input.m_pComputer->reset() && in_input.m_pVariable->assign(m_vDefaultInput);
    };
    return m_pVariable->assign(m_vDefaultInput) &&
           std::all_of(m_vComputedInputs.begin(), m_vComputedInputs.end(), reset);
}

/// All of them before the evaluator sees any: an input that one cannot take begins no window.
bool XprClassifierSet::computeInputs(const DoubleVector& in_vInput)
{
    for (ComputedInput& input : m_vComputedInputs)
        if (!input.m_pComputer->setInput(m_pVariable->getName().c_str(), in_vInput) ||
            !input.m_pComputer->computeFeatures(input.m_vValue))
        {
            QC_ERROR("The input \"" << input.m_strName << "\" cannot be computed");
            return false;
        }
    return true;
}

bool XprClassifierSet::classify(const DoubleVector& in_vInput)
{
    QC_TRACE("XprClassifierSet::classify");
    if (!QC_CHECK_TEXT(
            "m_bEvaluatorLinked && \"freeze() *MUST* be called prior to start and \" \"classify()\"",
            m_bEvaluatorLinked))
        return false;
    if (!QC_CHECK(!m_pVariable.isNull()))
        return false;
    const ProfilingScope profilingScope("XprClassifierSet::classify");
    if (!computeInputs(in_vInput) || !m_pVariable->assign(in_vInput))
        return false;
    for (const ComputedInput& input : m_vComputedInputs)
        if (!input.m_pVariable->assign(input.m_vValue))
            return false;
    for (const auto& [strName, pClassifier] : m_mapClassifiers)
        if (pClassifier->isStarted() && !pClassifier->classify())
            return false;
    return true;
}

bool XprClassifierSet::dumpEvaluator(const char* in_szFileName) const
{
    QC_TRACE("XprClassifierSet::dumpEvaluator");
    return QC_CHECK(in_szFileName != nullptr) && m_pEvaluator->dump(in_szFileName);
}

XprClassifierSet* XprClassifierSet::clone() const
{
    QC_TRACE("XprClassifierSet::clone");
    return new XprClassifierSet(*this);
}

XprClassifierSet::ClassifierMap::const_iterator XprClassifierSet::findClassifier(const char* in_szName) const
{
    return in_szName == nullptr ? end() : m_mapClassifiers.find(in_szName);
}

bool XprClassifierSet::ClassifierImpl::classify()
{
    return classify_i(m_result);
}

bool XprClassifierSet::ClassifierImpl::reset()
{
    m_result.reset();
    return true;
}

bool XprClassifierSet::ClassifierImpl::start()
{
    m_bStarted = true;
    return true;
}

bool XprClassifierSet::ClassifierImpl::stop()
{
    m_bStarted = false;
    return true;
}

bool XprClassifierSet::ClassifierImpl::setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator> in_pEvaluator)
{
    m_pEvaluator = in_pEvaluator;
    return true;
}

bool XprClassifierSet::ClassifierImpl::setClassifierSet(LimitedObjPtr<XprClassifierSet> in_pClassifierSet)
{
    m_pClassifierSet = in_pClassifierSet;
    return true;
}

bool XprClassifierSet::ClassifierImpl::getDebugInfo(const char*, DebugInfo& out_info) const
{
    out_info.clear();
    return false;
}

void XprClassifierSet::ClassifierImpl::copyFrom(const ClassifierImpl& in_other)
{
    m_result = in_other.m_result;
}

} // namespace Vexalor::MachineLearning
