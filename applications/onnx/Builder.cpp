#include "onnx/Builder.h"

#include <algorithm>
#include <numeric>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

/// Elements that any network may take beside what its weights do: 8 MiB.
constexpr std::size_t FREE_ELEMENTS = std::size_t(1) << 21;
/// What a step counts for, and a value.
constexpr std::size_t STEP_ELEMENTS = 64;
constexpr std::size_t VALUE_ELEMENTS = 64;
/// What an integer counts for.
constexpr std::size_t INTEGER_ELEMENTS = sizeof(std::int64_t) / sizeof(float);

constexpr const char* TOO_MUCH_MEMORY = "the network needs too much memory";

void expectFewIntegers(const Shape& in_shape)
{
    if (countElements(in_shape) > WireReader::MAX_INTEGERS)
        throw Refusal("more than " + std::to_string(WireReader::MAX_INTEGERS) + " integers");
}

bool isRun(const std::vector<std::uint32_t>& in_vSources)
{
    for (std::size_t i = 0; i < in_vSources.size(); ++i)
        if (in_vSources[i] == Builder::NOTHING || in_vSources[i] != in_vSources[0] + i)
            return false;
    return true;
}

/// Calls a function with the place that each element of a shape is at, by strides.
template <class Function>
void forEachPlace(const Shape& in_shape, const Shape& in_strides, std::int64_t in_iFirst,
                  Function in_function)
{
    Shape index(in_shape.size(), 0);
    const std::size_t uiCount = countElements(in_shape);
    for (std::size_t i = 0; i < uiCount; ++i)
    {
        in_function(in_iFirst);
        for (std::size_t d = in_shape.size(); d-- > 0;)
        {
            in_iFirst += in_strides[d];
            if (++index[d] < in_shape[d])
                break;
            in_iFirst -= in_shape[d] * in_strides[d];
            index[d] = 0;
        }
    }
}

} // namespace

Shape joinShapes(const Shape& in_left, const Shape& in_right)
{
    Shape shape(std::max(in_left.size(), in_right.size()), 1);
    for (std::size_t i = 0; i < shape.size(); ++i)
    {
        const std::int64_t iLeft = i < in_left.size() ? in_left[in_left.size() - 1 - i] : 1;
        const std::int64_t iRight = i < in_right.size() ? in_right[in_right.size() - 1 - i] : 1;
        if (iLeft != iRight && iLeft != 1 && iRight != 1)
            throw Refusal("shapes " + toText(in_left) + " and " + toText(in_right) + " do not fit together");
        shape[shape.size() - 1 - i] = iLeft == 1 ? iRight : iLeft;
    }
    return shape;
}

std::size_t toAxis(std::int64_t in_iAxis, std::size_t in_uiRank)
{
    const auto iRank = static_cast<std::int64_t>(in_uiRank);
    if (in_iAxis < -iRank || in_iAxis >= iRank)
        throw Refusal("axis " + std::to_string(in_iAxis) + " of a tensor of " + std::to_string(in_uiRank) +
                      " dimensions");
    return static_cast<std::size_t>(in_iAxis < 0 ? in_iAxis + iRank : in_iAxis);
}

Shape toStrides(const Shape& in_shape)
{
    Shape strides(in_shape.size(), 1);
    for (std::size_t d = in_shape.size(); d-- > 1;)
        strides[d - 1] = strides[d] * in_shape[d];
    return strides;
}

std::size_t countPart(const Shape& in_shape, std::size_t in_uiBegin, std::size_t in_uiEnd)
{
    std::size_t uiCount = 1;
    for (std::size_t d = in_uiBegin; d < in_uiEnd; ++d)
        uiCount *= static_cast<std::size_t>(in_shape[d]);
    return uiCount;
}

Builder::Builder(std::size_t in_uiFileSize)
    // Twice the weights: as they stand in the file and as they are laid out for products.
    : m_uiMemoryLeft(FREE_ELEMENTS + 2 * in_uiFileSize / sizeof(float))
{
}

void Builder::takeMemory(std::size_t in_uiElements)
{
    if (in_uiElements > m_uiMemoryLeft)
        throw Refusal(TOO_MUCH_MEMORY);
    m_uiMemoryLeft -= in_uiElements;
}

Place Builder::allocate(std::size_t in_uiCount, bool in_bShared)
{
    takeMemory(in_uiCount);
    if (in_bShared)
    {
        m_program.m_vShared.push_back(std::make_unique<float[]>(in_uiCount));
        return {m_program.m_vShared.back().get(), 0};
    }
    m_program.m_uiMemory += in_uiCount;
    return {nullptr, m_program.m_uiMemory - in_uiCount};
}

void Builder::countValue(const Value& in_value)
{
    takeMemory(VALUE_ELEMENTS + INTEGER_ELEMENTS * in_value.m_vIntegers.size());
}

void Builder::addStep(bool in_bNow, std::size_t in_uiWork, Step in_step)
{
    takeMemory(STEP_ELEMENTS);
    if (in_uiWork > m_uiWorkLeft)
        throw Refusal("the network takes more than " + std::to_string(MAX_WORK) +
                      " multiplications a pattern");
    m_uiWorkLeft -= in_uiWork;
    if (in_bNow)
        in_step(nullptr);
    else
        m_program.m_vSteps.push_back(std::move(in_step));
}

Place Builder::locate(const Value& in_value)
{
    if (!in_value.m_bReal)
        throw Refusal("integers are supported in shapes only");
    if (in_value.getCount() == 0)
        throw Refusal("a tensor of shape " + toText(in_value.m_shape) + " is empty");
    if (in_value.m_pTensor == nullptr)
        return in_value.m_place;
    const auto [entry, bNew] = m_tensorPlaces.try_emplace(in_value.m_pTensor);
    if (bNew)
    {
        entry->second = allocate(in_value.getCount(), true);
        in_value.m_pTensor->copyReals(entry->second.m_pShared);
    }
    return entry->second;
}

std::vector<float> Builder::copyElements(const Value& in_value)
{
    std::vector<float> vElements(in_value.getCount());
    if (in_value.m_pTensor != nullptr)
        in_value.m_pTensor->copyReals(vElements.data());
    else
        std::copy_n(locate(in_value).in(nullptr), vElements.size(), vElements.begin());
    return vElements;
}

Value Builder::newConstant(Shape in_shape, const std::vector<float>& in_vElements)
{
    const Value value = newValue(std::move(in_shape), true);
    std::copy(in_vElements.begin(), in_vElements.end(), value.m_place.m_pShared);
    return value;
}

Value Builder::newIntegers(Shape in_shape, std::vector<std::int64_t> in_vIntegers)
{
    return {std::move(in_shape), false, std::move(in_vIntegers), nullptr, {}};
}

Value Builder::newValue(Shape in_shape, bool in_bConstant)
{
    const std::size_t uiCount = countElements(in_shape);
    if (uiCount == 0)
        throw Refusal("a tensor of shape " + toText(in_shape) + " is empty");
    return {std::move(in_shape), true, {}, nullptr, allocate(uiCount, in_bConstant)};
}

Value Builder::reshape(const Value& in_value, Shape in_shape)
{
    if (countElements(in_shape) != in_value.getCount())
        throw Refusal("a tensor of shape " + toText(in_value.m_shape) + " cannot become one of " +
                      toText(in_shape));
    Value value = in_value;
    value.m_shape = std::move(in_shape);
    return value;
}

Value Builder::gather(const Value& in_value, Shape in_shape, std::vector<std::uint32_t> in_vSources)
{
    if (!in_value.m_bReal)
    {
        expectFewIntegers(in_shape);
        std::vector<std::int64_t> vIntegers;
        for (const std::uint32_t uiSource : in_vSources)
            vIntegers.push_back(uiSource == NOTHING ? 0 : in_value.m_vIntegers[uiSource]);
        return newIntegers(std::move(in_shape), std::move(vIntegers));
    }
    const Place input = locate(in_value);
    if (!in_vSources.empty() && isRun(in_vSources))
        return {std::move(in_shape), true, {}, nullptr, input + in_vSources[0]};
    const Value value = newValue(std::move(in_shape), in_value.isConstant());
    if (!value.isConstant())
        takeMemory(in_vSources.size());
    addStep(value.isConstant(), in_vSources.size(),
            [input, vSources = std::move(in_vSources), output = value.m_place](float* io_pMemory)
            {
                const float* pInput = input.in(io_pMemory);
                float* pOutput = output.in(io_pMemory);
                for (const std::uint32_t uiSource : vSources)
                    *pOutput++ = uiSource == NOTHING ? 0.0F : pInput[uiSource];
            });
    return value;
}

std::vector<std::uint32_t> Builder::newSources(const Shape& in_shape) const
{
    std::vector<std::uint32_t> vSources;
    // They and what they are the sources of.
    if (2 * countElements(in_shape) > m_uiMemoryLeft)
        throw Refusal(TOO_MUCH_MEMORY);
    vSources.reserve(countElements(in_shape));
    return vSources;
}

Value Builder::pick(const Value& in_value, Shape in_shape, const Shape& in_strides, std::int64_t in_iFirst)
{
    std::vector<std::uint32_t> vSources = newSources(in_shape);
    forEachPlace(in_shape, in_strides, in_iFirst,
                 [&](std::int64_t in_iPlace) { vSources.push_back(static_cast<std::uint32_t>(in_iPlace)); });
    return gather(in_value, std::move(in_shape), std::move(vSources));
}

Value Builder::permute(const Value& in_value, const std::vector<std::int64_t>& in_vOrder)
{
    const std::size_t uiRank = in_value.m_shape.size();
    const Shape strides = toStrides(in_value.m_shape);
    Shape sorted = in_vOrder;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t d = 0; d < uiRank || d < sorted.size(); ++d)
        if (sorted.size() != uiRank || sorted[d] != static_cast<std::int64_t>(d))
            throw Refusal("order " + toText(in_vOrder) + " of the dimensions of a tensor of shape " +
                          toText(in_value.m_shape));
    Shape shape(uiRank);
    Shape orderedStrides(uiRank);
    for (std::size_t d = 0; d < uiRank; ++d)
    {
        shape[d] = in_value.m_shape[static_cast<std::size_t>(in_vOrder[d])];
        orderedStrides[d] = strides[static_cast<std::size_t>(in_vOrder[d])];
    }
    return pick(in_value, std::move(shape), orderedStrides, 0);
}

Value Builder::broadcast(const Value& in_value, const Shape& in_shape)
{
    if (joinShapes(in_value.m_shape, in_shape) != in_shape)
        throw Refusal("shape " + toText(in_value.m_shape) + " does not fit into " + toText(in_shape));
    if (countElements(in_shape) == in_value.getCount())
        return reshape(in_value, in_shape);
    const Shape strides = toStrides(in_value.m_shape);
    const std::size_t uiMissing = in_shape.size() - strides.size();
    Shape repeated(in_shape.size(), 0);
    for (std::size_t d = 0; d < strides.size(); ++d)
        if (in_value.m_shape[d] != 1)
            repeated[uiMissing + d] = strides[d];
    return pick(in_value, in_shape, repeated, 0);
}

Value Builder::concatenate(const std::vector<const Value*>& in_values, std::size_t in_uiAxis)
{
    Shape shape = in_values[0]->m_shape;
    shape[in_uiAxis] = 0;
    bool bConstant = true;
    for (const Value* pValue : in_values)
    {
        Shape other = pValue->m_shape;
        if (other.size() == shape.size())
            other[in_uiAxis] = shape[in_uiAxis];
        if (other != shape || pValue->m_bReal != in_values[0]->m_bReal)
            throw Refusal("tensors of shapes " + toText(in_values[0]->m_shape) + " and " +
                          toText(pValue->m_shape) + " cannot be joined along axis " +
                          std::to_string(in_uiAxis));
        shape[in_uiAxis] += pValue->m_shape[in_uiAxis];
        bConstant = bConstant && pValue->isConstant();
    }
    const std::size_t uiRows = countPart(shape, 0, in_uiAxis);
    const bool bReal = in_values[0]->m_bReal;
    if (!bReal)
        expectFewIntegers(shape);
    Value joined = bReal ? newValue(shape, bConstant)
                         : newIntegers(shape, std::vector<std::int64_t>(countElements(shape)));
    const std::size_t uiStep = joined.getCount() / std::max<std::size_t>(uiRows, 1);
    std::size_t uiOffset = 0;
    for (const Value* pValue : in_values)
    {
        const std::size_t uiCount = countPart(pValue->m_shape, in_uiAxis, shape.size());
        if (bReal)
            addCopies(bConstant, locate(*pValue), uiRows, uiCount, uiStep, joined.m_place + uiOffset);
        else
            for (std::size_t i = 0; i < uiRows * uiCount; ++i)
                joined.m_vIntegers[i / uiCount * uiStep + uiOffset + i % uiCount] = pValue->m_vIntegers[i];
        uiOffset += uiCount;
    }
    return joined;
}

void Builder::addCopies(bool in_bNow, Place in_input, std::size_t in_uiRows, std::size_t in_uiCount,
                        std::size_t in_uiStep, Place in_output)
{
    addStep(in_bNow, in_uiRows * in_uiCount,
            [=](float* io_pMemory)
            {
                for (std::size_t i = 0; i < in_uiRows; ++i)
                    std::copy_n(in_input.in(io_pMemory) + i * in_uiCount, in_uiCount,
                                in_output.in(io_pMemory) + i * in_uiStep);
            });
}

Value Builder::apply(UnaryKernel in_kernel, const Value& in_value, std::array<float, 2> in_arguments)
{
    const Place input = locate(in_value);
    const Value value = newValue(in_value.m_shape, in_value.isConstant());
    addStep(value.isConstant(), value.getCount(),
            [=, uiCount = value.getCount(), output = value.m_place](float* io_pMemory)
            { in_kernel(input.in(io_pMemory), uiCount, in_arguments.data(), output.in(io_pMemory)); });
    return value;
}

Value Builder::combine(BinaryKernel in_kernel, const Value& in_left, const Value& in_right)
{
    const Shape shape = joinShapes(in_left.m_shape, in_right.m_shape);
    const bool bLeftIsOne = in_left.getCount() == 1;
    const bool bRightIsOne = in_right.getCount() == 1;
    const Place left = locate(bLeftIsOne ? in_left : broadcast(in_left, shape));
    const Place right = locate(bRightIsOne ? in_right : broadcast(in_right, shape));
    const Value value = newValue(shape, in_left.isConstant() && in_right.isConstant());
    addStep(value.isConstant(), value.getCount(),
            [=, uiCount = value.getCount(), output = value.m_place](float* io_pMemory)
            {
                in_kernel(left.in(io_pMemory), bLeftIsOne ? 0 : 1, right.in(io_pMemory), bRightIsOne ? 0 : 1,
                          uiCount, output.in(io_pMemory));
            });
    return value;
}

Value Builder::scale(const Value& in_value, float in_fFactor)
{
    return in_fFactor == 1.0F ? in_value
                              : combine(findBinary("Mul"), in_value, newConstant({}, {in_fFactor}));
}

Value Builder::reduce(ReduceKernel in_kernel, const Value& in_value, std::size_t in_uiCount, Shape in_shape)
{
    const Place input = locate(in_value);
    const Value value = newValue(std::move(in_shape), in_value.isConstant());
    addStep(value.isConstant(), in_value.getCount(),
            [=, uiRows = value.getCount(), output = value.m_place](float* io_pMemory)
            {
                for (std::size_t i = 0; i < uiRows; ++i)
                    output.in(io_pMemory)[i] = in_kernel(input.in(io_pMemory) + i * in_uiCount, in_uiCount);
            });
    return value;
}

Value Builder::softmax(const Value& in_value, std::size_t in_uiAxis, std::size_t in_uiEnd, bool in_bLogarithm)
{
    const std::size_t uiOuter = countPart(in_value.m_shape, 0, in_uiAxis);
    const std::size_t uiCount = countPart(in_value.m_shape, in_uiAxis, in_uiEnd);
    const std::size_t uiInner = countPart(in_value.m_shape, in_uiEnd, in_value.m_shape.size());
    const Place input = locate(in_value);
    const Value value = newValue(in_value.m_shape, in_value.isConstant());
    addStep(value.isConstant(), value.getCount(),
            [=, output = value.m_place](float* io_pMemory)
            {
                for (std::size_t i = 0; i < uiOuter * uiInner; ++i)
                {
                    const std::size_t uiFirst = i / uiInner * uiCount * uiInner + i % uiInner;
                    computeSoftmax(input.in(io_pMemory) + uiFirst, uiCount, uiInner, in_bLogarithm,
                                   output.in(io_pMemory) + uiFirst);
                }
            });
    return value;
}

std::shared_ptr<const PackedMatrix> Builder::pack(const float* in_pElements, std::size_t in_uiRows,
                                                  std::size_t in_uiColumns, std::size_t in_uiRowStep,
                                                  std::size_t in_uiColumnStep)
{
    takeMemory(in_uiRows * in_uiColumns);
    return std::make_shared<PackedMatrix>(in_pElements, in_uiRows, in_uiColumns, in_uiRowStep,
                                          in_uiColumnStep);
}

void Builder::multiply(bool in_bNow, Place in_input, std::size_t in_uiRows,
                       std::shared_ptr<const PackedMatrix> in_pMatrix, Place in_bias, Place in_output)
{
    const std::size_t uiWork = in_uiRows * in_pMatrix->getRows() * in_pMatrix->getColumns();
    addStep(in_bNow, uiWork,
            [=](float* io_pMemory)
            {
                for (std::size_t i = 0; i < in_uiRows; ++i)
                    in_pMatrix->multiplyAdd(in_input.in(io_pMemory) + i * in_pMatrix->getRows(),
                                            in_bias.in(io_pMemory),
                                            in_output.in(io_pMemory) + i * in_pMatrix->getColumns());
            });
}

Value Builder::multiply(const Value& in_left, const Value& in_right)
{
    const std::size_t uiLeftRank = in_left.m_shape.size();
    const std::size_t uiRightRank = in_right.m_shape.size();
    const std::size_t uiRows = countPart(in_left.m_shape, uiLeftRank - 2, uiLeftRank - 1);
    const std::size_t uiInner = countPart(in_left.m_shape, uiLeftRank - 1, uiLeftRank);
    const std::size_t uiColumns = countPart(in_right.m_shape, uiRightRank - 1, uiRightRank);
    if (uiInner != countPart(in_right.m_shape, uiRightRank - 2, uiRightRank - 1))
        throw Refusal("a product of tensors of shapes " + toText(in_left.m_shape) + " and " +
                      toText(in_right.m_shape));
    const Shape batch = joinShapes(Shape(in_left.m_shape.begin(), in_left.m_shape.end() - 2),
                                   Shape(in_right.m_shape.begin(), in_right.m_shape.end() - 2));
    const auto extend = [&batch](const Shape& in_shape, std::size_t in_uiMiddle, std::size_t in_uiLast)
    {
        Shape shape = in_shape;
        shape.push_back(static_cast<std::int64_t>(in_uiMiddle));
        shape.push_back(static_cast<std::int64_t>(in_uiLast));
        return shape;
    };
    const Place left = locate(broadcast(in_left, extend(batch, uiRows, uiInner)));
    const Place right = locate(broadcast(in_right, extend(batch, uiInner, uiColumns)));
    const std::size_t uiBatch = countElements(batch);
    const Value value =
        newValue(extend(batch, uiRows, uiColumns), in_left.isConstant() && in_right.isConstant());
    addStep(value.isConstant(), value.getCount() * uiInner,
            [=, output = value.m_place](float* io_pMemory)
            {
                for (std::size_t i = 0; i < uiBatch; ++i)
                    multiplyMatrices(left.in(io_pMemory) + i * uiRows * uiInner,
                                     right.in(io_pMemory) + i * uiInner * uiColumns, uiRows, uiInner,
                                     uiColumns, output.in(io_pMemory) + i * uiRows * uiColumns);
            });
    return value;
}

Value Builder::addState(const Port& in_port, const Tensor* in_pStart)
{
    const Value value = newValue(*in_port.m_shape, false);
    m_program.m_vStart.resize(m_program.m_uiMemory);
    if (in_pStart != nullptr && in_pStart->getShape() != value.m_shape)
        throw Refusal("the start " + toText(in_port.m_name) + " of a state has shape " +
                      toText(in_pStart->getShape()) + ", the state " + toText(value.m_shape));
    if (in_pStart != nullptr)
        in_pStart->copyReals(&m_program.m_vStart[value.m_place.m_uiOffset]);
    return value;
}

void Builder::bindState(const Value& in_state, const Value& in_next)
{
    const std::size_t uiCount = in_state.getCount();
    Place next = locate(in_next);
    // What lies in a state or an input itself would be overwritten by the copy of another state.
    if (next.m_pShared == nullptr && next.m_uiOffset < m_program.m_vStart.size())
    {
        const Place copy = allocate(uiCount, false);
        addCopies(false, next, 1, uiCount, uiCount, copy);
        next = copy;
    }
    m_program.m_vStateCopies.push_back({next, in_state.m_place.m_uiOffset, uiCount});
}

Value Builder::addInput(const Shape& in_shape)
{
    const Value value = newValue(in_shape, false);
    m_program.m_input = value.m_place;
    m_program.m_uiInputSize = value.getCount();
    return value;
}

void Builder::setOutput(const Value& in_output)
{
    m_program.m_output = locate(in_output);
    m_program.m_uiOutputSize = in_output.getCount();
}

} // namespace Vexalor::MachineLearning::Onnx
