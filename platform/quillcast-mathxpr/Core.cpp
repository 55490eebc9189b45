#include "quillcast-mathxpr/Core.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

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
    if (m_pProgram.use_count() > 1)
        m_pProgram = std::make_shared<Program>(*m_pProgram);
    m_pProgram->takeNewRevision();
    return *m_pProgram;
}

void Core::addInput()
{
    m_vInputs.emplace_back().m_vWaiting.resize(1);
    setWaiting(m_vInputs.back(), true);
    m_bStale = true;
}

void Core::setWaiting(Input& io_input, bool in_bWaiting)
{
    m_uiNbWaiting += (in_bWaiting ? 1 : 0) - (io_input.m_bWaiting ? 1 : 0);
    io_input.m_bWaiting = in_bWaiting;
}

void Core::replan()
{
    for (std::size_t i = 0; i < m_vInputs.size(); ++i)
        if (!m_vInputs[i].m_bWaiting)
        {
            const double* pValue = m_vValues.data() + m_pPlan->m_vInputs[i].m_uiAt;
            m_vInputs[i].m_vWaiting.assign(pValue, pValue + m_pPlan->m_vInputs[i].m_uiSize);
            setWaiting(m_vInputs[i], true);
        }
    m_bStale = true;
}

void Core::lookUp(std::uint32_t in_uiSymbol)
{
    const auto itPlace = std::lower_bound(m_vLookedUp.begin(), m_vLookedUp.end(), in_uiSymbol);
    if (itPlace != m_vLookedUp.end() && *itPlace == in_uiSymbol)
        return;
    m_vLookedUp.insert(itPlace, in_uiSymbol);
    replan();
}

bool Core::assign(std::uint32_t in_uiInput, const DoubleVector& in_vValue)
{
    if (m_vInputs[in_uiInput].m_uiAssigned == m_uiBegun)
    {
        advance();
        ++m_uiBegun;
    }
    const bool bAssigned = preset(in_uiInput, in_vValue);
    if (bAssigned)
        m_vInputs[in_uiInput].m_uiAssigned = m_uiBegun;
    return bAssigned;
}

bool Core::preset(std::uint32_t in_uiInput, const DoubleVector& in_vValue)
{
    if (in_vValue.size() > Limits::MAX_VECTOR)
    {
        QC_ERROR("An input of " << in_vValue.size() << " values; at most " << Limits::MAX_VECTOR
                                << " are allowed");
        return false;
    }
    Input& input = m_vInputs[in_uiInput];
    ++m_uiWindow;
    setWaiting(input, m_bStale || m_pPlan->m_vInputs[in_uiInput].m_uiSize != in_vValue.size());
    if (input.m_bWaiting)
        input.m_vWaiting.assign(in_vValue.begin(), in_vValue.end());
    else
        std::copy(in_vValue.begin(), in_vValue.end(),
                  m_vValues.data() + m_pPlan->m_vInputs[in_uiInput].m_uiAt);
    return true;
}

/// Brings plan and values up to the lengths of the inputs and the variables that were looked up.
bool Core::makeReady()
{
    if (isReady())
        return true;
    if (!QC_CHECK(m_pProgram->isLinked()))
        return false;
    PlanKey key{m_vLookedUp, {}};
    for (std::size_t i = 0; i < m_vInputs.size(); ++i)
        key.m_vInputs.push_back(m_vInputs[i].m_bWaiting
                                    ? static_cast<std::uint32_t>(m_vInputs[i].m_vWaiting.size())
                                    : m_pPlan->m_vInputs[i].m_uiSize);
    const std::shared_ptr<const Plan> pPlan = m_pProgram->getPlan(key);
    std::vector<double> vValues = pPlan->m_vImage;
    for (std::size_t i = 0; i < m_vInputs.size(); ++i)
    {
        const double* pValue = m_vInputs[i].m_bWaiting ? m_vInputs[i].m_vWaiting.begin()
                                                       : m_vValues.data() + m_pPlan->m_vInputs[i].m_uiAt;
        std::copy_n(pValue, key.m_vInputs[i], vValues.data() + pPlan->m_vInputs[i].m_uiAt);
        setWaiting(m_vInputs[i], false);
        // Keeps its memory, and gives clones nothing to copy.
        m_vInputs[i].m_vWaiting.clear();
    }
    vValues.swap(m_vValues);
    const std::shared_ptr<const Plan> pEarlier = std::exchange(m_pPlan, pPlan);
    if (pEarlier != nullptr)
        keepStates(*pEarlier, vValues);
    m_vMarks.assign(2 * pPlan->m_vBlocks.size(), 0);
    m_bStale = false;
    return true;
}

/// Takes over the states that the present plan has as well: of the same variable, with the same initial
/// value.
void Core::keepStates(const Plan& in_earlier, const std::vector<double>& in_vEarlier)
{
    std::unordered_multimap<std::uint32_t, const Plan::State*> earlierStates;
    for (const Plan::State& earlier : in_earlier.m_vStates)
        earlierStates.emplace(earlier.m_uiSymbol, &earlier);
    for (const Plan::State& state : m_pPlan->m_vStates)
    {
        const std::size_t uiBytes = state.m_slot.m_uiSize * sizeof(double);
        const auto [itFirst, itEnd] = earlierStates.equal_range(state.m_uiSymbol);
        const auto itSame =
            std::find_if(itFirst, itEnd,
                         [&](const auto& in_entry)
                         {
                             const Slot& slot = in_entry.second->m_slot;
                             return slot.m_uiSize == state.m_slot.m_uiSize &&
                                    std::memcmp(in_earlier.m_vImage.data() + slot.m_uiAt,
                                                m_pPlan->m_vImage.data() + state.m_slot.m_uiAt, uiBytes) == 0;
                         });
        if (itSame != itEnd)
            std::memcpy(m_vValues.data() + state.m_slot.m_uiAt,
                        in_vEarlier.data() + itSame->second->m_slot.m_uiAt, uiBytes);
    }
}

bool Core::runBlock(std::uint32_t in_uiBlock)
{
    if (in_uiBlock == Plan::NO_BLOCK || m_vMarks[in_uiBlock] == m_uiWindow)
        return true;
    const std::uint32_t uiFailure =
        run(m_pPlan->m_vCode.data(), m_pPlan->m_vBlocks.data(), m_pPlan->m_vBlocks[in_uiBlock],
            {m_vMarks.data(), m_vMarks.data() + m_pPlan->m_vBlocks.size(), m_uiWindow}, m_vValues.data());
    if (uiFailure == NO_FAILURE)
        return true;
    QC_ERROR(m_pPlan->m_vFailures[uiFailure]);
    return false;
}

bool Core::evaluate(std::uint32_t in_uiSymbol, DoubleVector& out_vValue)
{
    if (!makeReady())
        return false;
    Slot slot;
    if (const Plan::Root* pRoot = m_pPlan->findRoot(in_uiSymbol))
    {
        if (!runBlock(pRoot->m_uiBlock))
            return false;
        slot = pRoot->m_slot;
    }
    else
        slot = m_pPlan->m_vInputs[m_pProgram->getSymbol(in_uiSymbol).m_uiInput];
    const double* pValue = m_vValues.data() + slot.m_uiAt;
    out_vValue.assign(pValue, pValue + slot.m_uiSize);
    return true;
}

/// The end of a window: all states take their new values at once.
void Core::advance()
{
    if (m_vLookedUp.empty() || !m_pProgram->isLinked() || !makeReady())
        return;
    for (const Plan::State& state : m_pPlan->m_vStates)
    {
        const bool bComputed = runBlock(state.m_uiBlock) && state.m_target.m_uiSize == state.m_slot.m_uiSize;
        const Slot& from = bComputed ? state.m_target : state.m_slot;
        std::copy_n(m_vValues.data() + from.m_uiAt, state.m_slot.m_uiSize, m_vValues.data() + state.m_uiNext);
    }
    for (const Plan::State& state : m_pPlan->m_vStates)
        std::copy_n(m_vValues.data() + state.m_uiNext, state.m_slot.m_uiSize,
                    m_vValues.data() + state.m_slot.m_uiAt);
}

void Core::reset()
{
    ++m_uiWindow;
    ++m_uiBegun;
    if (m_pPlan == nullptr)
        return;
    for (const Plan::State& state : m_pPlan->m_vStates)
        std::copy_n(m_pPlan->m_vImage.data() + state.m_slot.m_uiAt, state.m_slot.m_uiSize,
                    m_vValues.data() + state.m_slot.m_uiAt);
}

void Core::forget()
{
    replan();
    reset();
    m_pPlan = nullptr;
}

std::size_t Core::getOwnMemory() const
{
    std::size_t uiBytes =
        sizeof(*this) + m_vValues.capacity() * sizeof(double) + m_vMarks.capacity() * sizeof(std::uint64_t) +
        m_vLookedUp.capacity() * sizeof(std::uint32_t) + m_vInputs.capacity() * sizeof(Input);
    for (const Input& input : m_vInputs)
        uiBytes += input.m_vWaiting.size() * sizeof(double);
    return uiBytes;
}

} // namespace Vexalor::Math::Xpr
