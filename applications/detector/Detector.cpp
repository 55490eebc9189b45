#include "detector/Detector.h"

#include "AudioClassifierSet.h"
#include "MLDataGeneratorFactory.h"
#include "MLFileSetDataGenerator.h"
#include "common/Base64.h"
#include "common/FannNetwork.h"
#include "common/OverwriteGuard.h"
#include "detector/DetectorClassifier.h"
#include "detector/DetectorComputer.h"
#include "detector/FeatureTrial.h"
#include "detector/ScaledNetwork.h"
#include "onnx/OnnxNetwork.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <algorithm>
#include <filesystem>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Detector");

/// One generator of recordings under a list of them.
class ListedRecordings final : public LowMemoryFileSetDataGeneratorNoT
{
public:
    explicit ListedRecordings(const CountedObjPtr<FileDataGenerator>& in_pGenerator)
        : m_pGenerator(in_pGenerator)
    {
    }

    GeneratorFacts getFacts() const override
    {
        return m_pGenerator.dynamicCast<GeneratorWithFacts>()->getFacts();
    }
    Fallible<const char*> getLibName() override { return m_pGenerator->getLibName(); }

protected:
    CountedObjPtr<FileDataGenerator> newFileGenerator_i() override { return m_pGenerator; }

private:
    CountedObjPtr<FileDataGenerator> m_pGenerator;
};

/// Names of the outputs: OTHER is the last one, wherever it is listed.
StringVector orderClasses(const StringVector& in_vClasses)
{
    StringVector vNames;
    const std::string strOther = AudioClassStatistics::OTHER;
    std::copy_if(in_vClasses.begin(), in_vClasses.end(), std::back_inserter(vNames),
                 [&](const std::string& in_strClass) { return in_strClass != strOther; });
    if (vNames.size() != in_vClasses.size())
        vNames.push_back(strOther);
    return vNames;
}

ArchiveElement describeGenerator(const DataGenerator& in_generator)
{
    DescribingArchive archive;
    describeDataGenerator(archive, {}, in_generator);
    return archive.finish().m_root.m_vElements.back();
}

bool isScriptName(const std::string& in_strName)
{
    const auto isLetter = [](char in_c)
    {
        return (in_c >= 'a' && in_c <= 'z') || (in_c >= 'A' && in_c <= 'Z') || in_c == '_';
    };
    return !in_strName.empty() && isLetter(in_strName.front()) &&
           std::all_of(in_strName.begin(), in_strName.end(),
                       [&](char in_c) { return isLetter(in_c) || (in_c >= '0' && in_c <= '9'); });
}

std::string toText(const LinearAudioWindower::Config& in_windows)
{
    return std::to_string(in_windows.m_uiWindowLength) + " ms every " +
           std::to_string(in_windows.m_uiWindowShift) + " ms at " +
           (in_windows.m_uiSamplingRate == 0 ? "any rate"
                                             : std::to_string(in_windows.m_uiSamplingRate) + " Hz");
}

/// The channel is that of the set: it is not part of a window.
bool hasWindowsOf(const LinearAudioWindower::Config& in_detector, const LinearAudioWindower::Config& in_set)
{
    return in_detector.m_uiWindowLength == in_set.m_uiWindowLength &&
           in_detector.m_uiWindowShift == in_set.m_uiWindowShift &&
           (in_detector.m_uiSamplingRate == 0 || in_detector.m_uiSamplingRate == in_set.m_uiSamplingRate);
}

} // namespace

std::unique_ptr<Detector> Detector::newFromFile(const char* in_filename)
{
    QC_TRACE("Detector::newFromFile");
    vfsistream stream(DiskFileSystem(), in_filename);
    if (stream)
        return newFromStream(stream, in_filename);
    QC_ERROR("Cannot read detector " << in_filename << ": " << stream.getReason());
    return nullptr;
}

std::unique_ptr<Detector> Detector::newFromStream(std::istream& io_stream, const char* in_name)
{
    QC_TRACE("Detector::newFromStream");
    std::string strReason = "a library cannot be loaded";
    try
    {
        DetectorContent content;
        CheckedXmlInputArchive archive(io_stream);
        std::unique_ptr<Detector> pDetector;
        if (content.load(archive))
            pDetector = newFromContent(std::move(content), strReason);
        if (pDetector != nullptr)
            return pDetector;
    }
    catch (const std::exception& exception)
    {
        strReason = exception.what();
    }
    QC_ERROR("Cannot read detector " << in_name << ": " << strReason);
    return nullptr;
}

std::unique_ptr<Detector> Detector::newFromContent(DetectorContent in_content, std::string& out_strReason)
{
    QC_TRACE("Detector::newFromContent");
    std::unique_ptr<Detector> pDetector(new Detector);
    pDetector->m_content = std::move(in_content);
    out_strReason = pDetector->prepare();
    return out_strReason.empty() ? std::move(pDetector) : nullptr;
}

bool Detector::isDetector(std::string_view in_text)
{
    return in_text.find('<' + std::string(DetectorContent::ELEMENT) + ' ') != std::string_view::npos;
}

std::string Detector::makeName(const std::string& in_strPath)
{
    return std::filesystem::path(in_strPath).stem().string();
}

std::string Detector::findFault(const DataGenerator& in_generator)
{
    const auto* pSource = dynamic_cast<const GeneratorWithFacts*>(&in_generator);
    const GeneratorFacts facts = pSource == nullptr ? GeneratorFacts() : pSource->getFacts();
    const std::string strGenerator = "generator " + describeGenerator(in_generator).m_strClass;
    if (!facts.m_windows.has_value() || !facts.m_pFeatureComputer.has_value())
        return strGenerator + " does not make its inputs from windows of audio";
    if (facts.m_uiFurtherInputs != 0)
        return strGenerator + " adds inputs of its own to the features";
    if (orderClasses(facts.m_vClasses).size() != facts.m_uiTargets)
        return strGenerator + " has targets that do not stand for its classes";
    return {};
}

/// Why it is no detector; empty when it is one.
std::string Detector::prepare()
{
    if (m_content.m_pGenerator.isNull())
        return "there is no generator";
    std::string strReason = findFault(*m_content.m_pGenerator);
    if (!strReason.empty())
        return strReason;
    const GeneratorFacts facts = m_content.m_pGenerator.dynamicCast<GeneratorWithFacts>()->getFacts();
    m_windows = *facts.m_windows;
    m_pFeatures = *facts.m_pFeatureComputer;
    m_vClassNames = orderClasses(facts.m_vClasses);
    if (!m_content.m_scaling.m_vTargetSlope.empty() || !m_content.m_scaling.m_vTargetYIntercept.empty())
        return "targets are scaled";
    strReason = prepareNetwork();
    return strReason.empty() ? checkSizes() : strReason;
}

std::string Detector::prepareNetwork()
{
    if (m_content.m_strKind == DetectorContent::ONNX)
        return prepareOnnx();
    if (m_content.m_strKind != DetectorContent::FANN)
        return "there is no kind of network \"" + m_content.m_strKind.substr(0, 40) + "\"";
    if (m_content.isScaled())
        return "a fann network has its scaling in its weights, not beside them";
    m_pNetwork.reset(FannNetwork::newFromText(m_content.m_strNetwork, "in the detector"));
    return m_pNetwork == nullptr ? "its network cannot be used" : "";
}

std::string Detector::prepareOnnx()
{
    std::string strBytes;
    if (!fromBase64(m_content.m_strNetwork, strBytes))
        return "its network is no base64";
    m_pNetwork.reset(OnnxNetwork::newFromContent(strBytes, "in the detector"));
    if (m_pNetwork == nullptr)
        return "its network cannot be used";
    const VectorScaler::Config& scaling = m_content.m_scaling;
    if (!m_content.isScaled())
        return {};
    const std::size_t uiInputs = m_pNetwork->getInputSize();
    if (scaling.m_vInputSlope.size() != uiInputs || scaling.m_vInputYIntercept.size() != uiInputs)
        return "the network takes " + countOf(uiInputs, "input") + ", the scaling is for " +
               std::to_string(scaling.m_vInputSlope.size());
    m_pNetwork = std::make_unique<ScaledNetwork>(scaling, m_pNetwork.release());
    return {};
}

std::string Detector::checkSizes() const
{
    const ArchiveElement generator = describeGenerator(*m_content.m_pGenerator);
    std::string strReason;
    WindowSize size;
    if (!m_windows.getWindowSize(findTrialRate(m_windows, generator), size, strReason))
        return strReason;
    const std::size_t uiFeatures = countFeatures(m_pFeatures, generator, size.m_uiLength, strReason);
    if (!strReason.empty())
        return strReason;
    if (uiFeatures != m_pNetwork->getInputSize())
        return "the network takes " + countOf(m_pNetwork->getInputSize(), "input") + ", the features are " +
               std::to_string(uiFeatures);
    if (m_vClassNames.size() != m_pNetwork->getOutputSize())
        return "the network has " + countOf(m_pNetwork->getOutputSize(), "output") + ", the classes are " +
               std::to_string(m_vClassNames.size());
    return {};
}

FeatureComputerWithInputs* Detector::newComputer() const
{
    QC_TRACE("Detector::newComputer");
    // That it takes inputs was tried.
    std::unique_ptr<FeatureComputer> pFeatures(m_pFeatures->clone());
    auto* pInputs = dynamic_cast<FeatureComputerWithInputs*>(pFeatures.release());
    return new DetectorComputer(pInputs, m_pNetwork->clone());
}

CountedObjPtr<DataGenerator> Detector::takeGeneratorFor(const char* in_inputFile) const
{
    QC_TRACE("Detector::takeGeneratorFor");
    const CountedObjPtr<DataGenerator>& pGenerator = m_content.m_pGenerator;
    const auto pSet = pGenerator.dynamicCast<FileSetDataGeneratorImpl>();
    const bool bRecording = isRecordingFile(in_inputFile);
    if (bRecording && !pSet.isNull())
        return pSet->newFileGenerator();
    const auto pFile = pGenerator.dynamicCast<FileDataGenerator>();
    if (bRecording || !pSet.isNull() || pFile.isNull())
        return pGenerator;
    return CountedObjPtr<DataGenerator>(new ListedRecordings(pFile));
}

ArchiveDescription Detector::describe() const
{
    DescribingArchive archive;
    m_content.save(archive.get());
    return archive.finish();
}

bool addDetector(const Detector& in_detector, const std::string& in_strName, bool in_bClassify,
                 AudioClassifierSet& io_set)
{
    QC_TRACE("MachineLearning::addDetector");
    if (!isScriptName(in_strName))
    {
        QC_ERROR("Scripts cannot name the detector \"" << in_strName
                                                       << "\": its file is to be named by letters, digits "
                                                          "and _, the first no digit");
        return false;
    }
    LinearAudioWindower::Config windows = io_set.getConfig();
    windows.m_uiSamplingRate = io_set.getSamplingRate();
    if (!hasWindowsOf(in_detector.getWindows(), windows))
    {
        QC_ERROR("Detector " << in_strName << " is for windows of " << toText(in_detector.getWindows())
                             << ", the windower is configured for " << toText(windows));
        return false;
    }
    if (!io_set.addComputedInput(in_strName.c_str(), in_detector.newComputer()))
    {
        QC_ERROR("There cannot be a detector " << in_strName << ": the name stands for something else");
        return false;
    }
    return !in_bClassify ||
           io_set.addClassifier(in_strName.c_str(),
                                new DetectorClassifier(in_strName, in_detector.getClassNames()));
}

} // namespace Vexalor::MachineLearning
