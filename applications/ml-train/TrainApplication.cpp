#include "ml-train/TrainApplication.h"

#include "MLScalingDataGenerator.h"
#include "common/Interrupt.h"
#include "common/PatternSet.h"
#include "detector/DetectorOption.h"
#include "ml-train/TrainingOptions.h"
#include "ml-train/TrainingProgress.h"
#include "quillcast-core/FileReplacer.h"

#include <algorithm>
#include <iterator>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Train");

/// Of no effect where nothing is trained.
constexpr const char* TRAINING_OPTIONS[] = {
    "data-gen-filename", "hidden",   "training", "batch",     "learning-rate", "epochs",         "seed",
    "desired-error",     "hold-out", "patience", "in-memory", "strict",        "least-patterns", "insist"};

} // namespace

TrainApplication::TrainApplication()
    : MLDataGenApplicationImpl(s_logger, "ml-train")
{
    auto addOption = getOptions().add_options();
    const auto file = []
    {
        return value<std::string>()->value_name("FILE");
    };
    addOption("data-gen-config", file(), "data generator configuration file. MANDATORY");
    addOption("data-gen-filename", value<StringVector>()->value_name("FILE"),
              "data generator input file; repeated, the patterns of all files are joined");
    addOption("network", file(), "network file to write. MANDATORY, or --detector");
    addOption("detector", file(), "detector to write: network, features, scaling and classes in one file");
    addOption("import", file(), "make the detector of this network, FANN or ONNX, and train none");
    TrainingOptions::addOptions(getOptions());
    addWrapperOptions();
    SetWatch::addOption(getOptions());
    TrainingCheck::addOptions(getOptions());
    setDescription("Trains a network on the patterns of a generator and writes it.");
    setExamples("ml-train --data-gen-config voice.xml --data-gen-filename call.wav \\\n"
                "    --network voice.net\n"
                "ml-train --data-gen-config voice-set.xml --data-gen-filename calls.lst \\\n"
                "    --detector voice.detector --hold-out 10 --strict\n"
                "ml-train --data-gen-config voice.xml --import voice.onnx \\\n"
                "    --detector voice.detector");
    OverwriteGuard::addOption(getOptions(), "write the network over a recording or an input, too");
}

bool TrainApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("TrainApplication::processCmdlineVarsMap");
    if (!MLDataGenApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    refuseDetectors(in_map, {"data-gen-config", "import"},
                    "the configuration that it was made with is needed here");
    takeSettings(in_map);
    return checkFiles(in_map) || refuseCommand();
}

bool TrainApplication::checkFiles(const variables_map& in_map) const
{
    const bool bImport = in_map.count("import") != 0;
    const auto* itTraining = std::find_if(std::begin(TRAINING_OPTIONS), std::end(TRAINING_OPTIONS),
                                          [&](const char* in_option) { return isGiven(in_map, in_option); });
    if (m_strConfigFile.empty())
        QC_ERROR("a data generator configuration file must be supplied");
    else if (bImport && (m_strDetector.empty() || !m_strNetwork.empty()))
        QC_ERROR("Option --import makes a detector of a network: it needs --detector, and no --network");
    else if (bImport && itTraining != std::end(TRAINING_OPTIONS))
        QC_ERROR("Option --import trains nothing: it takes no --" << *itTraining);
    else if (m_strNetwork.empty() && m_strDetector.empty())
        QC_ERROR("a network file must be supplied");
    else if (isSameFile(m_strNetwork, m_strDetector))
        QC_ERROR("Network and detector are written into files of their own");
    else
        return true;
    return false;
}

void TrainApplication::takeSettings(const variables_map& in_map)
{
    checkNeeds(in_map, {"patience"}, {"hold-out"});
    takeWrapperOptions(in_map);
    m_watch.takeOption(in_map);
    m_check.takeOptions(in_map);
    m_guard.takeOption(in_map);
    m_strConfigFile = getString(in_map, "data-gen-config");
    m_strNetwork = getString(in_map, "network");
    m_strDetector = getString(in_map, "detector");
    m_strImport = getString(in_map, "import");
    // Without a file there is one stream all the same: that of a generator that reads none.
    m_vInputFiles = in_map.count("data-gen-filename") == 0 ? StringVector{""}
                                                           : in_map["data-gen-filename"].as<StringVector>();
    m_settings = TrainingOptions::getSettings(in_map);
}

bool TrainApplication::run_i()
{
    QC_TRACE("TrainApplication::run_i");
    FileReplacer networkFile(m_strNetwork);
    FileReplacer detectorFile(m_strDetector);
    for (const std::string* pInput : {&m_strConfigFile, &m_strImport})
        m_guard.addInput(*pInput);
    m_guard.addInput(getScalingConfigFile());
    for (const std::string& strFile : m_vInputFiles)
        m_guard.addInput(strFile);
    // Before the work, not after it.
    if (!openOutput("network file", networkFile) || !openOutput("detector", detectorFile) ||
        (!m_strDetector.empty() && !m_draft.open(m_strConfigFile)))
        return false;
    if (!m_strImport.empty())
        return m_draft.import(m_strImport, getScalingConfigFile()) && writeDetector(detectorFile);
    PatternSet patterns;
    if (!readPatterns(patterns) || !m_check.accept(patterns))
        return false;
    const Interrupt interrupt; // until the files are whole
    return trainAndWrite(patterns, networkFile) && (m_strDetector.empty() || writeDetector(detectorFile));
}

bool TrainApplication::trainAndWrite(const PatternSet& in_patterns, FileReplacer& io_networkFile)
{
    QC_INFO("Training on " << in_patterns.size() << " patterns of " << in_patterns.getInputSize()
                           << " inputs and " << in_patterns.getTargetSize() << " targets; "
                           << in_patterns.getNbSkipped() << " without target left out");
    FannTrainer::Epoch taken;
    const std::unique_ptr<FannNetwork> pNetwork = train(in_patterns, taken);
    if (pNetwork == nullptr)
        return false;
    const std::string strText = pNetwork->getText();
    if (!m_strDetector.empty() &&
        !m_draft.setTrained(strText, m_settings.m_uiSeed, taken.m_dError, taken.m_dHeldOutError))
        return false;
    if (m_strNetwork.empty())
        QC_INFO("Trained: " << TrainingProgress::toText(taken));
    else if (!writeNetwork(strText + m_digest.toLine(), io_networkFile))
        return false;
    else
        QC_INFO("Network " << m_strNetwork << " written: " << TrainingProgress::toText(taken));
    return true;
}

std::unique_ptr<FannNetwork> TrainApplication::train(const PatternSet& in_patterns,
                                                     FannTrainer::Epoch& out_taken) const
{
    TrainingProgress progress(m_settings.m_uiEpochs);
    unsigned int uiLast = 0;
    const auto watch = [&](const FannTrainer::Epoch& in_epoch)
    {
        QC_DEBUG(TrainingProgress::toText(in_epoch));
        progress.show(in_epoch);
        uiLast = in_epoch.m_uiNumber;
        return !Interrupt::hasCome();
    };
    std::unique_ptr<FannNetwork> pNetwork = FannTrainer(m_settings).train(in_patterns, watch, out_taken);
    if (pNetwork != nullptr && Interrupt::hasCome())
        QC_WARN("Interrupted in epoch " << uiLast << ": the network of epoch " << out_taken.m_uiNumber
                                        << " is kept");
    return pNetwork;
}

bool TrainApplication::readPatterns(PatternSet& out_patterns)
{
    for (const std::string& strFile : m_vInputFiles)
    {
        const CountedObjPtr<DataGenerator> pGenerator = m_watch.newDataGenerator(
            m_strConfigFile.c_str(), strFile.c_str(), {}, isInMemory(), getScalingConfigFile());
        if (pGenerator.isNull())
            return false;
        m_check.addSource(*m_watch.getGenerator());
        if (!out_patterns.append(*pGenerator, [this] { m_watch.countPattern(); }))
        {
            QC_ERROR("Cannot train on " << (strFile.empty() ? m_strConfigFile : strFile));
            return false;
        }
        m_check.addPass(*m_watch.getGenerator());
        if (!acceptScaling(*pGenerator, out_patterns))
            return false;
        if (!m_strDetector.empty() && !m_draft.addPass(strFile, *m_watch.getGenerator(), *pGenerator))
            return false;
        m_digest = TrainingDigest::of(*m_watch.getGenerator(), *pGenerator, true);
        m_watch.closeSet();
    }
    return m_watch.accept();
}

/// False, with the reason logged, for the scaling of patterns of other sizes; an empty one scales none.
bool TrainApplication::acceptScaling(const DataGenerator& in_generator, const PatternSet& in_patterns) const
{
    const auto* pScaling = dynamic_cast<const ScalingDataGenerator*>(&in_generator);
    if (pScaling == nullptr || in_patterns.size() == 0)
        return true;
    const VectorScaler::Config scaling = pScaling->getScalingParameters();
    const auto fits = [&](const char* in_what, const DoubleVector& in_vSlopes, std::size_t in_uiSize)
    {
        const bool bFits = in_vSlopes.empty() || in_vSlopes.size() == in_uiSize;
        if (!bFits)
            QC_ERROR("The scaling " << getScalingConfigFile() << " is for " << in_vSlopes.size() << ' '
                                    << in_what << ", the patterns have " << in_uiSize);
        return bFits;
    };
    return fits("inputs", scaling.m_vInputSlope, in_patterns.getInputSize()) &&
           fits("targets", scaling.m_vTargetSlope, in_patterns.getTargetSize());
}

bool TrainApplication::openOutput(const char* in_what, FileReplacer& io_file)
{
    if (io_file.getPath().empty())
        return true;
    if (!m_guard.allows(io_file.getPath()))
        return false;
    if (io_file.open())
        return true;
    QC_ERROR("Cannot write " << in_what << ' ' << io_file.getPath() << ": " << io_file.getReason());
    return false;
}

bool TrainApplication::writeNetwork(const std::string& in_strText, FileReplacer& io_file) const
{
    if (io_file.write(in_strText) && io_file.commit())
        return true;
    QC_ERROR("Cannot write network file " << m_strNetwork << ": " << io_file.getReason());
    return false;
}

bool TrainApplication::writeDetector(FileReplacer& io_file)
{
    if (!m_draft.write(io_file))
        return false;
    QC_INFO("Detector " << m_strDetector << " written");
    return true;
}

} // namespace Vexalor::MachineLearning
