#include "AudioStream.h"

#include "Arrays.h"
#include "DetectorHandle.h"
#include "XprAudioClassifier.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-infra/ParameterTrie.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::Python
{

using namespace MachineLearning;

namespace
{

constinit Logger s_logger("quillcast.python");

/// Windows that are classified between two looks at signals.
constexpr std::size_t PIECE = 256;
/// Of samples of 16 bits.
constexpr double FULL_SCALE = 32768.0;

/// Samples between -1 and 1; those of 16 bits are brought there.
DoubleArray toSamples(const py::array& in_samples)
{
    if (in_samples.ndim() != 1)
        throw py::value_error("samples must have one dimension: one channel");
    if (in_samples.dtype().kind() == 'f')
        return DoubleArray(in_samples);
    if (in_samples.dtype().kind() != 'i' || in_samples.itemsize() != 2)
        throw py::type_error("samples must be floating-point numbers from -1 to 1, or of type int16");
    return DoubleArray(in_samples.attr("__truediv__")(FULL_SCALE));
}

/// Features of anything else would spoil what follows, where they depend on earlier windows.
void requireFinite(const DoubleArray& in_samples)
{
    const double* const pEnd = in_samples.data() + in_samples.size();
    const double* const pBad = std::find_if_not(in_samples.data(), pEnd,
                                                [](double in_dSample) { return std::isfinite(in_dSample); });
    if (pBad != pEnd)
        throw py::value_error("sample " + std::to_string(pBad - in_samples.data()) + " is not finite");
}

} // namespace

std::unique_ptr<AudioStream>
AudioStream::create(const std::vector<py::object>& in_vDetectors, const std::vector<std::string>& in_vScripts,
                    std::optional<std::uint32_t> in_rate, const std::filesystem::path& in_folder,
                    const StringVector& in_vFurtherScripts, const std::string& in_strVariable,
                    const std::string& in_strWindower)
{
    if (in_vDetectors.empty() && in_vScripts.empty())
        throw py::value_error("a detector or a script must be given");
    std::vector<NamedDetector> vDetectors;
    for (const py::object& detector : in_vDetectors)
    {
        if (!py::isinstance<DetectorHandle>(detector))
            throw py::type_error("detectors must be of the class Detector");
        const auto& handle = detector.cast<const DetectorHandle&>();
        vDetectors.emplace_back(Detector::makeName(handle.m_strFile), handle.m_pDetector);
    }
    const Settings settings{in_vScripts, in_vFurtherScripts, in_rate,
                            in_folder,   in_strVariable,     in_strWindower};
    auto pStream = std::make_unique<AudioStream>();
    require([&] { return pStream->setUp(settings, vDetectors); }, "the classifiers cannot be started");
    return pStream;
}

bool AudioStream::setUp(const Settings& in_settings, const std::vector<NamedDetector>& in_vDetectors)
{
    const bool bScripts = !in_settings.m_vScripts.empty();
    if (!(bScripts ? setUpScripts(in_settings) : m_set.configure(in_vDetectors.front().second->getWindows())))
        return false;
    if (in_settings.m_rate && !m_set.setSourceRate(*in_settings.m_rate))
        return false;
    if (m_set.getSamplingRate() == 0)
    {
        QC_ERROR("The windower is configured for any sampling rate: rate is needed");
        return false;
    }
    for (const auto& [strName, pDetector] : in_vDetectors)
        if (!addDetector(*pDetector, strName, !bScripts, m_set))
            return false;
    if (!m_set.freeze() || !m_set.start())
        return false;
    for (const auto& [strName, pClassifier] : m_set)
        m_vScores.push_back({strName, pClassifier.get(), 0, {}});
    return true;
}

bool AudioStream::setUpScripts(const Settings& in_settings)
{
    auto pFileSystem = std::make_unique<DiskFileSystem>();
    if (!pFileSystem->setWorkingDirectory(in_settings.m_folder.c_str()))
    {
        QC_ERROR("There is no folder " << in_settings.m_folder.string());
        return false;
    }
    ParameterTrie config;
    config.setParameter(Math::Xpr::Evaluator::getParamNameScriptsDir(), ".");
    config.setParameter(AudioClassifierSet::getParamNameAudioWindowerFilePath(), in_settings.m_strWindower);
    return m_set.configure(config, TSHandle<VirtualFileSystem>(pFileSystem.release())) &&
           addScripts(in_settings);
}

/// Adds first and configures then: so a script that does not load is a failure.
bool AudioStream::addScripts(const Settings& in_settings)
{
    StringVector vFurther = in_settings.m_vFurtherScripts;
    for (const std::string& strScript : in_settings.m_vScripts)
    {
        auto* pClassifier = new XprAudioClassifier;
        if (!m_set.addClassifier(strScript.c_str(), pClassifier) ||
            !pClassifier->configure(strScript.c_str(), in_settings.m_strVariable.c_str(),
                                    LimitedObjPtr<StringVector>(&vFurther)))
            return false;
    }
    return true;
}

py::object AudioStream::push(const py::array& in_samples)
{
    const Exclusive use(m_bUsed);
    const DoubleArray samples = toSamples(in_samples);
    const double* pSamples = samples.data();
    auto uiLeft = static_cast<std::size_t>(samples.size());
    requireFinite(samples);
    while (uiLeft > 0)
    {
        std::size_t uiTaken = 0;
        require([&] { return pushPiece(pSamples, uiLeft, uiTaken); }, "the audio cannot be classified");
        pSamples += uiTaken;
        uiLeft -= uiTaken;
        checkSignals();
    }
    return makeResults();
}

/// Up to the end of the next window at a time: of several windows in one push only the results of the last
/// are seen.
bool AudioStream::pushPiece(const double* in_pSamples, std::size_t in_uiSize, std::size_t& out_uiTaken)
{
    for (std::size_t uiWindows = 0; uiWindows < PIECE && out_uiTaken < in_uiSize;)
    {
        const std::uint64_t uiLastEnd = m_set.getLastWindowEnd();
        const WindowSize& size = m_set.getWindowSize();
        const std::uint64_t uiEnd = uiLastEnd == 0 ? size.m_uiLength : uiLastEnd + size.m_uiShift;
        const auto uiPiece = static_cast<std::size_t>(
            std::min<std::uint64_t>(uiEnd - m_set.getPushedSamples(), in_uiSize - out_uiTaken));
        const double* const pBegin = in_pSamples + out_uiTaken;
        out_uiTaken += uiPiece;
        if (!m_set.pushLinearAudio(pBegin, pBegin + uiPiece))
            return false;
        if (m_set.getLastWindowEnd() == uiLastEnd)
            continue;
        ++uiWindows;
        if (!keepScores())
            return false;
    }
    return true;
}

bool AudioStream::keepScores()
{
    m_vTimes.push_back(static_cast<double>(m_set.getLastWindowEnd()) / m_set.getSamplingRate());
    for (Scores& scores : m_vScores)
    {
        const Classifier::Result& result = scores.m_pClassifier->getResult();
        if (scores.m_uiSize == 0)
            scores.m_uiSize = result.size();
        if (scores.m_uiSize != result.size())
        {
            QC_ERROR("The result of " << scores.m_strName << " has " << result.size()
                                      << " entries, those before it " << scores.m_uiSize
                                      << ": they do not fit into one matrix");
            return false;
        }
        for (const Classifier::SingleOutputResult& entry : result)
            scores.m_vValues.push_back(entry.m_dValue);
    }
    return true;
}

/// Of what was kept since the last time.
py::object AudioStream::makeResults()
{
    const std::vector<double> vTimes = std::exchange(m_vTimes, {});
    py::dict allScores;
    py::dict allNames;
    for (Scores& scores : m_vScores)
    {
        const std::vector<double> vValues = std::exchange(scores.m_vValues, {});
        py::array_t<double> matrix({vTimes.size(), scores.m_uiSize});
        std::copy(vValues.begin(), vValues.end(), matrix.mutable_data());
        allScores[py::str(scores.m_strName)] = matrix;
        py::list names;
        for (const Classifier::SingleOutputResult& entry : scores.m_pClassifier->getResult())
            names.append(entry.m_strName);
        allNames[py::str(scores.m_strName)] = names;
    }
    return imports().m_results(py::array_t<double>(static_cast<py::ssize_t>(vTimes.size()), vTimes.data()),
                               allScores, allNames);
}

void AudioStream::reset()
{
    const Exclusive use(m_bUsed);
    m_vTimes.clear();
    for (Scores& scores : m_vScores)
        scores.m_vValues.clear();
    require([&] { return m_set.reset(); }, "the audio cannot be forgotten");
}

} // namespace Vexalor::Python
