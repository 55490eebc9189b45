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

enum class Visit : std::uint8_t
{
    NOT_YET,
    OPEN,
    DONE
};

struct Step
{
    std::uint32_t m_uiSymbol;
    std::size_t m_uiNext;
};

} // namespace

std::uint32_t Program::find(const std::string& in_strName) const
{
    const auto itName = m_names.find(in_strName);
    return itName == m_names.end() ? NONE : itName->second;
}

std::uint32_t Program::intern(const std::string& in_strName)
{
    const auto [itName, bNew] = m_names.emplace(in_strName, static_cast<std::uint32_t>(m_vSymbols.size()));
    if (bNew)
        m_vSymbols.emplace_back().m_strName = in_strName;
    return itName->second;
}

std::vector<std::uint32_t> Program::getUsed(std::uint32_t in_uiSymbol) const
{
    const Definition& definition = getDefinition(in_uiSymbol);
    std::vector<std::uint32_t> vUsed = definition.m_vPrevious;
    for (const Use& use : definition.m_vNames)
        vUsed.push_back(use.m_uiSymbol);
    return vUsed;
}

std::string Program::where(std::uint32_t in_uiNode) const
{
    const Node& node = m_vNodes[in_uiNode];
    return place(m_vScripts[m_vSymbols[node.m_uiOwner].m_uiScript].m_strPath, node.m_uiLine);
}

bool Program::hasScript(const std::string& in_strName) const
{
    return std::any_of(m_vScripts.begin(), m_vScripts.end(),
                       [&](const Source& in_script) { return in_script.m_strName == in_strName; });
}

bool Program::isDefined(const std::string& in_strName) const
{
    const std::uint32_t uiSymbol = find(in_strName);
    return uiSymbol != NONE && m_vSymbols[uiSymbol].m_kind != Symbol::Kind::UNKNOWN;
}

bool Program::isFree(const std::string& in_strName) const
{
    return !isDefined(in_strName) &&
           std::none_of(m_vScripts.begin(), m_vScripts.end(),
                        [&](const Source& in_script)
                        { return isDefined(in_script.m_strName + "." + in_strName); });
}

bool Program::addScript(const std::string& in_strName, const Script& in_script)
{
    for (const Definition& definition : in_script.m_vDefinitions)
    {
        const std::uint32_t uiGlobal = find(definition.m_strName);
        if (uiGlobal == NONE)
            continue;
        const Symbol::Kind kind = m_vSymbols[uiGlobal].m_kind;
        if (kind == Symbol::Kind::INPUT || kind == Symbol::Kind::CONSTANT)
        {
            QC_ERROR(place(in_script.m_strSource, definition.m_uiLine)
                     << "'" << definition.m_strName << "' is an input or a constant and cannot be defined");
            return false;
        }
    }
    load(in_strName, in_script);
    return true;
}

void Program::load(const std::string& in_strName, const Script& in_script)
{
    const std::string strPrefix = in_strName.empty() ? "" : in_strName + ".";
    std::vector<std::uint32_t> vDefined;
    for (const Definition& definition : in_script.m_vDefinitions)
    {
        vDefined.push_back(intern(strPrefix + definition.m_strName));
        Symbol& symbol = m_vSymbols[vDefined.back()];
        symbol.m_kind = Symbol::Kind::EXPRESSION;
        symbol.m_uiScript = static_cast<std::uint32_t>(m_vScripts.size());
        symbol.m_uiDefinition = static_cast<std::uint32_t>(m_vDefinitions.size());
        m_vDefinitions.push_back(definition);
    }
    m_vScripts.push_back({in_strName, in_script.m_strSource});
    // A name is one of the script itself, if there is such.
    std::vector<std::uint32_t> vReferences;
    for (const std::string& strReference : in_script.m_vReferences)
    {
        const std::uint32_t uiOwn = find(strPrefix + strReference);
        vReferences.push_back(uiOwn != NONE && isExpression(uiOwn) ? uiOwn : intern(strReference));
    }
    const auto uiFirstNode = static_cast<std::uint32_t>(m_vNodes.size());
    for (const std::uint32_t uiSymbol : vDefined)
        loadNodes(in_script, uiSymbol, vReferences);
    for (const std::uint32_t uiNode : in_script.m_vArguments)
        m_vArguments.push_back(uiFirstNode + uiNode);
}

/// Of a definition: those of the ones before it in the script, but no arguments of the script, are there.
void Program::loadNodes(const Script& in_script, std::uint32_t in_uiSymbol,
                        const std::vector<std::uint32_t>& in_vReferences)
{
    Definition& definition = m_vDefinitions[m_vSymbols[in_uiSymbol].m_uiDefinition];
    const std::uint32_t uiShift = static_cast<std::uint32_t>(m_vNodes.size()) - definition.m_uiFirstNode;
    for (std::uint32_t i = definition.m_uiFirstNode; i <= definition.m_uiRoot; ++i)
    {
        Node& node = m_vNodes.emplace_back(in_script.m_vNodes[i]);
        node.m_uiFirstArgument += static_cast<std::uint32_t>(m_vArguments.size());
        node.m_uiSelect += node.m_uiSelect == 0 ? 0 : uiShift;
        node.m_uiOwner = in_uiSymbol;
        if (node.m_op == Op::NAME || node.m_op == Op::PREVIOUS)
            node.m_uiSymbol = in_vReferences[node.m_uiSymbol];
    }
    definition.m_uiFirstNode += uiShift;
    definition.m_uiRoot += uiShift;
    for (Use& use : definition.m_vNames)
        use.m_uiSymbol = in_vReferences[use.m_uiSymbol];
    for (std::uint32_t& uiSymbol : definition.m_vPrevious)
        uiSymbol = in_vReferences[uiSymbol];
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
    const std::vector<std::uint32_t> vUsed = getUsed(in_uiSymbol);
    return std::all_of(vUsed.begin(), vUsed.end(),
                       [&](std::uint32_t in_uiUsed) { return isAvailable(in_uiUsed); });
}

bool Program::link(bool in_bComplete)
{
    QC_TRACE("Math::Xpr::Program::link");
    m_bLinked = false;
    m_plans.m_vLatest.clear();
    m_structure = {};
    std::vector<std::uint32_t>& vOrder = m_structure.m_vOrder;
    if (!sort(vOrder))
        return false;
    // What misses something takes along what uses it, at last through the states of earlier windows.
    bool bAll = true;
    unsigned int uiReported = 0;
    for (bool bAgain = true; bAgain;)
    {
        bAgain = false;
        for (const std::uint32_t uiSymbol : vOrder)
        {
            Symbol& symbol = m_vSymbols[uiSymbol];
            if (!symbol.m_bLinked || hasAll(uiSymbol))
                continue;
            if (in_bComplete)
                reportUnknown(uiSymbol, uiReported);
            else
                symbol.m_bLinked = false;
            bAll = false;
            bAgain = !in_bComplete;
        }
    }
    if (in_bComplete && !bAll)
        return false;
    if (!bAll)
        std::erase_if(vOrder, [&](std::uint32_t in_uiSymbol) { return !m_vSymbols[in_uiSymbol].m_bLinked; });
    findStructure(*this, m_structure);
    m_bLinked = true;
    return true;
}

/// Brings all expressions into an order in which each comes after those that it uses.
bool Program::sort(std::vector<std::uint32_t>& out_vOrder)
{
    std::vector<Visit> vVisits(m_vSymbols.size(), Visit::NOT_YET);
    std::vector<Step> vPath;
    for (std::uint32_t uiFirst = 0; uiFirst < m_vSymbols.size(); ++uiFirst)
    {
        m_vSymbols[uiFirst].m_bLinked = m_vSymbols[uiFirst].m_kind == Symbol::Kind::EXPRESSION;
        if (!m_vSymbols[uiFirst].m_bLinked || vVisits[uiFirst] == Visit::DONE)
            continue;
        vPath.push_back({uiFirst, 0});
        vVisits[uiFirst] = Visit::OPEN;
        while (!vPath.empty())
        {
            Step& step = vPath.back();
            const std::vector<Use>& vNames = getDefinition(step.m_uiSymbol).m_vNames;
            if (step.m_uiNext == vNames.size())
            {
                vVisits[step.m_uiSymbol] = Visit::DONE;
                out_vOrder.push_back(step.m_uiSymbol);
                vPath.pop_back();
                continue;
            }
            const std::uint32_t uiUsed = vNames[step.m_uiNext++].m_uiSymbol;
            if (!isExpression(uiUsed) || vVisits[uiUsed] == Visit::DONE)
                continue;
            if (vVisits[uiUsed] == Visit::OPEN)
            {
                std::vector<std::uint32_t> vSymbols;
                for (const Step& earlier : vPath)
                    vSymbols.push_back(earlier.m_uiSymbol);
                return reportCycle(vSymbols, uiUsed);
            }
            vVisits[uiUsed] = Visit::OPEN;
            vPath.push_back({uiUsed, 0});
        }
    }
    return true;
}

bool Program::reportCycle(const std::vector<std::uint32_t>& in_vPath, std::uint32_t in_uiSymbol) const
{
    constexpr std::size_t MOST_SHOWN = 10;
    std::string strCycle;
    std::size_t uiShown = 0;
    for (auto itStep = std::find(in_vPath.begin(), in_vPath.end(), in_uiSymbol); itStep != in_vPath.end();
         ++itStep)
        if (++uiShown <= MOST_SHOWN)
            strCycle += m_vSymbols[*itStep].m_strName + " -> ";
    if (uiShown > MOST_SHOWN)
        strCycle += "... -> ";
    const Symbol& symbol = m_vSymbols[in_uiSymbol];
    QC_ERROR(place(m_vScripts[symbol.m_uiScript].m_strPath, getDefinition(in_uiSymbol).m_uiLine)
             << "cycle: " << strCycle << symbol.m_strName << "; only prev(name, initial) may refer back");
    return false;
}

void Program::reportUnknown(std::uint32_t in_uiSymbol, unsigned int& io_uiReported) const
{
    const Definition& definition = getDefinition(in_uiSymbol);
    std::set<std::uint32_t> met;
    for (std::uint32_t i = definition.m_uiFirstNode; i <= definition.m_uiRoot; ++i)
    {
        const Node& node = m_vNodes[i];
        if ((node.m_op != Op::NAME && node.m_op != Op::PREVIOUS) || isAvailable(node.m_uiSymbol) ||
            !met.insert(node.m_uiSymbol).second || ++io_uiReported > MOST_REPORTED)
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
