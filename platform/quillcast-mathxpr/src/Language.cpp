#include "Language.h"

#include "quillcast-math/SignalKernels.h"

#include <algorithm>
#include <limits>
#include <numbers>

namespace Vexalor::Math::Xpr
{

namespace
{

using Form = Operator::Form;
using Kind = Function::Kind;

/// The formula is the type of a lambda, so that each loop is compiled for its own.
template <class Formula, bool REPEAT_LEFT, bool REPEAT_RIGHT>
void loop(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize,
          double* __restrict out_pResult)
{
    const double dLeft = *in_pLeft;
    const double dRight = *in_pRight;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        out_pResult[i] = Formula{}(REPEAT_LEFT ? dLeft : in_pLeft[i], REPEAT_RIGHT ? dRight : in_pRight[i]);
}

template <class Formula>
constexpr Operator row(std::string_view in_strText, Form in_form, int in_iStrength, Formula in_formula)
{
    return {in_strText,
            in_form,
            in_iStrength,
            in_formula,
            loop<Formula, false, false>,
            loop<Formula, false, true>,
            loop<Formula, true, false>};
}

template <class Formula>
constexpr Operator infix(std::string_view in_strText, int in_iStrength, Formula in_formula)
{
    return row(in_strText, Form::BETWEEN, in_iStrength, in_formula);
}

/// Of one argument.
template <class Formula>
constexpr Operator mapping(std::string_view in_strName, Formula in_formula)
{
    return row(in_strName, Form::CALL, 0, in_formula);
}

constexpr double truth(bool in_bTrue)
{
    return in_bTrue ? 1.0 : 0.0;
}

constexpr Operator OPERATORS[] = {
    infix("or", 1, [](double x, double y) { return truth(isTrue(x) || isTrue(y)); }),
    infix("and", 2, [](double x, double y) { return truth(isTrue(x) && isTrue(y)); }),
    row("not", Form::BEFORE, 3, [](double x, double) { return truth(!isTrue(x)); }),
    infix("<", STRENGTH_COMPARISON, [](double x, double y) { return truth(x < y); }),
    infix("<=", STRENGTH_COMPARISON, [](double x, double y) { return truth(x <= y); }),
    infix(">", STRENGTH_COMPARISON, [](double x, double y) { return truth(x > y); }),
    infix(">=", STRENGTH_COMPARISON, [](double x, double y) { return truth(x >= y); }),
    infix("==", STRENGTH_COMPARISON, [](double x, double y) { return truth(x == y); }),
    infix("!=", STRENGTH_COMPARISON, [](double x, double y) { return truth(x < y || x > y); }),
    infix("+", 5, [](double x, double y) { return x + y; }),
    infix("-", 5, [](double x, double y) { return x - y; }),
    infix("*", 6, [](double x, double y) { return x * y; }),
    infix("/", 6, [](double x, double y) { return x / y; }),
    infix("%", 6, [](double x, double y) { return std::fmod(x, y); }),
    row("-", Form::BEFORE, STRENGTH_SIGN, [](double x, double) { return -x; }),
    infix("^", STRENGTH_POWER, [](double x, double y) { return std::pow(x, y); }),
    mapping("abs", [](double x, double) { return std::fabs(x); }),
    mapping("sqrt", [](double x, double) { return std::sqrt(x); }),
    mapping("exp", [](double x, double) { return std::exp(x); }),
    mapping("log", [](double x, double) { return std::log(x); }),
    mapping("log10", [](double x, double) { return std::log10(x); }),
    mapping("sin", [](double x, double) { return std::sin(x); }),
    mapping("cos", [](double x, double) { return std::cos(x); }),
    mapping("tan", [](double x, double) { return std::tan(x); }),
    mapping("atan", [](double x, double) { return std::atan(x); }),
    mapping("tanh", [](double x, double) { return std::tanh(x); }),
    mapping("floor", [](double x, double) { return std::floor(x); }),
    mapping("ceil", [](double x, double) { return std::ceil(x); }),
    mapping("round", [](double x, double) { return std::round(x); }),
    mapping("isnan", [](double x, double) { return truth(std::isnan(x)); }),
    row("min", Form::CALL, 0, [](double x, double y) { return y < x ? y : x; }),
    row("max", Form::CALL, 0, [](double x, double y) { return x < y ? y : x; }),
};

double sum(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    double dSum = 0.0;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        dSum += in_pValues[i];
    return dSum;
}

double dot(const double* in_pLeft, const double* in_pRight, std::size_t in_uiSize)
{
    double dSum = 0.0;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        dSum += in_pLeft[i] * in_pRight[i];
    return dSum;
}

double mean(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return sum(in_pValues, nullptr, in_uiSize) / static_cast<double>(in_uiSize);
}

double indexOfMinimum(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return static_cast<double>(std::min_element(in_pValues, in_pValues + in_uiSize) - in_pValues);
}

double indexOfMaximum(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return static_cast<double>(std::max_element(in_pValues, in_pValues + in_uiSize) - in_pValues);
}

double minimum(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return *std::min_element(in_pValues, in_pValues + in_uiSize);
}

double maximum(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return *std::max_element(in_pValues, in_pValues + in_uiSize);
}

double energy(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return SignalKernels::sumOfSquares(in_pValues, in_uiSize);
}

double zeroCrossings(const double* in_pValues, const double*, std::size_t in_uiSize)
{
    return static_cast<double>(SignalKernels::countZeroCrossings(in_pValues, in_uiSize));
}

/// min and max take more arguments as operators.
constexpr Function FUNCTIONS[] = {
    {"sum", Kind::REDUCE, 1, 1, sum, true},
    {"mean", Kind::REDUCE, 1, 1, mean, true},
    {"argmin", Kind::REDUCE, 1, 1, indexOfMinimum, false},
    {"argmax", Kind::REDUCE, 1, 1, indexOfMaximum, false},
    {"min", Kind::REDUCE, 1, 255, minimum, false},
    {"max", Kind::REDUCE, 1, 255, maximum, false},
    {"dot", Kind::REDUCE, 2, 2, dot, true},
    {"energy", Kind::REDUCE, 1, 1, energy, true},
    {"zero_crossings", Kind::REDUCE, 1, 1, zeroCrossings, true},
    {"size", Kind::SIZE, 1, 1, nullptr, true},
    {"range", Kind::RANGE, 1, 1, nullptr, true},
    {"tone_energy", Kind::TONE_ENERGY, 3, 3, nullptr, true},
    {"log_mel", Kind::LOG_MEL, 3, 5, nullptr, true},
};

constexpr NamedNumber NUMBERS[] = {
    {"pi", std::numbers::pi},
    {"inf", std::numeric_limits<double>::infinity()},
    {"nan", std::numeric_limits<double>::quiet_NaN()},
};

template <class Table, class Condition>
const auto* find(const Table& in_table, Condition in_condition)
{
    const auto* pRow = std::find_if(std::begin(in_table), std::end(in_table), in_condition);
    return pRow == std::end(in_table) ? nullptr : pRow;
}

} // namespace

const Operator* findOperator(Operator::Form in_form, std::string_view in_strText)
{
    return find(OPERATORS, [&](const Operator& in_row)
                { return in_row.m_form == in_form && in_row.m_strText == in_strText; });
}

const Function* findFunction(std::string_view in_strName)
{
    return find(FUNCTIONS, [&](const Function& in_row) { return in_row.m_strName == in_strName; });
}

const NamedNumber* findNumber(std::string_view in_strName)
{
    return find(NUMBERS, [&](const NamedNumber& in_row) { return in_row.m_strName == in_strName; });
}

bool isReserved(std::string_view in_strName)
{
    return in_strName == "prev" || findFunction(in_strName) != nullptr || findNumber(in_strName) != nullptr ||
           find(OPERATORS, [&](const Operator& in_row) { return in_row.m_strText == in_strName; }) != nullptr;
}

} // namespace Vexalor::Math::Xpr
