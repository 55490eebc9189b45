#include "Plan.h"

#include <algorithm>

namespace Vexalor::Math::Xpr
{

Plan::Plan(const Program& in_program, const std::vector<std::uint32_t>& in_vLengths)
    : m_program(in_program)
    , m_constants(*this)
    , m_vShapes(in_program.getNbNodes())
    , m_vSlots(in_program.getNbNodes())
{
    for (const std::uint32_t uiLength : in_vLengths)
    {
        // However many there are, each has its place.
        m_vInputs.push_back({static_cast<std::uint32_t>(m_vImage.size()), uiLength});
        m_vImage.resize(m_vImage.size() + std::max<std::size_t>(uiLength, 1));
        m_vInputShapes.push_back({uiLength});
    }
    findLengths(*this);
}

bool Plan::isFor(const std::vector<std::uint32_t>& in_vLengths) const
{
    return std::equal(in_vLengths.begin(), in_vLengths.end(), m_vInputs.begin(), m_vInputs.end(),
                      [](std::uint32_t in_uiLength, const Slot& in_slot)
                      { return in_uiLength == in_slot.m_uiSize; });
}

const Shape& Plan::getShape(std::uint32_t in_uiSymbol) const
{
    static constexpr Shape SINGLE{1, true};
    const Symbol& symbol = m_program.getSymbol(in_uiSymbol);
    if (symbol.m_kind == Symbol::Kind::EXPRESSION)
        return m_vShapes[m_program.getDefinition(in_uiSymbol).m_uiRoot];
    return symbol.m_kind == Symbol::Kind::INPUT ? m_vInputShapes[symbol.m_uiInput] : SINGLE;
}

Plan::Place Plan::prepare(std::uint32_t in_uiSymbol)
{
    const Symbol& symbol = m_program.getSymbol(in_uiSymbol);
    if (symbol.m_kind == Symbol::Kind::INPUT)
        return {m_vInputs[symbol.m_uiInput]};
    const std::uint32_t uiBlock = getBlock(in_uiSymbol);
    for (; m_uiNbWritten < m_vBlocks.size(); ++m_uiNbWritten)
        writeBlock(*this, m_uiNbWritten);
    return {m_vBlocks[uiBlock]->m_slot, uiBlock};
}

std::uint32_t Plan::getBlock(std::uint32_t in_uiSymbol)
{
    const auto [itBlock, bNew] =
        m_blocks.try_emplace(in_uiSymbol, static_cast<std::uint32_t>(m_vBlocks.size()));
    if (bNew)
        m_vBlocks.push_back(
            std::make_unique<Block>(Block{allocate(getShape(in_uiSymbol).m_uiLength), in_uiSymbol, {}}));
    return itBlock->second;
}

Slot Plan::getState(std::uint32_t in_uiSymbol)
{
    const auto [itState, bNew] = m_states.try_emplace(in_uiSymbol);
    const Shape& shape = getShape(in_uiSymbol);
    if (bNew && !shape.isFailed())
        itState->second = allocate(shape.m_uiLength + 1);
    return itState->second;
}

bool Plan::hasRoom(std::size_t in_uiSize) const
{
    return m_vImage.size() + m_constants.getNbValues() + in_uiSize <= Limits::MAX_VALUES;
}

Slot Plan::allocate(std::uint32_t in_uiSize)
{
    if (!hasRoom(in_uiSize))
        return {};
    const Slot slot{static_cast<std::uint32_t>(m_vImage.size()), in_uiSize};
    // An empty vector has a place too, which instructions may read.
    m_vImage.resize(m_vImage.size() + std::max<std::size_t>(in_uiSize, 1));
    return slot;
}

const std::string* Plan::keep(const std::string& in_strFailure)
{
    return &*m_failures.insert(in_strFailure).first;
}

} // namespace Vexalor::Math::Xpr
