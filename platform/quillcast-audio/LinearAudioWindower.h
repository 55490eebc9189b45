#pragma once

#include "quillcast-audio/LinearAudioSink.h"
#include "quillcast-audio/TimeSource.h"
#include "quillcast-audio/WindowCutter.h"
#include "quillcast-core/Serialization.h"

#include <cstdint>
#include <string>

namespace Vexalor
{

/// Cuts pushed audio into successive windows of equal length. Window k holds the samples [kS, kS + L): n
/// samples give floor((n - L) / S) + 1 windows, never a partial one. The samples are left as they are: tapers
/// belong to features.
///
/// Call order: configure setSourceRate? (pushLinearAudio popWindow*)*; reset at any time.
class LinearAudioWindower
    : public virtual LinearAudioSink
    , public virtual TimeSource
    , public virtual Resettable
{
public:
    /// How audio is cut into windows.
    class Config
    {
    public:
        /// Longest window and shift in samples; more is a mistake, not a wish.
        static constexpr std::uint64_t MAX_SAMPLES = std::uint64_t(1) << 26;
        /// Channel that stands for the mean of all.
        static constexpr int MEAN_OF_CHANNELS = -1;

        /// Hz; 0: the rate of the source, whatever it is. Telephony is the default.
        std::uint32_t m_uiSamplingRate = 8000;
        /// ms
        std::uint64_t m_uiWindowLength = 25;
        /// ms between the starts of two windows; may exceed the length
        std::uint64_t m_uiWindowShift = 10;
        /// of the source, counted from 0; MEAN_OF_CHANNELS: their mean
        int m_iChannel = MEAN_OF_CHANNELS;

        /// Length and shift in samples at that rate: round(ms * rate / 1000). False, with the reason in
        /// out_strError, for a rate of 0 and for a length or a shift of 0 or above MAX_SAMPLES.
        bool getWindowSize(std::uint32_t in_uiRate, WindowSize& out_size, std::string& out_strError) const;
        /// The same before the rate of the source is known: at the configured rate, or at 1000 Hz, where a
        /// sample is a millisecond.
        bool getNominalWindowSize(WindowSize& out_size, std::string& out_strError) const;

        friend bool operator==(const Config&, const Config&) = default;

    private:
        friend class boost::serialization::access;
        /// A value, never held by a pointer. An archive of its own calls it by its key; whether the settings
        /// make sense is not checked before configure.
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Pushed samples that may wait for popWindow.
    static constexpr std::size_t MAX_WAITING_SAMPLES = std::size_t(1) << 27;

    /// As a default Config says.
    LinearAudioWindower();

    /// Takes over the configuration and resets. Pushed audio has one channel: the configured one is ignored.
    /// False, with the reason logged and the windower unchanged, for a configuration that makes no sense.
    bool configure(const Config& in_config);
    const Config& getConfig() const { return m_config; }

    /// Tells the rate of the audio that will be pushed, in Hz. Needed where the configured rate is 0, since
    /// pushed audio has none of its own. False, with the reason logged and nothing changed, for another rate
    /// than the configured one, for one at which the windows make no sense, and once audio was pushed.
    bool setSourceRate(std::uint32_t in_uiRate);
    /// Whether it would, with the reason logged if not.
    bool canSetSourceRate(std::uint32_t in_uiRate) const;
    /// Hz; 0 while it is not known.
    std::uint32_t getSamplingRate() const { return m_uiRate; }
    /// In samples; at the nominal rate while the rate is not known.
    const WindowSize& getWindowSize() const { return m_cutter.getSize(); }

    /// False, with the reason logged and nothing taken, when the rate is not known or too many samples wait.
    bool pushLinearAudio(const double* in_begin, const double* in_end) override;
    /// Copies the next complete window. False, with out_vWindow untouched, when there is none yet.
    bool popWindow(DoubleVector& out_vWindow);

    /// Forgets all audio; the time starts anew.
    bool reset() override;

    /// Seconds of audio pushed since configure or reset; 0 while the rate is not known.
    double getTotalPushedAudioTime() const;
    /// The same.
    double getCurrentAudioTime() const override;
    /// Samples pushed since configure or reset.
    std::uint64_t getPushedSamples() const { return m_uiPushed; }
    /// The sample after the window that was popped last, counted from 0; 0 before one. Divided by the rate
    /// it is the time that WindowedAudioFileReader gives for that window.
    std::uint64_t getLastWindowEnd() const;

private:
    bool findSourceSize(std::uint32_t in_uiRate, WindowSize& out_size) const;

    Config m_config;
    std::uint32_t m_uiRate = 0; ///< of the pushed audio; 0: not known
    WindowCutter m_cutter;
    std::uint64_t m_uiPushed = 0;
};

namespace Audio
{
using Vexalor::LinearAudioWindower;
} // namespace Audio

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::LinearAudioWindower::Config, "LinearAudioWindowerConfig")
BOOST_CLASS_TRACKING(Vexalor::LinearAudioWindower::Config, boost::serialization::track_never)
