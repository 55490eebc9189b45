#pragma once

#include "Machine.h"
#include "Program.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// Where a vector is among the values of an evaluator.
struct Slot
{
    std::uint32_t m_uiAt = 0;
    std::uint32_t m_uiSize = 0;

    friend bool operator==(const Slot&, const Slot&) = default;
};

/// What is known of a node for some lengths of the inputs.
struct Shape
{
    static constexpr std::uint32_t NONE = ~std::uint32_t(0);

    std::uint32_t m_uiLength = 0;
    bool m_bKnown = false;           ///< depends on no input and no state
    std::uint32_t m_uiFailed = NONE; ///< the number of the node because of which it has no value

    bool isFailed() const { return m_uiFailed != NONE; }
};

/// How to compute for one set of lengths of the inputs, whatever is looked up. The lengths of all nodes are
/// found first; a block is written when something that calls it is first asked for. All values have their
/// places in one array, of which each evaluator has its own. Shared by clones; whoever adds to it, or copies
/// from it, holds its mutex. What was handed out stays as it is. Whoever uses it keeps the program.
class Plan
{
public:
    static constexpr std::uint32_t NO_BLOCK = ~std::uint32_t(0);

    /// Where a variable is, and the block that computes it.
    struct Place
    {
        Slot m_slot;
        std::uint32_t m_uiBlock = NO_BLOCK; ///< NO_BLOCK: there is nothing to compute
    };

    struct Block
    {
        Slot m_slot;
        bool m_bHasRoom; ///< else the slot is none
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
    bool allocate(std::uint32_t in_uiSize, Slot& out_slot);
    /// For a window of that length. Null, with the reason, when the settings make no sense for it.
    const Kernel* getKernel(const Function& in_function, std::uint32_t in_uiWindow,
                            const std::vector<const std::vector<double>*>& in_vSettings,
                            std::string& out_strReason);

    std::vector<Shape> m_vShapes; ///< one a node of the program
    // One a node, for the definition that is being written.
    std::vector<bool> m_vNeeded;
    std::vector<Slot> m_vSlots;
    std::unordered_map<std::uint32_t, std::string> m_failures;          ///< by the number of the node
    std::deque<std::string> m_vLateFailures;                            ///< met while blocks were written
    std::unordered_map<std::uint32_t, std::vector<double>> m_constants; ///< by the number of the node
    std::size_t m_uiNbConstants = 0;                                    ///< values in them
    std::vector<double> m_vImage;                                       ///< all values of a fresh evaluator
    std::vector<std::unique_ptr<Block>> m_vBlocks;

private:
    const Program& m_program;
    std::mutex m_mutex;
    std::vector<Slot> m_vInputs;
    std::vector<Shape> m_vInputShapes;
    std::unordered_map<std::uint32_t, std::uint32_t> m_blocks; ///< by symbol
    std::unordered_map<std::uint32_t, Slot> m_states;          ///< by symbol
    std::map<std::vector<std::uint64_t>, std::unique_ptr<const Kernel>> m_kernels;
    std::size_t m_uiTableSize = 0;
    std::uint32_t m_uiNbWritten = 0; ///< blocks whose code is there
};

} // namespace Vexalor::Math::Xpr
