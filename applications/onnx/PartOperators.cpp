// Operators that take a value apart and put values together.

#include "onnx/Operators.h"

#include <algorithm>
#include <numeric>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

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

} // namespace

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

} // namespace Vexalor::MachineLearning::Onnx
