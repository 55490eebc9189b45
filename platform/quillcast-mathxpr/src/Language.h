#pragma once

#include <cmath>
#include <cstddef>
#include <string_view>

/// The operators, functions and named numbers of the language, each described in one row of a table.
namespace Vexalor::Math::Xpr
{

/// nan is false.
inline bool isTrue(double in_dValue)
{
    return std::fabs(in_dValue) > 0.0;
}

/// One value; what has one argument does not look at the right one.
using Scalar = double (*)(double in_dLeft, double in_dRight);
/// out[i] = a[i] op b[i]; a side of one value is repeated.
using Elementwise = void (*)(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize,
                             double* out_pResult);
/// A vector to one value; what has one argument does not look at the right one.
using Reduction = double (*)(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize);

/// What computes each value from those at its place in the arguments.
struct Operator
{
    enum class Form
    {
        BETWEEN, ///< a + b
        BEFORE,  ///< -a
        CALL     ///< abs(a); of several arguments, if there is a function of this name too
    };

    std::string_view m_strText;
    Form m_form;
    int m_iStrength; ///< how strongly it binds; 0 for calls
    Scalar m_pScalar;
    Elementwise m_pLoop; ///< for arguments of the same length
    Elementwise m_pLoopOfLeft;
    Elementwise m_pLoopOfRight; ///< these repeat the other side
};

constexpr int STRENGTH_COMPARISON = 4;
constexpr int STRENGTH_SIGN = 7;
constexpr int STRENGTH_POWER = 8;

/// Any other function.
struct Function
{
    enum class Kind
    {
        REDUCE,      ///< a vector, or two of one length, to one value
        SIZE,        ///< length
        RANGE,       ///< 0, 1, ..., n - 1
        TONE_ENERGY, ///< window, frequencies, rate
        LOG_MEL      ///< window, number of bands, rate, lower edge, upper edge
    };

    std::string_view m_strName;
    Kind m_kind;
    std::size_t m_uiLeastArguments;
    std::size_t m_uiMostArguments;
    Reduction m_pReduce;
    bool m_bTakesEmpty; ///< for reductions: has a value for a vector without values

    bool isKernel() const { return m_kind == Kind::TONE_ENERGY || m_kind == Kind::LOG_MEL; }
};

struct NamedNumber
{
    std::string_view m_strName;
    double m_dValue;
};

/// Null for what is none.
const Operator* findOperator(Operator::Form in_form, std::string_view in_strText);
const Function* findFunction(std::string_view in_strName);
const NamedNumber* findNumber(std::string_view in_strName);

/// Words of the language, functions and named numbers: nothing else can have these names.
bool isReserved(std::string_view in_strName);

} // namespace Vexalor::Math::Xpr
