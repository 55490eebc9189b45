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

    /// The values of a node, by its script and its number in it; its shape is known. Null when it cannot be
    /// computed.
    const std::vector<double>* find(const LoadedScript& in_script, std::uint32_t in_uiNode);
    /// The latest failure, with its place; empty once it is taken.
    std::string takeFailure();

    /// After a change of lengths.
    void forget(const LoadedScript& in_script, std::uint32_t in_uiNode);

private:
    struct Open
    {
        const LoadedScript* m_pScript;
        std::uint32_t m_uiNode;
    };

    const std::vector<double>* get(const Open& in_node) const;
    static const Node& nodeOf(const Open& in_node);
    static Open argument(const Open& in_node, std::uint32_t in_uiIndex);
    static std::uint32_t symbolOf(const Open& in_node);
    Open chosen(const Open& in_node) const;
    std::uint32_t lengthOf(const Open& in_node) const;
    void pushMissing(const Open& in_node);
    bool compute(const Open& in_node);
    bool computeOther(const Open& in_node, std::vector<double>& out_vValues);
    bool computeKernel(const Open& in_node, std::vector<double>& out_vValues);
    bool fail(const Open& in_node, const std::string& in_strReason);

    const Program& m_program;
    Plan& m_plan;
    std::vector<Open> m_vOpen; ///< the last one is computed first
    std::vector<double> m_vScratch;
    std::string m_strFailure;
};

} // namespace Vexalor::Math::Xpr
