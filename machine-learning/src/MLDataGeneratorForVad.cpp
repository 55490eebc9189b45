#include "MLDataGeneratorForVad.h"

#include "MLAudioVadTargets.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.DataGeneratorForVad");

} // namespace

void VadTargetSmoother::reset()
{
    m_uiDebouncing = 0;
    m_uiIncertitude = 0;
    m_vPrevious.clear();
}

VadTargetSmoother::Source VadTargetSmoother::advance(const DoubleVector& in_vTarget)
{
    if (m_uiIncertitude == 0 && m_vPrevious.size() == 2)
    {
        ++m_uiDebouncing;
        if (m_uiDebouncing < m_uiDebouncingWindows && VadTargets::isVoice(m_vPrevious) &&
            VadTargets::isOther(in_vTarget))
            return Source::PREVIOUS;
    }
    if (m_uiDebouncing == m_uiDebouncingWindows)
    {
        ++m_uiIncertitude;
        if (m_uiIncertitude <= m_uiIncertitudeWindows)
            return Source::INPUT;
    }
    m_uiDebouncing = 0;
    m_uiIncertitude = 0;
    m_vPrevious = in_vTarget;
    return Source::ANNOTATION;
}

bool DataGeneratorForVad::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("DataGeneratorForVad::configure");
    const Config* pConfig = asOwnConfig(in_config);
    if (pConfig == nullptr)
        return false;
    const Config& myConfig = *pConfig;
    if (!QC_CHECK(myConfig.m_vClasses.size() == 2) || !QC_CHECK(myConfig.m_vClasses[0] == "VOICE") ||
        !QC_CHECK(myConfig.m_vClasses[1] == "SILENCE"))
        return false;
    return AudioFileDataGenerator::configure(myConfig);
}

void DataGeneratorForVad::setDebouncingWindows(std::size_t in_uiWindows)
{
    QC_TRACE("DataGeneratorForVad::setDebouncingWindows");
    m_smoother.setDebouncingWindows(in_uiWindows);
}

void DataGeneratorForVad::setIncertitudeWindows(std::size_t in_uiWindows)
{
    QC_TRACE("DataGeneratorForVad::setIncertitudeWindows");
    m_smoother.setIncertitudeWindows(in_uiWindows);
}

bool DataGeneratorForVad::gotoStart()
{
    QC_TRACE("DataGeneratorForVad::gotoStart");
    m_smoother.reset();
    m_vAnnotatedTarget.clear();
    return AudioFileDataGenerator::gotoStart();
}

bool DataGeneratorForVad::generateTarget()
{
    QC_TRACE("DataGeneratorForVad::generateTarget");
    if (!AudioFileDataGenerator::generateTarget())
        return false;
    m_vAnnotatedTarget = m_vTarget;
    smooth(m_vTarget);
    return true;
}

void DataGeneratorForVad::smooth(DoubleVector& out_vTarget)
{
    if (!QC_CHECK(out_vTarget.size() == 2))
        return;
    // Reported only; text kept.
    QC_CHECK_TEXT("(out_vTarget[0] == 0.0 && out_vTarget[1] == 1.0 ) || (out_vTarget[0] == 1.0 && "
                  "out_vTarget[1] == 0.0 )",
                  VadTargets::isOneHot(out_vTarget));
    switch (m_smoother.advance(out_vTarget))
    {
    case VadTargetSmoother::Source::PREVIOUS:
        out_vTarget = m_smoother.getPreviousTarget();
        break;
    case VadTargetSmoother::Source::INPUT:
        setTargetFromInput(out_vTarget);
        break;
    case VadTargetSmoother::Source::ANNOTATION:
        break;
    }
}

void DataGeneratorForVad::setTargetFromInput(DoubleVector& out_vTarget)
{
    const bool bInput = getIncertitudeInput_i(m_vIncertitudeInput);
    const double dAverage = m_vIncertitudeInput.getAverage();
    if (bInput && dAverage == 1.0)
        VadTargets::setVoice(out_vTarget);
    else if (bInput && dAverage == 0.0)
        VadTargets::setOther(out_vTarget);
    else
        QC_CHECK_TEXT("false", false);
}

bool DataGeneratorForVad::getIncertitudeInput_i(DoubleVector& out_vInput)
{
    QC_TRACE("DataGeneratorForVad::getIncertitudeInput_i");
    return getInput(out_vInput);
}

template <class Archive>
void DataGeneratorForVad::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive,
                  "the same with the classes VOICE and SILENCE, whose targets a program may smooth");
    serializeBase<AudioFileDataGenerator>(io_archive, *this);
}

QC_ARCHIVES(DataGeneratorForVad);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::DataGeneratorForVad)
