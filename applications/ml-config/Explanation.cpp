#include "ml-config/Explanation.h"

#include "ml-config/DefaultValues.h"

#include <set>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::size_t INDENT = 2;
/// Value of a null object and of an empty list.
constexpr const char* NONE = "none";
/// Column of the meanings.
constexpr std::size_t MEANING_COLUMN = 56;

std::string withUnit(const std::string& in_strValue, const ConfigurationEntry& in_entry)
{
    const bool bUnit = in_entry.m_pField != nullptr && *in_entry.m_pField->m_unit != '\0' &&
                       in_strValue.find_first_of("0123456789") == 0;
    return bUnit ? in_strValue + " " + in_entry.m_pField->m_unit : in_strValue;
}

/// Null when there is none.
const std::string* findDefault(const ConfigurationEntry& in_entry)
{
    const auto itDefault = getDefaultValues().find(in_entry.m_strPath);
    return itDefault == getDefaultValues().end() ? nullptr : &itDefault->second;
}

std::string toLine(const ConfigurationEntry& in_entry)
{
    std::string strLine(in_entry.m_uiDepth * INDENT, ' ');
    strLine += in_entry.m_strName;
    const bool bList = in_entry.m_strValue.ends_with(" items") || in_entry.m_strValue.ends_with(" item");
    if (!in_entry.m_strValue.empty())
        strLine += " = " + (bList ? in_entry.m_strValue : withUnit(in_entry.m_strValue, in_entry));
    const std::string* pDefault = findDefault(in_entry);
    if (pDefault != nullptr && *pDefault != in_entry.m_strValue && *pDefault != NONE)
        strLine += " (default " + *pDefault + ")";
    return strLine;
}

/// Of the field and of the class of its object, as far as they are ours.
std::string toMeaning(const ConfigurationEntry& in_entry)
{
    std::string strMeaning;
    if (in_entry.m_pField != nullptr && !in_entry.m_bItem)
        strMeaning = in_entry.m_pField->m_meaning;
    const std::string strClass = describeClass(in_entry.m_strClass);
    if (!strMeaning.empty() && !strClass.empty())
        strMeaning += ": ";
    return strMeaning + strClass;
}

std::string toCommentLine(const ConfigurationEntry& in_entry)
{
    std::string strLine(in_entry.m_uiDepth * INDENT, ' ');
    strLine += in_entry.m_bItem ? in_entry.m_strClass : in_entry.m_strName;
    std::string strNotes = in_entry.m_pField == nullptr || in_entry.m_bItem ? "" : in_entry.m_pField->m_unit;
    if (const std::string* pDefault = findDefault(in_entry))
        strNotes += (strNotes.empty() ? "default " : ", default ") + *pDefault;
    if (!strNotes.empty())
        strLine += " (" + strNotes + ")";
    return strLine + ": " + toMeaning(in_entry);
}

} // namespace

void printExplanation(std::ostream& out_stream, const ConfigurationEntries& in_entries,
                      const GeneratorOutlook& in_outlook)
{
    for (const ConfigurationEntry& entry : in_entries)
    {
        std::string strLine = toLine(entry);
        const std::string strMeaning = toMeaning(entry);
        if (!strMeaning.empty())
        {
            strLine.resize(std::max(strLine.size() + 2, MEANING_COLUMN), ' ');
            strLine += strMeaning;
        }
        out_stream << strLine << '\n';
    }
    out_stream << "Remarks\n";
    if (!in_outlook.m_strPatterns.empty())
        out_stream << "- " << in_outlook.m_strPatterns << '\n';
    for (const std::string& strRemark : in_outlook.m_vRemarks)
        out_stream << "- " << toPrintable(strRemark) << '\n';
}

std::string makeComment(const ConfigurationEntries& in_entries)
{
    std::string strComment =
        "<!--\n"
        "What the elements mean (unit, default). Their values may be changed; elements may "
        "not be left out or moved.\n"
        "Elements and attributes that are not named here belong to the format.\n\n";
    std::set<std::string> told;
    for (const ConfigurationEntry& entry : in_entries)
    {
        if (entry.m_bItem && entry.m_strClass.empty())
            continue;
        if (told.insert(entry.m_bItem ? entry.m_strClass : entry.m_strPath).second)
            strComment += toCommentLine(entry) + '\n';
    }
    return strComment + "-->\n";
}

} // namespace Vexalor::MachineLearning
