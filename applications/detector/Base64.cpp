#include "detector/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Vexalor
{

namespace
{

constexpr std::string_view DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t NO_DIGIT = 64;

constexpr std::array<std::uint8_t, 256> makeValues()
{
    std::array<std::uint8_t, 256> values{};
    values.fill(NO_DIGIT);
    for (std::size_t i = 0; i < DIGITS.size(); ++i)
        values[static_cast<unsigned char>(DIGITS[i])] = static_cast<std::uint8_t>(i);
    return values;
}

constexpr std::array<std::uint8_t, 256> VALUES = makeValues();

} // namespace

std::string toBase64(std::string_view in_bytes)
{
    std::string strText;
    strText.reserve((in_bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < in_bytes.size(); i += 3)
    {
        const std::string_view part = in_bytes.substr(i, 3);
        std::uint32_t uiBits = 0;
        for (std::size_t j = 0; j < 3; ++j)
            uiBits = uiBits << 8 | (j < part.size() ? static_cast<unsigned char>(part[j]) : 0U);
        for (std::size_t j = 0; j < 4; ++j)
            strText += j <= part.size() ? DIGITS[uiBits >> (18 - 6 * j) & 63] : '=';
    }
    return strText;
}

bool fromBase64(std::string_view in_text, std::string& out_strBytes)
{
    out_strBytes.clear();
    out_strBytes.reserve(in_text.size() / 4 * 3);
    std::uint32_t uiBits = 0;
    std::size_t uiDigits = 0;
    std::size_t uiPadding = 0;
    for (const char c : in_text)
    {
        if (c == '\n' || c == '\r')
            continue;
        const std::uint8_t uiValue = VALUES[static_cast<unsigned char>(c)];
        if (c == '=')
            ++uiPadding;
        else if (uiValue == NO_DIGIT || uiPadding > 0)
            return false;
        uiBits = uiBits << 6 | (c == '=' ? 0U : uiValue);
        if (++uiDigits % 4 != 0)
            continue;
        for (std::size_t j = 0; j < 3 - std::min<std::size_t>(uiPadding, 3); ++j)
            out_strBytes += static_cast<char>(uiBits >> (16 - 8 * j) & 255);
        uiBits = 0;
    }
    return uiDigits % 4 == 0 && uiPadding <= 2;
}

} // namespace Vexalor
