#include "Machine.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

namespace
{

double dot(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize)
{
    double dSum = 0.0;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        dSum += in_pLeft[i] * in_pRight[i];
    return dSum;
}

Instruction makeOperator(Op in_op, std::uint32_t in_uiLeft, std::uint32_t in_uiRight)
{
    Instruction instruction(Code::SCALAR);
    instruction.m_pScalar = findScalar(in_op);
    if (in_uiLeft == 1 && in_uiRight == 1)
        return instruction;
    instruction.m_code = Code::ELEMENTWISE;
    instruction.m_uiSize = in_uiLeft == 1 ? in_uiRight : in_uiLeft;
    instruction.m_pElementwise = findElementwise(in_op, in_uiLeft == in_uiRight ? Repeat::NONE
                                                        : in_uiLeft == 1        ? Repeat::LEFT
                                                                                : Repeat::RIGHT);
    return instruction;
}

} // namespace

Instruction makeInstruction(const Node& in_node, std::uint32_t in_uiLengthA, std::uint32_t in_uiLengthB)
{
    if (static_cast<std::size_t>(in_node.m_op) < NB_ELEMENTWISE)
        return makeOperator(in_node.m_op, in_uiLengthA, in_uiLengthB);
    Instruction instruction(Code::ELEMENT, in_uiLengthA);
    if (in_node.m_op != Op::CALL)
        return instruction;
    switch (in_node.m_pFunction->m_kind)
    {
    case Function::Kind::MAP:
        instruction.m_code = in_uiLengthA == 1 ? Code::SCALAR : Code::MAP;
        instruction.m_pScalar = in_node.m_pFunction->m_pMap;
        return instruction;
    case Function::Kind::DOT:
        instruction.m_code = Code::DOT;
        return instruction;
    default:
        instruction.m_code = Code::REDUCE;
        instruction.m_pReduce = in_node.m_pFunction->m_pReduce;
        return instruction;
    }
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
        *pOut = in_instruction.m_pScalar(*pA, *pB);
        return true;
    case Code::ELEMENTWISE:
        in_instruction.m_pElementwise(pA, pB, uiSize, pOut);
        return true;
    case Code::MAP:
        std::transform(pA, pA + uiSize, pA, pOut, in_instruction.m_pScalar);
        return true;
    case Code::REDUCE:
        *pOut = in_instruction.m_pReduce(pA, uiSize);
        return true;
    case Code::DOT:
        *pOut = dot(pA, pB, uiSize);
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
        in_instruction.m_pKernel->compute(pA, pOut, io_pValues + in_instruction.m_uiB);
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
            io_pValues[pNow->m_uiOut] = pNow->m_pScalar(io_pValues[pNow->m_uiA], io_pValues[pNow->m_uiB]);
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
