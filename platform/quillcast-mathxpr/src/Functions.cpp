#include "Functions.h"

#include "quillcast-math/SignalKernels.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::Math::Xpr
{

namespace
{

using Kind = Function::Kind;

constexpr unsigned int ANY = 255;

double sum(const double* in_pValues, std::size_t in_uiSize)
{
    double dSum = 0.0;
    for (std::size_t i = 0; i < in_uiSize; ++i)
        dSum += in_pValues[i];
    return dSum;
}

double mean(const double* in_pValues, std::size_t in_uiSize)
{
    return sum(in_pValues, in_uiSize) / static_cast<double>(in_uiSize);
}

double minimum(const double* in_pValues, std::size_t in_uiSize)
{
    return *std::min_element(in_pValues, in_pValues + in_uiSize);
}

double maximum(const double* in_pValues, std::size_t in_uiSize)
{
    return *std::max_element(in_pValues, in_pValues + in_uiSize);
}

double indexOfMinimum(const double* in_pValues, std::size_t in_uiSize)
{
    return static_cast<double>(std::min_element(in_pValues, in_pValues + in_uiSize) - in_pValues);
}

double indexOfMaximum(const double* in_pValues, std::size_t in_uiSize)
{
    return static_cast<double>(std::max_element(in_pValues, in_pValues + in_uiSize) - in_pValues);
}

double zeroCrossings(const double* in_pValues, std::size_t in_uiSize)
{
    return static_cast<double>(SignalKernels::countZeroCrossings(in_pValues, in_uiSize));
}

constexpr Function mapping(const char* in_szName, double (*in_pMap)(double, double))
{
    return {in_szName, Kind::MAP, 1, 1, in_pMap, nullptr, true};
}

constexpr Function reduction(const char* in_szName, double (*in_pReduce)(const double*, std::size_t),
                             bool in_bTakesEmpty)
{
    return {in_szName, Kind::REDUCE, 1, 1, nullptr, in_pReduce, in_bTakesEmpty};
}

constexpr Function FUNCTIONS[] = {
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
    mapping("isnan", [](double x, double) { return std::isnan(x) ? 1.0 : 0.0; }),
    reduction("sum", sum, true),
    reduction("mean", mean, true),
    reduction("argmin", indexOfMinimum, false),
    reduction("argmax", indexOfMaximum, false),
    reduction("energy", SignalKernels::sumOfSquares, true),
    reduction("zero_crossings", zeroCrossings, true),
    {"min", Kind::EXTREME, 1, ANY, nullptr, minimum, false},
    {"max", Kind::EXTREME, 1, ANY, nullptr, maximum, false},
    {"dot", Kind::DOT, 2, 2, nullptr, nullptr, true},
    {"size", Kind::SIZE, 1, 1, nullptr, nullptr, true},
    {"range", Kind::RANGE, 1, 1, nullptr, nullptr, true},
    {"tone_energy", Kind::TONE_ENERGY, 3, 3, nullptr, nullptr, false},
    {"log_mel", Kind::LOG_MEL, 3, 5, nullptr, nullptr, false},
};

} // namespace

const Function* findFunction(std::string_view in_strName)
{
    const auto* pFound =
        std::find_if(std::begin(FUNCTIONS), std::end(FUNCTIONS),
                     [&](const Function& in_function) { return in_strName == in_function.m_szName; });
    return pFound == std::end(FUNCTIONS) ? nullptr : pFound;
}

} // namespace Vexalor::Math::Xpr
