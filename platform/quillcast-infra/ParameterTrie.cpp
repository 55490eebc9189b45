#include "quillcast-infra/ParameterTrie.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <istream>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.infra.ParameterTrie");

bool isNameCharacter(char in_c)
{
    return (in_c >= 'a' && in_c <= 'z') || (in_c >= 'A' && in_c <= 'Z') || (in_c >= '0' && in_c <= '9') ||
           in_c == '_' || in_c == '-' || in_c == '.';
}

bool isName(const std::string& in_strName)
{
    return !in_strName.empty() && in_strName.front() != '.' && in_strName.back() != '.' &&
           in_strName.find("..") == std::string::npos &&
           std::all_of(in_strName.begin(), in_strName.end(), isNameCharacter);
}

std::string trimmed(const std::string& in_strText)
{
    const char* blanks = " \t\r";
    const std::size_t uiBegin = in_strText.find_first_not_of(blanks);
    if (uiBegin == std::string::npos)
        return {};
    return in_strText.substr(uiBegin, in_strText.find_last_not_of(blanks) + 1 - uiBegin);
}

/// Reads one line of at most MAX_LINE bytes, so that a file without line ends is not held whole.
enum class LineRead
{
    LINE,
    END,
    TOO_LONG
};

LineRead readLine(std::istream& in_stream, std::string& out_strLine)
{
    out_strLine.clear();
    char c = 0;
    while (in_stream.get(c) && c != '\n')
    {
        if (out_strLine.size() == ParameterTrie::MAX_LINE)
            return LineRead::TOO_LONG;
        out_strLine.push_back(c);
    }
    return in_stream || !out_strLine.empty() ? LineRead::LINE : LineRead::END;
}

/// Adds the parameter of one line, if it has one; otherwise tells what is wrong with it.
const char* readParameter(const std::string& in_strLine, std::map<std::string, std::string>& io_parameters)
{
    const std::string strLine = trimmed(in_strLine);
    if (strLine.empty() || strLine.front() == '#')
        return nullptr;
    const std::size_t uiEqual = strLine.find('=');
    if (uiEqual == std::string::npos)
        return "no '='";
    const std::string strName = trimmed(strLine.substr(0, uiEqual));
    if (!isName(strName))
        return "malformed name";
    if (!io_parameters.emplace(strName, trimmed(strLine.substr(uiEqual + 1))).second)
        return "name defined twice";
    return nullptr;
}

} // namespace

bool ParameterTrie::setParameter(const std::string& in_strName, const std::string& in_strValue)
{
    QC_TRACE("ParameterTrie::setParameter");
    if (!isName(in_strName))
    {
        QC_ERROR("Malformed parameter name '" << in_strName << "'");
        return false;
    }
    m_parameters[in_strName] = in_strValue;
    return true;
}

bool ParameterTrie::read(std::istream& in_stream, const std::string& in_strSource)
{
    QC_TRACE("ParameterTrie::read");
    std::map<std::string, std::string> parameters;
    std::string strLine;
    LineRead result = LineRead::END;
    for (std::size_t uiLine = 1; (result = readLine(in_stream, strLine)) != LineRead::END; ++uiLine)
    {
        if (uiLine == 1 && strLine.starts_with("\xEF\xBB\xBF"))
            strLine.erase(0, 3);
        const char* problem =
            result == LineRead::TOO_LONG ? "line too long" : readParameter(strLine, parameters);
        if (problem != nullptr)
        {
            QC_ERROR(in_strSource << ":" << uiLine << ": " << problem);
            return false;
        }
    }
    if (in_stream.bad())
    {
        QC_ERROR(in_strSource << ": read error");
        return false;
    }
    parameters.merge(m_parameters);
    m_parameters.swap(parameters);
    return true;
}

bool ParameterTrie::getStringParameter(const std::string& in_strName, std::string& out_strValue) const
{
    const auto itParameter = m_parameters.find(in_strName);
    if (itParameter == m_parameters.end())
        return false;
    out_strValue = itParameter->second;
    return true;
}

StringVector ParameterTrie::getParameterNames(const std::string& in_strPath) const
{
    const std::string strPrefix = in_strPath.empty() ? "" : in_strPath + ".";
    StringVector vNames;
    for (auto itParameter = m_parameters.lower_bound(strPrefix);
         itParameter != m_parameters.end() && itParameter->first.starts_with(strPrefix); ++itParameter)
        vNames.push_back(itParameter->first);
    return vNames;
}

} // namespace Vexalor
