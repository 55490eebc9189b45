#pragma once

#include "onnx/WireReader.h"

#include <optional>

namespace Vexalor::MachineLearning::Onnx
{

/// Sizes of a tensor, the slowest first; none for a single number.
using Shape = std::vector<std::int64_t>;

/// Number of elements. Throws Refusal for a size that is negative and for more elements than any network
/// may have.
std::size_t countElements(const Shape& in_shape);

/// A shape as text: "[1, 40]".
std::string toText(const Shape& in_shape);
/// A name of the file, fit for a message.
std::string toText(std::string_view in_name);

/// What elements of a tensor can be here.
enum class Element
{
    FLOAT = 1,
    INT32 = 6,
    INT64 = 7
};

/// "FLOAT" for 1 and so on: the names of the format.
std::string nameOfElement(std::uint64_t in_uiElement);

/// A tensor of the file, whose elements stay there until they are asked for.
class Tensor
{
public:
    /// Throws Refusal for other elements, elements in another file, and more or fewer than the shape has.
    explicit Tensor(std::string_view in_message);

    std::string_view getName() const { return m_name; }
    const Shape& getShape() const { return m_shape; }
    bool isReal() const { return m_element == Element::FLOAT; }
    /// For real elements: room for all of them.
    void copyReals(float* out_pReals) const;
    std::vector<std::int64_t> getIntegers() const;

private:
    void checkElement(std::uint64_t in_uiElement);
    std::size_t countStored() const;

    std::string_view m_message;
    std::string_view m_name;
    Shape m_shape;
    Element m_element = Element::FLOAT;
};

/// What a node has beside its inputs.
struct Attribute
{
    explicit Attribute(std::string_view in_message);

    std::string_view m_name;
    std::optional<std::int64_t> m_integer;
    std::optional<float> m_real;
    std::optional<std::string_view> m_text;
    std::optional<std::string_view> m_tensor;
    std::vector<std::int64_t> m_vIntegers;
    std::vector<float> m_vReals;
    std::vector<std::string_view> m_vTexts;
};

/// An operator with the names of what it takes and gives. Attributes that nobody asked for are an offence:
/// they may change what the operator means.
class Node
{
public:
    explicit Node(std::string_view in_message);

    std::string_view getType() const { return m_type; }
    const std::vector<std::string_view>& getInputs() const { return m_vInputs; }
    const std::vector<std::string_view>& getOutputs() const { return m_vOutputs; }
    bool isOfOnnx() const { return m_domain.empty() || m_domain == "ai.onnx"; }
    /// How messages call it: its name, or that of its output, and its operator.
    std::string getTitle() const;

    /// The attribute of a name; null when there is none.
    const Attribute* find(std::string_view in_name);
    std::int64_t getInteger(std::string_view in_name, std::int64_t in_iDefault);
    float getReal(std::string_view in_name, float in_fDefault);
    std::string_view getText(std::string_view in_name, std::string_view in_default);
    /// Empty when there is none.
    std::vector<std::int64_t> getIntegers(std::string_view in_name);
    /// Throws Refusal when the attribute is there with another value.
    void expectInteger(std::string_view in_name, std::int64_t in_iValue);
    /// Throws Refusal for an attribute that was not asked for.
    void expectAllUsed() const;

private:
    std::string_view m_name;
    std::string_view m_type;
    std::string_view m_domain;
    std::vector<std::string_view> m_vInputs;
    std::vector<std::string_view> m_vOutputs;
    std::vector<Attribute> m_vAttributes;
    std::vector<bool> m_vUsed;
};

/// A value that enters or leaves the network. Sizes that the file leaves open, such as that of a batch,
/// are 1.
struct Port
{
    explicit Port(std::string_view in_message);

    std::string_view m_name;
    std::optional<Shape> m_shape; ///< none when the file gives none
    std::uint64_t m_uiElement = 0;
};

/// An ONNX file: a graph of nodes in the order in which they are computed. Refers to the bytes that it was
/// made from.
struct ModelFile
{
    /// Opsets whose operators are known here.
    static constexpr std::int64_t MIN_OPSET = 9;
    static constexpr std::int64_t MAX_OPSET = 16;
    /// Most nodes, tensors, inputs and outputs, each.
    static constexpr std::size_t MAX_PARTS = 8192;

    /// Throws Refusal for what is no ONNX file or damaged, and for other opsets. Nodes are read later.
    explicit ModelFile(std::string_view in_content);

    std::int64_t m_iOpset = 0;
    std::vector<std::string_view> m_vNodes; ///< a Node is made from each
    std::vector<Tensor> m_vTensors;
    std::vector<Port> m_vInputs;
    std::vector<Port> m_vOutputs;

private:
    void readGraph(std::string_view in_message);
    void readOpset(std::string_view in_message);
};

} // namespace Vexalor::MachineLearning::Onnx
