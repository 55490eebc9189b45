#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::Testing
{

/// Writes ONNX files field by field, sound ones and others: bytes of messages are plain strings, and a file
/// is made of what was added, in that order.
class OnnxWriter
{
public:
    using Sizes = std::vector<std::int64_t>;
    using Names = std::vector<std::string>;

    /// A field of a message: a number, a text or a message, a list of numbers.
    static std::string number(int in_iField, std::int64_t in_iNumber);
    static std::string bytes(int in_iField, std::string_view in_bytes);
    static std::string reals(int in_iField, const std::vector<float>& in_vReals);

    /// Attributes of a node.
    static std::string integer(const std::string& in_strName, std::int64_t in_iValue);
    static std::string integers(const std::string& in_strName, const Sizes& in_vValues);
    static std::string real(const std::string& in_strName, float in_fValue);
    static std::string text(const std::string& in_strName, const std::string& in_strValue);
    static std::string texts(const std::string& in_strName, const Names& in_vValues);
    static std::string tensor(const std::string& in_strName, const std::string& in_strTensor);

    /// Tensors of single-precision numbers and of integers.
    static std::string newTensor(const std::string& in_strName, const Sizes& in_vSizes,
                                 const std::vector<float>& in_vReals);
    static std::string newIntegers(const std::string& in_strName, const Sizes& in_vValues);

    /// A size of -1 is one that the file leaves open.
    OnnxWriter& input(const std::string& in_strName, const Sizes& in_vSizes);
    OnnxWriter& output(const std::string& in_strName);
    OnnxWriter& constant(const std::string& in_strName, const Sizes& in_vSizes,
                         const std::vector<float>& in_vReals);
    OnnxWriter& constantIntegers(const std::string& in_strName, const Sizes& in_vValues);
    OnnxWriter& node(const std::string& in_strType, const Names& in_vInputs, const Names& in_vOutputs,
                     const std::vector<std::string>& in_vAttributes = {}, const std::string& in_strName = {});
    OnnxWriter& add(const std::string& in_strGraphField);

    std::string getFile(std::int64_t in_iOpset = 13) const;

private:
    static std::string port(int in_iField, const std::string& in_strName, const Sizes& in_vSizes);

    std::string m_strGraph;
};

} // namespace Vexalor::Testing
