#include "ml-config/ConfigApplication.h"

#include "MLDataGeneratorFactory.h"
#include "ml-config/ClassNames.h"
#include "ml-config/ConfigCommands.h"
#include "ml-config/ScalingOptions.h"
#include "ml-config/WriteOptions.h"
#include "quillcast-core/ExceptionWithMsg.h"

#include <algorithm>
#include <limits>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

constexpr std::uint64_t MOST = std::numeric_limits<unsigned int>::max();
/// A WAV file has at most 65535 channels.
constexpr std::uint64_t LAST_CHANNEL = 65534;

constexpr const char* WRITE = "write";
constexpr const char* LEARN = "learn-scaling";
constexpr const char* EXPLAIN = "explain";

const char* const DESCRIPTION =
    "Configurations of data generators.\n"
    "  write FILE          write one that the options describe, with a comment on its elements\n"
    "  learn-scaling FILE  learn the scaling of the patterns of a generator, and write it\n"
    "  explain FILE        tell what one says, and try it\n"
    "- as FILE is standard output. The options below are those of write, then those of learn-scaling. OTHER, "
    "among the classes, is what no other class covers.";

/// The option of another command that was given; null when there is none.
const ConfigOption* findGiven(const variables_map& in_map, std::span<const ConfigOption> in_options)
{
    const auto itOption =
        std::find_if(in_options.begin(), in_options.end(),
                     [&](const ConfigOption& in_option) { return in_map.count(in_option.m_name) != 0; });
    return itOption == in_options.end() ? nullptr : &*itOption;
}

/// Empty when no option of that command was given.
std::string findMisplaced(const variables_map& in_map, std::span<const ConfigOption> in_options,
                          const char* in_command)
{
    const ConfigOption* pOption = findGiven(in_map, in_options);
    return pOption == nullptr ? "" : std::string("option '--") + pOption->m_name + "' is for " + in_command;
}

} // namespace

ConfigApplication::ConfigApplication()
    : ApplicationImpl(s_logger, "ml-config")
{
    registerGeneratorClasses();
    addWriteOptions(getOptions());
    addScalingOptions(getOptions());
    OverwriteGuard::addOption(getOptions(), "write over a recording or an input, too");
    setArguments("arguments", -1, "COMMAND FILE", DESCRIPTION);
}

bool ConfigApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    QC_TRACE("ConfigApplication::processCmdlineVarsMap");
    if (!ApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    const StringVector vArguments =
        in_map.count("arguments") == 0 ? StringVector() : in_map["arguments"].as<StringVector>();
    m_strCommand = vArguments.empty() ? "" : vArguments.front();
    if (vArguments.size() != 2 || (m_strCommand != WRITE && m_strCommand != LEARN && m_strCommand != EXPLAIN))
    {
        QC_ERROR(
            "A command and a file are needed: write FILE, learn-scaling FILE or explain FILE, see --help");
        return false;
    }
    m_strFile = vArguments.back();
    m_guard.takeOption(in_map);
    const std::string strFault = takeRequest(in_map);
    if (!strFault.empty())
        QC_ERROR(getName() << ": " << strFault);
    return strFault.empty();
}

/// What is wrong with it; empty if nothing is.
std::string ConfigApplication::takeRequest(const variables_map& in_map)
{
    std::string strFault;
    if (m_strCommand != WRITE)
        strFault = findMisplaced(in_map, getWriteOptions(), WRITE);
    if (strFault.empty() && m_strCommand != LEARN)
        strFault = findMisplaced(in_map, getScalingOptions(), LEARN);
    if (!strFault.empty() || m_strCommand == EXPLAIN)
        return strFault;
    keepStandardOutputClear(in_map);
    if (m_strCommand == LEARN)
        return takeScalingRequest(in_map, m_scalingRequest);
    takeFeatures(in_map);
    takeWindows(in_map);
    takeClasses(in_map);
    takeTargets(in_map);
    return findOptionFault(in_map, m_request);
}

/// Messages of info level would stand in the midst of the configuration.
void ConfigApplication::keepStandardOutputClear(const variables_map& in_map) const
{
    if (m_strFile == STANDARD_OUTPUT && in_map.count("log-config") == 0 && in_map.count("log-level") == 0)
        Logger::setLevel("", LogLevel::WARN);
}

void ConfigApplication::takeFeatures(const variables_map& in_map)
{
    if (in_map.count("generator") != 0)
        m_request.m_strKind = getString(in_map, "generator");
    if (in_map.count("library") != 0)
        m_request.m_vLibraries = in_map["library"].as<StringVector>();
    if (in_map.count("feature") != 0)
        m_request.m_vFeatures = in_map["feature"].as<StringVector>();
    if (in_map.count("bands") != 0)
        m_request.m_features.m_uiNbBands = static_cast<unsigned int>(getCount(in_map, "bands", 1, MOST));
    if (in_map.count("cepstra") != 0)
        m_request.m_features.m_uiNbCepstra = static_cast<unsigned int>(getCount(in_map, "cepstra", 1, MOST));
    m_request.m_features.m_vFrequencies = getListedNumbers(in_map, "frequency", true);
}

void ConfigApplication::takeWindows(const variables_map& in_map)
{
    LinearAudioWindower::Config& windows = m_request.m_windows;
    if (in_map.count("rate") != 0)
        windows.m_uiSamplingRate = static_cast<std::uint32_t>(getCount(in_map, "rate", 0, MOST));
    if (windows.m_uiSamplingRate != 0)
        m_request.m_features.m_dSamplingRate = windows.m_uiSamplingRate;
    if (in_map.count("window") != 0)
        windows.m_uiWindowLength = getCount(in_map, "window", 1, MOST);
    if (in_map.count("shift") != 0)
        windows.m_uiWindowShift = getCount(in_map, "shift", 1, MOST);
    if (in_map.count("channel") != 0 && getString(in_map, "channel") != "mean")
        windows.m_iChannel = static_cast<int>(getCount(in_map, "channel", 0, LAST_CHANNEL));
    if (in_map.count("max-time") != 0)
        m_request.m_dMaxAudioTime = getReal(in_map, "max-time", 0.0, std::numeric_limits<double>::max());
}

void ConfigApplication::takeClasses(const variables_map& in_map)
{
    StringVector vClasses = getListed(in_map, "classes");
    if (in_map.count("class") != 0)
        for (const std::string& strClass : in_map["class"].as<StringVector>())
            vClasses.push_back(strClass);
    if (in_map.count("literal-class") != 0)
        for (const std::string& strLabel : in_map["literal-class"].as<StringVector>())
            vClasses.push_back(toLiteralClass(strLabel));
    if (!vClasses.empty())
        m_request.m_vClasses = vClasses;
}

/// What is particular to some generators.
void ConfigApplication::takeTargets(const variables_map& in_map)
{
    const auto take = [&](const char* in_option, auto& out_value, std::uint64_t in_uiMost)
    {
        if (in_map.count(in_option) != 0)
            out_value =
                static_cast<std::decay_t<decltype(out_value)>>(getCount(in_map, in_option, 0, in_uiMost));
    };
    take("carrier-tolerance", m_request.m_uiCarrierTolerance, MOST);
    take("modulation-tolerance", m_request.m_uiModulationTolerance, MOST);
    take("tone-tolerance", m_request.m_iToneTolerance, std::numeric_limits<std::int32_t>::max());
    take("debouncing", m_request.m_uiDebouncingWindows, MOST);
    take("incertitude", m_request.m_uiIncertitudeWindows, MOST);
    if (in_map.count("constant-input") == 0)
        return;
    const std::string strAnswer = getString(in_map, "constant-input");
    if (strAnswer != "yes" && strAnswer != "no")
        throw ExceptionWithMsg("option '--constant-input': '" + strAnswer + "' is neither yes nor no");
    m_request.m_bConstantInput = strAnswer == "yes";
}

/// Asked before the work, not after it.
bool ConfigApplication::mayWrite()
{
    for (const StringVector& vInputs :
         {m_request.m_vLibraries, m_scalingRequest.m_vInputFiles, {m_scalingRequest.m_strConfigFile}})
        for (const std::string& strInput : vInputs)
            m_guard.addInput(strInput);
    return m_strFile == STANDARD_OUTPUT || m_guard.allows(m_strFile);
}

bool ConfigApplication::run_i()
{
    QC_TRACE("ConfigApplication::run_i");
    if (m_strCommand == EXPLAIN)
        return explainConfiguration(m_strFile);
    if (!mayWrite())
        return false;
    return m_strCommand == WRITE ? writeConfiguration(m_request, m_strFile)
                                 : learnScaling(m_scalingRequest, m_strFile);
}

} // namespace Vexalor::MachineLearning
