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
    std::string strLabel = symbol.m_strName;
    if (symbol.m_kind == Symbol::Kind::CONSTANT)
    {
        char digits[32];
        strLabel += " = ";
        strLabel.append(digits, std::to_chars(digits, std::end(digits), symbol.m_dValue).ptr);
    }
    else if (symbol.m_kind == Symbol::Kind::EXPRESSION)
    {
        const std::string& strText = in_program.getDefinition(in_uiSymbol).m_strText;
        strLabel += " = " + strText.substr(0, MOST_SHOWN) + (strText.size() > MOST_SHOWN ? "..." : "");
    }
    const char* style = symbol.m_kind == Symbol::Kind::INPUT        ? "shape=box, style=bold"
                        : symbol.m_kind == Symbol::Kind::CONSTANT   ? "shape=box"
                        : symbol.m_kind == Symbol::Kind::EXPRESSION ? "shape=ellipse"
                                                                    : "shape=ellipse, style=dashed";
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
        for (const Use& use : in_program.getDefinition(uiSymbol).m_vUses)
            (use.m_kind == Use::Kind::EARLIER ? earlierNames : names).insert(nameOf(use.m_uiSymbol));
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
