#pragma once

#include "quillcast-core/InputFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Vexalor
{

/// Reads the samples of a WAV recording (RIFF, RF64 and WAVE_FORMAT_EXTENSIBLE; whole numbers of 8 to 32
/// bits, floating point, mu-law, A-law, ADPCM, GSM) as double: coded as whole numbers they lie in [-1, 1),
/// floating-point ones are delivered as they are. One channel, or the mean of all.
///
/// Call order: open (read | seek)* close, any number of times. A failure is logged with the name of the file.
class AudioFileReader
{
public:
    AudioFileReader();
    ~AudioFileReader();
    AudioFileReader(const AudioFileReader&) = delete;
    AudioFileReader& operator=(const AudioFileReader&) = delete;
    AudioFileReader(AudioFileReader&&) noexcept;
    AudioFileReader& operator=(AudioFileReader&&) noexcept;

    /// Opens a recording at its first sample, in place of an earlier one. in_iChannel counts from 0; a
    /// negative one stands for the mean of all channels. False, with none open, for what is no regular file,
    /// no readable recording or has no such channel.
    bool open(const char* in_filename, int in_iChannel);
    /// The same with a regular file that is open already.
    bool open(InputFile in_file, int in_iChannel);
    bool isOpen() const;
    /// True for the first bytes of a RIFF, RF64 or BW64 file, four at least.
    static bool isRecording(std::string_view in_beginning);
    /// Closes and gives the memory back.
    void close();

    /// Hz; of the open recording, as all that follow.
    std::uint32_t getSamplingRate() const;
    std::uint32_t getChannelCount() const;
    /// Samples of one channel.
    std::uint64_t getFrameCount() const;

    /// Reads up to in_uiCount samples and returns how many were read: less than asked for at the end of the
    /// recording, or when an error occurred.
    std::size_t read(double* out_samples, std::size_t in_uiCount);
    /// The next sample to read is in_uiFrame, at most the frame count. False if that failed.
    bool seek(std::uint64_t in_uiFrame);

    /// True when samples that the recording announces could not be read since it was opened.
    bool hasInputError() const;

private:
    struct State;
    bool openFile(int in_iChannel);
    bool fail(const std::string& in_strReason);
    std::size_t readFrames(double* out_samples, std::size_t in_uiCount);

    std::unique_ptr<State> m_pState;
};

} // namespace Vexalor
