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
    const Shape& shape = m_plan.getShape(block.m_uiSymbol);
    if (shape.isFailed())
        emitFailure(m_plan.m_failures.at(shape.m_uiFailed));
    else if (!block.m_bHasRoom)
        emitFailure(keep((m_program.isExpression(block.m_uiSymbol)
                              ? m_program.where(m_program.getDefinition(block.m_uiSymbol).m_uiRoot)
                              : "") +
                         TOO_MANY_VALUES));
    else if (!m_program.isExpression(block.m_uiSymbol))
        m_plan.m_vImage[block.m_slot.m_uiAt] = m_program.getSymbol(block.m_uiSymbol).m_dValue;
    else
    {
        // What is in straight code elsewhere has a block of its own when it is looked up.
        const Structure::Place& place = m_program.getStructure().m_vPlaces[block.m_uiSymbol];
        if (place.m_bBlock && !shape.m_bKnown)
            writeScope(place.m_uiScope);
        m_uiRoot = m_program.getDefinition(block.m_uiSymbol).m_uiRoot;
        const Slot slot = writeDefinition(block.m_uiSymbol);
        if (slot != block.m_slot)
            move(slot, block.m_slot);
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
        const Shape& shape = m_plan.getShape(*itSymbol);
        if (shape.m_bKnown || shape.isFailed())
            continue;
        m_slots[*itSymbol] = writeDefinition(*itSymbol);
        m_vComputed.push_back(*itSymbol);
    }
}

/// Returns where its value is.
Slot BlockWriter::writeDefinition(std::uint32_t in_uiSymbol)
{
    const Definition& definition = m_program.getDefinition(in_uiSymbol);
    markNeeded(definition);
    writeNodes(definition.m_uiFirstNode, definition.m_uiRoot + 1);
    return slotOf(definition.m_uiRoot);
}

/// What a known value is made of, and the arm that a known condition does not take, are not computed.
void BlockWriter::markNeeded(const Definition& in_definition)
{
    std::vector<bool>& vNeeded = m_plan.m_vNeeded;
    std::fill(vNeeded.begin() + in_definition.m_uiFirstNode, vNeeded.begin() + in_definition.m_uiRoot, false);
    vNeeded[in_definition.m_uiRoot] = true;
    for (std::uint32_t i = in_definition.m_uiRoot + 1; i-- > in_definition.m_uiFirstNode;)
    {
        if (!vNeeded[i] || shapeOf(i).m_bKnown || shapeOf(i).isFailed())
            continue;
        const std::uint32_t uiUntaken = untakenArm(i);
        for (std::uint32_t j = 0; j < m_program.getNode(i).m_uiNbArguments; ++j)
            if (j != uiUntaken)
                vNeeded[argument(i, j)] = true;
    }
}

/// The argument of a choice that a known condition does not take; NONE for others.
std::uint32_t BlockWriter::untakenArm(std::uint32_t in_uiNode) const
{
    if (m_program.getNode(in_uiNode).m_op != Op::SELECT)
        return NONE;
    const std::uint32_t uiCondition = argument(in_uiNode, 0);
    if (!shapeOf(uiCondition).m_bKnown)
        return NONE;
    // Its value was needed for the shape.
    return isTrue(m_plan.m_constants.at(uiCondition).front()) ? 2 : 1;
}

void BlockWriter::writeNodes(std::uint32_t in_uiFirst, std::uint32_t in_uiEnd)
{
    const auto isWritten = [&](std::uint32_t in_uiNode)
    {
        return m_plan.m_vNeeded[in_uiNode] && !shapeOf(in_uiNode).m_bKnown;
    };
    for (std::uint32_t i = in_uiFirst; i < in_uiEnd; ++i)
    {
        if (isWritten(i))
            m_plan.m_vSlots[i] = writeNode(i);
        // The end of a condition, and of a choice that is the condition of another one.
        for (std::uint32_t uiSelect = m_program.getNode(i).m_uiSelect; uiSelect != 0 && isWritten(uiSelect);
             uiSelect = m_program.getNode(i).m_uiSelect)
        {
            const std::uint32_t uiUntaken = untakenArm(uiSelect);
            m_plan.m_vSlots[uiSelect] =
                uiUntaken == NONE ? writeSelect(uiSelect) : writeKnownSelect(uiSelect, 3 - uiUntaken);
            i = uiSelect;
        }
    }
}

Slot BlockWriter::writeNode(std::uint32_t in_uiNode)
{
    const Node& node = m_program.getNode(in_uiNode);
    switch (node.m_op)
    {
    case Op::NAME:
        return writeName(node.m_uiSymbol);
    case Op::PREVIOUS:
        return writePrevious(in_uiNode);
    case Op::VECTOR:
        return writeVector(in_uiNode);
    case Op::INDEX:
    case Op::SLICE:
    {
        const std::uint32_t uiFirst = argument(in_uiNode, 1);
        if (!shapeOf(uiFirst).m_bKnown)
            break;
        // Its value was needed for the shape.
        const double dFirst = m_plan.m_constants.at(uiFirst).front();
        return {slotOf(argument(in_uiNode, 0)).m_uiAt + static_cast<std::uint32_t>(dFirst),
                shapeOf(in_uiNode).m_uiLength};
    }
    case Op::CALL:
        if (node.m_pFunction->isKernel())
            return writeKernel(in_uiNode);
        break;
    default:
        break;
    }
    return writeInstruction(in_uiNode);
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
    call.m_uiTarget = m_plan.getBlock(in_uiSymbol);
    emit(call);
    m_vComputed.push_back(in_uiSymbol);
    return itSlot->second = m_plan.m_vBlocks[call.m_uiTarget]->m_slot;
}

/// The state if it has a value, else the initial value.
Slot BlockWriter::writePrevious(std::uint32_t in_uiNode)
{
    const std::uint32_t uiLength = shapeOf(in_uiNode).m_uiLength;
    const Slot initial = constant(argument(in_uiNode, 0), uiLength);
    const std::uint32_t uiSymbol = m_program.getNode(in_uiNode).m_uiSymbol;
    const Slot state = m_plan.getState(uiSymbol);
    if (state.m_uiSize != uiLength + 1)
    {
        if (!m_plan.getShape(uiSymbol).isFailed())
            emitFailure(keep(m_program.where(in_uiNode) + TOO_MANY_VALUES));
        return initial;
    }
    const Slot out = place(in_uiNode);
    emitChoice(state, {state.m_uiAt + 1, uiLength}, initial, out);
    return out;
}

Slot BlockWriter::writeVector(std::uint32_t in_uiNode)
{
    const Slot out = place(in_uiNode);
    std::uint32_t uiAt = out.m_uiAt;
    for (std::uint32_t i = 0; i < m_program.getNode(in_uiNode).m_uiNbArguments; ++i)
    {
        const Slot from = slotOf(argument(in_uiNode, i));
        move(from, {uiAt, from.m_uiSize});
        uiAt += from.m_uiSize;
    }
    return out;
}

Slot BlockWriter::writeKernel(std::uint32_t in_uiNode)
{
    const Slot window = slotOf(argument(in_uiNode, 0));
    const Slot out = place(in_uiNode);
    Instruction instruction(Code::KERNEL, 1, window.m_uiAt);
    instruction.m_pKernel = m_constants.findKernel(in_uiNode);
    if (instruction.m_pKernel == nullptr)
    {
        emitFailure(keep(m_constants.takeFailure()));
        return out;
    }
    const auto uiScratch = static_cast<std::uint32_t>(instruction.m_pKernel->getScratchSize());
    instruction.m_uiB = allocate(in_uiNode, uiScratch).m_uiAt;
    instruction.m_uiOut = out.m_uiAt;
    emit(instruction);
    return out;
}

Slot BlockWriter::writeInstruction(std::uint32_t in_uiNode)
{
    const Node& node = m_program.getNode(in_uiNode);
    const Slot a = slotOf(argument(in_uiNode, 0));
    const Slot b = slotOf(argument(in_uiNode, node.m_uiNbArguments - 1));
    const Slot out = place(in_uiNode);
    Instruction instruction = makeInstruction(node, a.m_uiSize, b.m_uiSize);
    instruction.m_uiA = a.m_uiAt;
    instruction.m_uiB = b.m_uiAt;
    instruction.m_uiOut = out.m_uiAt;
    if (instruction.m_code == Code::ELEMENT)
        instruction.m_pFailure =
            &keep(m_program.where(in_uiNode) + "index out of range or not whole: there are " +
                  std::to_string(a.m_uiSize) + " values");
    emit(instruction);
    return out;
}

/// A choice whose condition has been written.
Slot BlockWriter::writeSelect(std::uint32_t in_uiNode)
{
    const Slot condition = slotOf(argument(in_uiNode, 0));
    const Slot out = place(in_uiNode);
    const std::uint32_t uiYes = argument(in_uiNode, 1);
    const std::uint32_t uiNo = argument(in_uiNode, 2);
    if (isThere(uiYes, out.m_uiSize) && isThere(uiNo, out.m_uiSize))
    {
        writeNodes(uiYes, uiYes + 1);
        writeNodes(uiNo, uiNo + 1);
        emitChoice(condition, slotOf(uiYes), slotOf(uiNo), out);
        return out;
    }
    const std::size_t uiBranch = emit(Instruction(Code::BRANCH, 1, condition.m_uiAt));
    writeArm(in_uiNode, 1, out);
    const std::size_t uiJump = emit(Instruction(Code::JUMP));
    m_vCode[uiBranch].m_uiTarget = static_cast<std::uint32_t>(uiJump - uiBranch);
    writeArm(in_uiNode, 2, out);
    m_vCode[uiJump].m_uiTarget = static_cast<std::uint32_t>(m_vCode.size() - 1 - uiJump);
    return out;
}

/// A choice by a known condition: one of its arguments.
Slot BlockWriter::writeKnownSelect(std::uint32_t in_uiNode, std::uint32_t in_uiArm)
{
    writeTaken(in_uiNode, in_uiArm);
    const Slot taken = slotOf(argument(in_uiNode, in_uiArm));
    if (taken.m_uiSize == shapeOf(in_uiNode).m_uiLength)
        return taken;
    const Slot out = place(in_uiNode);
    move(taken, out);
    return out;
}

/// True when an arm has that many values, which are computed in any case.
bool BlockWriter::isThere(std::uint32_t in_uiNode, std::uint32_t in_uiLength)
{
    const Shape& shape = shapeOf(in_uiNode);
    const Node& node = m_program.getNode(in_uiNode);
    if (shape.isFailed() || shape.m_uiLength != in_uiLength)
        return false;
    if (shape.m_bKnown)
        return m_constants.find(in_uiNode) != nullptr;
    if (node.m_op != Op::NAME)
        return false;
    return !m_program.isExpression(node.m_uiSymbol) || m_slots.count(node.m_uiSymbol) != 0;
}

/// What one arm computes holds for it only.
void BlockWriter::writeArm(std::uint32_t in_uiSelect, std::uint32_t in_uiArm, const Slot& in_result)
{
    const std::uint32_t uiNode = argument(in_uiSelect, in_uiArm);
    const Shape& shape = shapeOf(uiNode);
    if (shape.isFailed())
    {
        emitFailure(m_plan.m_failures.at(shape.m_uiFailed));
        return;
    }
    const std::size_t uiNbComputed = m_vComputed.size();
    writeTaken(in_uiSelect, in_uiArm);
    move(slotOf(uiNode), in_result);
    for (; m_vComputed.size() > uiNbComputed; m_vComputed.pop_back())
        m_slots.erase(m_vComputed.back());
}

void BlockWriter::writeTaken(std::uint32_t in_uiSelect, std::uint32_t in_uiArm)
{
    const std::uint32_t uiNode = argument(in_uiSelect, in_uiArm);
    if (shapeOf(uiNode).m_bKnown)
        return;
    const Node& select = m_program.getNode(in_uiSelect);
    writeScope(m_program.getStructure().scopeOf(select.m_uiOwner, select.m_uiArm + in_uiArm - 1));
    writeNodes(argument(in_uiSelect, in_uiArm - 1) + 1, uiNode + 1);
}

std::uint32_t BlockWriter::argument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex) const
{
    return m_program.getArgument(in_uiNode, in_uiIndex);
}

Slot BlockWriter::slotOf(std::uint32_t in_uiNode)
{
    const Shape& shape = shapeOf(in_uiNode);
    return shape.m_bKnown ? constant(in_uiNode, shape.m_uiLength) : m_plan.m_vSlots[in_uiNode];
}

/// A known value, repeated to that length.
Slot BlockWriter::constant(std::uint32_t in_uiNode, std::uint32_t in_uiLength)
{
    const std::vector<double>* pValues = m_constants.find(in_uiNode);
    if (pValues == nullptr)
    {
        emitFailure(keep(m_constants.takeFailure()));
        return {0, in_uiLength};
    }
    const Slot slot = allocate(in_uiNode, in_uiLength);
    for (std::uint32_t i = 0; i < in_uiLength && slot.m_uiAt != 0; ++i)
        m_plan.m_vImage[slot.m_uiAt + i] = (*pValues)[pValues->size() == 1 ? 0 : i];
    return slot;
}

/// Where the value of a node is left.
Slot BlockWriter::place(std::uint32_t in_uiNode)
{
    return in_uiNode == m_uiRoot ? m_plan.m_vBlocks[m_uiBlock]->m_slot
                                 : allocate(in_uiNode, shapeOf(in_uiNode).m_uiLength);
}

/// What is written after a failure is never reached, and may lie anywhere.
Slot BlockWriter::allocate(std::uint32_t in_uiNode, std::uint32_t in_uiSize)
{
    Slot slot{0, in_uiSize};
    if (!m_plan.allocate(in_uiSize, slot))
        emitFailure(keep(m_program.where(in_uiNode) + TOO_MANY_VALUES));
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

const std::string& BlockWriter::keep(std::string in_strFailure)
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
