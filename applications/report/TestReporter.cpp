#include "report/TestReporter.h"

#include "common/ListedNames.h"
#include "common/OutputFile.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/ApplicationImpl.h"
#include "quillcast-infra/CommandLineError.h"
#include "report/ReportPage.h"
#include "report/ReportSummary.h"

#include <filesystem>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.TestReporter");

constexpr const char* REPORT_OPTION = "report";
constexpr const char* SUMMARY_OPTION = "summary";
constexpr const char* LOG_OPTION = "output-log";
constexpr const char* TIMELINES_OPTION = "report-timelines";

constexpr const char* JSON_NAME = "report.json";
constexpr const char* PAGE_NAME = "report.html";

std::string getText(const variables_map& in_map, const char* in_option)
{
    return in_map.count(in_option) == 0 ? std::string() : in_map[in_option].as<std::string>();
}

} // namespace

void TestReporter::addOptions(options_description& io_options)
{
    auto addOption = io_options.add_options();
    addOption(
        REPORT_OPTION, value<std::string>()->value_name("DIR"),
        "write report.html, a page to look at, and report.json, what it is drawn from, into this folder");
    addOption(SUMMARY_OPTION, bool_switch(), "print what was taken for what and the worst recordings");
    addOption(LOG_OPTION, value<std::string>()->value_name("FILE"),
              "write time, target and output of every pattern");
    addOption(TIMELINES_OPTION, value<std::string>()->value_name("N")->default_value("10"),
              "how many recordings the page draws, the worst first");
    addClassNamesOption(io_options);
    FailureExtractor::addOptions(io_options);
    OverwriteGuard::addOption(io_options, "write what is asked for over a recording or an input, too, and "
                                          "failing sequences into a folder that is not empty");
}

void TestReporter::takeOptions(const variables_map& in_map)
{
    QC_TRACE("TestReporter::takeOptions");
    for (const char* option : {REPORT_OPTION, LOG_OPTION})
        if (in_map.count(option) != 0 && getText(in_map, option).empty())
            throw CommandLineError(std::string("option '--") + option + "' needs a value");
    if (getText(in_map, REPORT_OPTION) == "-")
        throw CommandLineError("a report is a folder, not standard output");
    if (!m_bPart) // what the parts are joined to may be a page
    {
        ApplicationImpl::checkNeeds(in_map, {TIMELINES_OPTION}, {REPORT_OPTION});
        ApplicationImpl::checkNeeds(in_map, {CLASS_NAMES_OPTION}, {REPORT_OPTION, SUMMARY_OPTION});
    }
    m_strFolder = m_bPart ? "" : getText(in_map, REPORT_OPTION);
    m_bSummary = !m_bPart && in_map[SUMMARY_OPTION].as<bool>();
    m_strLog = getText(in_map, LOG_OPTION);
    const std::uint64_t uiTimelines =
        ApplicationImpl::getCount(in_map, TIMELINES_OPTION, 0, std::numeric_limits<std::uint32_t>::max());
    m_settings.m_uiTimelines = m_strFolder.empty() && !m_bPart ? 0 : uiTimelines;
    m_settings.m_vClasses = getClassNames(in_map);
    m_guard.takeOption(in_map);
    m_extractor.takeOptions(in_map);
    for (const char* own : {JSON_NAME, PAGE_NAME})
        if (!m_strFolder.empty() && isSameFile(makePath(own), m_strLog))
            throw CommandLineError("options --report and --output-log write the same file");
    const std::string strLogName = std::filesystem::path(m_strLog).filename();
    if (m_extractor.isWanted() && !m_strLog.empty() &&
        isSameFile(m_extractor.getFolder() + '/' + strLogName, m_strLog))
        throw CommandLineError("options --extract-failures and --output-log write into the same folder");
}

std::string TestReporter::makePath(const char* in_name) const
{
    return m_strFolder + '/' + in_name;
}

bool TestReporter::begin()
{
    QC_TRACE("TestReporter::begin");
    if (m_bPart || m_bSummary || !m_strFolder.empty())
        m_collector.emplace(m_settings);
    if (!m_extractor.begin(m_guard.isForced()) || (!m_strFolder.empty() && !beginPage()))
        return false;
    if (m_strLog.empty())
        return true;
    m_pLog = std::make_unique<OutputLog>(m_strLog);
    return m_guard.allows(m_strLog) && m_pLog->open();
}

bool TestReporter::beginPage()
{
    std::error_code error;
    std::filesystem::create_directories(m_strFolder, error);
    if (error)
    {
        QC_ERROR("Could not create the folder " << m_strFolder << ": " << error.message());
        return false;
    }
    m_pJson = std::make_unique<FileReplacer>(makePath(JSON_NAME));
    m_pPage = std::make_unique<FileReplacer>(makePath(PAGE_NAME));
    return openOutput(m_guard, *m_pJson) && openOutput(m_guard, *m_pPage);
}

void TestReporter::watch(DataGenerator& io_generator, DataGenerator& io_reader)
{
    QC_TRACE("TestReporter::watch");
    m_extractor.watch(io_generator);
    m_source.watch(io_reader);
}

bool TestReporter::observe(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget)
{
    if (!m_bClassNamesChecked && in_pTarget != nullptr &&
        !acceptClassNames(m_settings.m_vClasses, in_pTarget->size()))
        return false;
    m_bClassNamesChecked = m_bClassNamesChecked || in_pTarget != nullptr;
    const bool bNew = m_source.advance();
    if (m_collector)
        m_collector->add(m_source, bNew, in_vOutput, in_pTarget);
    if (m_extractor.isWanted())
        m_extractor.add(m_source, bNew, in_vOutput, in_pTarget);
    if (m_pLog == nullptr)
        return true;
    if (bNew)
        m_pLog->startRecording(m_source.getName());
    std::optional<double> time;
    if (m_source.isRecording())
        time = static_cast<double>(m_source.getInterval().m_iStop) / m_source.getRate();
    m_pLog->write(time, in_pTarget, in_vOutput);
    return true;
}

TestResults TestReporter::takePart()
{
    QC_TRACE("TestReporter::takePart");
    m_source.restart();
    return m_collector->takePart();
}

bool TestReporter::appendPart(TestResults in_part)
{
    QC_TRACE("TestReporter::appendPart");
    if (!m_collector || m_collector->appendPart(std::move(in_part)))
        return true;
    QC_ERROR("The parts of the test have other classes than each other");
    return false;
}

bool TestReporter::finish(const TestDescription& in_description, bool in_bComplete)
{
    QC_TRACE("TestReporter::finish");
    bool bDone = m_pLog == nullptr || m_pLog->close();
    bDone = m_extractor.finish() && bDone;
    if (!m_collector)
        return bDone;
    m_collector->finish(in_bComplete);
    const nlohmann::ordered_json report = makeReport(in_description, m_collector->getResults());
    if (m_bSummary)
        std::cout << makeSummary(report) << std::flush;
    if (m_pJson == nullptr)
        return bDone;
    const std::string strText = toText(report);
    bDone = writeOutput(*m_pJson, strText) && bDone;
    return writeOutput(*m_pPage, makePage(nlohmann::ordered_json::parse(strText))) && bDone;
}

} // namespace Vexalor::MachineLearning
