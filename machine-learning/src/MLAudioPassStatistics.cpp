#include "MLAudioPassStatistics.h"

#include "quillcast-core/Logger.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.AudioFileDataGenerator");

} // namespace

void AudioPassStatistics::start(std::size_t in_uiTargetSize)
{
    m_uiPatterns = 0;
    m_uiPatternsWithTarget = 0;
    m_iErrors = 0;
    m_vClassPatterns.assign(in_uiTargetSize, 0);
    m_vEarlierTarget.clear();
    m_vIntervals.assign(in_uiTargetSize, 0);
}

void AudioPassStatistics::count(const DoubleVector& in_vTarget)
{
    ++m_uiPatterns;
    if (in_vTarget.empty())
        return;
    ++m_uiPatternsWithTarget;
    if (in_vTarget.size() != m_vClassPatterns.size())
        return;
    for (std::size_t i = 0; i < in_vTarget.size(); ++i)
        m_vClassPatterns[i] += in_vTarget[i] == 1.0 ? 1 : 0;
    if (s_logger.isEnabledFor(LogLevel::DEBUGGING))
        countIntervals(in_vTarget);
}

void AudioPassStatistics::countIntervals(const DoubleVector& in_vTarget)
{
    for (std::size_t i = 0; i < in_vTarget.size(); ++i)
    {
        const bool bWasIn = i < m_vEarlierTarget.size() && m_vEarlierTarget[i] == 1.0;
        m_vIntervals[i] += in_vTarget[i] == 1.0 && !bWasIn ? 1 : 0;
    }
    m_vEarlierTarget = in_vTarget;
}

void AudioPassStatistics::log(const std::string& in_strFilename, const Timelines& in_vTimelines) const
{
    if (m_iErrors != 0)
    {
        const std::uint64_t uiPercent =
            m_uiPatternsWithTarget == 0 ? 0 : std::uint64_t(m_iErrors) * 100 / m_uiPatternsWithTarget;
        QC_INFO("Number of errors on file " << in_strFilename << " : " << m_iErrors << '/'
                                            << m_uiPatternsWithTarget << " (" << uiPercent << "%)");
    }
    for (std::size_t i = 0; i < in_vTimelines.size(); ++i)
        QC_DEBUG("Class " << in_vTimelines[i]->getEventName() << " of file " << in_strFilename << ": "
                          << in_vTimelines[i]->getEventCount() << " interval(s) annotated, "
                          << m_vIntervals[i] << " delivered, " << in_vTimelines[i]->countUnseenEvents()
                          << " annotated without any window that sees it");
}

void AudioPassStatistics::addTo(AudioClassStatistics& io_statistics, const Timelines& in_vTimelines,
                                double in_dShift) const
{
    for (std::size_t i = 0; i < m_vClassPatterns.size(); ++i)
        io_statistics.add(
            i, i < in_vTimelines.size() ? in_vTimelines[i]->getEventName() : AudioClassStatistics::OTHER,
            m_vClassPatterns[i], in_dShift);
    for (std::size_t i = 0; i < std::min(m_vClassPatterns.size(), in_vTimelines.size()); ++i)
    {
        AudioClassStatistics::Row& row = io_statistics.m_vRows[i];
        row.m_uiEvents += in_vTimelines[i]->getEventCount();
        row.m_uiUnseenEvents += in_vTimelines[i]->countUnseenEvents();
        row.m_dAnnotatedSeconds += in_vTimelines[i]->getEventSeconds();
    }
    io_statistics.m_all.add(m_uiPatterns, in_dShift);
}

} // namespace Vexalor::MachineLearning
