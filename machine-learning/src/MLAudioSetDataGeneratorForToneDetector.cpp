#include "MLAudioSetDataGeneratorForToneDetector.h"

#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <cstdlib>
#include <ostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.AudioSetDataGeneratorForToneDetector");

/// Hz; 0 for a label that names no tone.
std::uint32_t toFrequency(const std::string& in_strLabel)
{
    SingleFrequencyAnnotationImpl tone;
    return tone.setLabel(in_strLabel) ? tone.getFrequency() : 0;
}

} // namespace

bool AudioSetDataGeneratorForToneDetector::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::configure");
    if (!isOwnConfig(in_config, typeid(Config)))
        return false;
    const auto& config = static_cast<const Config&>(in_config);
    if (config.m_iFrequencyTolerance < 0)
    {
        QC_ERROR("The frequency tolerance " << config.m_iFrequencyTolerance << " Hz is negative");
        return false;
    }
    m_config = config;
    return true;
}

StringVector AudioSetDataGeneratorForToneDetector::findClasses(const StringVector& in_vFilenames) const
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::findClasses");
    const auto isOfTone = [this](const std::string& in_strLabel, const std::string& in_strClass)
    {
        const Fallible<std::int64_t> difference =
            AudioClassMatcher::getToneDifference(in_strLabel, in_strClass);
        return difference.isValid() && std::abs(difference.getValue()) <= m_config.m_iFrequencyTolerance;
    };
    return findAnnotatedClasses(in_vFilenames, m_config.m_audioGenConfig.m_vClasses, isOfTone);
}

GeneratorFacts AudioSetDataGeneratorForToneDetector::getFacts() const
{
    GeneratorFacts facts = AudioFileDataGenerator::makeFacts(m_config.m_audioGenConfig);
    facts.m_vClasses.emplace_back(AudioClassStatistics::OTHER);
    facts.m_uiTargets = 2; // a tone and the rest
    facts.m_uiFurtherInputs = m_config.m_bConstantInput ? 1 : 0;
    return facts;
}

bool AudioSetDataGeneratorForToneDetector::setRecordings(const RecordingList& in_list)
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::setRecordings");
    m_vTones = in_list.m_classes ? *in_list.m_classes : findClasses(in_list.m_vFilenames);
    m_uiFirstTone = in_list.m_pass.value_or(0);
    m_uiEndTone = in_list.m_pass ? std::min(m_uiFirstTone + 1, m_vTones.size()) : m_vTones.size();
    m_uiTone = m_uiFirstTone;
    if (m_uiFirstTone == 0)
        warnOfMissingTones();
    m_fileConfig = m_config.m_audioGenConfig;
    m_fileConfig.m_vClasses = m_vTones;
    m_fileConfig.m_vClasses.emplace_back(AudioClassStatistics::OTHER);
    return FileSetDataGeneratorNoT::setRecordings(in_list);
}

void AudioSetDataGeneratorForToneDetector::warnOfMissingTones() const
{
    for (const std::string& strClass : m_config.m_audioGenConfig.m_vClasses)
        if (strClass != AudioClassStatistics::OTHER &&
            std::find(m_vTones.begin(), m_vTones.end(), strClass) == m_vTones.end())
            QC_WARN("Class " << strClass << " is left out: "
                             << (toFrequency(strClass) == 0 ? "it names no tone of a single frequency"
                                                            : "no recording has an annotation of it"));
    if (m_vTones.empty())
        QC_ERROR("Could not find any valid classes to be used with annotated file. Check the m_vClasses "
                 "value used to configure the data generator");
}

CountedObjPtr<FileDataGenerator> AudioSetDataGeneratorForToneDetector::newFileGenerator_i()
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::newFileGenerator_i");
    const CountedObjPtr<AudioFileDataGenerator> pGenerator(new AudioFileDataGenerator);
    if (!pGenerator->configure(m_fileConfig))
        return {};
    pGenerator->setFrequencyClassTolerance(static_cast<unsigned int>(m_config.m_iFrequencyTolerance));
    return pGenerator;
}

bool AudioSetDataGeneratorForToneDetector::gotoStart()
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::gotoStart");
    m_uiTone = m_uiFirstTone;
    m_bEarlierTonesClean = true;
    m_pConstantInputOf = {};
    if (m_uiTone >= m_uiEndTone)
    {
        QC_ERROR("There is no tone to look for");
        return false;
    }
    return FileSetDataGeneratorNoT::gotoStart();
}

bool AudioSetDataGeneratorForToneDetector::generateNext()
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::generateNext");
    bool bPattern = FileSetDataGeneratorNoT::generateNext();
    while (!bPattern && m_uiTone + 1 < m_uiEndTone && FileSetDataGeneratorNoT::atEnd())
    {
        m_bEarlierTonesClean = endedCleanly();
        ++m_uiTone;
        m_pConstantInputOf = {};
        if (!FileSetDataGeneratorNoT::gotoStart())
            return false;
        bPattern = FileSetDataGeneratorNoT::generateNext();
    }
    if (bPattern)
        updateConstantInput();
    return bPattern;
}

bool AudioSetDataGeneratorForToneDetector::atEnd() const
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::atEnd");
    return m_uiTone + 1 >= m_uiEndTone && FileSetDataGeneratorNoT::atEnd();
}

/// The recordings of a set may differ in their rates.
void AudioSetDataGeneratorForToneDetector::updateConstantInput()
{
    if (m_pConstantInputOf == getCurrentDataGenerator())
        return;
    m_pConstantInputOf = getCurrentDataGenerator();
    m_dConstantInput = getConstantInput();
}

double AudioSetDataGeneratorForToneDetector::getConstantInput() const
{
    const auto* pGenerator = dynamic_cast<const AudioFileDataGenerator*>(getCurrentDataGenerator().get());
    if (pGenerator == nullptr || pGenerator->getSamplingRate() == 0 || m_uiTone >= m_vTones.size())
        return 0.0;
    return toFrequency(m_vTones[m_uiTone]) / (pGenerator->getSamplingRate() / 2.0);
}

bool AudioSetDataGeneratorForToneDetector::getInput(DoubleVector& out_vInput)
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::getInput");
    if (!FileSetDataGeneratorNoT::getInput(out_vInput))
        return false;
    if (m_config.m_bConstantInput)
        out_vInput.push_back(m_dConstantInput);
    return true;
}

bool AudioSetDataGeneratorForToneDetector::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::getTarget");
    if (!FileSetDataGeneratorNoT::getTarget(m_vTarget) || !QC_CHECK(m_uiTone < m_vTarget.size()))
        return false;
    out_vTarget.resize(2);
    out_vTarget[0] = m_vTarget[m_uiTone];
    out_vTarget[1] = 1.0 - m_vTarget[m_uiTone];
    return true;
}

/// Each tone counts the same.
Fallible<double> AudioSetDataGeneratorForToneDetector::getShareRead() const
{
    const Fallible<double> pass = FileSetDataGeneratorNoT::getShareRead();
    if (!pass.isValid() || m_uiTone >= m_uiEndTone)
        return {};
    return (static_cast<double>(m_uiTone - m_uiFirstTone) + pass.getValue()) /
           static_cast<double>(m_uiEndTone - m_uiFirstTone);
}

/// The tone of the pass and all that is not this tone.
void AudioSetDataGeneratorForToneDetector::summarise_i(AudioClassStatistics& io_statistics) const
{
    if (m_uiTone >= io_statistics.m_vRows.size())
        return;
    const AudioClassStatistics::Row tone = io_statistics.m_vRows[m_uiTone];
    AudioClassStatistics::Row rest = io_statistics.m_all;
    rest.m_strClass = AudioClassStatistics::OTHER;
    rest.m_uiPatterns -= tone.m_uiPatterns;
    rest.m_dSeconds -= tone.m_dSeconds;
    io_statistics.m_vRows = {tone, rest};
}

std::ostream& AudioSetDataGeneratorForToneDetector::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("AudioSetDataGeneratorForToneDetector::dumpStatus");
    if (!getCurrentDataGenerator().isNull())
        out_stream << "Current class " << m_vTones[m_uiTone] << ", constant input = " << getConstantInput()
                   << ' ';
    return FileSetDataGeneratorNoT::dumpStatus(out_stream);
}

template <class Archive>
void AudioSetDataGeneratorForToneDetector::Config::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_audioGenConfig, "", "how each recording is read");
    QC_FIELD(m_iFrequencyTolerance, "Hz", "by which the frequency of an annotation may differ from its tone");
    QC_FIELD(m_bConstantInput, "",
             "1: the frequency of the tone, divided by half the rate, is the last part of the input");
}

template <class Archive>
void AudioSetDataGeneratorForToneDetector::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(
        io_archive,
        "patterns of a list of recordings, a pass over all for each tone that is to be told from the rest");
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

QC_ARCHIVES(AudioSetDataGeneratorForToneDetector::Config);
QC_ARCHIVES(AudioSetDataGeneratorForToneDetector);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioSetDataGeneratorForToneDetector::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioSetDataGeneratorForToneDetector)
