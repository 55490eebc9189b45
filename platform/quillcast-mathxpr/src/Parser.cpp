#include "Lexer.h"
#include "Script.h"
#include "quillcast-core/Logger.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <limits>
#include <numbers>
#include <unordered_map>

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Parser");

using Kind = Token::Kind;

constexpr std::uint32_t NONE = ~std::uint32_t(0);

struct BinaryOperator
{
    std::string_view m_strText;
    Op m_op;
    int m_iStrength;
};

/// From the weakest; "not" stands between "and" and the comparisons, signs between products and "^".
constexpr int STRENGTH_NOT = 3;
constexpr int STRENGTH_COMPARISON = 4;
constexpr int STRENGTH_SIGN = 7;
constexpr int STRENGTH_POWER = 8;
constexpr BinaryOperator BINARY_OPERATORS[] = {
    {"or", Op::OR, 1},     {"and", Op::AND, 2},          {"<", Op::LESS, 4},     {"<=", Op::LESS_EQUAL, 4},
    {">", Op::GREATER, 4}, {">=", Op::GREATER_EQUAL, 4}, {"==", Op::EQUAL, 4},   {"!=", Op::NOT_EQUAL, 4},
    {"+", Op::ADD, 5},     {"-", Op::SUBTRACT, 5},       {"*", Op::MULTIPLY, 6}, {"/", Op::DIVIDE, 6},
    {"%", Op::MODULO, 6},  {"^", Op::POWER, 8},
};

struct NamedNumber
{
    std::string_view m_strName;
    double m_dValue;
};

constexpr NamedNumber NUMBERS[] = {
    {"pi", std::numbers::pi},
    {"inf", std::numeric_limits<double>::infinity()},
    {"nan", std::numeric_limits<double>::quiet_NaN()},
};

template <class Table, class Member>
const auto* find(const Table& in_table, Member in_member, std::string_view in_strText)
{
    const auto* pFound = std::find_if(std::begin(in_table), std::end(in_table),
                                      [&](const auto& in_row) { return in_row.*in_member == in_strText; });
    return pFound == std::end(in_table) ? nullptr : pFound;
}

/// Recursive descent. Every operation returns the node, NONE after the first offence.
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
        while (m_strReason.empty() && m_token.m_kind != Kind::END)
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
        if (m_strReason.empty() && m_token.m_kind != Kind::END)
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

    std::uint32_t fail(const std::string& in_strReason, std::uint32_t in_uiLine)
    {
        if (m_strReason.empty())
        {
            m_strReason = in_strReason;
            m_uiReasonLine = in_uiLine;
        }
        return NONE;
    }

    std::uint32_t unexpected(const std::string& in_strExpected)
    {
        const std::string strFound = m_token.m_kind == Kind::END ? "the end"
                                     : m_token.m_kind == Kind::LINE_END
                                         ? "the end of the line"
                                         : "'" + std::string(m_token.m_strText) + "'";
        return fail("expected " + in_strExpected + " and found " + strFound, m_token.m_uiLine);
    }

    bool accept(std::string_view in_strText)
    {
        if (!m_token.is(in_strText))
            return false;
        advance();
        return true;
    }

    bool require(std::string_view in_strText)
    {
        if (accept(in_strText))
            return true;
        unexpected("'" + std::string(in_strText) + "'");
        return false;
    }

    void definition()
    {
        const std::string strName(m_token.m_strText);
        const std::uint32_t uiLine = m_token.m_uiLine;
        if (m_token.m_kind != Kind::NAME || !isName(strName))
        {
            unexpected("a name");
            return;
        }
        if (isReserved(strName))
        {
            fail("'" + strName + "' has a meaning of its own and cannot be defined", uiLine);
            return;
        }
        const auto [itEarlier, bNew] = m_lines.emplace(strName, uiLine);
        if (!bNew)
        {
            fail("'" + strName + "' is already defined in line " + std::to_string(itEarlier->second), uiLine);
            return;
        }
        advance();
        if (!require("="))
            return;
        defineAs(strName, uiLine);
        if (m_strReason.empty() && m_token.m_kind != Kind::LINE_END && m_token.m_kind != Kind::END)
            unexpected("an operator or the end of the line");
    }

    void defineAs(const std::string& in_strName, std::uint32_t in_uiLine)
    {
        Definition& definition = m_script.m_vDefinitions.emplace_back();
        definition.m_strName = in_strName;
        definition.m_uiLine = in_uiLine;
        definition.m_uiFirstNode = static_cast<std::uint32_t>(m_script.m_vNodes.size());
        m_uiArm = 0;
        const std::size_t uiBegin = m_token.m_uiPosition;
        definition.m_uiRoot = expression();
        definition.m_strText = flatten(uiBegin);
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
        if (!descend())
            return NONE;
        const std::uint32_t uiLine = m_token.m_uiLine;
        std::uint32_t uiResult = binary(1);
        if (uiResult != NONE && accept("?"))
            uiResult = choice(uiResult, uiLine);
        --m_uiDepth;
        return uiResult;
    }

    std::uint32_t choice(std::uint32_t in_uiCondition, std::uint32_t in_uiLine)
    {
        std::vector<std::uint32_t>& vArms = m_script.m_vDefinitions.back().m_vArms;
        const auto uiArm = static_cast<std::uint32_t>(vArms.size());
        const std::uint32_t uiAround = m_uiArm;
        vArms.insert(vArms.end(), 2, uiAround == Use::LENGTH_ONLY ? 0 : uiAround);
        const std::uint32_t uiYes = arm(uiArm);
        const std::uint32_t uiNo = uiYes != NONE && require(":") ? arm(uiArm + 1) : NONE;
        if (uiNo == NONE)
            return NONE;
        const std::uint32_t uiSelect = add(Op::SELECT, in_uiLine, {in_uiCondition, uiYes, uiNo});
        m_script.m_vNodes[uiSelect].m_uiArm = uiArm;
        m_script.m_vNodes[in_uiCondition].m_uiSelect = uiSelect;
        return uiSelect;
    }

    /// An expression whose names are used in that arm.
    std::uint32_t arm(std::uint32_t in_uiArm)
    {
        const std::uint32_t uiAround = m_uiArm;
        m_uiArm = uiAround == Use::LENGTH_ONLY ? uiAround : in_uiArm;
        const std::uint32_t uiResult = expression();
        m_uiArm = uiAround;
        return uiResult;
    }

    /// An expression that nothing is around is no level.
    bool descend()
    {
        if (m_uiDepth++ <= Limits::MAX_DEPTH && m_strReason.empty())
            return true;
        fail("nested more than " + std::to_string(Limits::MAX_DEPTH) + " deep", m_token.m_uiLine);
        return false;
    }

    /// A chain of operators at least that strong.
    std::uint32_t binary(int in_iStrength)
    {
        std::uint32_t uiLeft = sign(in_iStrength);
        while (uiLeft != NONE)
        {
            const BinaryOperator* pOperator = currentOperator();
            if (pOperator == nullptr || pOperator->m_iStrength < in_iStrength)
                break;
            const std::uint32_t uiLine = m_token.m_uiLine;
            const int iStrength = pOperator->m_iStrength;
            advance();
            // "^" takes its right side as far as it goes, with a sign.
            const std::uint32_t uiRight =
                iStrength == STRENGTH_POWER ? deeper(STRENGTH_SIGN) : binary(iStrength + 1);
            if (uiRight == NONE)
                return NONE;
            uiLeft = add(pOperator->m_op, uiLine, {uiLeft, uiRight});
            if (iStrength == STRENGTH_COMPARISON && currentOperator() != nullptr &&
                currentOperator()->m_iStrength == STRENGTH_COMPARISON)
                return fail("comparisons cannot be chained; join them by 'and'", m_token.m_uiLine);
        }
        return uiLeft;
    }

    std::uint32_t deeper(int in_iStrength)
    {
        const std::uint32_t uiResult = descend() ? binary(in_iStrength) : NONE;
        --m_uiDepth;
        return uiResult;
    }

    const BinaryOperator* currentOperator() const
    {
        if (m_token.m_kind != Kind::SYMBOL && m_token.m_kind != Kind::NAME)
            return nullptr;
        return find(BINARY_OPERATORS, &BinaryOperator::m_strText, m_token.m_strText);
    }

    std::uint32_t sign(int in_iStrength)
    {
        const std::uint32_t uiLine = m_token.m_uiLine;
        if (in_iStrength <= STRENGTH_NOT && accept("not"))
            return negated(Op::NOT, deeper(STRENGTH_NOT), uiLine);
        if (in_iStrength <= STRENGTH_SIGN && accept("-"))
            return negated(Op::NEGATE, deeper(STRENGTH_SIGN), uiLine);
        return postfix();
    }

    std::uint32_t negated(Op in_op, std::uint32_t in_uiOperand, std::uint32_t in_uiLine)
    {
        return in_uiOperand == NONE ? NONE : add(in_op, in_uiLine, {in_uiOperand});
    }

    /// x[i] and x[i:j], any number of times.
    std::uint32_t postfix()
    {
        std::uint32_t uiVector = primary();
        while (uiVector != NONE && m_token.is("["))
        {
            const std::uint32_t uiLine = m_token.m_uiLine;
            advance();
            const std::uint32_t uiFirst = expression();
            if (uiFirst == NONE)
                return NONE;
            if (accept(":"))
            {
                const std::uint32_t uiEnd = expression();
                uiVector = uiEnd == NONE ? NONE : add(Op::SLICE, uiLine, {uiVector, uiFirst, uiEnd});
            }
            else
                uiVector = add(Op::INDEX, uiLine, {uiVector, uiFirst});
            if (uiVector == NONE || !require("]"))
                return NONE;
        }
        return uiVector;
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
            return uiInner != NONE && require(")") ? uiInner : NONE;
        }
        if (accept("["))
            return vector(token.m_uiLine);
        if (token.m_kind != Kind::NAME || currentOperator() != nullptr || token.is("not"))
            return unexpected("a value");
        advance();
        if (accept("("))
            return call(token);
        if (const NamedNumber* pNumber = find(NUMBERS, &NamedNumber::m_strName, token.m_strText))
            return number(pNumber->m_dValue, token.m_uiLine);
        if (isReserved(token.m_strText))
            return unexpected("'(' after '" + std::string(token.m_strText) + "'");
        const std::uint32_t uiNode = addReference(Op::NAME, token, {});
        m_script.m_vDefinitions.back().m_vNames.push_back({m_script.m_vNodes[uiNode].m_uiSymbol, m_uiArm});
        return uiNode;
    }

    std::uint32_t vector(std::uint32_t in_uiLine)
    {
        std::vector<std::uint32_t> vElements;
        if (accept("]"))
            return add(Op::VECTOR, in_uiLine, vElements);
        do
        {
            vElements.push_back(expression());
            if (vElements.back() == NONE)
                return NONE;
        } while (accept(","));
        return require("]") ? add(Op::VECTOR, in_uiLine, vElements) : NONE;
    }

    std::uint32_t call(const Token& in_name)
    {
        if (in_name.m_strText == "prev")
            return previous();
        const Function* pFunction = findFunction(in_name.m_strText);
        if (pFunction == nullptr)
            return fail("unknown function '" + std::string(in_name.m_strText) + "'", in_name.m_uiLine);
        std::vector<std::uint32_t> vArguments;
        std::size_t uiCount = 0;
        const std::uint32_t uiAround = m_uiArm;
        if (pFunction->m_kind == Function::Kind::SIZE)
            m_uiArm = Use::LENGTH_ONLY;
        if (!accept(")") && !callArguments(*pFunction, in_name.m_uiLine, vArguments, uiCount))
            return NONE;
        m_uiArm = uiAround;
        if (uiCount < pFunction->m_uiLeastArguments || uiCount > pFunction->m_uiMostArguments)
            return fail("'" + std::string(in_name.m_strText) + "' does not take " + std::to_string(uiCount) +
                            " arguments",
                        in_name.m_uiLine);
        if (pFunction->m_kind == Function::Kind::EXTREME && uiCount > 1)
            return vArguments.front();
        const std::uint32_t uiNode = add(Op::CALL, in_name.m_uiLine, vArguments);
        m_script.m_vNodes[uiNode].m_pFunction = pFunction;
        m_script.m_vDefinitions.back().m_bSlow |= pFunction->isKernel();
        return uiNode;
    }

    /// Counts them; min and max of several become operators at once.
    bool callArguments(const Function& in_function, std::uint32_t in_uiLine,
                       std::vector<std::uint32_t>& out_vArguments, std::size_t& out_uiCount)
    {
        do
        {
            const std::uint32_t uiArgument = expression();
            if (uiArgument == NONE)
                return false;
            if (in_function.m_kind == Function::Kind::EXTREME && out_uiCount > 0)
                out_vArguments.front() =
                    add(in_function.m_szName == std::string_view("min") ? Op::MINIMUM : Op::MAXIMUM,
                        in_uiLine, {out_vArguments.front(), uiArgument});
            else
                out_vArguments.push_back(uiArgument);
            ++out_uiCount;
        } while (accept(","));
        return require(")");
    }

    std::uint32_t previous()
    {
        const Token name = m_token;
        if (name.m_kind != Kind::NAME || isReserved(name.m_strText))
            return unexpected("a name");
        advance();
        const std::uint32_t uiInitial = require(",") ? expression() : NONE;
        if (uiInitial == NONE || !require(")"))
            return NONE;
        const std::uint32_t uiNode = addReference(Op::PREVIOUS, name, {uiInitial});
        m_script.m_vDefinitions.back().m_vPrevious.push_back(m_script.m_vNodes[uiNode].m_uiSymbol);
        return uiNode;
    }

    std::uint32_t number(double in_dNumber, std::uint32_t in_uiLine)
    {
        const std::uint32_t uiNode = add(Op::NUMBER, in_uiLine, {});
        m_script.m_vNodes[uiNode].m_dNumber = in_dNumber;
        return uiNode;
    }

    std::uint32_t addReference(Op in_op, const Token& in_name,
                               const std::vector<std::uint32_t>& in_vArguments)
    {
        const auto [itReference, bNew] = m_references.emplace(
            in_name.m_strText, static_cast<std::uint32_t>(m_script.m_vReferences.size()));
        if (bNew)
            m_script.m_vReferences.emplace_back(in_name.m_strText);
        const std::uint32_t uiNode = add(in_op, in_name.m_uiLine, in_vArguments);
        m_script.m_vNodes[uiNode].m_uiSymbol = itReference->second;
        return uiNode;
    }

    std::uint32_t add(Op in_op, std::uint32_t in_uiLine, const std::vector<std::uint32_t>& in_vArguments)
    {
        Node node{in_op,
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
    std::uint32_t m_uiArm = 0; ///< of the definition, in which names are used now
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

bool isReserved(std::string_view in_strName)
{
    return in_strName == "not" || in_strName == "prev" || findFunction(in_strName) != nullptr ||
           find(BINARY_OPERATORS, &BinaryOperator::m_strText, in_strName) != nullptr ||
           find(NUMBERS, &NamedNumber::m_strName, in_strName) != nullptr;
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
