#include "quillcast-audio/AudioFileReader.h"

#include "WavStructure.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/InputFile.h"

#include <algorithm>
#include <iterator>
#include <sndfile.h>
#include <vector>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.AudioFileReader");

/// Values of all channels that are read at a time when there are several.
constexpr std::size_t INTERLEAVED_BLOCK = 16384;

/// Codings that are passed to the decoder, which knows more: whole numbers, floating point, A-law, mu-law,
/// ADPCM, GSM, and the extensible form.
bool isSupportedCoding(std::uint16_t in_uiTag)
{
    constexpr std::uint16_t TAGS[] = {0x01, 0x02, 0x03, 0x06, 0x07, 0x11, 0x31, 0xFFFE};
    return std::find(std::begin(TAGS), std::end(TAGS), in_uiTag) != std::end(TAGS);
}

/// Why a file is no recording; empty if it is one. The decoder's own words are about itself more often than
/// about the file, and its decoders for music write to the terminal.
std::string explainRefusal(InputFile& io_file)
{
    IffFileSource source(io_file);
    WavStructure structure;
    if (!structure.read(source))
        return structure.getError();
    const std::uint16_t uiTag = structure.getFormat().m_uiTag;
    return isSupportedCoding(uiTag) ? "" : "its samples have an unsupported coding, " + std::to_string(uiTag);
}

/// A file with a position of its own.
struct PositionedFile
{
    InputFile m_file;
    std::uint64_t m_uiPosition = 0;
};

PositionedFile& toFile(void* in_pFile)
{
    return *static_cast<PositionedFile*>(in_pFile);
}

sf_count_t seekFile(sf_count_t in_offset, int in_iWhence, void* io_pFile)
{
    PositionedFile& file = toFile(io_pFile);
    const std::uint64_t uiFrom = in_iWhence == SEEK_CUR   ? file.m_uiPosition
                                 : in_iWhence == SEEK_END ? file.m_file.getSize()
                                                          : 0;
    const sf_count_t position = static_cast<sf_count_t>(uiFrom) + in_offset;
    if (position < 0)
        return -1;
    file.m_uiPosition = static_cast<std::uint64_t>(position);
    return position;
}

sf_count_t readFile(void* out_pBytes, sf_count_t in_count, void* io_pFile)
{
    PositionedFile& file = toFile(io_pFile);
    const std::size_t uiRead = file.m_file.readAt(file.m_uiPosition, static_cast<char*>(out_pBytes),
                                                  static_cast<std::size_t>(in_count));
    file.m_uiPosition += uiRead;
    return static_cast<sf_count_t>(uiRead);
}

/// How the decoder reads a PositionedFile.
SF_VIRTUAL_IO makeAccess()
{
    SF_VIRTUAL_IO access{};
    access.get_filelen = [](void* in_pFile)
    {
        return static_cast<sf_count_t>(toFile(in_pFile).m_file.getSize());
    };
    access.seek = seekFile;
    access.read = readFile;
    access.write = [](const void*, sf_count_t, void*)
    {
        return sf_count_t(0);
    };
    access.tell = [](void* in_pFile)
    {
        return static_cast<sf_count_t>(toFile(in_pFile).m_uiPosition);
    };
    return access;
}

bool isWav(int in_iFormat)
{
    const int iType = in_iFormat & SF_FORMAT_TYPEMASK;
    return iType == SF_FORMAT_WAV || iType == SF_FORMAT_WAVEX || iType == SF_FORMAT_RF64;
}

} // namespace

struct AudioFileReader::State
{
    PositionedFile m_source;
    SNDFILE* m_pFile = nullptr;
    SF_INFO m_info{};
    int m_iChannel = 0;
    std::uint64_t m_uiPosition = 0;
    bool m_bInputError = false;
    std::vector<double> m_vInterleaved;

    ~State() { sf_close(m_pFile); }
    const std::string& filename() const { return m_source.m_file.getFilename(); }
    std::size_t channels() const { return static_cast<std::size_t>(m_info.channels); }
    std::uint64_t frames() const { return static_cast<std::uint64_t>(m_info.frames); }
    void pickChannel(double* out_samples, std::size_t in_uiFrames) const;
};

/// From the interleaved block: one channel, or the mean, added up in the order of the channels.
void AudioFileReader::State::pickChannel(double* out_samples, std::size_t in_uiFrames) const
{
    const double* pFrame = m_vInterleaved.data();
    for (std::size_t i = 0; i < in_uiFrames; ++i, pFrame += channels())
    {
        if (m_iChannel >= 0)
        {
            out_samples[i] = pFrame[m_iChannel];
            continue;
        }
        double dSum = 0.0;
        for (std::size_t uiChannel = 0; uiChannel < channels(); ++uiChannel)
            dSum += pFrame[uiChannel];
        out_samples[i] = dSum / static_cast<double>(channels());
    }
}

AudioFileReader::AudioFileReader()
    : m_pState(std::make_unique<State>())
{
}

AudioFileReader::~AudioFileReader() = default;
AudioFileReader::AudioFileReader(AudioFileReader&&) noexcept = default;
AudioFileReader& AudioFileReader::operator=(AudioFileReader&&) noexcept = default;

bool AudioFileReader::fail(const std::string& in_strReason)
{
    QC_ERROR("Cannot read recording " << m_pState->filename() << ": " << in_strReason);
    m_pState = std::make_unique<State>();
    return false;
}

bool AudioFileReader::open(const char* in_filename, int in_iChannel)
{
    QC_TRACE("AudioFileReader::open");
    m_pState = std::make_unique<State>();
    InputFile& file = m_pState->m_source.m_file;
    return file.openRegular(in_filename) ? openFile(in_iChannel) : fail(file.getReason());
}

bool AudioFileReader::open(InputFile in_file, int in_iChannel)
{
    QC_TRACE("AudioFileReader::open");
    m_pState = std::make_unique<State>();
    m_pState->m_source.m_file = std::move(in_file);
    return openFile(in_iChannel);
}

bool AudioFileReader::openFile(int in_iChannel)
{
    const std::string strReason = explainRefusal(m_pState->m_source.m_file);
    if (!strReason.empty())
        return fail(strReason);
    SF_VIRTUAL_IO access = makeAccess();
    m_pState->m_pFile = sf_open_virtual(&access, SFM_READ, &m_pState->m_info, &m_pState->m_source);
    if (m_pState->m_pFile == nullptr)
        return fail(sf_strerror(nullptr));
    if (!isWav(m_pState->m_info.format))
        return fail("is no WAV recording");
    if (m_pState->m_info.channels < 1 || m_pState->m_info.samplerate < 1 || m_pState->m_info.frames < 0)
        return fail("its header is damaged");
    if (m_pState->m_info.frames == 0)
        return fail("it has no samples");
    if (in_iChannel >= m_pState->m_info.channels)
        return fail("channel " + std::to_string(in_iChannel) + " is configured, it has " +
                    std::to_string(m_pState->m_info.channels));
    m_pState->m_iChannel = in_iChannel;
    return true;
}

bool AudioFileReader::isRecording(std::string_view in_beginning)
{
    return RiffFile::isContainer(in_beginning.substr(0, 4));
}

bool AudioFileReader::isOpen() const
{
    return m_pState->m_pFile != nullptr;
}

void AudioFileReader::close()
{
    QC_TRACE("AudioFileReader::close");
    m_pState = std::make_unique<State>();
}

std::uint32_t AudioFileReader::getSamplingRate() const
{
    return static_cast<std::uint32_t>(m_pState->m_info.samplerate);
}

std::uint32_t AudioFileReader::getChannelCount() const
{
    return static_cast<std::uint32_t>(m_pState->m_info.channels);
}

std::uint64_t AudioFileReader::getFrameCount() const
{
    return m_pState->frames();
}

std::size_t AudioFileReader::readFrames(double* out_samples, std::size_t in_uiCount)
{
    State& state = *m_pState;
    if (state.channels() == 1)
        return static_cast<std::size_t>(
            sf_readf_double(state.m_pFile, out_samples, static_cast<sf_count_t>(in_uiCount)));
    const std::size_t uiBlock = std::max<std::size_t>(1, INTERLEAVED_BLOCK / state.channels());
    state.m_vInterleaved.resize(uiBlock * state.channels());
    std::size_t uiDone = 0;
    while (uiDone < in_uiCount)
    {
        const std::size_t uiAsked = std::min(uiBlock, in_uiCount - uiDone);
        const std::size_t uiRead = static_cast<std::size_t>(
            sf_readf_double(state.m_pFile, state.m_vInterleaved.data(), static_cast<sf_count_t>(uiAsked)));
        state.pickChannel(out_samples + uiDone, uiRead);
        uiDone += uiRead;
        if (uiRead < uiAsked)
            break;
    }
    return uiDone;
}

std::size_t AudioFileReader::read(double* out_samples, std::size_t in_uiCount)
{
    QC_TRACE("AudioFileReader::read");
    if (!QC_CHECK(isOpen()))
        return 0;
    const std::size_t uiWanted = static_cast<std::size_t>(
        std::min<std::uint64_t>(in_uiCount, getFrameCount() - m_pState->m_uiPosition));
    const std::size_t uiRead = uiWanted == 0 ? 0 : readFrames(out_samples, uiWanted);
    m_pState->m_uiPosition += uiRead;
    if (uiRead < uiWanted && !m_pState->m_bInputError)
    {
        m_pState->m_bInputError = true;
        QC_ERROR("Recording " << m_pState->filename() << " cannot be read beyond sample "
                              << m_pState->m_uiPosition << " of " << getFrameCount());
    }
    return uiRead;
}

bool AudioFileReader::seek(std::uint64_t in_uiFrame)
{
    QC_TRACE("AudioFileReader::seek");
    if (!QC_CHECK(isOpen()) || !QC_CHECK(in_uiFrame <= getFrameCount()))
        return false;
    const sf_count_t wanted = static_cast<sf_count_t>(in_uiFrame);
    if (sf_seek(m_pState->m_pFile, wanted, SEEK_SET) != wanted)
    {
        m_pState->m_bInputError = true;
        QC_ERROR("Cannot go to sample " << in_uiFrame << " of recording " << m_pState->filename() << ": "
                                        << sf_strerror(m_pState->m_pFile));
        return false;
    }
    m_pState->m_uiPosition = in_uiFrame;
    return true;
}

bool AudioFileReader::hasInputError() const
{
    return m_pState->m_bInputError;
}

} // namespace Vexalor
