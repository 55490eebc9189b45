#include "ml-config/FieldSettings.h"

#include "common/ListedNames.h"

#include <map>
#include <span>

namespace Vexalor::MachineLearning
{

namespace
{

using Kind = ArchiveElement::Kind;

void collectFields(const ArchiveElement& in_parent, std::span<const std::string> in_path,
                   std::vector<const ArchiveElement*>& io_vFields)
{
    for (const ArchiveElement& element : in_parent.m_vElements)
    {
        const bool bLast = in_path.size() == 1;
        const bool bMatch =
            element.m_strName == in_path.front() || (!bLast && element.m_strClass == in_path.front());
        if (bMatch && bLast)
            io_vFields.push_back(&element);
        collectFields(element, bMatch && !bLast ? in_path.subspan(1) : in_path, io_vFields);
    }
}

std::string escape(const std::string& in_strText)
{
    std::string strEscaped;
    for (const char cChar : in_strText)
    {
        if (cChar == '&' || cChar == '<')
            strEscaped += cChar == '&' ? "&amp;" : "&lt;";
        else
            strEscaped += cChar;
    }
    return strEscaped;
}

bool isList(const ArchiveElement& in_element)
{
    return in_element.m_kind == Kind::LIST &&
           (in_element.m_vElements.empty() || in_element.m_vElements.front().m_kind == Kind::VALUE);
}

std::string makeList(const StringVector& in_vItems, bool in_bItemVersion)
{
    const bool bEmpty = in_vItems.size() == 1 && in_vItems.front().empty();
    std::string strList = "<count>" + std::to_string(bEmpty ? 0 : in_vItems.size()) + "</count>";
    if (in_bItemVersion)
        strList += "<item_version>0</item_version>";
    for (const std::string& strItem : in_vItems)
        strList += bEmpty ? "" : "<item>" + escape(strItem) + "</item>";
    return strList;
}

std::string makeContent(const ArchiveElement& in_element, const StringVector& in_vParts,
                        std::string_view in_earlier)
{
    if (in_element.m_kind == Kind::LIST)
        return makeList(in_vParts, in_earlier.find("<item_version>") != std::string_view::npos);
    std::string strValue = in_vParts.front();
    for (auto itPart = in_vParts.begin() + 1; itPart != in_vParts.end(); ++itPart)
        strValue += ',' + *itPart;
    return escape(strValue);
}

} // namespace

std::vector<const ArchiveElement*> findFields(const ArchiveElement& in_root, const std::string& in_strPath)
{
    std::vector<const ArchiveElement*> vFields;
    collectFields(in_root, splitText(in_strPath, '/'), vFields);
    return vFields;
}

std::string applySettings(const std::vector<FieldSetting>& in_vSettings, ArchiveDescription& io_archive)
{
    struct Edit
    {
        std::size_t m_uiEnd;
        std::string m_strContent;
    };
    std::map<std::size_t, Edit> edits; // by their places
    std::string& strText = io_archive.m_strText;
    for (const FieldSetting& setting : in_vSettings)
    {
        const std::string strOption = "option '--" + setting.m_strOption + "': ";
        std::vector<const ArchiveElement*> vFields;
        for (const std::string& strField : setting.m_vFields)
            collectFields(io_archive.m_root, splitText(strField, '/'), vFields);
        if (vFields.empty())
            return strOption + "the configuration has no field " + setting.m_vFields.front();
        for (const ArchiveElement* pField : vFields)
        {
            if (pField->m_kind != Kind::VALUE && !isList(*pField))
                return strOption + "field " + pField->m_strName + " is no number, text or list of such";
            const std::string_view earlier =
                std::string_view(strText).substr(pField->m_uiBegin, pField->m_uiEnd - pField->m_uiBegin);
            edits[pField->m_uiBegin] = {pField->m_uiEnd, makeContent(*pField, setting.m_vParts, earlier)};
        }
    }
    // From the last to the first, so that earlier places stay.
    for (auto itEdit = edits.rbegin(); itEdit != edits.rend(); ++itEdit)
        strText.replace(itEdit->first, itEdit->second.m_uiEnd - itEdit->first, itEdit->second.m_strContent);
    return {};
}

} // namespace Vexalor::MachineLearning
