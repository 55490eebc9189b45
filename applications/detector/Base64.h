#pragma once

#include <string>
#include <string_view>

namespace Vexalor
{

/// Bytes as text of 64 characters (RFC 4648, with padding), without ends of lines.
std::string toBase64(std::string_view in_bytes);

/// The bytes of such a text; ends of lines may stand anywhere. False for anything else.
bool fromBase64(std::string_view in_text, std::string& out_strBytes);

} // namespace Vexalor
