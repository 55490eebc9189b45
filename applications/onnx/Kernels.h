#pragma once

#include <cstddef>
#include <string_view>

namespace Vexalor::MachineLearning::Onnx
{

/// An operation on every element: in_pArguments are those of the operator, such as the slope of LeakyRelu.
/// Input and output may be the same.
using UnaryKernel = void (*)(const float* in_pInput, std::size_t in_uiCount, const float* in_pArguments,
                             float* out_pOutput);

/// An operation on pairs of elements. A step is 1, or 0 for an operand that is a single number.
using BinaryKernel = void (*)(const float* in_pLeft, std::size_t in_uiLeftStep, const float* in_pRight,
                              std::size_t in_uiRightStep, std::size_t in_uiCount, float* out_pOutput);

/// One number of many.
using ReduceKernel = float (*)(const float* in_pInput, std::size_t in_uiCount);

/// The kernel of an operator of the format; null when there is none of that name.
UnaryKernel findUnary(std::string_view in_operator);
BinaryKernel findBinary(std::string_view in_operator);
ReduceKernel findReduce(std::string_view in_operator);

/// Softmax, or its logarithm, over in_uiCount elements that lie in_uiStep apart.
void computeSoftmax(const float* in_pInput, std::size_t in_uiCount, std::size_t in_uiStep, bool in_bLogarithm,
                    float* out_pOutput);

/// out = left x right: matrices of M x K and K x N, row by row.
void multiplyMatrices(const float* in_pLeft, const float* in_pRight, std::size_t in_uiM, std::size_t in_uiK,
                      std::size_t in_uiN, float* out_pProduct);

/// 1 / (1 + exp(-x)) of every element; within 1e-7 of the true value. In place is fine.
void computeSigmoid(const float* in_pInput, std::size_t in_uiCount, float* out_pOutput);
/// The hyperbolic tangent; within 1e-7 of the true value.
void computeTanh(const float* in_pInput, std::size_t in_uiCount, float* out_pOutput);
void computeRelu(const float* in_pInput, std::size_t in_uiCount, float* out_pOutput);

} // namespace Vexalor::MachineLearning::Onnx
