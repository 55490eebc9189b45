#include "ml-config/ConfigApplication.h"

#include "MLDataGeneratorFactory.h"
#include "common/ListedNames.h"
#include "detector/DetectorOption.h"
#include "ml-config/ClassNames.h"
#include "ml-config/ConfigCommands.h"
#include "ml-config/ScalingOptions.h"
#include "ml-config/WriteOptions.h"
#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-infra/CommandLineError.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <sstream>

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

ConfigApplication::ConfigApplication(Ranks& io_ranks)
    : ApplicationImpl(s_logger, "ml-config")
    , m_ranks(io_ranks)
{
    registerGeneratorClasses();
    addWriteOptions(getOptions());
    addScalingOptions(getOptions());
    m_shares.addOptions(getOptions());
    OverwriteGuard::addOption(getOptions(), "write over a recording or an input, too");
    setArguments("arguments", -1, "COMMAND FILE", DESCRIPTION);
    setExamples("ml-config write voice.xml --feature mfcc --classes VOICE,OTHER\n"
                "ml-config learn-scaling scaling.xml --data-gen-config voice.xml \\\n"
                "    --data-gen-filename call.wav\n"
                "ml-config learn-scaling share.1 --shard 1/2 --data-gen-config set.xml \\\n"
                "    --data-gen-filename calls.lst\n"
                "ml-config learn-scaling scaling.xml --join share.1 share.2\n"
                "mpirun -n 2 ml-config learn-scaling scaling.xml --data-gen-config set.xml \\\n"
                "    --data-gen-filename calls.lst\n"
                "ml-config explain voice.xml");
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
        return refuseCommand();
    }
    refuseDetectors(in_map, {"data-gen-config"}, "the configuration that it was trained with is needed here");
    m_strFile = vArguments.back();
    m_guard.takeOption(in_map);
    std::string strFault = takeShares(in_map);
    if (strFault.empty())
        strFault = takeRequest(in_map);
    if (!strFault.empty())
        throw CommandLineError(strFault);
    return true;
}

/// What is wrong with them; empty if nothing is. How components are treated is said when shares are joined.
std::string ConfigApplication::takeShares(const variables_map& in_map)
{
    static constexpr const char* OF_JOIN[] = {"inputs", "targets", "interval"};
    static constexpr const char* OF_SHARE[] = {"data-gen-config", "data-gen-filename"};
    m_shares.takeOptions(in_map);
    const bool bShares = m_shares.getShard() || m_shares.isJoin();
    if (bShares && m_strCommand != LEARN)
        return std::string("options '--shard' and '--join' are for ") + LEARN;
    if (m_shares.getShard() && m_strFile == STANDARD_OUTPUT)
        return "a share is left in a file";
    return m_shares.findMisplaced(in_map, OF_JOIN, OF_SHARE);
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
        return takeScalingRequest(in_map, m_shares.isJoin(), m_scalingRequest);
    takeGenerator(in_map);
    takeClasses(in_map);
    return {};
}

/// Messages of info level would stand in the midst of the configuration.
void ConfigApplication::keepStandardOutputClear(const variables_map& in_map) const
{
    if (m_strFile == STANDARD_OUTPUT && in_map.count("log-config") == 0 && in_map.count("log-level") == 0)
        Logger::setLevel("", LogLevel::WARN);
}

/// The value of an option that stands for fields; throws CommandLineError when it is none.
StringVector ConfigApplication::takeValue(const variables_map& in_map, const std::string& in_strOption) const
{
    struct Range
    {
        const char* m_option;
        std::uint64_t m_uiMin;
        std::uint64_t m_uiMax;
    };
    static constexpr Range RANGES[] = {
        {"window", 1, MOST},
        {"shift", 1, MOST},
        {"bands", 1, MOST},
        {"cepstra", 1, MOST},
        {"reach", 1, MOST},
        {"order", 1, 4},
        {"step", 1, MOST},
        {"scales", 1, 16},
        {"channel", 0, LAST_CHANNEL},
        {"tone-tolerance", 0, std::numeric_limits<std::int32_t>::max()},
    };
    const char* option = in_strOption.c_str();
    if (in_strOption == "frequency")
    {
        getListedNumbers(in_map, option, true);
        return getListed(in_map, option);
    }
    const std::string strValue = getString(in_map, option);
    if (in_strOption == "constant-input" && strValue != "yes" && strValue != "no")
        throw CommandLineError("option '--constant-input': '" + strValue + "' is neither yes nor no");
    if (in_strOption == "constant-input")
        return {strValue == "yes" ? "1" : "0"};
    if (in_strOption == "channel" && strValue == "mean")
        return {std::to_string(LinearAudioWindower::Config::MEAN_OF_CHANNELS)};
    static constexpr const char* REALS[] = {"max-time", "low-frequency", "high-frequency", "time-constant"};
    if (std::find(std::begin(REALS), std::end(REALS), in_strOption) != std::end(REALS))
    {
        getReal(in_map, option, 0.0, std::numeric_limits<double>::max());
        return {strValue};
    }
    const auto* itRange =
        std::find_if(std::begin(RANGES), std::end(RANGES),
                     [&](const Range& in_range) { return in_strOption == in_range.m_option; });
    const bool bRange = itRange != std::end(RANGES);
    return {std::to_string(
        getCount(in_map, option, bRange ? itRange->m_uiMin : 0, bRange ? itRange->m_uiMax : MOST))};
}

void ConfigApplication::takeGenerator(const variables_map& in_map)
{
    if (in_map.count("generator") != 0)
        m_request.m_strGenerator = getString(in_map, "generator");
    if (in_map.count("library") != 0)
        m_request.m_vLibraries = in_map["library"].as<StringVector>();
    if (in_map.count("context") != 0)
        m_request.m_vContexts = in_map["context"].as<StringVector>();
    if (in_map.count("feature") != 0)
        m_request.m_vFeatures = in_map["feature"].as<StringVector>();
    for (const ConfigOption& option : getWriteOptions())
    {
        std::istringstream fields(option.m_fields);
        FieldSetting setting{option.m_name, {std::istream_iterator<std::string>(fields), {}}, {}};
        if (in_map.count(option.m_name) == 0 || setting.m_vFields.empty())
            continue;
        setting.m_vParts = takeValue(in_map, option.m_name);
        m_request.m_vSettings.push_back(setting);
    }
    if (in_map.count("set") == 0)
        return;
    for (const std::string& strSetting : in_map["set"].as<StringVector>())
    {
        const std::size_t uiEqual = strSetting.find('=');
        if (uiEqual == std::string::npos || uiEqual == 0)
            throw CommandLineError("option '--set': '" + strSetting + "' is not of the form FIELD=VALUE");
        m_request.m_vSettings.push_back(
            {"set", {strSetting.substr(0, uiEqual)}, splitText(strSetting.substr(uiEqual + 1), ',')});
    }
}

void ConfigApplication::takeClasses(const variables_map& in_map)
{
    m_request.m_vClasses = getListed(in_map, "classes");
    if (in_map.count("class") != 0)
        for (const std::string& strClass : in_map["class"].as<StringVector>())
            m_request.m_vClasses.push_back(strClass);
    if (in_map.count("literal-class") != 0)
        for (const std::string& strLabel : in_map["literal-class"].as<StringVector>())
            m_request.m_vClasses.push_back(toLiteralClass(strLabel));
}

/// Asked before the work, not after it.
bool ConfigApplication::mayWrite()
{
    for (const StringVector& vInputs : {m_request.m_vLibraries,
                                        m_scalingRequest.m_vInputFiles,
                                        m_shares.getJoined(),
                                        {m_scalingRequest.m_strConfigFile}})
        for (const std::string& strInput : vInputs)
            m_guard.addInput(strInput);
    return m_strFile == STANDARD_OUTPUT || m_guard.allows(m_strFile);
}

bool ConfigApplication::run_i()
{
    QC_TRACE("ConfigApplication::run_i");
    if (m_strCommand == EXPLAIN)
        return explainConfiguration(m_strFile);
    if (m_ranks.isFirst() && !mayWrite())
        return false;
    return m_strCommand == WRITE ? writeConfiguration(m_request, m_strFile) : learn();
}

bool ConfigApplication::learn() const
{
    if (m_shares.isJoin())
        return joinScaling(m_scalingRequest, m_shares.getJoined(), m_strFile);
    if (m_ranks.areTogether())
        return learnScalingTogether(m_scalingRequest, m_ranks, m_strFile);
    return m_shares.getShard() ? learnScalingShare(m_scalingRequest, *m_shares.getShard(), m_strFile)
                               : learnScaling(m_scalingRequest, m_strFile);
}

} // namespace Vexalor::MachineLearning
