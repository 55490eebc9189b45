#include "ml-train/DetectorDraft.h"

#include "MLAudioClassStatistics.h"
#include "MLDataGeneratorFactory.h"
#include "MLScalingDataGenerator.h"
#include "common/Base64.h"
#include "common/FannNetwork.h"
#include "common/NetworkFile.h"
#include "detector/Detector.h"
#include "detector/TrainingDigest.h"
#include "onnx/OnnxNetwork.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/ApplicationImpl.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <cmath>
#include <memory>
#include <optional>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Train");

bool refuse(const std::string& in_strReason)
{
    QC_ERROR("Cannot make a detector: " << in_strReason);
    return false;
}

double toError(double in_dError)
{
    return std::isnan(in_dError) ? DetectorContent::NO_ERROR : in_dError;
}

} // namespace

bool DetectorDraft::open(const std::string& in_strConfigFile)
{
    QC_TRACE("DetectorDraft::open");
    m_content.m_pGenerator = loadDataGenerator(in_strConfigFile.c_str());
    if (m_content.m_pGenerator.isNull())
        return false;
    vfsistream stream(DiskFileSystem(), in_strConfigFile.c_str());
    CheckedXmlInputArchive archive(stream);
    const std::string strFault = Detector::findFault(*m_content.m_pGenerator);
    return strFault.empty() ? loadPluginLibraries(archive, m_content.m_vLibraries) : refuse(strFault);
}

bool DetectorDraft::addPass(const std::string& in_strFile, const DataGenerator& in_generator,
                            const DataGenerator& in_wrapped)
{
    QC_TRACE("DetectorDraft::addPass");
    DetectorContent::Origin& origin = m_content.m_origin;
    const auto* pScaling = dynamic_cast<const ScalingDataGenerator*>(&in_wrapped);
    const auto* pSource = dynamic_cast<const AudioClassStatisticsSource*>(&in_generator);
    if (pScaling != nullptr && !takeScaling(pScaling->getScalingParameters()))
        return false;
    origin.m_vInputFiles.push_back(in_strFile);
    AudioClassStatistics statistics;
    if (pSource != nullptr)
        pSource->addStatistics(statistics);
    if (origin.m_vClasses.size() < statistics.m_vRows.size())
        origin.m_vClasses.resize(statistics.m_vRows.size());
    for (std::size_t i = 0; i < statistics.m_vRows.size(); ++i)
    {
        const AudioClassStatistics::Row& row = statistics.m_vRows[i];
        origin.m_vClasses[i].m_strClass = row.m_strClass;
        origin.m_vClasses[i].m_uiPatterns += row.m_uiPatterns;
        origin.m_vClasses[i].m_dSeconds += row.m_dSeconds;
    }
    return true;
}

bool DetectorDraft::takeScaling(const VectorScaler::Config& in_scaling)
{
    const VectorScaler::Config earlier = m_content.m_scaling;
    if (!m_content.setScaling(in_scaling))
        return refuse("targets are scaled");
    return m_content.m_origin.m_vInputFiles.empty() || earlier == m_content.m_scaling ||
           refuse("each file was scaled as it was learnt from that file");
}

bool DetectorDraft::setTrained(const std::string& in_strNetwork, std::uint64_t in_uiSeed, double in_dError,
                               double in_dHeldOutError)
{
    QC_TRACE("DetectorDraft::setTrained");
    m_content.m_origin.m_uiSeed = in_uiSeed;
    m_content.m_origin.m_dError = toError(in_dError);
    m_content.m_origin.m_dHeldOutError = toError(in_dHeldOutError);
    return setFann(in_strNetwork, "that was trained");
}

/// The scaling goes into the weights.
bool DetectorDraft::setFann(const std::string& in_strText, const char* in_name)
{
    m_content.m_strKind = DetectorContent::FANN;
    const bool bScaled = m_content.isScaled();
    const VectorScaler::Config scaling = std::exchange(m_content.m_scaling, {});
    const std::unique_ptr<FannNetwork> pNetwork(FannNetwork::newFromText(in_strText, in_name));
    if (pNetwork == nullptr)
        return false;
    m_content.m_strNetwork = in_strText;
    if (!bScaled)
        return true;
    if (!pNetwork->foldLinearScaling(scaling.m_vInputSlope, scaling.m_vInputYIntercept))
        return refuse("the scaling of " + std::to_string(scaling.m_vInputSlope.size()) +
                      " inputs cannot be taken into the weights of the network, which has " +
                      std::to_string(pNetwork->getInputSize()));
    m_content.m_strNetwork = pNetwork->getText();
    return true;
}

bool DetectorDraft::import(const std::string& in_strNetworkFile, const std::string& in_strScalingFile)
{
    QC_TRACE("DetectorDraft::import");
    std::string strContent;
    std::string strReason;
    if (!readNetworkFile(in_strNetworkFile.c_str(), strContent, strReason))
        return refuse(in_strNetworkFile + ": " + strReason);
    CountedObjPtr<DataGenerator> pPatterns = m_content.m_pGenerator;
    if (!in_strScalingFile.empty())
    {
        pPatterns = loadDataGenerator(in_strScalingFile.c_str());
        const auto pScaling = pPatterns.dynamicCast<ScalingDataGenerator>();
        if (pScaling.isNull() || pScaling->getConfig().m_bLearnScalingParameters)
            return refuse(in_strScalingFile + " is no scaling that was learnt");
        if (!takeScaling(pScaling->getConfig().m_scalerConfig))
            return false;
    }
    m_content.m_origin.m_strNetwork = in_strNetworkFile;
    const std::optional<TrainingDigest> digest = TrainingDigest::find(strContent);
    const std::string strDifference =
        digest ? digest->findDifference(TrainingDigest::of(*m_content.m_pGenerator, *pPatterns, false)) : "";
    if (!strDifference.empty())
        QC_WARN("Network " << in_strNetworkFile << " was trained otherwise: the detector has "
                           << strDifference);
    if (!isOnnxFile(strContent, in_strNetworkFile))
        return setFann(strContent, in_strNetworkFile.c_str());
    // Tried under the name of its file.
    const std::unique_ptr<OnnxNetwork> pNetwork(
        OnnxNetwork::newFromContent(strContent, in_strNetworkFile.c_str()));
    m_content.m_strKind = DetectorContent::ONNX;
    m_content.m_strNetwork = toBase64(strContent);
    return pNetwork != nullptr;
}

bool DetectorDraft::write(FileReplacer& io_file)
{
    QC_TRACE("DetectorDraft::write");
    m_content.m_origin.m_strVersion = ApplicationImpl::getVersion();
    std::string strReason;
    const std::unique_ptr<Detector> pDetector = Detector::newFromContent(m_content, strReason);
    if (pDetector == nullptr)
        return refuse(strReason);
    const std::string strText = pDetector->describe().m_strText;
    if (strText.size() > CheckedXmlInputArchive::MAX_SIZE)
        return refuse("it would be larger than " + std::to_string(CheckedXmlInputArchive::MAX_SIZE) +
                      " bytes");
    if (io_file.write(strText) && io_file.commit())
        return true;
    QC_ERROR("Cannot write detector " << io_file.getPath() << ": " << io_file.getReason());
    return false;
}

} // namespace Vexalor::MachineLearning
