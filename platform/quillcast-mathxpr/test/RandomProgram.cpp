#include "RandomProgram.h"

#include <algorithm>
#include <charconv>

namespace Vexalor::Math::Xpr::Testing
{

namespace
{

using Kind = Tree::Kind;

constexpr const char* SCRIPTS[] = {"a", "b", "c"};
constexpr int MOST_DEPTH = 4;

// How strongly things hold together, as the page has it.
constexpr int CHOICE = 0;
constexpr int NOT = 3;
constexpr int COMPARISON = 4;
constexpr int SIGN = 7;
constexpr int POWER = 8;
constexpr int PART = 9;
const std::map<std::string, int> STRENGTHS = {
    {"or", 1}, {"and", 2}, {"<", 4}, {"<=", 4}, {">", 4}, {">=", 4}, {"==", 4},
    {"!=", 4}, {"+", 5},   {"-", 5}, {"*", 6},  {"/", 6}, {"%", 6},  {"^", 8},
};

Tree make(Kind in_kind, const std::string& in_strText, std::vector<Tree> in_vArguments)
{
    return {in_kind, 0.0, in_strText, std::move(in_vArguments)};
}

Tree number(double in_dNumber)
{
    return {Kind::NUMBER, in_dNumber, "", {}};
}

template <std::size_t N>
std::string any(Random& io_random, const char* const (&in_names)[N])
{
    return in_names[io_random.below(N)];
}

int strengthOf(const Tree& in_tree)
{
    if (in_tree.m_kind == Kind::CHOICE)
        return CHOICE;
    if (in_tree.m_kind != Kind::OPERATOR)
        return PART;
    if (in_tree.m_vArguments.size() == 1)
        return in_tree.m_strText == "-" ? SIGN : NOT;
    return STRENGTHS.at(in_tree.m_strText);
}

} // namespace

RandomProgram::RandomProgram(Random& io_random)
    : m_random(io_random)
    , m_uiNbDefinitions(1 + io_random.below(12))
{
    for (int i = 0; i < 3; ++i)
        m_vLengths.push_back(m_random.below(6));
    for (std::size_t i = 0; i < m_uiNbDefinitions; ++i)
        m_vDefinitions.push_back({any(m_random, SCRIPTS), "d" + std::to_string(i), 0, {}});
    for (std::size_t i = 0; i < m_uiNbDefinitions; ++i)
    {
        m_uiNbVisible = i;
        m_vDefinitions[i].m_tree = m_random.oneIn(2) ? single(0) : vector(0);
    }
    addScripts();
}

Tree RandomProgram::name()
{
    if (m_uiNbVisible == 0 || m_random.oneIn(4))
        return make(Kind::NAME, "audio", {});
    return make(Kind::NAME, m_vDefinitions[m_random.below(m_uiNbVisible)].fullName(), {});
}

/// A small expression that depends on no input, as a rule.
Tree RandomProgram::known(int in_iDepth)
{
    switch (m_random.below(in_iDepth < MOST_DEPTH ? 9 : 4))
    {
    case 0:
    case 1:
    case 2:
        return number(static_cast<double>(m_random.below(4)));
    case 3:
        return make(Kind::CALL, "size", {name()});
    case 4:
        return make(Kind::OPERATOR, any(m_random, {"+", "-", "*"}),
                    {known(in_iDepth + 1), known(in_iDepth + 1)});
    case 5:
        return make(Kind::CALL, any(m_random, {"min", "max"}), {known(in_iDepth + 1), known(in_iDepth + 1)});
    case 6:
        return make(Kind::CALL, "sum", {make(Kind::CALL, "range", {known(in_iDepth + 1)})});
    case 7:
        return make(Kind::CHOICE, "", {known(in_iDepth + 1), known(in_iDepth + 1), single(in_iDepth + 1)});
    default:
        return m_random.oneIn(3) ? single(in_iDepth + 1) : make(Kind::CALL, "size", {vector(in_iDepth + 1)});
    }
}

Tree RandomProgram::previous(bool in_bSingle)
{
    const std::uint64_t uiTarget = m_random.below(m_uiNbDefinitions + 2);
    const std::string strName = uiTarget < m_uiNbDefinitions    ? m_vDefinitions[uiTarget].fullName()
                                : uiTarget == m_uiNbDefinitions ? "audio"
                                                                : "rate";
    const Tree tree =
        make(Kind::PREVIOUS, strName, {m_random.oneIn(6) ? vector(MOST_DEPTH - 1) : known(MOST_DEPTH - 1)});
    return in_bSingle && m_random.oneIn(2) ? make(Kind::CALL, "sum", {tree}) : tree;
}

Tree RandomProgram::choice(int in_iDepth, bool in_bSingle)
{
    const auto arm = [&]
    {
        return in_bSingle || m_random.oneIn(3) ? single(in_iDepth) : vector(in_iDepth);
    };
    return make(Kind::CHOICE, "", {m_random.oneIn(4) ? known(in_iDepth) : single(in_iDepth), arm(), arm()});
}

/// An expression of one value, as a rule.
Tree RandomProgram::single(int in_iDepth)
{
    const int iDepth = in_iDepth + 1;
    switch (m_random.below(in_iDepth < MOST_DEPTH ? 14 : 3))
    {
    case 0:
        return number(static_cast<double>(m_random.below(17)) / 4.0);
    case 1:
        return make(Kind::NAME, any(m_random, {"level", "level", "rate"}), {});
    case 2:
    case 3:
        return make(Kind::CALL,
                    any(m_random, {"sum", "mean", "energy", "zero_crossings", "size", "min", "argmax"}),
                    {iDepth < MOST_DEPTH ? vector(iDepth) : name()});
    case 4:
        return previous(true);
    case 5:
    case 6:
        return choice(iDepth, true);
    case 7:
        return make(Kind::INDEX, "", {vector(iDepth), m_random.oneIn(2) ? known(iDepth) : single(iDepth)});
    case 8:
        return make(Kind::OPERATOR, any(m_random, {"-", "not"}), {single(iDepth)});
    case 9:
        return make(Kind::CALL,
                    any(m_random, {"abs", "sqrt", "exp", "log", "tanh", "floor", "round", "isnan"}),
                    {single(iDepth)});
    case 10:
        return name();
    case 11:
        return make(Kind::CALL, "dot", {vector(iDepth), vector(iDepth)});
    default:
        return make(
            Kind::OPERATOR,
            any(m_random, {"+", "-", "*", "/", "%", "^", "<", "<=", ">", ">=", "==", "!=", "and", "or"}),
            {single(iDepth), single(iDepth)});
    }
}

/// An expression of any length.
Tree RandomProgram::vector(int in_iDepth)
{
    const int iDepth = in_iDepth + 1;
    const auto mixed = [&]
    {
        return m_random.oneIn(2) ? single(iDepth) : vector(iDepth);
    };
    switch (m_random.below(in_iDepth < MOST_DEPTH ? 12 : 2))
    {
    case 0:
    case 1:
        return name();
    case 2:
    {
        std::vector<Tree> vElements(m_random.below(4));
        std::generate(vElements.begin(), vElements.end(), mixed);
        return make(Kind::JOIN, "", vElements);
    }
    case 3:
    case 4:
    {
        const Tree tree = vector(iDepth);
        const Tree end = m_random.oneIn(2) ? make(Kind::CALL, "size", {tree}) : known(iDepth);
        return make(Kind::SLICE, "", {tree, m_random.oneIn(2) ? number(0.0) : known(iDepth), end});
    }
    case 5:
        return make(Kind::CALL, "range", {known(iDepth)});
    case 6:
        return previous(false);
    case 7:
        return choice(iDepth, false);
    case 8:
        return make(Kind::CALL, any(m_random, {"min", "max"}), {vector(iDepth), mixed(), mixed()});
    case 9:
        return make(Kind::CALL, any(m_random, {"abs", "exp", "floor", "isnan"}), {vector(iDepth)});
    case 10:
        return make(Kind::OPERATOR, any(m_random, {"-", "not"}), {vector(iDepth)});
    default:
        return make(Kind::OPERATOR, any(m_random, {"+", "-", "*", "/", "<", "==", "and", "or"}),
                    {mixed(), mixed()});
    }
}

/// Each definition has its line; the order of the lines means nothing.
void RandomProgram::addScripts()
{
    std::vector<std::size_t> vOrder;
    for (std::size_t i = 0; i < m_vDefinitions.size(); ++i)
        vOrder.insert(vOrder.begin() + static_cast<std::ptrdiff_t>(m_random.below(i + 1)), i);
    for (const std::size_t i : vOrder)
    {
        PlainDefinition& definition = m_vDefinitions[i];
        std::string& strText = m_scripts[definition.m_strScript + ".xpr"];
        strText +=
            definition.m_strName + " = " + write(definition.m_tree, CHOICE, definition.m_strScript) + "\n";
        definition.m_uiLine = static_cast<std::size_t>(std::count(strText.begin(), strText.end(), '\n'));
    }
}

/// In as few brackets as what is around needs, and some more now and then.
std::string RandomProgram::write(const Tree& in_tree, int in_iLeast, const std::string& in_strScript)
{
    if (strengthOf(in_tree) < in_iLeast || m_random.oneIn(20))
        return "(" + write(in_tree, CHOICE, in_strScript) + ")";
    const auto part = [&](std::size_t in_uiIndex, int in_iStrength)
    {
        return write(in_tree.m_vArguments[in_uiIndex], in_iStrength, in_strScript);
    };
    const auto list = [&]
    {
        std::string strList;
        for (std::size_t i = 0; i < in_tree.m_vArguments.size(); ++i)
            strList += (i == 0 ? "" : ", ") + part(i, CHOICE);
        return strList;
    };
    const bool bOwn = in_tree.m_strText.starts_with(in_strScript + ".");
    const std::string strName = bOwn ? in_tree.m_strText.substr(in_strScript.size() + 1) : in_tree.m_strText;
    char digits[32];
    switch (in_tree.m_kind)
    {
    case Kind::NUMBER:
        return std::string(digits, std::to_chars(digits, std::end(digits), in_tree.m_dNumber).ptr);
    case Kind::NAME:
        return strName;
    case Kind::PREVIOUS:
        return "prev(" + strName + ", " + part(0, CHOICE) + ")";
    case Kind::CHOICE:
        return part(0, 1) + " ? " + part(1, CHOICE) + " : " + part(2, CHOICE);
    case Kind::JOIN:
        return "[" + list() + "]";
    case Kind::INDEX:
        return part(0, PART) + "[" + part(1, CHOICE) + "]";
    case Kind::SLICE:
        return part(0, PART) + "[" + part(1, CHOICE) + ":" + part(2, CHOICE) + "]";
    case Kind::CALL:
        return in_tree.m_strText + "(" + list() + ")";
    default:
        break;
    }
    if (in_tree.m_vArguments.size() == 1)
        return in_tree.m_strText + " " + part(0, strengthOf(in_tree));
    const int iStrength = strengthOf(in_tree);
    const int iLeft = iStrength == POWER ? PART : iStrength == COMPARISON ? COMPARISON + 1 : iStrength;
    return part(0, iLeft) + " " + in_tree.m_strText + " " +
           part(1, iStrength == POWER ? SIGN : iStrength + 1);
}

} // namespace Vexalor::Math::Xpr::Testing
