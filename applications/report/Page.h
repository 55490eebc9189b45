#pragma once

#include <string>

namespace Vexalor::MachineLearning
{

/// What all pages have in common.
namespace Page
{

/// A number that is to be seen first, with what it means.
std::string figure(const std::string& in_strValue, const std::string& in_strMeaning);

/// Sections of a page, with the links to them.
class Sections
{
public:
    void add(const char* in_id, const char* in_title, const std::string& in_strContent);
    std::string getText() const;

private:
    std::string m_strLinks;
    std::string m_strSections;
};

/// A whole page. in_script may be empty.
std::string make(const std::string& in_strTitle, const std::string& in_strHeader,
                 const std::string& in_strMain, const std::string& in_strScript);

} // namespace Page

} // namespace Vexalor::MachineLearning
