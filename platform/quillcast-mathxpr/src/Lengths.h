#pragma once

#include "Constants.h"
#include "Plan.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// Finds the lengths of all nodes of a program before anything is computed; doc/expressions.md states the
/// rule. The lengths of states that depend on themselves are tried until they settle.
class Lengths
{
public:
    Lengths(const Program& in_program, Plan& io_plan);

    void find();

private:
    static constexpr std::uint32_t UNSET = ~std::uint32_t(0);

    /// Of a symbol, while its component is settled.
    struct Trial
    {
        std::uint32_t m_uiLength = UNSET; ///< of its state; UNSET: that of the initial value
        std::size_t m_uiResized = 0;
        bool m_bRefused = false;
        bool m_bOpen = false; ///< belongs to the component that is being settled
        // Positions in the component.
        std::vector<std::uint32_t> m_vUsers;
        std::vector<std::uint32_t> m_vLaterUsers; ///< through prev
    };

    void settle(const std::vector<std::uint32_t>& in_vComponent);
    std::size_t open(const std::vector<std::uint32_t>& in_vComponent);
    bool resize(std::uint32_t in_uiSymbol, std::size_t in_uiMost);
    void measure(std::uint32_t in_uiSymbol);

    Shape shapeOf(const Node& in_node);
    Shape shapeOfPrevious(const Node& in_node);
    Shape shapeOfSelect();
    Shape shapeOfOperator();
    Shape shapeOfVector();
    Shape shapeOfIndex();
    Shape shapeOfSlice();
    Shape shapeOfCall(const Node& in_node);
    Shape shapeOfKernel(const Node& in_node);
    Shape fail(const std::string& in_strReason);

    // Of the node that is measured.
    const Shape& argument(std::uint32_t in_uiIndex) const;
    bool areKnown(std::uint32_t in_uiFirst) const;
    const std::vector<double>* constant(std::uint32_t in_uiIndex);
    bool toWhole(std::uint32_t in_uiIndex, std::size_t in_uiMost, std::uint32_t& out_uiNumber);

    const Program& m_program;
    Plan& m_plan;
    Constants m_constants;
    std::vector<Trial> m_vTrials; ///< one a symbol
    std::uint32_t m_uiNode = 0;   ///< that is measured
};

} // namespace Vexalor::Math::Xpr
