#include "Generators.h"

#include "Library.h"

namespace Vexalor::Python
{

using MachineLearning::SequenceDataGenerator;
using MachineLearning::SequenceMark;

namespace
{

/// Patterns between two looks at signals.
constexpr std::uint64_t SIGNAL_PERIOD = 256;

} // namespace

ForwardingGenerator::ForwardingGenerator(const CountedObjPtr<DataGenerator>& in_pGenerator,
                                         const CountedObjPtr<SequenceMark>& in_pMark)
    : m_pGenerator(in_pGenerator)
    , m_pMark(in_pMark)
{
    if (!m_pMark.isNull())
        return;
    m_pMark = CountedObjPtr<SequenceMark>(new SequenceMark);
    auto* pSequences = dynamic_cast<SequenceDataGenerator*>(m_pGenerator.get());
    if (pSequences != nullptr)
        pSequences->setEntityToReset(m_pMark);
}

bool ForwardingGenerator::gotoStart()
{
    const bool bStarted = resetEntity() && m_pGenerator->gotoStart();
    m_pMark->take();
    return bStarted;
}

bool ForwardingGenerator::setEntityToReset(Handle<Resettable, ReferenceCount> in_entity)
{
    m_pEntity = in_entity;
    return true;
}

bool InterruptibleGenerator::generateNext()
{
    if (++m_uiPulled % SIGNAL_PERIOD == 0)
        checkSignals();
    return pullNext() && (!takeMark() || resetEntity());
}

bool ShareGenerator::gotoStart()
{
    m_uiUnit = 0;
    m_bBegun = false;
    return ForwardingGenerator::gotoStart();
}

bool ShareGenerator::generateNext()
{
    while (pullNext())
    {
        const bool bBegins = takeMark() || m_bByPattern;
        if (bBegins && m_bBegun)
            ++m_uiUnit;
        m_bBegun = true;
        if (m_uiUnit % m_uiShares == m_uiShare)
            return !bBegins || resetEntity();
    }
    return false;
}

} // namespace Vexalor::Python
