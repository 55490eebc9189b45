#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning::Html
{

/// Text for content and for attributes in double quotes.
std::string escape(const std::string& in_strText);

/// A cell of a table: a heading of its row, or a value.
std::string heading(const std::string& in_strText);
std::string cell(const std::string& in_strText);
/// A row of headings of columns.
std::string headings(const std::vector<std::string>& in_vTexts);
std::string row(const std::string& in_strCells);
/// A table that scrolls where it has no room, with what it shows above.
std::string table(const std::string& in_strCaption, const std::string& in_strHead,
                  const std::string& in_strRows);

/// A part of the page with its heading; the id is one word.
std::string section(const std::string& in_strId, const std::string& in_strTitle,
                    const std::string& in_strContent);

} // namespace Vexalor::MachineLearning::Html
