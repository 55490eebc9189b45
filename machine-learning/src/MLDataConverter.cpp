#include "MLDataConverter.h"

#include "quillcast-core/Assertion.h"

#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.DataConverter");

} // namespace

bool DataConverter::MyResettable::handTo(DataGenerator& io_generator,
                                         const CountedObjPtr<MyResettable>& in_resettable)
{
    auto* pSequenceGenerator = dynamic_cast<SequenceDataGenerator*>(&io_generator);
    return pSequenceGenerator == nullptr || pSequenceGenerator->setEntityToReset(in_resettable);
}

DataConverter::DataConverter()
    : m_pResettable(new MyResettable)
{
    QC_TRACE("DataConverter ctor");
}

bool DataConverter::setInputDataGenerator(DataGenerator& io_generator)
{
    QC_TRACE("DataConverter::setInputDataGenerator");
    m_pInputDataGen = LimitedObjPtr<DataGenerator>(&io_generator);
    return true;
}

bool DataConverter::setDataWriter(DataWriter& io_writer)
{
    QC_TRACE("DataConverter::setDataWriter");
    m_pOutputDataWriter = LimitedObjPtr<DataWriter>(&io_writer);
    return true;
}

bool DataConverter::convert()
{
    QC_TRACE("DataConverter::convert");
    m_uiNbConverted = 0;
    if (!QC_CHECK(!m_pInputDataGen.isNull() && !m_pOutputDataWriter.isNull()))
        return false;
    if (!start() || !convertPatterns(std::exchange(m_watch, {})))
        return false;
    QC_INFO("Number of patterns read/written: " << m_uiNbConverted);
    return true;
}

/// The entity comes first: gotoStart may learn a scaling from patterns that a cache keeps, resets and all.
/// That it is reset there does not mark the first pattern.
bool DataConverter::start()
{
    if (!MyResettable::handTo(*m_pInputDataGen, m_pResettable))
    {
        QC_ERROR("Could not set entity to reset of input data gen: resets would be lost");
        return false;
    }
    if (!m_pInputDataGen->gotoStart())
    {
        QC_ERROR("Could not go to the start of input data gen");
        return false;
    }
    m_pResettable->clear();
    return true;
}

bool DataConverter::convertPatterns(const Watch& in_watch)
{
    while (m_pInputDataGen->generateNext())
    {
        if (!convertPattern())
            return false;
        if (in_watch && !in_watch(m_uiNbConverted))
        {
            QC_ERROR("Conversion stopped after " << m_uiNbConverted << " patterns");
            return false;
        }
    }
    return true;
}

bool DataConverter::convertPattern()
{
    m_vInput.clear();
    if (!m_pInputDataGen->getInput(m_vInput))
    {
        QC_ERROR("Could not get input for pattern " << m_uiNbConverted);
        return false;
    }
    m_vTarget.clear();
    m_pInputDataGen->getTarget(m_vTarget);
    if (!m_pOutputDataWriter->write(m_pResettable->isPending(), m_vInput, m_vTarget))
    {
        QC_ERROR("Could not write pattern " << m_uiNbConverted);
        return false;
    }
    m_pResettable->clear();
    ++m_uiNbConverted;
    return true;
}

} // namespace Vexalor::MachineLearning
