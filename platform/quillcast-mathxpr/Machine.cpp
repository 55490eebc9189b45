#include "quillcast-mathxpr/Plan.h"

#include <algorithm>
#include <utility>

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

template <Op OP, Last LAST>
double computeBinary(double in_dLast, const Instruction& in_instruction, double* io_pValues)
{
    const double dA = LAST == Last::A ? in_dLast : io_pValues[in_instruction.m_uiA];
    const double dB = LAST == Last::B ? in_dLast : io_pValues[in_instruction.m_uiB];
    return io_pValues[in_instruction.m_uiOut] = apply<OP>(dA, dB);
}

template <Op OP, Last LAST>
double computeOther(double in_dLast, const Instruction& in_instruction, double* io_pValues)
{
    const double dA = LAST == Last::A ? in_dLast : io_pValues[in_instruction.m_uiA];
    double& dOut = io_pValues[in_instruction.m_uiOut];
    if constexpr (OP == Op::NEGATE)
        dOut = -dA;
    else if constexpr (OP == Op::NOT)
        dOut = isTrue(dA) ? 0.0 : 1.0;
    else if constexpr (OP == Op::SELECT)
        dOut = io_pValues[isTrue(dA) ? in_instruction.m_uiB : in_instruction.m_uiC];
    else
        dOut = in_instruction.m_pMap(dA);
    return dOut;
}

template <Op FIRST, Last LAST, Op SECOND, Last LAST_OF_SECOND>
double computePair(double in_dLast, const Instruction& in_instruction, double* io_pValues)
{
    const double dA = LAST == Last::A ? in_dLast : io_pValues[in_instruction.m_uiA];
    const double dB = LAST == Last::B ? in_dLast : io_pValues[in_instruction.m_uiB];
    const double dFirst = apply<FIRST>(dA, dB);
    io_pValues[in_instruction.m_uiSize] = dFirst;
    const double dC = io_pValues[in_instruction.m_uiC];
    return io_pValues[in_instruction.m_uiOut] =
               LAST_OF_SECOND == Last::A ? apply<SECOND>(dFirst, dC) : apply<SECOND>(dC, dFirst);
}

constexpr std::size_t NB_PAIRED = static_cast<std::size_t>(Op::DIVIDE) + 1;

/// One entry for each first operator, second operator, last of the first and last of the second.
template <std::size_t... ENTRIES>
Scalar findPaired(std::size_t in_uiEntry, std::index_sequence<ENTRIES...>)
{
    static constexpr Scalar FUNCTIONS[] = {
        computePair < static_cast<Op>(ENTRIES / 6 / NB_PAIRED), static_cast<Last>(ENTRIES / 2 % 3),
        static_cast<Op>(ENTRIES / 6 % NB_PAIRED), ENTRIES % 2 == 0 ? Last::A : Last::B > ...};
    return FUNCTIONS[in_uiEntry];
}

template <std::size_t... OPS>
Scalar findBinary(Op in_op, Last in_last, std::index_sequence<OPS...>)
{
    static constexpr Scalar FUNCTIONS[][3] = {{computeBinary<static_cast<Op>(OPS), Last::NONE>,
                                               computeBinary<static_cast<Op>(OPS), Last::A>,
                                               computeBinary<static_cast<Op>(OPS), Last::B>}...};
    return FUNCTIONS[static_cast<std::size_t>(in_op)][static_cast<std::size_t>(in_last)];
}

template <Op OP>
Scalar chooseOther(Last in_last)
{
    return in_last == Last::A ? computeOther<OP, Last::A> : computeOther<OP, Last::NONE>;
}

} // namespace

Scalar findScalar(Op in_op, Last in_last)
{
    switch (in_op)
    {
    case Op::NEGATE:
        return chooseOther<Op::NEGATE>(in_last);
    case Op::NOT:
        return chooseOther<Op::NOT>(in_last);
    case Op::SELECT:
        return chooseOther<Op::SELECT>(in_last);
    case Op::CALL:
        return chooseOther<Op::CALL>(in_last);
    default:
        return findBinary(in_op, in_last, std::make_index_sequence<NB_BINARY>());
    }
}

Scalar findPair(Op in_first, Last in_last, Op in_second, Last in_lastOfSecond)
{
    const auto uiFirst = static_cast<std::size_t>(in_first);
    const auto uiSecond = static_cast<std::size_t>(in_second);
    if (uiFirst >= NB_PAIRED || uiSecond >= NB_PAIRED)
        return nullptr;
    return findPaired(((uiFirst * NB_PAIRED + uiSecond) * 3 + static_cast<std::size_t>(in_last)) * 2 +
                          (in_lastOfSecond == Last::A ? 0 : 1),
                      std::make_index_sequence<NB_PAIRED * NB_PAIRED * 6>());
}

std::uint32_t run(const Instruction* in_pCode, const std::uint32_t* in_pBlocks, std::uint32_t in_uiFirst,
                  const Marks& in_marks, double* io_pValues)
{
    std::uint32_t uiReturns = 0;
    double dLast = 0.0;
    for (const Instruction* pNow = in_pCode + in_uiFirst;; ++pNow)
    {
        while (pNow->m_code == Code::SCALAR)
        {
            dLast = pNow->m_pScalar(dLast, *pNow, io_pValues);
            ++pNow;
        }
        switch (pNow->m_code)
        {
        case Code::BRANCH:
            if (!isTrue(io_pValues[pNow->m_uiA]))
                pNow = in_pCode + pNow->m_uiTarget - 1;
            break;
        case Code::JUMP:
            pNow = in_pCode + pNow->m_uiTarget - 1;
            break;
        case Code::CALL:
            if (in_marks.m_pDone[pNow->m_uiTarget] == in_marks.m_uiWindow)
                break;
            in_marks.m_pReturn[uiReturns++] = static_cast<std::uint64_t>(pNow - in_pCode);
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
