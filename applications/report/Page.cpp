#include "report/Page.h"

#include "report/Html.h"
#include "report/PageAssets.h"

namespace Vexalor::MachineLearning::Page
{

namespace
{

std::string makeHead(const std::string& in_strTitle)
{
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
           Html::escape(in_strTitle) +
           "</title>\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
           "'unsafe-inline'; "
           "script-src 'unsafe-inline'; img-src data:\">\n<link rel=\"icon\" href=\"data:,\">\n<style>" +
           std::string(PAGE_STYLE) + "</style>\n</head>\n";
}

} // namespace

std::string figure(const std::string& in_strValue, const std::string& in_strMeaning)
{
    return "<div><b>" + Html::escape(in_strValue) + "</b><span>" + Html::escape(in_strMeaning) +
           "</span></div>\n";
}

void Sections::add(const char* in_id, const char* in_title, const std::string& in_strContent)
{
    m_strLinks += "<li><a href=\"#" + std::string(in_id) + "\">" + in_title + "</a></li>";
    m_strSections += Html::section(in_id, in_title, in_strContent);
}

std::string Sections::getText() const
{
    return "<nav aria-label=\"Sections\"><ul>" + m_strLinks + "</ul></nav>\n" + m_strSections;
}

std::string make(const std::string& in_strTitle, const std::string& in_strHeader,
                 const std::string& in_strMain, const std::string& in_strScript)
{
    const std::string strScript = in_strScript.empty() ? "" : "<script>" + in_strScript + "</script>\n";
    return makeHead(in_strTitle) + "<body>\n<header>\n<h1>" + Html::escape(in_strTitle) + "</h1>\n" +
           in_strHeader + "</header>\n<main>\n" + in_strMain + "</main>\n" + strScript + "</body>\n</html>\n";
}

} // namespace Vexalor::MachineLearning::Page
