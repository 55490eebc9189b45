#include "quillcast-mathxpr/CodeWriter.h"

namespace Vexalor::Math::Xpr
{

namespace
{

using Kind = Value::Kind;

/// Deeper branches become blocks, so that no recursion here is deep.
constexpr std::uint32_t MOST_DEPTH = 50;

} // namespace

CodeWriter::CodeWriter(const Values& in_values, Plan& io_plan)
    : m_values(in_values)
    , m_plan(io_plan)
    , m_vUses(in_values.get().size())
    , m_vBranches(2 * in_values.get().size(), NONE)
{
}

void CodeWriter::write()
{
    findScopes();
    m_vCalled.assign(m_vBlockScopes.size(), false);
    for (std::uint32_t uiBlock = 0; uiBlock < m_vBlockScopes.size(); ++uiBlock)
    {
        m_plan.m_vBlocks.push_back(static_cast<std::uint32_t>(m_plan.m_vCode.size()));
        writeScope(m_vBlockScopes[uiBlock]);
        emit(Code::RETURN, uiBlock);
        forgetCalls(0);
    }
    for (const std::uint32_t uiSymbol : m_plan.m_key.m_vRoots)
    {
        const std::uint32_t uiValue = m_values.getValueOf(uiSymbol);
        m_plan.m_vRoots.push_back({uiSymbol, m_values.get()[uiValue].m_slot, blockOf(uiValue)});
    }
    for (std::size_t i = 0; i < m_plan.m_vStates.size(); ++i)
        m_plan.m_vStates[i].m_uiBlock = blockOf(m_values.getTarget(i));
}

void CodeWriter::findScopes()
{
    for (const std::uint32_t uiSymbol : m_plan.m_key.m_vRoots)
        demandOutside(m_values.getValueOf(uiSymbol));
    for (std::size_t i = 0; i < m_plan.m_vStates.size(); ++i)
        demandOutside(m_values.getTarget(i));
    // Users come behind their arguments: at its turn all uses of a value are known.
    for (std::size_t i = m_values.get().size(); i-- > 0;)
        placeValue(static_cast<std::uint32_t>(i));
    for (std::uint32_t i = 0; i < m_values.get().size(); ++i)
        if (m_vUses[i].m_uiScope != NONE && m_values.get()[i].hasCode())
            m_vScopes[m_vUses[i].m_uiScope].m_vValues.push_back(i);
}

/// Decides the scope of a value and passes the need on to its arguments.
void CodeWriter::placeValue(std::uint32_t in_uiValue)
{
    const Value& value = m_values.get()[in_uiValue];
    Use& use = m_vUses[in_uiValue];
    if (!value.hasCode() || (use.m_uiScope == NONE && !use.m_bSeveral))
        return;
    if (use.m_bSeveral || !use.m_bThere)
    {
        use.m_uiScope = addScope(NONE);
        use.m_uiBlock = static_cast<std::uint32_t>(m_vBlockScopes.size());
        m_vBlockScopes.push_back(use.m_uiScope);
    }
    const std::uint32_t uiScope = use.m_uiScope;
    for (std::uint32_t i = 0; i < value.m_uiNbArguments; ++i)
    {
        const std::uint32_t uiArgument = m_values.getArgument(value, i);
        if (value.m_kind != Kind::SELECTED || i == 0)
            demand(uiArgument, uiScope);
        else if (m_values.get()[m_values.getBase(uiArgument)].hasCode())
        {
            m_vBranches[2 * in_uiValue + i - 1] = addScope(uiScope);
            if (m_vScopes[uiScope].m_uiDepth == MOST_DEPTH)
                demandOutside(uiArgument);
            else
                demand(uiArgument, m_vBranches[2 * in_uiValue + i - 1]);
        }
    }
}

/// The value must have a block.
void CodeWriter::demandOutside(std::uint32_t in_uiValue)
{
    m_vUses[m_values.getBase(in_uiValue)].m_bSeveral = true;
}

void CodeWriter::demand(std::uint32_t in_uiValue, std::uint32_t in_uiScope)
{
    Use& use = m_vUses[m_values.getBase(in_uiValue)];
    if (use.m_bSeveral)
        return;
    const std::uint32_t uiScope = use.m_uiScope == NONE ? in_uiScope : innermostOf(use.m_uiScope, in_uiScope);
    if (uiScope == NONE)
        use.m_bSeveral = true;
    else
        use.m_bThere = uiScope == in_uiScope || (uiScope == use.m_uiScope && use.m_bThere);
    use.m_uiScope = uiScope;
}

/// NONE when they lie in different blocks.
std::uint32_t CodeWriter::innermostOf(std::uint32_t in_uiScope, std::uint32_t in_uiOther) const
{
    while (in_uiScope != in_uiOther)
    {
        std::uint32_t& uiDeeper =
            m_vScopes[in_uiScope].m_uiDepth >= m_vScopes[in_uiOther].m_uiDepth ? in_uiScope : in_uiOther;
        uiDeeper = m_vScopes[uiDeeper].m_uiParent;
        if (uiDeeper == NONE)
            return NONE;
    }
    return in_uiScope;
}

std::uint32_t CodeWriter::addScope(std::uint32_t in_uiParent)
{
    m_vScopes.push_back({in_uiParent, in_uiParent == NONE ? 0 : m_vScopes[in_uiParent].m_uiDepth + 1, {}});
    return static_cast<std::uint32_t>(m_vScopes.size() - 1);
}

std::uint32_t CodeWriter::blockOf(std::uint32_t in_uiValue) const
{
    return m_vUses[m_values.getBase(in_uiValue)].m_uiBlock;
}

void CodeWriter::writeScope(std::uint32_t in_uiScope)
{
    for (const std::uint32_t uiValue : m_vScopes[in_uiScope].m_vValues)
        writeValue(uiValue);
}

void CodeWriter::writeValue(std::uint32_t in_uiValue)
{
    const Value& value = m_values.get()[in_uiValue];
    if (value.m_kind == Kind::SELECTED)
    {
        callFor(m_values.getArgument(value, 0));
        writeSelection(in_uiValue);
        return;
    }
    for (std::uint32_t i = 0; i < value.m_uiNbArguments; ++i)
        callFor(m_values.getArgument(value, i));
    if (value.m_kind != Kind::JOINED)
    {
        emit(value.m_instruction);
        return;
    }
    std::uint32_t uiAt = value.m_slot.m_uiAt;
    for (std::uint32_t i = 0; i < value.m_uiNbArguments; ++i)
    {
        const Slot from = m_values.get()[m_values.getArgument(value, i)].m_slot;
        move(from, {uiAt, from.m_uiSize});
        uiAt += from.m_uiSize;
    }
}

/// Calls the block of an argument before its first use.
void CodeWriter::callFor(std::uint32_t in_uiArgument)
{
    const std::uint32_t uiBlock = blockOf(in_uiArgument);
    if (uiBlock == Plan::NO_BLOCK || m_vCalled[uiBlock])
        return;
    emit(Code::CALL, uiBlock);
    m_vCalled[uiBlock] = true;
    m_vCalls.push_back(uiBlock);
}

void CodeWriter::writeSelection(std::uint32_t in_uiValue)
{
    const Value& value = m_values.get()[in_uiValue];
    const Slot condition = m_values.get()[m_values.getArgument(value, 0)].m_slot;
    if (value.m_slot.m_uiSize == 1 && isThere(in_uiValue, 0) && isThere(in_uiValue, 1))
    {
        Instruction instruction;
        instruction.m_op = Op::SELECT;
        instruction.m_uiA = condition.m_uiAt;
        instruction.m_uiB = m_values.get()[m_values.getArgument(value, 1)].m_slot.m_uiAt;
        instruction.m_uiC = m_values.get()[m_values.getArgument(value, 2)].m_slot.m_uiAt;
        instruction.m_uiOut = value.m_slot.m_uiAt;
        emit(instruction);
        return;
    }
    const std::uint32_t uiBranch = emit(Code::BRANCH, 0);
    m_plan.m_vCode[uiBranch].m_uiA = condition.m_uiAt;
    writeBranch(in_uiValue, 0);
    const std::uint32_t uiJump = emit(Code::JUMP, 0);
    m_plan.m_vCode[uiBranch].m_uiTarget = static_cast<std::uint32_t>(m_plan.m_vCode.size());
    writeBranch(in_uiValue, 1);
    m_plan.m_vCode[uiJump].m_uiTarget = static_cast<std::uint32_t>(m_plan.m_vCode.size());
}

/// True when the value of a branch is computed in any case.
bool CodeWriter::isThere(std::uint32_t in_uiValue, std::uint32_t in_uiBranch) const
{
    const std::uint32_t uiScope = m_vBranches[2 * in_uiValue + in_uiBranch];
    const std::uint32_t uiBlock = blockOf(m_values.getArgument(m_values.get()[in_uiValue], 1 + in_uiBranch));
    return (uiScope == NONE || m_vScopes[uiScope].m_vValues.empty()) &&
           (uiBlock == Plan::NO_BLOCK || m_vCalled[uiBlock]);
}

void CodeWriter::writeBranch(std::uint32_t in_uiValue, std::uint32_t in_uiBranch)
{
    const Value& value = m_values.get()[in_uiValue];
    const std::uint32_t uiArgument = m_values.getArgument(value, 1 + in_uiBranch);
    const std::size_t uiCallsBefore = m_vCalls.size();
    if (m_vBranches[2 * in_uiValue + in_uiBranch] != NONE)
        writeScope(m_vBranches[2 * in_uiValue + in_uiBranch]);
    callFor(uiArgument);
    move(m_values.get()[uiArgument].m_slot, value.m_slot);
    forgetCalls(uiCallsBefore);
}

void CodeWriter::forgetCalls(std::size_t in_uiFrom)
{
    for (; m_vCalls.size() > in_uiFrom; m_vCalls.pop_back())
        m_vCalled[m_vCalls.back()] = false;
}

void CodeWriter::move(Slot in_from, Slot in_to)
{
    Instruction instruction;
    instruction.m_code = in_from.m_uiSize == in_to.m_uiSize ? Code::COPY : Code::FILL;
    instruction.m_uiSize = in_to.m_uiSize;
    instruction.m_uiA = in_from.m_uiAt;
    instruction.m_uiOut = in_to.m_uiAt;
    emit(instruction);
}

void CodeWriter::emit(Instruction in_instruction)
{
    if (in_instruction.m_code == Code::SCALAR)
    {
        const bool bBinary = static_cast<std::size_t>(in_instruction.m_op) < NB_BINARY;
        const Last last = in_instruction.m_uiA == m_uiLast              ? Last::A
                          : bBinary && in_instruction.m_uiB == m_uiLast ? Last::B
                                                                        : Last::NONE;
        m_uiLast = in_instruction.m_uiOut;
        if (last != Last::NONE && pair(in_instruction, last))
            return;
        in_instruction.m_pScalar = findScalar(in_instruction.m_op, last);
        m_last = last;
    }
    else
        m_uiLast = NONE;
    m_plan.m_vCode.push_back(in_instruction);
}

/// Makes one instruction of the one before and the one that takes its result, if there is one for both.
bool CodeWriter::pair(const Instruction& in_second, Last in_last)
{
    Instruction& first = m_plan.m_vCode.back();
    const Scalar pPair = findPair(first.m_op, m_last, in_second.m_op, in_last);
    if (pPair == nullptr)
        return false;
    first.m_pScalar = pPair;
    first.m_op = Op::CALL;
    first.m_uiC = in_last == Last::A ? in_second.m_uiB : in_second.m_uiA;
    first.m_uiSize = first.m_uiOut;
    first.m_uiOut = in_second.m_uiOut;
    return true;
}

std::uint32_t CodeWriter::emit(Code in_code, std::uint32_t in_uiTarget)
{
    Instruction instruction;
    instruction.m_code = in_code;
    instruction.m_uiTarget = in_uiTarget;
    emit(instruction);
    return static_cast<std::uint32_t>(m_plan.m_vCode.size() - 1);
}

} // namespace Vexalor::Math::Xpr
