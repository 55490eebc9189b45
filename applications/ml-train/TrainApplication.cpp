#include "ml-train/TrainApplication.h"

#include "common/Interrupt.h"
#include "common/PatternSet.h"
#include "ml-train/TrainingProgress.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/CommandLineError.h"

#include <charconv>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Train");

constexpr unsigned int MOST = 1'000'000'000;

/// "20,10": two layers; "0": none.
std::vector<unsigned int> parseLayers(const std::string& in_strText)
{
    std::vector<unsigned int> vSizes;
    if (in_strText == "0")
        return vSizes;
    const char* pText = in_strText.data();
    const char* pEnd = pText + in_strText.size();
    while (true)
    {
        unsigned int uiSize = 0;
        const auto result = std::from_chars(pText, pEnd, uiSize);
        if (result.ec != std::errc() || uiSize == 0 || uiSize > MOST)
            break;
        vSizes.push_back(uiSize);
        if (result.ptr == pEnd)
            return vSizes;
        if (*result.ptr != ',')
            break;
        pText = result.ptr + 1;
    }
    throw CommandLineError("option '--hidden': '" + in_strText + "' is neither 0 nor sizes joined by commas");
}

} // namespace

TrainApplication::TrainApplication()
    : MLDataGenApplicationImpl(s_logger, "ml-train")
{
    auto addOption = getOptions().add_options();
    const auto number = [](const char* in_default, const char* in_name = "N")
    {
        return value<std::string>()->value_name(in_name)->default_value(in_default);
    };
    const auto file = []
    {
        return value<std::string>()->value_name("FILE");
    };
    addOption("data-gen-config", file(), "data generator configuration file. MANDATORY");
    addOption("data-gen-filename", value<StringVector>()->value_name("FILE"),
              "data generator input file; repeated, the patterns of all files are joined");
    addOption("network", file(), "network file to write. MANDATORY");
    addOption("hidden", number("20", "LIST"), "sizes of the hidden layers, joined by commas; 0: none");
    addOption("epochs", number("200"), "most epochs to train");
    addOption("seed", number("1"), "seed of the start weights");
    addOption("desired-error", number("0", "X"), "stop at this mean square error of an epoch");
    addOption("hold-out", number("0"),
              "hold out one pattern in so many and take the weights that are best for these; 0: none");
    addOption("patience", number("20"), "stop after so many epochs that are no better for what is held out");
    addWrapperOptions();
    SetWatch::addOption(getOptions());
    TrainingCheck::addOptions(getOptions());
    setDescription("Trains a network on the patterns of a generator and writes it.");
    setExamples("ml-train --data-gen-config voice.xml --data-gen-filename call.wav \\\n"
                "    --network voice.net\n"
                "ml-train --data-gen-config voice-set.xml --data-gen-filename calls.lst \\\n"
                "    --network voice.net --hold-out 10 --strict");
    OverwriteGuard::addOption(getOptions(), "write the network over a recording or an input, too");
}

bool TrainApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("TrainApplication::processCmdlineVarsMap");
    if (!MLDataGenApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    takeSettings(in_map);
    if (m_strConfigFile.empty())
        QC_ERROR("a data generator configuration file must be supplied");
    else if (m_strNetwork.empty())
        QC_ERROR("a network file must be supplied");
    return (!m_strConfigFile.empty() && !m_strNetwork.empty()) || refuseCommand();
}

void TrainApplication::takeSettings(const variables_map& in_map)
{
    takeWrapperOptions(in_map);
    m_watch.takeOption(in_map);
    m_check.takeOptions(in_map);
    m_guard.takeOption(in_map);
    m_strConfigFile = getString(in_map, "data-gen-config");
    m_strNetwork = getString(in_map, "network");
    // Without a file there is one stream all the same: that of a generator that reads none.
    m_vInputFiles = in_map.count("data-gen-filename") == 0 ? StringVector{""}
                                                           : in_map["data-gen-filename"].as<StringVector>();
    m_settings.m_vHiddenSizes = parseLayers(getString(in_map, "hidden"));
    m_settings.m_uiEpochs = static_cast<unsigned int>(getCount(in_map, "epochs", 1, MOST));
    m_settings.m_uiSeed = getCount(in_map, "seed", 0, std::numeric_limits<std::uint64_t>::max());
    m_settings.m_dDesiredError = getReal(in_map, "desired-error", 0, std::numeric_limits<double>::max());
    m_settings.m_uiHoldOut = static_cast<unsigned int>(getCount(in_map, "hold-out", 0, MOST));
    m_settings.m_uiPatience = static_cast<unsigned int>(getCount(in_map, "patience", 1, MOST));
    if (m_settings.m_uiHoldOut == 1)
        throw CommandLineError("option '--hold-out': 1 would leave no pattern to train on");
}

bool TrainApplication::run_i()
{
    QC_TRACE("TrainApplication::run_i");
    PatternSet patterns;
    FileReplacer networkFile(m_strNetwork);
    if (!openNetwork(networkFile) || !readPatterns(patterns) || !m_check.accept(patterns))
        return false;
    QC_INFO("Training on " << patterns.size() << " patterns of " << patterns.getInputSize() << " inputs and "
                           << patterns.getTargetSize() << " targets; " << patterns.getNbSkipped()
                           << " without target left out");
    const Interrupt interrupt; // until the network is whole
    FannTrainer::Epoch taken;
    const std::unique_ptr<FannNetwork> pNetwork = train(patterns, taken);
    if (pNetwork == nullptr || !writeNetwork(*pNetwork, networkFile))
        return false;
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
        if (!out_patterns.append(*pGenerator))
        {
            QC_ERROR("Cannot train on " << (strFile.empty() ? m_strConfigFile : strFile));
            return false;
        }
        m_check.addPass(*m_watch.getGenerator());
        m_watch.closeSet();
    }
    return m_watch.accept();
}

/// Before the work, not after it.
bool TrainApplication::openNetwork(FileReplacer& io_file)
{
    m_guard.addInput(m_strConfigFile);
    m_guard.addInput(getScalingConfigFile());
    for (const std::string& strFile : m_vInputFiles)
        m_guard.addInput(strFile);
    if (!m_guard.allows(m_strNetwork))
        return false;
    if (io_file.open())
        return true;
    QC_ERROR("Cannot write network file " << m_strNetwork << ": " << io_file.getReason());
    return false;
}

bool TrainApplication::writeNetwork(const FannNetwork& in_network, FileReplacer& io_file) const
{
    if (io_file.write(in_network.getText()) && io_file.commit())
        return true;
    QC_ERROR("Cannot write network file " << m_strNetwork << ": " << io_file.getReason());
    return false;
}

} // namespace Vexalor::MachineLearning
