#include "ml-config/ConfigurationTree.h"

#include "quillcast-core/Serialization.h"

#include <algorithm>
#include <boost/property_tree/xml_parser.hpp>
#include <map>
#include <sstream>

namespace Vexalor::MachineLearning
{

namespace
{

using Node = boost::property_tree::ptree;

constexpr const char* ROOT = "boost_serialization";
constexpr const char* NO_CLASS_ID = "-1";

std::string getAttribute(const Node& in_node, const char* in_name)
{
    return in_node.get(std::string("<xmlattr>.") + in_name, std::string());
}

bool isBookkeeping(const std::string& in_strName)
{
    return in_strName.starts_with('<') || in_strName == "count" || in_strName == "item_version";
}

bool isValue(const Node& in_node)
{
    return std::all_of(in_node.begin(), in_node.end(),
                       [](const Node::value_type& in_child) { return in_child.first.starts_with('<'); });
}

class Walker
{
public:
    explicit Walker(ConfigurationEntries& out_entries)
        : m_entries(out_entries)
    {
    }

    /// Where the children of a node stand.
    struct Place
    {
        std::size_t m_uiDepth;
        std::string m_strOwner; ///< class whose fields they are
        std::string m_strPath;
        const FieldDescription* m_pList = nullptr; ///< the list whose items they are
        bool m_bItems = false;
    };

    void walk(const Node& in_node, const Place& in_place)
    {
        std::size_t uiItem = 0;
        for (const auto& [strName, child] : in_node)
        {
            if (isBookkeeping(strName))
                continue;
            const std::string strClass = findClass(strName, child);
            if (isBasePart(strName, in_place))
                walk(child, {in_place.m_uiDepth, strName, in_place.m_strPath});
            else if (in_place.m_bItems)
                add("item " + std::to_string(++uiItem), strClass, child, in_place);
            else
                add(strName, strClass, child, in_place);
        }
    }

private:
    static bool isBasePart(const std::string& in_strName, const Place& in_place)
    {
        return in_place.m_uiDepth > 0 && !in_place.m_bItems &&
               getClassKeyState(in_strName.c_str()) != ClassKeyState::UNKNOWN;
    }

    /// A class is named where it appears first and numbered from then on.
    std::string findClass(const std::string& in_strName, const Node& in_node)
    {
        const std::string strKey = getAttribute(in_node, "class_name");
        std::string strId = getAttribute(in_node, "class_id");
        if (strId.empty())
            strId = getAttribute(in_node, "class_id_reference");
        if (strId.empty() || strId == NO_CLASS_ID)
            return {};
        if (!strKey.empty())
            m_classes[strId] = strKey;
        else if (getClassKeyState(in_strName.c_str()) != ClassKeyState::UNKNOWN)
            m_classes[strId] = in_strName;
        const auto itClass = m_classes.find(strId);
        return itClass == m_classes.end() ? std::string() : itClass->second;
    }

    void add(const std::string& in_strName, const std::string& in_strClass, const Node& in_node,
             const Place& in_place)
    {
        ConfigurationEntry entry;
        entry.m_uiDepth = in_place.m_uiDepth;
        entry.m_strName = in_strName;
        entry.m_strClass = in_strClass;
        entry.m_bItem = in_place.m_bItems;
        entry.m_pField = entry.m_bItem ? in_place.m_pList : describeField(in_place.m_strOwner, in_strName);
        if (!entry.m_bItem)
            entry.m_strPath = in_place.m_strPath + "/" + in_strName;
        const bool bList = in_strClass.empty() && in_node.count("count") != 0;
        entry.m_strValue = toValue(entry, bList, in_node);
        m_entries.push_back(entry);
        walk(in_node, {in_place.m_uiDepth + 1, findOwner(entry, bList, in_place),
                       in_strClass.empty() ? entry.m_strPath : in_strClass, entry.m_pField, bList});
    }

    static std::string toValue(const ConfigurationEntry& in_entry, bool in_bList, const Node& in_node)
    {
        if (!in_entry.m_strClass.empty())
            return in_entry.m_strClass;
        if (getAttribute(in_node, "class_id") == NO_CLASS_ID)
            return "none";
        if (!in_bList)
            return isValue(in_node) ? toPrintable(in_node.data()) : std::string();
        const std::string strCount = in_node.get<std::string>("count");
        return strCount == "0" ? "none" : strCount + (strCount == "1" ? " item" : " items");
    }

    static std::string findOwner(const ConfigurationEntry& in_entry, bool in_bList, const Place& in_place)
    {
        if (!in_entry.m_strClass.empty())
            return in_entry.m_strClass;
        if (in_bList)
            return in_place.m_strOwner;
        return in_entry.m_pField == nullptr ? std::string() : in_entry.m_pField->m_valueClass;
    }

    ConfigurationEntries& m_entries;
    std::map<std::string, std::string> m_classes; ///< by number
};

} // namespace

std::string toPrintable(std::string in_strText)
{
    std::replace_if(
        in_strText.begin(), in_strText.end(),
        [](unsigned char in_cChar) { return in_cChar < 0x20 || in_cChar == 0x7f; }, '?');
    return in_strText;
}

ConfigurationEntries listEntries(const std::string& in_strText)
{
    std::istringstream stream(in_strText);
    Node document;
    boost::property_tree::read_xml(stream, document);
    ConfigurationEntries entries;
    Walker(entries).walk(document.get_child(ROOT), {0, std::string(ARCHIVE_ROOT), std::string()});
    return entries;
}

} // namespace Vexalor::MachineLearning
