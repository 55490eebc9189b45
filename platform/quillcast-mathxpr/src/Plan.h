#pragma once

#include "Constants.h"
#include "Machine.h"
#include "Program.h"
#include "quillcast-mathxpr/Limits.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// What is known of a node for some lengths of the inputs.
struct Shape
{
    std::uint32_t m_uiLength = 0;
    bool m_bKnown = false;                   ///< depends on no input and no state
    const std::string* m_pFailure = nullptr; ///< why it has no value

    bool isFailed() const { return m_pFailure != nullptr; }
};

/// How to compute for one set of lengths of the inputs, whatever is looked up. The lengths of all nodes are
/// found first; a block is written when something that calls it is first asked for. All values have their
/// places in one array, of which each evaluator has its own. Shared by clones; whoever adds to it, or copies
/// from it, holds its mutex. What was handed out stays as it is. Whoever uses it keeps the program.
class Plan
{
public:
    static constexpr std::uint32_t NO_BLOCK = ~std::uint32_t(0);
    static inline const std::string TOO_MANY_VALUES =
        "the scripts need more than " + std::to_string(Limits::MAX_VALUES) + " values";

    /// Where a variable is, and the block that computes it.
    struct Place
    {
        Slot m_slot;
        std::uint32_t m_uiBlock = NO_BLOCK; ///< NO_BLOCK: there is nothing to compute
    };

    struct Block
    {
        Slot m_slot; ///< of no values if there was no room
        std::uint32_t m_uiSymbol;
        std::vector<Instruction> m_vCode;
    };

    Plan(const Program& in_program, const std::vector<std::uint32_t>& in_vLengths);

    bool isFor(const std::vector<std::uint32_t>& in_vLengths) const;
    const Slot& getInput(std::uint32_t in_uiInput) const { return m_vInputs[in_uiInput]; }
    std::mutex& getMutex() { return m_mutex; }

    /// Writes the blocks that the variable needs.
    Place prepare(std::uint32_t in_uiSymbol);
    /// Where the value of the window before is: after a value that is true if there is one. Empty for what
    /// cannot be computed or has no room.
    Slot getState(std::uint32_t in_uiSymbol);

    /// Of a variable.
    const Shape& getShape(std::uint32_t in_uiSymbol) const;
    std::uint32_t getBlock(std::uint32_t in_uiSymbol);
    bool hasRoom(std::size_t in_uiSize) const;
    /// A slot of no values when there is no room.
    Slot allocate(std::uint32_t in_uiSize);
    /// Keeps the text of a failure as long as itself.
    const std::string* keep(const std::string& in_strFailure);

    const Program& m_program;
    Constants m_constants;
    std::vector<Shape> m_vShapes; ///< one a node of the program
    std::vector<Slot> m_vSlots;   ///< one a node, for the block that is being written
    std::vector<double> m_vImage; ///< all values of a fresh evaluator
    std::vector<std::unique_ptr<Block>> m_vBlocks;

private:
    std::mutex m_mutex;
    std::vector<Slot> m_vInputs;
    std::vector<Shape> m_vInputShapes;
    std::unordered_map<std::uint32_t, std::uint32_t> m_blocks; ///< by symbol
    std::unordered_map<std::uint32_t, Slot> m_states;          ///< by symbol
    std::set<std::string> m_failures;
    std::uint32_t m_uiNbWritten = 0; ///< blocks whose code is there
};

/// Finds the lengths of all nodes of a plan before anything is computed; doc/expressions.md states the rule.
void findLengths(Plan& io_plan);

/// Writes the instructions of a block.
void writeBlock(Plan& io_plan, std::uint32_t in_uiBlock);

} // namespace Vexalor::Math::Xpr
