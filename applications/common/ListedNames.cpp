#include "common/ListedNames.h"

#include "quillcast-core/Logger.h"
#include "quillcast-infra/CommandLineError.h"

#include <algorithm>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ListedNames");

} // namespace

StringVector splitText(std::string_view in_text, char in_cSeparator)
{
    StringVector vParts;
    for (std::size_t uiEnd = 0; (uiEnd = in_text.find(in_cSeparator)) != std::string_view::npos;)
    {
        vParts.emplace_back(in_text.substr(0, uiEnd));
        in_text.remove_prefix(uiEnd + 1);
    }
    vParts.emplace_back(in_text);
    return vParts;
}

StringVector getListedNames(const variables_map& in_map, const char* in_option)
{
    if (in_map.count(in_option) == 0)
        return {};
    const std::string& strList = in_map[in_option].as<std::string>();
    StringVector vNames = splitText(strList, ',');
    if (std::find(vNames.begin(), vNames.end(), "") != vNames.end())
        throw CommandLineError(std::string("option '--") + in_option + "': '" + strList +
                               "' has an empty name");
    return vNames;
}

StringVector getClassNames(const variables_map& in_map)
{
    StringVector vNames = getListedNames(in_map, CLASS_NAMES_OPTION);
    for (auto itName = vNames.begin(); itName != vNames.end(); ++itName)
        if (std::find(vNames.begin(), itName, *itName) != itName)
            throw CommandLineError(std::string("option '--") + CLASS_NAMES_OPTION + "' names '" + *itName +
                                   "' twice");
    return vNames;
}

void addClassNamesOption(options_description& io_options)
{
    io_options.add_options()(
        CLASS_NAMES_OPTION, value<std::string>()->value_name("LIST"),
        "names of the classes in the order of the target, separated by commas; those of the generator unless "
        "given");
}

bool acceptClassNames(const StringVector& in_vNames, std::size_t in_uiTargets)
{
    QC_TRACE("acceptClassNames");
    if (in_vNames.empty() || in_vNames.size() == in_uiTargets)
        return true;
    QC_ERROR("Option --" << CLASS_NAMES_OPTION << " names " << in_vNames.size()
                         << " classes, the targets have " << in_uiTargets << " values");
    return false;
}

} // namespace Vexalor
