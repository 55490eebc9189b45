#include "report/Html.h"

namespace Vexalor::MachineLearning::Html
{

std::string escape(const std::string& in_strText)
{
    std::string strEscaped;
    for (const char c : in_strText)
    {
        switch (c)
        {
        case '&':
            strEscaped += "&amp;";
            break;
        case '<':
            strEscaped += "&lt;";
            break;
        case '>':
            strEscaped += "&gt;";
            break;
        case '"':
            strEscaped += "&quot;";
            break;
        default:
            strEscaped += c;
        }
    }
    return strEscaped;
}

std::string heading(const std::string& in_strText)
{
    return "<th scope=\"row\">" + escape(in_strText) + "</th>";
}

std::string cell(const std::string& in_strText)
{
    return "<td>" + escape(in_strText) + "</td>";
}

std::string headings(const std::vector<std::string>& in_vTexts)
{
    std::string strCells;
    for (const std::string& strText : in_vTexts)
        strCells += "<th scope=\"col\">" + escape(strText) + "</th>";
    return row(strCells);
}

std::string row(const std::string& in_strCells)
{
    return "<tr>" + in_strCells + "</tr>\n";
}

std::string table(const std::string& in_strCaption, const std::string& in_strHead,
                  const std::string& in_strRows)
{
    const std::string strLabel = "aria-label=\"" + escape(in_strCaption) + '"';
    return "<p class=\"caption\" aria-hidden=\"true\">" + escape(in_strCaption) +
           "</p>\n<div class=\"scroll\" tabindex=\"0\" role=\"region\" " + strLabel + "><table " + strLabel +
           ">\n<thead>" + in_strHead + "</thead>\n<tbody>" + in_strRows + "</tbody></table></div>\n";
}

std::string section(const std::string& in_strId, const std::string& in_strTitle,
                    const std::string& in_strContent)
{
    return "<section aria-labelledby=\"" + in_strId + "\">\n<h2 id=\"" + in_strId + "\">" +
           escape(in_strTitle) + "</h2>\n" + in_strContent + "</section>\n";
}

} // namespace Vexalor::MachineLearning::Html
