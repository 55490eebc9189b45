#include "Program.h"

#include "Plan.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <set>

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Program");

/// Plans for so many lengths are kept.
constexpr std::size_t MOST_PLANS = 16;

/// So many unknown names are reported; a script may have tens of thousands.
constexpr unsigned int MOST_REPORTED = 20;

} // namespace

std::uint32_t Program::find(const std::string& in_strName) const
{
    const auto itName = m_names.find(in_strName);
    return itName == m_names.end() || isA(Symbol::Kind::UNKNOWN, itName->second) ? NONE : itName->second;
}

std::uint32_t Program::intern(const std::string& in_strName)
{
    const auto [itName, bNew] = m_names.emplace(in_strName, static_cast<std::uint32_t>(m_vSymbols.size()));
    if (bNew)
        m_vSymbols.emplace_back().m_strName = in_strName;
    return itName->second;
}

std::string Program::where(std::uint32_t in_uiNode) const
{
    const Node& node = m_vNodes[in_uiNode];
    return place(m_vScripts[node.m_uiScript].m_strPath, node.m_uiLine);
}

bool Program::hasScript(const std::string& in_strName) const
{
    return std::any_of(m_vScripts.begin(), m_vScripts.end(),
                       [&](const Source& in_script) { return in_script.m_strName == in_strName; });
}

bool Program::isFree(const std::string& in_strName) const
{
    return find(in_strName) == NONE &&
           std::none_of(m_vScripts.begin(), m_vScripts.end(),
                        [&](const Source& in_script)
                        { return find(in_script.m_strName + "." + in_strName) != NONE; });
}

bool Program::addScript(const std::string& in_strName, const Script& in_script)
{
    for (const Definition& definition : in_script.m_vDefinitions)
    {
        const std::uint32_t uiGlobal = find(definition.m_strName);
        if (uiGlobal == NONE || isExpression(uiGlobal))
            continue;
        QC_ERROR(place(in_script.m_strSource, definition.m_uiLine)
                 << "'" << definition.m_strName << "' is an input or a constant and cannot be defined");
        return false;
    }
    load(in_strName, in_script);
    return true;
}

void Program::load(const std::string& in_strName, const Script& in_script)
{
    const std::string strPrefix = in_strName.empty() ? "" : in_strName + ".";
    const auto uiScript = static_cast<std::uint32_t>(m_vScripts.size());
    const auto uiFirstNode = static_cast<std::uint32_t>(m_vNodes.size());
    const auto uiFirstArgument = static_cast<std::uint32_t>(m_vArguments.size());
    const auto uiFirstDefinition = m_vDefinitions.size();
    m_vScripts.push_back({in_strName, in_script.m_strSource});
    for (const Definition& definition : in_script.m_vDefinitions)
    {
        Symbol& symbol = m_vSymbols[intern(strPrefix + definition.m_strName)];
        symbol.m_kind = Symbol::Kind::EXPRESSION;
        symbol.m_uiDefinition = static_cast<std::uint32_t>(m_vDefinitions.size());
        m_vDefinitions.push_back(definition);
    }
    // A name is one of the script itself, if there is such.
    std::vector<std::uint32_t> vReferences;
    for (const std::string& strReference : in_script.m_vReferences)
    {
        const std::uint32_t uiOwn = find(strPrefix + strReference);
        vReferences.push_back(isExpression(uiOwn) ? uiOwn : intern(strReference));
    }
    for (std::size_t i = uiFirstDefinition; i < m_vDefinitions.size(); ++i)
    {
        m_vDefinitions[i].m_uiFirstNode += uiFirstNode;
        m_vDefinitions[i].m_uiRoot += uiFirstNode;
        for (Use& use : m_vDefinitions[i].m_vUses)
            use.m_uiSymbol = vReferences[use.m_uiSymbol];
    }
    for (Node node : in_script.m_vNodes)
    {
        node.m_uiFirstArgument += uiFirstArgument;
        node.m_uiSelect += node.m_uiSelect == 0 ? 0 : uiFirstNode;
        node.m_uiScript = uiScript;
        if (node.m_op == Op::NAME || node.m_op == Op::PREVIOUS)
            node.m_uiSymbol = vReferences[node.m_uiSymbol];
        m_vNodes.push_back(node);
    }
    for (const std::uint32_t uiNode : in_script.m_vArguments)
        m_vArguments.push_back(uiFirstNode + uiNode);
}

std::uint32_t Program::addInput(const std::string& in_strName)
{
    const std::uint32_t uiSymbol = intern(in_strName);
    m_vSymbols[uiSymbol].m_kind = Symbol::Kind::INPUT;
    m_vSymbols[uiSymbol].m_uiInput = m_uiNbInputs++;
    return uiSymbol;
}

void Program::setConstant(const std::string& in_strName, double in_dValue)
{
    Symbol& symbol = m_vSymbols[intern(in_strName)];
    symbol.m_kind = Symbol::Kind::CONSTANT;
    symbol.m_dValue = in_dValue;
    m_plans.m_vLatest.clear();
}

bool Program::isAvailable(std::uint32_t in_uiSymbol) const
{
    const Symbol& symbol = m_vSymbols[in_uiSymbol];
    return symbol.m_kind != Symbol::Kind::UNKNOWN &&
           (symbol.m_kind != Symbol::Kind::EXPRESSION || symbol.m_bLinked);
}

bool Program::hasAll(std::uint32_t in_uiSymbol) const
{
    const std::vector<Use>& vUses = getDefinition(in_uiSymbol).m_vUses;
    return std::all_of(vUses.begin(), vUses.end(),
                       [&](const Use& in_use) { return isAvailable(in_use.m_uiSymbol); });
}

bool Program::link(bool in_bComplete)
{
    QC_TRACE("Math::Xpr::Program::link");
    m_bLinked = false;
    m_plans.m_vLatest.clear();
    m_structure = {};
    for (Symbol& symbol : m_vSymbols)
        symbol.m_bLinked = symbol.m_kind == Symbol::Kind::EXPRESSION;
    std::vector<std::uint32_t> vCycle;
    if (!findOrder(*this, m_structure, vCycle))
        return reportCycle(vCycle);
    if (in_bComplete && reportUnknown())
        return false;
    while (leaveOut())
        ;
    findStructure(*this, m_structure);
    m_bLinked = true;
    return true;
}

/// What misses something takes along what uses it, at last through the states of earlier windows. True when
/// there was such a thing.
bool Program::leaveOut()
{
    return std::erase_if(m_structure.m_vOrder,
                         [&](std::uint32_t in_uiSymbol)
                         {
                             m_vSymbols[in_uiSymbol].m_bLinked = hasAll(in_uiSymbol);
                             return !m_vSymbols[in_uiSymbol].m_bLinked;
                         }) != 0;
}

bool Program::reportCycle(const std::vector<std::uint32_t>& in_vCycle) const
{
    constexpr std::size_t MOST_SHOWN = 10;
    std::string strCycle;
    for (std::size_t i = 0; i < in_vCycle.size() && i < MOST_SHOWN; ++i)
        strCycle += m_vSymbols[in_vCycle[i]].m_strName + " -> ";
    if (in_vCycle.size() > MOST_SHOWN)
        strCycle += "... -> ";
    const Definition& definition = getDefinition(in_vCycle.front());
    const Source& script = m_vScripts[m_vNodes[definition.m_uiRoot].m_uiScript];
    QC_ERROR(place(script.m_strPath, definition.m_uiLine)
             << "cycle: " << strCycle << m_vSymbols[in_vCycle.front()].m_strName
             << "; only prev(name, initial) may refer back");
    return false;
}

/// True when there are unknown names.
bool Program::reportUnknown() const
{
    unsigned int uiReported = 0;
    for (const std::uint32_t uiSymbol : m_structure.m_vOrder)
    {
        const Definition& definition = getDefinition(uiSymbol);
        std::set<std::uint32_t> met;
        for (std::uint32_t i = definition.m_uiFirstNode; i <= definition.m_uiRoot; ++i)
        {
            const Node& node = m_vNodes[i];
            if ((node.m_op != Op::NAME && node.m_op != Op::PREVIOUS) || isAvailable(node.m_uiSymbol) ||
                !met.insert(node.m_uiSymbol).second || ++uiReported > MOST_REPORTED)
                continue;
            const std::string& strName = m_vSymbols[node.m_uiSymbol].m_strName;
            const std::size_t uiDot = strName.find('.');
            const bool bNoScript = uiDot != std::string::npos && !hasScript(strName.substr(0, uiDot));
            const char* hint = strName == "rate" ? ": the sampling rate was not set"
                               : bNoScript       ? ": that script was not added"
                                                 : "";
            QC_ERROR(where(i) << "unknown name '" << strName << "'" << hint);
        }
    }
    return uiReported != 0;
}

std::shared_ptr<Plan> Program::getPlan(const std::vector<std::uint32_t>& in_vLengths) const
{
    const std::lock_guard<std::mutex> lock(m_plans.m_mutex);
    for (const auto& pPlan : m_plans.m_vLatest)
        if (pPlan->isFor(in_vLengths))
            return pPlan;
    auto pPlan = std::make_shared<Plan>(*this, in_vLengths);
    if (m_plans.m_vLatest.size() == MOST_PLANS)
        m_plans.m_vLatest.erase(m_plans.m_vLatest.begin());
    m_plans.m_vLatest.push_back(pPlan);
    return pPlan;
}

} // namespace Vexalor::Math::Xpr
