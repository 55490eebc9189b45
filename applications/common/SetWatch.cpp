#include "common/SetWatch.h"

#include "MLDataGeneratorFactory.h"
#include "MLScalingDataGenerator.h"
#include "common/PatternProgress.h"
#include "common/Ranks.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/CommandLineError.h"

#include <filesystem>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.SetWatch");

constexpr const char* STRICT_OPTION = "strict";

} // namespace

void SetWatch::addOption(options_description& io_options)
{
    io_options.add_options()(STRICT_OPTION, bool_switch(), "fail when recordings of a set were skipped");
}

void SetWatch::takeOption(const variables_map& in_map)
{
    m_bStrict = in_map[STRICT_OPTION].as<bool>();
}

void SetWatch::checkInput(const DataGenerator* in_pGenerator, const std::string& in_strConfigFile,
                          const std::string& in_strInputFile)
{
    if (in_strInputFile.empty() && dynamic_cast<const FileDataGenerator*>(in_pGenerator) != nullptr)
        throw CommandLineError("The generator of " + in_strConfigFile +
                               " reads a file: give it with --data-gen-filename");
}

CountedObjPtr<DataGenerator>
SetWatch::newDataGenerator(const char* in_configFile, const char* in_inputFile,
                           const Handle<Resettable, ReferenceCount>& in_entityToReset, bool in_bInMemory,
                           const char* in_scalingConfigFile)
{
    const CountedObjPtr<DataGenerator> pGenerator = loadDataGenerator(in_configFile);
    checkInput(pGenerator.get(), in_configFile, in_inputFile);
    return prepareDataGenerator(pGenerator, in_inputFile, in_entityToReset, in_bInMemory,
                                in_scalingConfigFile);
}

CountedObjPtr<DataGenerator>
SetWatch::prepareDataGenerator(const CountedObjPtr<DataGenerator>& in_pGenerator, const char* in_inputFile,
                               const Handle<Resettable, ReferenceCount>& in_entityToReset, bool in_bInMemory,
                               const char* in_scalingConfigFile)
{
    QC_TRACE("SetWatch::prepareDataGenerator");
    m_pGenerator = in_pGenerator;
    if (m_pGenerator.isNull())
        return {};
    auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(m_pGenerator.get());
    if (m_pRanks == nullptr)
        m_progress.emplace();
    else // what is told at the end of a pass is of the share
        Logger::setLevel("quillcast.ml.generator.FileSetDataGenerator.summary", LogLevel::WARN);
    m_start = std::chrono::steady_clock::now();
    m_uiPatterns = 0;
    m_strPlace.clear();
    if (pSet != nullptr)
        pSet->setFileWatcher(
            [this](const std::string& in_strFilename, std::size_t in_uiNumber, std::size_t in_uiOf)
            { showPlace(in_strFilename, in_uiNumber, in_uiOf); });
    if (!takeFile(in_inputFile, in_entityToReset))
        return {};
    const CountedObjPtr<DataGenerator> pWrapped =
        wrapDataGenerator(m_pGenerator, in_entityToReset, in_bInMemory, in_scalingConfigFile);
    const bool bShare = m_shard || m_pRanks != nullptr;
    return !bShare || pWrapped.isNull() || acceptScaling(*pWrapped) ? pWrapped
                                                                    : CountedObjPtr<DataGenerator>();
}

void SetWatch::showPlace(const std::string& in_strFilename, std::size_t in_uiNumber, std::size_t in_uiOf)
{
    ConsoleLog::settleErrors(); // of recordings before it: they are skipped
    m_strPlace = "recording " + std::to_string(in_uiNumber) + " of " + std::to_string(in_uiOf) + ", " +
                 std::filesystem::path(in_strFilename).filename().string();
    if (m_progress && m_progress->isDue())
        m_progress->show(m_program + (": " + m_strPlace));
}

bool SetWatch::acceptScaling(const DataGenerator& in_generator)
{
    QC_TRACE("SetWatch::acceptScaling");
    const auto* pScaling = dynamic_cast<const ScalingDataGenerator*>(&in_generator);
    if (pScaling == nullptr || !pScaling->getConfig().m_bLearnScalingParameters)
        return true;
    QC_ERROR("The scaling would be learnt from the share alone: learn it before, from all recordings, with "
             "ml-config learn-scaling");
    return false;
}

bool SetWatch::takeFile(const char* in_inputFile, const Handle<Resettable, ReferenceCount>& in_entityToReset)
{
    if (!m_shard && m_pRanks == nullptr)
        return MachineLearning::prepareDataGenerator(*m_pGenerator, in_inputFile, in_entityToReset);
    return takeShare(in_inputFile) && handOverEntity(*m_pGenerator, in_entityToReset);
}

bool SetWatch::takeShare(const char* in_inputFile)
{
    if (m_pRanks != nullptr)
    {
        if (m_pRanks->isFirst() && !dealParts(in_inputFile))
            return false;
        ByteReader reader(m_pRanks->getTask());
        reader(m_part);
        return m_part.isSeenHere() && gotoPass(0);
    }
    std::vector<RecordingPart> vParts;
    if (!readParts(in_inputFile, m_shard->m_uiOf, vParts))
        return false;
    m_part = std::move(vParts[m_shard->m_uiNumber - 1]);
    return gotoPass(0);
}

bool SetWatch::readParts(const char* in_inputFile, std::size_t in_uiParts,
                         std::vector<RecordingPart>& out_vParts)
{
    m_listDigest = {};
    return readRecordingParts(*m_pGenerator, in_inputFile, in_uiParts, out_vParts, m_listDigest);
}

bool SetWatch::dealParts(const char* in_inputFile)
{
    std::vector<RecordingPart> vParts;
    if (!readParts(in_inputFile, m_pRanks->getShard().m_uiOf, vParts))
        return false;
    m_pRanks->deal(vParts);
    return true;
}

bool SetWatch::gotoPass(std::size_t in_uiPass)
{
    QC_TRACE("SetWatch::gotoPass");
    m_part.m_pass = in_uiPass;
    return dynamic_cast<FileSetDataGeneratorImpl&>(*m_pGenerator).setRecordings(m_part);
}

std::size_t SetWatch::getNbPasses() const
{
    const auto* pSet = dynamic_cast<const FileSetDataGeneratorImpl*>(m_pGenerator.get());
    return pSet == nullptr ? 1 : pSet->getNbPasses();
}

void SetWatch::countPattern()
{
    ++m_uiPatterns;
    if (m_pRanks != nullptr && m_pRanks->isTickDue())
        m_pRanks->tick(m_uiPatterns, m_pGenerator->getShareRead());
    if (!m_progress || !m_progress->isDue())
        return;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    m_progress->show(m_program + (": " + m_strPlace) + (m_strPlace.empty() ? "" : ", ") +
                     PatternProgress::toText(m_uiPatterns, m_pGenerator->getShareRead(), elapsed.count()));
}

void SetWatch::closeSet()
{
    QC_TRACE("SetWatch::closeSet");
    m_progress.reset();
    auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(m_pGenerator.get());
    if (pSet != nullptr)
    {
        m_uiListed += pSet->getFileCounts().m_uiListed;
        m_uiSkipped += pSet->getFileCounts().m_uiSkipped;
        pSet->setFileWatcher({});
    }
    m_pGenerator = {};
}

void SetWatch::setCounts(std::size_t in_uiListed, std::size_t in_uiSkipped)
{
    m_uiListed = in_uiListed;
    m_uiSkipped = in_uiSkipped;
}

bool SetWatch::accept() const
{
    QC_TRACE("SetWatch::accept");
    if (!m_bStrict || m_uiSkipped == 0)
        return true;
    QC_ERROR(m_uiSkipped << " of " << m_uiListed << " recordings were skipped");
    return false;
}

} // namespace Vexalor::MachineLearning
