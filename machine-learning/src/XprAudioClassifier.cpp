#include "XprAudioClassifier.h"

#include "quillcast-core/Assertion.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.XprAudioClassifier");

constexpr const char* DUMP_FILE = "XprAudioClassifierEvaluator.dot";

/// The digits of the index stand over the first characters of the name.
std::string makeEntryName(const std::string& in_strVariableName, std::size_t in_uiIndex)
{
    std::string strName = std::to_string(in_uiIndex);
    if (strName.size() < in_strVariableName.size())
        strName += in_strVariableName.substr(strName.size());
    return strName;
}

} // namespace

XprAudioClassifier::XprAudioClassifier(const XprAudioClassifier& in_other)
    : m_bConfigured(in_other.m_bConfigured)
    , m_strVariableName(in_other.m_strVariableName)
    , m_strScriptName(in_other.m_strScriptName)
    , m_vFurtherScripts(in_other.m_vFurtherScripts)
{
    copyFrom(in_other);
}

XprAudioClassifier* XprAudioClassifier::clone() const
{
    return new XprAudioClassifier(*this);
}

bool XprAudioClassifier::configure(const char* in_szScriptName, const char* in_szVariableName,
                                   LimitedObjPtr<StringVector> in_pFurtherScripts)
{
    QC_TRACE("configure");
    if (!QC_CHECK_TEXT("!isStarted() && \"Can't add XPR script once the classifier is started.\"",
                       !isStarted()))
        return false;
    if (!QC_CHECK(in_szScriptName != nullptr) || !QC_CHECK(in_szVariableName != nullptr))
        return false;
    m_strVariableName = in_szVariableName;
    m_strScriptName = in_szScriptName;
    m_vEntryNames.clear();
    if (!in_pFurtherScripts.isNull())
        m_vFurtherScripts = *in_pFurtherScripts;
    if (!getEvaluator().isNull())
    {
        QC_DEBUG("Evaluator already known, add script right away");
        if (!QC_CHECK(addXprScripts()))
            return false;
    }
    else
        QC_DEBUG("Evaluator not set yet, script will be added on call to setEvaluator()");
    m_bConfigured = true;
    return true;
}

bool XprAudioClassifier::setEvaluator(LimitedObjPtr<Math::Xpr::Evaluator> in_pEvaluator)
{
    QC_TRACE("setEvaluator");
    const bool bStored = ClassifierImpl::setEvaluator(in_pEvaluator);
    if (bStored && m_bConfigured)
    {
        QC_DEBUG("Got an evaluator, add script now");
        addXprScripts();
    }
    return bStored;
}

bool XprAudioClassifier::addXprScripts()
{
    QC_TRACE("addXprScripts");
    const LimitedObjPtr<Math::Xpr::Evaluator> pEvaluator = getEvaluator();
    if (!QC_CHECK(!pEvaluator.isNull()))
        return false;
    const auto add = [&pEvaluator](const std::string& in_strScript)
    {
        if (pEvaluator->addScript(in_strScript.c_str()))
            return true;
        QC_ERROR("Failed to use script '" << in_strScript << "' in the classifier.");
        return false;
    };
    return add(m_strScriptName) && std::all_of(m_vFurtherScripts.begin(), m_vFurtherScripts.end(), add);
}

bool XprAudioClassifier::bindVariable()
{
    if (!QC_CHECK(!m_strVariableName.empty()))
        return false;
    const LimitedObjPtr<Math::Xpr::Evaluator> pEvaluator = getEvaluator();
    if (!QC_CHECK(!pEvaluator.isNull()))
        return false;
    m_pVariable = pEvaluator->getVariable((m_strScriptName + '.' + m_strVariableName).c_str());
    if (!m_pVariable.isNull())
        return true;
    QC_ERROR("Failed to retrieve variable named '" << m_strVariableName << "'. Evaluator dumped in file '"
                                                   << DUMP_FILE << "'");
    pEvaluator->dump(DUMP_FILE);
    return QC_CHECK(!m_pVariable.isNull());
}

bool XprAudioClassifier::classify_i(Classifier::Result& io_result)
{
    QC_TRACE("classify_i");
    if (!QC_CHECK_TEXT("m_bConfigured && \"configure() must be call prior to classify_i()\"", m_bConfigured))
        return false;
    if (m_pVariable.isNull() && !bindVariable())
        return false;
    if (!QC_CHECK_TEXT("m_pVariable->evaluate( m_scratchRange )", m_pVariable->evaluate(m_scratchRange)))
        return false;
    QC_DEBUG("Xpr result is : " << m_scratchRange);
    fillResult(io_result);
    QC_DEBUG("Corresponding Result is : " << io_result);
    return true;
}

/// Entries and names are made when there are more of them than before, so that a window allocates nothing.
void XprAudioClassifier::fillResult(Classifier::Result& out_result)
{
    const std::size_t uiSize = m_scratchRange.size();
    while (m_vEntryNames.size() < uiSize)
        m_vEntryNames.push_back(makeEntryName(m_strVariableName, m_vEntryNames.size()));
    if (out_result.size() != uiSize)
        out_result.resize(uiSize);
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        Classifier::SingleOutputResult& entry = out_result.begin()[i];
        entry.m_dValue = m_scratchRange[i];
        if (entry.m_strName != m_vEntryNames[i])
            entry.m_strName = m_vEntryNames[i];
    }
}

} // namespace Vexalor::MachineLearning
