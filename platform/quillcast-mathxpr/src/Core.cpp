#include "Core.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

namespace
{

constinit Logger s_logger("quillcast.math.xpr.Evaluator");

} // namespace

Core::Core()
    : m_pProgram(std::make_shared<Program>())
{
}

Program& Core::changeProgram()
{
    replan();
    if (m_pProgram.use_count() > 1)
        m_pProgram = std::make_shared<Program>(*m_pProgram);
    return *m_pProgram;
}

void Core::addInput()
{
    const double dNothing = 0.0;
    m_vInputs.emplace_back().wait(&dNothing, &dNothing + 1);
    m_bReady = false;
}

bool Core::link(bool in_bComplete)
{
    Program& program = changeProgram();
    reset();
    const bool bLinked = program.link(in_bComplete);
    m_vStates.clear();
    m_vReached.clear();
    m_vKept.clear();
    m_uiNbPlaced = m_uiNbStatesPlaced = 0;
    for (const LookedUp& lookedUp : m_vLookedUp)
        reach(lookedUp.m_uiSymbol);
    return bLinked;
}

void Core::replan()
{
    unload();
    m_pPlan = nullptr;
}

/// Takes the inputs out of the plan.
void Core::unload()
{
    for (std::uint32_t i = 0; i < m_vInputs.size(); ++i)
        if (!m_vInputs[i].m_bWaiting)
        {
            const Slot& slot = m_pPlan->getInput(i);
            const double* pValue = m_vValues.data() + slot.m_uiAt;
            m_vInputs[i].wait(pValue, pValue + slot.m_uiSize);
        }
    m_bReady = false;
}

std::size_t Core::lookUp(std::uint32_t in_uiSymbol)
{
    const auto itKnown =
        std::find_if(m_vLookedUp.begin(), m_vLookedUp.end(),
                     [&](const LookedUp& in_lookedUp) { return in_lookedUp.m_uiSymbol == in_uiSymbol; });
    if (itKnown != m_vLookedUp.end())
        return static_cast<std::size_t>(itKnown - m_vLookedUp.begin());
    m_vLookedUp.push_back({in_uiSymbol, {}});
    m_bReady = false;
    reach(in_uiSymbol);
    return m_vLookedUp.size() - 1;
}

/// Everything that the symbol needs, through earlier windows too, as far as it was not reached before.
void Core::reach(std::uint32_t in_uiSymbol)
{
    m_vReached.resize(m_pProgram->getSymbols().size());
    m_vKept.resize(m_vReached.size());
    std::vector<std::uint32_t> vOpen{in_uiSymbol};
    while (!vOpen.empty())
    {
        const std::uint32_t uiSymbol = vOpen.back();
        vOpen.pop_back();
        if (m_vReached[uiSymbol] || !m_pProgram->isExpression(uiSymbol))
            continue;
        m_vReached[uiSymbol] = true;
        for (const Use& use : m_pProgram->getDefinition(uiSymbol).m_vUses)
        {
            if (use.m_kind == Use::Kind::EARLIER)
                keep(use.m_uiSymbol);
            vOpen.push_back(use.m_uiSymbol);
        }
    }
}

void Core::keep(std::uint32_t in_uiSymbol)
{
    if (!m_vKept[in_uiSymbol])
        m_vStates.push_back({in_uiSymbol, {}, {}, {}, false});
    m_vKept[in_uiSymbol] = true;
}

bool Core::assign(std::uint32_t in_uiInput, const DoubleVector& in_vValue)
{
    if (!isShort(in_vValue))
        return false;
    if (m_vInputs[in_uiInput].m_uiAssigned == m_uiWindow)
    {
        advance();
        ++m_uiWindow;
    }
    m_vInputs[in_uiInput].m_uiAssigned = m_uiWindow;
    return preset(in_uiInput, in_vValue);
}

bool Core::preset(std::uint32_t in_uiInput, const DoubleVector& in_vValue)
{
    if (!isShort(in_vValue))
        return false;
    Input& input = m_vInputs[in_uiInput];
    ++m_uiValues;
    if (m_pPlan != nullptr && m_pPlan->getInput(in_uiInput).m_uiSize == in_vValue.size())
    {
        input.m_bWaiting = false;
        std::copy(in_vValue.begin(), in_vValue.end(),
                  m_vValues.data() + m_pPlan->getInput(in_uiInput).m_uiAt);
        return true;
    }
    input.wait(in_vValue.begin(), in_vValue.end());
    m_bReady = false;
    return true;
}

bool Core::isShort(const DoubleVector& in_vValue)
{
    if (in_vValue.size() <= Limits::MAX_VECTOR)
        return true;
    QC_ERROR("An input of " << in_vValue.size() << " values; at most " << Limits::MAX_VECTOR
                            << " are allowed");
    return false;
}

/// Brings plan and values up to the lengths of the inputs and the variables that were looked up.
bool Core::makeReady()
{
    if (m_bReady)
        return true;
    if (!QC_CHECK(m_pProgram->isLinked()))
        return false;
    const bool bWaiting = std::any_of(m_vInputs.begin(), m_vInputs.end(),
                                      [](const Input& in_input) { return in_input.m_bWaiting; });
    if (m_pPlan == nullptr || bWaiting)
        changePlan();
    else
        prepare();
    m_bReady = true;
    return true;
}

/// Keeps the inputs, and the states whose lengths stay the same.
void Core::changePlan()
{
    unload();
    m_vLengths.clear();
    for (const Input& input : m_vInputs)
        m_vLengths.push_back(static_cast<std::uint32_t>(input.m_vWaiting.size()));
    m_pPlan = m_pProgram->getPlan(m_vLengths);
    for (State& state : m_vStates)
        state.m_earlierSlot = state.m_slot;
    m_vValues.swap(m_vEarlier);
    m_vValues.clear();
    m_progress.m_vBlocks.clear();
    m_progress.m_vDone.clear();
    m_uiNbPlaced = m_uiNbStatesPlaced = 0;
    prepare();
    for (std::uint32_t i = 0; i < m_vInputs.size(); ++i)
    {
        Input& input = m_vInputs[i];
        std::copy(input.m_vWaiting.begin(), input.m_vWaiting.end(),
                  m_vValues.data() + m_pPlan->getInput(i).m_uiAt);
        // Keeps its memory, and gives clones nothing to copy.
        input.m_vWaiting.clear();
        input.m_bWaiting = false;
    }
    for (const State& state : m_vStates)
        if (state.m_earlierSlot.m_uiSize == state.m_slot.m_uiSize)
            std::copy_n(m_vEarlier.data() + state.m_earlierSlot.m_uiAt, state.m_slot.m_uiSize,
                        m_vValues.data() + state.m_slot.m_uiAt);
    m_vEarlier.clear();
}

/// Takes over from the plan what there is new, and has it write what is missing.
void Core::prepare()
{
    const std::lock_guard<std::mutex> lock(m_pPlan->getMutex());
    for (; m_uiNbPlaced < m_vLookedUp.size(); ++m_uiNbPlaced)
        m_vLookedUp[m_uiNbPlaced].m_place = m_pPlan->prepare(m_vLookedUp[m_uiNbPlaced].m_uiSymbol);
    for (; m_uiNbStatesPlaced < m_vStates.size(); ++m_uiNbStatesPlaced)
    {
        State& state = m_vStates[m_uiNbStatesPlaced];
        state.m_next = m_pPlan->prepare(state.m_uiSymbol);
        state.m_slot = m_pPlan->getState(state.m_uiSymbol);
    }
    const std::vector<double>& vImage = m_pPlan->m_vImage;
    m_vValues.insert(m_vValues.end(), vImage.begin() + static_cast<std::ptrdiff_t>(m_vValues.size()),
                     vImage.end());
    for (std::size_t i = m_progress.m_vBlocks.size(); i < m_pPlan->m_vBlocks.size(); ++i)
        m_progress.m_vBlocks.push_back(m_pPlan->m_vBlocks[i]->m_vCode.data());
    m_progress.m_vDone.resize(m_progress.m_vBlocks.size());
    m_progress.m_vReturns.resize(m_progress.m_vBlocks.size());
}

bool Core::runBlock(std::uint32_t in_uiBlock)
{
    if (in_uiBlock == Plan::NO_BLOCK || m_progress.m_vDone[in_uiBlock] == m_uiValues)
        return true;
    const std::string* pFailure = run(m_progress, in_uiBlock, m_uiValues, m_vValues.data());
    if (pFailure == nullptr)
        return true;
    QC_ERROR(*pFailure);
    return false;
}

bool Core::evaluate(std::size_t in_uiLookedUp, DoubleVector& out_vValue)
{
    if (!makeReady() || !runBlock(m_vLookedUp[in_uiLookedUp].m_place.m_uiBlock))
        return false;
    const Slot slot = m_vLookedUp[in_uiLookedUp].m_place.m_slot;
    const double* pValue = m_vValues.data() + slot.m_uiAt;
    out_vValue.assign(pValue, pValue + slot.m_uiSize);
    return true;
}

/// The end of a window: all states take their new values at once.
void Core::advance()
{
    if (m_vStates.empty() || !m_pProgram->isLinked() || !makeReady())
        return;
    for (State& state : m_vStates)
        state.m_bComputed = runBlock(state.m_next.m_uiBlock) && state.m_slot.m_uiSize != 0;
    for (const State& state : m_vStates)
        if (state.m_bComputed)
        {
            m_vValues[state.m_slot.m_uiAt] = 1.0;
            std::copy_n(m_vValues.data() + state.m_next.m_slot.m_uiAt, state.m_next.m_slot.m_uiSize,
                        m_vValues.data() + state.m_slot.m_uiAt + 1);
        }
}

void Core::reset()
{
    ++m_uiValues;
    ++m_uiWindow;
    for (const State& state : m_vStates)
        if (state.m_slot.m_uiSize != 0)
            m_vValues[state.m_slot.m_uiAt] = 0.0;
}

std::size_t Core::getOwnMemory() const
{
    std::size_t uiBytes = sizeof(*this) + m_vValues.capacity() * sizeof(double) +
                          m_vEarlier.capacity() * sizeof(double) +
                          m_progress.m_vBlocks.capacity() * 2 * sizeof(void*) +
                          m_progress.m_vDone.capacity() * sizeof(std::uint64_t) +
                          m_vLookedUp.capacity() * sizeof(LookedUp) + m_vStates.capacity() * sizeof(State) +
                          m_vReached.capacity() / 8 + m_vInputs.capacity() * sizeof(Input);
    for (const Input& input : m_vInputs)
        uiBytes += input.m_vWaiting.size() * sizeof(double);
    return uiBytes;
}

} // namespace Vexalor::Math::Xpr
