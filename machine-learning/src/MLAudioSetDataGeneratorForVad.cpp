#include "MLAudioSetDataGeneratorForVad.h"

#include "MLAudioVadTargets.h"
#include "MLDataGeneratorForVad.h"
#include "quillcast-core/AsciiCase.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <ostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.AudioSetDataGeneratorForVad");

constexpr std::string_view VOICE = "VOICE";
constexpr std::string_view SILENCE = "SILENCE";

bool isVoiceAnnotated(const DataGeneratorForVad& in_generator)
{
    return in_generator.getAnnotatedTarget()[0] == 1.0;
}

double toConstantInput(bool in_bVoice)
{
    return in_bVoice ? 1.0 : 0.0;
}

/// The generator of one recording. Its windows of incertitude are decided by an input that is constant for a
/// class.
class ConstantInputGenerator : public DataGeneratorForVad
{
protected:
    bool getIncertitudeInput_i(DoubleVector& out_vInput) override
    {
        if (!getInput(out_vInput))
            return false;
        const double dAverage = out_vInput.getAverage();
        if (dAverage != 1.0 && dAverage != 0.0)
        {
            out_vInput.resize(1);
            out_vInput[0] = toConstantInput(isVoiceAnnotated(*this));
        }
        return true;
    }
};

} // namespace

bool AudioSetDataGeneratorForVad::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("AudioSetDataGeneratorForVad::configure");
    if (!isOwnConfig(in_config, typeid(Config)))
        return false;
    m_config = static_cast<const Config&>(in_config);
    return true;
}

CountedObjPtr<FileDataGenerator> AudioSetDataGeneratorForVad::newFileGenerator_i()
{
    QC_TRACE("AudioSetDataGeneratorForVad::newFileGenerator_i");
    const CountedObjPtr<DataGeneratorForVad> pGenerator(new ConstantInputGenerator);
    if (!pGenerator->configure(m_config.m_audioGenConfig))
        return {};
    pGenerator->setDebouncingWindows(m_config.m_uiDebouncingWindows);
    pGenerator->setIncertitudeWindows(m_config.m_uiIncertitudeWindows);
    return pGenerator;
}

GeneratorFacts AudioSetDataGeneratorForVad::getFacts() const
{
    GeneratorFacts facts = DataGeneratorForVad::makeFacts(m_config.m_audioGenConfig);
    facts.m_uiDebouncingWindows = m_config.m_uiDebouncingWindows;
    facts.m_uiIncertitudeWindows = m_config.m_uiIncertitudeWindows;
    return facts;
}

StringVector AudioSetDataGeneratorForVad::findClasses(const StringVector& in_vFilenames) const
{
    QC_TRACE("AudioSetDataGeneratorForVad::findClasses");
    StringVector vClasses;
    std::copy_if(m_config.m_audioGenConfig.m_vClasses.begin(), m_config.m_audioGenConfig.m_vClasses.end(),
                 std::back_inserter(vClasses),
                 [](const std::string& in_strClass)
                 { return in_strClass == VOICE || in_strClass == SILENCE; });
    return findAnnotatedClasses(in_vFilenames, vClasses, equalIgnoringCase);
}

bool AudioSetDataGeneratorForVad::setRecordings(const RecordingList& in_list)
{
    QC_TRACE("AudioSetDataGeneratorForVad::setRecordings");
    m_vValidClasses = in_list.m_classes ? *in_list.m_classes : findClasses(in_list.m_vFilenames);
    if (m_vValidClasses.empty())
        QC_ERROR("Could not find any valid classes to be used with annotated file. Check the m_vClasses "
                 "value used to configure the data generator");
    return FileSetDataGeneratorNoT::setRecordings(in_list);
}

bool AudioSetDataGeneratorForVad::gotoStart()
{
    QC_TRACE("AudioSetDataGeneratorForVad::gotoStart");
    return FileSetDataGeneratorNoT::gotoStart();
}

bool AudioSetDataGeneratorForVad::generateNext()
{
    QC_TRACE("AudioSetDataGeneratorForVad::generateNext");
    return FileSetDataGeneratorNoT::generateNext();
}

bool AudioSetDataGeneratorForVad::atEnd() const
{
    QC_TRACE("AudioSetDataGeneratorForVad::atEnd");
    return FileSetDataGeneratorNoT::atEnd();
}

bool AudioSetDataGeneratorForVad::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("AudioSetDataGeneratorForVad::getTarget");
    if (!FileSetDataGeneratorNoT::getTarget(m_vTarget))
        return false;
    // The checks only report; text kept.
    QC_CHECK(m_vTarget.size() == 2);
    QC_CHECK_TEXT(
        "(m_vTarget[0] == 0.0 && m_vTarget[1] == 1.0 ) || (m_vTarget[0] == 1.0 && m_vTarget[1] == 0.0 )",
        VadTargets::isOneHot(m_vTarget));
    out_vTarget = m_vTarget;
    QC_CHECK_TEXT("(out_vTarget[0] == 0.0 && out_vTarget[1] == 1.0 ) || (out_vTarget[0] == 1.0 && "
                  "out_vTarget[1] == 0.0 )",
                  VadTargets::isOneHot(out_vTarget));
    return true;
}

std::string AudioSetDataGeneratorForVad::getCurrentClass() const
{
    if (m_vValidClasses.empty())
        return {};
    const auto* pGenerator = dynamic_cast<const DataGeneratorForVad*>(getCurrentDataGenerator().get());
    if (pGenerator == nullptr || pGenerator->getAnnotatedTarget().empty())
        return m_vValidClasses.front();
    return std::string(isVoiceAnnotated(*pGenerator) ? VOICE : SILENCE);
}

std::ostream& AudioSetDataGeneratorForVad::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("AudioSetDataGeneratorForVad::dumpStatus");
    const std::string strClass = getCurrentClass();
    out_stream << "Current class " << strClass << ", constant input = " << toConstantInput(strClass == VOICE)
               << ' ';
    return FileSetDataGeneratorNoT::dumpStatus(out_stream);
}

template <class Archive>
void AudioSetDataGeneratorForVad::Config::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_audioGenConfig, "", "how each recording is read");
    QC_FIELD(m_uiDebouncingWindows, "",
             "where voice ends, one window fewer than these is voice still; below 2: none");
    QC_FIELD(m_uiIncertitudeWindows, "", "windows after those that are as annotated");
}

template <class Archive>
void AudioSetDataGeneratorForVad::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "patterns of a list of recordings with the classes VOICE and SILENCE, "
                              "smoothed: pauses are bridged and hang over");
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

QC_ARCHIVES(AudioSetDataGeneratorForVad::Config);
QC_ARCHIVES(AudioSetDataGeneratorForVad);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioSetDataGeneratorForVad::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::AudioSetDataGeneratorForVad)
