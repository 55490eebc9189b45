#include "MLVadAudioFileDataGenerator.h"

#include "MLAudioVadTargets.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.VadAudioFileDataGenerator");

/// Sum of the squared samples of a window.
constexpr double LEAST_VOICE_ENERGY = 0.01;

} // namespace

bool VadAudioFileDataGenerator::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("VadAudioFileDataGenerator::configure");
    const Config* pConfig = asOwnConfig(in_config);
    if (pConfig == nullptr)
    {
        QC_ERROR("Could not configure VadAudioFileDataGenerator : configuration provided is not a "
                 "VadAudioFileDataGenerator::Config");
        return false;
    }
    const Config& myConfig = *pConfig;
    if (!QC_CHECK(myConfig.m_vClasses.size() == 2) || !QC_CHECK(myConfig.m_vClasses[0] == "VOICE") ||
        !QC_CHECK(myConfig.m_vClasses[1] == "OTHER"))
        return false;
    m_pEnergyFeature = CountedObjPtr<SumSquaredAmplitudeFeature>(new SumSquaredAmplitudeFeature);
    return AudioFileDataGenerator::configure(myConfig);
}

bool VadAudioFileDataGenerator::generateTarget()
{
    QC_TRACE("VadAudioFileDataGenerator::generateTarget");
    if (!AudioFileDataGenerator::generateTarget() || !QC_CHECK(!m_pEnergyFeature.isNull()))
        return false;
    DoubleVector& vScratch = m_vEnergy;
    if (!QC_CHECK(m_pEnergyFeature->compute(m_vCurrentWindow, vScratch)) || !QC_CHECK(vScratch.size() == 1))
        return false;
    QC_DEBUG("Current SUMSQUAREDAMPLITUDE is: " << vScratch[0]);
    if (vScratch[0] < LEAST_VOICE_ENERGY && m_vTarget[0] == 1.0)
    {
        QC_DEBUG("Removing VOICE annotation at audio time: " << getCurrentAudioTime());
        VadTargets::setOther(m_vTarget);
    }
    return true;
}

template <class Archive>
void VadAudioFileDataGenerator::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "the same with the classes VOICE, but for weak windows, and OTHER");
    serializeBase<AudioFileDataGenerator>(io_archive, *this);
}

QC_ARCHIVES(VadAudioFileDataGenerator);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VadAudioFileDataGenerator)
