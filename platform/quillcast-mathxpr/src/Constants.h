#pragma once

#include "Kernel.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vexalor::Math::Xpr
{

class Plan;

/// The values of a plan's nodes that depend on no input and no state, and tables of functions: made when they
/// are asked for, and kept.
class Constants
{
public:
    using Values = std::vector<double>;

    explicit Constants(Plan& io_plan)
        : m_plan(io_plan)
    {
    }

    /// The values of a node whose shape is known. Null when it cannot be computed.
    const Values* find(std::uint32_t in_uiNode);
    /// For a call of a function with tables. Null when its settings make no sense.
    const Kernel* findKernel(std::uint32_t in_uiNode);
    /// Why the latest of these failed; null once it is taken.
    const std::string* takeFailure();

    /// After a change of lengths.
    void forget(std::uint32_t in_uiNode);
    std::size_t getNbValues() const { return m_uiNbValues; }

private:
    const Values* get(std::uint32_t in_uiNode) const;
    std::uint32_t argument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex) const;
    std::uint32_t chosen(std::uint32_t in_uiSelect) const;
    void pushMissing(std::uint32_t in_uiNode, std::vector<std::uint32_t>& io_vOpen) const;
    bool compute(std::uint32_t in_uiNode);
    bool computeCall(std::uint32_t in_uiNode, Values& out_vValues);
    void computeInstruction(std::uint32_t in_uiNode, Values& out_vValues);

    Plan& m_plan;
    std::unordered_map<std::uint32_t, Values> m_values; ///< by the number of the node
    std::size_t m_uiNbValues = 0;
    /// By function, length of the window and settings.
    std::map<std::vector<std::uint64_t>, std::unique_ptr<const Kernel>> m_kernels;
    std::size_t m_uiTableSize = 0;
    Values m_vScratch;
    const std::string* m_pFailure = nullptr;
};

} // namespace Vexalor::Math::Xpr
