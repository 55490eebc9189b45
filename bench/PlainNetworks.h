#pragma once

// Networks as plain loops and as ONNX files with the same weights: 40-64-2 with Relu and Softmax, and a GRU
// of 64 after 40 inputs, with two outputs.

#include "test-support/OnnxWriter.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace Vexalor::Bench
{

using Testing::OnnxWriter;

constexpr std::size_t INPUTS = 40;
constexpr std::size_t HIDDEN = 64;
constexpr std::size_t OUTPUTS = 2;
using Reals = std::vector<float>;

inline Reals draw(std::size_t in_uiCount)
{
    static std::minstd_rand random(1);
    Reals vReals(in_uiCount);
    for (float& fReal : vReals)
        fReal = static_cast<float>(random() % 2001) / 4000.0F - 0.25F;
    return vReals;
}

inline float sigmoid(float in_fX)
{
    return 1.0F / (1.0F + std::exp(-in_fX));
}

/// out = weights x in + bias, a row of weights an output: how one writes it down.
inline void multiply(const Reals& in_vWeights, const Reals& in_vInput, const float* in_pBias,
                     Reals& out_vSums)
{
    for (std::size_t n = 0; n < out_vSums.size(); ++n)
    {
        float fSum = in_pBias[n];
        for (std::size_t k = 0; k < in_vInput.size(); ++k)
            fSum += in_vWeights[n * in_vInput.size() + k] * in_vInput[k];
        out_vSums[n] = fSum;
    }
}

/// The same column by column, which compilers make wide registers of.
inline void multiplyColumns(const Reals& in_vColumns, const Reals& in_vInput, const float* in_pBias,
                            Reals& out_vSums)
{
    const std::size_t N = out_vSums.size();
    std::copy_n(in_pBias, N, out_vSums.begin());
    for (std::size_t k = 0; k < in_vInput.size(); ++k)
        for (std::size_t n = 0; n < N; ++n)
            out_vSums[n] += in_vColumns[k * N + n] * in_vInput[k];
}

inline Reals transpose(const Reals& in_vRows, std::size_t in_uiColumns)
{
    const std::size_t uiRows = in_vRows.size() / in_uiColumns;
    Reals vTransposed(in_vRows.size());
    for (std::size_t i = 0; i < in_vRows.size(); ++i)
        vTransposed[i % in_uiColumns * uiRows + i / in_uiColumns] = in_vRows[i];
    return vTransposed;
}

inline void softmax(Reals& io_vValues)
{
    float fSum = 0.0F;
    for (float& fValue : io_vValues)
        fSum += fValue = std::exp(fValue);
    for (float& fValue : io_vValues)
        fValue /= fSum;
}

using Product = void (*)(const Reals&, const Reals&, const float*, Reals&);

struct Weights
{
    Reals m_vInput = draw(3 * HIDDEN * INPUTS);
    Reals m_vHidden = draw(3 * HIDDEN * HIDDEN);
    Reals m_vBias = draw(6 * HIDDEN);
    Reals m_vOutput = draw(OUTPUTS * HIDDEN);
    Reals m_vOutputBias = draw(OUTPUTS);
};

/// 40-64-2 as a plain loop; takes the first of the weights.
class PlainLayers
{
public:
    PlainLayers(const Weights& in_weights, bool in_bColumns)
        : m_weights(in_weights)
        , m_product(in_bColumns ? multiplyColumns : multiply)
    {
        m_weights.m_vInput.resize(HIDDEN * INPUTS);
        if (in_bColumns)
            m_weights.m_vInput = transpose(m_weights.m_vInput, INPUTS);
        if (in_bColumns)
            m_weights.m_vOutput = transpose(m_weights.m_vOutput, HIDDEN);
    }
    const Reals& compute(const Reals& in_vInput)
    {
        m_product(m_weights.m_vInput, in_vInput, m_weights.m_vBias.data(), m_vHidden);
        for (float& fValue : m_vHidden)
            fValue = std::max(fValue, 0.0F);
        m_product(m_weights.m_vOutput, m_vHidden, m_weights.m_vOutputBias.data(), m_vOutput);
        softmax(m_vOutput);
        return m_vOutput;
    }

private:
    Weights m_weights;
    Product m_product;
    Reals m_vHidden = Reals(HIDDEN);
    Reals m_vOutput = Reals(OUTPUTS);
};

/// The GRU, gates z, r and n, as a plain loop.
class PlainGru
{
public:
    PlainGru(const Weights& in_weights, bool in_bColumns)
        : m_weights(in_weights)
        , m_product(in_bColumns ? multiplyColumns : multiply)
    {
        if (!in_bColumns)
            return;
        m_weights.m_vInput = transpose(m_weights.m_vInput, INPUTS);
        m_weights.m_vHidden = transpose(m_weights.m_vHidden, HIDDEN);
        m_weights.m_vOutput = transpose(m_weights.m_vOutput, HIDDEN);
    }
    const Reals& compute(const Reals& in_vInput)
    {
        m_product(m_weights.m_vInput, in_vInput, m_weights.m_vBias.data(), m_vGates);
        m_product(m_weights.m_vHidden, m_vState, &m_weights.m_vBias[3 * HIDDEN], m_vRecurrent);
        for (std::size_t i = 0; i < HIDDEN; ++i)
        {
            const float fUpdate = sigmoid(m_vGates[i] + m_vRecurrent[i]);
            const float fReset = sigmoid(m_vGates[HIDDEN + i] + m_vRecurrent[HIDDEN + i]);
            const float fNew = std::tanh(m_vGates[2 * HIDDEN + i] + fReset * m_vRecurrent[2 * HIDDEN + i]);
            m_vState[i] = (1.0F - fUpdate) * fNew + fUpdate * m_vState[i];
        }
        m_product(m_weights.m_vOutput, m_vState, m_weights.m_vOutputBias.data(), m_vOutput);
        softmax(m_vOutput);
        return m_vOutput;
    }

private:
    Weights m_weights;
    Product m_product;
    Reals m_vGates = Reals(3 * HIDDEN);
    Reals m_vRecurrent = Reals(3 * HIDDEN);
    Reals m_vState = Reals(HIDDEN);
    Reals m_vOutput = Reals(OUTPUTS);
};

inline OnnxWriter& addOutputs(OnnxWriter& io_writer, const Weights& in_weights)
{
    return io_writer.constant("o", {OUTPUTS, HIDDEN}, in_weights.m_vOutput)
        .constant("ob", {OUTPUTS}, in_weights.m_vOutputBias)
        .node("Gemm", {"s", "o", "ob"}, {"g"}, {OnnxWriter::integer("transB", 1)})
        .node("Softmax", {"g"}, {"y"}, {OnnxWriter::integer("axis", -1)})
        .output("y");
}

inline std::string layersFile(const Weights& in_weights)
{
    OnnxWriter writer;
    const Reals vFirst(in_weights.m_vInput.begin(), in_weights.m_vInput.begin() + HIDDEN * INPUTS);
    const Reals vBias(in_weights.m_vBias.begin(), in_weights.m_vBias.begin() + HIDDEN);
    writer.input("x", {1, INPUTS})
        .constant("w", {HIDDEN, INPUTS}, vFirst)
        .constant("b", {HIDDEN}, vBias)
        .node("Gemm", {"x", "w", "b"}, {"h"}, {OnnxWriter::integer("transB", 1)})
        .node("Relu", {"h"}, {"s"});
    return addOutputs(writer, in_weights).getFile();
}

inline std::string gruFile(const Weights& in_weights)
{
    OnnxWriter writer;
    writer.input("x", {1, 1, INPUTS})
        .input("h", {1, 1, HIDDEN})
        .constant("w", {1, 3 * HIDDEN, INPUTS}, in_weights.m_vInput)
        .constant("r", {1, 3 * HIDDEN, HIDDEN}, in_weights.m_vHidden)
        .constant("b", {1, 6 * HIDDEN}, in_weights.m_vBias)
        .node("GRU", {"x", "w", "r", "b", "", "h"}, {"", "h_next"},
              {OnnxWriter::integer("linear_before_reset", 1)})
        .node("Flatten", {"h_next"}, {"s"}, {OnnxWriter::integer("axis", 2)})
        .output("h_next");
    return addOutputs(writer, in_weights).getFile();
}

} // namespace Vexalor::Bench
