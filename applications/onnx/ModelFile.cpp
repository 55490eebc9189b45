#include "onnx/ModelFile.h"

#include <algorithm>
#include <cstring>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

constexpr std::size_t MAX_RANK = 8;
/// What a file of the greatest size that is read can hold.
constexpr std::size_t MAX_ELEMENTS = std::size_t(1) << 24;
/// Most inputs and outputs of a node, and its attributes.
constexpr std::size_t MAX_NODE_PARTS = 1024;
constexpr std::size_t MAX_ATTRIBUTES = 64;

template <class Parts>
void expectFew(const Parts& in_parts, std::size_t in_uiMost, const char* in_what)
{
    if (in_parts.size() > in_uiMost)
        throw Refusal("more than " + std::to_string(in_uiMost) + " " + in_what);
}

/// Without bytes there may be no room either.
void copyBytes(std::string_view in_bytes, float* out_pReals)
{
    if (!in_bytes.empty())
        std::memcpy(out_pReals, in_bytes.data(), in_bytes.size());
}

/// A size of a port: 1 where the file has a name or nothing.
std::int64_t readSize(std::string_view in_message)
{
    std::int64_t iSize = 1;
    for (WireReader reader(in_message); reader.next();)
        if (reader.getField() == 1) // dim_value
            iSize = reader.getInteger();
    return iSize;
}

Shape readShape(std::string_view in_message)
{
    Shape shape;
    for (WireReader reader(in_message); reader.next();)
        if (reader.getField() == 1) // dim
        {
            shape.push_back(readSize(reader.getBytes()));
            expectFew(shape, MAX_RANK, "dimensions");
        }
    return shape;
}

} // namespace

std::size_t countElements(const Shape& in_shape)
{
    expectFew(in_shape, MAX_RANK, "dimensions");
    std::size_t uiCount = 1;
    bool bEmpty = false;
    for (const std::int64_t iSize : in_shape)
    {
        if (iSize < 0)
            throw Refusal("a tensor of shape " + toText(in_shape));
        bEmpty = bEmpty || iSize == 0;
        // Other sizes of an empty tensor count, so that products of some of them are bounded too.
        const auto uiSize = static_cast<std::uint64_t>(std::max<std::int64_t>(iSize, 1));
        if (uiSize > MAX_ELEMENTS / uiCount)
            throw Refusal("a tensor of shape " + toText(in_shape) + " is too large");
        uiCount *= uiSize;
    }
    return bEmpty ? 0 : uiCount;
}

std::string toText(const Shape& in_shape)
{
    std::string strText = "[";
    for (const std::int64_t iSize : in_shape)
        strText += (strText.size() > 1 ? ", " : "") + std::to_string(iSize);
    return strText + "]";
}

std::string toText(std::string_view in_name)
{
    std::string strText(in_name.substr(0, 80));
    std::replace_if(
        strText.begin(), strText.end(), [](char in_c) { return in_c < ' ' || in_c > '~'; }, '?');
    return '"' + strText + '"';
}

std::string nameOfElement(std::uint64_t in_uiElement)
{
    static constexpr const char* NAMES[] = {"UNDEFINED", "FLOAT",  "UINT8",  "INT8",   "UINT16",
                                            "INT16",     "INT32",  "INT64",  "STRING", "BOOL",
                                            "FLOAT16",   "DOUBLE", "UINT32", "UINT64"};
    return in_uiElement < std::size(NAMES) ? NAMES[in_uiElement] : "type " + std::to_string(in_uiElement);
}

Tensor::Tensor(std::string_view in_message)
    : m_message(in_message)
{
    std::uint64_t uiElement = 0;
    bool bElsewhere = false;
    for (WireReader reader(in_message); reader.next();)
        switch (reader.getField())
        {
        case 1: // dims
            reader.appendIntegers(m_shape);
            expectFew(m_shape, MAX_RANK, "dimensions");
            break;
        case 2: // data_type
            uiElement = reader.getNumber();
            break;
        case 8: // name
            m_name = reader.getBytes();
            break;
        case 13: // external_data
            bElsewhere = true;
            break;
        case 14: // data_location
            bElsewhere = bElsewhere || reader.getNumber() != 0;
            break;
        }
    if (bElsewhere)
        throw Refusal("tensor " + toText(m_name) + ": its data are in another file");
    checkElement(uiElement);
    if (countStored() != countElements(m_shape))
        throw Refusal("tensor " + toText(m_name) + ": shape " + toText(m_shape) + ", but " +
                      std::to_string(countStored()) + " elements");
}

void Tensor::checkElement(std::uint64_t in_uiElement)
{
    m_element = static_cast<Element>(in_uiElement);
    if (m_element != Element::FLOAT && m_element != Element::INT32 && m_element != Element::INT64)
        throw Refusal("tensor " + toText(m_name) + ": elements of kind " + nameOfElement(in_uiElement) +
                      " are not supported; FLOAT is");
}

std::size_t Tensor::countStored() const
{
    if (!isReal())
        return getIntegers().size();
    std::size_t uiBytes = 0;
    for (WireReader reader(m_message); reader.next();)
        if (reader.getField() == 4) // float_data
            uiBytes += reader.getRealBytes().size();
        else if (reader.getField() == 9) // raw_data
            uiBytes += reader.getBytes().size();
    return uiBytes % sizeof(float) == 0 ? uiBytes / sizeof(float) : MAX_ELEMENTS + 1;
}

void Tensor::copyReals(float* out_pReals) const
{
    for (WireReader reader(m_message); reader.next();)
        if (reader.getField() == 4 || reader.getField() == 9)
        {
            const std::string_view bytes = reader.getField() == 4 ? reader.getRealBytes() : reader.getBytes();
            copyBytes(bytes, out_pReals);
            out_pReals += bytes.size() / sizeof(float);
        }
}

std::vector<std::int64_t> Tensor::getIntegers() const
{
    std::vector<std::int64_t> vIntegers;
    const std::size_t uiWidth = m_element == Element::INT32 ? 4 : 8;
    for (WireReader reader(m_message); reader.next();)
        if (reader.getField() == 5 || reader.getField() == 7) // int32_data, int64_data
            reader.appendIntegers(vIntegers);
        else if (reader.getField() == 9) // raw_data
        {
            const std::string_view bytes = reader.getBytes();
            if (bytes.size() % uiWidth != 0 || bytes.size() / uiWidth > WireReader::MAX_INTEGERS)
                throw Refusal("tensor " + toText(m_name) + ": " + std::to_string(bytes.size()) +
                              " bytes of integers");
            for (std::size_t i = 0; i < bytes.size(); i += uiWidth)
            {
                std::int32_t iShort = 0;
                std::int64_t iLong = 0;
                std::memcpy(uiWidth == 4 ? static_cast<void*>(&iShort) : &iLong, &bytes[i], uiWidth);
                vIntegers.push_back(uiWidth == 4 ? iShort : iLong);
            }
        }
    return vIntegers;
}

Attribute::Attribute(std::string_view in_message)
{
    for (WireReader reader(in_message); reader.next();)
        switch (reader.getField())
        {
        case 1: // name
            m_name = reader.getBytes();
            break;
        case 2: // f
            m_real = reader.getReal();
            break;
        case 3: // i
            m_integer = reader.getInteger();
            break;
        case 4: // s
            m_text = reader.getBytes();
            break;
        case 5: // t
            m_tensor = reader.getBytes();
            break;
        case 7: // floats
        {
            const std::string_view bytes = reader.getRealBytes();
            const std::size_t uiStart = m_vReals.size();
            m_vReals.resize(uiStart + bytes.size() / sizeof(float));
            copyBytes(bytes, m_vReals.data() + uiStart);
            break;
        }
        case 8: // ints
            reader.appendIntegers(m_vIntegers);
            break;
        case 9: // strings
            m_vTexts.push_back(reader.getBytes());
            expectFew(m_vTexts, MAX_NODE_PARTS, "texts of an attribute");
            break;
        }
}

Node::Node(std::string_view in_message)
{
    for (WireReader reader(in_message); reader.next();)
        switch (reader.getField())
        {
        case 1: // input
            m_vInputs.push_back(reader.getBytes());
            expectFew(m_vInputs, MAX_NODE_PARTS, "inputs of a node");
            break;
        case 2: // output
            m_vOutputs.push_back(reader.getBytes());
            expectFew(m_vOutputs, MAX_NODE_PARTS, "outputs of a node");
            break;
        case 3: // name
            m_name = reader.getBytes();
            break;
        case 4: // op_type
            m_type = reader.getBytes();
            break;
        case 5: // attribute
            m_vAttributes.emplace_back(reader.getBytes());
            expectFew(m_vAttributes, MAX_ATTRIBUTES, "attributes of a node");
            break;
        case 7: // domain
            m_domain = reader.getBytes();
            break;
        }
    m_vUsed.resize(m_vAttributes.size());
}

std::string Node::getTitle() const
{
    const std::string_view name = m_name.empty() && !m_vOutputs.empty() ? m_vOutputs[0] : m_name;
    const std::string strType = toText(isOfOnnx() ? m_type : m_domain);
    return "node " + toText(name) + " (" + strType.substr(1, strType.size() - 2) + ")";
}

const Attribute* Node::find(std::string_view in_name)
{
    for (std::size_t i = 0; i < m_vAttributes.size(); ++i)
        if (m_vAttributes[i].m_name == in_name)
        {
            m_vUsed[i] = true;
            return &m_vAttributes[i];
        }
    return nullptr;
}

std::int64_t Node::getInteger(std::string_view in_name, std::int64_t in_iDefault)
{
    const Attribute* pAttribute = find(in_name);
    return pAttribute == nullptr ? in_iDefault : pAttribute->m_integer.value_or(0);
}

float Node::getReal(std::string_view in_name, float in_fDefault)
{
    const Attribute* pAttribute = find(in_name);
    return pAttribute == nullptr ? in_fDefault : pAttribute->m_real.value_or(0.0F);
}

std::string_view Node::getText(std::string_view in_name, std::string_view in_default)
{
    const Attribute* pAttribute = find(in_name);
    return pAttribute == nullptr ? in_default : pAttribute->m_text.value_or(std::string_view());
}

std::vector<std::int64_t> Node::getIntegers(std::string_view in_name)
{
    const Attribute* pAttribute = find(in_name);
    return pAttribute == nullptr ? std::vector<std::int64_t>() : pAttribute->m_vIntegers;
}

void Node::expectInteger(std::string_view in_name, std::int64_t in_iValue)
{
    const std::int64_t iValue = getInteger(in_name, in_iValue);
    if (iValue != in_iValue)
        throw Refusal("its attribute " + toText(in_name) + " is " + std::to_string(iValue) + ", only " +
                      std::to_string(in_iValue) + " is supported");
}

void Node::expectAllUsed() const
{
    for (std::size_t i = 0; i < m_vAttributes.size(); ++i)
        if (!m_vUsed[i])
            throw Refusal("its attribute " + toText(m_vAttributes[i].m_name) + " is not supported");
}

Port::Port(std::string_view in_message)
{
    std::string_view type;
    std::string_view tensor;
    for (WireReader reader(in_message); reader.next();)
        if (reader.getField() == 1) // name
            m_name = reader.getBytes();
        else if (reader.getField() == 2) // type
            type = reader.getBytes();
    for (WireReader reader(type); reader.next();)
        if (reader.getField() == 1) // tensor_type
            tensor = reader.getBytes();
    for (WireReader reader(tensor); reader.next();)
        if (reader.getField() == 1) // elem_type
            m_uiElement = reader.getNumber();
        else if (reader.getField() == 2) // shape
            m_shape = readShape(reader.getBytes());
}

ModelFile::ModelFile(std::string_view in_content)
{
    std::optional<std::string_view> graph;
    for (WireReader reader(in_content); reader.next();)
        if (reader.getField() == 7 && graph) // graph
            throw Refusal("the file is damaged: two graphs");
        else if (reader.getField() == 7)
            graph = reader.getBytes();
        else if (reader.getField() == 8) // opset_import
            readOpset(reader.getBytes());
    if (!graph)
        throw Refusal("no ONNX file: it has no graph");
    if (m_iOpset < MIN_OPSET || m_iOpset > MAX_OPSET)
        throw Refusal("opset " + std::to_string(m_iOpset) + " is not supported; " +
                      std::to_string(MIN_OPSET) + " to " + std::to_string(MAX_OPSET) + " are");
    readGraph(*graph);
}

void ModelFile::readOpset(std::string_view in_message)
{
    std::string_view domain;
    std::int64_t iVersion = 0;
    for (WireReader reader(in_message); reader.next();)
        if (reader.getField() == 1) // domain
            domain = reader.getBytes();
        else if (reader.getField() == 2) // version
            iVersion = reader.getInteger();
    if (domain.empty() || domain == "ai.onnx")
        m_iOpset = iVersion;
}

void ModelFile::readGraph(std::string_view in_message)
{
    for (WireReader reader(in_message); reader.next();)
        switch (reader.getField())
        {
        case 1: // node
            m_vNodes.push_back(reader.getBytes());
            expectFew(m_vNodes, MAX_PARTS, "nodes");
            break;
        case 5: // initializer
            m_vTensors.emplace_back(reader.getBytes());
            expectFew(m_vTensors, MAX_PARTS, "tensors");
            break;
        case 11: // input
            m_vInputs.emplace_back(reader.getBytes());
            expectFew(m_vInputs, MAX_PARTS, "inputs");
            break;
        case 12: // output
            m_vOutputs.emplace_back(reader.getBytes());
            expectFew(m_vOutputs, MAX_PARTS, "outputs");
            break;
        }
}

} // namespace Vexalor::MachineLearning::Onnx
