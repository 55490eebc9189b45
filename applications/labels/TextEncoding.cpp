#include "labels/TextEncoding.h"

#include <cstddef>

namespace Vexalor::TextEncoding
{

namespace
{

/// Bytes of the UTF-8 character at the front of a text that is not empty; 0 when it is none.
std::size_t measureUtf8(std::string_view in_text)
{
    const auto byteAt = [&](std::size_t in_uiIndex)
    {
        return static_cast<unsigned char>(in_text[in_uiIndex]);
    };
    const unsigned int uiLead = byteAt(0);
    if (uiLead < 0x80)
        return 1;
    const std::size_t uiCount = uiLead >= 0xF0 ? 4 : uiLead >= 0xE0 ? 3 : 2;
    if (uiLead < 0xC2 || uiLead > 0xF4 || in_text.size() < uiCount)
        return 0;
    const unsigned int uiSecond = byteAt(1);
    const unsigned int uiLowest = uiLead == 0xE0 ? 0xA0 : uiLead == 0xF0 ? 0x90 : 0x80;
    const unsigned int uiHighest = uiLead == 0xED ? 0x9F : uiLead == 0xF4 ? 0x8F : 0xBF;
    if (uiSecond < uiLowest || uiSecond > uiHighest)
        return 0;
    for (std::size_t i = 2; i < uiCount; ++i)
        if ((byteAt(i) & 0xC0) != 0x80)
            return 0;
    return uiCount;
}

/// Appends a character of up to 21 bits.
void append(char32_t in_character, std::string& io_strText)
{
    const auto tail = [&](int in_iShift)
    {
        io_strText += static_cast<char>(0x80 | (in_character >> in_iShift & 0x3F));
    };
    if (in_character < 0x80)
    {
        io_strText += static_cast<char>(in_character);
        return;
    }
    if (in_character < 0x800)
        io_strText += static_cast<char>(0xC0 | in_character >> 6);
    else if (in_character < 0x10000)
        io_strText += static_cast<char>(0xE0 | in_character >> 12);
    else
        io_strText += static_cast<char>(0xF0 | in_character >> 18);
    if (in_character >= 0x10000)
        tail(12);
    if (in_character >= 0x800)
        tail(6);
    tail(0);
}

} // namespace

bool isUtf8(std::string_view in_text)
{
    while (!in_text.empty())
    {
        const std::size_t uiCount = measureUtf8(in_text);
        if (uiCount == 0)
            return false;
        in_text.remove_prefix(uiCount);
    }
    return true;
}

std::string toUtf8(std::string_view in_text)
{
    if (isUtf8(in_text))
        return std::string(in_text);
    std::string strText;
    for (const char c : in_text)
        append(static_cast<unsigned char>(c), strText);
    return strText;
}

bool isUtf16(std::string_view in_text)
{
    return in_text.starts_with("\xFF\xFE") || in_text.starts_with("\xFE\xFF");
}

bool decodeUtf16(std::string_view in_text, std::string& out_strText)
{
    const std::size_t uiHigh = in_text.starts_with("\xFE\xFF") ? 0 : 1;
    const auto unitAt = [&](std::size_t in_uiByte) -> char32_t
    {
        return static_cast<char32_t>(static_cast<unsigned char>(in_text[in_uiByte + uiHigh]) << 8 |
                                     static_cast<unsigned char>(in_text[in_uiByte + 1 - uiHigh]));
    };
    out_strText.clear();
    for (std::size_t i = 2; i < in_text.size(); i += 2)
    {
        if (i + 1 == in_text.size())
            return false;
        char32_t character = unitAt(i);
        if (character >= 0xD800 && character < 0xE000)
        {
            i += 2;
            const char32_t second = character < 0xDC00 && i + 1 < in_text.size() ? unitAt(i) : 0;
            if (second < 0xDC00 || second > 0xDFFF)
                return false;
            character = 0x10000 + ((character - 0xD800) << 10) + (second - 0xDC00);
        }
        append(character, out_strText);
    }
    return true;
}

} // namespace Vexalor::TextEncoding
