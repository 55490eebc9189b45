#include "Program.h"

#include "Plan.h"
#include "quillcast-core/Logger.h"

#include <algorithm>

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

Program::Program(const Program& in_other)
    : m_vSymbols(in_other.m_vSymbols)
    , m_names(in_other.m_names)
    , m_vScripts(in_other.m_vScripts)
    , m_structure(in_other.m_structure)
    , m_uiNbInputs(in_other.m_uiNbInputs)
    , m_uiNbNodes(in_other.m_uiNbNodes)
    , m_bLinked(in_other.m_bLinked)
{
}

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
    std::vector<std::uint32_t> vUsed = getUsedBefore(in_uiSymbol);
    for (const Use& use : getDefinition(in_uiSymbol).m_vNames)
        vUsed.push_back(getScriptOf(in_uiSymbol).m_vSymbols[use.m_uiReference]);
    return vUsed;
}

std::vector<std::uint32_t> Program::getUsedBefore(std::uint32_t in_uiSymbol) const
{
    std::vector<std::uint32_t> vUsed;
    for (const std::uint32_t uiReference : getDefinition(in_uiSymbol).m_vPrevious)
        vUsed.push_back(getScriptOf(in_uiSymbol).m_vSymbols[uiReference]);
    return vUsed;
}

bool Program::hasScript(const std::string& in_strName) const
{
    return std::any_of(m_vScripts.begin(), m_vScripts.end(),
                       [&](const LoadedScript& in_script) { return in_script.m_strName == in_strName; });
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
                        [&](const LoadedScript& in_script)
                        { return isDefined(in_script.m_strName + "." + in_strName); });
}

void Program::define(std::uint32_t in_uiScript, std::uint32_t in_uiDefinition, const std::string& in_strName)
{
    Symbol& symbol = m_vSymbols[intern(in_strName)];
    symbol.m_kind = Symbol::Kind::EXPRESSION;
    symbol.m_uiScript = in_uiScript;
    symbol.m_uiDefinition = in_uiDefinition;
}

std::uint32_t Program::load(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript)
{
    m_vScripts.push_back({in_strName, in_pScript, {}, m_uiNbNodes});
    m_uiNbNodes += static_cast<std::uint32_t>(in_pScript->m_vNodes.size());
    return static_cast<std::uint32_t>(m_vScripts.size() - 1);
}

bool Program::addScript(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript)
{
    for (const Definition& definition : in_pScript->m_vDefinitions)
    {
        const std::uint32_t uiGlobal = find(definition.m_strName);
        if (uiGlobal == NONE)
            continue;
        const Symbol::Kind kind = m_vSymbols[uiGlobal].m_kind;
        if (kind == Symbol::Kind::INPUT || kind == Symbol::Kind::CONSTANT)
        {
            QC_ERROR(in_pScript->where(definition.m_uiLine)
                     << "'" << definition.m_strName << "' is an input or a constant and cannot be defined");
            return false;
        }
    }
    const std::uint32_t uiScript = load(in_strName, in_pScript);
    for (std::uint32_t i = 0; i < in_pScript->m_vDefinitions.size(); ++i)
        define(uiScript, i, in_strName + "." + in_pScript->m_vDefinitions[i].m_strName);
    for (const std::string& strReference : in_pScript->m_vReferences)
    {
        const std::uint32_t uiOwn = find(in_strName + "." + strReference);
        const bool bOwn = uiOwn != NONE && m_vSymbols[uiOwn].m_kind == Symbol::Kind::EXPRESSION;
        m_vScripts.back().m_vSymbols.push_back(bOwn ? uiOwn : intern(strReference));
    }
    return true;
}

void Program::addExpression(const std::string& in_strName, const std::shared_ptr<const Script>& in_pScript)
{
    define(load("", in_pScript), 0, in_strName);
    for (const std::string& strReference : in_pScript->m_vReferences)
        m_vScripts.back().m_vSymbols.push_back(intern(strReference));
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
    m_vPlans.clear();
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
    m_vPlans.clear();
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
            const std::uint32_t uiUsed =
                getScriptOf(step.m_uiSymbol).m_vSymbols[vNames[step.m_uiNext++].m_uiReference];
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
    QC_ERROR(getScriptOf(in_uiSymbol).m_pScript->where(getDefinition(in_uiSymbol).m_uiLine)
             << "cycle: " << strCycle << m_vSymbols[in_uiSymbol].m_strName
             << "; only prev(name, initial) may refer back");
    return false;
}

/// The line of an expression where a reference stands.
std::uint32_t Program::getLineOf(std::uint32_t in_uiSymbol, std::uint32_t in_uiReference) const
{
    const Definition& definition = getDefinition(in_uiSymbol);
    const std::vector<Node>& vNodes = getScriptOf(in_uiSymbol).m_pScript->m_vNodes;
    for (std::uint32_t i = definition.m_uiFirstNode; i <= definition.m_uiRoot; ++i)
        if ((vNodes[i].m_op == Op::NAME || vNodes[i].m_op == Op::PREVIOUS) &&
            vNodes[i].m_uiReference == in_uiReference)
            return vNodes[i].m_uiLine;
    return definition.m_uiLine;
}

void Program::reportUnknown(std::uint32_t in_uiSymbol, unsigned int& io_uiReported) const
{
    const Definition& definition = getDefinition(in_uiSymbol);
    const LoadedScript& script = getScriptOf(in_uiSymbol);
    std::vector<std::uint32_t> vReferences = definition.m_vPrevious;
    for (const Use& use : definition.m_vNames)
        vReferences.push_back(use.m_uiReference);
    std::sort(vReferences.begin(), vReferences.end());
    vReferences.erase(std::unique(vReferences.begin(), vReferences.end()), vReferences.end());
    for (const std::uint32_t uiReference : vReferences)
    {
        const std::string& strName = m_vSymbols[script.m_vSymbols[uiReference]].m_strName;
        if (isAvailable(script.m_vSymbols[uiReference]) || ++io_uiReported > MOST_REPORTED)
            continue;
        const std::size_t uiDot = strName.find('.');
        const bool bNoScript = uiDot != std::string::npos && !hasScript(strName.substr(0, uiDot));
        const char* hint = strName == "rate" ? ": the sampling rate was not set"
                           : bNoScript       ? ": that script was not added"
                                             : "";
        QC_ERROR(script.m_pScript->where(getLineOf(in_uiSymbol, uiReference))
                 << "unknown name '" << strName << "'" << hint);
    }
}

std::shared_ptr<Plan> Program::getPlan(const std::vector<std::uint32_t>& in_vLengths) const
{
    const std::lock_guard<std::mutex> lock(m_planMutex);
    for (const auto& pPlan : m_vPlans)
        if (pPlan->isFor(in_vLengths))
            return pPlan;
    auto pPlan = std::make_shared<Plan>(*this, in_vLengths);
    if (m_vPlans.size() == MOST_PLANS)
        m_vPlans.erase(m_vPlans.begin());
    m_vPlans.push_back(pPlan);
    return pPlan;
}

} // namespace Vexalor::Math::Xpr
