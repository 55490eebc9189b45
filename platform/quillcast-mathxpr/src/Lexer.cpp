#include "Lexer.h"

#include <algorithm>
#include <charconv>

namespace Vexalor::Math::Xpr
{

namespace
{

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view LONG_SYMBOLS[] = {"==", "!=", "<=", ">="};
constexpr std::string_view SYMBOLS = "+-*/%^()[],?:=<>";
constexpr std::string_view DIGITS = "0123456789";
/// Of names: what they begin with, then digits.
constexpr std::string_view NAME_PARTS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789";
constexpr std::string_view NAME_STARTS = NAME_PARTS.substr(0, NAME_PARTS.size() - DIGITS.size());

bool isAt(std::string_view in_strText, std::size_t in_uiPosition, std::string_view in_strCharacters)
{
    return in_uiPosition < in_strText.size() &&
           in_strCharacters.find(in_strText[in_uiPosition]) != std::string_view::npos;
}

/// The length of a name, which may have one dot inside; 0 for none.
std::size_t lengthOfName(std::string_view in_strText)
{
    if (!isAt(in_strText, 0, NAME_STARTS))
        return 0;
    const std::size_t uiEnd = std::min(in_strText.find_first_not_of(NAME_PARTS), in_strText.size());
    if (!isAt(in_strText, uiEnd, ".") || !isAt(in_strText, uiEnd + 1, NAME_STARTS))
        return uiEnd;
    return std::min(in_strText.find_first_not_of(NAME_PARTS, uiEnd + 1), in_strText.size());
}

std::size_t lengthOfSymbol(std::string_view in_strText)
{
    for (const std::string_view strSymbol : LONG_SYMBOLS)
        if (in_strText.starts_with(strSymbol))
            return strSymbol.size();
    return isAt(in_strText, 0, SYMBOLS) ? 1 : 0;
}

} // namespace

Lexer::Lexer(std::string_view in_strText)
    : m_strText(in_strText)
{
    if (m_strText.starts_with(BYTE_ORDER_MARK))
        m_uiPosition = BYTE_ORDER_MARK.size();
}

Token Lexer::make(Token::Kind in_kind, std::size_t in_uiLength)
{
    const Token token{in_kind, m_strText.substr(m_uiPosition, in_uiLength), 0.0, m_uiLine, m_uiPosition};
    m_uiPosition += in_uiLength;
    return token;
}

Token Lexer::refuse(std::string_view in_strReason) const
{
    return {Token::Kind::INVALID, in_strReason, 0.0, m_uiLine, m_uiPosition};
}

/// Stops at the end of a line outside of brackets.
void Lexer::skipBlanks()
{
    while (isAt(m_strText, m_uiPosition, m_uiOpenBrackets == 0 ? " \t\r#" : " \t\r#\n"))
    {
        m_uiLine += m_strText[m_uiPosition] == '\n' ? 1 : 0;
        if (m_strText[m_uiPosition] == '#')
            m_uiPosition = std::min(m_strText.find('\n', m_uiPosition), m_strText.size());
        else
            ++m_uiPosition;
    }
}

Token Lexer::next()
{
    skipBlanks();
    const std::string_view strRest = m_strText.substr(m_uiPosition);
    if (strRest.empty())
        return make(Token::Kind::END, 0);
    if (strRest.front() == '\n')
    {
        const Token token = make(Token::Kind::LINE_END, 1);
        ++m_uiLine;
        return token;
    }
    if (isAt(strRest, strRest.front() == '.' ? 1 : 0, DIGITS))
        return number();
    if (const std::size_t uiLength = lengthOfName(strRest))
        return make(Token::Kind::NAME, uiLength);
    const std::size_t uiLength = lengthOfSymbol(strRest);
    if (uiLength == 0)
        return refuse("unexpected character");
    if (isAt(strRest, 0, "(["))
        ++m_uiOpenBrackets;
    else if (isAt(strRest, 0, ")]") && m_uiOpenBrackets > 0)
        --m_uiOpenBrackets;
    return make(Token::Kind::SYMBOL, uiLength);
}

Token Lexer::number()
{
    const std::string_view strRest = m_strText.substr(m_uiPosition);
    double dNumber = 0.0;
    const auto [pEnd, error] = std::from_chars(strRest.data(), strRest.data() + strRest.size(), dNumber);
    const auto uiLength = static_cast<std::size_t>(pEnd - strRest.data());
    if (error == std::errc::result_out_of_range)
        return refuse("number out of range");
    if (isAt(strRest, uiLength, NAME_PARTS) || isAt(strRest, uiLength, "."))
        return refuse("malformed number");
    Token token = make(Token::Kind::NUMBER, uiLength);
    token.m_dNumber = dNumber;
    return token;
}

} // namespace Vexalor::Math::Xpr
