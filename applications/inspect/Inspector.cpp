#include "inspect/Inspector.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

/// Counts the sequences of a stream, in place of an entity that keeps a state.
class SequenceCounter final : public virtual Resettable
{
public:
    bool reset() override
    {
        m_bBegins = true;
        return true;
    }

    void countPattern()
    {
        m_uiSequences += m_bBegins ? 1 : 0;
        m_bBegins = false;
    }

    bool m_bBegins = false;
    std::uint64_t m_uiSequences = 0;
};

bool isClassValue(double in_dValue)
{
    return in_dValue == 0.0 || in_dValue == 1.0 || in_dValue == -1.0;
}

} // namespace

Inspector::Inspector(StringVector in_vClassNames, Watcher in_watcher)
    : m_vClassNames(std::move(in_vClassNames))
    , m_watcher(std::move(in_watcher))
{
}

bool Inspector::add(DataGenerator& io_generator)
{
    const CountedObjPtr<SequenceCounter> pSequences(new SequenceCounter);
    auto* pSequenceGenerator = dynamic_cast<SequenceDataGenerator*>(&io_generator);
    if (pSequenceGenerator != nullptr && !pSequenceGenerator->setEntityToReset(pSequences))
        return false;
    m_source.watch(io_generator);
    bool bDone = io_generator.gotoStart();
    DoubleVector vInput;
    DoubleVector vTarget;
    while (bDone && !hasOtherTargets() && io_generator.generateNext())
    {
        const bool bNew = m_source.advance();
        vInput.clear();
        io_generator.getInput(vInput);
        const bool bTarget = io_generator.getTarget(vTarget);
        pSequences->countPattern();
        followRecording(bNew, vInput);
        count(vInput, bTarget ? &vTarget : nullptr);
        if (m_watcher)
            m_watcher(m_inspection.m_facts.m_uiPatterns, io_generator);
    }
    finishRecording();
    if (pSequenceGenerator != nullptr)
    {
        pSequenceGenerator->setEntityToReset({});
        m_inspection.m_sequences = m_inspection.m_sequences.value_or(0) + pSequences->m_uiSequences;
    }
    const auto* pStatistics = dynamic_cast<const AudioClassStatisticsSource*>(&io_generator);
    if (bDone && pStatistics != nullptr)
        pStatistics->addStatistics(m_statistics);
    return bDone && io_generator.endedCleanly();
}

/// Than the names that were given.
bool Inspector::hasOtherTargets() const
{
    return m_inspection.m_uiTargets != 0 && !m_vClassNames.empty() &&
           m_vClassNames.size() != m_inspection.m_uiTargets;
}

void Inspector::count(const DoubleVector& in_vInput, const DoubleVector* in_pTarget)
{
    DataFacts& facts = m_inspection.m_facts;
    ++facts.m_uiPatterns;
    facts.m_uiWithoutTarget += in_pTarget == nullptr ? 1 : 0;
    if (!m_bSized)
    {
        m_bSized = true;
        facts.m_uiInputs = in_vInput.size();
        m_inspection.m_inputs = InputStatistics(in_vInput.size());
    }
    if (in_pTarget != nullptr && m_inspection.m_uiTargets == 0)
    {
        m_inspection.m_uiTargets = in_pTarget->size();
        m_inspection.m_bClasses = true;
        m_inspection.m_inputs.setClasses(in_pTarget->size());
        m_vClassPatterns.resize(in_pTarget->size());
    }
    if (in_vInput.size() != facts.m_uiInputs ||
        (in_pTarget != nullptr && in_pTarget->size() != m_inspection.m_uiTargets))
        ++facts.m_uiMisfits;
    else
        m_inspection.m_inputs.add(in_vInput, findClasses(in_pTarget));
}

/// The classes of a target, which are counted; null when there is none.
const std::vector<std::size_t>* Inspector::findClasses(const DoubleVector* in_pTarget)
{
    if (in_pTarget == nullptr)
        return nullptr;
    m_vClasses.clear();
    for (std::size_t i = 0; i < in_pTarget->size(); ++i)
    {
        m_inspection.m_bClasses = m_inspection.m_bClasses && isClassValue((*in_pTarget)[i]);
        if ((*in_pTarget)[i] == 1.0)
            m_vClasses.push_back(i);
    }
    for (const std::size_t uiClass : m_vClasses)
        ++m_vClassPatterns[uiClass];
    m_inspection.m_uiWithoutClass += m_vClasses.empty() ? 1 : 0;
    m_inspection.m_facts.m_uiSeveralClasses += m_vClasses.size() > 1 ? 1 : 0;
    return &m_vClasses;
}

void Inspector::followRecording(bool in_bNew, const DoubleVector& in_vInput)
{
    if (!m_source.isRecording())
        return;
    if (in_bNew)
    {
        finishRecording();
        m_strRecording = m_source.getName();
        m_bFirstPass = m_inspection.m_facts.m_delivered.insert(m_strRecording).second;
        m_vFirstInput = in_vInput;
    }
    ++m_uiOfRecording;
    m_bChanged = m_bChanged || !(in_vInput == m_vFirstInput);
}

void Inspector::finishRecording()
{
    if (m_uiOfRecording > 1 && !m_bChanged && m_bFirstPass)
        m_inspection.m_facts.m_vUnchanging.push_back(m_strRecording);
    m_uiOfRecording = 0;
    m_bChanged = false;
}

/// By what the user says, else by the generator, else by numbers.
void Inspector::nameClasses()
{
    StringVector& vNames = m_inspection.m_vTargetNames;
    const std::vector<AudioClassStatistics::Row>& vRows = m_statistics.m_vRows;
    for (std::size_t i = 0; i < m_inspection.m_uiTargets; ++i)
        vNames.push_back(m_vClassNames.size() == m_inspection.m_uiTargets ? m_vClassNames[i]
                         : vRows.size() == m_inspection.m_uiTargets       ? vRows[i].m_strClass
                                                                          : "class " + std::to_string(i));
    m_inspection.m_facts.m_vClasses = vRows;
    if (!vRows.empty() || !m_inspection.m_bClasses)
        return;
    for (std::size_t i = 0; i < m_inspection.m_uiTargets; ++i)
    {
        AudioClassStatistics::Row row;
        row.m_strClass = vNames[i];
        row.m_uiPatterns = m_vClassPatterns[i];
        m_inspection.m_facts.m_vClasses.push_back(row);
    }
}

void Inspector::findInputs()
{
    DataFacts& facts = m_inspection.m_facts;
    const std::vector<InputColumn>& vColumns = m_inspection.m_inputs.getColumns();
    const std::vector<std::size_t> vFirst = m_inspection.m_inputs.findEqual();
    std::vector<std::vector<std::size_t>> vGroups(vColumns.size());
    for (std::size_t i = 0; i < vColumns.size(); ++i)
    {
        if (!vColumns[i].isFinite())
            facts.m_vNotFiniteInputs.push_back(i);
        if (vColumns[i].isConstant())
            facts.m_vConstantInputs.push_back(i);
        else
            vGroups[vFirst[i]].push_back(i);
    }
    std::copy_if(vGroups.begin(), vGroups.end(), std::back_inserter(facts.m_vEqualInputs),
                 [](const std::vector<std::size_t>& in_vGroup) { return in_vGroup.size() > 1; });
}

Inspection Inspector::finish()
{
    nameClasses();
    findInputs();
    return std::move(m_inspection);
}

} // namespace Vexalor::MachineLearning
