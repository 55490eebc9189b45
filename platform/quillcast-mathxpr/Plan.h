#pragma once

#include "quillcast-mathxpr/Elementwise.h"
#include "quillcast-mathxpr/Kernel.h"
#include "quillcast-mathxpr/Program.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vexalor::Math::Xpr
{

struct Instruction;

/// Computes one value from others: where an argument is the result of the instruction before, from in_dLast,
/// which is in a register. Stores the result and returns it.
using Scalar = double (*)(double in_dLast, const Instruction& in_instruction, double* io_pValues);

/// What an instruction does with the values at A, B and C; it leaves N values at OUT.
enum class Code : std::uint8_t
{
    SCALAR, ///< one value, by its function
    // Vectors.
    ELEMENTWISE,
    NEGATE_ALL,
    NOT_ALL,
    MAP_ALL,
    REDUCE,  ///< N values at A to one
    DOT,     ///< N values at A and B to one
    COPY,    ///< N values at A
    FILL,    ///< the one value at A
    ELEMENT, ///< of the N values at A, the one with the number at B
    KERNEL,  ///< working memory at B
    // Control. A block computes values that several places need, once a window.
    BRANCH, ///< to the target unless the value at A is true
    JUMP,
    CALL,   ///< the block, unless done
    RETURN, ///< the block is done
    FAIL
};

struct Instruction
{
    Code m_code = Code::SCALAR;
    Op m_op = Op::NUMBER; ///< of SCALAR; CALL is a function of one value, or a pair
    std::uint32_t m_uiSize = 0;
    std::uint32_t m_uiA = 0;
    std::uint32_t m_uiB = 0;
    std::uint32_t m_uiC = 0;
    std::uint32_t m_uiOut = 0;
    Scalar m_pScalar = nullptr;
    union
    {
        double (*m_pMap)(double);
        double (*m_pReduce)(const double*, std::size_t);
        Elementwise m_pElementwise;
        const Kernel* m_pKernel = nullptr;
        std::uint32_t m_uiTarget; ///< of control: an instruction, block or failure; the failure of ELEMENT
    };
};

/// Which argument of a scalar instruction is the result of the one before.
enum class Last
{
    NONE,
    A,
    B
};

/// The function of a scalar operation.
Scalar findScalar(Op in_op, Last in_last);

/// The function of two in a row: the second takes the result of the first as A or B, and the value at C. The
/// place of the first result is the size of the instruction. Null for operators other than + - * and /.
Scalar findPair(Op in_first, Last in_last, Op in_second, Last in_lastOfSecond);

/// Where the values of one variable are.
struct Slot
{
    std::uint32_t m_uiAt = 0;
    std::uint32_t m_uiSize = 0;
};

/// What a plan was made for.
struct PlanKey
{
    std::vector<std::uint32_t> m_vRoots;  ///< the symbols looked up, ascending
    std::vector<std::uint32_t> m_vInputs; ///< the lengths of all inputs

    friend bool operator==(const PlanKey&, const PlanKey&) = default;
};

/// The flat program for a set of looked-up variables and the lengths of the inputs. All values have their
/// places in one array. Shared by clones, never changed.
class Plan
{
public:
    static constexpr std::uint32_t NO_BLOCK = ~std::uint32_t(0);

    struct Root
    {
        std::uint32_t m_uiSymbol;
        Slot m_slot;
        std::uint32_t m_uiBlock; ///< NO_BLOCK: there is nothing to compute
    };

    struct State
    {
        std::uint32_t m_uiSymbol; ///< whose value is kept
        Slot m_slot;
        std::uint32_t m_uiNext; ///< where the new value waits while the other states are computed
        Slot m_target;          ///< the new value; as long as the state unless that failed
        std::uint32_t m_uiBlock;
    };

    const PlanKey& getKey() const { return m_key; }
    const Root* findRoot(std::uint32_t in_uiSymbol) const;

    PlanKey m_key;
    std::vector<Slot> m_vInputs;
    std::vector<Root> m_vRoots; ///< in the order of the key
    std::vector<State> m_vStates;
    std::vector<double> m_vImage; ///< all values of a fresh evaluator
    std::vector<Instruction> m_vCode;
    std::vector<std::uint32_t> m_vBlocks; ///< the first instruction of each
    std::vector<std::string> m_vFailures;
    std::vector<std::unique_ptr<const Kernel>> m_vKernels;
};

std::shared_ptr<const Plan> makePlan(const Program& in_program, const PlanKey& in_key);

/// Marks of the blocks that are done, and where to go on after them.
struct Marks
{
    std::uint64_t* m_pDone;   ///< a block's number of the values with which it was last computed
    std::uint64_t* m_pReturn; ///< as many as blocks
    std::uint64_t m_uiWindow;
};

constexpr std::uint32_t NO_FAILURE = ~std::uint32_t(0);

/// Runs from an instruction to the RETURN of its block. NO_FAILURE, or the failure that it met.
std::uint32_t run(const Instruction* in_pCode, const std::uint32_t* in_pBlocks, std::uint32_t in_uiFirst,
                  const Marks& in_marks, double* io_pValues);

} // namespace Vexalor::Math::Xpr
