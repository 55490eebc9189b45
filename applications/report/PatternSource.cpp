#include "report/PatternSource.h"

#include "MLAudioFileDataGenerator.h"
#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLFileSetDataGenerator.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::MachineLearning
{

void PatternSource::watch(DataGenerator& io_generator)
{
    *this = PatternSource();
    m_pSet = dynamic_cast<FileSetDataGeneratorImpl*>(&io_generator);
    m_pToneSet = dynamic_cast<AudioSetDataGeneratorForToneDetector*>(&io_generator);
    m_pFile = dynamic_cast<FileDataGenerator*>(&io_generator);
}

FileDataGenerator* PatternSource::findFile() const
{
    return m_pSet != nullptr ? m_pSet->getCurrentDataGenerator().get() : m_pFile;
}

bool PatternSource::advance()
{
    const bool bFirst = !m_bStarted;
    m_bStarted = true;
    FileDataGenerator* const pCurrent = findFile();
    if (pCurrent == nullptr)
        return bFirst;
    if (pCurrent != m_pCurrent)
    {
        m_pCurrent = pCurrent;
        m_pAudio = dynamic_cast<AudioFileDataGenerator*>(pCurrent);
    }
    bool bNew = bFirst || m_strName != pCurrent->getCurrentFilename();
    if (m_pAudio != nullptr)
    {
        const std::int64_t iEnd = std::llround(m_pAudio->getCurrentAudioTime() * getRate());
        bNew = bNew || iEnd <= m_iEnd; // the same recording once more
        m_iEnd = iEnd;
    }
    if (bNew)
        m_strName = pCurrent->getCurrentFilename();
    return bNew;
}

std::uint32_t PatternSource::getRate() const
{
    return m_pAudio->getSamplingRate();
}

int PatternSource::getChannel() const
{
    return m_pAudio->getConfig().m_audioConfig.m_iChannel;
}

EventInterval PatternSource::getInterval() const
{
    return {m_iEnd - static_cast<std::int64_t>(m_pAudio->getWindowSize().m_uiShift), m_iEnd};
}

std::string PatternSource::getTone() const
{
    return m_pToneSet == nullptr ? "" : m_pToneSet->getCurrentTone();
}

StringVector PatternSource::getClassNamesOfTones()
{
    return {"tone", AudioClassStatistics::OTHER};
}

StringVector PatternSource::getClassNames() const
{
    if (m_pToneSet != nullptr)
        return getClassNamesOfTones();
    StringVector vNames;
    const auto* pSource = dynamic_cast<const AudioClassStatisticsSource*>(m_pCurrent);
    if (pSource == nullptr)
        return vNames;
    AudioClassStatistics statistics;
    pSource->addStatistics(statistics);
    for (const AudioClassStatistics::Row& row : statistics.m_vRows)
        vNames.push_back(row.m_strClass);
    return vNames;
}

} // namespace Vexalor::MachineLearning
