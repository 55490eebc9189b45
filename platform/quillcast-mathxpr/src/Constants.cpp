#include "Constants.h"

#include "Plan.h"
#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

namespace Vexalor::Math::Xpr
{

const Constants::Values* Constants::find(std::uint32_t in_uiNode)
{
    std::vector<std::uint32_t> vOpen{in_uiNode}; // the last one is computed first
    while (!vOpen.empty())
    {
        const std::uint32_t uiNow = vOpen.back();
        const std::size_t uiNbOpen = vOpen.size();
        if (get(uiNow) == nullptr)
        {
            pushMissing(uiNow, vOpen);
            if (vOpen.size() > uiNbOpen)
                continue;
            if (!compute(uiNow))
                return nullptr;
        }
        vOpen.pop_back();
    }
    return get(in_uiNode);
}

void Constants::forget(std::uint32_t in_uiNode)
{
    if (const Values* pValues = get(in_uiNode))
    {
        m_uiNbValues -= pValues->size();
        m_values.erase(in_uiNode);
    }
}

const std::string* Constants::takeFailure()
{
    return std::exchange(m_pFailure, nullptr);
}

const Constants::Values* Constants::get(std::uint32_t in_uiNode) const
{
    const auto itValues = m_values.find(in_uiNode);
    return itValues == m_values.end() ? nullptr : &itValues->second;
}

std::uint32_t Constants::argument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex) const
{
    return m_plan.m_program.getArgument(in_uiNode, in_uiIndex);
}

/// Of a choice whose condition is there.
std::uint32_t Constants::chosen(std::uint32_t in_uiSelect) const
{
    return argument(in_uiSelect, isTrue(get(argument(in_uiSelect, 0))->front()) ? 1 : 2);
}

void Constants::pushMissing(std::uint32_t in_uiNode, std::vector<std::uint32_t>& io_vOpen) const
{
    const auto push = [&](std::uint32_t in_uiNeeded)
    {
        if (get(in_uiNeeded) == nullptr)
            io_vOpen.push_back(in_uiNeeded);
    };
    const Program& program = m_plan.m_program;
    const Node& node = program.getNode(in_uiNode);
    if (node.m_op == Op::NAME && program.isExpression(node.m_uiSymbol))
        push(program.getDefinition(node.m_uiSymbol).m_uiRoot);
    else if (node.m_op == Op::SELECT)
    {
        const std::uint32_t uiCondition = argument(in_uiNode, 0);
        push(get(uiCondition) == nullptr ? uiCondition : chosen(in_uiNode));
    }
    else if (node.m_op != Op::CALL || node.m_pFunction->m_kind != Function::Kind::SIZE)
        for (std::uint32_t i = 0; i < node.m_uiNbArguments; ++i)
            push(argument(in_uiNode, i));
}

/// All that it needs is there.
bool Constants::compute(std::uint32_t in_uiNode)
{
    const Program& program = m_plan.m_program;
    const std::uint32_t uiLength = m_plan.m_vShapes[in_uiNode].m_uiLength;
    if (!m_plan.hasRoom(uiLength))
    {
        m_pFailure = m_plan.keep(program.where(in_uiNode) + Plan::TOO_MANY_VALUES);
        return false;
    }
    Values vValues(uiLength);
    const Node& node = program.getNode(in_uiNode);
    switch (node.m_op)
    {
    case Op::NUMBER:
        vValues.front() = node.m_dNumber;
        break;
    case Op::NAME:
        if (program.isExpression(node.m_uiSymbol))
            vValues = *get(program.getDefinition(node.m_uiSymbol).m_uiRoot);
        else
            vValues.front() = program.getSymbol(node.m_uiSymbol).m_dValue;
        break;
    case Op::SELECT:
        vValues = *get(chosen(in_uiNode));
        if (vValues.size() == 1)
            vValues.resize(uiLength, vValues.front());
        break;
    case Op::VECTOR:
        vValues.clear();
        for (std::uint32_t i = 0; i < node.m_uiNbArguments; ++i)
        {
            const Values& vPart = *get(argument(in_uiNode, i));
            vValues.insert(vValues.end(), vPart.begin(), vPart.end());
        }
        break;
    case Op::INDEX:
    case Op::SLICE:
        std::copy_n(get(argument(in_uiNode, 0))->begin() +
                        static_cast<std::ptrdiff_t>(get(argument(in_uiNode, 1))->front()),
                    uiLength, vValues.begin());
        break;
    case Op::CALL:
        if (!computeCall(in_uiNode, vValues))
            return false;
        break;
    default:
        computeInstruction(in_uiNode, vValues);
    }
    m_uiNbValues += vValues.size();
    m_values.emplace(in_uiNode, std::move(vValues));
    return true;
}

bool Constants::computeCall(std::uint32_t in_uiNode, Values& out_vValues)
{
    const Function& function = *m_plan.m_program.getNode(in_uiNode).m_pFunction;
    const std::uint32_t uiFirst = argument(in_uiNode, 0);
    if (function.m_kind == Function::Kind::SIZE)
        out_vValues.front() = m_plan.m_vShapes[uiFirst].m_uiLength;
    else if (function.m_kind == Function::Kind::RANGE)
        std::iota(out_vValues.begin(), out_vValues.end(), 0.0);
    else if (!function.isKernel())
        computeInstruction(in_uiNode, out_vValues);
    else
    {
        const Kernel* pKernel = findKernel(in_uiNode);
        if (pKernel == nullptr)
            return false;
        m_vScratch.assign(pKernel->getScratchSize(), 0.0);
        pKernel->compute(get(uiFirst)->data(), out_vValues.data(), m_vScratch.data());
    }
    return true;
}

/// As the machine would: over values in one array.
void Constants::computeInstruction(std::uint32_t in_uiNode, Values& out_vValues)
{
    m_vScratch.clear();
    const auto put = [&](const Values& in_vValues) -> Slot
    {
        const Slot slot{static_cast<std::uint32_t>(m_vScratch.size()),
                        static_cast<std::uint32_t>(in_vValues.size())};
        m_vScratch.insert(m_vScratch.end(), in_vValues.begin(), in_vValues.end());
        m_vScratch.push_back(0.0); // an empty vector has a place too
        return slot;
    };
    const Node& node = m_plan.m_program.getNode(in_uiNode);
    const Slot a = put(*get(argument(in_uiNode, 0)));
    const Slot b = put(*get(argument(in_uiNode, node.m_uiNbArguments - 1)));
    const Slot out = put(out_vValues);
    execute(makeInstruction(node, a, b, out), m_vScratch.data());
    std::copy_n(m_vScratch.begin() + out.m_uiAt, out.m_uiSize, out_vValues.begin());
}

const Kernel* Constants::findKernel(std::uint32_t in_uiNode)
{
    const Node& node = m_plan.m_program.getNode(in_uiNode);
    const std::uint32_t uiWindow = m_plan.m_vShapes[argument(in_uiNode, 0)].m_uiLength;
    std::vector<std::uint64_t> vKey{reinterpret_cast<std::uintptr_t>(node.m_pFunction), uiWindow};
    std::vector<const Values*> vSettings;
    for (std::uint32_t i = 1; i < node.m_uiNbArguments; ++i)
    {
        vSettings.push_back(find(argument(in_uiNode, i)));
        if (vSettings.back() == nullptr)
            return nullptr;
        vKey.push_back(vSettings.back()->size());
        for (const double dValue : *vSettings.back())
            vKey.push_back(std::bit_cast<std::uint64_t>(dValue));
    }
    std::unique_ptr<const Kernel>& pKernel = m_kernels[std::move(vKey)];
    if (pKernel != nullptr)
        return pKernel.get();
    std::string strReason;
    std::unique_ptr<const Kernel> pMade = makeKernel(*node.m_pFunction, uiWindow, vSettings, strReason);
    strReason = pMade == nullptr ? ": " + strReason : " needs too much memory";
    if (pMade == nullptr || m_uiTableSize + pMade->getTableSize() > Limits::MAX_TABLES)
    {
        m_pFailure = m_plan.keep(m_plan.m_program.where(in_uiNode) + "'" +
                                 std::string(node.m_pFunction->m_strName) + "'" + strReason);
        return nullptr;
    }
    m_uiTableSize += pMade->getTableSize();
    return (pKernel = std::move(pMade)).get();
}

} // namespace Vexalor::Math::Xpr
