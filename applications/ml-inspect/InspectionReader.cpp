#include "ml-inspect/InspectionReader.h"

#include "MLDataGeneratorFactory.h"
#include "common/Ranks.h"
#include "inspect/Inspector.h"
#include "ml-config/GeneratorOutlook.h"
#include "quillcast-core/LogListener.h"

#include <algorithm>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Inspect");

/// What the generator said of its failure.
std::string explainStop(const std::string& in_strFile, LogListener& io_listener)
{
    const std::string strReason = io_listener.takeReason();
    return strReason.empty() ? in_strFile : strReason;
}

/// What the configuration alone tells.
void examine(const DataGenerator& in_generator, InspectedData& io_data)
{
    DescribingArchive archive;
    describeDataGenerator(archive, {}, in_generator);
    const GeneratorOutlook outlook = examineGenerator(in_generator, archive.finish().m_root);
    io_data.m_vFeatureRates = outlook.m_vFeatureRates;
    io_data.m_vConfiguredClasses = getClasses(in_generator);
    const std::string strPrefix = io_data.m_strConfiguration + ": ";
    if (!outlook.m_strFault.empty())
        io_data.m_vFindings.push_back(
            {Finding::Severity::ERROR, strPrefix + "no pattern can be made: " + outlook.m_strFault});
    for (const std::string& strWarning : outlook.m_vWarnings)
        io_data.m_vFindings.push_back({Finding::Severity::WARNING, strPrefix + strWarning});
}

} // namespace

bool readInspectionTasks(const DataGenerator& in_generator, const StringVector& in_vFiles,
                         std::size_t in_uiShares, std::vector<InspectionTask>& out_vTasks, JobDigest& io_job)
{
    QC_TRACE("MachineLearning::readInspectionTasks");
    out_vTasks.resize(in_uiShares);
    for (const std::string& strFile : in_vFiles)
    {
        std::vector<RecordingPart> vParts;
        if (!readRecordingParts(in_generator, strFile.c_str(), in_uiShares, vParts, io_job))
            return false;
        for (std::size_t i = 0; i < in_uiShares; ++i)
            out_vTasks[i].m_vParts.push_back(std::move(vParts[i]));
    }
    return true;
}

InspectedPart InspectionReader::readWhole(InspectedData& io_data)
{
    QC_TRACE("InspectionReader::readWhole");
    LogListener listener;
    m_pListener = &listener;
    m_progress.emplace("ml-inspect");
    InspectedPart whole;
    for (const std::string& strFile : io_data.m_vInputFiles)
    {
        Passes vPasses;
        readFile(strFile, io_data, vPasses);
        whole.append(InspectionShare::joinPasses(io_data, strFile, std::move(vPasses)));
    }
    m_progress.reset();
    return whole;
}

bool InspectionReader::readShare(const InspectionTask& in_task, InspectionShare& io_share)
{
    QC_TRACE("InspectionReader::readShare");
    m_pTask = &in_task;
    if (m_pRanks == nullptr)
        m_progress.emplace("ml-inspect");
    std::string strFault;
    {
        LogListener listener;
        m_pListener = &listener;
        for (const std::string& strFile : io_share.m_data.m_vInputFiles)
        {
            if (strFault.empty() && !readFile(strFile, io_share.m_data, io_share.m_vFiles.emplace_back()))
                strFault = io_share.m_vFiles.back().front().m_vStops.front();
            ++m_uiFile;
        }
    }
    m_progress.reset();
    if (!strFault.empty())
        QC_ERROR(strFault);
    return strFault.empty();
}

/// False when the file cannot be set.
bool InspectionReader::readFile(const std::string& in_strFile, InspectedData& io_data, Passes& out_vPasses)
{
    InspectedPart& part = out_vPasses.emplace_back();
    part.m_bReached = true;
    const auto refuse = [&](const std::string& in_strName)
    {
        part.m_vStops.push_back(explainStop(in_strName, *m_pListener));
        return false;
    };
    const CountedObjPtr<DataGenerator> pGenerator =
        m_pFirst.isNull() ? loadDataGenerator(io_data.m_strConfiguration.c_str())
                          : std::exchange(m_pFirst, CountedObjPtr<DataGenerator>());
    if (pGenerator.isNull())
        return refuse(io_data.m_strConfiguration);
    if (&in_strFile == &io_data.m_vInputFiles.front())
        examine(*pGenerator, io_data);
    m_pListener->takeReason();
    if (!takeFile(*pGenerator, in_strFile))
        return refuse(in_strFile);
    part.m_survey.add(*pGenerator);
    m_pListener->takeReason();
    auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(pGenerator.get());
    if (pSet == nullptr)
        readStream(io_data, *pGenerator, in_strFile, part);
    else if (io_data.m_bValidate)
        validateSet(io_data, *pSet, part);
    else
        readSet(io_data, *pSet, out_vPasses);
    return true;
}

/// A set always reads a part, of which all may be one: it tells apart that no recording can be used.
bool InspectionReader::takeFile(DataGenerator& io_generator, const std::string& in_strFile)
{
    auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(&io_generator);
    if (pSet == nullptr && m_pTask == nullptr)
        return prepareDataGenerator(io_generator, in_strFile.c_str(), {});
    m_list = {};
    if (m_pTask != nullptr)
    {
        m_list = m_pTask->m_vParts[m_uiFile];
        m_list.m_pass = 0;
    }
    else if (m_list.read(in_strFile.c_str()))
        m_list.m_place = RecordingList::Place::FIRST_PART;
    else
        return false;
    return pSet->setRecordings(m_list);
}

/// Messages of earlier recordings, which were skipped, do not explain why a stream stopped.
void InspectionReader::readSet(const InspectedData& in_data, FileSetDataGeneratorImpl& io_set,
                               Passes& io_vPasses)
{
    io_vPasses.resize(m_pTask == nullptr ? 1 : std::max<std::size_t>(io_set.getNbPasses(), 1));
    for (std::size_t i = 0; i < io_vPasses.size(); ++i)
    {
        InspectedPart& part = io_vPasses[i];
        if (i > 0)
        {
            m_list.m_pass = i;
            io_set.setRecordings(m_list);
            m_pListener->takeReason();
        }
        part.m_bReached = false;
        io_set.setFileWatcher(
            [&](const std::string&, std::size_t, std::size_t)
            {
                part.m_bReached = true;
                const std::string strReason = explainStop(m_list.m_strName, *m_pListener);
                if (!io_set.endedCleanly() && part.m_vStops.empty())
                    part.m_vStops.push_back(strReason);
            });
        readStream(in_data, io_set, m_list.m_strName, part);
        io_set.setFileWatcher({});
        if (i + 1 < io_vPasses.size())
            part.m_statistics = {};
    }
}

/// One recording after the other, since the stream of a set stops at the first one that cannot be read to its
/// end. What cannot be set at all was told by the survey.
void InspectionReader::validateSet(const InspectedData& in_data, FileSetDataGeneratorImpl& io_set,
                                   InspectedPart& io_part)
{
    const CountedObjPtr<FileDataGenerator> pGenerator = io_set.newFileGenerator();
    for (const std::string& strName : io_set.getListedFilenames())
    {
        if (pGenerator.isNull() || !pGenerator->setCurrentFilename(strName.c_str()))
            continue;
        m_pListener->takeReason();
        readStream(in_data, *pGenerator, strName, io_part);
    }
}

void InspectionReader::readStream(const InspectedData& in_data, DataGenerator& io_generator,
                                  const std::string& in_strName, InspectedPart& io_part)
{
    const auto watch = [this](const DataGenerator& in_generator)
    {
        ++m_uiPatterns;
        if (m_pRanks != nullptr && m_pRanks->isTickDue())
            m_pRanks->tick(m_uiPatterns, in_generator.getShareRead());
        if (m_progress && m_progress->isDue())
            m_progress->show(m_uiPatterns, in_generator.getShareRead());
    };
    const bool bOnlyPart = m_pTask == nullptr && in_data.m_vInputFiles.size() == 1;
    Inspector inspector(io_part, bOnlyPart ? 1 : InspectedPart::MAX_SIZES, in_data.m_vClassNames, watch);
    const std::size_t uiStops = io_part.m_vStops.size();
    if (!inspector.add(io_generator) && io_part.m_vStops.size() == uiStops)
        io_part.m_vStops.push_back(explainStop(in_strName, *m_pListener));
}

} // namespace Vexalor::MachineLearning
