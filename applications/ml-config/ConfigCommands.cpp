#include "ml-config/ConfigCommands.h"

#include "common/OutputFile.h"
#include "common/Ranks.h"
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

/// Each recording is a set of its own, whose summary is none of the share.
void hideSummaries()
{
    Logger::setLevel("quillcast.ml.generator.FileSetDataGenerator.summary", LogLevel::WARN);
}

JobDigest digestOf(const ScalingRequest& in_request)
{
    JobDigest job;
    job.addFile(in_request.m_strConfigFile);
    return job;
}

template <class T>
std::string toBytes(const T& in_value)
{
    ByteWriter bytes;
    bytes(in_value);
    return bytes.getBytes();
}

bool joinShares(const ScalingRequest& in_request, const std::vector<ShareFile>& in_vShares,
                const std::string& in_strFile)
{
    ScalingShare all;
    for (const ShareFile& file : in_vShares)
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
    hideSummaries();
    JobDigest job = digestOf(in_request);
    std::vector<ScalingTask> vTasks;
    ScalingShare share;
    if (!readScalingTasks(in_request, in_shard.m_uiOf, vTasks, job) ||
        !sumUp(in_request, vTasks[in_shard.m_uiNumber - 1], {}, share) ||
        !replaceFile(in_strFile, ShareFile{PROGRAM, job.get(), in_shard, toBytes(share), {}}.toBytes()))
        return false;
    QC_INFO("Share " << in_shard.toText() << " of the scaling left in " << in_strFile << ": "
                     << countOf(share.m_vRecordings.size(), "recording"));
    return true;
}

bool learnScalingTogether(const ScalingRequest& in_request, Ranks& io_ranks, const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::learnScalingTogether");
    hideSummaries();
    JobDigest job = digestOf(in_request);
    io_ranks.setJob(job);
    std::vector<ScalingTask> vTasks;
    if (io_ranks.isFirst())
    {
        if (!readScalingTasks(in_request, io_ranks.getShard().m_uiOf, vTasks, job))
            return false;
        io_ranks.deal(vTasks);
    }
    ScalingTask task;
    ByteReader(io_ranks.getTask())(task);
    std::size_t uiListed = 0;
    for (const RecordingPart& part : task.m_vParts)
    {
        if (!part.isSeenHere())
            return false;
        uiListed += part.m_vFilenames.size();
    }
    ScalingShare share;
    std::uint64_t uiPatterns = 0;
    const auto watch = [&](std::uint64_t in_uiPatterns)
    {
        uiPatterns += in_uiPatterns;
        io_ranks.tick(uiPatterns,
                      static_cast<double>(share.m_vRecordings.size()) / static_cast<double>(uiListed));
    };
    if (!sumUp(in_request, task, watch, share))
        return false;
    if (io_ranks.isFirst())
        return joinShares(in_request, io_ranks.gather(toBytes(share)), in_strFile);
    io_ranks.deliver(toBytes(share));
    return true;
}

bool joinScaling(const ScalingRequest& in_request, const StringVector& in_vShares,
                 const std::string& in_strFile)
{
    QC_TRACE("MachineLearning::joinScaling");
    std::vector<ShareFile> vShares;
    return readShares(PROGRAM, in_vShares, vShares) && joinShares(in_request, vShares, in_strFile);
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
