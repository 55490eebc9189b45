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

} // namespace

Inspector::Inspector(InspectedPart& io_part, std::size_t in_uiMaxSizes, const StringVector& in_vClassNames,
                     Watcher in_watcher)
    : m_part(io_part)
    , m_uiMaxSizes(in_uiMaxSizes)
    , m_uiClassNames(in_vClassNames.size())
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
        m_part.add(vInput, bTarget ? &vTarget : nullptr, m_uiMaxSizes);
        m_watcher(io_generator);
    }
    finishRecording();
    if (pSequenceGenerator != nullptr)
    {
        pSequenceGenerator->setEntityToReset({});
        m_part.m_sequences = m_part.m_sequences.value_or(0) + pSequences->m_uiSequences;
    }
    const auto* pStatistics = dynamic_cast<const AudioClassStatisticsSource*>(&io_generator);
    if (bDone && pStatistics != nullptr)
        pStatistics->addStatistics(m_part.m_statistics);
    return bDone && io_generator.endedCleanly();
}

/// Than the names that were given.
bool Inspector::hasOtherTargets() const
{
    const std::size_t uiTargets = m_part.getPatterns().getNbTargets();
    return uiTargets != 0 && m_uiClassNames != 0 && m_uiClassNames != uiTargets;
}

void Inspector::followRecording(bool in_bNew, const DoubleVector& in_vInput)
{
    if (!m_source.isRecording())
        return;
    if (in_bNew)
    {
        finishRecording();
        m_strRecording = m_source.getName();
        m_bFirstPass = m_part.m_delivered.insert(m_strRecording).second;
        m_vFirstInput = in_vInput;
    }
    ++m_uiOfRecording;
    m_bChanged = m_bChanged || !(in_vInput == m_vFirstInput);
}

void Inspector::finishRecording()
{
    if (m_uiOfRecording > 1 && !m_bChanged && m_bFirstPass)
        m_part.m_vUnchanging.push_back(m_strRecording);
    m_uiOfRecording = 0;
    m_bChanged = false;
}

} // namespace Vexalor::MachineLearning
