#include "quillcast-mathxpr/Program.h"

#include <algorithm>
#include <charconv>
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

std::string describe(const Program& in_program, const Symbol& in_symbol)
{
    const auto [label, style] = [&]() -> std::pair<std::string, const char*>
    {
        switch (in_symbol.m_kind)
        {
        case Symbol::Kind::INPUT:
            return {"", "shape=box, style=bold"};
        case Symbol::Kind::CONSTANT:
        {
            char digits[32];
            return {std::string(digits, std::to_chars(digits, std::end(digits), in_symbol.m_dValue).ptr),
                    "shape=box"};
        }
        case Symbol::Kind::EXPRESSION:
            return {in_program.getDefinition(in_symbol).m_strText, "shape=ellipse"};
        default:
            return {"", "shape=ellipse, style=dashed"};
        }
    }();
    std::string strLabel = in_symbol.m_strName;
    if (!label.empty())
        strLabel += " = " + (label.size() > MOST_SHOWN ? label.substr(0, MOST_SHOWN) + "..." : label);
    return "    " + quote(in_symbol.m_strName) + " [label=" + quote(strLabel) + ", " + style + "];\n";
}

/// The names that some references stand for, in their order.
std::set<std::string> namesOf(const Program& in_program, const Symbol& in_symbol,
                              const std::vector<std::uint32_t>& in_vReferences)
{
    std::set<std::string> names;
    for (const std::uint32_t uiReference : in_vReferences)
        names.insert(
            in_program.getSymbol(in_program.getScriptOf(in_symbol).m_vSymbols[uiReference]).m_strName);
    return names;
}

} // namespace

void writeDot(const Program& in_program, std::string& out_strDot)
{
    std::vector<const Symbol*> vSymbols;
    for (const Symbol& symbol : in_program.getSymbols())
        vSymbols.push_back(&symbol);
    std::sort(vSymbols.begin(), vSymbols.end(),
              [](const Symbol* in_pLeft, const Symbol* in_pRight)
              { return in_pLeft->m_strName < in_pRight->m_strName; });
    out_strDot = "digraph evaluator {\n    rankdir=LR;\n";
    for (const Symbol* pSymbol : vSymbols)
        out_strDot += describe(in_program, *pSymbol);
    for (const Symbol* pSymbol : vSymbols)
    {
        if (pSymbol->m_kind != Symbol::Kind::EXPRESSION)
            continue;
        const Definition& definition = in_program.getDefinition(*pSymbol);
        const std::string strHere = " -> " + quote(pSymbol->m_strName);
        for (const std::string& strName : namesOf(in_program, *pSymbol, definition.m_vNames))
            out_strDot += "    " + quote(strName) + strHere + ";\n";
        for (const std::string& strName : namesOf(in_program, *pSymbol, definition.m_vPrevious))
            out_strDot +=
                "    " + quote(strName) + strHere + " [style=dotted, label=\"prev\", constraint=false];\n";
    }
    out_strDot += "}\n";
}

} // namespace Vexalor::Math::Xpr
