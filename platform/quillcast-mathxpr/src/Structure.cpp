#include "Structure.h"

#include "Program.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

namespace
{

constexpr std::uint32_t NONE = Structure::NONE;

/// What is deeper inside of choices and definitions is a block, so that no recursion over them is deep.
constexpr std::uint32_t MOST_DEPTH = 50;

/// Strongly connected components of the expressions by depth-first search (R. Tarjan, "Depth-first search and
/// linear graph algorithms", SIAM Journal on Computing 1, 1972), without recursion.
class Search
{
public:
    Search(const Program& in_program, bool in_bEarlierToo)
        : m_program(in_program)
        , m_bEarlierToo(in_bEarlierToo)
        , m_vLowest(in_program.getSymbols().size(), NONE)
        , m_vComponents(in_program.getSymbols().size(), NONE)
    {
    }

    /// Everything that the expression uses, before it. With out_pCycle it stops, with false, at the first
    /// expression that uses itself.
    bool visit(std::uint32_t in_uiFirst, std::vector<std::uint32_t>* out_pCycle = nullptr)
    {
        if (m_vLowest[in_uiFirst] == NONE)
            enter(in_uiFirst);
        while (!m_vPath.empty())
        {
            Step& step = m_vPath.back();
            const std::vector<Use>& vUses = m_program.getDefinition(step.m_uiSymbol).m_vUses;
            if (step.m_uiNext == vUses.size())
            {
                leave();
                continue;
            }
            const Use& use = vUses[step.m_uiNext++];
            if (!m_program.isExpression(use.m_uiSymbol) || m_vComponents[use.m_uiSymbol] != NONE ||
                (use.m_kind == Use::Kind::EARLIER && !m_bEarlierToo))
                continue;
            if (m_vLowest[use.m_uiSymbol] == NONE)
                enter(use.m_uiSymbol);
            else if (out_pCycle == nullptr)
                m_vLowest[step.m_uiSymbol] = std::min(m_vLowest[step.m_uiSymbol], m_vLowest[use.m_uiSymbol]);
            else
            {
                out_pCycle->assign(std::find(m_vOpen.begin(), m_vOpen.end(), use.m_uiSymbol), m_vOpen.end());
                return false;
            }
        }
        return true;
    }

    /// By component, after those that it uses.
    const std::vector<std::uint32_t>& getFound() const { return m_vFound; }
    std::uint32_t getComponent(std::uint32_t in_uiSymbol) const { return m_vComponents[in_uiSymbol]; }
    std::uint32_t getNbComponents() const { return m_uiNbComponents; }

private:
    struct Step
    {
        std::uint32_t m_uiSymbol;
        std::size_t m_uiNext;     ///< of its uses
        std::uint32_t m_uiNumber; ///< in m_vOpen
    };

    void enter(std::uint32_t in_uiSymbol)
    {
        m_vLowest[in_uiSymbol] = static_cast<std::uint32_t>(m_vOpen.size());
        m_vPath.push_back({in_uiSymbol, 0, m_vLowest[in_uiSymbol]});
        m_vOpen.push_back(in_uiSymbol);
    }

    /// What has been opened since a symbol that reaches nothing before it is a component.
    void leave()
    {
        const Step step = m_vPath.back();
        const std::uint32_t uiLowest = m_vLowest[step.m_uiSymbol];
        m_vPath.pop_back();
        if (!m_vPath.empty())
            m_vLowest[m_vPath.back().m_uiSymbol] = std::min(m_vLowest[m_vPath.back().m_uiSymbol], uiLowest);
        if (uiLowest != step.m_uiNumber)
            return;
        for (std::size_t i = step.m_uiNumber; i < m_vOpen.size(); ++i)
            m_vComponents[m_vOpen[i]] = m_uiNbComponents;
        m_vFound.insert(m_vFound.end(), m_vOpen.begin() + step.m_uiNumber, m_vOpen.end());
        m_vOpen.resize(step.m_uiNumber);
        ++m_uiNbComponents;
    }

    const Program& m_program;
    bool m_bEarlierToo;
    std::vector<std::uint32_t> m_vLowest;     ///< number of an open symbol that is reached
    std::vector<std::uint32_t> m_vComponents; ///< NONE: still open, or not visited
    std::vector<std::uint32_t> m_vFound;
    std::vector<std::uint32_t> m_vOpen;
    std::vector<Step> m_vPath;
    std::uint32_t m_uiNbComponents = 0;
};

void findComponents(const Program& in_program, Structure& io_structure)
{
    Search search(in_program, true);
    for (const std::uint32_t uiSymbol : io_structure.m_vOrder)
        search.visit(uiSymbol);
    io_structure.m_vComponents.resize(search.getNbComponents());
    for (const std::uint32_t uiSymbol : io_structure.m_vOrder)
        io_structure.m_vComponents[search.getComponent(uiSymbol)].push_back(uiSymbol);
}

/// How an expression is used by those that compute with it.
struct Demand
{
    std::uint32_t m_uiNbUses = 0;
    std::uint32_t m_uiBlock = NONE; ///< that all uses are in
    std::uint32_t m_uiDepth = 0;    ///< of the latest one
    bool m_bInAnyCase = false;      ///< there is a use that no choice is around
    bool m_bApart = false;          ///< used in several blocks, or kept as a state
};

/// What one block needs is computed in it, once. All else is a block: what several need, what states keep,
/// what only some choices need, but in several places, and what takes long, which must not be computed again
/// when it is looked up by itself.
void findPlaces(const Program& in_program, Structure& io_structure)
{
    using Where = Structure::Where;
    std::vector<Demand> vDemands(in_program.getSymbols().size());
    io_structure.m_vPlaces.assign(vDemands.size(), {});
    io_structure.m_vAheads.assign(vDemands.size(), {});
    for (const std::uint32_t uiSymbol : io_structure.m_vOrder)
        for (const Use& use : in_program.getDefinition(uiSymbol).m_vUses)
            vDemands[use.m_uiSymbol].m_bApart |= use.m_kind == Use::Kind::EARLIER;
    // Users first: at its turn everything that needs a definition is known.
    for (auto itSymbol = io_structure.m_vOrder.rbegin(); itSymbol != io_structure.m_vOrder.rend(); ++itSymbol)
    {
        const Definition& definition = in_program.getDefinition(*itSymbol);
        const Demand& demand = vDemands[*itSymbol];
        Structure::Place& place = io_structure.m_vPlaces[*itSymbol];
        if (demand.m_bApart || definition.m_bSlow)
            place = {Where::BLOCK, *itSymbol, 0};
        else if (demand.m_bInAnyCase)
            place = {Where::AHEAD, demand.m_uiBlock, 0};
        else if (demand.m_uiNbUses == 1 && demand.m_uiDepth <= MOST_DEPTH)
            place = {Where::INSIDE, demand.m_uiBlock, demand.m_uiDepth + 1};
        else
            place = {Where::BLOCK, *itSymbol, 0};
        if (place.m_where == Where::AHEAD)
            io_structure.m_vAheads[place.m_uiBlock].push_back(*itSymbol);
        for (const Use& use : definition.m_vUses)
            if (use.m_kind == Use::Kind::VALUE)
            {
                Demand& used = vDemands[use.m_uiSymbol];
                used.m_bApart |= used.m_uiNbUses++ > 0 && used.m_uiBlock != place.m_uiBlock;
                used.m_uiBlock = place.m_uiBlock;
                used.m_uiDepth = place.m_uiDepth + use.m_uiNbChoices;
                used.m_bInAnyCase |= used.m_uiDepth == 0;
            }
    }
}

} // namespace

bool findOrder(const Program& in_program, Structure& out_structure, std::vector<std::uint32_t>& out_vCycle)
{
    Search search(in_program, false);
    for (std::uint32_t i = 0; i < in_program.getSymbols().size(); ++i)
        if (in_program.isExpression(i) && !search.visit(i, &out_vCycle))
            return false;
    out_structure.m_vOrder = search.getFound();
    return true;
}

void findStructure(const Program& in_program, Structure& io_structure)
{
    findComponents(in_program, io_structure);
    findPlaces(in_program, io_structure);
}

} // namespace Vexalor::Math::Xpr
