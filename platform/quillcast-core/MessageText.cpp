#include "quillcast-core/MessageText.h"

#include <charconv>
#include <iterator>

namespace Vexalor::MessageText
{

std::string cut(std::string_view in_text, std::size_t in_uiMost)
{
    if (in_text.size() <= in_uiMost)
        return std::string(in_text);
    const auto goesOn = [&](std::size_t in_uiIndex)
    {
        return (static_cast<unsigned char>(in_text[in_uiIndex]) & 0xC0) == 0x80;
    };
    std::size_t uiEnd = in_uiMost;
    constexpr std::size_t LONGEST = 4; // bytes of a character
    while (uiEnd > 0 && in_uiMost - uiEnd < LONGEST && goesOn(uiEnd))
        --uiEnd;
    return std::string(in_text.substr(0, uiEnd)) + "...";
}

std::string quote(std::string_view in_text)
{
    return '"' + cut(in_text) + '"';
}

std::string toText(double in_dNumber)
{
    char digits[24]; // the longest with an exponent, such as -2.2250738585072014e-308
    auto result = std::to_chars(digits, std::end(digits), in_dNumber, std::chars_format::fixed);
    if (result.ec != std::errc())
        result = std::to_chars(digits, std::end(digits), in_dNumber);
    return {digits, result.ptr};
}

} // namespace Vexalor::MessageText
