#pragma once

#include "Kernel.h"
#include "Script.h"

#include <cstdint>
#include <string>
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

/// What an instruction does with the values at A, B and C; it leaves its result at OUT.
enum class Code : std::uint8_t
{
    SCALAR,      ///< one value from those at A and B
    SELECT,      ///< the value at B if that at A is true, else that at C
    ELEMENTWISE, ///< SIZE values from those at A and B
    REDUCE,      ///< SIZE values at A, and at B, to one
    COPY,        ///< SIZE values at A
    FILL,        ///< SIZE times the value at A
    CHOOSE,      ///< SIZE values at B if the value at A is true, else at C
    ELEMENT,     ///< of the SIZE values at A the one whose index is at B; fails without one
    KERNEL,      ///< of the window at A; working memory at B
    // Control. A block computes what several places need, once a window.
    BRANCH, ///< over as many instructions as the target says, unless the value at A is true
    JUMP,   ///< over as many instructions as the target says
    CALL,   ///< the target block, unless it is done
    RETURN, ///< the target block is done
    FAIL
};

/// What an instruction calls.
union Routine
{
    const Kernel* m_pKernel = nullptr;
    Scalar m_pScalar;
    Elementwise m_pElementwise;
    Reduction m_pReduce;
};

struct Instruction
{
    Code m_code;
    std::uint32_t m_uiSize = 1;
    std::uint32_t m_uiA = 0;
    std::uint32_t m_uiB = 0;
    std::uint32_t m_uiC = 0;
    std::uint32_t m_uiOut = 0;
    std::uint32_t m_uiTarget = 0;
    const std::string* m_pFailure = nullptr; ///< of FAIL and ELEMENT
    Routine m_routine{};
};

/// The instruction of an operator, of an index, or of a function without tables that computes with values.
Instruction makeInstruction(const Node& in_node, const Slot& in_a, const Slot& in_b, const Slot& in_out);

/// One instruction that is not of control. False for an index out of range.
bool execute(const Instruction& in_instruction, double* io_pValues);

/// What one evaluator remembers of the blocks.
struct Progress
{
    std::vector<const Instruction*> m_vBlocks;  ///< the first instruction of each
    std::vector<std::uint64_t> m_vDone;         ///< the number of the values with which it was last computed
    std::vector<const Instruction*> m_vReturns; ///< room for as many as there are blocks
};

/// Computes a block, and what it calls, for the values of that number. Null, or the failure that it met.
const std::string* run(Progress& io_progress, std::uint32_t in_uiBlock, std::uint64_t in_uiValues,
                       double* io_pValues);

} // namespace Vexalor::Math::Xpr
