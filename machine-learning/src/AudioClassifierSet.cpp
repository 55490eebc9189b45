#include "AudioClassifierSet.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/SerializationArchives.h"

#include <exception>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.ml.AudioClassifierSet");

constexpr const char* INPUT_VARIABLE = "audio";
constexpr const char* RATE_CONSTANT = "rate";

/// Throws when the stream holds no such configuration.
LinearAudioWindower::Config readWindowerConfig(std::istream& in_stream)
{
    LinearAudioWindower::Config config;
    CheckedXmlInputArchive archive(in_stream);
    archive.get() >>
        boost::serialization::make_nvp(boost::serialization::guid<LinearAudioWindower::Config>(), config);
    archive.finish();
    return config;
}

} // namespace

AudioClassifierSet::DefaultConfig::DefaultConfig()
{
    setParameter(getParamNameAudioWindowerFilePath(), "dsp/LinearAudioWindowerConfig.xml");
    setParameter(Math::Xpr::Evaluator::getParamNameScriptsDir(), "./dsp;./tones");
}

AudioClassifierSet::AudioClassifierSet()
{
    QC_TRACE("AudioClassifierSet ctor");
}

AudioClassifierSet::AudioClassifierSet(const AudioClassifierSet& in_other) = default;

AudioClassifierSet& AudioClassifierSet::operator=(const AudioClassifierSet&)
{
    QC_CHECK_TEXT("false", false);
    return *this;
}

AudioClassifierSet::~AudioClassifierSet()
{
    QC_TRACE("AudioClassifierSet dtor");
}

const char* AudioClassifierSet::getParamNameAudioWindowerFilePath()
{
    return "quillcast.audioClassifierSet.audioWindowerFilePath";
}

bool AudioClassifierSet::configure(const ROConfiguration& in_config,
                                   const TSHandle<VirtualFileSystem>& in_hFileSystem)
{
    QC_TRACE("AudioClassifierSet::configure");
    std::string strFileName;
    if (!QC_CHECK_TEXT("in_config.getStringParameter( getParamNameAudioWindowerFilePath(), strFileName )",
                       in_config.getStringParameter(getParamNameAudioWindowerFilePath(), strFileName)))
        return false;
    if (!QC_CHECK(!in_hFileSystem.isNull()) || !configureWindower(strFileName, *in_hFileSystem) ||
        !XprClassifierSet::configure(in_config, in_hFileSystem))
        return false;
    return defineInputs();
}

bool AudioClassifierSet::configure(const LinearAudioWindower::Config& in_config)
{
    QC_TRACE("AudioClassifierSet::configure");
    return LinearAudioWindower::configure(in_config) && defineInputs();
}

bool AudioClassifierSet::configure(const LinearAudioWindower::Config& in_windows,
                                   const ROConfiguration& in_config,
                                   const TSHandle<VirtualFileSystem>& in_hFileSystem)
{
    QC_TRACE("AudioClassifierSet::configure");
    return QC_CHECK(!in_hFileSystem.isNull()) && LinearAudioWindower::configure(in_windows) &&
           XprClassifierSet::configure(in_config, in_hFileSystem) && defineInputs();
}

bool AudioClassifierSet::defineInputs()
{
    if (getSamplingRate() != 0 && !setConstant(RATE_CONSTANT, getSamplingRate()))
        return false;
    return setVariableName(INPUT_VARIABLE);
}

bool AudioClassifierSet::configureWindower(const std::string& in_strFileName,
                                           const VirtualFileSystem& in_fileSystem)
{
    vfsistream stream(in_fileSystem, in_strFileName.c_str());
    if (!stream)
    {
        QC_ERROR("Could not open file " << in_strFileName << " on VirtualFileSystem");
        return false;
    }
    try
    {
        return LinearAudioWindower::configure(readWindowerConfig(stream));
    }
    catch (const std::exception& exception)
    {
        QC_ERROR("Windower configuration " << in_strFileName << ": " << exception.what());
        return false;
    }
}

bool AudioClassifierSet::setSourceRate(std::uint32_t in_uiRate)
{
    QC_TRACE("AudioClassifierSet::setSourceRate");
    return canSetSourceRate(in_uiRate) && setConstant(RATE_CONSTANT, in_uiRate) &&
           LinearAudioWindower::setSourceRate(in_uiRate);
}

bool AudioClassifierSet::pushLinearAudio(const double* in_begin, const double* in_end)
{
    QC_TRACE("AudioClassifierSet::pushLinearAudio");
    if (!LinearAudioWindower::pushLinearAudio(in_begin, in_end))
        return false;
    bool bResult = true;
    std::size_t uiWindows = 0;
    for (; popWindow(m_vWindow); ++uiWindows)
        bResult = classify(m_vWindow) && bResult;
    if (uiWindows == 0)
        QC_DEBUG("AudioClassifierSet::pushLinearAudio : Not enough audio to generate a new window");
    if (uiWindows > 1) // text kept
        QC_ERROR("Call to pushLinearAudio() has cause multiple calls  to classify(). Check this is really "
                 "what you want.");
    return bResult;
}

bool AudioClassifierSet::reset()
{
    QC_TRACE("AudioClassifierSet::reset");
    return QC_CHECK(LinearAudioWindower::reset()) && XprClassifierSet::reset();
}

AudioClassifierSet* AudioClassifierSet::clone() const
{
    return new AudioClassifierSet(*this);
}

} // namespace Vexalor
