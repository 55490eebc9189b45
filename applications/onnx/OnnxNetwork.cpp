#include "onnx/OnnxNetwork.h"

#include "onnx/Operators.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace Vexalor::MachineLearning
{

using namespace Onnx;

namespace
{

constinit Logger s_logger("quillcast.app.OnnxNetwork");

constexpr std::string_view NEXT = "_next";

/// Reads a file from its inputs to its outputs.
class Loader
{
public:
    explicit Loader(std::string_view in_content)
        : m_file(in_content)
        , m_builder(in_content.size())
    {
    }

    Program load()
    {
        for (const Tensor& tensor : m_file.m_vTensors)
            if (!m_tensors.emplace(tensor.getName(), &tensor).second)
                throw Refusal("two values are named " + toText(tensor.getName()));
        defineInputs();
        defineTensors();
        for (const std::string_view message : m_file.m_vNodes)
            addNode(message);
        bindOutputs();
        return m_builder.takeProgram();
    }

private:
    void define(std::string_view in_name, Value in_value)
    {
        m_builder.countValue(in_value);
        if (!m_values.emplace(in_name, std::move(in_value)).second)
            throw Refusal("two values are named " + toText(in_name));
    }

    const Value& getValue(std::string_view in_name) const
    {
        const auto entry = m_values.find(in_name);
        if (entry == m_values.end())
            throw Refusal("nothing before it gives " + toText(in_name));
        return entry->second;
    }

    /// The output that is the next value of a state; null for an input that is no state.
    const Port* findNext(const Port& in_input) const
    {
        for (const Port& output : m_file.m_vOutputs)
            if (output.m_name.size() == in_input.m_name.size() + NEXT.size() &&
                output.m_name.starts_with(in_input.m_name) && output.m_name.ends_with(NEXT))
                return &output;
        return nullptr;
    }

    const Tensor* findTensor(std::string_view in_name) const
    {
        const auto entry = m_tensors.find(in_name);
        return entry == m_tensors.end() ? nullptr : entry->second;
    }

    static void checkInput(const Port& in_port)
    {
        if (in_port.m_uiElement != static_cast<std::uint64_t>(Element::FLOAT))
            throw Refusal("input " + toText(in_port.m_name) + ": elements of kind " +
                          nameOfElement(in_port.m_uiElement) + " are not supported; FLOAT is");
        if (!in_port.m_shape)
            throw Refusal("input " + toText(in_port.m_name) + " has no shape");
    }

    /// States first, so that they lie together; then the one input.
    void defineInputs()
    {
        std::vector<const Port*> vOthers;
        for (const Port& input : m_file.m_vInputs)
            if (const Port* pNext = findNext(input); pNext != nullptr)
            {
                checkInput(input);
                const Tensor* pStart = findTensor(input.m_name);
                if (pStart != nullptr && !pStart->isReal())
                    throw Refusal("the start of state " + toText(input.m_name) + " is of kind INT64");
                define(input.m_name, m_builder.addState(input, pStart));
                m_states.emplace(pNext->m_name, input.m_name);
            }
            else if (findTensor(input.m_name) == nullptr)
                vOthers.push_back(&input);
        expectOne(vOthers, "input");
        checkInput(*vOthers[0]);
        define(vOthers[0]->m_name, m_builder.addInput(*vOthers[0]->m_shape));
    }

    static void expectOne(const std::vector<const Port*>& in_vPorts, const char* in_what)
    {
        if (in_vPorts.size() == 1)
            return;
        std::string strNames;
        for (std::size_t i = 0; i < std::min<std::size_t>(in_vPorts.size(), 8); ++i)
            strNames += (i == 0 ? ": " : ", ") + toText(in_vPorts[i]->m_name);
        throw Refusal("it must have one " + std::string(in_what) +
                      " beside its states (h and h_next), it has " + std::to_string(in_vPorts.size()) +
                      strNames);
    }

    void defineTensors()
    {
        for (const auto& [name, pTensor] : m_tensors)
        {
            Value value{pTensor->getShape(), pTensor->isReal(), {}, nullptr, {}};
            if (pTensor->isReal())
                value.m_pTensor = pTensor;
            else
                value.m_vIntegers = pTensor->getIntegers();
            if (m_values.count(name) == 0) // a state starts at it
                define(name, std::move(value));
        }
    }

    void addNode(std::string_view in_message)
    {
        Node node(in_message);
        try
        {
            Call call{m_builder, node, m_file.m_iOpset, {}, {}};
            for (const std::string_view name : node.getInputs())
                call.m_vInputs.push_back(name.empty() ? nullptr : &getValue(name));
            while (!call.m_vInputs.empty() && call.m_vInputs.back() == nullptr)
                call.m_vInputs.pop_back();
            build(call);
            for (std::size_t i = 0; i < node.getOutputs().size(); ++i)
                if (!node.getOutputs()[i].empty() && i >= call.m_vResults.size())
                    throw Refusal("its output " + std::to_string(i + 1) + " is not supported");
                else if (!node.getOutputs()[i].empty())
                    define(node.getOutputs()[i], std::move(call.m_vResults[i]));
        }
        catch (const Refusal& refusal)
        {
            throw Refusal(node.getTitle() + ": " + refusal.what());
        }
    }

    void bindOutputs()
    {
        std::vector<const Port*> vOthers;
        for (const Port& output : m_file.m_vOutputs)
            if (const auto state = m_states.find(output.m_name); state == m_states.end())
                vOthers.push_back(&output);
            else
                bindState(getValue(state->second), output.m_name);
        expectOne(vOthers, "output");
        m_builder.setOutput(getOutput(vOthers[0]->m_name));
    }

    const Value& getOutput(std::string_view in_name) const
    {
        if (m_values.count(in_name) == 0)
            throw Refusal("no node gives the output " + toText(in_name));
        return getValue(in_name);
    }

    void bindState(const Value& in_state, std::string_view in_next)
    {
        const Value& next = getOutput(in_next);
        if (next.getCount() != in_state.getCount())
            throw Refusal("state " + toText(in_next) + " has the shape " + toText(next.m_shape) +
                          ", but it comes in as " + toText(in_state.m_shape));
        m_builder.bindState(in_state, next);
    }

    ModelFile m_file;
    Builder m_builder;
    std::map<std::string_view, const Tensor*> m_tensors;
    std::map<std::string_view, Value> m_values;
    std::map<std::string_view, std::string_view> m_states; ///< names of next values, and of the states
};

} // namespace

OnnxNetwork::OnnxNetwork(std::shared_ptr<const Program> in_pProgram)
    : m_pProgram(std::move(in_pProgram))
    , m_vMemory(m_pProgram->m_uiMemory)
{
    OnnxNetwork::reset();
}

OnnxNetwork::~OnnxNetwork() = default;

OnnxNetwork* OnnxNetwork::newFromContent(std::string_view in_content, const char* in_name)
{
    QC_TRACE("OnnxNetwork::newFromContent");
    try
    {
        return new OnnxNetwork(std::make_shared<const Program>(Loader(in_content).load()));
    }
    catch (const Refusal& refusal)
    {
        QC_ERROR("Cannot read network file " << in_name << ": " << refusal.what());
        return nullptr;
    }
}

OnnxNetwork* OnnxNetwork::clone() const
{
    auto* pClone = new OnnxNetwork(m_pProgram);
    pClone->m_vMemory = m_vMemory;
    return pClone;
}

std::size_t OnnxNetwork::getInputSize() const
{
    return m_pProgram->m_uiInputSize;
}

std::size_t OnnxNetwork::getOutputSize() const
{
    return m_pProgram->m_uiOutputSize;
}

bool OnnxNetwork::hasState() const
{
    return !m_pProgram->m_vStart.empty();
}

std::size_t OnnxNetwork::getCloneSize() const
{
    return sizeof(*this) + m_vMemory.size() * sizeof(float);
}

bool OnnxNetwork::takeInput(const double* in_begin, const double* in_end) const
{
    float* pInput = m_pProgram->m_input.in(m_vMemory.data());
    std::transform(in_begin, in_end, pInput, [](double in_dValue) { return static_cast<float>(in_dValue); });
    const float* pEnd = pInput + m_pProgram->m_uiInputSize;
    const float* pBad = pInput;
    while (pBad != pEnd && std::isfinite(*pBad))
        ++pBad;
    if (pBad != pEnd && !m_bReported)
        QC_ERROR("Input " << pBad - pInput << " of the network is " << *pBad);
    m_bReported = m_bReported || pBad != pEnd;
    return pBad == pEnd;
}

bool OnnxNetwork::compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const
{
    const auto uiSize = static_cast<std::size_t>(in_end - in_begin);
    if (uiSize != getInputSize())
    {
        if (!m_bReported)
            QC_ERROR("The network takes " << getInputSize() << " inputs, the patterns have " << uiSize);
        m_bReported = true;
        return false;
    }
    if (!takeInput(in_begin, in_end))
        return false;
    float* pMemory = m_vMemory.data();
    for (const Step& step : m_pProgram->m_vSteps)
        step(pMemory);
    // The output may lie in a state that came in.
    out_vOutput.resize(getOutputSize());
    std::copy_n(m_pProgram->m_output.in(pMemory), getOutputSize(), out_vOutput.begin());
    for (const Program::StateCopy& copy : m_pProgram->m_vStateCopies)
        std::copy_n(copy.m_next.in(pMemory), copy.m_uiCount, pMemory + copy.m_uiState);
    return true;
}

bool OnnxNetwork::reset()
{
    std::copy(m_pProgram->m_vStart.begin(), m_pProgram->m_vStart.end(), m_vMemory.begin());
    return true;
}

} // namespace Vexalor::MachineLearning
