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

    void writeScope(std::uint32_t in_uiScope);
    Slot writeDefinition(std::uint32_t in_uiSymbol);
    void markNeeded(const Definition& in_definition);
    void writeNodes(std::uint32_t in_uiFirst, std::uint32_t in_uiEnd);
    Slot writeNode(std::uint32_t in_uiNode);
    Slot writeName(std::uint32_t in_uiSymbol);
    Slot writePrevious(std::uint32_t in_uiNode);
    Slot writeVector(std::uint32_t in_uiNode);
    Slot writeKernel(std::uint32_t in_uiNode);
    Slot writeInstruction(std::uint32_t in_uiNode);
    Slot writeSelect(std::uint32_t in_uiNode);
    void writeArm(std::uint32_t in_uiSelect, std::uint32_t in_uiArm, const Slot& in_result);
    Slot writeKnownSelect(std::uint32_t in_uiNode, std::uint32_t in_uiArm);
    void writeTaken(std::uint32_t in_uiSelect, std::uint32_t in_uiArm);
    std::uint32_t untakenArm(std::uint32_t in_uiNode) const;
    bool isThere(std::uint32_t in_uiNode, std::uint32_t in_uiLength);

    std::uint32_t argument(std::uint32_t in_uiNode, std::uint32_t in_uiIndex) const;
    const Shape& shapeOf(std::uint32_t in_uiNode) const { return m_plan.m_vShapes[in_uiNode]; }
    Slot slotOf(std::uint32_t in_uiNode);
    Slot constant(std::uint32_t in_uiNode, std::uint32_t in_uiLength);
    Slot place(std::uint32_t in_uiNode);
    Slot allocate(std::uint32_t in_uiNode, std::uint32_t in_uiSize);

    void move(const Slot& in_from, const Slot& in_to);
    void emitChoice(const Slot& in_condition, const Slot& in_yes, const Slot& in_no, const Slot& in_to);
    const std::string& keep(std::string in_strFailure);
    void emitFailure(const std::string& in_strFailure);
    std::size_t emit(const Instruction& in_instruction);

    const Program& m_program;
    Plan& m_plan;
    Constants m_constants;
    std::uint32_t m_uiBlock;
    std::uint32_t m_uiRoot = NONE; ///< the node that has the value of the block
    std::vector<Instruction>& m_vCode;
    std::unordered_map<std::uint32_t, Slot> m_slots; ///< of symbols, computed by here in any case
    std::vector<std::uint32_t> m_vComputed;          ///< the same in order
};

} // namespace Vexalor::Math::Xpr
