#include "ml-config/ConfigCommands.h"

#include "common/OutputFile.h"
#include "detector/Detector.h"
#include "detector/FeatureTrial.h"
#include "ml-config/Explanation.h"
#include "ml-config/GeneratorFile.h"
#include "quillcast-core/Logger.h"

#include <iostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

/// In the files of shares.
constexpr const char* PROGRAM = "ml-config learn-scaling";

/// Tries the generator and writes its configuration, with a comment. Warns of what is probably not meant.
bool write(const GeneratorFile& in_made, const std::string& in_strFile)
{
    ArchiveDescription description = in_made.describe();
    const GeneratorOutlook outlook = examineGenerator(*in_made.m_pGenerator, description.m_root);
    if (!outlook.m_strFault.empty())
    {
        QC_ERROR("No pattern could be made: " << outlook.m_strFault);
        return false;
    }
    for (const std::string& strWarning : outlook.m_vWarnings)
        QC_WARN(in_strFile << ": " << strWarning);
    description.m_strText += makeComment(description.m_root);
    if (in_strFile == STANDARD_OUTPUT)
    {
        std::cout << description.m_strText;
        return true;
    }
    if (!replaceFile(in_strFile, description.m_strText))
        return false;
    QC_INFO("Configuration " << in_strFile << " written"
                             << (outlook.m_strPatterns.empty() ? "" : ": " + outlook.m_strPatterns));
    return true;
}

bool explainDetector(const std::string& in_strFile)
{
    const std::unique_ptr<Detector> pDetector = Detector::newFromFile(in_strFile.c_str());
    if (pDetector == nullptr)
        return false;
    const ArchiveDescription description = pDetector->describe();
    // Behind the libraries; the generator is its first field.
    const ArchiveElement& generator = description.m_root.m_vElements.at(1).m_vElements.at(0);
    GeneratorOutlook outlook = examineGenerator(*pDetector->getContent().m_pGenerator, generator);
    std::string strClasses;
    for (const std::string& strClass : pDetector->getClassNames())
        strClasses += (strClasses.empty() ? "" : ", ") + strClass;
    const Network& network = pDetector->getNetwork();
    outlook.m_vRemarks.push_back("a network of " + countOf(network.getInputSize(), "input") + " and " +
                                 countOf(network.getOutputSize(), "output") + ": " + strClasses +
                                 (network.hasState() ? "; it has states" : ""));
    printExplanation(std::cout, description.m_root, outlook);
    return true;
}

} // namespace

bool writeConfiguration(const GeneratorRequest& in_request, const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::writeConfiguration");
    std::string strText;
    const std::string strFault = makeConfiguration(in_request, strText);
    if (!strFault.empty())
    {
        QC_ERROR("Cannot configure the generator: " << strFault);
        return false;
    }
    GeneratorFile made;
    return made.fromText(strText, "the new configuration") && write(made, in_strFile);
}

bool learnScaling(const ScalingRequest& in_request, const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::learnScaling");
    const GeneratorFile made{{}, newLearntScaling(in_request)};
    return !made.m_pGenerator.isNull() && write(made, in_strFile);
}

bool learnScalingShare(const ScalingRequest& in_request, const Shard& in_shard, const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::learnScalingShare");
    // Each recording is a set of its own, whose summary is none of the share.
    Logger::setLevel("quillcast.ml.generator.FileSetDataGenerator.summary", LogLevel::WARN);
    ScalingShare share;
    JobDigest job;
    job.addFile(in_request.m_strConfigFile);
    if (!sumUpShare(in_request, in_shard, share, job))
        return false;
    ByteWriter content;
    content(share);
    if (!replaceFile(in_strFile, ShareFile{PROGRAM, job.get(), in_shard, content.getBytes(), {}}.toBytes()))
        return false;
    QC_INFO("Share " << in_shard.toText() << " of the scaling left in " << in_strFile << ": "
                     << countOf(share.m_vRecordings.size(), "recording"));
    return true;
}

bool joinScaling(const ScalingRequest& in_request, const StringVector& in_vShares,
                 const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::joinScaling");
    std::vector<ShareFile> vShares;
    if (!readShares(PROGRAM, in_vShares, vShares))
        return false;
    ScalingShare all;
    for (const ShareFile& file : vShares)
    {
        ScalingShare share;
        ByteReader reader(file.m_strContent);
        reader(share);
        if (!reader.isAtEnd())
        {
            QC_ERROR("Share " << file.m_shard.toText() << " makes no sense");
            return false;
        }
        std::move(share.m_vRecordings.begin(), share.m_vRecordings.end(),
                  std::back_inserter(all.m_vRecordings));
    }
    const GeneratorFile made{{}, newJoinedScaling(in_request, all)};
    return !made.m_pGenerator.isNull() && write(made, in_strFile);
}

bool explainConfiguration(const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::explainConfiguration");
    std::string strText;
    GeneratorFile file;
    if (!readConfigurationText(in_strFile.c_str(), strText))
        return false;
    if (Detector::isDetector(strText))
        return explainDetector(in_strFile);
    if (!file.fromText(strText, in_strFile.c_str()))
        return false;
    const ArchiveDescription description = file.describe();
    const GeneratorOutlook outlook = examineGenerator(*file.m_pGenerator, description.m_root);
    printExplanation(std::cout, description.m_root, outlook);
    if (!outlook.m_strFault.empty())
        QC_ERROR("No pattern could be made with " << in_strFile << ": " << outlook.m_strFault);
    return outlook.m_strFault.empty();
}

} // namespace Vexalor::MachineLearning
