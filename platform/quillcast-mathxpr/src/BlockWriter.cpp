#include "BlockWriter.h"

#include "quillcast-mathxpr/Limits.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

namespace
{

const std::string TOO_MANY_VALUES =
    "the scripts need more than " + std::to_string(Limits::MAX_VALUES) + " values";

} // namespace

BlockWriter::BlockWriter(const Program& in_program, Plan& io_plan, std::uint32_t in_uiBlock)
    : m_program(in_program)
    , m_plan(io_plan)
    , m_constants(in_program, io_plan)
    , m_uiBlock(in_uiBlock)
    , m_vCode(io_plan.m_vBlocks[in_uiBlock]->m_vCode)
{
}

void BlockWriter::write()
{
    const Plan::Block& block = *m_plan.m_vBlocks[m_uiBlock];
    const Shape& shape = m_plan.getShape(m_program, block.m_uiSymbol);
    if (shape.isFailed())
        emitFailure(m_plan.m_failures.at(shape.m_uiFailed));
    else if (!block.m_bHasRoom)
        emitFailure(addFailure(TOO_MANY_VALUES));
    else if (!m_program.isExpression(block.m_uiSymbol))
        m_plan.m_vImage[block.m_slot.m_uiAt] = m_program.getSymbol(block.m_uiSymbol).m_dValue;
    else
    {
        // What is in straight code elsewhere has a block of its own when it is looked up.
        const Structure::Place& place = m_program.getStructure().m_vPlaces[block.m_uiSymbol];
        if (place.m_bBlock && !shape.m_bKnown)
            writeScope(place.m_uiScope);
        writeDefinition(block.m_uiSymbol, &block.m_slot);
    }
    Instruction end(Code::RETURN);
    end.m_uiTarget = m_uiBlock;
    emit(end);
}

void BlockWriter::writeScope(std::uint32_t in_uiScope)
{
    const std::vector<std::uint32_t>& vDefinitions =
        m_program.getStructure().m_vScopes[in_uiScope].m_vDefinitions;
    for (auto itSymbol = vDefinitions.rbegin(); itSymbol != vDefinitions.rend(); ++itSymbol)
    {
        const Shape& shape = m_plan.getShape(m_program, *itSymbol);
        if (shape.m_bKnown || shape.isFailed())
            continue;
        m_slots[*itSymbol] = writeDefinition(*itSymbol, nullptr);
        m_vComputed.push_back(*itSymbol);
    }
}

/// Returns where its value is.
Slot BlockWriter::writeDefinition(std::uint32_t in_uiSymbol, const Slot* in_pResult)
{
    const Definition& definition = m_program.getDefinition(in_uiSymbol);
    const std::size_t uiNbNodes = definition.m_uiRoot - definition.m_uiFirstNode + 1;
    Writing writing{in_uiSymbol, &m_program.getScriptOf(in_uiSymbol), &definition,
                    in_pResult,  std::vector<bool>(uiNbNodes),        std::vector<Slot>(uiNbNodes)};
    markNeeded(writing);
    writeNodes(writing, definition.m_uiFirstNode, definition.m_uiRoot + 1);
    const Slot slot = slotOf(writing, definition.m_uiRoot);
    if (in_pResult == nullptr || slot == *in_pResult)
        return slot;
    move(slot, *in_pResult);
    return *in_pResult;
}

/// What a known value is made of, and the arm that a known condition does not take, are not computed.
void BlockWriter::markNeeded(Writing& io_writing) const
{
    const std::uint32_t uiFirst = io_writing.m_pDefinition->m_uiFirstNode;
    io_writing.m_vNeeded.back() = true;
    for (std::uint32_t i = io_writing.m_pDefinition->m_uiRoot + 1; i-- > uiFirst;)
    {
        const Shape& shape = shapeOf(io_writing, i);
        if (!io_writing.m_vNeeded[i - uiFirst] || shape.m_bKnown || shape.isFailed())
            continue;
        const Node& node = nodeOf(io_writing, i);
        const std::uint32_t uiUntaken = untakenArm(io_writing, i);
        for (std::uint32_t j = 0; j < node.m_uiNbArguments; ++j)
            if (j != uiUntaken)
                io_writing.m_vNeeded[argument(io_writing, i, j) - uiFirst] = true;
    }
}

/// The argument of a choice that a known condition does not take; NONE for others.
std::uint32_t BlockWriter::untakenArm(const Writing& in_writing, std::uint32_t in_uiNode) const
{
    if (nodeOf(in_writing, in_uiNode).m_op != Op::SELECT)
        return NONE;
    const std::uint32_t uiCondition = argument(in_writing, in_uiNode, 0);
    if (!shapeOf(in_writing, uiCondition).m_bKnown)
        return NONE;
    // Its value was needed for the shape.
    return isTrue(m_plan.m_constants.at(in_writing.m_pScript->m_uiFirstNode + uiCondition).front()) ? 2 : 1;
}

void BlockWriter::writeNodes(Writing& io_writing, std::uint32_t in_uiFirst, std::uint32_t in_uiEnd)
{
    const std::uint32_t uiFirst = io_writing.m_pDefinition->m_uiFirstNode;
    for (std::uint32_t i = in_uiFirst; i < in_uiEnd; ++i)
    {
        if (io_writing.m_vNeeded[i - uiFirst] && !shapeOf(io_writing, i).m_bKnown)
            writeNode(io_writing, i);
        // The end of a condition, and of a choice that is the condition of another one.
        for (std::uint32_t uiSelect = nodeOf(io_writing, i).m_uiSelect; uiSelect != 0;
             uiSelect = nodeOf(io_writing, i).m_uiSelect)
        {
            if (!io_writing.m_vNeeded[uiSelect - uiFirst] || shapeOf(io_writing, uiSelect).m_bKnown)
                break;
            const std::uint32_t uiUntaken = untakenArm(io_writing, uiSelect);
            if (uiUntaken == NONE)
                writeSelect(io_writing, uiSelect);
            else
                writeKnownSelect(io_writing, uiSelect, 3 - uiUntaken);
            i = uiSelect;
        }
    }
}

void BlockWriter::writeNode(Writing& io_writing, std::uint32_t in_uiNode)
{
    const Node& node = nodeOf(io_writing, in_uiNode);
    Slot& slot = slotAt(io_writing, in_uiNode);
    const std::uint32_t uiLength = shapeOf(io_writing, in_uiNode).m_uiLength;
    switch (node.m_op)
    {
    case Op::NAME:
        slot = writeName(io_writing.m_pScript->m_vSymbols[node.m_uiReference]);
        return;
    case Op::PREVIOUS:
        slot = writePrevious(io_writing, in_uiNode);
        return;
    case Op::VECTOR:
        slot = writeVector(io_writing, in_uiNode);
        return;
    case Op::INDEX:
    case Op::SLICE:
        if (const std::vector<double>* pFirst = known(io_writing, argument(io_writing, in_uiNode, 1)))
        {
            slot = slotOf(io_writing, argument(io_writing, in_uiNode, 0));
            slot = {slot.m_uiAt + static_cast<std::uint32_t>(pFirst->front()), uiLength};
            return;
        }
        break;
    case Op::CALL:
        if (node.m_pFunction->isKernel())
        {
            slot = writeKernel(io_writing, in_uiNode);
            return;
        }
        break;
    default:
        break;
    }
    slot = writeInstruction(io_writing, in_uiNode);
}

Slot BlockWriter::writeName(std::uint32_t in_uiSymbol)
{
    const auto [itSlot, bNew] = m_slots.emplace(in_uiSymbol, Slot{});
    if (!bNew)
        return itSlot->second;
    const Symbol& symbol = m_program.getSymbol(in_uiSymbol);
    if (symbol.m_kind == Symbol::Kind::INPUT)
        return itSlot->second = m_plan.getInput(symbol.m_uiInput);
    Instruction call(Code::CALL);
    call.m_uiTarget = m_plan.getBlock(m_program, in_uiSymbol);
    emit(call);
    m_vComputed.push_back(in_uiSymbol);
    return itSlot->second = m_plan.m_vBlocks[call.m_uiTarget]->m_slot;
}

/// The state if it has a value, else the initial value.
Slot BlockWriter::writePrevious(Writing& io_writing, std::uint32_t in_uiNode)
{
    const std::uint32_t uiLength = shapeOf(io_writing, in_uiNode).m_uiLength;
    const Slot initial = constant(io_writing, argument(io_writing, in_uiNode, 0), uiLength);
    const Slot state = m_plan.getState(
        m_program, io_writing.m_pScript->m_vSymbols[nodeOf(io_writing, in_uiNode).m_uiReference]);
    if (state.m_uiSize != uiLength + 1)
        return initial;
    const Slot out = place(io_writing, in_uiNode);
    emitChoice(state, {state.m_uiAt + 1, uiLength}, initial, out);
    return out;
}

Slot BlockWriter::writeVector(Writing& io_writing, std::uint32_t in_uiNode)
{
    const Slot out = place(io_writing, in_uiNode);
    std::uint32_t uiAt = out.m_uiAt;
    for (std::uint32_t i = 0; i < nodeOf(io_writing, in_uiNode).m_uiNbArguments; ++i)
    {
        const Slot from = slotOf(io_writing, argument(io_writing, in_uiNode, i));
        move(from, {uiAt, from.m_uiSize});
        uiAt += from.m_uiSize;
    }
    return out;
}

Slot BlockWriter::writeKernel(Writing& io_writing, std::uint32_t in_uiNode)
{
    const Slot window = slotOf(io_writing, argument(io_writing, in_uiNode, 0));
    std::vector<const std::vector<double>*> vSettings;
    for (std::uint32_t i = 1; i < nodeOf(io_writing, in_uiNode).m_uiNbArguments; ++i)
    {
        vSettings.push_back(known(io_writing, argument(io_writing, in_uiNode, i)));
        if (vSettings.back() == nullptr)
        {
            emitFailure(addFailure(m_constants.takeFailure()));
            return {0, shapeOf(io_writing, in_uiNode).m_uiLength};
        }
    }
    std::string strReason;
    Instruction instruction(Code::KERNEL);
    instruction.m_uiA = window.m_uiAt;
    instruction.m_pKernel =
        m_plan.getKernel(*nodeOf(io_writing, in_uiNode).m_pFunction, window.m_uiSize, vSettings, strReason);
    if (instruction.m_pKernel == nullptr)
        emitFailure(makeFailure(io_writing, in_uiNode, strReason));
    else
        instruction.m_uiB = allocate(io_writing, in_uiNode,
                                     static_cast<std::uint32_t>(instruction.m_pKernel->getScratchSize()))
                                .m_uiAt;
    const Slot out = place(io_writing, in_uiNode);
    instruction.m_uiOut = out.m_uiAt;
    if (instruction.m_pKernel != nullptr)
        emit(instruction);
    return out;
}

Slot BlockWriter::writeInstruction(Writing& io_writing, std::uint32_t in_uiNode)
{
    const Node& node = nodeOf(io_writing, in_uiNode);
    const Slot a = slotOf(io_writing, argument(io_writing, in_uiNode, 0));
    const Slot b = slotOf(io_writing, argument(io_writing, in_uiNode, node.m_uiNbArguments - 1));
    Instruction instruction = makeInstruction(node, a.m_uiSize, b.m_uiSize);
    const Slot out = place(io_writing, in_uiNode);
    instruction.m_uiA = a.m_uiAt;
    instruction.m_uiB = b.m_uiAt;
    instruction.m_uiOut = out.m_uiAt;
    if (instruction.m_code == Code::ELEMENT)
        instruction.m_pFailure = &makeFailure(io_writing, in_uiNode,
                                              "index out of range or not whole: there are " +
                                                  std::to_string(a.m_uiSize) + " values");
    emit(instruction);
    return out;
}

/// A choice whose condition has been written.
void BlockWriter::writeSelect(Writing& io_writing, std::uint32_t in_uiNode)
{
    const Slot condition = slotOf(io_writing, argument(io_writing, in_uiNode, 0));
    const Slot out = place(io_writing, in_uiNode);
    slotAt(io_writing, in_uiNode) = out;
    const std::uint32_t uiYes = argument(io_writing, in_uiNode, 1);
    const std::uint32_t uiNo = argument(io_writing, in_uiNode, 2);
    if (isThere(io_writing, uiYes, out.m_uiSize) && isThere(io_writing, uiNo, out.m_uiSize))
    {
        writeNodes(io_writing, uiYes, uiYes + 1);
        writeNodes(io_writing, uiNo, uiNo + 1);
        emitChoice(condition, slotOf(io_writing, uiYes), slotOf(io_writing, uiNo), out);
        return;
    }
    const std::size_t uiBranch = emit(Instruction(Code::BRANCH, 1, condition.m_uiAt));
    writeArm(io_writing, in_uiNode, 1, out);
    const std::size_t uiJump = emit(Instruction(Code::JUMP));
    m_vCode[uiBranch].m_uiTarget = static_cast<std::uint32_t>(uiJump - uiBranch);
    writeArm(io_writing, in_uiNode, 2, out);
    m_vCode[uiJump].m_uiTarget = static_cast<std::uint32_t>(m_vCode.size() - 1 - uiJump);
}

/// A choice by a known condition: one of its arguments.
void BlockWriter::writeKnownSelect(Writing& io_writing, std::uint32_t in_uiNode, std::uint32_t in_uiArm)
{
    writeTaken(io_writing, in_uiNode, in_uiArm);
    const Slot taken = slotOf(io_writing, argument(io_writing, in_uiNode, in_uiArm));
    Slot& slot = slotAt(io_writing, in_uiNode);
    slot = taken;
    if (taken.m_uiSize == shapeOf(io_writing, in_uiNode).m_uiLength)
        return;
    slot = place(io_writing, in_uiNode);
    move(taken, slot);
}

/// True when an arm has that many values, which are computed in any case.
bool BlockWriter::isThere(const Writing& in_writing, std::uint32_t in_uiNode, std::uint32_t in_uiLength)
{
    const Shape& shape = shapeOf(in_writing, in_uiNode);
    const Node& node = nodeOf(in_writing, in_uiNode);
    if (shape.isFailed() || shape.m_uiLength != in_uiLength)
        return false;
    if (shape.m_bKnown)
        return known(in_writing, in_uiNode) != nullptr;
    if (node.m_op != Op::NAME)
        return false;
    const std::uint32_t uiSymbol = in_writing.m_pScript->m_vSymbols[node.m_uiReference];
    return !m_program.isExpression(uiSymbol) || m_slots.count(uiSymbol) != 0;
}

/// What one arm computes holds for it only.
void BlockWriter::writeArm(Writing& io_writing, std::uint32_t in_uiSelect, std::uint32_t in_uiArm,
                           const Slot& in_result)
{
    const std::uint32_t uiNode = argument(io_writing, in_uiSelect, in_uiArm);
    const Shape& shape = shapeOf(io_writing, uiNode);
    if (shape.isFailed())
    {
        emitFailure(m_plan.m_failures.at(shape.m_uiFailed));
        return;
    }
    const std::size_t uiNbComputed = m_vComputed.size();
    writeTaken(io_writing, in_uiSelect, in_uiArm);
    move(slotOf(io_writing, uiNode), in_result);
    for (; m_vComputed.size() > uiNbComputed; m_vComputed.pop_back())
        m_slots.erase(m_vComputed.back());
}

void BlockWriter::writeTaken(Writing& io_writing, std::uint32_t in_uiSelect, std::uint32_t in_uiArm)
{
    const std::uint32_t uiNode = argument(io_writing, in_uiSelect, in_uiArm);
    if (shapeOf(io_writing, uiNode).m_bKnown)
        return;
    writeScope(m_program.getStructure().scopeOf(io_writing.m_uiSymbol,
                                                nodeOf(io_writing, in_uiSelect).m_uiArm + in_uiArm - 1));
    writeNodes(io_writing, argument(io_writing, in_uiSelect, in_uiArm - 1) + 1, uiNode + 1);
}

const Node& BlockWriter::nodeOf(const Writing& in_writing, std::uint32_t in_uiNode)
{
    return in_writing.m_pScript->m_pScript->m_vNodes[in_uiNode];
}

std::uint32_t BlockWriter::argument(const Writing& in_writing, std::uint32_t in_uiNode,
                                    std::uint32_t in_uiIndex)
{
    return in_writing.m_pScript->m_pScript
        ->m_vArguments[nodeOf(in_writing, in_uiNode).m_uiFirstArgument + in_uiIndex];
}

const Shape& BlockWriter::shapeOf(const Writing& in_writing, std::uint32_t in_uiNode) const
{
    return m_plan.m_vShapes[in_writing.m_pScript->m_uiFirstNode + in_uiNode];
}

Slot& BlockWriter::slotAt(Writing& io_writing, std::uint32_t in_uiNode)
{
    return io_writing.m_vSlots[in_uiNode - io_writing.m_pDefinition->m_uiFirstNode];
}

/// Null for what depends on inputs or states, or cannot be computed.
const std::vector<double>* BlockWriter::known(const Writing& in_writing, std::uint32_t in_uiNode)
{
    return shapeOf(in_writing, in_uiNode).m_bKnown ? m_constants.find(*in_writing.m_pScript, in_uiNode)
                                                   : nullptr;
}

Slot BlockWriter::slotOf(Writing& io_writing, std::uint32_t in_uiNode)
{
    const Shape& shape = shapeOf(io_writing, in_uiNode);
    return shape.m_bKnown ? constant(io_writing, in_uiNode, shape.m_uiLength) : slotAt(io_writing, in_uiNode);
}

/// A known value, repeated to that length.
Slot BlockWriter::constant(const Writing& in_writing, std::uint32_t in_uiNode, std::uint32_t in_uiLength)
{
    const std::vector<double>* pValues = known(in_writing, in_uiNode);
    if (pValues == nullptr)
    {
        emitFailure(addFailure(m_constants.takeFailure()));
        return {0, in_uiLength};
    }
    const Slot slot = allocate(in_writing, in_uiNode, in_uiLength);
    for (std::uint32_t i = 0; i < in_uiLength && slot.m_uiAt != 0; ++i)
        m_plan.m_vImage[slot.m_uiAt + i] = (*pValues)[pValues->size() == 1 ? 0 : i];
    return slot;
}

/// Where the value of a node is left.
Slot BlockWriter::place(const Writing& in_writing, std::uint32_t in_uiNode)
{
    return in_writing.m_pResult != nullptr && in_uiNode == in_writing.m_pDefinition->m_uiRoot
               ? *in_writing.m_pResult
               : allocate(in_writing, in_uiNode, shapeOf(in_writing, in_uiNode).m_uiLength);
}

/// What is written after a failure is never reached, and may lie anywhere.
Slot BlockWriter::allocate(const Writing& in_writing, std::uint32_t in_uiNode, std::uint32_t in_uiSize)
{
    Slot slot{0, in_uiSize};
    if (!m_plan.allocate(in_uiSize, slot))
        emitFailure(makeFailure(in_writing, in_uiNode, TOO_MANY_VALUES));
    return slot;
}

void BlockWriter::move(const Slot& in_from, const Slot& in_to)
{
    if (in_to.m_uiSize == 0)
        return;
    Instruction instruction(in_from.m_uiSize == 1 ? Code::FILL : Code::COPY, in_to.m_uiSize, in_from.m_uiAt);
    instruction.m_uiOut = in_to.m_uiAt;
    emit(instruction);
}

void BlockWriter::emitChoice(const Slot& in_condition, const Slot& in_yes, const Slot& in_no,
                             const Slot& in_to)
{
    Instruction instruction(in_to.m_uiSize == 1 ? Code::SELECT : Code::CHOOSE, in_to.m_uiSize,
                            in_condition.m_uiAt);
    instruction.m_uiB = in_yes.m_uiAt;
    instruction.m_uiC = in_no.m_uiAt;
    instruction.m_uiOut = in_to.m_uiAt;
    emit(instruction);
}

const std::string& BlockWriter::makeFailure(const Writing& in_writing, std::uint32_t in_uiNode,
                                            const std::string& in_strReason)
{
    return addFailure(in_writing.m_pScript->m_pScript->where(nodeOf(in_writing, in_uiNode).m_uiLine) +
                      in_strReason);
}

const std::string& BlockWriter::addFailure(std::string in_strFailure)
{
    return m_plan.m_vLateFailures.emplace_back(std::move(in_strFailure));
}

/// The plan keeps the text.
void BlockWriter::emitFailure(const std::string& in_strFailure)
{
    Instruction instruction(Code::FAIL);
    instruction.m_pFailure = &in_strFailure;
    emit(instruction);
}

std::size_t BlockWriter::emit(const Instruction& in_instruction)
{
    m_vCode.push_back(in_instruction);
    return m_vCode.size() - 1;
}

} // namespace Vexalor::Math::Xpr
