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

/// GRU, LSTM and RNN.
void buildGru(Call& io_call);
void buildLstm(Call& io_call);
void buildRnn(Call& io_call);

/// Names of all operators, sorted.
std::vector<std::string_view> getOperators();

} // namespace Vexalor::MachineLearning::Onnx
