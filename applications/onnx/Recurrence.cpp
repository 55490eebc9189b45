// GRU, LSTM and RNN. Inputs have the shape [times, batch, inputs], weights [directions, gates x hidden,
// inputs] and [directions, gates x hidden, hidden], the bias [directions, 2 x gates x hidden] (first for the
// input, then for the hidden values), initial values [directions, batch, hidden].

#include "onnx/Operators.h"

#include <algorithm>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

using Matrix = std::shared_ptr<const PackedMatrix>;

/// The weights of one direction.
struct Cell
{
    std::size_t m_uiHidden = 0;
    Matrix m_pInput;
    Matrix m_pHidden;
    Matrix m_pHiddenLast; ///< of the last gate, where that is computed apart
    Place m_inputBias;
    Place m_hiddenBias;
    Place m_scratch; ///< for two values of each gate
};

/// What a cell works on at one time: the input, and the values that it carries on.
struct CellValues
{
    const float* m_pInput;
    float* m_pHidden;
    float* m_pCell; ///< of LSTM
    float* m_pMemory;
};

using CellKernel = void (*)(const Cell& in_cell, const CellValues& in_values);

/// Gates z and r, then the candidate n: h = (1 - z) n + z h, where r applies to h before its product with the
/// weights, or after it (as torch has it).
template <bool RESET_AFTER>
void runGru(const Cell& in_cell, const CellValues& in_values)
{
    const std::size_t H = in_cell.m_uiHidden;
    float* pGates = in_cell.m_scratch.in(in_values.m_pMemory);
    float* pCandidate = pGates + 2 * H;
    float* pProducts = pGates + 3 * H;
    float* pHidden = in_values.m_pHidden;
    const float* pBias = in_cell.m_hiddenBias.in(in_values.m_pMemory);
    in_cell.m_pInput->multiplyAdd(in_values.m_pInput, in_cell.m_inputBias.in(in_values.m_pMemory), pGates);
    in_cell.m_pHidden->multiplyAdd(pHidden, pBias, pProducts);
    for (std::size_t i = 0; i < 2 * H; ++i)
        pGates[i] += pProducts[i];
    computeSigmoid(pGates, 2 * H, pGates);
    if constexpr (RESET_AFTER)
        for (std::size_t i = 0; i < H; ++i)
            pCandidate[i] += pGates[H + i] * pProducts[2 * H + i];
    else
    {
        for (std::size_t i = 0; i < H; ++i)
            pProducts[i] = pGates[H + i] * pHidden[i];
        in_cell.m_pHiddenLast->multiplyAdd(pProducts, pBias + 2 * H, pProducts + H);
        for (std::size_t i = 0; i < H; ++i)
            pCandidate[i] += pProducts[H + i];
    }
    computeTanh(pCandidate, H, pCandidate);
    for (std::size_t i = 0; i < H; ++i)
        pHidden[i] = (1.0F - pGates[i]) * pCandidate[i] + pGates[i] * pHidden[i];
}

/// Gates i, o and f, then the candidate g: c = f c + i g, h = o tanh(c).
void runLstm(const Cell& in_cell, const CellValues& in_values)
{
    const std::size_t H = in_cell.m_uiHidden;
    float* pGates = in_cell.m_scratch.in(in_values.m_pMemory);
    in_cell.m_pInput->multiplyAdd(in_values.m_pInput, in_cell.m_inputBias.in(in_values.m_pMemory), pGates);
    in_cell.m_pHidden->multiplyAdd(in_values.m_pHidden, pGates, pGates);
    computeSigmoid(pGates, 3 * H, pGates);
    computeTanh(pGates + 3 * H, H, pGates + 3 * H);
    for (std::size_t i = 0; i < H; ++i)
        in_values.m_pCell[i] = pGates[2 * H + i] * in_values.m_pCell[i] + pGates[i] * pGates[3 * H + i];
    computeTanh(in_values.m_pCell, H, pGates);
    for (std::size_t i = 0; i < H; ++i)
        in_values.m_pHidden[i] = pGates[H + i] * pGates[i];
}

template <void (*ACTIVATION)(const float*, std::size_t, float*)>
void runRnn(const Cell& in_cell, const CellValues& in_values)
{
    float* pSums = in_cell.m_scratch.in(in_values.m_pMemory);
    in_cell.m_pInput->multiplyAdd(in_values.m_pInput, in_cell.m_inputBias.in(in_values.m_pMemory), pSums);
    in_cell.m_pHidden->multiplyAdd(in_values.m_pHidden, pSums, pSums);
    ACTIVATION(pSums, in_cell.m_uiHidden, in_values.m_pHidden);
}

/// One of the three operators at a node: its sizes and the values that become its results.
class Recurrence
{
public:
    /// in_uiGates is the number of the operator; with in_bBiasInOne both biases are added before.
    Recurrence(Call& io_call, std::size_t in_uiGates, bool in_bBiasInOne);

    bool isReverse(std::size_t in_uiDirection) const
    {
        return m_direction == "reverse" || in_uiDirection == 1;
    }
    /// True when all directions have these activations, as they do when none are named.
    bool hasActivations(const std::vector<std::string_view>& in_vNames) const;
    /// Adds the steps of all directions. in_bLastApart: the last gate has a matrix of its own.
    void build(CellKernel in_kernel, bool in_bLastApart, bool in_bHasCell);

private:
    void checkSequenceLengths() const;
    Value newState(std::size_t in_uiInput);
    Place newBias(std::size_t in_uiDirection, std::size_t in_uiHalf);
    Cell newCell(std::size_t in_uiDirection, bool in_bLastApart);
    void addDirection(CellKernel in_kernel, const Cell& in_cell, std::size_t in_uiDirection, Place in_output,
                      Place in_hidden, Place in_cellState);

    Call& m_call;
    Builder& m_builder;
    std::size_t m_uiGates;
    bool m_bBiasInOne;
    std::string_view m_direction;
    std::size_t m_uiDirections = 1;
    std::size_t m_uiTimes = 0;
    std::size_t m_uiBatch = 0;
    std::size_t m_uiInputs = 0;
    std::size_t m_uiHidden = 0;
    bool m_bConstant = false;
    std::vector<float> m_vInputWeights;
    std::vector<float> m_vHiddenWeights;
    std::vector<float> m_vBias;
};

Recurrence::Recurrence(Call& io_call, std::size_t in_uiGates, bool in_bBiasInOne)
    : m_call(io_call)
    , m_builder(io_call.m_builder)
    , m_uiGates(in_uiGates)
    , m_bBiasInOne(in_bBiasInOne)
    , m_direction(io_call.m_node.getText("direction", "forward"))
{
    const Value& input = io_call.at(0);
    const Value& inputWeights = io_call.getConstant(1, "W");
    const Value& hiddenWeights = io_call.getConstant(2, "R");
    io_call.m_node.expectInteger("layout", 0);
    if (m_direction != "forward" && m_direction != "reverse" && m_direction != "bidirectional")
        throw Refusal("its attribute \"direction\" is " + toText(m_direction));
    if (input.m_shape.size() != 3 || hiddenWeights.m_shape.size() != 3)
        throw Refusal("its inputs have the shapes " + toText(input.m_shape) + ", " +
                      toText(inputWeights.m_shape) + " and " + toText(hiddenWeights.m_shape));
    m_uiDirections = m_direction == "bidirectional" ? 2 : 1;
    m_uiTimes = static_cast<std::size_t>(input.m_shape[0]);
    m_uiBatch = static_cast<std::size_t>(input.m_shape[1]);
    m_uiInputs = static_cast<std::size_t>(input.m_shape[2]);
    m_uiHidden = static_cast<std::size_t>(hiddenWeights.m_shape[2]);
    const auto iDirections = static_cast<std::int64_t>(m_uiDirections);
    const auto iRows = static_cast<std::int64_t>(m_uiGates * m_uiHidden);
    if (inputWeights.m_shape != Shape{iDirections, iRows, input.m_shape[2]} ||
        hiddenWeights.m_shape != Shape{iDirections, iRows, hiddenWeights.m_shape[2]} ||
        io_call.m_node.getInteger("hidden_size", hiddenWeights.m_shape[2]) != hiddenWeights.m_shape[2])
        throw Refusal("its inputs have the shapes " + toText(input.m_shape) + ", " +
                      toText(inputWeights.m_shape) + " and " + toText(hiddenWeights.m_shape));
    m_vInputWeights = m_builder.copyElements(inputWeights);
    m_vHiddenWeights = m_builder.copyElements(hiddenWeights);
    m_vBias.resize(m_uiDirections * 2 * m_uiGates * m_uiHidden);
    if (io_call.has(3) && io_call.at(3).getCount() != m_vBias.size())
        throw Refusal("its bias has the shape " + toText(io_call.at(3).m_shape));
    if (io_call.has(3))
        m_vBias = m_builder.copyElements(io_call.getConstant(3, "B"));
    checkSequenceLengths();
    m_bConstant = input.isConstant();
    for (std::size_t i = 5; i < io_call.m_vInputs.size(); ++i)
        m_bConstant = m_bConstant && (!io_call.has(i) || io_call.at(i).isConstant());
}

void Recurrence::checkSequenceLengths() const
{
    if (!m_call.has(4))
        return;
    for (const std::int64_t iTimes : m_call.getConstant(4, "sequence_lens").m_vIntegers)
        if (iTimes != static_cast<std::int64_t>(m_uiTimes))
            throw Refusal("sequences of different length");
}

bool Recurrence::hasActivations(const std::vector<std::string_view>& in_vNames) const
{
    const Attribute* pActivations = m_call.m_node.find("activations");
    if (pActivations == nullptr)
        return true;
    const std::vector<std::string_view>& vTexts = pActivations->m_vTexts;
    for (std::size_t i = 0; i < vTexts.size(); ++i)
        if (vTexts[i] != in_vNames[i % in_vNames.size()])
            return false;
    return vTexts.size() == in_vNames.size() * m_uiDirections;
}

/// A copy of the initial values, or zeros; the directions carry it on.
Value Recurrence::newState(std::size_t in_uiInput)
{
    const Shape shape{static_cast<std::int64_t>(m_uiDirections), static_cast<std::int64_t>(m_uiBatch),
                      static_cast<std::int64_t>(m_uiHidden)};
    const Value value = m_builder.newValue(shape, m_bConstant);
    const std::size_t uiCount = value.getCount();
    const Value start = m_call.has(in_uiInput) ? m_call.at(in_uiInput)
                                               : m_builder.newConstant(shape, std::vector<float>(uiCount));
    if (start.m_shape != shape)
        throw Refusal("initial values of shape " + toText(start.m_shape) + ", not " + toText(shape));
    m_builder.addCopies(m_bConstant, m_builder.locate(start), 1, uiCount, uiCount, value.m_place);
    return value;
}

Place Recurrence::newBias(std::size_t in_uiDirection, std::size_t in_uiHalf)
{
    const std::size_t uiCount = m_uiGates * m_uiHidden;
    const float* pBias = &m_vBias[in_uiDirection * 2 * uiCount];
    std::vector<float> vBias(pBias + in_uiHalf * uiCount, pBias + (in_uiHalf + 1) * uiCount);
    for (std::size_t i = 0; i < uiCount && m_bBiasInOne; ++i)
        vBias[i] = pBias[i] + pBias[uiCount + i];
    return m_builder.newConstant({static_cast<std::int64_t>(uiCount)}, vBias).m_place;
}

Cell Recurrence::newCell(std::size_t in_uiDirection, bool in_bLastApart)
{
    const std::size_t uiColumns = m_uiGates * m_uiHidden;
    const std::size_t uiTogether = in_bLastApart ? uiColumns - m_uiHidden : uiColumns;
    const float* pInputWeights = &m_vInputWeights[in_uiDirection * uiColumns * m_uiInputs];
    const float* pHiddenWeights = &m_vHiddenWeights[in_uiDirection * uiColumns * m_uiHidden];
    Cell cell;
    cell.m_uiHidden = m_uiHidden;
    cell.m_pInput = m_builder.pack(pInputWeights, m_uiInputs, uiColumns, 1, m_uiInputs);
    cell.m_pHidden = m_builder.pack(pHiddenWeights, m_uiHidden, uiTogether, 1, m_uiHidden);
    if (in_bLastApart)
        cell.m_pHiddenLast =
            m_builder.pack(pHiddenWeights + uiTogether * m_uiHidden, m_uiHidden, m_uiHidden, 1, m_uiHidden);
    cell.m_inputBias = newBias(in_uiDirection, 0);
    cell.m_hiddenBias = m_bBiasInOne ? Place() : newBias(in_uiDirection, 1);
    cell.m_scratch = m_builder.allocate(2 * uiColumns, m_bConstant);
    return cell;
}

void Recurrence::build(CellKernel in_kernel, bool in_bLastApart, bool in_bHasCell)
{
    const Value output =
        m_builder.newValue({m_call.at(0).m_shape[0], static_cast<std::int64_t>(m_uiDirections),
                            m_call.at(0).m_shape[1], static_cast<std::int64_t>(m_uiHidden)},
                           m_bConstant);
    const Value hidden = newState(5);
    const Value cellState = in_bHasCell ? newState(6) : Value();
    const std::size_t uiState = m_uiBatch * m_uiHidden;
    for (std::size_t d = 0; d < m_uiDirections; ++d)
        addDirection(in_kernel, newCell(d, in_bLastApart), d, output.m_place + d * uiState,
                     hidden.m_place + d * uiState, in_bHasCell ? cellState.m_place + d * uiState : Place());
    m_call.give(output);
    m_call.give(hidden);
    if (in_bHasCell)
        m_call.give(cellState);
}

void Recurrence::addDirection(CellKernel in_kernel, const Cell& in_cell, std::size_t in_uiDirection,
                              Place in_output, Place in_hidden, Place in_cellState)
{
    const Place input = m_builder.locate(m_call.at(0));
    const std::size_t uiTimes = m_uiTimes;
    const std::size_t uiBatch = m_uiBatch;
    const std::size_t uiInputs = m_uiInputs;
    const std::size_t uiHidden = m_uiHidden;
    const std::size_t uiOutputStep = m_uiDirections * uiBatch * uiHidden;
    const bool bReverse = isReverse(in_uiDirection);
    const std::size_t uiWork = uiTimes * uiBatch * m_uiGates * uiHidden * (uiInputs + uiHidden);
    m_builder.addStep(m_bConstant, uiWork,
                      [=](float* io_pMemory)
                      {
                          for (std::size_t i = 0; i < uiTimes * uiBatch; ++i)
                          {
                              const std::size_t uiTime = bReverse ? uiTimes - 1 - i / uiBatch : i / uiBatch;
                              const std::size_t b = i % uiBatch;
                              float* pHidden = in_hidden.in(io_pMemory) + b * uiHidden;
                              in_kernel(in_cell,
                                        {input.in(io_pMemory) + (uiTime * uiBatch + b) * uiInputs, pHidden,
                                         in_cellState.in(io_pMemory) + b * uiHidden, io_pMemory});
                              std::copy_n(pHidden, uiHidden,
                                          in_output.in(io_pMemory) + uiTime * uiOutputStep + b * uiHidden);
                          }
                      });
}

/// Says which activations a node has.
Refusal newActivationRefusal()
{
    return Refusal("its activations are not supported");
}

} // namespace

void buildGru(Call& io_call)
{
    Recurrence recurrence(io_call, 3, false);
    if (!recurrence.hasActivations({"Sigmoid", "Tanh"}))
        throw newActivationRefusal();
    const bool bAfter = io_call.m_node.getInteger("linear_before_reset", 0) != 0;
    recurrence.build(bAfter ? runGru<true> : runGru<false>, !bAfter, false);
}

void buildLstm(Call& io_call)
{
    if (io_call.has(7))
        throw Refusal("its input P (peepholes) is not supported");
    io_call.m_node.expectInteger("input_forget", 0);
    Recurrence recurrence(io_call, 4, true);
    if (!recurrence.hasActivations({"Sigmoid", "Tanh", "Tanh"}))
        throw newActivationRefusal();
    recurrence.build(runLstm, false, true);
}

void buildRnn(Call& io_call)
{
    Recurrence recurrence(io_call, 1, true);
    const bool bRelu = !recurrence.hasActivations({"Tanh"});
    if (bRelu && !recurrence.hasActivations({"Relu"}))
        throw newActivationRefusal();
    recurrence.build(bRelu ? runRnn<computeRelu> : runRnn<computeTanh>, false, false);
}

} // namespace Vexalor::MachineLearning::Onnx
