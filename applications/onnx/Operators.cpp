#include "onnx/Operators.h"

#include <algorithm>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

struct Operator
{
    std::string_view m_name;
    void (*m_build)(Call&);
    std::size_t m_uiLeastInputs;
    std::size_t m_uiMostInputs;
};

constexpr std::size_t ANY = 1024;

/// Sorted by name.
constexpr Operator OPERATORS[] = {
    {"Abs", buildUnary, 1, 1},
    {"Add", buildBinary, 2, 2},
    {"BatchNormalization", buildBatchNormalization, 5, 5},
    {"Cast", buildCast, 1, 1},
    {"Clip", buildClip, 1, 3},
    {"Concat", buildConcat, 1, ANY},
    {"Constant", buildConstant, 0, 0},
    {"ConstantOfShape", buildConstantOfShape, 1, 1},
    {"Conv", buildConv, 2, 3},
    {"Div", buildBinary, 2, 2},
    {"Dropout", buildIdentity, 1, 2},
    {"Elu", buildUnary, 1, 1},
    {"Erf", buildUnary, 1, 1},
    {"Exp", buildUnary, 1, 1},
    {"Expand", buildExpand, 2, 2},
    {"Flatten", buildFlatten, 1, 1},
    {"GRU", buildGru, 3, 6},
    {"Gather", buildGather, 2, 2},
    {"Gemm", buildGemm, 2, 3},
    {"GlobalAveragePool", buildGlobalAveragePool, 1, 1},
    {"HardSigmoid", buildUnary, 1, 1},
    {"Identity", buildIdentity, 1, 1},
    {"LSTM", buildLstm, 3, 8},
    {"LeakyRelu", buildUnary, 1, 1},
    {"Log", buildUnary, 1, 1},
    {"LogSoftmax", buildSoftmax, 1, 1},
    {"MatMul", buildMatMul, 2, 2},
    {"Max", buildBinary, 1, ANY},
    {"Min", buildBinary, 1, ANY},
    {"Mul", buildBinary, 2, 2},
    {"Neg", buildUnary, 1, 1},
    {"PRelu", buildBinary, 2, 2},
    {"Pad", buildPad, 1, 3},
    {"Pow", buildBinary, 2, 2},
    {"RNN", buildRnn, 3, 6},
    {"Reciprocal", buildUnary, 1, 1},
    {"ReduceMax", buildReduce, 1, 2},
    {"ReduceMean", buildReduce, 1, 2},
    {"ReduceMin", buildReduce, 1, 2},
    {"ReduceSum", buildReduce, 1, 2},
    {"Relu", buildUnary, 1, 1},
    {"Reshape", buildReshape, 2, 2},
    {"Shape", buildShape, 1, 1},
    {"Sigmoid", buildUnary, 1, 1},
    {"Slice", buildSlice, 1, 5},
    {"Softmax", buildSoftmax, 1, 1},
    {"Softplus", buildUnary, 1, 1},
    {"Split", buildSplit, 1, 2},
    {"Sqrt", buildUnary, 1, 1},
    {"Squeeze", buildSqueeze, 1, 2},
    {"Sub", buildBinary, 2, 2},
    {"Sum", buildBinary, 1, ANY},
    {"Tanh", buildUnary, 1, 1},
    {"Transpose", buildTranspose, 1, 1},
    {"Unsqueeze", buildUnsqueeze, 1, 2},
};

} // namespace

std::vector<std::int64_t> getList(Call& io_call, std::size_t in_uiInput, const char* in_attribute)
{
    if (!io_call.has(in_uiInput))
        return io_call.m_node.getIntegers(in_attribute);
    const Value& value = io_call.at(in_uiInput);
    if (value.m_bReal)
        throw Refusal(std::string("its input ") + in_attribute + " must be made of constant integers");
    return value.m_vIntegers;
}

std::vector<bool> markAxes(const std::vector<std::int64_t>& in_vAxes, std::size_t in_uiRank)
{
    std::vector<bool> vMarked(in_uiRank);
    for (const std::int64_t iAxis : in_vAxes)
        vMarked[toAxis(iAxis, in_uiRank)] = true;
    return vMarked;
}

const Value& Call::at(std::size_t in_uiInput) const
{
    if (!has(in_uiInput))
        throw Refusal("it has no input " + std::to_string(in_uiInput + 1));
    const Value& value = *m_vInputs[in_uiInput];
    if (value.m_bReal && value.getCount() == 0)
        throw Refusal("a tensor of shape " + toText(value.m_shape) + " is empty");
    return value;
}

const Value& Call::getConstant(std::size_t in_uiInput, const char* in_what) const
{
    if (!at(in_uiInput).isConstant())
        throw Refusal(std::string("its input ") + in_what + " must be constant");
    return at(in_uiInput);
}

std::vector<std::string_view> getOperators()
{
    std::vector<std::string_view> vNames;
    for (const Operator& entry : OPERATORS)
        vNames.push_back(entry.m_name);
    return vNames;
}

void build(Call& io_call)
{
    const Operator* pOperator =
        std::find_if(std::begin(OPERATORS), std::end(OPERATORS),
                     [&](const Operator& in_entry) { return in_entry.m_name == io_call.m_node.getType(); });
    if (pOperator == std::end(OPERATORS) || !io_call.m_node.isOfOnnx())
        throw Refusal("the operator is not supported");
    if (io_call.m_node.getOutputs().empty())
        throw Refusal("it has no output");
    const std::size_t uiInputs = io_call.m_vInputs.size();
    if (uiInputs < pOperator->m_uiLeastInputs || uiInputs > pOperator->m_uiMostInputs)
        throw Refusal(std::to_string(uiInputs) + " inputs");
    pOperator->m_build(io_call);
    io_call.m_node.expectAllUsed();
}

} // namespace Vexalor::MachineLearning::Onnx
