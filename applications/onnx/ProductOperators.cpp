// Products of matrices.

#include "onnx/Operators.h"

#include <algorithm>

namespace Vexalor::MachineLearning::Onnx
{

void buildMatMul(Call& io_call)
{
    Builder& builder = io_call.m_builder;
    const Value& left = io_call.at(0);
    const Value& right = io_call.at(1);
    if (left.m_shape.empty() || right.m_shape.empty())
        throw Refusal("a product of tensors of shapes " + toText(left.m_shape) + " and " +
                      toText(right.m_shape));
    // A vector is a row on the left and a column on the right, and adds no dimension to the product.
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

namespace
{

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

} // namespace

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

} // namespace Vexalor::MachineLearning::Onnx
