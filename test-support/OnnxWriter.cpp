#include "test-support/OnnxWriter.h"

#include <cstring>

namespace Vexalor::Testing
{

namespace
{

std::string varint(std::uint64_t in_uiNumber)
{
    std::string strBytes;
    for (; in_uiNumber > 127; in_uiNumber >>= 7)
        strBytes += static_cast<char>(in_uiNumber | 128);
    return strBytes + static_cast<char>(in_uiNumber);
}

std::string rawReals(const std::vector<float>& in_vReals)
{
    std::string strBytes(in_vReals.size() * sizeof(float), '\0');
    if (!in_vReals.empty())
        std::memcpy(strBytes.data(), in_vReals.data(), strBytes.size());
    return strBytes;
}

/// The kinds of attributes, as the format counts them.
enum AttributeKind
{
    REAL = 1,
    INTEGER,
    TEXT,
    TENSOR,
    INTEGERS = 7,
    TEXTS
};

std::string attribute(const std::string& in_strName, AttributeKind in_kind, const std::string& in_strValue)
{
    return OnnxWriter::bytes(1, in_strName) + in_strValue + OnnxWriter::number(20, in_kind);
}

} // namespace

std::string OnnxWriter::number(int in_iField, std::int64_t in_iNumber)
{
    return varint(static_cast<std::uint64_t>(in_iField) << 3) +
           varint(static_cast<std::uint64_t>(in_iNumber));
}

std::string OnnxWriter::bytes(int in_iField, std::string_view in_bytes)
{
    return varint(static_cast<std::uint64_t>(in_iField) << 3 | 2) + varint(in_bytes.size()) +
           std::string(in_bytes);
}

std::string OnnxWriter::reals(int in_iField, const std::vector<float>& in_vReals)
{
    return bytes(in_iField, rawReals(in_vReals));
}

std::string OnnxWriter::integer(const std::string& in_strName, std::int64_t in_iValue)
{
    return attribute(in_strName, INTEGER, number(3, in_iValue));
}

std::string OnnxWriter::integers(const std::string& in_strName, const Sizes& in_vValues)
{
    std::string strValues;
    for (const std::int64_t iValue : in_vValues)
        strValues += number(8, iValue);
    return attribute(in_strName, INTEGERS, strValues);
}

std::string OnnxWriter::real(const std::string& in_strName, float in_fValue)
{
    return attribute(in_strName, REAL, varint(2 << 3 | 5) + rawReals({in_fValue}));
}

std::string OnnxWriter::text(const std::string& in_strName, const std::string& in_strValue)
{
    return attribute(in_strName, TEXT, bytes(4, in_strValue));
}

std::string OnnxWriter::texts(const std::string& in_strName, const Names& in_vValues)
{
    std::string strValues;
    for (const std::string& strValue : in_vValues)
        strValues += bytes(9, strValue);
    return attribute(in_strName, TEXTS, strValues);
}

std::string OnnxWriter::tensor(const std::string& in_strName, const std::string& in_strTensor)
{
    return attribute(in_strName, TENSOR, bytes(5, in_strTensor));
}

std::string OnnxWriter::newTensor(const std::string& in_strName, const Sizes& in_vSizes,
                                  const std::vector<float>& in_vReals)
{
    std::string strTensor;
    for (const std::int64_t iSize : in_vSizes)
        strTensor += number(1, iSize);
    return strTensor + number(2, 1) + bytes(8, in_strName) + bytes(9, rawReals(in_vReals));
}

std::string OnnxWriter::newIntegers(const std::string& in_strName, const Sizes& in_vValues)
{
    std::string strTensor = number(1, static_cast<std::int64_t>(in_vValues.size())) + number(2, 7);
    for (const std::int64_t iValue : in_vValues)
        strTensor += number(7, iValue);
    return strTensor + bytes(8, in_strName);
}

std::string OnnxWriter::port(int in_iField, const std::string& in_strName, const Sizes& in_vSizes)
{
    std::string strShape;
    for (const std::int64_t iSize : in_vSizes)
        strShape += bytes(1, iSize == -1 ? bytes(2, "batch") : number(1, iSize));
    const std::string strType = number(1, 1) + bytes(2, strShape);
    return bytes(in_iField, bytes(1, in_strName) + bytes(2, bytes(1, strType)));
}

OnnxWriter& OnnxWriter::add(const std::string& in_strGraphField)
{
    m_strGraph += in_strGraphField;
    return *this;
}

OnnxWriter& OnnxWriter::input(const std::string& in_strName, const Sizes& in_vSizes)
{
    return add(port(11, in_strName, in_vSizes));
}

OnnxWriter& OnnxWriter::output(const std::string& in_strName)
{
    return add(port(12, in_strName, {}));
}

OnnxWriter& OnnxWriter::constant(const std::string& in_strName, const Sizes& in_vSizes,
                                 const std::vector<float>& in_vReals)
{
    return add(bytes(5, newTensor(in_strName, in_vSizes, in_vReals)));
}

OnnxWriter& OnnxWriter::constantIntegers(const std::string& in_strName, const Sizes& in_vValues)
{
    return add(bytes(5, newIntegers(in_strName, in_vValues)));
}

OnnxWriter& OnnxWriter::node(const std::string& in_strType, const Names& in_vInputs, const Names& in_vOutputs,
                             const std::vector<std::string>& in_vAttributes, const std::string& in_strName)
{
    std::string strNode;
    for (const std::string& strInput : in_vInputs)
        strNode += bytes(1, strInput);
    for (const std::string& strOutput : in_vOutputs)
        strNode += bytes(2, strOutput);
    strNode += bytes(3, in_strName) + bytes(4, in_strType);
    for (const std::string& strAttribute : in_vAttributes)
        strNode += bytes(5, strAttribute);
    return add(bytes(1, strNode));
}

std::string OnnxWriter::getFile(std::int64_t in_iOpset) const
{
    return number(1, 8) + bytes(7, m_strGraph) + bytes(8, bytes(1, "") + number(2, in_iOpset));
}

} // namespace Vexalor::Testing
