#include "detector/DetectorClassifier.h"

#include "quillcast-core/Assertion.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.DetectorClassifier");

} // namespace

DetectorClassifier::DetectorClassifier(const DetectorClassifier& in_other)
    : m_strInput(in_other.m_strInput)
    , m_vClassNames(in_other.m_vClassNames)
{
    copyFrom(in_other);
}

bool DetectorClassifier::classify_i(Classifier::Result& io_result)
{
    QC_TRACE("DetectorClassifier::classify_i");
    if (m_pVariable.isNull())
        m_pVariable = getEvaluator()->getVariable(m_strInput.c_str());
    if (!QC_CHECK(!m_pVariable.isNull()) || !m_pVariable->evaluate(m_vOutputs) ||
        !QC_CHECK(m_vOutputs.size() == m_vClassNames.size()))
        return false;
    const bool bNamed = io_result.size() == m_vClassNames.size();
    if (!bNamed)
        io_result.resize(m_vClassNames.size());
    for (std::size_t i = 0; i < m_vClassNames.size(); ++i)
    {
        io_result.begin()[i].m_dValue = m_vOutputs[i];
        if (!bNamed)
            io_result.begin()[i].m_strName = m_vClassNames[i];
    }
    return true;
}

} // namespace Vexalor::MachineLearning
