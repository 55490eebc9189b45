// Operators that compute element by element or over an axis, but products.

#include "onnx/Operators.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

/// Integers are sizes and places: larger ones are refused, so that nothing overflows.
std::int64_t combineIntegers(std::string_view in_operator, std::int64_t in_iLeft, std::int64_t in_iRight)
{
    constexpr std::int64_t MOST = std::int64_t(1) << 31;
    if (std::max(in_iLeft, in_iRight) > MOST || std::min(in_iLeft, in_iRight) < -MOST)
        throw Refusal("an integer that is no size");
    if (in_operator == "Add")
        return in_iLeft + in_iRight;
    if (in_operator == "Sub")
        return in_iLeft - in_iRight;
    if (in_operator == "Mul")
        return in_iLeft * in_iRight;
    if (in_operator == "Div" && in_iRight != 0)
        return in_iLeft / in_iRight;
    throw Refusal("integers are supported in shapes only");
}

Value combine(Builder& io_builder, std::string_view in_operator, const Value& in_left, const Value& in_right)
{
    if (in_left.m_bReal || in_right.m_bReal)
        return io_builder.combine(findBinary(in_operator), in_left, in_right);
    const Shape shape = joinShapes(in_left.m_shape, in_right.m_shape);
    Value result = io_builder.broadcast(in_left, shape);
    const Value right = io_builder.broadcast(in_right, shape);
    for (std::size_t i = 0; i < right.m_vIntegers.size(); ++i)
        result.m_vIntegers[i] = combineIntegers(in_operator, result.m_vIntegers[i], right.m_vIntegers[i]);
    return result;
}

} // namespace

/// Of two inputs, or of any number one after the other.
void buildBinary(Call& io_call)
{
    const std::string_view type = io_call.m_node.getType();
    Value result = io_call.at(0);
    for (std::size_t i = 1; i < io_call.m_vInputs.size(); ++i)
        result = combine(io_call.m_builder, type == "Sum" ? "Add" : type, result, io_call.at(i));
    io_call.give(std::move(result));
}

void buildUnary(Call& io_call)
{
    static constexpr struct
    {
        std::string_view m_operator;
        float m_fAlpha;
        float m_fBeta;
    } DEFAULTS[] = {{"Elu", 1.0F, 0.0F}, {"HardSigmoid", 0.2F, 0.5F}, {"LeakyRelu", 0.01F, 0.0F}};
    Node& node = io_call.m_node;
    std::array<float, 2> arguments{};
    for (const auto& defaults : DEFAULTS)
        if (defaults.m_operator == node.getType())
            arguments = {node.getReal("alpha", defaults.m_fAlpha), node.getReal("beta", defaults.m_fBeta)};
    io_call.give(io_call.m_builder.apply(findUnary(node.getType()), io_call.at(0), arguments));
}

void buildClip(Call& io_call)
{
    const auto getLimit = [&io_call](std::size_t in_uiInput, const char* in_attribute, float in_fDefault)
    {
        if (!io_call.has(in_uiInput))
            return io_call.m_node.getReal(in_attribute, in_fDefault);
        const Value& limit = io_call.getConstant(in_uiInput, in_attribute);
        if (limit.getCount() != 1)
            throw Refusal(std::string("its input ") + in_attribute + " is not one number");
        return *io_call.m_builder.locate(limit).in(nullptr);
    };
    const std::array<float, 2> limits{getLimit(1, "min", -INFINITY), getLimit(2, "max", INFINITY)};
    io_call.give(io_call.m_builder.apply(findUnary("Clip"), io_call.at(0), limits));
}

void buildSoftmax(Call& io_call)
{
    const Value& value = io_call.at(0);
    const bool bOneAxis = io_call.m_iOpset >= 13;
    const std::size_t uiRank = value.m_shape.size();
    const std::size_t uiAxis = toAxis(io_call.m_node.getInteger("axis", bOneAxis ? -1 : 1), uiRank);
    io_call.give(io_call.m_builder.softmax(value, uiAxis, bOneAxis ? uiAxis + 1 : uiRank,
                                           io_call.m_node.getType() == "LogSoftmax"));
}

namespace
{

/// Brings the dimensions to the end that are reduced to one number each.
Value reduce(Call& io_call, ReduceKernel in_kernel, const std::vector<bool>& in_vReduced, bool in_bKeep)
{
    const Value& value = io_call.at(0);
    std::vector<std::int64_t> vOrder;
    Shape shape;
    for (std::size_t d = 0; d < in_vReduced.size(); ++d)
    {
        if (!in_vReduced[d])
            vOrder.push_back(static_cast<std::int64_t>(d));
        if (!in_vReduced[d] || in_bKeep)
            shape.push_back(in_vReduced[d] ? 1 : value.m_shape[d]);
    }
    for (std::size_t d = 0; d < in_vReduced.size(); ++d)
        if (in_vReduced[d])
            vOrder.push_back(static_cast<std::int64_t>(d));
    const Value ordered = io_call.m_builder.permute(value, vOrder);
    const std::size_t uiRows = std::max<std::size_t>(countElements(shape), 1);
    return io_call.m_builder.reduce(in_kernel, ordered, value.getCount() / uiRows, std::move(shape));
}

} // namespace

void buildReduce(Call& io_call)
{
    const std::size_t uiRank = io_call.at(0).m_shape.size();
    const std::vector<std::int64_t> vAxes = getList(io_call, 1, "axes");
    const bool bKeep = io_call.m_node.getInteger("keepdims", 1) != 0;
    if (vAxes.empty() && io_call.m_node.getInteger("noop_with_empty_axes", 0) != 0)
        throw Refusal("it has no axes");
    io_call.m_node.find("noop_with_empty_axes");
    const std::vector<bool> vReduced =
        vAxes.empty() ? std::vector<bool>(uiRank, true) : markAxes(vAxes, uiRank);
    io_call.give(reduce(io_call, findReduce(io_call.m_node.getType()), vReduced, bKeep));
}

void buildGlobalAveragePool(Call& io_call)
{
    std::vector<bool> vReduced(io_call.at(0).m_shape.size(), true);
    std::fill_n(vReduced.begin(), std::min<std::size_t>(2, vReduced.size()), false);
    io_call.give(reduce(io_call, findReduce("ReduceMean"), vReduced, true));
}

/// A factor and an offset for each channel.
void buildBatchNormalization(Call& io_call)
{
    const Value& value = io_call.at(0);
    io_call.m_node.expectInteger("training_mode", 0);
    io_call.m_node.find("momentum");
    const double dEpsilon = io_call.m_node.getReal("epsilon", 1e-5F);
    std::array<std::vector<float>, 4> statistics; // scale, offset, mean, variance
    static constexpr const char* NAMES[] = {"scale", "B", "mean", "var"};
    for (std::size_t i = 0; i < statistics.size(); ++i)
        statistics[i] = io_call.m_builder.copyElements(io_call.getConstant(i + 1, NAMES[i]));
    const std::size_t uiChannels = statistics[0].size();
    for (const auto& numbers : statistics)
        if (value.m_shape.size() < 2 || numbers.size() != uiChannels ||
            static_cast<std::size_t>(value.m_shape[1]) != uiChannels)
            throw Refusal("its constants do not have the size of the channels");
    for (std::size_t i = 0; i < uiChannels; ++i)
    {
        const double dFactor = statistics[0][i] / std::sqrt(statistics[3][i] + dEpsilon);
        statistics[0][i] = static_cast<float>(dFactor);
        statistics[1][i] = static_cast<float>(statistics[1][i] - statistics[2][i] * dFactor);
    }
    Shape shape(value.m_shape.size() - 1, 1);
    shape[0] = value.m_shape[1];
    Builder& builder = io_call.m_builder;
    const Value scaled = builder.combine(findBinary("Mul"), value, builder.newConstant(shape, statistics[0]));
    io_call.give(builder.combine(findBinary("Add"), scaled, builder.newConstant(shape, statistics[1])));
}

} // namespace Vexalor::MachineLearning::Onnx
