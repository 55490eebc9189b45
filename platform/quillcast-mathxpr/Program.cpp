#include "quillcast-mathxpr/Program.h"

#include "quillcast-core/Logger.h"
#include "quillcast-mathxpr/Plan.h"

#include <algorithm>
#include <atomic>

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Program");

/// Plans for so many kinds of windows are kept.
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
    , m_vOrder(in_other.m_vOrder)
    , m_uiNbInputs(in_other.m_uiNbInputs)
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

const Definition& Program::getDefinition(const Symbol& in_symbol) const
{
    return getScriptOf(in_symbol).m_pScript->m_vDefinitions[in_symbol.m_uiDefinition];
}

void Program::takeNewRevision()
{
    static std::atomic<std::uint64_t> uiLast{0};
    m_uiRevision = ++uiLast;
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
    const auto uiScript = static_cast<std::uint32_t>(m_vScripts.size());
    m_vScripts.push_back({in_strName, in_pScript, {}});
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
    m_vScripts.push_back({"", in_pScript, {}});
    define(static_cast<std::uint32_t>(m_vScripts.size() - 1), 0, in_strName);
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

bool Program::hasAll(const Symbol& in_symbol) const
{
    const Definition& definition = getDefinition(in_symbol);
    const std::vector<std::uint32_t>& vSymbols = getScriptOf(in_symbol).m_vSymbols;
    const auto isHere = [&](std::uint32_t in_uiReference)
    {
        return isAvailable(vSymbols[in_uiReference]);
    };
    return std::all_of(definition.m_vNames.begin(), definition.m_vNames.end(), isHere) &&
           std::all_of(definition.m_vPrevious.begin(), definition.m_vPrevious.end(), isHere);
}

bool Program::link(bool in_bComplete)
{
    QC_TRACE("Math::Xpr::Program::link");
    m_bLinked = false;
    m_vPlans.clear();
    if (!sort())
        return false;
    // What misses something takes along what uses it, at last through the states of earlier windows.
    bool bAll = true;
    unsigned int uiReported = 0;
    for (bool bAgain = true; bAgain;)
    {
        bAgain = false;
        for (const std::uint32_t uiSymbol : m_vOrder)
        {
            Symbol& symbol = m_vSymbols[uiSymbol];
            if (!symbol.m_bLinked || hasAll(symbol))
                continue;
            if (in_bComplete)
                reportUnknown(symbol, uiReported);
            else
                symbol.m_bLinked = false;
            bAll = false;
            bAgain = !in_bComplete;
        }
    }
    if (in_bComplete && !bAll)
        return false;
    if (!bAll)
        std::erase_if(m_vOrder,
                      [&](std::uint32_t in_uiSymbol) { return !m_vSymbols[in_uiSymbol].m_bLinked; });
    m_bLinked = true;
    return true;
}

/// Brings all expressions into an order in which each comes behind those that it uses.
bool Program::sort()
{
    m_vOrder.clear();
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
            const Symbol& symbol = m_vSymbols[step.m_uiSymbol];
            const std::vector<std::uint32_t>& vNames = getDefinition(symbol).m_vNames;
            if (step.m_uiNext == vNames.size())
            {
                vVisits[step.m_uiSymbol] = Visit::DONE;
                m_vOrder.push_back(step.m_uiSymbol);
                vPath.pop_back();
                continue;
            }
            const std::uint32_t uiUsed = getScriptOf(symbol).m_vSymbols[vNames[step.m_uiNext++]];
            if (m_vSymbols[uiUsed].m_kind != Symbol::Kind::EXPRESSION || vVisits[uiUsed] == Visit::DONE)
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
    const Symbol& symbol = m_vSymbols[in_uiSymbol];
    std::string strCycle;
    std::size_t uiShown = 0;
    for (auto itStep = std::find(in_vPath.begin(), in_vPath.end(), in_uiSymbol); itStep != in_vPath.end();
         ++itStep)
        if (++uiShown <= MOST_SHOWN)
            strCycle += m_vSymbols[*itStep].m_strName + " -> ";
    if (uiShown > MOST_SHOWN)
        strCycle += "... -> ";
    QC_ERROR(getScriptOf(symbol).m_pScript->where(getDefinition(symbol).m_uiLine)
             << "cycle: " << strCycle << symbol.m_strName << "; only prev(name, initial) may refer back");
    return false;
}

/// The line of an expression where a reference stands.
std::uint32_t Program::getLineOf(const Symbol& in_symbol, std::uint32_t in_uiReference) const
{
    const Definition& definition = getDefinition(in_symbol);
    const std::vector<Node>& vNodes = getScriptOf(in_symbol).m_pScript->m_vNodes;
    for (std::uint32_t i = definition.m_uiFirstNode; i <= definition.m_uiRoot; ++i)
        if ((vNodes[i].m_op == Op::NAME || vNodes[i].m_op == Op::PREVIOUS) &&
            vNodes[i].m_uiReference == in_uiReference)
            return vNodes[i].m_uiLine;
    return definition.m_uiLine;
}

void Program::reportUnknown(const Symbol& in_symbol, unsigned int& io_uiReported) const
{
    const Definition& definition = getDefinition(in_symbol);
    const LoadedScript& script = getScriptOf(in_symbol);
    std::vector<std::uint32_t> vReferences = definition.m_vNames;
    vReferences.insert(vReferences.end(), definition.m_vPrevious.begin(), definition.m_vPrevious.end());
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
        QC_ERROR(script.m_pScript->where(getLineOf(in_symbol, uiReference))
                 << "unknown name '" << strName << "'" << hint);
    }
}

std::shared_ptr<const Plan> Program::getPlan(const PlanKey& in_key) const
{
    const std::lock_guard<std::mutex> lock(m_planMutex);
    for (const auto& pPlan : m_vPlans)
        if (pPlan->getKey() == in_key)
            return pPlan;
    auto pPlan = makePlan(*this, in_key);
    if (m_vPlans.size() == MOST_PLANS)
        m_vPlans.erase(m_vPlans.begin());
    m_vPlans.push_back(pPlan);
    return pPlan;
}

} // namespace Vexalor::Math::Xpr
