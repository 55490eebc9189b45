#include "ml-config/FieldDescriptions.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr ClassDescription CLASSES[] = {
    {"MLVectorFileDataGenerator", "patterns of a text pattern file, as they stand there"},
    {"MLVectorFileDataGenWithFeatureComputer",
     "patterns of a text pattern file, the features of each input in its place"},
    {"MLBinaryFileDataGenerator", "patterns of a binary pattern file, as they stand there"},
    {"MLAudioFileDataGenerator",
     "patterns of an annotated recording: the features of a window are the input, "
     "the classes in progress at its end the target"},
    {"MLDataGeneratorForWidebandToneDetector",
     "the same with any single tone as one class, where no two overlap"},
    {"MLDataGeneratorForAMToneDetector", "the same with amplitude-modulated tones as classes"},
    {"MLVadAudioFileDataGenerator", "the same with the classes VOICE, but for weak windows, and OTHER"},
    {"MLDataGeneratorForVad",
     "the same with the classes VOICE and SILENCE, whose targets a program may smooth"},
    {"MLAudioSetDataGenerator",
     "patterns of all annotated recordings of a list, which are all looked at before the first pattern"},
    {"MLLowMemoryAudioSetDataGenerator",
     "patterns of all annotated recordings of a list, one after the other"},
    {"MLLowMemoryAudioSetDataGeneratorForWidebandToneDetector",
     "the same with any single tone as one class, where no two overlap"},
    {"MLLowMemoryAudioSetDataGeneratorForAMToneDetector",
     "the same with amplitude-modulated tones as classes"},
    {"MLLowMemoryVadAudioSetDataGenerator",
     "the same with the classes VOICE, but for weak windows, and OTHER"},
    {"MLAudioSetDataGeneratorForVad",
     "patterns of a list of recordings with the classes VOICE and SILENCE, smoothed: pauses are bridged and "
     "hang over"},
    {"MLAudioSetDataGenForToneDetector",
     "patterns of a list of recordings, a pass over all for each tone that is to be told from the rest"},
    {"MLScalingDataGenerator", "patterns of another generator, each component as value x slope + intercept"},
    {"IdentityFeatureComputer", "the samples of the window themselves"},
    {"EnergyFeatureComputer", "sum of the squared samples of the window, one feature"},
    {"ZeroCrossingRateFeatureComputer", "share of the neighbouring samples that differ in sign, one feature"},
    {"LogMelFeatureComputer", "logarithms of the energies in bands of equal width on the mel scale"},
    {"MfccFeatureComputer", "mel-frequency cepstral coefficients: cosine transform of such logarithms"},
    {"ToneEnergyFeatureComputer", "energies of tones, one feature a frequency"},
    {"FeatureComputerSequence", "several feature computers, their features one behind the other"},
};

constexpr const char* AUDIO = "MLAudioFileDataGeneratorConfig";
constexpr const char* AM = "MLDataGeneratorForAMToneDetectorConfig";
constexpr const char* AUDIO_SET = "MLAudioSetDataGeneratorConfig";
constexpr const char* LOW_MEMORY_SET = "MLLowMemoryAudioSetDataGeneratorConfig";
constexpr const char* WIDEBAND_SET = "MLLowMemoryAudioSetDataGeneratorForWidebandToneDetectorConfig";
constexpr const char* AM_SET = "MLLowMemoryAudioSetDataGeneratorForAMToneDetectorConfig";
constexpr const char* VAD_SET = "MLAudioSetDataGeneratorForVadConfig";
constexpr const char* TONE_SET = "MLAudioSetDataGenForToneDetectorConfig";
constexpr const char* VECTORS = "MLVectorFileDataGenWithFeatureComputerConfig";
constexpr const char* WINDOWS = "LinearAudioWindowerConfig";
constexpr const char* LOG_MEL = "LogMelFeatureComputer";
constexpr const char* MFCC = "MfccFeatureComputer";
constexpr const char* MFCC_VALUES = "MfccFeatureComputer::Config";
constexpr const char* MEL = "MelSpectrum::Config";
constexpr const char* TONES = "ToneEnergyFeatureComputer";
constexpr const char* TONE_VALUES = "ToneEnergyFeatureComputer::Config";

constexpr const char* SCALING = "MLScalingDataGeneratorConfig";
constexpr const char* SCALER_VALUES = "MLVectorScalerConfig";
constexpr const char* TRAINER_VALUES = "MLVectorScalingTrainerConfig";
constexpr const char* TREATMENT = "VectorScalingTrainer::Config::TrainingParam";

constexpr const char* FEATURE_RATE = "rate of the recordings for which frequencies are counted";

constexpr const char* EACH_RECORDING = "how each recording is read";

constexpr FieldDescription FIELDS[] = {
    {ARCHIVE_ROOT, "MLDataGeneratorLib", "plug-in libraries to load before the generator is created"},
    {ARCHIVE_ROOT, "MLDataGenerator", "the generator"},
    {"MLDataGeneratorWithConfig", "GeneratorConfig", "its parameters"},
    {AUDIO_SET, "m_dataGenConfig", EACH_RECORDING, "", AUDIO},
    {LOW_MEMORY_SET, "m_dataGenConfig", EACH_RECORDING, "", AUDIO},
    {WIDEBAND_SET, "m_dataGenConfig", EACH_RECORDING, "", AUDIO},
    {AM_SET, "m_dataGenConfig", EACH_RECORDING, "", AM},
    {VAD_SET, "m_audioGenConfig", EACH_RECORDING, "", AUDIO},
    {TONE_SET, "m_audioGenConfig", EACH_RECORDING, "", AUDIO},
    {AUDIO, "m_audioConfig", "how the recording is cut into windows", "", WINDOWS},
    {WINDOWS, "m_uiSamplingRate", "rate of the recordings, others are refused; 0: any", "Hz"},
    {WINDOWS, "m_uiWindowLength", "length of a window", "ms"},
    {WINDOWS, "m_uiWindowShift", "time from the start of a window to that of the next", "ms"},
    {WINDOWS, "m_iChannel", "channel, counted from 0; -1: the mean of all"},
    {AUDIO, "m_pFeatureComputer", "computes the input of a pattern from a window"},
    {VECTORS, "m_pFeatureComputer", "computes the input of a pattern from that of the file"},
    {"FeatureComputerSequence", "m_vComputers", "the computers, in the order of their features"},
    {LOG_MEL, "m_config", "its parameters", "", MEL},
    {MFCC, "m_config", "its parameters", "", MFCC_VALUES},
    {MFCC_VALUES, "m_mel", "the bands", "", MEL},
    {MEL, "m_dSamplingRate", FEATURE_RATE, "Hz"},
    {MEL, "m_uiNbBands", "number of bands"},
    {MEL, "m_dLowFrequency", "lower edge of the first band", "Hz"},
    {MEL, "m_dHighFrequency", "upper edge of the last band; 0: half the rate", "Hz"},
    {MEL, "m_dPreEmphasis", "share of the sample before that is taken off each sample, 0 to 1; 0: none"},
    {MEL, "m_strTaper", "weighting of the samples of a window: hamming, hann or none"},
    {MEL, "m_uiFftSize", "size of the transform, a power of two; 0: the least that holds a window",
     "samples"},
    {MEL, "m_dFloor", "least energy of a band, so that silence has a logarithm"},
    {MFCC_VALUES, "m_uiNbCepstra", "number of coefficients, the one of order 0 included"},
    {TONES, "m_config", "its parameters", "", TONE_VALUES},
    {TONE_VALUES, "m_dSamplingRate", FEATURE_RATE, "Hz"},
    {TONE_VALUES, "m_vFrequencies", "frequencies of the tones", "Hz"},
    {AUDIO, "m_dMaxAudioTime", "the first window that ends later ends the stream; 0: no limit", "s"},
    {AUDIO, "m_vClasses",
     "classes in target order: tones such as SF:1000, or regular expressions for whole "
     "labels in any letter case; OTHER is what no other class covers, always last"},
    {AM, "m_uiFreqCarrierTol", "by which the carrier of an annotation may differ from that of its class",
     "Hz"},
    {AM, "m_uiFreqModulatedTol", "the same for the modulating frequency", "Hz"},
    {VAD_SET, "m_uiDebouncingWindows",
     "where voice ends, one window fewer than these is voice still; below 2: none"},
    {VAD_SET, "m_uiIncertitudeWindows", "windows behind those that are as annotated"},
    {TONE_SET, "m_iFrequencyTolerance", "by which the frequency of an annotation may differ from its tone",
     "Hz"},
    {TONE_SET, "m_bConstantInput",
     "1: the frequency of the tone, divided by half the rate, is the last part of the input"},
    {SCALING, "m_scalerConfig", "the scaling, empty when it is learnt", "", SCALER_VALUES},
    {SCALER_VALUES, "m_vInputSlope", "slope of each input component"},
    {SCALER_VALUES, "m_vInputYIntercept", "intercept of each input component"},
    {SCALER_VALUES, "m_vTargetSlope", "slope of each target component"},
    {SCALER_VALUES, "m_vTargetYIntercept", "intercept of each target component"},
    {SCALING, "m_scalingTrainerConfig", "how it is learnt", "", TRAINER_VALUES},
    {TRAINER_VALUES, "m_vTrainingParam",
     "one treatment for each input component, then for each target component; neither flag: left as it is",
     "", TREATMENT},
    {TREATMENT, "m_bMinMax", "1: least and greatest value go to the ends of the interval"},
    {TREATMENT, "m_dScaledMinValue", "lower end of the interval"},
    {TREATMENT, "m_dScaledMaxValue", "upper end of the interval"},
    {TREATMENT, "m_bStandardize", "1: mean goes to 0, standard deviation to 1; not with m_bMinMax"},
    {SCALING, "m_bLearnScalingParameters", "1: learn the scaling before the first pass"},
};

} // namespace

std::span<const ClassDescription> getClassDescriptions()
{
    return CLASSES;
}

std::span<const FieldDescription> getFieldDescriptions()
{
    return FIELDS;
}

const char* describeClass(std::string_view in_key)
{
    const auto* itClass =
        std::find_if(std::begin(CLASSES), std::end(CLASSES),
                     [&](const ClassDescription& in_class) { return in_class.m_key == in_key; });
    return itClass == std::end(CLASSES) ? "" : itClass->m_meaning;
}

const FieldDescription* describeField(std::string_view in_class, std::string_view in_name)
{
    const auto* itField = std::find_if(std::begin(FIELDS), std::end(FIELDS),
                                       [&](const FieldDescription& in_field) {
                                           return in_field.m_class == in_class && in_field.m_name == in_name;
                                       });
    return itField == std::end(FIELDS) ? nullptr : itField;
}

} // namespace Vexalor::MachineLearning
