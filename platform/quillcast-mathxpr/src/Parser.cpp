#include "Lexer.h"
#include "Script.h"
#include "quillcast-core/Logger.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <unordered_map>

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Parser");

using Kind = Token::Kind;

/// Recursive descent; operators by their strengths. Every operation returns a node. After the first offence
/// the text is at its end for all that follows, and nodes mean nothing.
class Parser
{
public:
    Parser(std::string_view in_strText, Script& out_script)
        : m_strText(in_strText)
        , m_lexer(in_strText)
        , m_script(out_script)
    {
        advance();
    }

    bool parseDefinitions()
    {
        while (m_token.m_kind != Kind::END)
            if (m_token.m_kind == Kind::LINE_END)
                advance();
            else
                definition();
        return finish();
    }

    bool parseSingle(const std::string& in_strName)
    {
        defineAs(in_strName, m_token.m_uiLine);
        while (m_token.m_kind == Kind::LINE_END)
            advance();
        if (m_token.m_kind != Kind::END)
            unexpected("an operator");
        return finish();
    }

private:
    bool finish()
    {
        if (!m_strReason.empty())
            QC_ERROR(place(m_script.m_strSource, m_uiReasonLine) << m_strReason);
        return m_strReason.empty();
    }

    std::uint32_t fail(const std::string& in_strReason, std::uint32_t in_uiLine)
    {
        if (m_strReason.empty())
        {
            m_strReason = in_strReason;
            m_uiReasonLine = in_uiLine;
        }
        m_token = {Kind::END, {}, 0.0, in_uiLine, 0};
        return 0;
    }

    std::uint32_t unexpected(const std::string& in_strExpected)
    {
        const std::string strFound = m_token.m_kind == Kind::END ? "the end"
                                     : m_token.m_kind == Kind::LINE_END
                                         ? "the end of the line"
                                         : "'" + std::string(m_token.m_strText) + "'";
        return fail("expected " + in_strExpected + " and found " + strFound, m_token.m_uiLine);
    }

    void advance()
    {
        m_uiTokenEnd = m_token.m_uiPosition + m_token.m_strText.size();
        m_token = m_lexer.next();
        if (m_token.m_kind == Kind::INVALID)
            fail(std::string(m_token.m_strText) + at(m_token.m_uiPosition), m_token.m_uiLine);
    }

    /// The character there, if it can be shown.
    std::string at(std::size_t in_uiPosition) const
    {
        const char c = m_strText[in_uiPosition];
        return c > ' ' && c < 0x7f ? std::string(" at '") + c + "'" : "";
    }

    bool accept(std::string_view in_strText)
    {
        if (!m_token.is(in_strText))
            return false;
        advance();
        return true;
    }

    void require(std::string_view in_strText)
    {
        if (!accept(in_strText))
            unexpected("'" + std::string(in_strText) + "'");
    }

    std::uint32_t definition()
    {
        const std::string strName(m_token.m_strText);
        const std::uint32_t uiLine = m_token.m_uiLine;
        if (m_token.m_kind != Kind::NAME || !isName(strName))
            return unexpected("a name");
        if (isReserved(strName))
            return fail("'" + strName + "' has a meaning of its own and cannot be defined", uiLine);
        const auto [itEarlier, bNew] = m_lines.emplace(strName, uiLine);
        if (!bNew)
            return fail("'" + strName + "' is already defined in line " + std::to_string(itEarlier->second),
                        uiLine);
        advance();
        require("=");
        const std::uint32_t uiRoot = defineAs(strName, uiLine);
        if (m_token.m_kind != Kind::LINE_END && m_token.m_kind != Kind::END)
            unexpected("an operator or the end of the line");
        return uiRoot;
    }

    std::uint32_t defineAs(const std::string& in_strName, std::uint32_t in_uiLine)
    {
        Definition& definition = m_script.m_vDefinitions.emplace_back();
        definition.m_strName = in_strName;
        definition.m_uiLine = in_uiLine;
        definition.m_uiFirstNode = static_cast<std::uint32_t>(m_script.m_vNodes.size());
        const std::size_t uiBegin = m_token.m_uiPosition;
        definition.m_uiRoot = expression();
        definition.m_strText = flatten(uiBegin);
        return definition.m_uiRoot;
    }

    /// The text from there to the last token, with comments taken out and each run of blanks as one.
    std::string flatten(std::size_t in_uiBegin) const
    {
        std::string strFlat;
        for (std::size_t i = in_uiBegin; i < m_uiTokenEnd; ++i)
        {
            if (m_strText[i] == '#')
                i = std::min(m_strText.find('\n', i), m_uiTokenEnd);
            if (i<m_uiTokenEnd&& static_cast<unsigned char>(m_strText[i])> ' ')
                strFlat += m_strText[i];
            else if (!strFlat.empty() && strFlat.back() != ' ')
                strFlat += ' ';
        }
        return strFlat;
    }

    std::uint32_t expression()
    {
        descend();
        const std::uint32_t uiLine = m_token.m_uiLine;
        std::uint32_t uiResult = operation(1);
        if (accept("?"))
            uiResult = choice(uiResult, uiLine);
        --m_uiDepth;
        return uiResult;
    }

    /// An expression that nothing is around is no level.
    void descend()
    {
        if (++m_uiDepth > Limits::MAX_DEPTH + 1)
            fail("nested more than " + std::to_string(Limits::MAX_DEPTH) + " deep", m_token.m_uiLine);
    }

    std::uint32_t choice(std::uint32_t in_uiCondition, std::uint32_t in_uiLine)
    {
        ++m_uiNbChoices;
        const std::uint32_t uiYes = expression();
        require(":");
        const std::uint32_t uiNo = expression();
        --m_uiNbChoices;
        const std::uint32_t uiSelect = add(Op::SELECT, in_uiLine, {in_uiCondition, uiYes, uiNo});
        m_script.m_vNodes[in_uiCondition].m_uiSelect = uiSelect;
        return uiSelect;
    }

    /// A chain of operators at least that strong.
    std::uint32_t operation(int in_iStrength)
    {
        std::uint32_t uiLeft = operand(in_iStrength);
        for (const Operator* pOperator = currentOperator();
             pOperator != nullptr && pOperator->m_iStrength >= in_iStrength; pOperator = currentOperator())
        {
            const std::uint32_t uiLine = m_token.m_uiLine;
            const int iStrength = pOperator->m_iStrength;
            advance();
            // "^" takes its right side as far as it goes, with a sign.
            const std::uint32_t uiRight =
                iStrength == STRENGTH_POWER ? deeper(STRENGTH_SIGN) : operation(iStrength + 1);
            uiLeft = add(pOperator, uiLine, {uiLeft, uiRight});
            if (iStrength == STRENGTH_COMPARISON && currentOperator() != nullptr &&
                currentOperator()->m_iStrength == STRENGTH_COMPARISON)
                fail("comparisons cannot be chained; join them by 'and'", m_token.m_uiLine);
        }
        return uiLeft;
    }

    std::uint32_t deeper(int in_iStrength)
    {
        descend();
        const std::uint32_t uiResult = operation(in_iStrength);
        --m_uiDepth;
        return uiResult;
    }

    const Operator* currentOperator(Operator::Form in_form = Operator::Form::BETWEEN) const
    {
        return m_token.m_kind == Kind::SYMBOL || m_token.m_kind == Kind::NAME
                   ? findOperator(in_form, m_token.m_strText)
                   : nullptr;
    }

    /// A value with what stands before and after it.
    std::uint32_t operand(int in_iStrength)
    {
        const std::uint32_t uiLine = m_token.m_uiLine;
        const Operator* pSign = currentOperator(Operator::Form::BEFORE);
        if (pSign != nullptr && pSign->m_iStrength >= in_iStrength)
        {
            advance();
            return add(pSign, uiLine, {deeper(pSign->m_iStrength)});
        }
        std::uint32_t uiValue = primary();
        for (std::uint32_t uiIndexLine = m_token.m_uiLine; accept("["); uiIndexLine = m_token.m_uiLine)
        {
            const std::uint32_t uiFirst = expression();
            uiValue = accept(":") ? add(Op::SLICE, uiIndexLine, {uiValue, uiFirst, expression()})
                                  : add(Op::INDEX, uiIndexLine, {uiValue, uiFirst});
            require("]");
        }
        return uiValue;
    }

    std::uint32_t primary()
    {
        const Token token = m_token;
        if (token.m_kind == Kind::NUMBER)
        {
            advance();
            return number(token.m_dNumber, token.m_uiLine);
        }
        if (accept("("))
        {
            const std::uint32_t uiInner = expression();
            require(")");
            return uiInner;
        }
        if (accept("["))
            return add(Op::VECTOR, token.m_uiLine, list("]"));
        if (token.m_kind != Kind::NAME || currentOperator() != nullptr ||
            currentOperator(Operator::Form::BEFORE) != nullptr)
            return unexpected("a value");
        advance();
        if (accept("("))
            return call(token);
        if (const NamedNumber* pNumber = findNumber(token.m_strText))
            return number(pNumber->m_dValue, token.m_uiLine);
        if (isReserved(token.m_strText))
            return unexpected("'(' after '" + std::string(token.m_strText) + "'");
        return reference(Op::NAME, token, {});
    }

    /// Expressions with commas between them, and what closes them.
    std::vector<std::uint32_t> list(std::string_view in_strEnd)
    {
        std::vector<std::uint32_t> vNodes;
        if (accept(in_strEnd))
            return vNodes;
        do
            vNodes.push_back(expression());
        while (accept(","));
        require(in_strEnd);
        return vNodes;
    }

    std::uint32_t call(const Token& in_name)
    {
        if (in_name.m_strText == "prev")
            return previous();
        const Operator* pOperator = findOperator(Operator::Form::CALL, in_name.m_strText);
        const Function* pFunction = findFunction(in_name.m_strText);
        if (pOperator == nullptr && pFunction == nullptr)
            return fail("unknown function '" + std::string(in_name.m_strText) + "'", in_name.m_uiLine);
        const bool bLengthAround = m_bLengthOnly;
        m_bLengthOnly |= pFunction != nullptr && pFunction->m_kind == Function::Kind::SIZE;
        const std::vector<std::uint32_t> vArguments = list(")");
        m_bLengthOnly = bLengthAround;
        const std::size_t uiCount = vArguments.size();
        if (pFunction == nullptr
                ? uiCount != 1
                : uiCount < pFunction->m_uiLeastArguments || uiCount > pFunction->m_uiMostArguments)
            return fail("'" + std::string(in_name.m_strText) + "' does not take " + std::to_string(uiCount) +
                            " arguments",
                        in_name.m_uiLine);
        if (pFunction == nullptr)
            return add(pOperator, in_name.m_uiLine, vArguments);
        if (pOperator != nullptr && uiCount > 1)
        {
            std::uint32_t uiResult = vArguments.front();
            for (std::size_t i = 1; i < uiCount; ++i)
                uiResult = add(pOperator, in_name.m_uiLine, {uiResult, vArguments[i]});
            return uiResult;
        }
        const std::uint32_t uiNode = add(Op::CALL, in_name.m_uiLine, vArguments);
        m_script.m_vNodes[uiNode].m_pFunction = pFunction;
        m_script.m_vDefinitions.back().m_bSlow |= pFunction->isKernel();
        return uiNode;
    }

    std::uint32_t previous()
    {
        const Token name = m_token;
        if (name.m_kind != Kind::NAME || isReserved(name.m_strText))
            return unexpected("a name");
        advance();
        require(",");
        const std::uint32_t uiInitial = expression();
        require(")");
        return reference(Op::PREVIOUS, name, {uiInitial});
    }

    std::uint32_t number(double in_dNumber, std::uint32_t in_uiLine)
    {
        const std::uint32_t uiNode = add(Op::NUMBER, in_uiLine, {});
        m_script.m_vNodes[uiNode].m_dNumber = in_dNumber;
        return uiNode;
    }

    std::uint32_t reference(Op in_op, const Token& in_name, const std::vector<std::uint32_t>& in_vArguments)
    {
        const auto [itReference, bNew] = m_references.emplace(
            in_name.m_strText, static_cast<std::uint32_t>(m_script.m_vReferences.size()));
        if (bNew)
            m_script.m_vReferences.emplace_back(in_name.m_strText);
        const Use::Kind kind = in_op == Op::PREVIOUS ? Use::Kind::EARLIER
                               : m_bLengthOnly       ? Use::Kind::LENGTH
                                                     : Use::Kind::VALUE;
        m_script.m_vDefinitions.back().m_vUses.push_back({itReference->second, kind, m_uiNbChoices});
        const std::uint32_t uiNode = add(in_op, in_name.m_uiLine, in_vArguments);
        m_script.m_vNodes[uiNode].m_uiSymbol = itReference->second;
        return uiNode;
    }

    std::uint32_t add(const Operator* in_pOperator, std::uint32_t in_uiLine,
                      const std::vector<std::uint32_t>& in_vArguments)
    {
        const std::uint32_t uiNode = add(Op::OPERATOR, in_uiLine, in_vArguments);
        m_script.m_vNodes[uiNode].m_pOperator = in_pOperator;
        return uiNode;
    }

    std::uint32_t add(Op in_op, std::uint32_t in_uiLine, const std::vector<std::uint32_t>& in_vArguments)
    {
        const Node node{in_op,
                        m_bLengthOnly,
                        in_uiLine,
                        static_cast<std::uint32_t>(m_script.m_vArguments.size()),
                        static_cast<std::uint32_t>(in_vArguments.size()),
                        0,
                        0,
                        {0.0}};
        m_script.m_vArguments.insert(m_script.m_vArguments.end(), in_vArguments.begin(), in_vArguments.end());
        m_script.m_vNodes.push_back(node);
        return static_cast<std::uint32_t>(m_script.m_vNodes.size() - 1);
    }

    std::string_view m_strText;
    Lexer m_lexer;
    Script& m_script;
    Token m_token{Kind::END, {}, 0.0, 1, 0};
    std::size_t m_uiTokenEnd = 0; ///< of the token before
    unsigned int m_uiDepth = 0;
    std::uint32_t m_uiNbChoices = 0; ///< around the present place
    bool m_bLengthOnly = false;      ///< the present place is inside of size()
    std::string m_strReason;
    std::uint32_t m_uiReasonLine = 0;
    std::unordered_map<std::string, std::uint32_t> m_lines;
    std::unordered_map<std::string_view, std::uint32_t> m_references;
};

std::shared_ptr<Script> makeScript(std::string_view in_strText, const std::string& in_strSource)
{
    auto pScript = std::make_shared<Script>();
    pScript->m_strSource = in_strSource;
    if (in_strText.size() > Limits::MAX_SCRIPT_SIZE)
    {
        QC_ERROR(in_strSource << ": longer than " << Limits::MAX_SCRIPT_SIZE << " bytes");
        return nullptr;
    }
    return pScript;
}

} // namespace

bool isName(std::string_view in_strText)
{
    Lexer lexer(in_strText);
    const Token token = lexer.next();
    return token.m_kind == Kind::NAME && token.m_strText == in_strText &&
           in_strText.find('.') == std::string_view::npos;
}

std::string place(const std::string& in_strPath, std::uint32_t in_uiLine)
{
    return in_strPath + ":" + std::to_string(in_uiLine) + ": ";
}

std::shared_ptr<const Script> parseScript(std::string_view in_strText, const std::string& in_strSource)
{
    QC_TRACE("Math::Xpr::parseScript");
    const auto pScript = makeScript(in_strText, in_strSource);
    return pScript != nullptr && Parser(in_strText, *pScript).parseDefinitions() ? pScript : nullptr;
}

std::shared_ptr<const Script> parseExpression(std::string_view in_strText, const std::string& in_strName)
{
    QC_TRACE("Math::Xpr::parseExpression");
    if (!isName(in_strName) || isReserved(in_strName))
    {
        QC_ERROR("'" << in_strName << "' cannot be the name of an expression");
        return nullptr;
    }
    const auto pScript = makeScript(in_strText, "expression " + in_strName);
    return pScript != nullptr && Parser(in_strText, *pScript).parseSingle(in_strName) ? pScript : nullptr;
}

} // namespace Vexalor::Math::Xpr
