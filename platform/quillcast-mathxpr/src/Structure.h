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

    /// Where the code of an expression stands.
    enum class Where : std::uint8_t
    {
        BLOCK, ///< apart: computed when it is called, and once a window
        AHEAD, ///< at the beginning of the block that uses it in any case
        INSIDE ///< at its only use
    };

    struct Place
    {
        Where m_where = Where::BLOCK;
        std::uint32_t m_uiBlock = NONE; ///< the symbol of the block that its code is in
        std::uint32_t m_uiDepth =
            0; ///< choices around its code in that block, and definitions inside of them
    };

    std::vector<std::uint32_t> m_vOrder; ///< the linked expressions, each after those that it uses
    /// Expressions that depend on each other, through earlier windows too: in the order of evaluation, after
    /// the components that they use.
    std::vector<std::vector<std::uint32_t>> m_vComponents;
    std::vector<Place> m_vPlaces; ///< one a symbol
    std::vector<std::vector<std::uint32_t>>
        m_vAheads; ///< of the block of a symbol, users before what they use
};

/// Fills the order. False when expressions use each other in the same window; out_vCycle then has one such
/// circle, each symbol before one that it uses.
bool findOrder(const Program& in_program, Structure& out_structure, std::vector<std::uint32_t>& out_vCycle);

/// Fills the rest for the order, from which expressions may have been taken.
void findStructure(const Program& in_program, Structure& io_structure);

} // namespace Vexalor::Math::Xpr
