#include "ml-convert/ConvertApplication.h"

#include "common/OutputFile.h"
#include "common/OverwriteGuard.h"
#include "common/PatternProgress.h"
#include "detector/DetectorOption.h"
#include "ml-convert/PartPatterns.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/CommandLineError.h"

#include <filesystem>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Convert");

constexpr const char* OF_ONE_PROCESS[] = {"test"};
constexpr const char* OF_WHOLE[] = {"test", "split-size"};
constexpr const char* OF_INPUT[] = {"datagen-config", "input-file", "scaling-config", "in-memory", "test"};

} // namespace

ConvertApplication::ConvertApplication(Ranks& io_ranks)
    : DataConvertApplication("ml-convert")
    , m_ranks(io_ranks)
{
    addWrapperOptions();
    m_shares.addOptions(getOptions());
    setDescription(
        "Writes the patterns of a generator to a pattern file, or tests that a file delivers the same.");
    setExamples("ml-convert --datagen-config text.xml --input-file p.txt \\\n"
                "    --output-type binary --output-file p.bin\n"
                "ml-convert --test --strict --datagen-config text.xml --input-file p.txt \\\n"
                "    --output-datagen-config binary.xml --output-file p.bin\n"
                "ml-convert --shard 1/2 --datagen-config set.xml --input-file calls.lst \\\n"
                "    --output-type binary --output-file share.1\n"
                "ml-convert --join share.1 share.2 --output-type binary --output-file p.bin\n"
                "mpirun -n 2 ml-convert --datagen-config set.xml --input-file calls.lst \\\n"
                "    --output-type binary --output-file p.bin");
}

ConvertApplication::~ConvertApplication() = default;

bool ConvertApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    refuseDetectors(in_map, {"datagen-config", "output-datagen-config"}, "a configuration is needed here");
    if (getString(in_map, "output-file") == "-")
        throw CommandLineError(
            "option '--output-file' takes a file, patterns are not written to standard output");
    takeWrapperOptions(in_map);
    m_shares.takeOptions(in_map);
    std::string strFault = m_shares.findMisplaced(in_map, OF_WHOLE, OF_INPUT);
    if (m_ranks.areTogether())
        strFault = ShareOptions::findGiven(in_map, OF_ONE_PROCESS, "not for ranks");
    if (!strFault.empty())
        throw CommandLineError(strFault);
    if (m_shares.getShard())
        m_watch.setShard(*m_shares.getShard());
    if (m_ranks.areTogether())
        m_watch.setRanks(m_ranks);
    if (isPart())
    {
        setInMemory(false); // a single pass has no use for it
        ShareOptions::addToJob(in_map, OF_INPUT, m_job);
        for (const char* option : {"datagen-config", "scaling-config"})
            m_job.addFile(getString(in_map, option));
    }
    return DataConvertApplication::processCmdlineVarsMap(in_map) &&
           (isStopped() || !isPart() || m_watch.acceptScaling(getInput()));
}

CountedObjPtr<DataGenerator> ConvertApplication::newInput_i(const variables_map& in_map)
{
    if (!m_shares.isJoin())
        return DataConvertApplication::newInput_i(in_map);
    std::vector<ShareFile> vShares;
    const CountedObjPtr<PartPatterns> pParts(new PartPatterns);
    return readShares(getName(), m_shares.getJoined(), vShares) && pParts->open(vShares)
               ? pParts
               : CountedObjPtr<PartPatterns>();
}

/// A share is taken when all options are known to be right.
bool ConvertApplication::prepareInput_i(const CountedObjPtr<DataGenerator>& in_pGenerator,
                                        const std::string& in_strInputFile)
{
    if (!isPart())
        return DataConvertApplication::prepareInput_i(in_pGenerator, in_strInputFile);
    m_pSet = in_pGenerator;
    m_strList = in_strInputFile;
    return true;
}

DataConverter::Watch ConvertApplication::newWatch_i()
{
    if (!m_pSet.isNull())
        return [this](std::uint64_t)
        {
            m_watch.countPattern();
            return true;
        };
    const auto pProgress = std::make_shared<PatternProgress>(getName());
    return [this, pProgress](std::uint64_t in_uiPatterns)
    {
        if (pProgress->isDue())
            pProgress->show(in_uiPatterns, getShareRead());
        return true;
    };
}

bool ConvertApplication::convert_i()
{
    if (!isPart())
        return DataConvertApplication::convert_i();
    const bool bConverted = m_ranks.areTogether() ? convertTogether() : leaveShare();
    if (!bConverted)
        QC_ERROR("Conversion failed !");
    return bConverted;
}

/// The patterns of a pass over the share. Ranks keep them under no name of their own.
std::optional<std::uint64_t> ConvertApplication::writePass(std::size_t in_uiPass,
                                                           ConvertShare::Pass& out_pass)
{
    BinaryFileWriter writer;
    writer.keepWithoutTargets();
    if (!m_ranks.areTogether())
        return convertInto(writer, ConvertShare::nameOfPass(getOutputFile(), in_uiPass));
    m_vKept.push_back(std::make_unique<FileReplacer>(getOutputFile() + ".part"));
    const std::optional<std::uint64_t> patterns = writeInto(writer, *m_vKept.back());
    out_pass.m_strFile = m_vKept.back()->getTemporaryPath();
    return patterns;
}

/// Always as binary files, which keep every value to the bit: the output type is that of what is joined.
bool ConvertApplication::convertShare(ConvertShare& out_share)
{
    if (m_watch.prepareDataGenerator(m_pSet, m_strList.c_str(), {}, false, "").isNull())
        return false;
    do
    {
        const std::size_t uiPass = out_share.m_vPasses.size();
        if (uiPass > 0 && !m_watch.gotoPass(uiPass))
            return false;
        ConvertShare::Pass& pass = out_share.m_vPasses.emplace_back();
        const std::optional<std::uint64_t> patterns = writePass(uiPass, pass);
        if (!patterns)
            return false;
        pass.m_uiPatterns = *patterns;
    } while (out_share.m_vPasses.size() < m_watch.getNbPasses());
    ConsoleLog::settleErrors(); // of recordings that were skipped
    m_watch.closeSet();
    m_pSet = {};
    out_share.m_strList = m_strList;
    out_share.m_uiListed = m_watch.getNbListed();
    out_share.m_uiSkipped = m_watch.getNbSkipped();
    return true;
}

bool ConvertApplication::leaveShare()
{
    if (isSameFile(m_strList, getOutputFile()))
    {
        QC_ERROR("The share would be written over its list " << m_strList << ", which the other shares need");
        return false;
    }
    ConvertShare share;
    if (!convertShare(share))
        return false;
    for (std::size_t i = 0; i < share.m_vPasses.size(); ++i)
    {
        if (share.m_vPasses[i].m_uiPatterns == 0)
            continue;
        const std::optional<std::uint64_t> sum = sumOfFile(ConvertShare::nameOfPass(getOutputFile(), i));
        if (!sum)
            return false;
        share.m_vPasses[i].m_uiSum = *sum;
    }
    m_job.addText(std::to_string(m_watch.getListDigest().get()));
    ByteWriter content;
    content(share);
    FileReplacer file(getOutputFile());
    const ShareFile left{getName(), m_job.get(), *m_shares.getShard(), content.getBytes(), {}};
    if (!Vexalor::openOutput(OverwriteGuard(), file) || !writeOutput(file, left.toBytes()))
        return false;
    QC_INFO("Share " << left.m_shard.toText() << " of the conversion left in " << getOutputFile());
    return true;
}

/// One of several processes; the first one writes the output.
bool ConvertApplication::convertTogether()
{
    std::error_code error;
    if (std::filesystem::exists(getOutputFile(), error) &&
        !std::filesystem::is_regular_file(getOutputFile(), error))
    {
        QC_ERROR(getOutputFile() << " is no file, beside which ranks could leave their patterns");
        return false;
    }
    m_ranks.setJob(m_job);
    ConvertShare share;
    if (!convertShare(share))
        return false;
    ByteWriter found;
    found(share);
    if (!m_ranks.isFirst())
    {
        m_ranks.deliver(found.getBytes());
        return true;
    }
    const CountedObjPtr<PartPatterns> pParts(new PartPatterns);
    if (!pParts->open(m_ranks.gather(found.getBytes())))
        return false;
    setInput(pParts);
    return DataConvertApplication::convert_i();
}

} // namespace Vexalor::MachineLearning
