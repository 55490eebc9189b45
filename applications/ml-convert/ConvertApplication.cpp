#include "ml-convert/ConvertApplication.h"

#include "common/OutputFile.h"
#include "common/OverwriteGuard.h"
#include "common/PatternProgress.h"
#include "ml-convert/PartPatterns.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/CommandLineError.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Convert");

constexpr const char* OF_WHOLE[] = {"test", "split-size"};
constexpr const char* OF_INPUT[] = {"datagen-config", "input-file", "scaling-config", "in-memory", "test"};

} // namespace

ConvertApplication::ConvertApplication()
    : DataConvertApplication("ml-convert")
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
                "ml-convert --join share.1 share.2 --output-type binary --output-file p.bin");
}

bool ConvertApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    takeWrapperOptions(in_map);
    m_shares.takeOptions(in_map);
    const std::string strFault = m_shares.findMisplaced(in_map, OF_WHOLE, OF_INPUT);
    if (!strFault.empty())
        throw CommandLineError(strFault);
    if (m_shares.getShard())
    {
        m_watch.setShard(*m_shares.getShard());
        setInMemory(false); // a single pass has no use for it
        ShareOptions::addToJob(in_map, OF_INPUT, m_job);
        for (const char* option : {"datagen-config", "scaling-config"})
            m_job.addFile(getString(in_map, option));
    }
    return DataConvertApplication::processCmdlineVarsMap(in_map) &&
           (isStopped() || !m_shares.getShard() || m_watch.acceptScaling(getInput()));
}

CountedObjPtr<DataGenerator> ConvertApplication::newInput_i(const variables_map& in_map)
{
    if (!m_shares.isJoin())
        return DataConvertApplication::newInput_i(in_map);
    const CountedObjPtr<PartPatterns> pParts(new PartPatterns);
    return pParts->open(getName(), m_shares.getJoined()) ? pParts : CountedObjPtr<PartPatterns>();
}

bool ConvertApplication::prepareInput_i(const CountedObjPtr<DataGenerator>& in_pGenerator,
                                        const std::string& in_strInputFile)
{
    if (!m_shares.getShard())
        return DataConvertApplication::prepareInput_i(in_pGenerator, in_strInputFile);
    return !m_watch.prepareDataGenerator(in_pGenerator, in_strInputFile.c_str(), {}, false, "").isNull();
}

DataConverter::Watch ConvertApplication::newWatch_i()
{
    if (m_shares.getShard())
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
    if (!m_shares.getShard())
        return DataConvertApplication::convert_i();
    const bool bConverted = convertShare();
    m_watch.closeSet();
    if (!bConverted)
        QC_ERROR("Conversion failed !");
    return bConverted;
}

/// Always as a binary file, which keeps every value to the bit: the output type is that of what is joined.
bool ConvertApplication::convertShare()
{
    ConvertShare share;
    do
    {
        const std::size_t uiPass = share.m_vPasses.size();
        const std::string strFile = ConvertShare::nameOfPass(getOutputFile(), uiPass);
        BinaryFileWriter writer;
        writer.keepWithoutTargets();
        const std::optional<std::uint64_t> patterns =
            uiPass == 0 || m_watch.gotoPass(uiPass) ? convertInto(writer, strFile) : std::nullopt;
        if (!patterns)
            return false;
        share.m_vPasses.push_back({*patterns, getFileSizes({strFile}).front()});
    } while (share.m_vPasses.size() < m_watch.getNbPasses());
    ConsoleLog::settleErrors(); // of recordings that were skipped
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

} // namespace Vexalor::MachineLearning
