#include "Structure.h"

#include "Program.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

namespace
{

constexpr std::uint32_t NONE = Structure::NONE;

/// Deeper scopes hold no definitions, so that no recursion over them is deep.
constexpr std::uint32_t MOST_DEPTH = 50;

/// Strongly connected components by depth first search (R. Tarjan, "Depth-first search and linear graph
/// algorithms", SIAM Journal on Computing 1, 1972), without recursion.
class ComponentFinder
{
public:
    ComponentFinder(const Program& in_program, Structure& io_structure)
        : m_program(in_program)
        , m_structure(io_structure)
        , m_vNumbers(in_program.getSymbols().size(), NONE)
        , m_vLowest(in_program.getSymbols().size(), NONE)
        , m_vPositions(in_program.getSymbols().size(), NONE)
    {
    }

    void find()
    {
        for (std::uint32_t i = 0; i < m_structure.m_vOrder.size(); ++i)
            m_vPositions[m_structure.m_vOrder[i]] = i;
        for (const std::uint32_t uiSymbol : m_structure.m_vOrder)
            if (m_vNumbers[uiSymbol] == NONE)
                visit(uiSymbol);
    }

private:
    struct Step
    {
        std::uint32_t m_uiSymbol;
        std::vector<std::uint32_t> m_vUsed; ///< still to be visited
    };

    void enter(std::uint32_t in_uiSymbol)
    {
        m_vNumbers[in_uiSymbol] = m_vLowest[in_uiSymbol] = m_uiNext++;
        m_vOpen.push_back(in_uiSymbol);
        m_vPath.push_back({in_uiSymbol, m_program.getUsed(in_uiSymbol)});
    }

    void visit(std::uint32_t in_uiFirst)
    {
        enter(in_uiFirst);
        while (!m_vPath.empty())
        {
            Step& step = m_vPath.back();
            std::uint32_t& uiLowest = m_vLowest[step.m_uiSymbol];
            if (step.m_vUsed.empty())
            {
                const std::uint32_t uiDone = step.m_uiSymbol;
                m_vPath.pop_back();
                if (!m_vPath.empty())
                    m_vLowest[m_vPath.back().m_uiSymbol] =
                        std::min(m_vLowest[m_vPath.back().m_uiSymbol], uiLowest);
                if (uiLowest == m_vNumbers[uiDone])
                    close(uiDone);
                continue;
            }
            const std::uint32_t uiUsed = step.m_vUsed.back();
            step.m_vUsed.pop_back();
            if (m_vPositions[uiUsed] == NONE) // no expression, or its component is closed
                continue;
            if (m_vNumbers[uiUsed] == NONE)
                enter(uiUsed);
            else
                uiLowest = std::min(uiLowest, m_vNumbers[uiUsed]);
        }
    }

    /// What has been opened since that symbol, with it, is a component.
    void close(std::uint32_t in_uiSymbol)
    {
        const auto itFirst = std::find(m_vOpen.rbegin(), m_vOpen.rend(), in_uiSymbol).base() - 1;
        std::vector<std::uint32_t>& vComponent =
            m_structure.m_vComponents.emplace_back(itFirst, m_vOpen.end());
        m_vOpen.erase(itFirst, m_vOpen.end());
        std::sort(vComponent.begin(), vComponent.end(),
                  [&](std::uint32_t in_uiLeft, std::uint32_t in_uiRight)
                  { return m_vPositions[in_uiLeft] < m_vPositions[in_uiRight]; });
        for (const std::uint32_t uiSymbol : vComponent)
            m_vPositions[uiSymbol] = NONE;
    }

    const Program& m_program;
    Structure& m_structure;
    std::vector<std::uint32_t> m_vNumbers; ///< in the order of the search
    std::vector<std::uint32_t> m_vLowest;  ///< number of an open symbol that is reached
    std::vector<std::uint32_t> m_vPositions;
    std::vector<std::uint32_t> m_vOpen;
    std::vector<Step> m_vPath;
    std::uint32_t m_uiNext = 0;
};

/// Decides where each definition is computed. What one scope needs is computed in it; what several need, with
/// none around them that needs it too, is a block, and so is what states keep and what takes long, which must
/// not be computed again when it is looked up by itself.
class Placer
{
public:
    Placer(const Program& in_program, Structure& io_structure)
        : m_program(in_program)
        , m_structure(io_structure)
        , m_vDemands(in_program.getSymbols().size())
    {
        m_structure.m_vPlaces.assign(in_program.getSymbols().size(), {});
    }

    void place()
    {
        for (const std::uint32_t uiSymbol : m_structure.m_vOrder)
            for (const std::uint32_t uiPrevious : m_program.getDefinition(uiSymbol).m_vPrevious)
                m_vDemands[uiPrevious].m_bSeveral = true;
        // Users first: at its turn everything that needs a definition is known.
        for (std::size_t i = m_structure.m_vOrder.size(); i-- > 0;)
            place(m_structure.m_vOrder[i]);
    }

private:
    struct Demand
    {
        std::uint32_t m_uiScope = NONE; ///< the innermost that holds all that need it
        bool m_bThere = false;          ///< it is needed in that scope itself
        bool m_bSeveral = false;        ///< there is none
    };

    void place(std::uint32_t in_uiSymbol)
    {
        const Definition& definition = m_program.getDefinition(in_uiSymbol);
        const Demand& demand = m_vDemands[in_uiSymbol];
        Structure::Place& place = m_structure.m_vPlaces[in_uiSymbol];
        place.m_bBlock = demand.m_bSeveral || !demand.m_bThere || definition.m_bSlow ||
                         m_structure.m_vScopes[demand.m_uiScope].m_uiDepth >= MOST_DEPTH;
        place.m_uiScope = place.m_bBlock ? addScope(NONE) : demand.m_uiScope;
        if (!place.m_bBlock)
            m_structure.m_vScopes[place.m_uiScope].m_vDefinitions.push_back(in_uiSymbol);
        place.m_uiFirstArm = static_cast<std::uint32_t>(m_structure.m_vScopes.size());
        for (std::size_t i = 1; i < definition.m_vArms.size(); ++i)
            addScope(m_structure.scopeOf(in_uiSymbol, definition.m_vArms[i]));
        for (const Use& use : definition.m_vNames)
            if (use.m_uiArm != Use::LENGTH_ONLY)
                need(use.m_uiSymbol, m_structure.scopeOf(in_uiSymbol, use.m_uiArm));
    }

    std::uint32_t addScope(std::uint32_t in_uiAround)
    {
        m_structure.m_vScopes.push_back(
            {in_uiAround, in_uiAround == NONE ? 0 : m_structure.m_vScopes[in_uiAround].m_uiDepth + 1, {}});
        return static_cast<std::uint32_t>(m_structure.m_vScopes.size() - 1);
    }

    void need(std::uint32_t in_uiSymbol, std::uint32_t in_uiScope)
    {
        Demand& demand = m_vDemands[in_uiSymbol];
        if (demand.m_bSeveral)
            return;
        const std::uint32_t uiScope =
            demand.m_uiScope == NONE ? in_uiScope : innermostOf(demand.m_uiScope, in_uiScope);
        demand.m_bSeveral = uiScope == NONE;
        demand.m_bThere = uiScope == in_uiScope || (uiScope == demand.m_uiScope && demand.m_bThere);
        demand.m_uiScope = uiScope;
    }

    /// NONE when they lie in different blocks.
    std::uint32_t innermostOf(std::uint32_t in_uiScope, std::uint32_t in_uiOther) const
    {
        const std::vector<Structure::Scope>& vScopes = m_structure.m_vScopes;
        while (in_uiScope != in_uiOther)
        {
            std::uint32_t& uiDeeper =
                vScopes[in_uiScope].m_uiDepth >= vScopes[in_uiOther].m_uiDepth ? in_uiScope : in_uiOther;
            uiDeeper = vScopes[uiDeeper].m_uiAround;
            if (uiDeeper == NONE)
                return NONE;
        }
        return in_uiScope;
    }

    const Program& m_program;
    Structure& m_structure;
    std::vector<Demand> m_vDemands;
};

} // namespace

void findStructure(const Program& in_program, Structure& io_structure)
{
    ComponentFinder(in_program, io_structure).find();
    Placer(in_program, io_structure).place();
}

} // namespace Vexalor::Math::Xpr
