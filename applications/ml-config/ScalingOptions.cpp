#include "ml-config/ScalingOptions.h"

namespace Vexalor::MachineLearning
{

namespace
{

constexpr ConfigOption OPTIONS[] = {
    {"data-gen-config", "FILE", "configuration of the generator whose patterns are scaled. MANDATORY"},
    {"data-gen-filename", "FILE", "its input file; repeated, it learns from the patterns of all files", true},
    {"inputs", "KIND", "what to do with inputs, standardize unless given"},
    {"targets", "KIND", "what to do with targets, none unless given"},
    {"interval", "MIN,MAX", "interval of min-max, 0,1 unless given", true},
};

std::string listKinds()
{
    std::string strKinds;
    for (const TreatmentKind& kind : getTreatmentKinds())
        strKinds += (strKinds.empty() ? ": " : ", ") + std::string(kind.m_name);
    return strKinds;
}

void takeString(const variables_map& in_map, const char* in_option, std::string& io_strValue)
{
    if (in_map.count(in_option) != 0)
        io_strValue = in_map[in_option].as<std::string>();
}

bool isMinMax(const std::string& in_strKind)
{
    return findTreatmentKind(in_strKind)->m_bMinMax;
}

std::string takeInterval(const variables_map& in_map, ScalingRequest& io_request)
{
    if (in_map.count("interval") == 0)
        return {};
    const std::vector<double> vEnds = getListedNumbers(in_map, "interval", false);
    if (vEnds.size() != 2)
        return "option '--interval' takes two numbers, joined by a comma";
    if (!isMinMax(io_request.m_strInputs) && !isMinMax(io_request.m_strTargets))
        return "option '--interval' is only for: min-max";
    io_request.m_dMin = vEnds.front();
    io_request.m_dMax = vEnds.back();
    return {};
}

} // namespace

std::span<const ConfigOption> getScalingOptions()
{
    return OPTIONS;
}

void addScalingOptions(options_description& io_options)
{
    for (const ConfigOption& option : OPTIONS)
        addOption(io_options, option,
                  option.m_valueName == std::string_view("KIND") ? option.m_help + listKinds()
                                                                 : option.m_help);
}

std::string takeScalingRequest(const variables_map& in_map, bool in_bJoin, ScalingRequest& io_request)
{
    takeString(in_map, "data-gen-config", io_request.m_strConfigFile);
    takeString(in_map, "inputs", io_request.m_strInputs);
    takeString(in_map, "targets", io_request.m_strTargets);
    if (in_map.count("data-gen-filename") != 0)
        io_request.m_vInputFiles = in_map["data-gen-filename"].as<StringVector>();
    if (io_request.m_strConfigFile.empty() && !in_bJoin)
        return "a data generator configuration file must be supplied";
    for (const std::string& strKind : {io_request.m_strInputs, io_request.m_strTargets})
    {
        if (findTreatmentKind(strKind) == nullptr)
            return "there is no scaling '" + strKind + "', see --help";
    }
    return takeInterval(in_map, io_request);
}

} // namespace Vexalor::MachineLearning
