#include "ml-config/JoinedDataGenerator.h"

namespace Vexalor::MachineLearning
{

bool JoinedDataGenerator::gotoStart()
{
    m_uiCurrent = 0;
    return atEnd() || m_vGenerators.front()->gotoStart();
}

bool JoinedDataGenerator::generateNext()
{
    while (!atEnd())
    {
        if (m_vGenerators[m_uiCurrent]->generateNext())
        {
            ++m_uiRead;
            if (m_progress.isDue())
                m_progress.show(m_uiRead, {});
            return true;
        }
        m_bClean = m_bClean && m_vGenerators[m_uiCurrent]->endedCleanly();
        ++m_uiCurrent;
        m_bClean = m_bClean && (atEnd() || m_vGenerators[m_uiCurrent]->gotoStart());
        if (!m_bClean)
            m_uiCurrent = m_vGenerators.size();
    }
    return false;
}

bool JoinedDataGenerator::getInput(DoubleVector& out_vInput)
{
    return !atEnd() && m_vGenerators[m_uiCurrent]->getInput(out_vInput);
}

bool JoinedDataGenerator::getTarget(DoubleVector& out_vTarget)
{
    return !atEnd() && m_vGenerators[m_uiCurrent]->getTarget(out_vTarget);
}

std::ostream& JoinedDataGenerator::dumpStatus(std::ostream& out_stream)
{
    return atEnd() ? out_stream : m_vGenerators[m_uiCurrent]->dumpStatus(out_stream);
}

} // namespace Vexalor::MachineLearning
