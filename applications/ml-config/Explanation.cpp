#include "ml-config/Explanation.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

namespace Vexalor::MachineLearning
{

namespace
{

using Kind = ArchiveElement::Kind;

constexpr std::size_t INDENT = 2;
/// Value of a null object and of an empty list.
constexpr const char* NONE = "none";
constexpr std::size_t LONGEST_VALUE = 500;
/// Column of the meanings.
constexpr std::size_t MEANING_COLUMN = 56;

/// A network is no line of text.
std::string shorten(const std::string& in_strValue)
{
    if (in_strValue.size() <= LONGEST_VALUE)
        return in_strValue;
    return in_strValue.substr(0, std::min<std::size_t>(in_strValue.find_first_of("= \n"), 76)) + "... (" +
           std::to_string(in_strValue.size()) + " characters)";
}

/// As it is printed; empty for a value with fields of its own.
std::string toValue(const ArchiveElement& in_element)
{
    const std::size_t uiItems = in_element.m_vElements.size();
    switch (in_element.m_kind)
    {
    case Kind::VALUE:
        return toPrintable(shorten(in_element.m_strValue));
    case Kind::OBJECT:
        return in_element.m_bPointer ? in_element.m_strClass : "";
    case Kind::LIST:
        return uiItems == 0 ? NONE : std::to_string(uiItems) + (uiItems == 1 ? " item" : " items");
    case Kind::NONE:
        return NONE;
    }
    return {};
}

/// An element on the way through a configuration, in its order.
struct Entry
{
    const ArchiveElement& m_element;
    std::size_t m_uiDepth;
    std::string m_strPath; ///< from the class of the object that it belongs to: equal in all of them
    std::string m_strUnit; ///< of the list, for an item
    std::size_t m_uiItem;  ///< from 1 in a list; 0: a field
    const ArchiveElement*
        m_pDefault; ///< the same field in an object as its constructor leaves it; null: none

    std::string getDefault() const
    {
        return m_pDefault == nullptr || m_pDefault->m_kind == Kind::OBJECT ? "" : toValue(*m_pDefault);
    }
};

/// Null for a class of which no object can be created.
const ArchiveElement* getDefaultObject(const std::string& in_strClass)
{
    static std::map<std::string, ArchiveElement> objects;
    auto itObject = objects.find(in_strClass);
    if (itObject == objects.end())
        itObject = objects.emplace(in_strClass, describeDefaultObject(in_strClass.c_str())).first;
    return itObject->second.m_strClass.empty() ? nullptr : &itObject->second;
}

const ArchiveElement* findElement(const ArchiveElement* in_pParent, const std::string& in_strName)
{
    if (in_pParent == nullptr)
        return nullptr;
    const auto itElement =
        std::find_if(in_pParent->m_vElements.begin(), in_pParent->m_vElements.end(),
                     [&](const ArchiveElement& in_element) { return in_element.m_strName == in_strName; });
    return itElement == in_pParent->m_vElements.end() ? nullptr : &*itElement;
}

/// Calls in_visit for each element below one; in_pDefault is that one as it is by default.
void visit(const ArchiveElement& in_parent, const ArchiveElement* in_pDefault, const std::string& in_strPath,
           std::size_t in_uiDepth, const std::function<void(const Entry&)>& in_visit)
{
    const bool bList = in_parent.m_kind == Kind::LIST;
    std::size_t uiItem = 0;
    for (const ArchiveElement& element : in_parent.m_vElements)
    {
        const std::string strPath = in_strPath + "/" + element.m_strName;
        const ArchiveElement* pDefault = bList ? nullptr : findElement(in_pDefault, element.m_strName);
        in_visit({element, in_uiDepth, strPath, bList ? in_parent.m_strUnit : element.m_strUnit,
                  bList ? ++uiItem : 0, pDefault});
        const ArchiveElement* pObject = element.m_bPointer ? getDefaultObject(element.m_strClass) : pDefault;
        visit(element, pObject, element.m_bPointer ? element.m_strClass : strPath, in_uiDepth + 1, in_visit);
    }
}

std::string toLine(const Entry& in_entry)
{
    const std::string strValue = toValue(in_entry.m_element);
    std::string strLine(in_entry.m_uiDepth * INDENT, ' ');
    strLine +=
        in_entry.m_uiItem == 0 ? in_entry.m_element.m_strName : "item " + std::to_string(in_entry.m_uiItem);
    if (!strValue.empty())
        strLine += " = " + strValue;
    const bool bNumber =
        in_entry.m_element.m_kind == Kind::VALUE && strValue.find_first_of("0123456789") == 0;
    if (bNumber && !in_entry.m_strUnit.empty())
        strLine += " " + in_entry.m_strUnit;
    const std::string strDefault = in_entry.getDefault();
    if (!strDefault.empty() && strDefault != strValue && strDefault != NONE)
        strLine += " (default " + strDefault + ")";
    return strLine;
}

/// Of the field and of the class of its object.
std::string toMeaning(const ArchiveElement& in_element)
{
    const bool bBoth = !in_element.m_strMeaning.empty() && !in_element.m_strClassMeaning.empty();
    return in_element.m_strMeaning + (bBoth ? ": " : "") + in_element.m_strClassMeaning;
}

std::string toCommentLine(const Entry& in_entry)
{
    const ArchiveElement& element = in_entry.m_element;
    std::string strLine(in_entry.m_uiDepth * INDENT, ' ');
    strLine += in_entry.m_uiItem == 0 ? element.m_strName : element.m_strClass;
    std::string strNotes = element.m_strUnit;
    const std::string strDefault = in_entry.getDefault();
    if (!strDefault.empty())
        strNotes += (strNotes.empty() ? "default " : ", default ") + strDefault;
    if (!strNotes.empty())
        strLine += " (" + strNotes + ")";
    const std::string strMeaning = toMeaning(element);
    if (!strMeaning.empty())
        strLine += ": " + strMeaning;
    // Two hyphens would end the comment.
    for (std::size_t uiPlace = 0; (uiPlace = strLine.find("--", uiPlace)) != std::string::npos;)
        strLine.insert(++uiPlace, 1, ' ');
    return strLine;
}

} // namespace

std::string toPrintable(std::string in_strText)
{
    std::replace_if(
        in_strText.begin(), in_strText.end(),
        [](unsigned char in_cChar) { return in_cChar < 0x20 || in_cChar == 0x7f; }, '?');
    return in_strText;
}

void printExplanation(std::ostream& out_stream, const ArchiveElement& in_root,
                      const GeneratorOutlook& in_outlook)
{
    const auto print = [&](const Entry& in_entry)
    {
        std::string strLine = toLine(in_entry);
        const std::string strMeaning = toMeaning(in_entry.m_element);
        if (!strMeaning.empty())
        {
            strLine.resize(std::max(strLine.size() + 2, MEANING_COLUMN), ' ');
            strLine += strMeaning;
        }
        out_stream << strLine << '\n';
    };
    visit(in_root, nullptr, "", 0, print);
    StringVector vRemarks;
    if (!in_outlook.m_strPatterns.empty())
        vRemarks.push_back(in_outlook.m_strPatterns);
    for (const StringVector* pRemarks : {&in_outlook.m_vWarnings, &in_outlook.m_vRemarks})
        vRemarks.insert(vRemarks.end(), pRemarks->begin(), pRemarks->end());
    if (!vRemarks.empty())
        out_stream << "Remarks\n";
    for (const std::string& strRemark : vRemarks)
        out_stream << "- " << toPrintable(strRemark) << '\n';
}

std::string makeComment(const ArchiveElement& in_root)
{
    std::string strComment =
        "<!--\n"
        "What the elements mean (unit, default). Their values may be changed; elements may "
        "not be left out or moved.\n"
        "Elements and attributes that are not named here belong to the format.\n\n";
    std::set<std::string> told;
    const auto tell = [&](const Entry& in_entry)
    {
        const bool bItem = in_entry.m_uiItem != 0;
        if (bItem && !in_entry.m_element.m_bPointer)
            return;
        if (told.insert(bItem ? in_entry.m_element.m_strClass : in_entry.m_strPath).second)
            strComment += toCommentLine(in_entry) + '\n';
    };
    visit(in_root, nullptr, "", 0, tell);
    return strComment + "-->\n";
}

} // namespace Vexalor::MachineLearning
