#pragma once

#include <cstdint>
#include <string_view>

namespace Vexalor::Math::Xpr
{

struct Token
{
    enum class Kind
    {
        END,
        LINE_END,
        NUMBER,
        NAME,   ///< also with one dot inside, and the words "and", "or", "not"
        SYMBOL, ///< an operator or a bracket
        INVALID ///< m_strText says why
    };

    Kind m_kind;
    std::string_view m_strText;
    double m_dNumber;
    std::uint32_t m_uiLine;
    std::size_t m_uiPosition; ///< of its first character

    bool is(std::string_view in_strText) const
    {
        return (m_kind == Kind::SYMBOL || m_kind == Kind::NAME) && m_strText == in_strText;
    }
};

/// Cuts the text of a script into tokens. Blanks and comments separate them; line ends are tokens outside of
/// brackets only.
class Lexer
{
public:
    explicit Lexer(std::string_view in_strText);

    Token next();

private:
    void skipBlanks();
    Token number();
    Token make(Token::Kind in_kind, std::size_t in_uiLength);
    Token refuse(std::string_view in_strReason) const;

    std::string_view m_strText;
    std::size_t m_uiPosition = 0;
    std::uint32_t m_uiLine = 1;
    std::size_t m_uiOpenBrackets = 0;
};

} // namespace Vexalor::Math::Xpr
