#include "Constants.h"

#include "quillcast-mathxpr/Limits.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Vexalor::Math::Xpr
{

Constants::Constants(const Program& in_program, Plan& io_plan)
    : m_program(in_program)
    , m_plan(io_plan)
{
}

const std::vector<double>* Constants::find(std::uint32_t in_uiNode)
{
    std::vector<std::uint32_t> vOpen; // the last one is computed first
    if (get(in_uiNode) == nullptr)
        vOpen.push_back(in_uiNode);
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
    const auto itValues = m_plan.m_constants.find(in_uiNode);
    if (itValues == m_plan.m_constants.end())
        return;
    m_plan.m_uiNbConstants -= itValues->second.size();
    m_plan.m_constants.erase(itValues);
}

std::string Constants::takeFailure()
{
    return std::exchange(m_strFailure, {});
}

const std::vector<double>* Constants::get(std::uint32_t in_uiNode) const
{
    const auto itValues = m_plan.m_constants.find(in_uiNode);
    return itValues == m_plan.m_constants.end() ? nullptr : &itValues->second;
}

/// Of a choice whose condition is there.
std::uint32_t Constants::chosen(std::uint32_t in_uiSelect) const
{
    const double dCondition = get(m_program.getArgument(in_uiSelect, 0))->front();
    return m_program.getArgument(in_uiSelect, isTrue(dCondition) ? 1 : 2);
}

void Constants::pushMissing(std::uint32_t in_uiNode, std::vector<std::uint32_t>& io_vOpen) const
{
    const auto push = [&](std::uint32_t in_uiNeeded)
    {
        if (get(in_uiNeeded) == nullptr)
            io_vOpen.push_back(in_uiNeeded);
    };
    const Node& node = m_program.getNode(in_uiNode);
    if (node.m_op == Op::NAME && m_program.isExpression(node.m_uiSymbol))
        push(m_program.getDefinition(node.m_uiSymbol).m_uiRoot);
    else if (node.m_op == Op::SELECT)
    {
        const std::uint32_t uiCondition = m_program.getArgument(in_uiNode, 0);
        push(get(uiCondition) == nullptr ? uiCondition : chosen(in_uiNode));
    }
    else if (node.m_op != Op::CALL || node.m_pFunction->m_kind != Function::Kind::SIZE)
        for (std::uint32_t i = 0; i < node.m_uiNbArguments; ++i)
            push(m_program.getArgument(in_uiNode, i));
}

/// All that it needs is there.
bool Constants::compute(std::uint32_t in_uiNode)
{
    const std::uint32_t uiLength = lengthOf(in_uiNode);
    if (m_plan.m_vImage.size() + m_plan.m_uiNbConstants + uiLength > Limits::MAX_VALUES)
    {
        m_strFailure = m_program.where(in_uiNode) + "the scripts need more than " +
                       std::to_string(Limits::MAX_VALUES) + " values";
        return false;
    }
    const auto valuesOf = [&](std::uint32_t in_uiArgument) -> const std::vector<double>&
    {
        return *get(m_program.getArgument(in_uiNode, in_uiArgument));
    };
    std::vector<double> vValues(uiLength);
    const Node& node = m_program.getNode(in_uiNode);
    switch (node.m_op)
    {
    case Op::NUMBER:
        vValues.front() = node.m_dNumber;
        break;
    case Op::NAME:
        if (m_program.isExpression(node.m_uiSymbol))
            vValues = *get(m_program.getDefinition(node.m_uiSymbol).m_uiRoot);
        else
            vValues.front() = m_program.getSymbol(node.m_uiSymbol).m_dValue;
        break;
    case Op::SELECT:
        vValues = *get(chosen(in_uiNode));
        if (vValues.size() == 1)
            vValues.resize(uiLength, vValues.front());
        break;
    case Op::VECTOR:
        vValues.clear();
        for (std::uint32_t i = 0; i < node.m_uiNbArguments; ++i)
            vValues.insert(vValues.end(), valuesOf(i).begin(), valuesOf(i).end());
        break;
    case Op::INDEX:
    case Op::SLICE:
        std::copy_n(valuesOf(0).begin() + static_cast<std::ptrdiff_t>(valuesOf(1).front()), uiLength,
                    vValues.begin());
        break;
    case Op::CALL:
        if (!computeCall(in_uiNode, vValues))
            return false;
        break;
    default:
        computeInstruction(in_uiNode, vValues);
    }
    m_plan.m_uiNbConstants += vValues.size();
    m_plan.m_constants.emplace(in_uiNode, std::move(vValues));
    return true;
}

bool Constants::computeCall(std::uint32_t in_uiNode, std::vector<double>& out_vValues)
{
    const Function& function = *m_program.getNode(in_uiNode).m_pFunction;
    const std::uint32_t uiFirst = m_program.getArgument(in_uiNode, 0);
    if (function.m_kind == Function::Kind::SIZE)
        out_vValues.front() = lengthOf(uiFirst);
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

void Constants::computeInstruction(std::uint32_t in_uiNode, std::vector<double>& out_vValues)
{
    m_vScratch.clear();
    const auto put = [&](const std::vector<double>& in_vValues)
    {
        const auto uiAt = static_cast<std::uint32_t>(m_vScratch.size());
        m_vScratch.insert(m_vScratch.end(), in_vValues.begin(), in_vValues.end());
        m_vScratch.push_back(0.0); // an empty vector has a place too
        return uiAt;
    };
    const Node& node = m_program.getNode(in_uiNode);
    const std::uint32_t uiLeft = m_program.getArgument(in_uiNode, 0);
    const std::uint32_t uiRight = m_program.getArgument(in_uiNode, node.m_uiNbArguments - 1);
    Instruction instruction = makeInstruction(node, lengthOf(uiLeft), lengthOf(uiRight));
    instruction.m_uiA = put(*get(uiLeft));
    instruction.m_uiB = put(*get(uiRight));
    instruction.m_uiOut = put(out_vValues);
    execute(instruction, m_vScratch.data());
    std::copy_n(m_vScratch.begin() + instruction.m_uiOut, out_vValues.size(), out_vValues.begin());
}

const Kernel* Constants::findKernel(std::uint32_t in_uiNode)
{
    const Node& node = m_program.getNode(in_uiNode);
    std::vector<const std::vector<double>*> vSettings;
    for (std::uint32_t i = 1; i < node.m_uiNbArguments; ++i)
    {
        vSettings.push_back(find(m_program.getArgument(in_uiNode, i)));
        if (vSettings.back() == nullptr)
            return nullptr;
    }
    std::string strReason;
    const Kernel* pKernel = m_plan.getKernel(*node.m_pFunction, lengthOf(m_program.getArgument(in_uiNode, 0)),
                                             vSettings, strReason);
    if (pKernel == nullptr)
        m_strFailure = m_program.where(in_uiNode) + strReason;
    return pKernel;
}

} // namespace Vexalor::Math::Xpr
