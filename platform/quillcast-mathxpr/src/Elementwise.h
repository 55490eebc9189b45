#pragma once

#include "Script.h"

#include <cmath>
#include <cstddef>

/// What the operators compute, for one value and for vectors.
namespace Vexalor::Math::Xpr
{

/// nan is false.
inline bool isTrue(double in_dValue)
{
    return std::fabs(in_dValue) > 0.0;
}

template <Op OP>
inline double apply(double in_dLeft, double in_dRight)
{
    // clang-format off
    switch (OP)
    {
    case Op::ADD: return in_dLeft + in_dRight;
    case Op::SUBTRACT: return in_dLeft - in_dRight;
    case Op::MULTIPLY: return in_dLeft * in_dRight;
    case Op::DIVIDE: return in_dLeft / in_dRight;
    case Op::MODULO: return std::fmod(in_dLeft, in_dRight);
    case Op::POWER: return std::pow(in_dLeft, in_dRight);
    case Op::LESS: return in_dLeft < in_dRight ? 1.0 : 0.0;
    case Op::LESS_EQUAL: return in_dLeft <= in_dRight ? 1.0 : 0.0;
    case Op::GREATER: return in_dLeft > in_dRight ? 1.0 : 0.0;
    case Op::GREATER_EQUAL: return in_dLeft >= in_dRight ? 1.0 : 0.0;
    case Op::EQUAL: return in_dLeft == in_dRight ? 1.0 : 0.0;
    case Op::NOT_EQUAL: return in_dLeft < in_dRight || in_dLeft > in_dRight ? 1.0 : 0.0;
    case Op::AND: return isTrue(in_dLeft) && isTrue(in_dRight) ? 1.0 : 0.0;
    case Op::OR: return isTrue(in_dLeft) || isTrue(in_dRight) ? 1.0 : 0.0;
    case Op::MINIMUM: return in_dRight < in_dLeft ? in_dRight : in_dLeft;
    case Op::MAXIMUM: return in_dLeft < in_dRight ? in_dRight : in_dLeft;
    case Op::NEGATE: return -in_dLeft;
    case Op::NOT: return isTrue(in_dLeft) ? 0.0 : 1.0;
    default: return 0.0;
    }
    // clang-format on
}

/// One value; operators of one argument do not look at the right one.
using Scalar = double (*)(double in_dLeft, double in_dRight);
/// out[i] = a[i] op b[i]; a side of one value is repeated.
using Elementwise = void (*)(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize,
                             double* out_pResult);

enum class Repeat
{
    NONE,
    LEFT,
    RIGHT
};

Scalar findScalar(Op in_op);
Elementwise findElementwise(Op in_op, Repeat in_repeat);

} // namespace Vexalor::Math::Xpr
