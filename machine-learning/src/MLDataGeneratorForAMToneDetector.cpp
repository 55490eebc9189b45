#include "MLDataGeneratorForAMToneDetector.h"

#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/Logger.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <iterator>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.AudioFileDataGenerator.AM");

/// Hz; wraps round as unsigned numbers do.
bool isWithin(std::uint32_t in_uiFrequency, std::uint32_t in_uiClass, std::uint32_t in_uiTolerance)
{
    return in_uiFrequency >= in_uiClass - in_uiTolerance && in_uiFrequency <= in_uiClass + in_uiTolerance;
}

bool isWithinNone(std::uint32_t in_uiClass, std::uint32_t in_uiTolerance)
{
    return in_uiClass - in_uiTolerance > in_uiClass + in_uiTolerance;
}

bool isEmptyClass(const std::string& in_strClass, const DataGeneratorForAMToneDetector::Config& in_config)
{
    AmplitudeModulatedAnnotationImpl tone;
    return in_strClass != AudioClassStatistics::OTHER &&
           (!tone.setLabel(in_strClass) ||
            isWithinNone(tone.getCarrierFreq(), in_config.m_uiFreqCarrierTol) ||
            isWithinNone(tone.getModulatedFreq(), in_config.m_uiFreqModulatedTol));
}

} // namespace

bool DataGeneratorForAMToneDetector::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("DataGeneratorForAMToneDetector::configure");
    const auto* pConfig = dynamic_cast<const Config*>(&in_config);
    if (pConfig == nullptr || asOwnConfig(in_config) == nullptr)
    {
        QC_ERROR("Could not configure DataGeneratorForAMToneDetector : configuration provided is not a "
                 "DataGeneratorForAMToneDetector::Config");
        return false;
    }
    if (!AudioFileDataGenerator::configure(*pConfig))
        return false;
    m_config = *pConfig;
    return true;
}

GeneratorFacts DataGeneratorForAMToneDetector::makeFacts(const Config& in_config)
{
    GeneratorFacts facts = AudioFileDataGenerator::makeFacts(in_config);
    std::copy_if(facts.m_vClasses.begin(), facts.m_vClasses.end(), std::back_inserter(facts.m_vEmptyClasses),
                 [&](const std::string& in_strClass) { return isEmptyClass(in_strClass, in_config); });
    return facts;
}

bool DataGeneratorForAMToneDetector::isAnnotationUsable_i(const std::string& in_strLabel,
                                                          const std::string& in_strClass) const
{
    QC_TRACE("DataGeneratorForAMToneDetector::isAnnotationUsable_i");
    AmplitudeModulatedAnnotationImpl classTone;
    AmplitudeModulatedAnnotationImpl labelTone;
    if (!classTone.setLabel(in_strClass))
    {
        // two blanks: text kept
        QC_DEBUG("Rejecting annotation '" << in_strLabel
                                          << "'  since it does not fit class : " << in_strClass);
        return false;
    }
    if (!labelTone.setLabel(in_strLabel))
    {
        QC_DEBUG("Rejecting annotation '" << in_strLabel << "' because it is not an amplitude modulated one");
        return false;
    }
    return isWithin(labelTone.getCarrierFreq(), classTone.getCarrierFreq(), m_config.m_uiFreqCarrierTol) &&
           isWithin(labelTone.getModulatedFreq(), classTone.getModulatedFreq(),
                    m_config.m_uiFreqModulatedTol);
}

template <class Archive>
void DataGeneratorForAMToneDetector::Config::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<AudioFileDataGenerator::Config>(io_archive, *this);
    QC_FIELD(m_uiFreqCarrierTol, "Hz",
             "by which the carrier of an annotation may differ from that of its class");
    QC_FIELD(m_uiFreqModulatedTol, "Hz", "the same for the modulating frequency");
}

template <class Archive>
void DataGeneratorForAMToneDetector::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "the same with amplitude-modulated tones as classes");
    serializeBase<AudioFileDataGenerator>(io_archive, *this);
}

QC_ARCHIVES(DataGeneratorForAMToneDetector::Config);
QC_ARCHIVES(DataGeneratorForAMToneDetector);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::DataGeneratorForAMToneDetector::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::DataGeneratorForAMToneDetector)
