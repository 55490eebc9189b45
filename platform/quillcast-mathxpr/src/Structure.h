#pragma once

#include <cstdint>
#include <vector>

namespace Vexalor::Math::Xpr
{

class Program;

/// What follows from the references between the linked expressions, whatever the lengths are: found by link.
struct Structure
{
    static constexpr std::uint32_t NONE = ~std::uint32_t(0);

    /// What is computed together: a block or an arm of a choice. A definition that is needed whenever a scope
    /// is entered, and that only it and the scopes inside of it use, is computed in it, in straight code.
    struct Scope
    {
        std::uint32_t m_uiAround; ///< NONE for a block
        std::uint32_t m_uiDepth;
        std::vector<std::uint32_t> m_vDefinitions; ///< their symbols, each before those that it uses
    };

    /// For an expression; others have no scopes.
    struct Place
    {
        bool m_bBlock = false;          ///< computed when it is called, and once a window
        std::uint32_t m_uiScope = NONE; ///< where it is computed
        std::uint32_t m_uiFirstArm = 0; ///< scopes of its arms, but for the first one
    };

    /// The scope of an arm of a definition.
    std::uint32_t scopeOf(std::uint32_t in_uiSymbol, std::uint32_t in_uiArm) const
    {
        const Place& place = m_vPlaces[in_uiSymbol];
        return in_uiArm == 0 ? place.m_uiScope : place.m_uiFirstArm + in_uiArm - 1;
    }

    std::vector<std::uint32_t> m_vOrder; ///< the linked expressions, each after those that it uses
    /// Expressions that depend on each other, through earlier windows too: in the order of evaluation, after
    /// the components that they use.
    std::vector<std::vector<std::uint32_t>> m_vComponents;
    std::vector<Place> m_vPlaces; ///< one a symbol
    std::vector<Scope> m_vScopes;
};

/// Fills components, places and scopes for the order.
void findStructure(const Program& in_program, Structure& io_structure);

} // namespace Vexalor::Math::Xpr
