#include "MLVectorFileDataGenWithFeatureComputer.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/DoubleVector.h"

#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.VectorFileDataGenerator");

constexpr const char* INPUT_NAME = "audio";

} // namespace

bool VectorFileDataGenWithFeatureComputer::configure(const DataGeneratorWithConfig::Config& in_config)
{
    QC_TRACE("MachineLearning::VectorFileDataGenWithFeatureComputer::configure");
    const auto* pConfig = dynamic_cast<const Config*>(&in_config);
    if (pConfig == nullptr)
    {
        QC_ERROR("Could not configure VectorFileDataGenWithFeatureComputer : configuration provided is not a "
                 "VectorFileDataGenWithFeatureComputer::Config");
        return false;
    }
    if (!QC_CHECK(!pConfig->m_pFeatureComputer.isNull()))
        return false;
    CloneableObjPtr<FeatureComputer> pComputer = pConfig->m_pFeatureComputer;
    auto* pInputs = dynamic_cast<FeatureComputerWithInputs*>(pComputer.get());
    if (pInputs == nullptr)
    {
        QC_ERROR("The feature computer takes no inputs");
        return false;
    }
    m_config = *pConfig;
    m_pFeatureComputer = std::move(pComputer);
    m_pComputerInputs = pInputs;
    return true;
}

GeneratorFacts VectorFileDataGenWithFeatureComputer::getFacts() const
{
    GeneratorFacts facts;
    facts.m_pFeatureComputer = m_config.m_pFeatureComputer;
    return facts;
}

bool VectorFileDataGenWithFeatureComputer::gotoStart()
{
    QC_TRACE("MachineLearning::VectorFileDataGenWithFeatureComputer::gotoStart");
    return QC_CHECK(!m_pFeatureComputer.isNull()) && QC_CHECK(m_pFeatureComputer->reset()) &&
           VectorFileDataGenerator::gotoStart();
}

bool VectorFileDataGenWithFeatureComputer::makeInput_i(bool in_bNewSequence, DoubleVector& io_vInput)
{
    if (!QC_CHECK(m_pComputerInputs != nullptr) || (in_bNewSequence && !m_pFeatureComputer->reset()) ||
        !m_pComputerInputs->setInput(INPUT_NAME, io_vInput) ||
        !m_pFeatureComputer->computeFeatures(m_vFeatures))
        return false;
    std::swap(io_vInput, m_vFeatures);
    return true;
}

template <class Archive>
void VectorFileDataGenWithFeatureComputer::Config::serialize(Archive& io_archive, const unsigned int)
{
    serializeBase<DataGeneratorWithConfig::Config>(io_archive, *this);
    QC_FIELD(m_pFeatureComputer, "", "computes the input of a pattern from that of the file");
}

template <class Archive>
void VectorFileDataGenWithFeatureComputer::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "patterns of a text pattern file, the features of each input in its place");
    serializeBase<DataGeneratorWithConfig>(io_archive, *this);
}

QC_ARCHIVES(VectorFileDataGenWithFeatureComputer::Config);
QC_ARCHIVES(VectorFileDataGenWithFeatureComputer);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VectorFileDataGenWithFeatureComputer::Config)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VectorFileDataGenWithFeatureComputer)
