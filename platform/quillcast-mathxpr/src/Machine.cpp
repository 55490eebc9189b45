#include "Machine.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

Instruction makeInstruction(const Node& in_node, const Slot& in_a, const Slot& in_b, const Slot& in_out)
{
    Instruction instruction{.m_code = Code::ELEMENT,
                            .m_uiSize = in_a.m_uiSize,
                            .m_uiA = in_a.m_uiAt,
                            .m_uiB = in_b.m_uiAt,
                            .m_uiOut = in_out.m_uiAt};
    if (in_node.m_op == Op::CALL)
    {
        instruction.m_code = Code::REDUCE;
        instruction.m_routine.m_pReduce = in_node.m_pFunction->m_pReduce;
    }
    else if (in_node.m_op == Op::OPERATOR && in_a.m_uiSize == 1 && in_b.m_uiSize == 1)
    {
        instruction.m_code = Code::SCALAR;
        instruction.m_routine.m_pScalar = in_node.m_pOperator->m_pScalar;
    }
    else if (in_node.m_op == Op::OPERATOR)
    {
        instruction.m_code = Code::ELEMENTWISE;
        instruction.m_uiSize = in_out.m_uiSize;
        instruction.m_routine.m_pElementwise = in_a.m_uiSize == in_b.m_uiSize ? in_node.m_pOperator->m_pLoop
                                               : in_a.m_uiSize == 1 ? in_node.m_pOperator->m_pLoopOfRight
                                                                    : in_node.m_pOperator->m_pLoopOfLeft;
    }
    return instruction;
}

bool execute(const Instruction& in_instruction, double* io_pValues)
{
    const double* pA = io_pValues + in_instruction.m_uiA;
    const double* pB = io_pValues + in_instruction.m_uiB;
    double* pOut = io_pValues + in_instruction.m_uiOut;
    const std::size_t uiSize = in_instruction.m_uiSize;
    switch (in_instruction.m_code)
    {
    case Code::SCALAR:
        *pOut = in_instruction.m_routine.m_pScalar(*pA, *pB);
        return true;
    case Code::ELEMENTWISE:
        in_instruction.m_routine.m_pElementwise(pA, pB, uiSize, pOut);
        return true;
    case Code::REDUCE:
        *pOut = in_instruction.m_routine.m_pReduce(pA, pB, uiSize);
        return true;
    case Code::COPY:
        std::copy_n(pA, uiSize, pOut);
        return true;
    case Code::FILL:
        std::fill_n(pOut, uiSize, *pA);
        return true;
    case Code::CHOOSE:
        std::copy_n(isTrue(*pA) ? pB : io_pValues + in_instruction.m_uiC, uiSize, pOut);
        return true;
    case Code::ELEMENT:
        if (!(*pB >= 0.0 && *pB < static_cast<double>(uiSize) && std::floor(*pB) == *pB))
            return false;
        *pOut = pA[static_cast<std::size_t>(*pB)];
        return true;
    default:
        in_instruction.m_routine.m_pKernel->compute(pA, pOut, io_pValues + in_instruction.m_uiB);
        return true;
    }
}

const std::string* run(Progress& io_progress, std::uint32_t in_uiBlock, std::uint64_t in_uiValues,
                       double* io_pValues)
{
    std::size_t uiReturns = 0;
    for (const Instruction* pNow = io_progress.m_vBlocks[in_uiBlock];; ++pNow)
    {
        for (; pNow->m_code == Code::SCALAR; ++pNow)
            io_pValues[pNow->m_uiOut] =
                pNow->m_routine.m_pScalar(io_pValues[pNow->m_uiA], io_pValues[pNow->m_uiB]);
        switch (pNow->m_code)
        {
        case Code::SELECT:
            io_pValues[pNow->m_uiOut] =
                isTrue(io_pValues[pNow->m_uiA]) ? io_pValues[pNow->m_uiB] : io_pValues[pNow->m_uiC];
            break;
        case Code::BRANCH:
            if (!isTrue(io_pValues[pNow->m_uiA]))
                pNow += pNow->m_uiTarget;
            break;
        case Code::JUMP:
            pNow += pNow->m_uiTarget;
            break;
        case Code::CALL:
            if (io_progress.m_vDone[pNow->m_uiTarget] == in_uiValues)
                break;
            io_progress.m_vReturns[uiReturns++] = pNow;
            pNow = io_progress.m_vBlocks[pNow->m_uiTarget] - 1;
            break;
        case Code::RETURN:
            io_progress.m_vDone[pNow->m_uiTarget] = in_uiValues;
            if (uiReturns == 0)
                return nullptr;
            pNow = io_progress.m_vReturns[--uiReturns];
            break;
        case Code::FAIL:
            return pNow->m_pFailure;
        default:
            if (!execute(*pNow, io_pValues))
                return pNow->m_pFailure;
        }
    }
}

} // namespace Vexalor::Math::Xpr
