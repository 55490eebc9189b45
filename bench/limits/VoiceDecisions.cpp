// What the voice detector of webrtc-audio-processing decides, everything else off: a line of four digits for
// every window of 10 ms, 1 where it hears voice when a window is declared to be voice with very low, low,
// moderate and high likelihood. Run by tools/check_voice.py. usage: VoiceDecisions RECORDING.wav, of 8, 16 or
// 32 kHz, one channel

#include <array>
#include <cstdio>
#include <memory>
#include <sndfile.h>
#include <webrtc/modules/audio_processing/include/audio_processing.h>
#include <webrtc/modules/interface/module_common_types.h>

namespace
{

constexpr std::array LEVELS = {
    webrtc::VoiceDetection::kVeryLowLikelihood, webrtc::VoiceDetection::kLowLikelihood,
    webrtc::VoiceDetection::kModerateLikelihood, webrtc::VoiceDetection::kHighLikelihood};

std::unique_ptr<webrtc::AudioProcessing> makeDetector(webrtc::VoiceDetection::Likelihood in_level)
{
    std::unique_ptr<webrtc::AudioProcessing> pProcessing(webrtc::AudioProcessing::Create());
    pProcessing->voice_detection()->Enable(true);
    pProcessing->voice_detection()->set_likelihood(in_level);
    return pProcessing;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    SF_INFO info{};
    SNDFILE* pFile = sf_open(in_iArguments == 2 ? in_arguments[1] : "", SFM_READ, &info);
    if (pFile == nullptr || info.channels != 1)
    {
        std::fprintf(stderr, "usage: VoiceDecisions RECORDING.wav\n");
        return 2;
    }
    std::array<std::unique_ptr<webrtc::AudioProcessing>, LEVELS.size()> detectors;
    for (std::size_t i = 0; i < LEVELS.size(); ++i)
        detectors[i] = makeDetector(LEVELS[i]);
    webrtc::AudioFrame window;
    window.sample_rate_hz_ = info.samplerate;
    window.samples_per_channel_ = static_cast<std::size_t>(info.samplerate / 100);
    window.num_channels_ = 1;
    const auto iWindow = static_cast<sf_count_t>(window.samples_per_channel_);
    while (sf_read_short(pFile, window.data_, iWindow) == iWindow)
    {
        for (const auto& pDetector : detectors)
        {
            webrtc::AudioFrame copy;
            copy.CopyFrom(window);
            if (pDetector->ProcessStream(&copy) != 0)
                return 1;
            std::putchar(pDetector->voice_detection()->stream_has_voice() ? '1' : '0');
        }
        std::putchar('\n');
    }
    sf_close(pFile);
    return std::fflush(stdout) == 0 ? 0 : 1;
}
