#include "MLScalingDataGenerator.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.MLScalingDataGenerator");

} // namespace

ScalingDataGenerator::ScalingDataGenerator()
{
    QC_TRACE("ScalingDataGenerator ctor");
}

ScalingDataGenerator::~ScalingDataGenerator()
{
    QC_TRACE("ScalingDataGenerator dtor");
}

bool ScalingDataGenerator::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("ScalingDataGenerator::configure");
    const auto* pConfig = dynamic_cast<const Config*>(&in_config);
    if (pConfig == nullptr)
    {
        QC_ERROR("Could not configure ScalingDataGenerator : configuration provided is not a "
                 "ScalingDataGenerator::Config");
        return false;
    }
    m_config = *pConfig;
    return true;
}

void ScalingDataGenerator::setDataGenerator(const CountedObjPtr<DataGenerator>& in_generator)
{
    QC_TRACE("ScalingDataGenerator::setDataGenerator");
    m_pDataGenerator = in_generator;
}

void ScalingDataGenerator::setScaler(const VectorScaler& in_scaler)
{
    QC_TRACE("ScalingDataGenerator::setScaler");
    // Kept in the configuration as well, from which gotoStart configures the scaler.
    m_config.m_scalerConfig = in_scaler.getConfig();
    m_scaler.configure(m_config.m_scalerConfig);
}

VectorScaler::Config ScalingDataGenerator::getScalingParameters() const
{
    QC_TRACE("ScalingDataGenerator::getScalingParameters");
    return m_scaler.getConfig();
}

bool ScalingDataGenerator::gotoStart()
{
    QC_TRACE("VectorFileDataGeneratorScale::gotoStart"); // text kept
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return false;
    if (m_config.m_bLearnScalingParameters && !m_bTrained && !learn())
        return false;
    return m_scaler.configure(m_config.m_scalerConfig) && m_pDataGenerator->gotoStart();
}

bool ScalingDataGenerator::learn()
{
    QC_DEBUG("Performing scaler training");
    if (!(m_config.m_scalerConfig == VectorScaler::Config()))
        QC_WARN("There is a scaling before any was learnt: what is learnt is appended and not in force");
    // A copy, so that a failure leaves nothing of what it learnt.
    VectorScaler::Config scalerConfig = m_config.m_scalerConfig;
    if (!m_trainer.configure(m_config.m_scalingTrainerConfig) ||
        !m_trainer.computeScalingParam(*m_pDataGenerator, scalerConfig))
        return false;
    m_config.m_scalerConfig = scalerConfig;
    m_bTrained = true;
    return true;
}

bool ScalingDataGenerator::generateNext()
{
    QC_TRACE("ScalingDataGenerator::generateNext");
    return QC_CHECK(!m_pDataGenerator.isNull()) && m_pDataGenerator->generateNext();
}

bool ScalingDataGenerator::atEnd() const
{
    QC_TRACE("ScalingDataGenerator::atEnd");
    return QC_CHECK(!m_pDataGenerator.isNull()) && m_pDataGenerator->atEnd();
}

bool ScalingDataGenerator::getInput(DoubleVector& out_vInput)
{
    QC_TRACE("ScalingDataGenerator::getInput");
    return QC_CHECK(!m_pDataGenerator.isNull()) && m_pDataGenerator->getInput(out_vInput) &&
           m_scaler.scaleInput(out_vInput);
}

bool ScalingDataGenerator::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("ScalingDataGenerator::getTarget");
    return QC_CHECK(!m_pDataGenerator.isNull()) && m_pDataGenerator->getTarget(out_vTarget) &&
           m_scaler.scaleTarget(out_vTarget);
}

Fallible<const char*> ScalingDataGenerator::getLibName()
{
    QC_TRACE("ScalingDataGenerator::getLibName");
    return m_pDataGenerator.isNull() ? DataGeneratorWithConfig::getLibName() : m_pDataGenerator->getLibName();
}

std::ostream& ScalingDataGenerator::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("ScalingDataGenerator::dumpStatus");
    return QC_CHECK(!m_pDataGenerator.isNull()) ? m_pDataGenerator->dumpStatus(out_stream) : out_stream;
}

bool ScalingDataGenerator::endedCleanly() const
{
    QC_TRACE("ScalingDataGenerator::endedCleanly");
    return QC_CHECK(!m_pDataGenerator.isNull()) && m_pDataGenerator->endedCleanly();
}

Fallible<double> ScalingDataGenerator::getShareRead() const
{
    QC_TRACE("ScalingDataGenerator::getShareRead");
    return QC_CHECK(!m_pDataGenerator.isNull()) ? m_pDataGenerator->getShareRead() : Fallible<double>();
}

bool ScalingDataGenerator::setEntityToReset(Handle<Resettable, ReferenceCount> in_entity)
{
    QC_TRACE("ScalingDataGenerator::setEntityToReset");
    if (!QC_CHECK(!m_pDataGenerator.isNull()))
        return false;
    auto* pSequenceGenerator = dynamic_cast<SequenceDataGenerator*>(m_pDataGenerator.get());
    return pSequenceGenerator == nullptr || pSequenceGenerator->setEntityToReset(in_entity);
}

template <class Archive>
void ScalingDataGenerator::Config::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_scalerConfig, "", "the scaling, empty when it is learnt");
    QC_FIELD(m_scalingTrainerConfig, "", "how it is learnt");
    QC_FIELD(m_bLearnScalingParameters, "", "1: learn the scaling before the first pass");
}

template <class Archive>
void ScalingDataGenerator::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "patterns of another generator, each component as value x slope + intercept");
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

QC_ARCHIVES(ScalingDataGenerator::Config);
QC_ARCHIVES(ScalingDataGenerator);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::ScalingDataGenerator::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::ScalingDataGenerator)
