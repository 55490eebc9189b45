#include "onnx/Operators.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

/// A list of integers: since some opset an input, before that an attribute.
std::vector<std::int64_t> getList(Call& io_call, std::size_t in_uiInput, const char* in_attribute)
{
    if (!io_call.has(in_uiInput))
        return io_call.m_node.getIntegers(in_attribute);
    const Value& value = io_call.at(in_uiInput);
    if (value.m_bReal)
        throw Refusal(std::string("its input ") + in_attribute + " must be made of constant integers");
    return value.m_vIntegers;
}

/// Axes of a tensor of in_uiRank dimensions, each marked once.
std::vector<bool> markAxes(const std::vector<std::int64_t>& in_vAxes, std::size_t in_uiRank)
{
    std::vector<bool> vMarked(in_uiRank);
    for (const std::int64_t iAxis : in_vAxes)
        vMarked[toAxis(iAxis, in_uiRank)] = true;
    return vMarked;
}

void buildIdentity(Call& io_call)
{
    io_call.m_node.find("ratio"); // of Dropout, which does nothing but in training
    io_call.m_node.find("seed");
    io_call.give(io_call.at(0));
}

// Shapes

void buildReshape(Call& io_call)
{
    const Value& value = io_call.at(0);
    const bool bKeepZero = io_call.m_node.getInteger("allowzero", 0) != 0;
    Shape shape = getList(io_call, 1, "shape");
    std::size_t uiOpen = shape.size();
    std::size_t uiKnown = 1;
    for (std::size_t d = 0; d < shape.size(); ++d)
    {
        if (shape[d] == 0 && !bKeepZero && d < value.m_shape.size())
            shape[d] = value.m_shape[d];
        if (shape[d] == -1 && uiOpen == shape.size())
            uiOpen = d;
    }
    if (uiOpen < shape.size())
    {
        shape[uiOpen] = 1;
        uiKnown = countElements(shape);
        shape[uiOpen] = uiKnown == 0 ? 0 : static_cast<std::int64_t>(value.getCount() / uiKnown);
    }
    io_call.give(io_call.m_builder.reshape(value, shape));
}

void buildFlatten(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::int64_t iAxis = io_call.m_node.getInteger("axis", 1);
    const std::size_t uiRank = value.m_shape.size();
    const std::size_t uiAxis = iAxis == static_cast<std::int64_t>(uiRank) ? uiRank : toAxis(iAxis, uiRank);
    io_call.give(io_call.m_builder.reshape(
        value, {static_cast<std::int64_t>(countPart(value.m_shape, 0, uiAxis)),
                static_cast<std::int64_t>(countPart(value.m_shape, uiAxis, uiRank))}));
}

void buildSqueeze(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::vector<std::int64_t> vAxes = getList(io_call, 1, "axes");
    const std::vector<bool> vMarked = markAxes(vAxes, value.m_shape.size());
    Shape shape;
    for (std::size_t d = 0; d < value.m_shape.size(); ++d)
        if (vAxes.empty() ? value.m_shape[d] != 1 : !vMarked[d])
            shape.push_back(value.m_shape[d]);
    io_call.give(io_call.m_builder.reshape(value, shape));
}

void buildUnsqueeze(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::vector<std::int64_t> vAxes = getList(io_call, 1, "axes");
    const std::vector<bool> vMarked = markAxes(vAxes, value.m_shape.size() + vAxes.size());
    Shape shape;
    std::size_t uiNext = 0;
    for (const bool bNew : vMarked)
        if (!bNew && uiNext == value.m_shape.size())
            throw Refusal("an axis is given twice");
        else
            shape.push_back(bNew ? 1 : value.m_shape[uiNext++]);
    io_call.give(io_call.m_builder.reshape(value, shape));
}

void buildTranspose(Call& io_call)
{
    const Value& value = io_call.at(0);
    std::vector<std::int64_t> vOrder = io_call.m_node.getIntegers("perm");
    if (vOrder.empty())
    {
        vOrder.resize(value.m_shape.size());
        std::iota(vOrder.rbegin(), vOrder.rend(), 0);
    }
    io_call.give(io_call.m_builder.permute(value, vOrder));
}

void buildExpand(Call& io_call)
{
    const Value& value = io_call.at(0);
    io_call.give(io_call.m_builder.broadcast(value, joinShapes(value.m_shape, getList(io_call, 1, "shape"))));
}

void buildShape(Call& io_call)
{
    const Shape& shape = io_call.at(0).m_shape;
    const auto iRank = static_cast<std::int64_t>(shape.size());
    const auto limit = [iRank](std::int64_t in_iAxis)
    {
        return std::clamp<std::int64_t>(in_iAxis < 0 ? in_iAxis + iRank : in_iAxis, 0, iRank);
    };
    const std::int64_t iStart = limit(io_call.m_node.getInteger("start", 0));
    const std::int64_t iEnd = std::max(iStart, limit(io_call.m_node.getInteger("end", iRank)));
    io_call.give(Builder::newIntegers({iEnd - iStart}, Shape(shape.begin() + iStart, shape.begin() + iEnd)));
}

// Parts

/// Where a slice of one dimension begins, how many elements it has and how far apart they are.
struct Range
{
    std::int64_t m_iFirst;
    std::int64_t m_iCount;
    std::int64_t m_iStep;
};

Range toRange(std::int64_t in_iStart, std::int64_t in_iEnd, std::int64_t in_iStep, std::int64_t in_iSize)
{
    if (in_iStep == 0)
        throw Refusal("a slice with a step of 0");
    const std::int64_t iStep = std::clamp<std::int64_t>(in_iStep, -in_iSize - 1, in_iSize + 1);
    const auto limit = [&](std::int64_t in_iPlace)
    {
        const std::int64_t iPlace = in_iPlace < 0 ? in_iPlace + in_iSize : in_iPlace;
        return iStep > 0 ? std::clamp<std::int64_t>(iPlace, 0, in_iSize)
                         : std::clamp<std::int64_t>(iPlace, -1, in_iSize - 1);
    };
    const std::int64_t iFirst = limit(in_iStart);
    const std::int64_t iDistance = iStep > 0 ? limit(in_iEnd) - iFirst : iFirst - limit(in_iEnd);
    const std::int64_t iCount = iDistance > 0 ? (iDistance - 1) / std::abs(iStep) + 1 : 0;
    return {iCount > 0 ? iFirst : 0, iCount, iStep};
}

void buildSlice(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::vector<std::int64_t> vStarts = getList(io_call, 1, "starts");
    const std::vector<std::int64_t> vEnds = getList(io_call, 2, "ends");
    std::vector<std::int64_t> vAxes = getList(io_call, 3, "axes");
    std::vector<std::int64_t> vSteps = getList(io_call, 4, "steps");
    if (vAxes.empty())
    {
        vAxes.resize(vStarts.size());
        std::iota(vAxes.begin(), vAxes.end(), 0);
    }
    vSteps.resize(vSteps.empty() ? vStarts.size() : vSteps.size(), 1);
    if (vEnds.size() != vStarts.size() || vAxes.size() != vStarts.size() || vSteps.size() != vStarts.size())
        throw Refusal("starts, ends, axes and steps of different length");
    Shape shape = value.m_shape;
    Shape strides = toStrides(shape);
    std::int64_t iFirst = 0;
    for (std::size_t i = 0; i < vStarts.size(); ++i)
    {
        const std::size_t uiAxis = toAxis(vAxes[i], shape.size());
        const Range range = toRange(vStarts[i], vEnds[i], vSteps[i], shape[uiAxis]);
        iFirst += range.m_iFirst * strides[uiAxis];
        shape[uiAxis] = range.m_iCount;
        strides[uiAxis] *= range.m_iStep;
    }
    io_call.give(io_call.m_builder.pick(value, shape, strides, iFirst));
}

void buildSplit(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::size_t uiAxis = toAxis(io_call.m_node.getInteger("axis", 0), value.m_shape.size());
    const auto iParts = static_cast<std::int64_t>(io_call.m_node.getOutputs().size());
    std::vector<std::int64_t> vSizes = getList(io_call, 1, "split");
    if (vSizes.empty())
        vSizes.assign(io_call.m_node.getOutputs().size(), value.m_shape[uiAxis] / iParts);
    const Shape strides = toStrides(value.m_shape);
    std::int64_t iFirst = 0;
    for (const std::int64_t iSize : vSizes)
    {
        Shape shape = value.m_shape;
        shape[uiAxis] = iSize;
        if (iSize <= 0 || iSize > value.m_shape[uiAxis] - iFirst)
            break;
        io_call.give(io_call.m_builder.pick(value, shape, strides, iFirst * strides[uiAxis]));
        iFirst += iSize;
    }
    if (iFirst != value.m_shape[uiAxis])
        throw Refusal("parts of " + toText(vSizes) + " of a dimension of " +
                      std::to_string(value.m_shape[uiAxis]));
}

void buildGather(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::size_t uiAxis = toAxis(io_call.m_node.getInteger("axis", 0), value.m_shape.size());
    const std::vector<std::int64_t> vIndices = getList(io_call, 1, "indices");
    Shape shape(value.m_shape.begin(), value.m_shape.begin() + static_cast<std::ptrdiff_t>(uiAxis));
    const Shape& indexShape = io_call.at(1).m_shape;
    shape.insert(shape.end(), indexShape.begin(), indexShape.end());
    shape.insert(shape.end(), value.m_shape.begin() + static_cast<std::ptrdiff_t>(uiAxis) + 1,
                 value.m_shape.end());
    const std::size_t uiOuter = countPart(value.m_shape, 0, uiAxis);
    const auto uiSize = static_cast<std::size_t>(value.m_shape[uiAxis]);
    const std::size_t uiInner = countPart(value.m_shape, uiAxis + 1, value.m_shape.size());
    std::vector<std::uint32_t> vSources = io_call.m_builder.newSources(shape);
    for (std::size_t i = 0; i < uiOuter; ++i)
        for (const std::int64_t iIndex : vIndices)
            for (std::size_t j = 0; j < uiInner; ++j)
                vSources.push_back(
                    static_cast<std::uint32_t>((i * uiSize + toAxis(iIndex, uiSize)) * uiInner + j));
    io_call.give(io_call.m_builder.gather(value, shape, std::move(vSources)));
}

void buildConcat(Call& io_call)
{
    for (std::size_t i = 0; i < io_call.m_vInputs.size(); ++i)
        io_call.at(i);
    const std::size_t uiAxis = toAxis(io_call.m_node.getInteger("axis", 1), io_call.at(0).m_shape.size());
    io_call.give(io_call.m_builder.concatenate(io_call.m_vInputs, uiAxis));
}

// Constants

/// A tensor of an attribute.
Value toValue(Builder& io_builder, std::string_view in_message)
{
    const Tensor tensor(in_message);
    if (!tensor.isReal())
        return Builder::newIntegers(tensor.getShape(), tensor.getIntegers());
    const Value value = io_builder.newValue(tensor.getShape(), true);
    tensor.copyReals(value.m_place.m_pShared);
    return value;
}

void buildConstant(Call& io_call)
{
    if (const Attribute* pTensor = io_call.m_node.find("value"); pTensor != nullptr && pTensor->m_tensor)
        io_call.give(toValue(io_call.m_builder, *pTensor->m_tensor));
    else if (const Attribute* pReal = io_call.m_node.find("value_float"); pReal != nullptr)
        io_call.give(io_call.m_builder.newConstant({}, {pReal->m_real.value_or(0.0F)}));
    else if (const Attribute* pReals = io_call.m_node.find("value_floats"); pReals != nullptr)
        io_call.give(io_call.m_builder.newConstant({static_cast<std::int64_t>(pReals->m_vReals.size())},
                                                   pReals->m_vReals));
    else if (const Attribute* pInteger = io_call.m_node.find("value_int"); pInteger != nullptr)
        io_call.give(Builder::newIntegers({}, {pInteger->m_integer.value_or(0)}));
    else if (const Attribute* pIntegers = io_call.m_node.find("value_ints"); pIntegers != nullptr)
        io_call.give(Builder::newIntegers({static_cast<std::int64_t>(pIntegers->m_vIntegers.size())},
                                          pIntegers->m_vIntegers));
}

void buildConstantOfShape(Call& io_call)
{
    const Attribute* pValue = io_call.m_node.find("value");
    const Value one = pValue != nullptr && pValue->m_tensor ? toValue(io_call.m_builder, *pValue->m_tensor)
                                                            : io_call.m_builder.newConstant({1}, {0.0F});
    if (one.getCount() != 1)
        throw Refusal("its attribute \"value\" is not one number");
    io_call.give(
        io_call.m_builder.broadcast(io_call.m_builder.reshape(one, {}), getList(io_call, 0, "shape")));
}

void buildCast(Call& io_call)
{
    const Value& value = io_call.at(0);
    const auto iTo = io_call.m_node.getInteger("to", 0);
    const bool bToReal = iTo == static_cast<std::int64_t>(Element::FLOAT);
    const bool bToInteger = iTo == static_cast<std::int64_t>(Element::INT64);
    if (bToReal && !value.m_bReal)
        io_call.give(io_call.m_builder.newConstant(
            value.m_shape, std::vector<float>(value.m_vIntegers.begin(), value.m_vIntegers.end())));
    else if (value.m_bReal ? bToReal : bToInteger)
        io_call.give(value);
    else
        throw Refusal("elements of kind " + nameOfElement(static_cast<std::uint64_t>(iTo)) +
                      " are not supported; FLOAT is");
}

// Arithmetic

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

// Products

void buildMatMul(Call& io_call)
{
    Builder& builder = io_call.m_builder;
    const Value& left = io_call.at(0);
    const Value& right = io_call.at(1);
    if (left.m_shape.empty() || right.m_shape.empty())
        throw Refusal("a product of tensors of shapes " + toText(left.m_shape) + " and " +
                      toText(right.m_shape));
    // A vector is a row on the left and a column on the right, and leaves no dimension behind.
    const bool bRow = left.m_shape.size() == 1;
    const bool bColumn = right.m_shape.size() == 1;
    const Value rows = bRow ? builder.reshape(left, {1, left.m_shape[0]}) : left;
    const Value columns = bColumn ? builder.reshape(right, {right.m_shape[0], 1}) : right;
    const auto uiInner = static_cast<std::size_t>(columns.m_shape[columns.m_shape.size() - 2]);
    const auto uiColumns = static_cast<std::size_t>(columns.m_shape.back());
    Value product;
    if (columns.isConstant() && columns.m_shape.size() == 2 && rows.m_shape.back() == columns.m_shape[0])
    {
        Shape shape = rows.m_shape;
        shape.back() = columns.m_shape.back();
        product = builder.newValue(shape, rows.isConstant());
        builder.multiply(rows.isConstant(), builder.locate(rows), rows.getCount() / uiInner,
                         builder.pack(builder.copyElements(columns).data(), uiInner, uiColumns, uiColumns, 1),
                         builder.newConstant({columns.m_shape.back()}, std::vector<float>(uiColumns)).m_place,
                         product.m_place);
    }
    else
        product = builder.multiply(rows, columns);
    Shape shape = product.m_shape;
    if (bColumn)
        shape.pop_back();
    if (bRow)
        shape.erase(shape.end() - (bColumn ? 1 : 2));
    io_call.give(builder.reshape(product, shape));
}

/// A x B with a constant B, and with a C that is a constant row as the bias.
Value multiplyRows(Call& io_call, const Value& in_rows, bool in_bTransposed, float in_fAlpha,
                   const std::vector<float>& in_vBias, const Shape& in_shape)
{
    Builder& builder = io_call.m_builder;
    std::vector<float> vElements = builder.copyElements(io_call.at(1));
    for (float& fElement : vElements)
        fElement *= in_fAlpha;
    const auto uiRows = static_cast<std::size_t>(in_shape[0]);
    const auto uiColumns = static_cast<std::size_t>(in_shape[1]);
    const std::size_t uiInner = vElements.size() / uiColumns;
    const auto pMatrix = builder.pack(vElements.data(), uiInner, uiColumns, in_bTransposed ? 1 : uiColumns,
                                      in_bTransposed ? uiInner : 1);
    const Place bias = builder.newConstant({in_shape[1]}, in_vBias).m_place;
    const Value product = builder.newValue(in_shape, in_rows.isConstant());
    builder.multiply(in_rows.isConstant(), builder.locate(in_rows), uiRows, pMatrix, bias, product.m_place);
    return product;
}

void buildGemm(Call& io_call)
{
    Builder& builder = io_call.m_builder;
    Node& node = io_call.m_node;
    const bool bTransposed = node.getInteger("transB", 0) != 0;
    const float fAlpha = node.getReal("alpha", 1.0F);
    const float fBeta = node.getReal("beta", 1.0F);
    const Value& right = io_call.at(1);
    if (io_call.at(0).m_shape.size() != 2 || right.m_shape.size() != 2)
        throw Refusal("its inputs are no matrices");
    const Value left =
        node.getInteger("transA", 0) != 0 ? builder.permute(io_call.at(0), {1, 0}) : io_call.at(0);
    const Shape shape{left.m_shape[0], right.m_shape[bTransposed ? 0 : 1]};
    if (left.m_shape[1] != right.m_shape[bTransposed ? 1 : 0])
        throw Refusal("a product of tensors of shapes " + toText(left.m_shape) + " and " +
                      toText(right.m_shape) + (bTransposed ? " transposed" : ""));
    std::vector<float> vBias(static_cast<std::size_t>(shape[1]));
    const bool bRowBias = io_call.has(2) && io_call.at(2).isConstant() &&
                          io_call.at(2).getCount() == vBias.size() &&
                          (shape[1] == 1 || io_call.at(2).m_shape.back() == shape[1]);
    if (bRowBias && right.isConstant())
    {
        vBias = builder.copyElements(io_call.at(2));
        for (float& fBias : vBias)
            fBias *= fBeta;
    }
    Value result =
        right.isConstant()
            ? multiplyRows(io_call, left, bTransposed, fAlpha, vBias, shape)
            : builder.scale(builder.multiply(left, bTransposed ? builder.permute(right, {1, 0}) : right),
                            fAlpha);
    if (io_call.has(2) && !(bRowBias && right.isConstant()))
        result = builder.combine(findBinary("Add"), result,
                                 builder.scale(builder.broadcast(io_call.at(2), shape), fBeta));
    io_call.give(std::move(result));
}

// Convolution: patches of the input side by side, and products of them with the weights

/// One dimension that a kernel moves along.
struct Track
{
    std::int64_t m_iSize;
    std::int64_t m_iKernel;
    std::int64_t m_iStep;
    std::int64_t m_iSpread;
    std::int64_t m_iBefore; ///< zeros in front
    std::int64_t m_iPlaces;
};

/// The d-th of a list of an attribute, within what sizes can be.
std::int64_t getSize(const std::vector<std::int64_t>& in_vSizes, std::size_t in_uiIndex,
                     std::int64_t in_iLeast)
{
    if (in_vSizes.empty())
        return in_iLeast;
    if (in_uiIndex >= in_vSizes.size() || in_vSizes[in_uiIndex] < in_iLeast || in_vSizes[in_uiIndex] > 65536)
        throw Refusal("pads, strides or dilations of " + toText(in_vSizes));
    return in_vSizes[in_uiIndex];
}

std::vector<Track> getTracks(Call& io_call, const Shape& in_input, const Shape& in_weights)
{
    Node& node = io_call.m_node;
    const std::string_view autoPad = node.getText("auto_pad", "NOTSET");
    const bool bSame = autoPad == "SAME_UPPER" || autoPad == "SAME_LOWER";
    if (!bSame && autoPad != "NOTSET" && autoPad != "VALID")
        throw Refusal("its attribute \"auto_pad\" is " + toText(autoPad));
    const std::vector<std::int64_t> vPads = node.getIntegers("pads");
    const std::vector<std::int64_t> vSteps = node.getIntegers("strides");
    const std::vector<std::int64_t> vSpreads = node.getIntegers("dilations");
    const std::vector<std::int64_t> vKernel = node.getIntegers("kernel_shape");
    if (!vKernel.empty() &&
        !std::equal(vKernel.begin(), vKernel.end(), in_weights.begin() + 2, in_weights.end()))
        throw Refusal("a kernel of " + toText(vKernel) + ", but weights of " + toText(in_weights));
    std::vector<Track> vTracks;
    for (std::size_t d = 0; d + 2 < in_input.size(); ++d)
    {
        Track track{in_input[d + 2], in_weights[d + 2], getSize(vSteps, d, 1), getSize(vSpreads, d, 1), 0, 0};
        const std::int64_t iReach = (track.m_iKernel - 1) * track.m_iSpread + 1;
        std::int64_t iPads = 0;
        if (bSame)
        {
            iPads = std::max<std::int64_t>(
                ((track.m_iSize - 1) / track.m_iStep) * track.m_iStep + iReach - track.m_iSize, 0);
            track.m_iBefore = (iPads + (autoPad == "SAME_LOWER" ? 1 : 0)) / 2;
        }
        else if (autoPad == "NOTSET")
        {
            track.m_iBefore = getSize(vPads, d, 0);
            iPads = track.m_iBefore + getSize(vPads, d + in_input.size() - 2, 0);
        }
        if (track.m_iSize + iPads < iReach)
            throw Refusal("a kernel that reaches over " + std::to_string(iReach) + " of " +
                          std::to_string(track.m_iSize + iPads) + " elements");
        track.m_iPlaces = (track.m_iSize + iPads - iReach) / track.m_iStep + 1;
        vTracks.push_back(track);
    }
    return vTracks;
}

/// The element under in_iTap of the kernel when it stands at in_iPlace, both counted over all dimensions;
/// NOTHING beside the input.
std::uint32_t findTap(const std::vector<Track>& in_vTracks, std::int64_t in_iPlace, std::int64_t in_iTap)
{
    std::int64_t iSource = 0;
    std::int64_t iStride = 1;
    for (std::size_t d = in_vTracks.size(); d-- > 0;)
    {
        const Track& track = in_vTracks[d];
        const std::int64_t iAt = in_iPlace % track.m_iPlaces * track.m_iStep +
                                 in_iTap % track.m_iKernel * track.m_iSpread - track.m_iBefore;
        if (iAt < 0 || iAt >= track.m_iSize)
            return Builder::NOTHING;
        iSource += iAt * iStride;
        iStride *= track.m_iSize;
        in_iPlace /= track.m_iPlaces;
        in_iTap /= track.m_iKernel;
    }
    return static_cast<std::uint32_t>(iSource);
}

/// Patches of shape [batch x groups, places, channels of a group x taps].
Value gatherPatches(Builder& io_builder, const Value& in_value, const std::vector<Track>& in_vTracks,
                    std::int64_t in_iGroups, std::int64_t in_iChannels)
{
    std::int64_t iPlaces = 1;
    std::int64_t iTaps = 1;
    for (const Track& track : in_vTracks)
    {
        iPlaces *= track.m_iPlaces;
        iTaps *= track.m_iKernel;
        countElements({iPlaces, iTaps}); // bounds both
    }
    const Shape shape{in_value.m_shape[0] * in_iGroups, iPlaces, in_iChannels * iTaps};
    const auto uiPlane = static_cast<std::uint32_t>(countPart(in_value.m_shape, 2, in_value.m_shape.size()));
    std::vector<std::uint32_t> vSources = io_builder.newSources(shape);
    for (std::int64_t iGroup = 0; iGroup < shape[0]; ++iGroup)
        for (std::int64_t iPlace = 0; iPlace < iPlaces; ++iPlace)
            for (std::int64_t iChannel = iGroup * in_iChannels; iChannel < (iGroup + 1) * in_iChannels;
                 ++iChannel)
                for (std::int64_t iTap = 0; iTap < iTaps; ++iTap)
                {
                    const std::uint32_t uiTap = findTap(in_vTracks, iPlace, iTap);
                    vSources.push_back(uiTap == Builder::NOTHING
                                           ? uiTap
                                           : static_cast<std::uint32_t>(iChannel) * uiPlane + uiTap);
                }
    return io_builder.gather(in_value, shape, std::move(vSources));
}

void buildConv(Call& io_call)
{
    Builder& builder = io_call.m_builder;
    const Value& value = io_call.at(0);
    const Value& weights = io_call.getConstant(1, "W");
    const std::int64_t iGroups = io_call.m_node.getInteger("group", 1);
    const Shape& shape = value.m_shape;
    if (shape.size() < 3 || weights.m_shape.size() != shape.size() || weights.getCount() == 0 ||
        iGroups < 1 || iGroups > shape[1] || weights.m_shape[1] * iGroups != shape[1] ||
        weights.m_shape[0] % iGroups != 0)
        throw Refusal("weights of shape " + toText(weights.m_shape) + " for an input of shape " +
                      toText(shape) + " in " + std::to_string(iGroups) + " groups");
    const std::vector<Track> vTracks = getTracks(io_call, shape, weights.m_shape);
    const Value patches = gatherPatches(builder, value, vTracks, iGroups, weights.m_shape[1]);
    const auto uiOutputs = static_cast<std::size_t>(weights.m_shape[0] / iGroups);
    const auto uiPlaces = static_cast<std::size_t>(patches.m_shape[1]);
    const auto uiInner = static_cast<std::size_t>(patches.m_shape[2]);

    const Place bias = builder.locate(
        io_call.has(2)
            ? builder.reshape(io_call.at(2), {weights.m_shape[0]})
            : builder.newConstant({weights.m_shape[0]},
                                  std::vector<float>(uiOutputs * static_cast<std::size_t>(iGroups))));
    const Value products = builder.newValue(
        {patches.m_shape[0], patches.m_shape[1], static_cast<std::int64_t>(uiOutputs)}, value.isConstant());
    const std::vector<float> vElements = builder.copyElements(weights);
    std::vector<std::shared_ptr<const PackedMatrix>> vMatrices;
    for (std::size_t g = 0; g < static_cast<std::size_t>(iGroups); ++g)
        vMatrices.push_back(
            builder.pack(&vElements[g * uiOutputs * uiInner], uiInner, uiOutputs, 1, uiInner));
    for (std::size_t i = 0; i < static_cast<std::size_t>(patches.m_shape[0]); ++i)
        builder.multiply(value.isConstant(), builder.locate(patches) + i * uiPlaces * uiInner, uiPlaces,
                         vMatrices[i % vMatrices.size()], bias + i % vMatrices.size() * uiOutputs,
                         products.m_place + i * uiPlaces * uiOutputs);

    Shape outputShape{shape[0], weights.m_shape[0]};
    for (const Track& track : vTracks)
        outputShape.push_back(track.m_iPlaces);
    io_call.give(builder.reshape(builder.permute(products, {0, 2, 1}), outputShape));
}

void buildPad(Call& io_call)
{
    const Value& value = io_call.at(0);
    const std::size_t uiRank = value.m_shape.size();
    const std::vector<std::int64_t> vPads = getList(io_call, 1, "pads");
    const std::string_view mode = io_call.m_node.getText("mode", "constant");
    float fValue = io_call.m_node.getReal("value", 0.0F);
    if (io_call.has(2))
        fValue = *io_call.m_builder.locate(io_call.getConstant(2, "constant_value")).in(nullptr);
    if (mode != "constant" || fValue != 0.0F)
        throw Refusal("only zeros are supported beside a tensor");
    std::vector<Track> vTracks;
    Shape shape;
    for (std::size_t d = 0; d < uiRank; ++d)
    {
        const std::int64_t iBefore = getSize(vPads, d, 0);
        const std::int64_t iSize = value.m_shape[d] + iBefore + getSize(vPads, d + uiRank, 0);
        vTracks.push_back({value.m_shape[d], 1, 1, 1, iBefore, iSize});
        shape.push_back(iSize);
    }
    std::vector<std::uint32_t> vSources = io_call.m_builder.newSources(shape);
    const auto iCount = static_cast<std::int64_t>(countElements(shape));
    for (std::int64_t i = 0; i < iCount; ++i)
        vSources.push_back(findTap(vTracks, i, 0));
    io_call.give(io_call.m_builder.gather(value, shape, std::move(vSources)));
}

// The table

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
