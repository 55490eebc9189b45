#pragma once

#include "onnx/Kernels.h"
#include "onnx/ModelFile.h"
#include "onnx/Program.h"

#include <array>
#include <map>

namespace Vexalor::MachineLearning::Onnx
{

/// A value of the graph while it is built: numbers that are computed for each pattern, or constant. Integers
/// are always constant: they come from shapes and end in shapes.
struct Value
{
    Shape m_shape;
    bool m_bReal = true;
    std::vector<std::int64_t> m_vIntegers;
    const Tensor* m_pTensor = nullptr; ///< a constant of the file that has no place yet
    Place m_place;

    bool isConstant() const { return m_pTensor != nullptr || m_place.m_pShared != nullptr || !m_bReal; }
    std::size_t getCount() const { return countElements(m_shape); }
};

/// Turns values into values by adding steps to a program. What depends on constants only is computed at once
/// and becomes a constant. Throws Refusal for what does not fit together, for a network that needs more
/// memory than a multiple of its file, and for one that takes longer than any detector may.
class Builder
{
public:
    /// Most multiplications a pattern; a tenth of a second.
    static constexpr std::size_t MAX_WORK = 100'000'000;

    explicit Builder(std::size_t in_uiFileSize);

    Program takeProgram() { return std::move(m_program); }

    /// Room in the memory of each clone, or a place for all clones.
    Place allocate(std::size_t in_uiCount, bool in_bShared);
    /// Counts a value that is kept while the program is built.
    void countValue(const Value& in_value);
    /// Adds a step, or does it now where all it needs is constant. Work is in multiplications.
    void addStep(bool in_bNow, std::size_t in_uiWork, Step in_step);
    /// Copies rows of in_uiCount elements that lie one after the other to places in_uiStep apart.
    void addCopies(bool in_bNow, Place in_input, std::size_t in_uiRows, std::size_t in_uiCount,
                   std::size_t in_uiStep, Place in_output);
    /// Where a value lies. Constants of the file are copied there when first asked for.
    Place locate(const Value& in_value);
    /// A copy of the elements of a constant.
    std::vector<float> copyElements(const Value& in_value);

    /// Values made from numbers.
    Value newConstant(Shape in_shape, const std::vector<float>& in_vElements);
    static Value newIntegers(Shape in_shape, std::vector<std::int64_t> in_vIntegers);
    /// Room for a value that a step of the caller's computes.
    Value newValue(Shape in_shape, bool in_bConstant);

    /// The same elements in the same order.
    Value reshape(const Value& in_value, Shape in_shape);
    /// Each element from any other; NOTHING is a zero.
    Value gather(const Value& in_value, Shape in_shape, std::vector<std::uint32_t> in_vSources);
    static constexpr std::uint32_t NOTHING = 0xFFFFFFFF;
    /// An empty list with room for the sources of a shape.
    std::vector<std::uint32_t> newSources(const Shape& in_shape) const;
    /// Elements that lie in_strides apart in each dimension, from in_iFirst on.
    Value pick(const Value& in_value, Shape in_shape, const Shape& in_strides, std::int64_t in_iFirst);
    Value permute(const Value& in_value, const std::vector<std::int64_t>& in_vOrder);
    /// By the rule of the format: sizes of 1 are repeated, missing ones in front are 1.
    Value broadcast(const Value& in_value, const Shape& in_shape);
    Value concatenate(const std::vector<const Value*>& in_values, std::size_t in_uiAxis);

    Value apply(UnaryKernel in_kernel, const Value& in_value, std::array<float, 2> in_arguments = {});
    Value combine(BinaryKernel in_kernel, const Value& in_left, const Value& in_right);
    Value scale(const Value& in_value, float in_fFactor);
    /// One number of each row of the last dimension.
    Value reduce(ReduceKernel in_kernel, const Value& in_value, std::size_t in_uiCount, Shape in_shape);
    /// Over the dimensions from in_uiAxis on up to in_uiEnd, taken as one.
    Value softmax(const Value& in_value, std::size_t in_uiAxis, std::size_t in_uiEnd, bool in_bLogarithm);

    /// Lays out a constant matrix for products.
    std::shared_ptr<const PackedMatrix> pack(const float* in_pElements, std::size_t in_uiRows,
                                             std::size_t in_uiColumns, std::size_t in_uiRowStep,
                                             std::size_t in_uiColumnStep);
    /// Rows times a packed matrix plus the bias, from and to in_input and in_output.
    void multiply(bool in_bNow, Place in_input, std::size_t in_uiRows,
                  std::shared_ptr<const PackedMatrix> in_pMatrix, Place in_bias, Place in_output);
    /// Products of matrices, the last two dimensions of tensors; the others are made the same.
    Value multiply(const Value& in_left, const Value& in_right);

    /// A value that comes in as what another was in the pattern before. All
    /// states are added before the input. It starts at in_pStart, or at 0 when that is null.
    Value addState(const Port& in_port, const Tensor* in_pStart);
    void bindState(const Value& in_state, const Value& in_next);
    Value addInput(const Shape& in_shape);
    void setOutput(const Value& in_output);

private:
    void takeMemory(std::size_t in_uiElements);

    Program m_program;
    std::size_t m_uiMemoryLeft; ///< in elements, of all kinds
    std::size_t m_uiWorkLeft = MAX_WORK;
    std::map<const Tensor*, Place> m_tensorPlaces;
};

/// The shape that two shapes are both repeated to.
Shape joinShapes(const Shape& in_left, const Shape& in_right);
/// A dimension counted from the end when negative.
std::size_t toAxis(std::int64_t in_iAxis, std::size_t in_uiRank);
/// How far apart neighbours of each dimension lie.
Shape toStrides(const Shape& in_shape);
/// Number of elements of the dimensions from in_uiBegin up to in_uiEnd.
std::size_t countPart(const Shape& in_shape, std::size_t in_uiBegin, std::size_t in_uiEnd);

} // namespace Vexalor::MachineLearning::Onnx
