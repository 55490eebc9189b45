#pragma once

#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-audio/TimeSource.h"
#include "quillcast-core/InputFile.h"

#include <cstdint>
#include <string>

namespace Vexalor
{

/// Delivers a WAV recording window by window, cut by the rule of LinearAudioWindower. Nothing is allocated
/// for a window once the first one was delivered; memory does not depend on the length of the recording.
///
/// Call order: configure? (setSourceFile (gotoStart | gotoAudioTime | getNextWindow)*)*. The recording is
/// held open only between the first window and the last, so that many readers may wait with their recordings
/// set.
class WindowedAudioFileReader final : public virtual TimeSource
{
public:
    /// Takes over the configuration. A recording that is set is rewound if it suits the new settings; if not,
    /// it is let go, and another one must be set. False, with the reason logged and everything as it was, for
    /// settings that make no sense. Without it a default Config holds.
    bool configure(const LinearAudioWindower::Config& in_config);
    const LinearAudioWindower::Config& getConfig() const { return m_config; }

    /// Sets the recording to read, at its start. False, with the reason logged and an earlier recording
    /// untouched, if it cannot be read, has no such channel, or has another sampling rate than the configured
    /// one, which is then refused with both rates in the message.
    bool setSourceFile(const char* in_filename);
    /// The same with a regular file that is open already, and is closed again.
    bool setSourceFile(InputFile in_file);

    /// The next window is the first one. False if no recording is set or it cannot be opened again.
    bool gotoStart();
    /// The next window starts at sample llround(in_dTime * rate), in_dTime in seconds. False, with nothing
    /// changed, for a time outside the recording.
    bool gotoAudioTime(double in_dTime);

    /// Copies the next window, L samples. False, with out_vWindow untouched, when no complete window is left
    /// or the recording could not be read.
    bool getNextWindow(DoubleVector& out_vWindow);

    /// Lets go of the recording and of the memory before the last window; none is delivered then until
    /// gotoStart or gotoAudioTime.
    void release();

    /// Seconds: the end of the window that was delivered last, (first sample + L) / rate. Before one: where
    /// the next one starts, 0.0 at the start.
    double getCurrentAudioTime() const override;
    /// True once getNextWindow found no complete window, and after release; false after an input error.
    bool atEnd() const { return m_bAtEnd; }
    /// True when the recording could not be read to its end since it was last positioned.
    bool hasInputError() const { return m_bInputError; }

    /// Hz; 0 before setSourceFile, as all that follow.
    std::uint32_t getSamplingRate() const { return m_source.m_uiRate; }
    /// Samples of one channel.
    std::uint64_t getFrameCount() const { return m_source.m_uiFrames; }
    /// In samples.
    const WindowSize& getWindowSize() const { return m_size; }
    /// How many windows there are from the start of the recording to its end.
    std::uint64_t getWindowCount() const;

private:
    /// Samples that are read at a time, beyond what is left of the block before.
    static constexpr std::size_t BLOCK = 16384;

    /// What was found when the recording was set, and must be found when it is opened again.
    struct Source
    {
        std::string m_strFilename;
        std::uint32_t m_uiRate = 0;
        std::uint32_t m_uiChannels = 0;
        std::uint64_t m_uiFrames = 0;

        friend bool operator==(const Source&, const Source&) = default;
    };

    bool takeSource(const AudioFileReader& in_reader, const char* in_filename);
    static Source describe(const char* in_filename, const AudioFileReader& in_reader);
    static bool isSuitable(const Source& in_source, const LinearAudioWindower::Config& in_config,
                           WindowSize& out_size, std::string& out_strReason);
    bool openSource();
    bool fillBuffer();
    bool stop(bool in_bInputError);
    void gotoSample(std::uint64_t in_uiSample);

    LinearAudioWindower::Config m_config;
    WindowSize m_size;
    Source m_source;
    AudioFileReader m_reader;
    WindowCutter m_cutter;
    std::uint64_t m_uiTimeSample = 0; ///< the current audio time
    bool m_bAtEnd = false;
    bool m_bInputError = false;
};

} // namespace Vexalor
