#include "ml-inspect/InspectApplication.h"

#include "MLDataGeneratorFactory.h"
#include "MLFileSetDataGenerator.h"
#include "common/ListedNames.h"
#include "common/OutputFile.h"
#include "common/SetWatch.h"
#include "detector/DetectorOption.h"
#include "inspect/InspectionJson.h"
#include "inspect/InspectionPage.h"
#include "inspect/InspectionText.h"
#include "ml-config/GeneratorOutlook.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/LogListener.h"
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

/// What the generator said of its failure.
std::string explainStop(const std::string& in_strFile, LogListener& io_listener)
{
    const std::string strReason = io_listener.takeReason();
    return strReason.empty() ? in_strFile : strReason;
}

} // namespace

InspectApplication::InspectApplication()
    : ApplicationImpl(s_logger, "ml-inspect")
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
    OverwriteGuard::addOption(getOptions(), "write over a recording or an input, too");
    setDescription("Tells what the patterns of a generator are like, and what is wrong with them.");
    setExamples("ml-inspect --data-gen-config a.xml --data-gen-filename a.wav --html a.html\n"
                "ml-inspect --validate --data-gen-config set.xml --data-gen-filename calls.lst");
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
    if (m_strConfigFile.empty())
        QC_ERROR("a data generator configuration file must be supplied");
    else if (!m_strJson.empty() && m_strJson == m_strPage)
        QC_ERROR("Options --json and --html name the same file");
    else
        return true;
    return refuseCommand();
}

void InspectApplication::takeSettings(const variables_map& in_map)
{
    refuseDetectors(in_map, {"data-gen-config"},
                    "the configuration that it was trained with can be inspected");
    m_strConfigFile = getString(in_map, "data-gen-config");
    // Without a file there is one stream all the same: that of a generator that reads none.
    m_vInputFiles = in_map.count("data-gen-filename") == 0 ? StringVector{""}
                                                           : in_map["data-gen-filename"].as<StringVector>();
    m_strJson = getString(in_map, "json");
    m_strPage = getString(in_map, "html");
    m_bValidate = isSwitchOn(in_map, "validate");
    m_uiLeastPatterns = getCount(in_map, "least-patterns", 0, std::numeric_limits<std::uint32_t>::max());
    m_vClassNames = getListedNames(in_map, CLASS_NAMES_OPTION);
    m_guard.takeOption(in_map);
    m_guard.addInput(m_strConfigFile);
    for (const std::string& strFile : m_vInputFiles)
        m_guard.addInput(strFile);
}

/// Before the work, not after it.
bool InspectApplication::openOutputs()
{
    if (!m_strJson.empty() && m_strJson != STANDARD_OUTPUT)
        m_pJson = std::make_unique<FileReplacer>(m_strJson);
    if (!m_strPage.empty())
        m_pPage = std::make_unique<FileReplacer>(m_strPage);
    return (m_pJson == nullptr || openOutput(m_guard, *m_pJson)) &&
           (m_pPage == nullptr || openOutput(m_guard, *m_pPage));
}

bool InspectApplication::run_i()
{
    QC_TRACE("InspectApplication::run_i");
    m_pFirst = loadDataGenerator(m_strConfigFile.c_str());
    SetWatch::checkInput(m_pFirst.get(), m_strConfigFile, m_vInputFiles.front());
    if (m_pFirst.isNull() || !openOutputs())
        return false;
    Inspection inspection;
    const bool bDone = inspect(inspection);
    if ((inspection.m_uiTargets != 0 && !acceptClassNames(m_vClassNames, inspection.m_uiTargets)) ||
        !deliver(inspection))
        return false;
    if (m_bValidate)
        return std::none_of(inspection.m_vFindings.begin(), inspection.m_vFindings.end(),
                            [](const Finding& in_finding)
                            { return in_finding.m_severity != Finding::Severity::NOTE; });
    if (!bDone)
        QC_ERROR("Cannot read all of the data: " << inspection.m_facts.m_vStops.front());
    return bDone;
}

/// True when all data were read to their end.
bool InspectApplication::inspect(Inspection& out_inspection)
{
    m_progress.emplace("ml-inspect");
    const auto watch = [this](std::uint64_t in_uiPatterns, const DataGenerator& in_generator)
    {
        if (m_progress->isDue())
            m_progress->show(in_uiPatterns, in_generator.getShareRead());
    };
    Inspector inspector(m_vClassNames, watch);
    DataFacts found;
    {
        LogListener listener;
        for (const std::string& strFile : m_vInputFiles)
            inspectFile(strFile, inspector, found, listener);
    }
    m_progress.reset();
    out_inspection = inspector.finish();
    out_inspection.m_strConfiguration = m_strConfigFile;
    out_inspection.m_vInputFiles = m_vInputFiles;
    out_inspection.m_facts.m_survey = std::move(found.m_survey);
    out_inspection.m_facts.m_vFeatureRates = std::move(found.m_vFeatureRates);
    out_inspection.m_facts.m_vConfiguredClasses = std::move(found.m_vConfiguredClasses);
    out_inspection.m_facts.m_vStops = std::move(found.m_vStops);
    out_inspection.m_facts.m_vWithoutPattern =
        out_inspection.m_facts.m_survey.findWithoutPattern(out_inspection.m_facts.m_delivered);
    out_inspection.m_vFindings = m_vOfConfiguration;
    for (Finding& finding : findProblems(out_inspection.m_facts, m_uiLeastPatterns))
        out_inspection.m_vFindings.push_back(std::move(finding));
    sortFindings(out_inspection.m_vFindings);
    return out_inspection.m_facts.m_vStops.empty();
}

void InspectApplication::inspectFile(const std::string& in_strFile, Inspector& io_inspector,
                                     DataFacts& io_found, LogListener& io_listener)
{
    const auto stop = [&](const std::string& in_strName)
    {
        io_found.m_vStops.push_back(explainStop(in_strName, io_listener));
    };
    const CountedObjPtr<DataGenerator> pGenerator =
        m_pFirst.isNull() ? loadDataGenerator(m_strConfigFile.c_str())
                          : std::exchange(m_pFirst, CountedObjPtr<DataGenerator>());
    if (pGenerator.isNull())
        return stop(m_strConfigFile);
    if (&in_strFile == &m_vInputFiles.front())
        examine(*pGenerator, io_found);
    io_listener.takeReason();
    if (!prepareDataGenerator(*pGenerator, in_strFile.c_str(), {}))
        return stop(in_strFile);
    io_found.m_survey.add(*pGenerator);
    io_listener.takeReason();
    auto* pSet = dynamic_cast<FileSetDataGeneratorImpl*>(pGenerator.get());
    if (m_bValidate && pSet != nullptr)
        validateSet(*pSet, io_inspector, io_found, io_listener);
    else if (!io_inspector.add(*pGenerator))
        stop(in_strFile);
}

/// One recording after the other, since the stream of a set stops at the first one that cannot be read to its
/// end. What cannot be set at all was told by the survey.
void InspectApplication::validateSet(FileSetDataGeneratorImpl& io_set, Inspector& io_inspector,
                                     DataFacts& io_found, LogListener& io_listener)
{
    const CountedObjPtr<FileDataGenerator> pGenerator = io_set.newFileGenerator();
    for (const std::string& strName : io_set.getListedFilenames())
    {
        if (pGenerator.isNull() || !pGenerator->setCurrentFilename(strName.c_str()))
            continue;
        io_listener.takeReason();
        if (!io_inspector.add(*pGenerator))
            io_found.m_vStops.push_back(explainStop(strName, io_listener));
    }
}

/// What the configuration alone tells.
void InspectApplication::examine(const DataGenerator& in_generator, DataFacts& io_found)
{
    DescribingArchive archive;
    describeDataGenerator(archive, {}, in_generator);
    const GeneratorOutlook outlook = examineGenerator(in_generator, archive.finish().m_root);
    io_found.m_vFeatureRates = outlook.m_vFeatureRates;
    io_found.m_vConfiguredClasses = getClasses(in_generator);
    if (!outlook.m_strFault.empty())
        m_vOfConfiguration.push_back(
            {Finding::Severity::ERROR, m_strConfigFile + ": no pattern can be made: " + outlook.m_strFault});
    for (const std::string& strWarning : outlook.m_vWarnings)
        m_vOfConfiguration.push_back({Finding::Severity::WARNING, m_strConfigFile + ": " + strWarning});
}

bool InspectApplication::deliver(const Inspection& in_inspection) const
{
    const nlohmann::ordered_json json = makeInspectionJson(in_inspection);
    const std::string strJson = toText(json);
    if (m_strJson == STANDARD_OUTPUT)
        std::cout << strJson;
    else if (m_bValidate)
        std::cout << makeFindingsText(json);
    else
        std::cout << makeInspectionText(json);
    const bool bJson = m_pJson == nullptr || writeOutput(*m_pJson, strJson);
    return (m_pPage == nullptr ||
            writeOutput(*m_pPage, makeInspectionPage(nlohmann::ordered_json::parse(strJson)))) &&
           bJson;
}

} // namespace Vexalor::MachineLearning
