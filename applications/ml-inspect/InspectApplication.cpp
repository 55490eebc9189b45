#include "ml-inspect/InspectApplication.h"

#include "MLDataGeneratorFactory.h"
#include "common/ListedNames.h"
#include "common/OutputFile.h"
#include "common/SetWatch.h"
#include "detector/DetectorOption.h"
#include "inspect/InspectionJson.h"
#include "inspect/InspectionPage.h"
#include "inspect/InspectionText.h"
#include "ml-inspect/InspectionReader.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/CommandLineError.h"
#include "report/ReportJson.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Inspect");

constexpr const char* STANDARD_OUTPUT = "-";

/// Where no pattern has a target, no names are wrong.
bool acceptTargets(const InspectedData& in_data, std::size_t in_uiTargets)
{
    return in_uiTargets == 0 || acceptClassNames(in_data.m_vClassNames, in_uiTargets);
}

/// Options that want the whole inspection.
constexpr const char* OF_WHOLE[] = {"json", "html", "least-patterns"};
/// Options that say what is inspected.
constexpr const char* OF_DATA[] = {"data-gen-config", "data-gen-filename", "validate", CLASS_NAMES_OPTION};

} // namespace

InspectApplication::InspectApplication(Ranks& io_ranks)
    : ApplicationImpl(s_logger, "ml-inspect")
    , m_ranks(io_ranks)
{
    registerGeneratorClasses();
    auto addOption = getOptions().add_options();
    addOption("data-gen-config", value<std::string>()->value_name("FILE"),
              "data generator configuration file. MANDATORY");
    addOption("data-gen-filename", value<StringVector>()->value_name("FILE"),
              "data generator input file; repeated, the patterns of all files are joined");
    addOption("json", value<std::string>()->value_name("FILE"),
              "write what was found as JSON; -: standard output, in place of the text");
    addOption("html", value<std::string>()->value_name("FILE"), "write a page to look at");
    addOption("validate", bool_switch(),
              "print only what is wrong, of all recordings of a set, and end with status 1 if there is "
              "anything");
    addOption("least-patterns", value<std::string>()->value_name("N")->default_value("20"),
              "patterns that a class should have");
    addClassNamesOption(getOptions());
    m_shares.addOptions(getOptions());
    OverwriteGuard::addOption(getOptions(), "write over a recording or an input, too");
    setDescription("Tells what the patterns of a generator are like, and what is wrong with them.");
    setExamples("ml-inspect --data-gen-config a.xml --data-gen-filename a.wav --html a.html\n"
                "ml-inspect --validate --data-gen-config set.xml --data-gen-filename calls.lst\n"
                "ml-inspect --data-gen-config set.xml --data-gen-filename calls.lst \\\n"
                "    --shard 1/2 --shard-file data.1\n"
                "ml-inspect --join data.1 data.2 --html data.html\n"
                "mpirun -n 2 ml-inspect --data-gen-config set.xml --data-gen-filename calls.lst");
}

InspectApplication::~InspectApplication() = default;

bool InspectApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("InspectApplication::processCmdlineVarsMap");
    if (!ApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    takeSettings(in_map);
    if (m_share.m_data.m_strConfiguration.empty() && !m_shares.isJoin())
        QC_ERROR("a data generator configuration file must be supplied");
    else if (!m_strJson.empty() && !m_strPage.empty() && isSameFile(m_strJson, m_strPage))
        QC_ERROR("Options --json and --html name the same file");
    else
        return true;
    return refuseCommand();
}

void InspectApplication::takeSettings(const variables_map& in_map)
{
    refuseDetectors(in_map, {"data-gen-config"},
                    "the configuration that it was trained with can be inspected");
    InspectedData& data = m_share.m_data;
    data.m_strConfiguration = getString(in_map, "data-gen-config");
    // Without a file there is one stream all the same: that of a generator that reads none.
    data.m_vInputFiles = in_map.count("data-gen-filename") == 0
                             ? StringVector{""}
                             : in_map["data-gen-filename"].as<StringVector>();
    data.m_bValidate = isSwitchOn(in_map, "validate");
    data.m_vClassNames = getClassNames(in_map);
    m_strJson = getString(in_map, "json");
    m_strPage = getString(in_map, "html");
    m_uiLeastPatterns = getCount(in_map, "least-patterns", 0, std::numeric_limits<std::uint32_t>::max());
    m_guard.takeOption(in_map);
    m_guard.addInput(data.m_strConfiguration);
    for (const std::string& strFile : data.m_vInputFiles)
        m_guard.addInput(strFile);
    takeShareOptions(in_map);
}

void InspectApplication::takeShareOptions(const variables_map& in_map)
{
    m_shares.takeOptions(in_map);
    const std::string strFault = m_shares.findMisplaced(in_map, OF_WHOLE, OF_DATA);
    if (!strFault.empty())
        throw CommandLineError(strFault);
    for (const std::string& strFile : m_shares.getJoined())
        m_guard.addInput(strFile);
    if (m_shares.getShard())
        m_pShareFile = std::make_unique<FileReplacer>(m_shares.getFile());
    else if (!m_ranks.areTogether())
        return;
    ShareOptions::addToJob(in_map, OF_DATA, m_job);
    m_job.addFile(m_share.m_data.m_strConfiguration);
}

/// Before the work, not after it.
bool InspectApplication::openOutputs()
{
    if (!m_strJson.empty() && m_strJson != STANDARD_OUTPUT)
        m_pJson = std::make_unique<FileReplacer>(m_strJson);
    if (!m_strPage.empty())
        m_pPage = std::make_unique<FileReplacer>(m_strPage);
    for (FileReplacer* pFile : {m_pJson.get(), m_pPage.get(), m_pShareFile.get()})
        if (pFile != nullptr && !openOutput(m_guard, *pFile))
            return false;
    return true;
}

bool InspectApplication::run_i()
{
    QC_TRACE("InspectApplication::run_i");
    if (m_shares.isJoin())
        return joinShares();
    InspectedData& data = m_share.m_data;
    CountedObjPtr<DataGenerator> pGenerator = loadDataGenerator(data.m_strConfiguration.c_str());
    SetWatch::checkInput(pGenerator.get(), data.m_strConfiguration, data.m_vInputFiles.front());
    if (pGenerator.isNull() || (m_ranks.isFirst() && !openOutputs()))
        return false;
    if (m_ranks.areTogether())
        return inspectTogether(pGenerator);
    return m_shares.getShard() ? leaveShare(pGenerator)
                               : report(InspectionReader(pGenerator).readWhole(data));
}

/// What is wrong with the data is for the whole to tell.
bool InspectApplication::readTask(CountedObjPtr<DataGenerator> in_pGenerator, const InspectionTask& in_task)
{
    InspectionReader reader(in_pGenerator);
    if (m_ranks.areTogether())
        reader.setRanks(m_ranks);
    if (!reader.readShare(in_task, m_share))
        return false;
    for (const InspectionShare::Passes& vPasses : m_share.m_vFiles)
        for (const InspectedPart& part : vPasses)
            if (!acceptTargets(m_share.m_data, part.getPatterns().getNbTargets()))
                return false;
    return true;
}

bool InspectApplication::leaveShare(CountedObjPtr<DataGenerator> in_pGenerator)
{
    const Shard& shard = *m_shares.getShard();
    std::vector<InspectionTask> vTasks;
    if (!readInspectionTasks(*in_pGenerator, m_share.m_data.m_vInputFiles, shard.m_uiOf, vTasks, m_job) ||
        !readTask(in_pGenerator, vTasks[shard.m_uiNumber - 1]))
        return false;
    const ShareFile file{getName(), m_job.get(), shard, m_share.toBytes(), {}};
    if (!writeOutput(*m_pShareFile, file.toBytes()))
        return false;
    QC_INFO("Share " << shard.toText() << " of the inspection left in " << m_shares.getFile());
    return true;
}

/// One of several processes; the first one tells what all have found.
bool InspectApplication::inspectTogether(CountedObjPtr<DataGenerator> in_pGenerator)
{
    m_ranks.setJob(m_job);
    if (m_ranks.isFirst())
    {
        std::vector<InspectionTask> vTasks;
        if (!readInspectionTasks(*in_pGenerator, m_share.m_data.m_vInputFiles, m_ranks.getShard().m_uiOf,
                                 vTasks, m_job))
            return false;
        m_ranks.deal(vTasks);
    }
    InspectionTask task;
    ByteReader(m_ranks.getTask())(task);
    for (const RecordingPart& part : task.m_vParts)
        if (!part.isSeenHere())
            return false;
    if (!readTask(in_pGenerator, task))
        return false;
    if (!m_ranks.isFirst())
    {
        m_ranks.deliver(m_share.toBytes());
        return true;
    }
    const std::vector<ShareFile> vShares = m_ranks.gather(m_share.toBytes());
    m_share = {};
    return std::all_of(vShares.begin(), vShares.end(),
                       [this](const ShareFile& in_share) { return m_share.append(in_share.m_strContent); }) &&
           report(m_share.takeWhole());
}

/// One share after the other is in memory.
bool InspectApplication::joinShares()
{
    std::vector<ShareFile> vShares;
    if (!readShares(getName(), m_shares.getJoined(), vShares, false) || !openOutputs())
        return false;
    m_share = {};
    for (ShareFile& share : vShares)
    {
        if (!share.readContent() || !m_share.append(share.m_strContent))
            return false;
        std::string().swap(share.m_strContent);
    }
    return report(m_share.takeWhole());
}

bool InspectApplication::report(InspectedPart in_whole) const
{
    const Inspection inspection = makeInspection(m_share.m_data, std::move(in_whole), m_uiLeastPatterns);
    if (!acceptTargets(m_share.m_data, inspection.m_uiTargets) || !deliver(inspection))
        return false;
    if (m_share.m_data.m_bValidate)
        return std::none_of(inspection.m_vFindings.begin(), inspection.m_vFindings.end(),
                            [](const Finding& in_finding)
                            { return in_finding.m_severity != Finding::Severity::NOTE; });
    if (!inspection.m_facts.m_vStops.empty())
        QC_ERROR("Cannot read all of the data: " << inspection.m_facts.m_vStops.front());
    return inspection.m_facts.m_vStops.empty();
}

bool InspectApplication::deliver(const Inspection& in_inspection) const
{
    const nlohmann::ordered_json json = makeInspectionJson(in_inspection);
    const std::string strJson = toText(json);
    if (m_strJson == STANDARD_OUTPUT)
        std::cout << strJson;
    else if (m_share.m_data.m_bValidate)
        std::cout << makeFindingsText(json);
    else
        std::cout << makeInspectionText(json);
    const bool bJson = m_pJson == nullptr || writeOutput(*m_pJson, strJson);
    return (m_pPage == nullptr ||
            writeOutput(*m_pPage, makeInspectionPage(nlohmann::ordered_json::parse(strJson)))) &&
           bJson;
}

} // namespace Vexalor::MachineLearning
