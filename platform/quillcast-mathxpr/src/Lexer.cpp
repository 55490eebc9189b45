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

bool isDigit(char in_c)
{
    return in_c >= '0' && in_c <= '9';
}

bool isNameStart(char in_c)
{
    return (in_c >= 'a' && in_c <= 'z') || (in_c >= 'A' && in_c <= 'Z') || in_c == '_';
}

bool isNamePart(char in_c)
{
    return isNameStart(in_c) || isDigit(in_c);
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

/// True at the end of a line.
bool Lexer::skipBlanks()
{
    while (m_uiPosition < m_strText.size())
    {
        const char c = m_strText[m_uiPosition];
        if (c == '\n')
        {
            if (m_uiOpenBrackets == 0)
                return true;
            ++m_uiLine;
        }
        else if (c == '#')
        {
            m_uiPosition = std::min(m_strText.find('\n', m_uiPosition), m_strText.size());
            continue;
        }
        else if (c != ' ' && c != '\t' && c != '\r')
            return false;
        ++m_uiPosition;
    }
    return false;
}

Token Lexer::next()
{
    if (skipBlanks())
    {
        const Token token = make(Token::Kind::LINE_END, 1);
        ++m_uiLine;
        return token;
    }
    if (m_uiPosition == m_strText.size())
        return make(Token::Kind::END, 0);
    const char c = m_strText[m_uiPosition];
    const bool bPointFirst =
        c == '.' && m_uiPosition + 1 < m_strText.size() && isDigit(m_strText[m_uiPosition + 1]);
    if (isDigit(c) || bPointFirst)
        return number();
    return isNameStart(c) ? name() : symbol();
}

Token Lexer::number()
{
    const char* pBegin = m_strText.data() + m_uiPosition;
    double dNumber = 0.0;
    const auto [pEnd, error] = std::from_chars(pBegin, m_strText.data() + m_strText.size(), dNumber);
    if (error == std::errc::result_out_of_range)
        return {Token::Kind::INVALID, "number out of range", 0.0, m_uiLine, m_uiPosition};
    Token token = make(Token::Kind::NUMBER, static_cast<std::size_t>(pEnd - pBegin));
    token.m_dNumber = dNumber;
    if (m_uiPosition < m_strText.size() && (isNamePart(*pEnd) || *pEnd == '.'))
        return {Token::Kind::INVALID, "malformed number", 0.0, token.m_uiLine, token.m_uiPosition};
    return token;
}

Token Lexer::name()
{
    std::size_t uiEnd = m_uiPosition + 1;
    bool bDot = false;
    for (; uiEnd < m_strText.size(); ++uiEnd)
    {
        const bool bDotHere = !bDot && m_strText[uiEnd] == '.' && uiEnd + 1 < m_strText.size() &&
                              isNameStart(m_strText[uiEnd + 1]);
        if (!bDotHere && !isNamePart(m_strText[uiEnd]))
            break;
        bDot = bDot || bDotHere;
    }
    return make(Token::Kind::NAME, uiEnd - m_uiPosition);
}

Token Lexer::symbol()
{
    for (const std::string_view strSymbol : LONG_SYMBOLS)
        if (m_strText.substr(m_uiPosition, 2) == strSymbol)
            return make(Token::Kind::SYMBOL, 2);
    const char c = m_strText[m_uiPosition];
    if (SYMBOLS.find(c) == std::string_view::npos)
        return {Token::Kind::INVALID, "unexpected character", 0.0, m_uiLine, m_uiPosition};
    if (c == '(' || c == '[')
        ++m_uiOpenBrackets;
    else if ((c == ')' || c == ']') && m_uiOpenBrackets > 0)
        --m_uiOpenBrackets;
    return make(Token::Kind::SYMBOL, 1);
}

} // namespace Vexalor::Math::Xpr
