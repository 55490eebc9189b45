#pragma once

#include "Constants.h"
#include "Plan.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// Writes the instructions of one block: the definitions of its scope in straight code, choices with their
/// branches in place, and calls of other blocks before the first use of what they compute.
class BlockWriter
{
public:
    BlockWriter(const Program& in_program, Plan& io_plan, std::uint32_t in_uiBlock);

    void write();

private:
    static constexpr std::uint32_t NONE = Structure::NONE;

    /// A definition whose code is being written.
    struct Writing
    {
        std::uint32_t m_uiSymbol;
        const LoadedScript* m_pScript;
        const Definition* m_pDefinition;
        const Slot* m_pResult;       ///< where the value belongs; null: anywhere
        std::vector<bool> m_vNeeded; ///< one a node, from the first
        std::vector<Slot> m_vSlots;  ///< the same
    };

    void writeScope(std::uint32_t in_uiScope);
    Slot writeDefinition(std::uint32_t in_uiSymbol, const Slot* in_pResult);
    void markNeeded(Writing& io_writing) const;
    void writeNodes(Writing& io_writing, std::uint32_t in_uiFirst, std::uint32_t in_uiEnd);
    void writeNode(Writing& io_writing, std::uint32_t in_uiNode);
    Slot writeName(std::uint32_t in_uiSymbol);
    Slot writePrevious(Writing& io_writing, std::uint32_t in_uiNode);
    Slot writeVector(Writing& io_writing, std::uint32_t in_uiNode);
    Slot writeKernel(Writing& io_writing, std::uint32_t in_uiNode);
    Slot writeInstruction(Writing& io_writing, std::uint32_t in_uiNode);
    void writeSelect(Writing& io_writing, std::uint32_t in_uiNode);
    void writeArm(Writing& io_writing, std::uint32_t in_uiSelect, std::uint32_t in_uiArm,
                  const Slot& in_result);
    void writeKnownSelect(Writing& io_writing, std::uint32_t in_uiNode, std::uint32_t in_uiArm);
    void writeTaken(Writing& io_writing, std::uint32_t in_uiSelect, std::uint32_t in_uiArm);
    std::uint32_t untakenArm(const Writing& in_writing, std::uint32_t in_uiNode) const;
    bool isThere(const Writing& in_writing, std::uint32_t in_uiNode, std::uint32_t in_uiLength);

    static const Node& nodeOf(const Writing& in_writing, std::uint32_t in_uiNode);
    static std::uint32_t argument(const Writing& in_writing, std::uint32_t in_uiNode,
                                  std::uint32_t in_uiIndex);
    const Shape& shapeOf(const Writing& in_writing, std::uint32_t in_uiNode) const;
    static Slot& slotAt(Writing& io_writing, std::uint32_t in_uiNode);
    const std::vector<double>* known(const Writing& in_writing, std::uint32_t in_uiNode);
    Slot slotOf(Writing& io_writing, std::uint32_t in_uiNode);
    Slot constant(const Writing& in_writing, std::uint32_t in_uiNode, std::uint32_t in_uiLength);
    Slot place(const Writing& in_writing, std::uint32_t in_uiNode);
    Slot allocate(const Writing& in_writing, std::uint32_t in_uiNode, std::uint32_t in_uiSize);

    void move(const Slot& in_from, const Slot& in_to);
    void emitChoice(const Slot& in_condition, const Slot& in_yes, const Slot& in_no, const Slot& in_to);
    const std::string& makeFailure(const Writing& in_writing, std::uint32_t in_uiNode,
                                   const std::string& in_strReason);
    const std::string& addFailure(std::string in_strFailure);
    void emitFailure(const std::string& in_strFailure);
    std::size_t emit(const Instruction& in_instruction);

    const Program& m_program;
    Plan& m_plan;
    Constants m_constants;
    std::uint32_t m_uiBlock;
    std::vector<Instruction>& m_vCode;
    std::unordered_map<std::uint32_t, Slot> m_slots; ///< of symbols, computed by here in any case
    std::vector<std::uint32_t> m_vComputed;          ///< the same in order
};

} // namespace Vexalor::Math::Xpr
