#include "ml-config/WriteOptions.h"

#include "common/ListedNames.h"
#include "ml-config/FeatureKinds.h"
#include "ml-config/GeneratorKinds.h"
#include "quillcast-infra/CommandLineError.h"

#include <charconv>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr ConfigOption OPTIONS[] = {
    {"generator", "KIND", "kind of generator, audio unless given, or the key of a class:"},
    {"library", "NAME", "plug-in library that is loaded before the generator is created", true},
    {"feature", "KIND",
     "what makes the input of a pattern, log-mel unless given, or the key of a class; repeated, side by "
     "side:",
     true},
    {"context", "KIND",
     "puts the features into the context of the windows before, or the key of a class; repeated, one over "
     "the "
     "other in that order:",
     true},
    {"rate", "HZ", "", false, "m_uiSamplingRate m_dSamplingRate"},
    {"window", "MS", "", false, "m_uiWindowLength"},
    {"shift", "MS", "", false, "m_uiWindowShift"},
    {"channel", "N", "channel, counted from 0, or mean, the default: the mean of all", false, "m_iChannel"},
    {"max-time", "S", "", false, "m_dMaxAudioTime"},
    {"classes", "LIST",
     "classes in target order, joined by commas; unless any is given those that the generator usually has, "
     "such as VOICE,OTHER",
     true},
    {"class", "NAME", "one class, after those of --classes: a tone such as SF:1000 or a regular expression",
     true},
    {"literal-class", "LABEL", "one class, after the others: the annotations that have this very label",
     true},
    {"carrier-tolerance", "HZ", "", false, "m_uiFreqCarrierTol"},
    {"modulation-tolerance", "HZ", "", false, "m_uiFreqModulatedTol"},
    {"tone-tolerance", "HZ", "", false, "m_iFrequencyTolerance"},
    {"constant-input", "YES|NO",
     "whether the frequency of the tone is part of the input, as it is unless given", false,
     "m_bConstantInput"},
    {"debouncing", "N", "", false, "m_uiDebouncingWindows"},
    {"incertitude", "N", "", false, "m_uiIncertitudeWindows"},
    {"bands", "N", "", false, "m_uiNbBands"},
    {"low-frequency", "HZ", "", false, "m_dLowFrequency"},
    {"high-frequency", "HZ", "", false, "m_dHighFrequency"},
    {"cepstra", "N", "", false, "m_uiNbCepstra"},
    {"frequency", "LIST", "", true, "m_vFrequencies"},
    {"reach", "N", "", false, "m_uiReach"},
    {"order", "N", "", false, "m_uiOrder"},
    {"scales", "N", "", false, "m_uiScales"},
    {"windows-before", "N", "", false, "m_uiWindowsBefore"},
    {"step", "N", "", false, "m_uiStep"},
    {"time-constant", "N", "", false, "m_dTimeConstant"},
    {"set", "FIELD=VALUE",
     "value of any other field, as explain shows it: a number, a text or, joined by commas, a list. "
     "OWNER/FIELD is that in one object or class only",
     true},
};

/// A line for each kind, with what its class says of itself.
template <class Kinds>
std::string listKinds(const Kinds& in_kinds)
{
    std::string strText;
    for (const auto& kind : in_kinds)
        strText +=
            std::string("\n") + kind.m_name + ": " + describeDefaultObject(kind.m_key).m_strClassMeaning;
    return strText;
}

/// Default objects of all kinds.
std::vector<ArchiveElement> describeKinds()
{
    std::vector<ArchiveElement> vKinds;
    for (const GeneratorKind& kind : getGeneratorKinds())
        vKinds.push_back(describeDefaultObject(kind.m_key));
    for (const FeatureKind& kind : getFeatureKinds())
        vKinds.push_back(describeDefaultObject(kind.m_key));
    for (const FeatureKind& kind : getContextKinds())
        vKinds.push_back(describeDefaultObject(kind.m_key));
    return vKinds;
}

/// What the field means, with its default unless there are several.
std::string describeField(const std::string& in_strField, const std::vector<ArchiveElement>& in_vKinds)
{
    const ArchiveElement* pFirst = nullptr;
    bool bOneDefault = true;
    for (const ArchiveElement& kind : in_vKinds)
    {
        for (const ArchiveElement* pField : findFields(kind, in_strField))
        {
            pFirst = pFirst == nullptr ? pField : pFirst;
            bOneDefault = bOneDefault && pField->m_strValue == pFirst->m_strValue;
        }
    }
    if (pFirst == nullptr)
        return {};
    const bool bDefault = bOneDefault && !pFirst->m_strValue.empty();
    return pFirst->m_strMeaning + (bDefault ? "; " + pFirst->m_strValue + " unless given" : "");
}

std::string makeHelp(const ConfigOption& in_option, const std::vector<ArchiveElement>& in_vKinds)
{
    const std::string strFields = in_option.m_fields;
    std::string strHelp = in_option.m_help;
    if (strHelp.empty())
        strHelp = describeField(strFields.substr(0, strFields.find(' ')), in_vKinds);
    if (in_option.m_name == std::string_view("generator"))
        strHelp += listKinds(getGeneratorKinds());
    if (in_option.m_name == std::string_view("feature"))
        strHelp += listKinds(getFeatureKinds());
    else if (in_option.m_name == std::string_view("context"))
        strHelp += listKinds(getContextKinds());
    else if (in_option.m_bRepeatable)
        strHelp += "; may be repeated";
    return strHelp;
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
    const std::vector<ArchiveElement> vKinds = describeKinds();
    for (const ConfigOption& option : OPTIONS)
        addOption(io_options, option, makeHelp(option, vKinds));
}

StringVector getListed(const variables_map& in_map, const char* in_option)
{
    StringVector vParts;
    if (in_map.count(in_option) == 0)
        return vParts;
    for (const std::string& strList : in_map[in_option].as<StringVector>())
    {
        const StringVector vMore = splitText(strList, ',');
        vParts.insert(vParts.end(), vMore.begin(), vMore.end());
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
            throw CommandLineError(std::string("option '--") + in_option + "': '" + strPart +
                                   "' is no number" + (in_bAboveZero ? " above 0" : ""));
        vNumbers.push_back(dNumber);
    }
    return vNumbers;
}

} // namespace Vexalor::MachineLearning
