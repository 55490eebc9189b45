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

const std::vector<double>* Constants::find(const LoadedScript& in_script, std::uint32_t in_uiNode)
{
    const Open wanted{&in_script, in_uiNode};
    m_vOpen.assign(1, wanted);
    while (!m_vOpen.empty())
    {
        const Open now = m_vOpen.back();
        const std::size_t uiNbOpen = m_vOpen.size();
        if (get(now) == nullptr)
        {
            pushMissing(now);
            if (m_vOpen.size() > uiNbOpen)
                continue;
            if (!compute(now))
                return nullptr;
        }
        m_vOpen.pop_back();
    }
    return get(wanted);
}

void Constants::forget(const LoadedScript& in_script, std::uint32_t in_uiNode)
{
    const auto itValues = m_plan.m_constants.find(in_script.m_uiFirstNode + in_uiNode);
    if (itValues == m_plan.m_constants.end())
        return;
    m_plan.m_uiNbConstants -= itValues->second.size();
    m_plan.m_constants.erase(itValues);
}

std::string Constants::takeFailure()
{
    return std::exchange(m_strFailure, {});
}

const std::vector<double>* Constants::get(const Open& in_node) const
{
    const auto itValues = m_plan.m_constants.find(in_node.m_pScript->m_uiFirstNode + in_node.m_uiNode);
    return itValues == m_plan.m_constants.end() ? nullptr : &itValues->second;
}

const Node& Constants::nodeOf(const Open& in_node)
{
    return in_node.m_pScript->m_pScript->m_vNodes[in_node.m_uiNode];
}

Constants::Open Constants::argument(const Open& in_node, std::uint32_t in_uiIndex)
{
    return {in_node.m_pScript,
            in_node.m_pScript->m_pScript->m_vArguments[nodeOf(in_node).m_uiFirstArgument + in_uiIndex]};
}

/// Of a choice whose condition is there.
Constants::Open Constants::chosen(const Open& in_node) const
{
    return argument(in_node, isTrue(get(argument(in_node, 0))->front()) ? 1 : 2);
}

std::uint32_t Constants::symbolOf(const Open& in_node)
{
    return in_node.m_pScript->m_vSymbols[nodeOf(in_node).m_uiReference];
}

std::uint32_t Constants::lengthOf(const Open& in_node) const
{
    return m_plan.m_vShapes[in_node.m_pScript->m_uiFirstNode + in_node.m_uiNode].m_uiLength;
}

void Constants::pushMissing(const Open& in_node)
{
    const auto push = [&](const Open& in_needed)
    {
        if (get(in_needed) == nullptr)
            m_vOpen.push_back(in_needed);
    };
    const Node& node = nodeOf(in_node);
    if (node.m_op == Op::NAME)
    {
        const std::uint32_t uiSymbol = symbolOf(in_node);
        if (m_program.isExpression(uiSymbol))
            push({&m_program.getScriptOf(uiSymbol), m_program.getDefinition(uiSymbol).m_uiRoot});
    }
    else if (node.m_op == Op::SELECT)
        push(get(argument(in_node, 0)) == nullptr ? argument(in_node, 0) : chosen(in_node));
    else if (node.m_op != Op::CALL || node.m_pFunction->m_kind != Function::Kind::SIZE)
        for (std::uint32_t i = 0; i < node.m_uiNbArguments; ++i)
            push(argument(in_node, i));
}

/// All that it needs is there.
bool Constants::compute(const Open& in_node)
{
    std::vector<double> vValues;
    if (m_plan.m_vImage.size() + m_plan.m_uiNbConstants + lengthOf(in_node) > Limits::MAX_VALUES)
        return fail(in_node, "the scripts need more than " + std::to_string(Limits::MAX_VALUES) + " values");
    const Node& node = nodeOf(in_node);
    switch (node.m_op)
    {
    case Op::NUMBER:
        vValues = {node.m_dNumber};
        break;
    case Op::NAME:
    {
        const std::uint32_t uiSymbol = symbolOf(in_node);
        if (m_program.isExpression(uiSymbol))
            vValues = *get({&m_program.getScriptOf(uiSymbol), m_program.getDefinition(uiSymbol).m_uiRoot});
        else
            vValues = {m_program.getSymbol(uiSymbol).m_dValue};
        break;
    }
    case Op::SELECT:
        vValues = *get(chosen(in_node));
        if (vValues.size() == 1)
            vValues.resize(lengthOf(in_node), vValues.front());
        break;
    case Op::VECTOR:
        for (std::uint32_t i = 0; i < node.m_uiNbArguments; ++i)
            vValues.insert(vValues.end(), get(argument(in_node, i))->begin(),
                           get(argument(in_node, i))->end());
        break;
    case Op::INDEX:
    case Op::SLICE:
    {
        const auto itFirst = get(argument(in_node, 0))->begin() +
                             static_cast<std::ptrdiff_t>(get(argument(in_node, 1))->front());
        vValues.assign(itFirst, itFirst + lengthOf(in_node));
        break;
    }
    default:
        if (!computeOther(in_node, vValues))
            return false;
    }
    m_plan.m_uiNbConstants += vValues.size();
    m_plan.m_constants.emplace(in_node.m_pScript->m_uiFirstNode + in_node.m_uiNode, std::move(vValues));
    return true;
}

/// What an instruction computes, but for lengths and ranges.
bool Constants::computeOther(const Open& in_node, std::vector<double>& out_vValues)
{
    const Node& node = nodeOf(in_node);
    const Function* pFunction = node.m_op == Op::CALL ? node.m_pFunction : nullptr;
    out_vValues.resize(lengthOf(in_node));
    if (pFunction != nullptr && pFunction->m_kind == Function::Kind::SIZE)
        out_vValues.front() = lengthOf(argument(in_node, 0));
    else if (pFunction != nullptr && pFunction->m_kind == Function::Kind::RANGE)
        std::iota(out_vValues.begin(), out_vValues.end(), 0.0);
    else if (pFunction != nullptr && pFunction->isKernel())
        return computeKernel(in_node, out_vValues);
    else
    {
        // One argument after the other, then the result; each has a place, even if it is empty.
        const std::uint32_t uiLengthA = lengthOf(argument(in_node, 0));
        const std::uint32_t uiLengthB = node.m_uiNbArguments > 1 ? lengthOf(argument(in_node, 1)) : uiLengthA;
        Instruction instruction = makeInstruction(node, uiLengthA, uiLengthB);
        m_vScratch = *get(argument(in_node, 0));
        instruction.m_uiB = node.m_uiNbArguments > 1 ? uiLengthA + 1 : 0;
        m_vScratch.resize(uiLengthA + 1);
        if (node.m_uiNbArguments > 1)
            m_vScratch.insert(m_vScratch.end(), get(argument(in_node, 1))->begin(),
                              get(argument(in_node, 1))->end());
        instruction.m_uiOut = uiLengthA + uiLengthB + 2;
        m_vScratch.resize(instruction.m_uiOut + out_vValues.size() + 1);
        execute(instruction, m_vScratch.data());
        std::copy_n(m_vScratch.begin() + instruction.m_uiOut, out_vValues.size(), out_vValues.begin());
    }
    return true;
}

bool Constants::computeKernel(const Open& in_node, std::vector<double>& out_vValues)
{
    const std::vector<double>& vWindow = *get(argument(in_node, 0));
    std::vector<const std::vector<double>*> vSettings;
    for (std::uint32_t i = 1; i < nodeOf(in_node).m_uiNbArguments; ++i)
        vSettings.push_back(get(argument(in_node, i)));
    std::string strReason;
    const Kernel* pKernel = m_plan.getKernel(
        *nodeOf(in_node).m_pFunction, static_cast<std::uint32_t>(vWindow.size()), vSettings, strReason);
    if (pKernel == nullptr)
        return fail(in_node, strReason);
    m_vScratch.assign(pKernel->getScratchSize(), 0.0);
    pKernel->compute(vWindow.data(), out_vValues.data(), m_vScratch.data());
    return true;
}

bool Constants::fail(const Open& in_node, const std::string& in_strReason)
{
    m_strFailure = in_node.m_pScript->m_pScript->where(nodeOf(in_node).m_uiLine) + in_strReason;
    return false;
}

} // namespace Vexalor::Math::Xpr
