#pragma once

#include <string>
#include <string_view>

namespace Vexalor
{

/// What messages quote of files, which may be anything: a few dozen characters.
namespace MessageText
{

/// The beginning of a text that is longer than so many bytes, up to the end of a character of UTF-8, and
/// "...".
std::string cut(std::string_view in_text, std::size_t in_uiMost = 60);
/// The same in double quotes.
std::string quote(std::string_view in_text);
/// The fewest digits that read back to the same value, with an exponent where they would be many.
std::string toText(double in_dNumber);

} // namespace MessageText

} // namespace Vexalor
