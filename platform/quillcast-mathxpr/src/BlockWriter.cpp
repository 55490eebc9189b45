#include "Plan.h"

namespace Vexalor::Math::Xpr
{

namespace
{

/// Writes the instructions of one block: definitions in straight code, choices with their branches in place,
/// and calls of other blocks before the first use of what they compute.
class BlockWriter
{
public:
    BlockWriter(Plan& io_plan, std::uint32_t in_uiBlock)
        : m_program(io_plan.m_program)
        , m_plan(io_plan)
        , m_uiBlock(in_uiBlock)
        , m_block(*io_plan.m_vBlocks[in_uiBlock])
        , m_vCode(io_plan.m_vBlocks[in_uiBlock]->m_vCode)
    {
    }

    void write()
    {
        const Shape& shape = m_plan.getShape(m_block.m_uiSymbol);
        const bool bExpression = m_program.isExpression(m_block.m_uiSymbol);
        m_uiRoot = bExpression ? m_program.getDefinition(m_block.m_uiSymbol).m_uiRoot : NONE;
        if (shape.isFailed())
            emitFailure(shape.m_pFailure);
        else if (m_block.m_slot.m_uiSize != shape.m_uiLength)
            emitFailure(m_plan.keep((bExpression ? m_program.where(m_uiRoot) : "") + Plan::TOO_MANY_VALUES));
        else if (!bExpression)
            m_plan.m_vImage[m_block.m_slot.m_uiAt] = m_program.getSymbol(m_block.m_uiSymbol).m_dValue;
        else
        {
            writeAhead();
            const Slot slot = writeDefinition(m_block.m_uiSymbol);
            if (slot != m_block.m_slot)
                move(slot, m_block.m_slot);
        }
        emit({.m_code = Code::RETURN, .m_uiTarget = m_uiBlock});
    }

private:
    static constexpr std::uint32_t NONE = Structure::NONE;

    /// What is ahead in another block has none there when it is looked up and gets a block of its own.
    void writeAhead()
    {
        const std::vector<std::uint32_t>& vAhead = m_program.getStructure().m_vAheads[m_block.m_uiSymbol];
        for (auto itSymbol = vAhead.rbegin(); itSymbol != vAhead.rend(); ++itSymbol)
            if (!m_plan.getShape(*itSymbol).m_bKnown)
                m_slots[*itSymbol] = writeDefinition(*itSymbol);
    }

    /// Returns where its value is.
    Slot writeDefinition(std::uint32_t in_uiSymbol)
    {
        const Definition& definition = m_program.getDefinition(in_uiSymbol);
        writeNodes(definition.m_uiFirstNode, definition.m_uiRoot + 1);
        return slotOf(definition.m_uiRoot);
    }

    void writeNodes(std::uint32_t in_uiFirst, std::uint32_t in_uiEnd)
    {
        for (std::uint32_t i = in_uiFirst; i < in_uiEnd; ++i)
        {
            if (isWritten(i))
                m_plan.m_vSlots[i] = writeNode(i);
            // A choice, with all its nodes, follows its condition; it may be the condition of another one.
            while (const std::uint32_t uiSelect = m_program.getNode(i).m_uiSelect)
            {
                i = uiSelect;
                if (isWritten(i))
                    m_plan.m_vSlots[i] = writeSelect(i);
            }
        }
    }

    /// Known values are found when they are used.
    bool isWritten(std::uint32_t in_uiNode) const
    {
        return !shapeOf(in_uiNode).m_bKnown && !m_program.getNode(in_uiNode).m_bLengthOnly;
    }

    Slot writeNode(std::uint32_t in_uiNode)
    {
        const Node& node = m_program.getNode(in_uiNode);
        if (node.m_op == Op::NAME)
            return writeName(node.m_uiSymbol);
        if (node.m_op == Op::PREVIOUS)
            return writePrevious(in_uiNode);
        if (node.m_op == Op::VECTOR)
            return writeVector(in_uiNode);
        if (node.m_op == Op::CALL && node.m_pFunction->isKernel())
            return writeKernel(in_uiNode);
        if ((node.m_op == Op::INDEX || node.m_op == Op::SLICE) && shapeOf(argument(in_uiNode, 1)).m_bKnown)
            return {slotOf(argument(in_uiNode, 0)).m_uiAt +
                        static_cast<std::uint32_t>(knownNumber(argument(in_uiNode, 1))),
                    shapeOf(in_uiNode).m_uiLength};
        return writeInstruction(in_uiNode);
    }

    Slot writeName(std::uint32_t in_uiSymbol)
    {
        const auto itSlot = m_slots.find(in_uiSymbol);
        if (itSlot != m_slots.end())
            return itSlot->second;
        const Symbol& symbol = m_program.getSymbol(in_uiSymbol);
        if (symbol.m_kind == Symbol::Kind::INPUT)
            return m_plan.getInput(symbol.m_uiInput);
        m_vComputed.push_back(in_uiSymbol);
        if (m_program.getStructure().m_vPlaces[in_uiSymbol].m_where == Structure::Where::INSIDE)
            return m_slots[in_uiSymbol] = writeDefinition(in_uiSymbol);
        const std::uint32_t uiBlock = m_plan.getBlock(in_uiSymbol);
        emit({.m_code = Code::CALL, .m_uiTarget = uiBlock});
        return m_slots[in_uiSymbol] = m_plan.m_vBlocks[uiBlock]->m_slot;
    }

    /// The state if it has a value, else the initial value.
    Slot writePrevious(std::uint32_t in_uiNode)
    {
        const std::uint32_t uiLength = shapeOf(in_uiNode).m_uiLength;
        const Slot initial = constant(argument(in_uiNode, 0), uiLength);
        const std::uint32_t uiSymbol = m_program.getNode(in_uiNode).m_uiSymbol;
        const Slot state = m_plan.getState(uiSymbol);
        if (state.m_uiSize != uiLength + 1)
        {
            if (!m_plan.getShape(uiSymbol).isFailed())
                emitTooManyValues(in_uiNode);
            return initial;
        }
        const Slot out = place(in_uiNode);
        emitChoice(state, {state.m_uiAt + 1, uiLength}, initial, out);
        return out;
    }

    Slot writeVector(std::uint32_t in_uiNode)
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

    Slot writeKernel(std::uint32_t in_uiNode)
    {
        const Slot window = slotOf(argument(in_uiNode, 0));
        const Slot out = place(in_uiNode);
        const Kernel* pKernel = m_plan.m_constants.findKernel(in_uiNode);
        if (pKernel == nullptr)
        {
            emitFailure(m_plan.m_constants.takeFailure());
            return out;
        }
        const Slot scratch = allocate(in_uiNode, static_cast<std::uint32_t>(pKernel->getScratchSize()));
        emit({.m_code = Code::KERNEL,
              .m_uiA = window.m_uiAt,
              .m_uiB = scratch.m_uiAt,
              .m_uiOut = out.m_uiAt,
              .m_routine = {.m_pKernel = pKernel}});
        return out;
    }

    Slot writeInstruction(std::uint32_t in_uiNode)
    {
        const Node& node = m_program.getNode(in_uiNode);
        const Slot a = slotOf(argument(in_uiNode, 0));
        const Slot b = slotOf(argument(in_uiNode, node.m_uiNbArguments - 1));
        const Slot out = place(in_uiNode);
        Instruction instruction = makeInstruction(node, a, b, out);
        if (instruction.m_code == Code::ELEMENT)
            instruction.m_pFailure =
                m_plan.keep(m_program.where(in_uiNode) + "index out of range or not whole: there are " +
                            std::to_string(a.m_uiSize) + " values");
        emit(instruction);
        return out;
    }

    /// A choice whose condition has been written.
    Slot writeSelect(std::uint32_t in_uiNode)
    {
        const std::uint32_t uiCondition = argument(in_uiNode, 0);
        if (shapeOf(uiCondition).m_bKnown)
            return writeKnownSelect(in_uiNode, isTrue(knownNumber(uiCondition)) ? 1 : 2);
        const Slot condition = slotOf(uiCondition);
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
        const std::size_t uiBranch = emit({.m_code = Code::BRANCH, .m_uiA = condition.m_uiAt});
        writeSide(in_uiNode, 1, out);
        const std::size_t uiJump = emit({.m_code = Code::JUMP});
        m_vCode[uiBranch].m_uiTarget = static_cast<std::uint32_t>(uiJump - uiBranch);
        writeSide(in_uiNode, 2, out);
        m_vCode[uiJump].m_uiTarget = static_cast<std::uint32_t>(m_vCode.size() - 1 - uiJump);
        return out;
    }

    Slot writeKnownSelect(std::uint32_t in_uiNode, std::uint32_t in_uiTaken)
    {
        const Slot taken = writeArgument(in_uiNode, in_uiTaken);
        if (taken.m_uiSize == shapeOf(in_uiNode).m_uiLength)
            return taken;
        const Slot out = place(in_uiNode);
        move(taken, out);
        return out;
    }

    /// True when a node has that many values, which are computed in any case.
    bool isThere(std::uint32_t in_uiNode, std::uint32_t in_uiLength)
    {
        const Shape& shape = shapeOf(in_uiNode);
        const Node& node = m_program.getNode(in_uiNode);
        if (shape.isFailed() || shape.m_uiLength != in_uiLength)
            return false;
        if (shape.m_bKnown)
            return m_plan.m_constants.find(in_uiNode) != nullptr;
        return node.m_op == Op::NAME &&
               (!m_program.isExpression(node.m_uiSymbol) || m_slots.count(node.m_uiSymbol) != 0);
    }

    /// What one side of a choice computes holds for it only.
    void writeSide(std::uint32_t in_uiSelect, std::uint32_t in_uiSide, const Slot& in_result)
    {
        const Shape& shape = shapeOf(argument(in_uiSelect, in_uiSide));
        if (shape.isFailed())
        {
            emitFailure(shape.m_pFailure);
            return;
        }
        const std::size_t uiNbComputed = m_vComputed.size();
        move(writeArgument(in_uiSelect, in_uiSide), in_result);
        for (; m_vComputed.size() > uiNbComputed; m_vComputed.pop_back())
            m_slots.erase(m_vComputed.back());
    }

    /// Its nodes are behind those of the argument before.
    Slot writeArgument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex)
    {
        const std::uint32_t uiArgument = argument(in_uiNode, in_uiIndex);
        writeNodes(argument(in_uiNode, in_uiIndex - 1) + 1, uiArgument + 1);
        return slotOf(uiArgument);
    }

    std::uint32_t argument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex) const
    {
        return m_program.getArgument(in_uiNode, in_uiIndex);
    }

    const Shape& shapeOf(std::uint32_t in_uiNode) const { return m_plan.m_vShapes[in_uiNode]; }

    /// A known value that the shape of its user has been found with.
    double knownNumber(std::uint32_t in_uiNode) { return m_plan.m_constants.find(in_uiNode)->front(); }

    Slot slotOf(std::uint32_t in_uiNode)
    {
        const Shape& shape = shapeOf(in_uiNode);
        return shape.m_bKnown ? constant(in_uiNode, shape.m_uiLength) : m_plan.m_vSlots[in_uiNode];
    }

    /// A known value, repeated to that length.
    Slot constant(std::uint32_t in_uiNode, std::uint32_t in_uiLength)
    {
        const Constants::Values* pValues = m_plan.m_constants.find(in_uiNode);
        if (pValues == nullptr)
        {
            emitFailure(m_plan.m_constants.takeFailure());
            return {};
        }
        const Slot slot = allocate(in_uiNode, in_uiLength);
        for (std::uint32_t i = 0; i < slot.m_uiSize; ++i)
            m_plan.m_vImage[slot.m_uiAt + i] = (*pValues)[pValues->size() == 1 ? 0 : i];
        return slot;
    }

    /// Where the value of a node is left.
    Slot place(std::uint32_t in_uiNode)
    {
        return in_uiNode == m_uiRoot ? m_block.m_slot : allocate(in_uiNode, shapeOf(in_uiNode).m_uiLength);
    }

    /// What is written after a failure is never reached, and may lie anywhere.
    Slot allocate(std::uint32_t in_uiNode, std::uint32_t in_uiSize)
    {
        const Slot slot = m_plan.allocate(in_uiSize);
        if (slot.m_uiSize != in_uiSize)
            emitTooManyValues(in_uiNode);
        return slot;
    }

    void move(const Slot& in_from, const Slot& in_to)
    {
        if (in_to.m_uiSize != 0)
            emit({.m_code = in_from.m_uiSize == 1 ? Code::FILL : Code::COPY,
                  .m_uiSize = in_to.m_uiSize,
                  .m_uiA = in_from.m_uiAt,
                  .m_uiOut = in_to.m_uiAt});
    }

    void emitChoice(const Slot& in_condition, const Slot& in_yes, const Slot& in_no, const Slot& in_to)
    {
        emit({.m_code = in_to.m_uiSize == 1 ? Code::SELECT : Code::CHOOSE,
              .m_uiSize = in_to.m_uiSize,
              .m_uiA = in_condition.m_uiAt,
              .m_uiB = in_yes.m_uiAt,
              .m_uiC = in_no.m_uiAt,
              .m_uiOut = in_to.m_uiAt});
    }

    void emitTooManyValues(std::uint32_t in_uiNode)
    {
        emitFailure(m_plan.keep(m_program.where(in_uiNode) + Plan::TOO_MANY_VALUES));
    }

    /// The plan keeps the text.
    void emitFailure(const std::string* in_pFailure)
    {
        emit({.m_code = Code::FAIL, .m_pFailure = in_pFailure});
    }

    std::size_t emit(const Instruction& in_instruction)
    {
        m_vCode.push_back(in_instruction);
        return m_vCode.size() - 1;
    }

    const Program& m_program;
    Plan& m_plan;
    std::uint32_t m_uiBlock;
    const Plan::Block& m_block;
    std::vector<Instruction>& m_vCode;
    std::uint32_t m_uiRoot = NONE;                   ///< the node that has the value of the block
    std::unordered_map<std::uint32_t, Slot> m_slots; ///< of symbols, computed by here in any case
    std::vector<std::uint32_t> m_vComputed;          ///< the same in order, but for those ahead
};

} // namespace

void writeBlock(Plan& io_plan, std::uint32_t in_uiBlock)
{
    BlockWriter(io_plan, in_uiBlock).write();
}

} // namespace Vexalor::Math::Xpr
