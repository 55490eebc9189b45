#include "quillcast-mathxpr/Plan.h"

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

/// The instructions on vectors. False for an index out of range.
bool runVector(const Instruction& in_instruction, double* io_pValues)
{
    const double* pA = io_pValues + in_instruction.m_uiA;
    const double* pB = io_pValues + in_instruction.m_uiB;
    double* pOut = io_pValues + in_instruction.m_uiOut;
    const std::size_t uiSize = in_instruction.m_uiSize;
    switch (in_instruction.m_code)
    {
    case Code::ELEMENTWISE:
        in_instruction.m_pElementwise(pA, pB, uiSize, pOut);
        return true;
    case Code::NEGATE_ALL:
        std::transform(pA, pA + uiSize, pOut, [](double x) { return -x; });
        return true;
    case Code::NOT_ALL:
        std::transform(pA, pA + uiSize, pOut, [](double x) { return isTrue(x) ? 0.0 : 1.0; });
        return true;
    case Code::MAP_ALL:
        std::transform(pA, pA + uiSize, pOut, in_instruction.m_pMap);
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

} // namespace

std::uint32_t run(const Instruction* in_pCode, const std::uint32_t* in_pBlocks, std::uint32_t in_uiFirst,
                  const Marks& in_marks, double* io_pValues)
{
    std::uint32_t uiReturns = 0;
    for (const Instruction* pNow = in_pCode + in_uiFirst;; ++pNow)
    {
        const double dA = io_pValues[pNow->m_uiA];
        const double dB = io_pValues[pNow->m_uiB];
        double& dOut = io_pValues[pNow->m_uiOut];
        // clang-format off
        switch (pNow->m_code)
        {
        case Code::ADD: dOut = dA + dB; break;
        case Code::SUBTRACT: dOut = dA - dB; break;
        case Code::MULTIPLY: dOut = dA * dB; break;
        case Code::DIVIDE: dOut = dA / dB; break;
        case Code::MODULO: dOut = apply<Op::MODULO>(dA, dB); break;
        case Code::POWER: dOut = apply<Op::POWER>(dA, dB); break;
        case Code::LESS: dOut = apply<Op::LESS>(dA, dB); break;
        case Code::LESS_EQUAL: dOut = apply<Op::LESS_EQUAL>(dA, dB); break;
        case Code::GREATER: dOut = apply<Op::GREATER>(dA, dB); break;
        case Code::GREATER_EQUAL: dOut = apply<Op::GREATER_EQUAL>(dA, dB); break;
        case Code::EQUAL: dOut = apply<Op::EQUAL>(dA, dB); break;
        case Code::NOT_EQUAL: dOut = apply<Op::NOT_EQUAL>(dA, dB); break;
        case Code::AND: dOut = apply<Op::AND>(dA, dB); break;
        case Code::OR: dOut = apply<Op::OR>(dA, dB); break;
        case Code::MINIMUM: dOut = apply<Op::MINIMUM>(dA, dB); break;
        case Code::MAXIMUM: dOut = apply<Op::MAXIMUM>(dA, dB); break;
        case Code::NEGATE: dOut = -dA; break;
        case Code::NOT: dOut = isTrue(dA) ? 0.0 : 1.0; break;
        case Code::MAP: dOut = pNow->m_pMap(dA); break;
        case Code::SELECT: dOut = isTrue(dA) ? dB : io_pValues[pNow->m_uiC]; break;
        // clang-format on
        case Code::BRANCH:
            if (!isTrue(dA))
                pNow = in_pCode + pNow->m_uiTarget - 1;
            break;
        case Code::JUMP:
            pNow = in_pCode + pNow->m_uiTarget - 1;
            break;
        case Code::CALL:
            if (in_marks.m_pDone[pNow->m_uiTarget] == in_marks.m_uiWindow)
                break;
            in_marks.m_pReturn[uiReturns++] = static_cast<std::uint32_t>(pNow - in_pCode);
            pNow = in_pCode + in_pBlocks[pNow->m_uiTarget] - 1;
            break;
        case Code::RETURN:
            in_marks.m_pDone[pNow->m_uiTarget] = in_marks.m_uiWindow;
            if (uiReturns == 0)
                return NO_FAILURE;
            pNow = in_pCode + in_marks.m_pReturn[--uiReturns];
            break;
        case Code::FAIL:
            return pNow->m_uiTarget;
        default:
            if (!runVector(*pNow, io_pValues))
                return pNow->m_uiTarget;
        }
    }
}

} // namespace Vexalor::Math::Xpr
