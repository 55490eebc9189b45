// Operators that make constants.

#include "onnx/Operators.h"

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

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

} // namespace

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

} // namespace Vexalor::MachineLearning::Onnx
