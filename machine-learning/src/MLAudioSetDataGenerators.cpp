#include "MLAudioSetDataGenerators.h"

#include "quillcast-core/SerializationArchives.h"

namespace Vexalor::MachineLearning
{

namespace
{

template <class Set>
constexpr const char* MEANING = "";
template <>
constexpr const char* MEANING<AudioSetDataGenerator> =
    "patterns of all annotated recordings of a list, which are all looked at before the first pattern";
template <>
constexpr const char* MEANING<LowMemoryAudioSetDataGenerator> =
    "patterns of all annotated recordings of a list, one after the other";
template <>
constexpr const char* MEANING<LowMemoryAudioSetDataGeneratorForWidebandToneDetector> =
    "the same with any single tone as one class, where no two overlap";
template <>
constexpr const char* MEANING<LowMemoryAudioSetDataGeneratorForAMToneDetector> =
    "the same with amplitude-modulated tones as classes";
template <>
constexpr const char* MEANING<LowMemoryVadAudioSetDataGenerator> =
    "the same with the classes VOICE, but for weak windows, and OTHER";

} // namespace

template <class FileGenerator, class Strategy>
template <class Archive>
void FileSetConfig<FileGenerator, Strategy>::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_dataGenConfig, "", "how each recording is read");
}

template <class FileGenerator, class Strategy, class SetConfig>
template <class Archive>
void FileSetDataGenerator<FileGenerator, Strategy, SetConfig>::serialize(Archive& io_archive,
                                                                         const unsigned int)
{
    describeClass(io_archive, MEANING<FileSetDataGenerator>);
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

QC_ARCHIVES(AudioSetDataGenerator::Config);
QC_ARCHIVES(AudioSetDataGenerator);
QC_ARCHIVES(LowMemoryAudioSetDataGenerator::Config);
QC_ARCHIVES(LowMemoryAudioSetDataGenerator);
QC_ARCHIVES(LowMemoryAudioSetDataGeneratorForWidebandToneDetector::Config);
QC_ARCHIVES(LowMemoryAudioSetDataGeneratorForWidebandToneDetector);
QC_ARCHIVES(LowMemoryAudioSetDataGeneratorForAMToneDetector::Config);
QC_ARCHIVES(LowMemoryAudioSetDataGeneratorForAMToneDetector);
QC_ARCHIVES(LowMemoryVadAudioSetDataGenerator);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioSetDataGenerator::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioSetDataGenerator)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::LowMemoryAudioSetDataGenerator::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::LowMemoryAudioSetDataGenerator)
BOOST_CLASS_EXPORT_IMPLEMENT(
    Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForWidebandToneDetector::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForWidebandToneDetector)
BOOST_CLASS_EXPORT_IMPLEMENT(
    Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForAMToneDetector::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::LowMemoryAudioSetDataGeneratorForAMToneDetector)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::LowMemoryVadAudioSetDataGenerator)
