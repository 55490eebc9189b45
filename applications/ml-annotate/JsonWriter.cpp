#include "ml-annotate/JsonWriter.h"

#include "ml-annotate/LabelText.h"

#include <string_view>

namespace Vexalor
{

namespace
{

/// Bytes of the UTF-8 character at the front of a text that is not empty; 0 when it is none, overlong forms,
/// halves of pairs and numbers above U+10FFFF included.
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

std::string escape(unsigned char in_byte)
{
    const char* digits = "0123456789abcdef";
    return std::string("\\u00") + digits[in_byte >> 4] + digits[in_byte & 0xF];
}

} // namespace

void JsonWriter::newLine()
{
    m_strText += '\n';
    m_strText.append(m_uiDepth, ' ');
}

void JsonWriter::startValue(const char* in_name)
{
    if (!m_bFirst)
        m_strText += ',';
    if (m_uiDepth > 0)
        newLine();
    m_bFirst = false;
    if (in_name == nullptr)
        return;
    append(in_name);
    m_strText += ": ";
}

void JsonWriter::begin(const char* in_name, char in_bracket)
{
    startValue(in_name);
    m_strText += in_bracket;
    ++m_uiDepth;
    m_bFirst = true;
}

void JsonWriter::end(char in_bracket)
{
    --m_uiDepth;
    if (!m_bFirst)
        newLine();
    m_strText += in_bracket;
    m_bFirst = false;
}

void JsonWriter::number(const char* in_name, double in_dValue)
{
    startValue(in_name);
    m_strText += LabelText::formatNumber(in_dValue);
}

void JsonWriter::text(const char* in_name, const std::string& in_strValue)
{
    startValue(in_name);
    append(in_strValue);
}

void JsonWriter::text(const char* in_name, const std::optional<std::string>& in_value)
{
    startValue(in_name);
    if (in_value)
        append(*in_value);
    else
        m_strText += "null";
}

void JsonWriter::append(const std::string& in_strValue)
{
    const bool bUtf8 = isUtf8(in_strValue);
    m_strText += '"';
    for (const char c : in_strValue)
    {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            m_strText += '\\';
        if (byte < 0x20 || byte == 0x7F || (byte >= 0x80 && !bUtf8))
            m_strText += escape(byte);
        else
            m_strText += c;
    }
    m_strText += '"';
}

} // namespace Vexalor
