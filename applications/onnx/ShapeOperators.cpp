// Operators that only give a value another shape, or tell it.

#include "onnx/Operators.h"

#include <algorithm>
#include <numeric>

namespace Vexalor::MachineLearning::Onnx
{

void buildIdentity(Call& io_call)
{
    io_call.m_node.find("ratio"); // of Dropout, which does nothing but in training
    io_call.m_node.find("seed");
    io_call.give(io_call.at(0));
}

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

} // namespace Vexalor::MachineLearning::Onnx
