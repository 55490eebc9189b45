#include "quillcast-math/FeatureComputerSequence.h"

#include "ContextBudget.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.FeatureComputerSequence");

} // namespace

FeatureComputerSequence::FeatureComputerSequence(const FeatureComputerSequence& in_other)
    : Object(in_other)
    , Cloneable(in_other)
    , Resettable(in_other)
    , FeatureComputer(in_other)
    , FeatureComputerWithInputs(in_other)
    , m_vComputers(in_other.m_vComputers)
{
}

bool FeatureComputerSequence::add(FeatureComputer* in_pComputer)
{
    QC_TRACE("FeatureComputerSequence::add");
    if (!QC_CHECK(in_pComputer != nullptr))
        return false;
    m_vComputers.emplace_back(in_pComputer);
    m_vWithInputs.clear();
    return true;
}

/// A file may hold an empty sequence, and null in place of a computer.
bool FeatureComputerSequence::isComplete() const
{
    return QC_CHECK(!m_vComputers.empty()) &&
           QC_CHECK(std::none_of(m_vComputers.begin(), m_vComputers.end(),
                                 [](const CloneableObjPtr<FeatureComputer>& in_pComputer)
                                 { return in_pComputer.isNull(); }));
}

bool FeatureComputerSequence::reset()
{
    QC_TRACE("FeatureComputerSequence::reset");
    if (!isComplete())
        return false;
    bool bDone = true;
    for (const CloneableObjPtr<FeatureComputer>& pComputer : m_vComputers)
        bDone = pComputer->reset() && bDone;
    return bDone;
}

bool FeatureComputerSequence::setInput(const char* in_name, const DoubleVector& in_vInput)
{
    QC_TRACE("FeatureComputerSequence::setInput");
    if (!isComplete())
        return false;
    if (m_vWithInputs.empty())
        for (const CloneableObjPtr<FeatureComputer>& pComputer : m_vComputers)
            if (auto* pWithInputs = dynamic_cast<FeatureComputerWithInputs*>(pComputer.get()))
                m_vWithInputs.push_back(pWithInputs);
    return std::all_of(m_vWithInputs.begin(), m_vWithInputs.end(),
                       [&](FeatureComputerWithInputs* io_pComputer)
                       { return io_pComputer->setInput(in_name, in_vInput); });
}

bool FeatureComputerSequence::computeFeatures(DoubleVector& out_vFeatures)
{
    QC_TRACE("FeatureComputerSequence::computeFeatures");
    const ContextBudget::Scope scope;
    if (!isComplete())
        return false;
    out_vFeatures.clear();
    for (const CloneableObjPtr<FeatureComputer>& pComputer : m_vComputers)
    {
        if (!pComputer->computeFeatures(m_vPart))
            return false;
        if (!scope.isOutermost() && !ContextBudget::take(m_vPart.size()))
        {
            QC_ERROR("Sequences of feature computers inside of each other have more than "
                     << ContextBudget::MOST << " features");
            return false;
        }
        out_vFeatures.append(m_vPart.begin(), m_vPart.end());
    }
    return true;
}

template <class Archive>
void FeatureComputerSequence::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "several feature computers, their features side by side");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    m_vWithInputs.clear();
    QC_FIELD(m_vComputers, "", "the computers, in the order of their features");
}

QC_ARCHIVES(FeatureComputerSequence);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::FeatureComputerSequence)
