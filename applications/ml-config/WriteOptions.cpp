#include "ml-config/WriteOptions.h"

#include "ml-config/FieldDescriptions.h"
#include "ml-config/GeneratorKinds.h"
#include "quillcast-core/ExceptionWithMsg.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr ConfigOption OPTIONS[] = {
    {"generator", "KIND", "kind of generator, audio unless given:", ""},
    {"library", "NAME", "plug-in library that is loaded before the generator is created", "", true},
    {"feature", "KIND", "what makes the input of a pattern, log-mel unless given; repeated, side by side:",
     "audio vector-file-features", true},
    {"rate", "HZ", "rate of the recordings, 8000 unless given; 0: any", "audio vector-file-features"},
    {"window", "MS", "length of a window, 25 unless given", "audio"},
    {"shift", "MS", "time from the start of a window to that of the next, 10 unless given", "audio"},
    {"channel", "N", "channel, counted from 0, or mean, the default: the mean of all", "audio"},
    {"max-time", "S", "stop at the first window that ends later; 0, the default: no limit", "audio"},
    {"classes", "LIST",
     "classes in target order, joined by commas; unless any is given those that the generator usually has, "
     "such as VOICE,OTHER",
     "audio", true},
    {"class", "NAME", "one class, behind those of --classes: a tone such as SF:1000 or a regular expression",
     "audio", true},
    {"literal-class", "LABEL", "one class, behind the others: the annotations that have this very label",
     "audio", true},
    {"carrier-tolerance", "HZ", "by which a carrier may differ from that of its class, 0 unless given",
     "am am-set"},
    {"modulation-tolerance", "HZ", "the same for the modulating frequency", "am am-set"},
    {"tone-tolerance", "HZ", "by which a tone may differ from its class, 10 unless given", "tone-set"},
    {"constant-input", "YES|NO",
     "whether the frequency of the tone is part of the input, as it is unless given", "tone-set"},
    {"debouncing", "N",
     "windows of silence behind voice from which on they are no voice, so that one fewer is still; 0 unless "
     "given",
     "smoothed-vad-set"},
    {"incertitude", "N", "windows behind those that are as annotated, 0 unless given", "smoothed-vad-set"},
    {"bands", "N", "number of mel bands", "log-mel mfcc"},
    {"cepstra", "N", "number of coefficients", "mfcc"},
    {"frequency", "LIST", "frequencies of the tones in Hz, joined by commas", "tones", true},
};

/// A line for each kind, from the description of its class.
template <class Kinds>
std::string listKinds(const Kinds& in_kinds)
{
    std::string strText;
    for (const auto& kind : in_kinds)
        strText += std::string("\n") + kind.m_name + ": " + describeClass(kind.m_key);
    return strText;
}

std::string makeHelp(const ConfigOption& in_option)
{
    std::string strHelp = in_option.m_help;
    if (in_option.m_name == std::string_view("generator"))
        strHelp += listKinds(getGeneratorKinds());
    if (in_option.m_name == std::string_view("feature"))
        strHelp += listKinds(getFeatureKinds());
    else if (in_option.m_bRepeatable)
        strHelp += "; may be repeated";
    return strHelp;
}

bool isUsed(const ConfigOption& in_option, const GeneratorRequest& in_request)
{
    std::istringstream users(in_option.m_users);
    std::string strUser;
    bool bForAll = true;
    const GeneratorKind& kind = *findGeneratorKind(in_request.m_strKind);
    const bool bAudio = kind.m_findClassFault != nullptr;
    while (users >> strUser)
    {
        bForAll = false;
        const StringVector& vFeatures = in_request.m_vFeatures;
        if (strUser == in_request.m_strKind || (bAudio && strUser == "audio") ||
            (kind.hasFeatures() && std::find(vFeatures.begin(), vFeatures.end(), strUser) != vFeatures.end()))
            return true;
    }
    return bForAll;
}

} // namespace

void addOption(options_description& io_options, const ConfigOption& in_option, const std::string& in_strHelp)
{
    auto add = io_options.add_options();
    if (in_option.m_bRepeatable)
        add(in_option.m_name, value<StringVector>()->value_name(in_option.m_valueName), in_strHelp.c_str());
    else
        add(in_option.m_name, value<std::string>()->value_name(in_option.m_valueName), in_strHelp.c_str());
}

std::span<const ConfigOption> getWriteOptions()
{
    return OPTIONS;
}

void addWriteOptions(options_description& io_options)
{
    for (const ConfigOption& option : OPTIONS)
        addOption(io_options, option, makeHelp(option));
}

std::string findOptionFault(const variables_map& in_map, const GeneratorRequest& in_request)
{
    if (findGeneratorKind(in_request.m_strKind) == nullptr)
        return "there is no generator '" + in_request.m_strKind + "', see --help";
    for (const std::string& strName : in_request.m_vFeatures)
    {
        if (findFeatureKind(strName) == nullptr)
            return "there is no feature '" + strName + "', see --help";
    }
    for (const ConfigOption& option : OPTIONS)
    {
        if (in_map.count(option.m_name) != 0 && !isUsed(option, in_request))
            return std::string("option '--") + option.m_name + "' is only for: " + option.m_users;
    }
    return {};
}

StringVector getListed(const variables_map& in_map, const char* in_option)
{
    StringVector vParts;
    if (in_map.count(in_option) == 0)
        return vParts;
    for (const std::string& strList : in_map[in_option].as<StringVector>())
    {
        std::size_t uiBegin = 0;
        std::size_t uiComma = 0;
        while ((uiComma = strList.find(',', uiBegin)) != std::string::npos)
        {
            vParts.push_back(strList.substr(uiBegin, uiComma - uiBegin));
            uiBegin = uiComma + 1;
        }
        vParts.push_back(strList.substr(uiBegin));
    }
    return vParts;
}

std::vector<double> getListedNumbers(const variables_map& in_map, const char* in_option, bool in_bAboveZero)
{
    std::vector<double> vNumbers;
    for (const std::string& strPart : getListed(in_map, in_option))
    {
        const char* pEnd = strPart.data() + strPart.size();
        double dNumber = 0.0;
        const auto result = std::from_chars(strPart.data(), pEnd, dNumber);
        if (result.ec != std::errc() || result.ptr != pEnd || !std::isfinite(dNumber) ||
            (in_bAboveZero && dNumber <= 0.0))
            throw ExceptionWithMsg(std::string("option '--") + in_option + "': '" + strPart +
                                   "' is no number" + (in_bAboveZero ? " above 0" : ""));
        vNumbers.push_back(dNumber);
    }
    return vNumbers;
}

} // namespace Vexalor::MachineLearning
