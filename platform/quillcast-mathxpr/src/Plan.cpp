#include "Plan.h"

#include "BlockWriter.h"
#include "Lengths.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <bit>

namespace Vexalor::Math::Xpr
{

Plan::Plan(const Program& in_program, const std::vector<std::uint32_t>& in_vLengths)
    : m_vShapes(in_program.getNbNodes())
    , m_vNeeded(in_program.getNbNodes())
    , m_vSlots(in_program.getNbNodes())
    , m_program(in_program)
{
    for (const std::uint32_t uiLength : in_vLengths)
    {
        // However many there are, each has its place.
        m_vInputs.push_back({static_cast<std::uint32_t>(m_vImage.size()), uiLength});
        m_vImage.resize(m_vImage.size() + std::max<std::size_t>(uiLength, 1));
        m_vInputShapes.push_back({uiLength});
    }
    Lengths(in_program, *this).find();
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
        BlockWriter(m_program, *this, m_uiNbWritten).write();
    return {m_vBlocks[uiBlock]->m_slot, uiBlock};
}

std::uint32_t Plan::getBlock(std::uint32_t in_uiSymbol)
{
    const auto [itBlock, bNew] =
        m_blocks.try_emplace(in_uiSymbol, static_cast<std::uint32_t>(m_vBlocks.size()));
    if (bNew)
    {
        Block& block = *m_vBlocks.emplace_back(std::make_unique<Block>());
        block.m_uiSymbol = in_uiSymbol;
        block.m_bHasRoom = allocate(getShape(in_uiSymbol).m_uiLength, block.m_slot);
    }
    return itBlock->second;
}

Slot Plan::getState(std::uint32_t in_uiSymbol)
{
    const auto [itState, bNew] = m_states.try_emplace(in_uiSymbol);
    const Shape& shape = getShape(in_uiSymbol);
    if (bNew && !shape.isFailed())
        allocate(shape.m_uiLength + 1, itState->second);
    return itState->second;
}

bool Plan::allocate(std::uint32_t in_uiSize, Slot& out_slot)
{
    if (m_vImage.size() + m_uiNbConstants + in_uiSize > Limits::MAX_VALUES)
        return false;
    out_slot = {static_cast<std::uint32_t>(m_vImage.size()), in_uiSize};
    // An empty vector has a place too, which instructions may read.
    m_vImage.resize(m_vImage.size() + std::max<std::size_t>(in_uiSize, 1));
    return true;
}

const Kernel* Plan::getKernel(const Function& in_function, std::uint32_t in_uiWindow,
                              const std::vector<const std::vector<double>*>& in_vSettings,
                              std::string& out_strReason)
{
    std::vector<std::uint64_t> vKey{reinterpret_cast<std::uintptr_t>(&in_function), in_uiWindow};
    for (const std::vector<double>* pSetting : in_vSettings)
    {
        vKey.push_back(pSetting->size());
        for (const double dValue : *pSetting)
            vKey.push_back(std::bit_cast<std::uint64_t>(dValue));
    }
    const auto itKernel = m_kernels.find(vKey);
    if (itKernel != m_kernels.end())
        return itKernel->second.get();
    const std::string strName = std::string("'") + in_function.m_szName + "'";
    auto pKernel = makeKernel(in_function, in_uiWindow, in_vSettings, out_strReason);
    if (pKernel == nullptr)
        out_strReason = strName + ": " + out_strReason;
    else if (m_uiTableSize + pKernel->getTableSize() > Limits::MAX_TABLES)
        out_strReason = strName + " needs too much memory";
    else
    {
        m_uiTableSize += pKernel->getTableSize();
        return m_kernels.emplace(std::move(vKey), std::move(pKernel)).first->second.get();
    }
    return nullptr;
}

} // namespace Vexalor::Math::Xpr
