#include "common/SetWatch.h"

#include "MLDataGeneratorFactory.h"
#include "MLFileSetDataGenerator.h"
#include "common/PatternProgress.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/Logger.h"

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

CountedObjPtr<DataGenerator>
SetWatch::newDataGenerator(const char* in_configFile, const char* in_inputFile,
                           const Handle<Resettable, ReferenceCount>& in_entityToReset, bool in_bInMemory,
                           const char* in_scalingConfigFile)
{
    const CountedObjPtr<DataGenerator> pGenerator = loadDataGenerator(in_configFile);
    if (dynamic_cast<FileDataGenerator*>(pGenerator.get()) != nullptr && *in_inputFile == '\0')
    {
        QC_ERROR("The generator of " << in_configFile << " reads a file: give it with --data-gen-filename");
        return {};
    }
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
    m_progress.emplace();
    m_start = std::chrono::steady_clock::now();
    m_uiPatterns = 0;
    m_strPlace.clear();
    const auto show = [this](const std::string& in_strFilename, std::size_t in_uiNumber, std::size_t in_uiOf)
    {
        ConsoleLog::settleErrors(); // of recordings before it: they are skipped
        m_strPlace = "recording " + std::to_string(in_uiNumber) + " of " + std::to_string(in_uiOf) + ", " +
                     std::filesystem::path(in_strFilename).filename().string();
        if (m_progress->isDue())
            m_progress->show(m_program + (": " + m_strPlace));
    };
    if (pSet != nullptr)
        pSet->setFileWatcher(show);
    if (!MachineLearning::prepareDataGenerator(*m_pGenerator, in_inputFile, in_entityToReset))
        return {};
    return wrapDataGenerator(m_pGenerator, in_entityToReset, in_bInMemory, in_scalingConfigFile);
}

void SetWatch::countPattern()
{
    ++m_uiPatterns;
    if (!m_progress->isDue())
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

bool SetWatch::accept() const
{
    QC_TRACE("SetWatch::accept");
    if (!m_bStrict || m_uiSkipped == 0)
        return true;
    QC_ERROR(m_uiSkipped << " of " << m_uiListed << " recordings were skipped");
    return false;
}

} // namespace Vexalor::MachineLearning
