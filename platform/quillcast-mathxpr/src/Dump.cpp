#include "Program.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <set>

namespace Vexalor::Math::Xpr
{

namespace
{

/// So much of an expression is shown.
constexpr std::size_t MOST_SHOWN = 80;

std::string quote(const std::string& in_strText)
{
    std::string strQuoted = "\"";
    for (const char c : in_strText)
    {
        if (c == '"' || c == '\\')
            strQuoted += '\\';
        strQuoted += c;
    }
    return strQuoted + "\"";
}

std::string describe(const Program& in_program, std::uint32_t in_uiSymbol)
{
    const Symbol& symbol = in_program.getSymbol(in_uiSymbol);
    const auto [label, style] = [&]() -> std::pair<std::string, const char*>
    {
        switch (symbol.m_kind)
        {
        case Symbol::Kind::INPUT:
            return {"", "shape=box, style=bold"};
        case Symbol::Kind::CONSTANT:
        {
            char digits[32];
            return {std::string(digits, std::to_chars(digits, std::end(digits), symbol.m_dValue).ptr),
                    "shape=box"};
        }
        case Symbol::Kind::EXPRESSION:
            return {in_program.getDefinition(in_uiSymbol).m_strText, "shape=ellipse"};
        default:
            return {"", "shape=ellipse, style=dashed"};
        }
    }();
    std::string strLabel = symbol.m_strName;
    if (!label.empty())
        strLabel += " = " + (label.size() > MOST_SHOWN ? label.substr(0, MOST_SHOWN) + "..." : label);
    return "    " + quote(symbol.m_strName) + " [label=" + quote(strLabel) + ", " + style + "];\n";
}

} // namespace

void writeDot(const Program& in_program, std::string& out_strDot)
{
    const auto nameOf = [&](std::uint32_t in_uiSymbol) -> const std::string&
    {
        return in_program.getSymbol(in_uiSymbol).m_strName;
    };
    std::vector<std::uint32_t> vSymbols(in_program.getSymbols().size());
    std::iota(vSymbols.begin(), vSymbols.end(), 0);
    std::sort(vSymbols.begin(), vSymbols.end(),
              [&](std::uint32_t in_uiLeft, std::uint32_t in_uiRight)
              { return nameOf(in_uiLeft) < nameOf(in_uiRight); });
    out_strDot = "digraph evaluator {\n    rankdir=LR;\n";
    for (const std::uint32_t uiSymbol : vSymbols)
        out_strDot += describe(in_program, uiSymbol);
    for (const std::uint32_t uiSymbol : vSymbols)
    {
        if (!in_program.isExpression(uiSymbol))
            continue;
        std::set<std::string> names;
        std::set<std::string> earlierNames;
        for (const Use& use : in_program.getDefinition(uiSymbol).m_vNames)
            names.insert(nameOf(use.m_uiSymbol));
        for (const std::uint32_t uiUsed : in_program.getDefinition(uiSymbol).m_vPrevious)
            earlierNames.insert(nameOf(uiUsed));
        const std::string strHere = " -> " + quote(nameOf(uiSymbol));
        for (const std::string& strName : names)
            out_strDot += "    " + quote(strName) + strHere + ";\n";
        for (const std::string& strName : earlierNames)
            out_strDot +=
                "    " + quote(strName) + strHere + " [style=dotted, label=\"prev\", constraint=false];\n";
    }
    out_strDot += "}\n";
}

} // namespace Vexalor::Math::Xpr
