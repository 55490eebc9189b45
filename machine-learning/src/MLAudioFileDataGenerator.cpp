#include "MLAudioFileDataGenerator.h"

#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <limits>
#include <ostream>
#include <typeinfo>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.AudioFileDataGenerator");

bool hasOtherClass(const StringVector& in_vClasses)
{
    return std::find(in_vClasses.begin(), in_vClasses.end(), AudioClassStatistics::OTHER) !=
           in_vClasses.end();
}

} // namespace

AudioFileDataGenerator::AudioFileDataGenerator()
{
    QC_TRACE("AudioFileDataGenerator ctor");
}

AudioFileDataGenerator::~AudioFileDataGenerator()
{
    QC_TRACE("AudioFileDataGenerator dtor");
}

bool AudioFileDataGenerator::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("AudioFileDataGenerator::configure");
    const Config* pConfig = asOwnConfig(in_config);
    if (pConfig == nullptr)
    {
        QC_ERROR("Could not configure AudioFileDataGenerator : configuration provided is not a "
                 "AudioFileDataGenerator::Config");
        return false;
    }
    if (!m_reader.configure(pConfig->m_audioConfig))
    {
        QC_ERROR("Error configuring AudioFileReader");
        return false;
    }
    m_config = *pConfig;
    m_pFeatureComputer = CloneableObjPtr<FeatureComputer>();
    m_bFileSet = m_bFileSet && m_reader.getSamplingRate() != 0;
    return true;
}

const AudioFileDataGenerator::Config*
AudioFileDataGenerator::asOwnConfig(const DataGeneratorWithConfig::Config& in_config) const
{
    const auto* pConfig = dynamic_cast<const Config*>(&in_config);
    if (pConfig == nullptr)
        return nullptr;
    const DataGeneratorWithConfig::Config& own = getConcreteConfig_i();
    return typeid(in_config) == typeid(Config) || typeid(in_config) == typeid(own) ? pConfig : nullptr;
}

GeneratorFacts AudioFileDataGenerator::makeFacts(const Config& in_config)
{
    GeneratorFacts facts;
    facts.m_windows = in_config.m_audioConfig;
    facts.m_pFeatureComputer = in_config.m_pFeatureComputer;
    facts.m_vClasses = in_config.m_vClasses;
    const auto iOther =
        std::count(facts.m_vClasses.begin(), facts.m_vClasses.end(), AudioClassStatistics::OTHER);
    facts.m_uiTargets = facts.m_vClasses.size() - static_cast<std::size_t>(iOther) + (iOther == 0 ? 0 : 1);
    return facts;
}

bool AudioFileDataGenerator::setCurrentFilename(const char* in_filename)
{
    QC_TRACE("AudioFileDataGenerator::setCurrentFilename");
    if (!QC_CHECK(in_filename != nullptr))
        return false;
    m_vEventVecPtr.clear();
    m_bFileSet = false;
    clearPattern();
    EventVectors vEventVecPtr;
    if (!openRecording(in_filename, vEventVecPtr))
        return false;
    m_vEventVecPtr.swap(vEventVecPtr);
    m_bClassesAreExhaustive = !hasOtherClass(m_config.m_vClasses);
    logTimeEvents();
    m_uiTargetSize = static_cast<std::uint32_t>(m_vEventVecPtr.size() + (m_bClassesAreExhaustive ? 0 : 1));
    m_vTarget.reserve(m_uiTargetSize);
    m_statistics.start(m_uiTargetSize);
    m_bFileSet = true;
    return true;
}

bool AudioFileDataGenerator::openRecording(const char* in_filename, EventVectors& out_vEventVecPtr)
{
    InputFile file;
    if (!file.openRegular(in_filename))
    {
        QC_ERROR("Could not open " << in_filename << " for reading");
        return false;
    }
    AnnotatedFile annotatedFile;
    if (!annotatedFile.readFromWAV(file))
    {
        QC_ERROR("failed to load annotations from WAV file " << in_filename);
        return false;
    }
    m_strFilename = in_filename;
    if (!m_reader.setSourceFile(std::move(file)))
    {
        QC_ERROR("Could not set source file " << in_filename << " in AudioFileReader");
        return false;
    }
    m_dEffectiveMaxAudioTime =
        m_config.m_dMaxAudioTime == 0.0 ? std::numeric_limits<double>::max() : m_config.m_dMaxAudioTime;
    m_matcher.clear();
    if (!buildTimeEventVector(m_config.m_vClasses, annotatedFile.getAnnotations(), m_strFilename,
                              out_vEventVecPtr))
    {
        QC_ERROR("Could not match datagenerator's classes with input file annotations");
        return false;
    }
    return true;
}

void AudioFileDataGenerator::logTimeEvents() const
{
    QC_DEBUG("Time events for file " << m_strFilename);
    for (const CountedObjPtr<TimeEventVector>& pEvents : m_vEventVecPtr)
    {
        if (pEvents->empty())
            QC_DEBUG("No event of type " << pEvents->getEventName() << " in this file");
        else // two blanks: text kept
            QC_DEBUG("Resulting event vector for event type  " << pEvents->getEventName() << *pEvents);
    }
}

bool AudioFileDataGenerator::buildTimeEventVector(const StringVector& in_vClasses,
                                                  const std::vector<Annotation>& in_vAnnotations,
                                                  const std::string& in_strFilename,
                                                  EventVectors& out_vEventVecPtr)
{
    QC_TRACE("AudioFileDataGenerator::buildTimeEventVector");
    out_vEventVecPtr.clear();
    for (const std::string& strClass : in_vClasses)
    {
        if (strClass == AudioClassStatistics::OTHER)
            continue;
        QC_LOG_TRACE("Looking for event of type " << strClass << " in file " << in_strFilename);
        setExpression(strClass);
        const CountedObjPtr<TimeEventVector> pEvents(newTimeEventVector_i(strClass.c_str()));
        if (!addAnnotations(*pEvents, in_vAnnotations, strClass, in_strFilename))
        {
            out_vEventVecPtr.clear();
            return false;
        }
        out_vEventVecPtr.push_back(pEvents);
    }
    return true;
}

bool AudioFileDataGenerator::addAnnotations(TimeEventVector& io_events,
                                            const std::vector<Annotation>& in_vAnnotations,
                                            const std::string& in_strClass, const std::string& in_strFilename)
{
    for (const Annotation& annotation : in_vAnnotations)
    {
        if (!isAnnotationUsable_i(annotation.getLabel(), in_strClass) || io_events.addEvent(annotation))
            continue;
        QC_ERROR("Error found parsing " << in_strFilename << " file");
        return false;
    }
    return true;
}

bool AudioFileDataGenerator::getRegexForClass(const char* in_class, std::string& out_strRegex)
{
    QC_TRACE("AudioFileDataGenerator::getRegexForClass");
    out_strRegex = in_class;
    return true;
}

void AudioFileDataGenerator::setExpression(const std::string& in_strClass)
{
    std::string strExpression;
    if (m_matcher.hasExpression(in_strClass))
        return;
    const bool bGiven = getRegexForClass(in_strClass.c_str(), strExpression);
    m_matcher.setExpression(in_strClass, bGiven ? strExpression : Fallible<std::string>());
}

bool AudioFileDataGenerator::isAnnotationUsable_i(const std::string& in_strLabel,
                                                  const std::string& in_strClass) const
{
    QC_TRACE("AudioFileDataGenerator::isAnnotationUsable_i");
    return m_matcher.matches(in_strLabel, in_strClass);
}

bool AudioFileDataGenerator::takesLabel(const std::string& in_strLabel) const
{
    QC_TRACE("AudioFileDataGenerator::takesLabel");
    return std::any_of(m_config.m_vClasses.begin(), m_config.m_vClasses.end(),
                       [&](const std::string& in_strClass) {
                           return in_strClass != AudioClassStatistics::OTHER &&
                                  isAnnotationUsable_i(in_strLabel, in_strClass);
                       });
}

TimeEventVector* AudioFileDataGenerator::newTimeEventVector_i(const char* in_class)
{
    QC_TRACE("AudioFileDataGenerator::newTimeEventVector_i");
    return new TimeEventVector(in_class);
}

bool AudioFileDataGenerator::gotoStart()
{
    QC_TRACE("AudioFileDataGenerator::gotoStart");
    m_statistics.start(m_uiTargetSize);
    m_bClean = true;
    m_bNotExhaustivePoint = false;
    clearPattern();
    QC_DEBUG("Current filename: " << m_strFilename);
    if (!QC_CHECK(m_bFileSet) || !prepareFeatureComputer())
        return false;
    if (!QC_CHECK(m_pFeatureComputer->reset()))
        return false;
    for (const CountedObjPtr<TimeEventVector>& pEvents : m_vEventVecPtr)
        pEvents->reset();
    if (!QC_CHECK(m_pEntityToReset.isNull() || m_pEntityToReset->reset()))
        return false;
    return m_reader.gotoStart();
}

/// A clone of the one that was configured.
bool AudioFileDataGenerator::prepareFeatureComputer()
{
    if (!m_pFeatureComputer.isNull())
        return true;
    m_pFeatureComputer = m_config.m_pFeatureComputer;
    m_pComputerInputs = dynamic_cast<FeatureComputerWithInputs*>(m_pFeatureComputer.get());
    return QC_CHECK(!m_pFeatureComputer.isNull());
}

bool AudioFileDataGenerator::gotoAudioTime(double in_dTime)
{
    QC_TRACE("AudioFileDataGenerator::gotoAudioTime");
    if (!prepareFeatureComputer())
        return false;
    // Positioned twice on purpose, before and after the feature computer's reset.
    return m_reader.gotoAudioTime(in_dTime) && m_pFeatureComputer->reset() &&
           m_reader.gotoAudioTime(in_dTime);
}

bool AudioFileDataGenerator::generateNext()
{
    QC_TRACE("AudioFileDataGenerator::generateNext");
    clearPattern();
    if (!QC_CHECK(m_bFileSet))
        return stop(false);
    if (!m_reader.getNextWindow(m_vCurrentWindow))
    {
        if (m_reader.atEnd() && m_reader.getWindowCount() == 0)
            QC_WARN("Recording " << m_strFilename << " is shorter than a window: there is no pattern");
        return finish();
    }
    QC_DEBUG("Current audio time is " << getCurrentAudioTime() << "s");
    if (!computeInput())
        return stop(false);
    if (getCurrentAudioTime() > m_dEffectiveMaxAudioTime)
    {
        QC_DEBUG("Stop reading file because maximum audio time to generate was reached");
        return finish();
    }
    return producePattern() || stop(false);
}

bool AudioFileDataGenerator::computeInput()
{
    if (!prepareFeatureComputer())
        return false;
    if (m_pComputerInputs == nullptr || !m_pComputerInputs->setInput("audio", m_vCurrentWindow))
    {
        QC_ERROR("The feature computer takes no input named \"audio\"");
        return false;
    }
    return QC_CHECK(m_pFeatureComputer->computeFeatures(m_vGeneratedInput));
}

bool AudioFileDataGenerator::producePattern()
{
    m_bNotExhaustivePoint = false;
    if (!generateTarget())
    {
        if (m_bNotExhaustivePoint)
            QC_WARN("No class covers the window at " << getCurrentAudioTime() << "s of file " << m_strFilename
                                                     << ": the stream stops there");
        return QC_CHECK_TEXT("generateTarget()", false);
    }
    m_statistics.count(m_vTarget);
    return QC_CHECK(m_vTarget.size() == m_uiTargetSize || m_vTarget.empty());
}

bool AudioFileDataGenerator::generateTarget()
{
    QC_TRACE("AudioFileDataGenerator::generateTarget");
    const double dTime = getCurrentAudioTime();
    double dNoneActive = 1.0;
    m_vTarget.clear();
    for (const CountedObjPtr<TimeEventVector>& pEvents : m_vEventVecPtr)
    {
        const bool bInEvent = pEvents->getTarget(dTime);
        m_vTarget.push_back(bInEvent ? 1.0 : 0.0);
        if (bInEvent)
            dNoneActive = 0.0;
    }
    if (!m_bClassesAreExhaustive)
    {
        m_vTarget.push_back(dNoneActive);
        return true;
    }
    if (dNoneActive == 0.0)
        return true;
    m_bNotExhaustivePoint = true;
    m_vTarget.clear();
    return false;
}

/// The pass has reached its end; always false.
bool AudioFileDataGenerator::finish()
{
    m_statistics.log(m_strFilename, m_vEventVecPtr);
    releaseFile();
    return stop(true);
}

void AudioFileDataGenerator::releaseFile()
{
    QC_TRACE("AudioFileDataGenerator::releaseFile");
    m_reader.release();
    m_pFeatureComputer = CloneableObjPtr<FeatureComputer>();
    m_vCurrentWindow = DoubleVector();
    m_vGeneratedInput = DoubleVector();
    m_vTarget.clear();
}

/// Leaves no current pattern; always false.
bool AudioFileDataGenerator::stop(bool in_bClean)
{
    m_bClean = m_bClean && in_bClean;
    clearPattern();
    return false;
}

void AudioFileDataGenerator::clearPattern()
{
    m_vGeneratedInput.clear();
    m_vTarget.clear();
}

void AudioFileDataGenerator::addStatistics(AudioClassStatistics& io_statistics) const
{
    QC_TRACE("AudioFileDataGenerator::addStatistics");
    const double dShift = m_reader.getSamplingRate() == 0
                              ? 0.0
                              : double(m_reader.getWindowSize().m_uiShift) / m_reader.getSamplingRate();
    m_statistics.addTo(io_statistics, m_vEventVecPtr, dShift);
}

bool AudioFileDataGenerator::atEnd() const
{
    QC_TRACE("AudioFileDataGenerator::atEnd");
    return getCurrentAudioTime() > m_dEffectiveMaxAudioTime || m_reader.atEnd();
}

Fallible<double> AudioFileDataGenerator::getShareRead() const
{
    if (m_reader.getSamplingRate() == 0 || m_reader.getFrameCount() == 0)
        return {};
    if (atEnd())
        return 1.0;
    const double dLength = static_cast<double>(m_reader.getFrameCount()) / m_reader.getSamplingRate();
    return std::min(1.0, getCurrentAudioTime() / std::min(dLength, m_dEffectiveMaxAudioTime));
}

bool AudioFileDataGenerator::getInput(DoubleVector& out_vInput)
{
    QC_TRACE("AudioFileDataGenerator::getInput");
    QC_DEBUG("Input: " << m_vGeneratedInput);
    if (m_vGeneratedInput.empty())
        return false;
    out_vInput = m_vGeneratedInput;
    return true;
}

bool AudioFileDataGenerator::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("AudioFileDataGenerator::getTarget");
    if (m_bNotExhaustivePoint)
        QC_ERROR("Classes are not exhaustive in file " << m_strFilename << ". Point at time "
                                                       << getCurrentAudioTime()
                                                       << " does not belong to any class");
    if (m_vTarget.empty())
    {
        QC_DEBUG("No target value to learn at this point in time");
        return false;
    }
    QC_DEBUG("Target: " << m_vTarget);
    out_vTarget = m_vTarget;
    return true;
}

std::ostream& AudioFileDataGenerator::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("AudioFileDataGenerator::dumpStatus");
    m_statistics.countError();
    out_stream << "Pattern " << m_statistics.getNbPatterns() << ", Audio time: " << getCurrentAudioTime()
               << "s";
    if (s_logger.isEnabledFor(LogLevel::DEBUGGING))
        out_stream << "\nInput: " << m_vGeneratedInput << "\nTarget: " << m_vTarget;
    return out_stream;
}

bool AudioFileDataGenerator::setEntityToReset(Handle<Resettable, ReferenceCount> in_entity)
{
    QC_TRACE("AudioFileDataGenerator::setEntityToReset");
    m_pEntityToReset = in_entity;
    return true;
}

double AudioFileDataGenerator::getCurrentAudioTime() const
{
    return m_reader.getCurrentAudioTime();
}

void AudioFileDataGenerator::setFrequencyClassTolerance(unsigned int in_uiTolerance)
{
    QC_TRACE("AudioFileDataGenerator::setFrequencyClassTolerance");
    m_matcher.setFrequencyTolerance(in_uiTolerance);
    QC_DEBUG("Frequency tolerance set to : " << m_matcher.getFrequencyTolerance());
}

bool AudioFileDataGenerator::isTransitionWindowForTarget(unsigned int in_uiTargetIndex)
{
    QC_TRACE("AudioFileDataGenerator::isTransitionWindowForTarget");
    const double dTo = getCurrentAudioTime();
    const double dFrom = dTo - static_cast<double>(m_config.m_audioConfig.m_uiWindowLength) / 1000.0;
    if (!QC_CHECK(in_uiTargetIndex < m_vEventVecPtr.size()))
        return false;
    return m_vEventVecPtr[in_uiTargetIndex]->isTransitionWindow(dFrom, dTo);
}

template <class Archive>
void AudioFileDataGenerator::Config::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_audioConfig, "", "how the recording is cut into windows");
    QC_FIELD(m_pFeatureComputer, "", "computes the input of a pattern from a window");
    QC_FIELD(m_dMaxAudioTime, "s", "the first window that ends later ends the stream; 0: no limit");
    QC_FIELD(m_vClasses, "",
             "classes in target order: tones such as SF:1000, or regular expressions for whole labels in any "
             "letter case; OTHER is what no other class covers, always last");
}

template <class Archive>
void AudioFileDataGenerator::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "patterns of an annotated recording: the features of a window are the input, "
                              "the classes in progress at its end the target");
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

QC_ARCHIVES(AudioFileDataGenerator::Config);
QC_ARCHIVES(AudioFileDataGenerator);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioFileDataGenerator::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioFileDataGenerator)
