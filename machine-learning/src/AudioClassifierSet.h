#pragma once

#include "XprClassifierSet.h"
#include "quillcast-audio/LinearAudioSink.h"
#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-infra/ParameterTrie.h"

namespace Vexalor
{

namespace MachineLearning
{

/// A classifier set that audio is pushed into.
class AudioSinkClassifierSet
    : public XprClassifierSet
    , public virtual Audio::LinearAudioSink
{
};

} // namespace MachineLearning

/// Classifies linear audio: cuts what is pushed into windows and gives each complete one to its classifiers
/// as the input variable "audio". Scripts find the sampling rate in Hz in the constant "rate".
///
/// Call order: configure setSourceRate? addClassifier* freeze start (pushLinearAudio | reset)* stop. A push
/// carries one window shift at most, as a rule: of several windows in one push only the results of the last
/// are seen. Windows and their times are those that WindowedAudioFileReader delivers for the same audio and
/// configuration; getTotalPushedAudioTime is ahead of the time of the last window, getLastWindowEnd.
class AudioClassifierSet
    : public MachineLearning::AudioSinkClassifierSet
    , public Audio::LinearAudioWindower
{
public:
    /// The parameters of configure with their usual values: the windower's configuration in
    /// dsp/LinearAudioWindowerConfig.xml, scripts in dsp and tones.
    class DefaultConfig : public ParameterTrie
    {
    public:
        DefaultConfig();
    };

    AudioClassifierSet();
    AudioClassifierSet(const AudioClassifierSet& in_other);
    /// Not to be used: does nothing but report that.
    AudioClassifierSet& operator=(const AudioClassifierSet& in_other);
    ~AudioClassifierSet() override;

    /// Reads the windower's configuration from the file that the parameter of
    /// getParamNameAudioWindowerFilePath names on that file system, and tells the evaluator where its scripts
    /// are. False, with the reason logged and the windower as it was if its configuration was the fault.
    bool configure(const ROConfiguration& in_config, const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// The same without scripts and with a configuration of the windower at hand.
    bool configure(const LinearAudioWindower::Config& in_config);

    /// The same with scripts.
    bool configure(const LinearAudioWindower::Config& in_windows, const ROConfiguration& in_config,
                   const TSHandle<VirtualFileSystem>& in_hFileSystem);

    /// Tells the rate of the audio, which the scripts find in "rate"; needed where the configured rate is 0,
    /// before scripts that use it are frozen and before the first push. False as in LinearAudioWindower, and
    /// when "rate" stands for something else; the windower is then as it was.
    bool setSourceRate(std::uint32_t in_uiRate);

    /// False when the audio was not taken or any of its windows was not classified; windows after a failed
    /// one are classified all the same.
    bool pushLinearAudio(const double* in_begin, const double* in_end) override;

    /// Forgets all audio, and resets the set.
    bool reset() override;

    AudioClassifierSet* clone() const override;

    static const char* getParamNameAudioWindowerFilePath();

private:
    bool defineInputs();
    bool configureWindower(const std::string& in_strFileName, const VirtualFileSystem& in_fileSystem);

    DoubleVector m_vWindow;
};

} // namespace Vexalor
