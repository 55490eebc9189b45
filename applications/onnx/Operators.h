#pragma once

#include "onnx/Builder.h"

namespace Vexalor::MachineLearning::Onnx
{

/// A node that becomes steps: its operator takes inputs and attributes and gives results, one an output.
struct Call
{
    Builder& m_builder;
    Node& m_node;
    std::int64_t m_iOpset;
    std::vector<const Value*> m_vInputs; ///< null where one is left out
    std::vector<Value> m_vResults;

    bool has(std::size_t in_uiInput) const
    {
        return in_uiInput < m_vInputs.size() && m_vInputs[in_uiInput] != nullptr;
    }
    /// Throws Refusal when the input is left out or has no elements but could have.
    const Value& at(std::size_t in_uiInput) const;
    /// An input that must be constant; in_what is its part in the operator.
    const Value& getConstant(std::size_t in_uiInput, const char* in_what) const;
    void give(Value in_value) { m_vResults.push_back(std::move(in_value)); }
};

/// Does what the operator of a node says. Throws Refusal for one that is not known, for numbers of inputs and
/// attributes that it does not have, and for what it cannot do.
void build(Call& io_call);

/// A list of integers: since some opset an input, before that an attribute.
std::vector<std::int64_t> getList(Call& io_call, std::size_t in_uiInput, const char* in_attribute);
/// Axes of a tensor of in_uiRank dimensions, each marked once.
std::vector<bool> markAxes(const std::vector<std::int64_t>& in_vAxes, std::size_t in_uiRank);

/// Shapes.
void buildExpand(Call& io_call);
void buildFlatten(Call& io_call);
void buildIdentity(Call& io_call);
void buildReshape(Call& io_call);
void buildShape(Call& io_call);
void buildSqueeze(Call& io_call);
void buildTranspose(Call& io_call);
void buildUnsqueeze(Call& io_call);

/// Parts.
void buildConcat(Call& io_call);
void buildGather(Call& io_call);
void buildSlice(Call& io_call);
void buildSplit(Call& io_call);

/// Constants.
void buildCast(Call& io_call);
void buildConstant(Call& io_call);
void buildConstantOfShape(Call& io_call);

/// Elements and axes.
void buildBatchNormalization(Call& io_call);
void buildBinary(Call& io_call);
void buildClip(Call& io_call);
void buildGlobalAveragePool(Call& io_call);
void buildReduce(Call& io_call);
void buildSoftmax(Call& io_call);
void buildUnary(Call& io_call);

/// Products.
void buildConv(Call& io_call);
void buildGemm(Call& io_call);
void buildMatMul(Call& io_call);
void buildPad(Call& io_call);

/// GRU, LSTM and RNN.
void buildGru(Call& io_call);
void buildLstm(Call& io_call);
void buildRnn(Call& io_call);

/// Names of all operators, sorted.
std::vector<std::string_view> getOperators();

} // namespace Vexalor::MachineLearning::Onnx
