#include "common/ScriptEntity.h"

#include "MLAudioFileDataGenerator.h"
#include "XprAudioClassifier.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-infra/ParameterTrie.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.ScriptEntity");

constexpr const char* INPUT_VARIABLE = "audio";
constexpr const char* RATE_CONSTANT = "rate";

/// Hz; 0 when the generator does not tell.
double getRate(const DataGenerator& in_generator)
{
    const auto* pRecordings = dynamic_cast<const AudioFileDataGenerator*>(&in_generator);
    if (pRecordings == nullptr)
        return 0.0;
    const std::uint32_t uiConfigured = pRecordings->getConfig().m_audioConfig.m_uiSamplingRate;
    return uiConfigured != 0 ? uiConfigured : pRecordings->getSamplingRate();
}

} // namespace

ScriptEntity::ScriptEntity(const Settings& in_settings)
    : m_settings(in_settings)
{
}

ScriptEntity* ScriptEntity::newFromScript(const Settings& in_settings)
{
    std::unique_ptr<ScriptEntity> pEntity(new ScriptEntity(in_settings));
    return pEntity->load() ? pEntity.release() : nullptr;
}

bool ScriptEntity::load()
{
    auto pFileSystem = std::make_unique<DiskFileSystem>();
    if (!pFileSystem->setWorkingDirectory(m_settings.m_strFolder.c_str()))
    {
        QC_ERROR("There is no folder " << m_settings.m_strFolder << " with scripts");
        return false;
    }
    ParameterTrie config;
    config.setParameter(Math::Xpr::Evaluator::getParamNameScriptsDir(), ".");
    auto* pClassifier = new XprAudioClassifier;
    return m_set.configure(config, TSHandle<VirtualFileSystem>(pFileSystem.release())) &&
           m_set.setVariableName(INPUT_VARIABLE) &&
           m_set.addClassifier(m_settings.m_strScript.c_str(), pClassifier) &&
           pClassifier->configure(m_settings.m_strScript.c_str(), m_settings.m_strVariable.c_str(),
                                  LimitedObjPtr<StringVector>(&m_settings.m_vFurtherScripts));
}

bool ScriptEntity::configure(const DataGenerator& in_generator)
{
    QC_TRACE("ScriptEntity::configure");
    const double dRate = m_settings.m_dRate != 0.0 ? m_settings.m_dRate : getRate(in_generator);
    m_bConfigured =
        (dRate == 0.0 || m_set.setConstant(RATE_CONSTANT, dRate)) && m_set.freeze() && m_set.start();
    if (!m_bConfigured)
        QC_ERROR("Script " << m_settings.m_strScript << " cannot be used");
    return m_bConfigured;
}

bool ScriptEntity::compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const
{
    m_vInput.assign(in_begin, in_end);
    if (!m_set.classify(m_vInput))
    {
        QC_ERROR(
            "Script " << m_settings.m_strScript << " failed on a pattern of " << m_vInput.size()
                      << " inputs, which are its variable audio; one that takes windows of samples needs a "
                         "configuration with the feature identity");
        return false;
    }
    const Classifier::Result& result = m_set.begin()->second->getResult();
    out_vOutput.resize(result.size());
    for (std::size_t i = 0; i < result.size(); ++i)
        out_vOutput[i] = result.begin()[i].m_dValue;
    return true;
}

bool ScriptEntity::reset()
{
    return !m_bConfigured || m_set.reset();
}

} // namespace Vexalor::MachineLearning
