#pragma once

#include <string>
#include <string_view>

namespace Vexalor
{

/// Encodings of text files.
namespace TextEncoding
{

/// False for bytes that are no UTF-8, overlong forms, halves of pairs and numbers above U+10FFFF included.
bool isUtf8(std::string_view in_text);
/// The text itself when it is UTF-8, else what its bytes are in Latin-1.
std::string toUtf8(std::string_view in_text);

/// True for a text that begins with a byte order mark of UTF-16, of either byte order.
bool isUtf16(std::string_view in_text);
/// UTF-16 with its byte order mark as UTF-8 without. False for half a character.
bool decodeUtf16(std::string_view in_text, std::string& out_strText);

constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";

} // namespace TextEncoding

} // namespace Vexalor
