#include "onnx/Kernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

/// exp(x) without branches, so that loops over it use wide registers: 2^n times a polynomial of what is left
/// of x, at most ln(2) / 2, whose coefficients minimise the relative error (3e-9). 0 below -87, nan for nan.
inline float exponential(float in_fX)
{
    constexpr float LEAST = -87.0F;
    constexpr float MOST = 88.0F;
    /// Adding it rounds to an integer, which then stands in the low bits.
    constexpr float ROUNDER = 12582912.0F;
    const float fX = in_fX < LEAST ? LEAST : (in_fX < MOST ? in_fX : MOST);
    const float fShifted = fX * 1.44269504F + ROUNDER;
    const float fPower = fShifted - ROUNDER;
    // ln(2) in two parts, the first of few digits, so that the difference is exact.
    const float fRest = (fX - fPower * 0.693145752F) - fPower * 1.42860677e-6F;
    const float fSeries =
        (((0.00138146020F * fRest + 0.00836871534F) * fRest + 0.0416683879F) * fRest + 0.166665206F) * fRest +
        0.499999934F;
    const float fMantissa = 1.0F + (fRest + fRest * fRest * fSeries);
    const std::uint32_t uiPower = std::bit_cast<std::uint32_t>(fShifted) << 23;
    const float fResult = std::bit_cast<float>(std::bit_cast<std::uint32_t>(fMantissa) + uiPower);
    return in_fX < LEAST ? 0.0F : (in_fX == in_fX ? fResult : in_fX);
}

inline float sigmoid(float in_fX)
{
    return 1.0F / (1.0F + exponential(-in_fX));
}

/// Near 0 an odd polynomial (relative error 4e-9), elsewhere from the exponential function.
inline float hyperbolicTangent(float in_fX)
{
    const float fSquare = in_fX * in_fX;
    const float fSeries =
        (((-0.00570949459F * fSquare + 0.0206441338F) * fSquare - 0.0537416221F) * fSquare + 0.133314702F) *
            fSquare -
        0.333332832F;
    const float fNear = in_fX + in_fX * fSquare * fSeries;
    const float fMagnitude = std::fabs(in_fX);
    const float fFar = std::copysign(1.0F - 2.0F / (exponential(2.0F * fMagnitude) + 1.0F), in_fX);
    return fMagnitude < 0.625F ? fNear : fFar;
}

inline float rectify(float in_fX)
{
    return in_fX < 0.0F ? 0.0F : in_fX;
}

/// Makes a kernel of a function of one element and the arguments.
template <class Function>
constexpr UnaryKernel unary(Function)
{
    return [](const float* in_pInput, std::size_t in_uiCount, const float* in_pArguments, float* out_pOutput)
    {
        for (std::size_t i = 0; i < in_uiCount; ++i)
            out_pOutput[i] = Function()(in_pInput[i], in_pArguments);
    };
}

/// Loops of their own where an operand is a single number: they use wide registers.
template <class Function>
constexpr BinaryKernel binary(Function)
{
    return [](const float* in_pLeft, std::size_t in_uiLeftStep, const float* in_pRight,
              std::size_t in_uiRightStep, std::size_t in_uiCount, float* out_pOutput)
    {
        if (in_uiLeftStep == 1 && in_uiRightStep == 1)
            for (std::size_t i = 0; i < in_uiCount; ++i)
                out_pOutput[i] = Function()(in_pLeft[i], in_pRight[i]);
        else if (in_uiLeftStep == 1)
            for (std::size_t i = 0; i < in_uiCount; ++i)
                out_pOutput[i] = Function()(in_pLeft[i], in_pRight[0]);
        else
            for (std::size_t i = 0; i < in_uiCount; ++i)
                out_pOutput[i] = Function()(in_pLeft[0], in_pRight[i * in_uiRightStep]);
    };
}

float sum(const float* in_pInput, std::size_t in_uiCount)
{
    double dSum = 0.0;
    for (std::size_t i = 0; i < in_uiCount; ++i)
        dSum += in_pInput[i];
    return static_cast<float>(dSum);
}

float mean(const float* in_pInput, std::size_t in_uiCount)
{
    return sum(in_pInput, in_uiCount) / static_cast<float>(in_uiCount);
}

template <class Kernel>
struct Named
{
    std::string_view m_name;
    Kernel m_kernel;
};

using Arguments = const float*;

constexpr Named<UnaryKernel> UNARY[] = {
    {"Abs", unary([](float x, Arguments) { return std::fabs(x); })},
    {"Clip", unary([](float x, Arguments a) { return x < a[0] ? a[0] : (x > a[1] ? a[1] : x); })},
    {"Elu", unary([](float x, Arguments a) { return x < 0.0F ? a[0] * std::expm1(x) : x; })},
    {"Erf", unary([](float x, Arguments) { return std::erf(x); })},
    {"Exp", unary([](float x, Arguments) { return std::exp(x); })},
    {"HardSigmoid",
     unary([](float x, Arguments a) { return std::min(std::max(a[0] * x + a[1], 0.0F), 1.0F); })},
    {"LeakyRelu", unary([](float x, Arguments a) { return x < 0.0F ? a[0] * x : x; })},
    {"Log", unary([](float x, Arguments) { return std::log(x); })},
    {"Neg", unary([](float x, Arguments) { return -x; })},
    {"Reciprocal", unary([](float x, Arguments) { return 1.0F / x; })},
    {"Relu", unary([](float x, Arguments) { return rectify(x); })},
    {"Sigmoid", unary([](float x, Arguments) { return sigmoid(x); })},
    {"Softplus",
     unary([](float x, Arguments) { return std::max(x, 0.0F) + std::log1p(std::exp(-std::fabs(x))); })},
    {"Sqrt", unary([](float x, Arguments) { return std::sqrt(x); })},
    {"Tanh", unary([](float x, Arguments) { return hyperbolicTangent(x); })},
};

constexpr Named<BinaryKernel> BINARY[] = {
    {"Add", binary([](float a, float b) { return a + b; })},
    {"Div", binary([](float a, float b) { return a / b; })},
    {"Max", binary([](float a, float b) { return a < b ? b : a; })},
    {"Min", binary([](float a, float b) { return b < a ? b : a; })},
    {"Mul", binary([](float a, float b) { return a * b; })},
    {"PRelu", binary([](float a, float b) { return a < 0.0F ? a * b : a; })},
    {"Pow", binary([](float a, float b) { return b == 2.0F ? a * a : std::pow(a, b); })},
    {"Sub", binary([](float a, float b) { return a - b; })},
};

constexpr Named<ReduceKernel> REDUCE[] = {
    {"ReduceMax",
     [](const float* in_pInput, std::size_t in_uiCount)
     {
         return *std::max_element(in_pInput, in_pInput + in_uiCount);
     }},
    {"ReduceMean", mean},
    {"ReduceMin",
     [](const float* in_pInput, std::size_t in_uiCount)
     {
         return *std::min_element(in_pInput, in_pInput + in_uiCount);
     }},
    {"ReduceSum", sum},
};

template <class Kernel, std::size_t COUNT>
Kernel find(const Named<Kernel> (&in_table)[COUNT], std::string_view in_name)
{
    for (const Named<Kernel>& entry : in_table)
        if (entry.m_name == in_name)
            return entry.m_kernel;
    return nullptr;
}

} // namespace

UnaryKernel findUnary(std::string_view in_operator)
{
    return find(UNARY, in_operator);
}

BinaryKernel findBinary(std::string_view in_operator)
{
    return find(BINARY, in_operator);
}

ReduceKernel findReduce(std::string_view in_operator)
{
    return find(REDUCE, in_operator);
}

void computeSoftmax(const float* in_pInput, std::size_t in_uiCount, std::size_t in_uiStep, bool in_bLogarithm,
                    float* out_pOutput)
{
    float fMost = in_pInput[0];
    for (std::size_t i = 1; i < in_uiCount; ++i)
        fMost = std::max(fMost, in_pInput[i * in_uiStep]);
    float fSum = 0.0F;
    for (std::size_t i = 0; i < in_uiCount; ++i)
    {
        const float fDistance = in_pInput[i * in_uiStep] - fMost;
        const float fExponential = exponential(fDistance);
        fSum += fExponential;
        out_pOutput[i * in_uiStep] = in_bLogarithm ? fDistance : fExponential;
    }
    const float fLogarithm = std::log(fSum);
    for (std::size_t i = 0; i < in_uiCount; ++i)
        out_pOutput[i * in_uiStep] =
            in_bLogarithm ? out_pOutput[i * in_uiStep] - fLogarithm : out_pOutput[i * in_uiStep] / fSum;
}

void multiplyMatrices(const float* in_pLeft, const float* in_pRight, std::size_t in_uiM, std::size_t in_uiK,
                      std::size_t in_uiN, float* out_pProduct)
{
    std::fill_n(out_pProduct, in_uiM * in_uiN, 0.0F);
    for (std::size_t m = 0; m < in_uiM; ++m, out_pProduct += in_uiN)
        for (std::size_t k = 0; k < in_uiK; ++k, ++in_pLeft)
            for (std::size_t n = 0; n < in_uiN; ++n)
                out_pProduct[n] += *in_pLeft * in_pRight[k * in_uiN + n];
}

void computeSigmoid(const float* in_pInput, std::size_t in_uiCount, float* out_pOutput)
{
    for (std::size_t i = 0; i < in_uiCount; ++i)
        out_pOutput[i] = sigmoid(in_pInput[i]);
}

void computeTanh(const float* in_pInput, std::size_t in_uiCount, float* out_pOutput)
{
    for (std::size_t i = 0; i < in_uiCount; ++i)
        out_pOutput[i] = hyperbolicTangent(in_pInput[i]);
}

void computeRelu(const float* in_pInput, std::size_t in_uiCount, float* out_pOutput)
{
    for (std::size_t i = 0; i < in_uiCount; ++i)
        out_pOutput[i] = rectify(in_pInput[i]);
}

} // namespace Vexalor::MachineLearning::Onnx
