#include "quillcast-audio/WindowedAudioFileReader.h"

#include "quillcast-core/Assertion.h"

#include <cmath>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.WindowedAudioFileReader");

} // namespace

WindowedAudioFileReader::Source WindowedAudioFileReader::describe(const char* in_filename,
                                                                  const AudioFileReader& in_reader)
{
    return {in_filename, in_reader.getSamplingRate(), in_reader.getChannelCount(), in_reader.getFrameCount()};
}

bool WindowedAudioFileReader::isSuitable(const Source& in_source,
                                         const LinearAudioWindower::Config& in_config, WindowSize& out_size,
                                         std::string& out_strReason)
{
    if (in_config.m_uiSamplingRate != 0 && in_config.m_uiSamplingRate != in_source.m_uiRate)
        out_strReason = "its sampling rate is " + std::to_string(in_source.m_uiRate) + " Hz, " +
                        std::to_string(in_config.m_uiSamplingRate) + " Hz are configured";
    else if (in_config.m_iChannel >= 0 &&
             static_cast<std::uint32_t>(in_config.m_iChannel) >= in_source.m_uiChannels)
        out_strReason = "channel " + std::to_string(in_config.m_iChannel) + " is configured, it has " +
                        std::to_string(in_source.m_uiChannels);
    else
        return in_config.getWindowSize(in_source.m_uiRate, out_size, out_strReason);
    return false;
}

bool WindowedAudioFileReader::configure(const LinearAudioWindower::Config& in_config)
{
    QC_TRACE("WindowedAudioFileReader::configure");
    WindowSize size;
    std::string strError;
    if (!in_config.getNominalWindowSize(size, strError))
    {
        QC_ERROR("Windower configuration refused: " << strError);
        return false;
    }
    if (m_source.m_uiRate != 0 && !isSuitable(m_source, in_config, size, strError))
    {
        QC_DEBUG("Recording " << m_source.m_strFilename << " is let go: " << strError);
        m_source = {};
    }
    m_config = in_config;
    m_size = size;
    m_reader.close();
    gotoSample(0);
    return true;
}

bool WindowedAudioFileReader::setSourceFile(const char* in_filename)
{
    QC_TRACE("WindowedAudioFileReader::setSourceFile");
    AudioFileReader reader;
    return reader.open(in_filename, LinearAudioWindower::Config::MEAN_OF_CHANNELS) &&
           takeSource(reader, in_filename);
}

bool WindowedAudioFileReader::setSourceFile(InputFile in_file)
{
    QC_TRACE("WindowedAudioFileReader::setSourceFile");
    AudioFileReader reader;
    const std::string strFilename = in_file.getFilename();
    return reader.open(std::move(in_file), LinearAudioWindower::Config::MEAN_OF_CHANNELS) &&
           takeSource(reader, strFilename.c_str());
}

bool WindowedAudioFileReader::takeSource(const AudioFileReader& in_reader, const char* in_filename)
{
    Source source = describe(in_filename, in_reader);
    WindowSize size;
    std::string strReason;
    if (!isSuitable(source, m_config, size, strReason))
    {
        QC_ERROR("Recording " << in_filename << " refused: " << strReason);
        return false;
    }
    m_source = std::move(source);
    m_size = size;
    m_reader.close();
    gotoSample(0);
    return true;
}

void WindowedAudioFileReader::gotoSample(std::uint64_t in_uiSample)
{
    m_cutter.start(m_size, in_uiSample);
    m_uiTimeSample = in_uiSample;
    m_bAtEnd = false;
    m_bInputError = false;
}

bool WindowedAudioFileReader::openSource()
{
    if (!m_reader.isOpen() && !m_reader.open(m_source.m_strFilename.c_str(), m_config.m_iChannel))
        return false;
    if (describe(m_source.m_strFilename.c_str(), m_reader) != m_source)
    {
        QC_ERROR("Recording " << m_source.m_strFilename << " has changed since it was set");
        return false;
    }
    return m_reader.seek(m_cutter.getNextStart());
}

bool WindowedAudioFileReader::gotoStart()
{
    QC_TRACE("WindowedAudioFileReader::gotoStart");
    if (!QC_CHECK(m_source.m_uiRate != 0))
        return false;
    gotoSample(0);
    return openSource() || stop(true);
}

bool WindowedAudioFileReader::gotoAudioTime(double in_dTime)
{
    QC_TRACE("WindowedAudioFileReader::gotoAudioTime");
    if (!QC_CHECK(m_source.m_uiRate != 0))
        return false;
    const double dSample = in_dTime * m_source.m_uiRate;
    // False for nan as well.
    const bool bInRange = dSample >= 0.0 && dSample < static_cast<double>(m_source.m_uiFrames);
    const std::uint64_t uiSample = bInRange ? static_cast<std::uint64_t>(std::llround(dSample)) : 0;
    if (!bInRange || uiSample >= m_source.m_uiFrames)
    {
        QC_ERROR("Audio time " << in_dTime << "s lies outside recording " << m_source.m_strFilename);
        return false;
    }
    gotoSample(uiSample);
    return openSource() || stop(true);
}

bool WindowedAudioFileReader::getNextWindow(DoubleVector& out_vWindow)
{
    QC_TRACE("WindowedAudioFileReader::getNextWindow");
    if (!m_cutter.pop(out_vWindow) && !(fillBuffer() && m_cutter.pop(out_vWindow)))
        return false;
    m_uiTimeSample = m_cutter.getNextStart() - m_size.m_uiShift + m_size.m_uiLength;
    return true;
}

/// Reads until a window is complete.
bool WindowedAudioFileReader::fillBuffer()
{
    if (!QC_CHECK(m_source.m_uiRate != 0) || m_bAtEnd || m_bInputError)
        return false;
    if (m_cutter.getNextStart() + m_size.m_uiLength > m_source.m_uiFrames)
        return stop(false);
    if (!m_reader.isOpen() && !openSource())
        return stop(true);
    if (m_cutter.getBuffered() == 0)
        m_cutter.prepare(BLOCK + m_size.m_uiLength - 1);
    while (m_cutter.getBuffered() < m_size.m_uiLength)
    {
        const std::size_t uiRead = m_reader.read(m_cutter.prepare(BLOCK), BLOCK);
        if (uiRead == 0)
            return stop(true);
        m_cutter.commit(uiRead);
    }
    return true;
}

/// No window is left: lets go of the recording and of the memory.
bool WindowedAudioFileReader::stop(bool in_bInputError)
{
    m_reader.close();
    m_cutter.release();
    m_bAtEnd = !in_bInputError;
    m_bInputError = in_bInputError;
    return false;
}

void WindowedAudioFileReader::release()
{
    QC_TRACE("WindowedAudioFileReader::release");
    stop(m_bInputError);
}

double WindowedAudioFileReader::getCurrentAudioTime() const
{
    return m_source.m_uiRate == 0 ? 0.0 : static_cast<double>(m_uiTimeSample) / m_source.m_uiRate;
}

std::uint64_t WindowedAudioFileReader::getWindowCount() const
{
    return m_source.m_uiFrames < m_size.m_uiLength
               ? 0
               : (m_source.m_uiFrames - m_size.m_uiLength) / m_size.m_uiShift + 1;
}

} // namespace Vexalor
