#pragma once

#include "Plan.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// Computes nodes that depend on no input and no state, when they are asked for; the plan keeps them.
class Constants
{
public:
    Constants(const Program& in_program, Plan& io_plan);

    /// The values of a node whose shape is known. Null when it cannot be computed.
    const std::vector<double>* find(std::uint32_t in_uiNode);
    /// For a call of a function with tables. Null when its settings make no sense.
    const Kernel* findKernel(std::uint32_t in_uiNode);
    /// The latest failure, with its place; empty once it is taken.
    std::string takeFailure();

    /// After a change of lengths.
    void forget(std::uint32_t in_uiNode);

private:
    const std::vector<double>* get(std::uint32_t in_uiNode) const;
    std::uint32_t lengthOf(std::uint32_t in_uiNode) const { return m_plan.m_vShapes[in_uiNode].m_uiLength; }
    std::uint32_t chosen(std::uint32_t in_uiSelect) const;
    void pushMissing(std::uint32_t in_uiNode, std::vector<std::uint32_t>& io_vOpen) const;
    bool compute(std::uint32_t in_uiNode);
    bool computeCall(std::uint32_t in_uiNode, std::vector<double>& out_vValues);
    void computeInstruction(std::uint32_t in_uiNode, std::vector<double>& out_vValues);

    const Program& m_program;
    Plan& m_plan;
    std::vector<double> m_vScratch;
    std::string m_strFailure;
};

} // namespace Vexalor::Math::Xpr
