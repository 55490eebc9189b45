#include "quillcast-audio/LinearAudioWindower.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <limits>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.LinearAudioWindower");

/// Hz; a sample is a millisecond then.
constexpr std::uint32_t NOMINAL_RATE = 1000;

/// round(ms * rate / 1000); 0 when the product is out of range.
std::uint64_t toSamples(std::uint64_t in_uiMilliseconds, std::uint32_t in_uiRate)
{
    if (in_uiMilliseconds > (std::numeric_limits<std::uint64_t>::max() - 500) / in_uiRate)
        return 0;
    return (in_uiMilliseconds * in_uiRate + 500) / 1000;
}

} // namespace

bool LinearAudioWindower::Config::getWindowSize(std::uint32_t in_uiRate, WindowSize& out_size,
                                                std::string& out_strError) const
{
    if (in_uiRate == 0)
    {
        out_strError = "sampling rate is 0";
        return false;
    }
    const std::uint64_t uiLength = toSamples(m_uiWindowLength, in_uiRate);
    const std::uint64_t uiShift = toSamples(m_uiWindowShift, in_uiRate);
    if (std::min(uiLength, uiShift) == 0 || std::max(uiLength, uiShift) > MAX_SAMPLES)
    {
        out_strError = "a window length of " + std::to_string(m_uiWindowLength) + " ms and a shift of " +
                       std::to_string(m_uiWindowShift) + " ms at " + std::to_string(in_uiRate) +
                       " Hz: both must be from 1 to " + std::to_string(MAX_SAMPLES) + " samples";
        return false;
    }
    out_size = {static_cast<std::size_t>(uiLength), static_cast<std::size_t>(uiShift)};
    return true;
}

bool LinearAudioWindower::Config::getNominalWindowSize(WindowSize& out_size, std::string& out_strError) const
{
    return getWindowSize(m_uiSamplingRate != 0 ? m_uiSamplingRate : NOMINAL_RATE, out_size, out_strError);
}

template <class Archive>
void LinearAudioWindower::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_uiSamplingRate, "Hz", "rate of the recordings, others are refused; 0: any");
    QC_FIELD(m_uiWindowLength, "ms", "length of a window");
    QC_FIELD(m_uiWindowShift, "ms", "time from the start of a window to that of the next");
    QC_FIELD(m_iChannel, "", "channel, counted from 0; -1: the mean of all");
}

QC_ARCHIVES(LinearAudioWindower::Config);

LinearAudioWindower::LinearAudioWindower()
{
    configure(Config());
}

bool LinearAudioWindower::configure(const Config& in_config)
{
    QC_TRACE("LinearAudioWindower::configure");
    WindowSize size;
    std::string strError;
    if (!in_config.getNominalWindowSize(size, strError))
    {
        QC_ERROR("Windower configuration refused: " << strError);
        return false;
    }
    m_config = in_config;
    m_uiRate = in_config.m_uiSamplingRate;
    m_cutter.start(size, 0);
    m_uiPushed = 0;
    return true;
}

bool LinearAudioWindower::setSourceRate(std::uint32_t in_uiRate)
{
    QC_TRACE("LinearAudioWindower::setSourceRate");
    WindowSize size;
    if (!findSourceSize(in_uiRate, size))
        return false;
    m_uiRate = in_uiRate;
    if (m_uiPushed == 0)
        m_cutter.start(size, 0);
    return true;
}

bool LinearAudioWindower::canSetSourceRate(std::uint32_t in_uiRate) const
{
    WindowSize size;
    return findSourceSize(in_uiRate, size);
}

bool LinearAudioWindower::findSourceSize(std::uint32_t in_uiRate, WindowSize& out_size) const
{
    std::string strError;
    if (m_config.m_uiSamplingRate != 0 && m_config.m_uiSamplingRate != in_uiRate)
        strError = std::to_string(m_config.m_uiSamplingRate) + " Hz are configured";
    else if (m_uiPushed != 0 && in_uiRate != m_uiRate)
        strError = "audio of another rate was pushed before";
    else if (m_config.getWindowSize(in_uiRate, out_size, strError))
        return true;
    QC_ERROR("Sampling rate of " << in_uiRate << " Hz refused: " << strError);
    return false;
}

bool LinearAudioWindower::pushLinearAudio(const double* in_begin, const double* in_end)
{
    QC_TRACE("LinearAudioWindower::pushLinearAudio");
    if (!QC_CHECK(in_begin <= in_end))
        return false;
    if (m_uiRate == 0)
    {
        QC_ERROR("Push refused: the sampling rate of the audio is not known");
        return false;
    }
    const std::size_t uiCount = static_cast<std::size_t>(in_end - in_begin);
    if (uiCount > MAX_WAITING_SAMPLES - std::min(m_cutter.getBuffered(), MAX_WAITING_SAMPLES))
    {
        QC_ERROR("Push of " << uiCount << " samples refused: " << m_cutter.getBuffered()
                            << " samples wait for their windows to be popped");
        return false;
    }
    std::copy(in_begin, in_end, m_cutter.prepare(uiCount));
    m_cutter.commit(uiCount);
    m_uiPushed += uiCount;
    return true;
}

bool LinearAudioWindower::popWindow(DoubleVector& out_vWindow)
{
    QC_TRACE("LinearAudioWindower::popWindow");
    return m_cutter.pop(out_vWindow);
}

bool LinearAudioWindower::reset()
{
    QC_TRACE("LinearAudioWindower::reset");
    m_cutter.start(m_cutter.getSize(), 0);
    m_uiPushed = 0;
    return true;
}

double LinearAudioWindower::getTotalPushedAudioTime() const
{
    return m_uiRate == 0 ? 0.0 : static_cast<double>(m_uiPushed) / m_uiRate;
}

std::uint64_t LinearAudioWindower::getLastWindowEnd() const
{
    const std::uint64_t uiNextStart = m_cutter.getNextStart();
    return uiNextStart == 0 ? 0 : uiNextStart - m_cutter.getSize().m_uiShift + m_cutter.getSize().m_uiLength;
}

double LinearAudioWindower::getCurrentAudioTime() const
{
    return getTotalPushedAudioTime();
}

} // namespace Vexalor
