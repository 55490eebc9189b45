#include "ml-tester/TesterApplication.h"

#include "MLAudioClassStatistics.h"
#include "common/NetworkFile.h"
#include "common/OutputFile.h"
#include "common/RecordingPart.h"
#include "detector/DetectorOption.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-infra/CommandLineError.h"
#include "report/Decision.h"

#include <algorithm>
#include <iostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Tester");

/// Options that want the whole test.
constexpr const char* OF_WHOLE[] = {"report", "summary", "output-log", "extract-failures"};
/// Those that need the patterns of all in one process.
constexpr const char* OF_ONE_PROCESS[] = {"output-log", "extract-failures"};
/// Options that say what is tested, and how.
constexpr const char* OF_TEST[] = {"network",
                                   "detector",
                                   "script",
                                   "further-script",
                                   "filesystem-path",
                                   "result-variable-name",
                                   "rate",
                                   "data-gen-config",
                                   "data-gen-filename",
                                   "scaling-config",
                                   "in-memory",
                                   "class-names",
                                   "output-log",
                                   "print-error",
                                   "extract-failures",
                                   "mean-square-error",
                                   "least-square-error",
                                   "sum-square-error",
                                   "cross-entropy-error",
                                   "multiple-cross-entropy-error",
                                   "classification-error"};

constexpr const char* REPORT_BEGINNING = "\nNumber of data pattern(s) processed ";
/// What the classification error says of each pattern of several classes, which are counted instead.
constexpr const char* OF_SEVERAL_CLASSES[] = {
    "Desired targets are : ", "Tested values are: ",
    "Assertion failed: find(iter + 1, in_vDesired.end(), 1.0) == in_vDesired.end()"};

} // namespace

TesterApplication::TesterApplication(Ranks& io_ranks)
    : MLDataGenTesterApplicationImpl(s_logger, "ml-tester")
    , m_ranks(io_ranks)
{
    m_partReporter.gatherPart();
    auto addOption = getOptions().add_options();
    addOption("network", value<std::string>()->value_name("FILE"),
              "network file of the FANN library, or ONNX. MANDATORY, or --detector, or --script");
    addOption("detector", value<std::string>()->value_name("FILE"),
              "detector file, which brings configuration and scaling along: --data-gen-filename is a "
              "recording or a list of recordings");
    addOption("script", value<std::string>()->value_name("NAME"),
              "test the script NAME.xpr: the input of a pattern is its variable audio");
    addOption("further-script", value<StringVector>()->value_name("NAME"),
              "a script that it needs; may be repeated");
    addOption("filesystem-path", value<std::string>()->value_name("DIR")->default_value("."),
              "where scripts are found");
    addOption("result-variable-name", value<std::string>()->value_name("NAME")->default_value("result"),
              "the variable of the script that is the output");
    addOption("rate", value<std::string>()->value_name("HZ"),
              "the constant rate of scripts; that of the recordings unless given, where there is one "
              "recording and nothing in between");
    addWrapperOptions();
    SetWatch::addOption(getOptions());
    TestReporter::addOptions(getOptions());
    m_shares.addOptions(getOptions());
    hideOnConsole(REPORT_BEGINNING); // which showReport_i brings there
    for (const char* text : OF_SEVERAL_CLASSES)
        hideOnConsole(text);
    setDescription("Tests a network or an expression script on the patterns of a generator and reports.");
    setExamples("ml-tester --detector voice.detector --data-gen-filename calls.lst --summary\n"
                "ml-tester --data-gen-config voice.xml --data-gen-filename call.wav \\\n"
                "    --network voice.net --classification-error --report report\n"
                "ml-tester --data-gen-config windows.xml --data-gen-filename call.wav \\\n"
                "    --script voice --filesystem-path examples/scripts --summary\n"
                "ml-tester --data-gen-config voice-set.xml --data-gen-filename calls.lst \\\n"
                "    --network voice.net --classification-error --extract-failures failures\n"
                "ml-tester --detector voice.detector --data-gen-filename calls.lst \\\n"
                "    --shard 1/2 --shard-file test.1\n"
                "ml-tester --join test.1 test.2 --report report\n"
                "mpirun -n 2 ml-tester --detector voice.detector \\\n"
                "    --data-gen-filename calls.lst --report report");
}

CountedObjPtr<DataGenerator>
TesterApplication::newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                    Handle<Resettable, ReferenceCount> in_entityToReset,
                                    const char* in_scalingConfigFile)
{
    m_description.m_strConfiguration = m_pDetector == nullptr ? in_configFile : m_strDetector;
    m_description.m_strInput = in_inputFile;
    // A cache would hide where the patterns come from, and one pass has no use for it.
    const bool bInMemory = isInMemory() && !getObserver().isWanted();
    const CountedObjPtr<DataGenerator> pGenerator =
        newGenerator(in_configFile, in_inputFile, getObserver().watchResets(in_entityToReset), bInMemory,
                     in_scalingConfigFile);
    m_bReady = !pGenerator.isNull();
    if (m_bReady && getObserver().isWanted())
        getObserver().watch(*pGenerator, *m_watch.getGenerator());
    if (m_bReady && m_trainingDigest && m_ranks.isFirst())
        compareDigest(TrainingDigest::of(*m_watch.getGenerator(), *pGenerator, false));
    return pGenerator;
}

bool TesterApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    if (!MLDataGenTesterApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    refuseDetectors(in_map, {"network", "data-gen-config"}, "give it with --detector, which needs neither");
    takeWrapperOptions(in_map);
    m_watch.takeOption(in_map);
    takeShareOptions(in_map);
    m_strNetwork = getString(in_map, "network");
    m_strDetector = getString(in_map, "detector");
    takeScriptOptions(in_map);
    for (const char* option :
         {"network", "detector", "data-gen-config", "data-gen-filename", "scaling-config"})
        m_reporter.addInput(getString(in_map, option));
    m_description.m_strEntity = m_strNetwork + m_strDetector + m_script.m_strScript;
    m_reporter.takeOptions(in_map);
    return m_shares.isJoin() || checkEntity(in_map) || refuseCommand();
}

bool TesterApplication::bringsGenerator_i(const variables_map& in_map) const
{
    return in_map.count("detector") != 0 || in_map.count("join") != 0;
}

void TesterApplication::showReport_i(const MLTester::TesterStats& in_stats)
{
    std::cout << '\n' << in_stats << std::endl;
    if (m_watch.getGenerator() != nullptr && m_watch.getGenerator()->endedCleanly())
        ConsoleLog::settleErrors(); // of recordings that were skipped
}

MLTester::TestedEntity* TesterApplication::newTestedEntity_i()
{
    if (!m_strDetector.empty())
    {
        m_pDetector = Detector::newFromFile(m_strDetector.c_str());
        return m_pDetector == nullptr ? nullptr : m_pDetector->getNetwork().clone();
    }
    if (m_strNetwork.empty())
        return ScriptEntity::newFromScript(m_script);
    std::string strComment;
    Network* pNetwork = newNetworkFromFile(m_strNetwork.c_str(), &strComment);
    m_trainingDigest = TrainingDigest::find(strComment);
    return pNetwork;
}

bool TesterApplication::observe(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget)
{
    m_watch.countPattern();
    m_uiSeveralClasses += in_pTarget != nullptr && Decision::countClasses(*in_pTarget) > 1 ? 1 : 0;
    TestReporter& observer = getObserver();
    return !observer.isWanted() || observer.observe(in_vOutput, in_pTarget);
}

bool TesterApplication::test_i(MLTester::TestedEntity& io_entity, DataGenerator& io_generator)
{
    const bool bDone = isPart() ? testShare(io_entity, io_generator)
                                : MLDataGenTesterApplicationImpl::test_i(io_entity, io_generator);
    if (m_uiSeveralClasses != 0 &&
        dynamic_cast<const MLTester::ClassifierTesterStats*>(&getStats()) != nullptr)
        QC_WARN(
            "Patterns of several classes, which the classification error leaves out: " << m_uiSeveralClasses);
    return bDone;
}

bool TesterApplication::run_i()
{
    if (m_shares.isJoin())
        return joinFiles();
    if (m_ranks.areTogether())
        return testTogether();
    if (isPart())
        return m_partReporter.begin() && openOutput(m_reporter.getGuard(), *m_pShareFile) &&
               MLDataGenTesterApplicationImpl::run_i() && leaveShare();
    if (!m_reporter.begin())
        return false;
    bool bDone = MLDataGenTesterApplicationImpl::run_i();
    if (m_bReady)
        warnOfMissingLabels();
    if (m_bReady)
        bDone = m_reporter.finish(m_description, bDone) && bDone;
    m_watch.closeSet();
    return m_watch.accept() && bDone;
}

void TesterApplication::takeShareOptions(const variables_map& in_map)
{
    m_shares.takeOptions(in_map);
    std::string strFault = m_shares.findMisplaced(in_map, OF_WHOLE, OF_TEST);
    if (m_ranks.areTogether())
        strFault = ShareOptions::findGiven(in_map, OF_ONE_PROCESS, "not for ranks");
    if (!strFault.empty())
        throw CommandLineError(strFault);
    for (const std::string& strFile : m_shares.getJoined())
        m_reporter.addInput(strFile);
    if (m_ranks.areTogether())
        m_watch.setRanks(m_ranks);
    if (m_shares.getShard())
    {
        m_watch.setShard(*m_shares.getShard());
        m_reporter.gatherPart();
        m_pShareFile = std::make_unique<FileReplacer>(m_shares.getFile());
    }
    if (!isPart())
        return;
    m_partReporter.takeOptions(in_map);
    ShareOptions::addToJob(in_map, OF_TEST, m_job);
    for (const char* option : {"network", "detector", "data-gen-config", "scaling-config"})
        m_job.addFile(getString(in_map, option));
}

bool TesterApplication::testShare(MLTester::TestedEntity& io_entity, DataGenerator& io_generator)
{
    getStats().keepErrors(true);
    std::size_t uiPass = 0;
    do
    {
        if ((uiPass > 0 && !m_watch.gotoPass(uiPass)) || !runTest(io_entity, io_generator, getStats()))
            return false;
        m_share.m_bEndedCleanly = m_share.m_bEndedCleanly && io_generator.endedCleanly();
        m_share.addPass(getStats(), m_partReporter.takePart());
    } while (++uiPass < m_watch.getNbPasses());
    if (m_share.m_bEndedCleanly)
        ConsoleLog::settleErrors(); // of recordings that were skipped
    return true;
}

/// What this share has found, as bytes.
std::string TesterApplication::takeFound()
{
    m_watch.closeSet();
    m_share.m_description = m_description;
    m_share.m_uiListed = m_watch.getNbListed();
    m_share.m_uiSkipped = m_watch.getNbSkipped();
    ByteWriter content;
    content(m_share);
    return content.getBytes();
}

/// Also when it covers a part of its recordings only: the others are not read either in one process.
bool TesterApplication::leaveShare()
{
    m_job.addText(std::to_string(m_watch.getListDigest().get()));
    const ShareFile file{getName(), m_job.get(), *m_shares.getShard(), takeFound(), {}};
    if (!writeOutput(*m_pShareFile, file.toBytes()))
        return false;
    QC_INFO("Share " << file.m_shard.toText() << " of the test left in " << m_shares.getFile());
    if (!m_share.m_bEndedCleanly)
        QC_ERROR("The share covers a part of its recordings: the data set stopped before its end");
    return m_share.m_bEndedCleanly;
}

bool TesterApplication::joinFiles()
{
    std::vector<ShareFile> vShares;
    return readShares(getName(), m_shares.getJoined(), vShares) && m_reporter.begin() && joinShares(vShares);
}

bool TesterApplication::joinShares(const std::vector<ShareFile>& in_vShares)
{
    TestShare whole;
    const CountedObjPtr<MLTester::TesterStats> pStats = TestShare::join(
        in_vShares, whole,
        [this](TestResults in_results) { return m_reporter.appendPart(std::move(in_results)); });
    if (pStats.isNull())
        return false;
    m_watch.setCounts(whole.m_uiListed, whole.m_uiSkipped);
    if (whole.m_uiSkipped == whole.m_uiListed)
    {
        QC_ERROR(tellNoneUsable(whole.m_description.m_strInput, whole.m_uiListed));
        return false;
    }
    QC_INFO(whole.m_uiListed << " file(s) listed, " << whole.m_uiSkipped << " skipped");
    const bool bDone = report(*pStats, whole.m_bEndedCleanly);
    return m_reporter.finish(whole.m_description, bDone) && m_watch.accept() && bDone;
}

/// One of several processes; the first one makes the report.
bool TesterApplication::testTogether()
{
    m_ranks.setJob(m_job);
    if ((m_ranks.isFirst() && !m_reporter.begin()) || !m_partReporter.begin() ||
        !MLDataGenTesterApplicationImpl::run_i())
        return false;
    if (m_ranks.isFirst())
        return joinShares(m_ranks.gather(takeFound()));
    m_ranks.deliver(takeFound());
    return true;
}

/// That of the detector, or of the configuration.
CountedObjPtr<DataGenerator>
TesterApplication::newGenerator(const char* in_configFile, const char* in_inputFile,
                                const Handle<Resettable, ReferenceCount>& in_entityToReset, bool in_bInMemory,
                                const char* in_scalingConfigFile)
{
    if (m_pDetector == nullptr)
        return m_watch.newDataGenerator(in_configFile, in_inputFile, in_entityToReset, in_bInMemory,
                                        in_scalingConfigFile);
    return m_watch.prepareDataGenerator(m_pDetector->takeGeneratorFor(in_inputFile), in_inputFile,
                                        in_entityToReset, in_bInMemory, "");
}

/// Recordings whose labels lie beside them, say, are all OTHER, which looks like a bad result.
void TesterApplication::warnOfMissingLabels()
{
    AudioClassStatistics statistics;
    if (const auto* pSource = dynamic_cast<const AudioClassStatisticsSource*>(m_watch.getGenerator()))
        pSource->addStatistics(statistics);
    const auto hasEvents = [](const AudioClassStatistics::Row& in_row)
    {
        return in_row.m_uiEvents > 0;
    };
    if (statistics.m_all.m_uiPatterns > 0 &&
        std::none_of(statistics.m_vRows.begin(), statistics.m_vRows.end(), hasEvents))
        QC_WARN("No annotation of any class in "
                << m_description.m_strInput
                << ": every pattern was taken for OTHER; labels beside a recording "
                   "are read by ml-annotate import and label-copies");
}

void TesterApplication::compareDigest(const TrainingDigest& in_patterns) const
{
    const std::string strDifference = m_trainingDigest->findDifference(in_patterns);
    if (!strDifference.empty())
        QC_WARN("Network " << m_strNetwork << " was trained otherwise: these patterns have "
                           << strDifference);
}

/// There is one of a network, a detector and a script, and nothing that a detector has in itself.
bool TesterApplication::checkEntity(const variables_map& in_map) const
{
    std::string strGiven;
    std::size_t uiGiven = 0;
    for (const char* option : {"network", "detector", "script"})
        if (!getString(in_map, option).empty())
            strGiven += (uiGiven++ == 0 ? "--" : " and --") + std::string(option);
    if (uiGiven == 0)
        QC_ERROR("a network file must be supplied");
    else if (uiGiven > 1)
        QC_ERROR("Options " << strGiven << " exclude each other");
    if (uiGiven != 1 || m_strDetector.empty())
        return uiGiven == 1;
    for (const char* option : {"data-gen-config", "scaling-config"})
        if (in_map.count(option) != 0)
        {
            QC_ERROR("A detector has what --" << option << " would say in itself");
            return false;
        }
    if (in_map.count("data-gen-filename") == 0)
        QC_ERROR("a recording, or a list of recordings, must be supplied: --data-gen-filename");
    return in_map.count("data-gen-filename") != 0;
}

void TesterApplication::takeScriptOptions(const variables_map& in_map)
{
    checkNeeds(in_map, {"further-script", "filesystem-path", "result-variable-name", "rate"}, {"script"});
    m_script.m_strScript = getString(in_map, "script");
    m_script.m_strFolder = getString(in_map, "filesystem-path");
    m_script.m_strVariable = getString(in_map, "result-variable-name");
    if (in_map.count("further-script") != 0)
        m_script.m_vFurtherScripts = in_map["further-script"].as<StringVector>();
    if (in_map.count("rate") != 0)
        m_script.m_dRate = getReal(in_map, "rate", 1.0, 1e9);
    StringVector vScripts = m_script.m_vFurtherScripts;
    vScripts.push_back(m_script.m_strScript);
    for (const std::string& strScript : vScripts)
    {
        const std::string strFile = m_script.m_strFolder + '/' + strScript + ".xpr";
        m_reporter.addInput(strFile);
        if (isPart())
            m_job.addFile(strFile);
    }
}

} // namespace Vexalor::MachineLearning
