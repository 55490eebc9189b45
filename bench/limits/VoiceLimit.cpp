// The peer of VadBench: the voice detector of webrtc-audio-processing, everything else off. usage: VoiceLimit
// RECORDING.wav

#include "bench/limits/ByHand.h"

#include <memory>
#include <sndfile.h>
#include <webrtc/modules/audio_processing/include/audio_processing.h>
#include <webrtc/modules/interface/module_common_types.h>

using namespace Vexalor;

int main(int in_iArguments, char** in_arguments)
{
    constexpr int WINDOW = 80;
    long iWindows = 0;
    long iVoice = 0;
    const auto pass = [&]
    {
        SF_INFO info{};
        SNDFILE* pFile = sf_open(in_iArguments == 2 ? in_arguments[1] : "", SFM_READ, &info);
        const std::unique_ptr<webrtc::AudioProcessing> pProcessing(webrtc::AudioProcessing::Create());
        pProcessing->voice_detection()->Enable(true);
        pProcessing->voice_detection()->set_likelihood(webrtc::VoiceDetection::kModerateLikelihood);
        webrtc::AudioFrame frame;
        frame.sample_rate_hz_ = 8000;
        frame.samples_per_channel_ = WINDOW;
        frame.num_channels_ = 1;
        iWindows = iVoice = 0;
        while (pFile != nullptr && sf_read_short(pFile, frame.data_, WINDOW) == WINDOW)
        {
            pProcessing->ProcessStream(&frame);
            iVoice += pProcessing->voice_detection()->stream_has_voice() ? 1 : 0;
            ++iWindows;
        }
        sf_close(pFile);
    };
    const auto times = Bench::measure(Bench::getRunCount(), pass);
    Bench::reportNanoseconds("webrtc-audio-processing", static_cast<double>(iWindows), times);
    Bench::reportValue("    windows with voice", static_cast<double>(iVoice));
    return iWindows > 0 ? 0 : 2;
}
