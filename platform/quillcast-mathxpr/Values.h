#pragma once

#include "quillcast-mathxpr/Plan.h"

#include <map>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// One distinct vector of a plan under construction. Arguments come before their users.
struct Value
{
    enum class Kind : std::uint8_t
    {
        KNOWN,    ///< the same in all windows; computed already
        GIVEN,    ///< an input or a state
        VIEW,     ///< part of its argument
        COMPUTED, ///< by the instruction
        JOINED,   ///< its arguments one behind the other
        SELECTED, ///< by its first argument, of the two others
        FAILED    ///< by the instruction
    };

    Kind m_kind;
    Slot m_slot;
    std::uint32_t m_uiFirstArgument = 0;
    std::uint32_t m_uiNbArguments = 0;
    Instruction m_instruction;

    bool hasCode() const { return m_kind >= Kind::COMPUTED; }
};

/// The values that a plan needs: each expression once, with its length and place; what does not depend on
/// inputs and states is computed here.
class Values
{
public:
    Values(const Program& in_program, Plan& io_plan);

    /// Fills the plan's places, inputs, states and failures.
    void build();

    std::uint32_t getValueOf(std::uint32_t in_uiSymbol) const { return m_vSymbolValues[in_uiSymbol]; }
    /// The value that must be computed for one: itself, or what it is a part of.
    std::uint32_t getBase(std::uint32_t in_uiValue) const;
    const std::vector<Value>& get() const { return m_vValues; }
    std::uint32_t getArgument(const Value& in_value, std::uint32_t in_uiIndex) const
    {
        return m_vArguments[in_value.m_uiFirstArgument + in_uiIndex];
    }
    /// Where the target of a state is computed: parallel to Plan::m_vStates.
    std::uint32_t getTarget(std::size_t in_uiState) const;

private:
    using Ids = std::vector<std::uint32_t>;

    void findNeeded();
    bool buildOnce();
    void buildDefinition(std::uint32_t in_uiSymbol);
    std::uint32_t buildNode(const Node& in_node, const Ids& in_vArguments);
    std::uint32_t buildName(std::uint32_t in_uiSymbol);
    std::uint32_t buildPrevious(std::uint32_t in_uiSymbol, std::uint32_t in_uiInitial);
    std::uint32_t buildOperator(Op in_op, const Ids& in_vArguments);
    std::uint32_t buildSelect(const Ids& in_vArguments);
    std::uint32_t buildVector(const Ids& in_vArguments);
    std::uint32_t buildIndex(const Ids& in_vArguments);
    std::uint32_t buildSlice(const Ids& in_vArguments);
    std::uint32_t buildCall(const Function& in_function, const Ids& in_vArguments);
    std::uint32_t buildReduction(const Function& in_function, std::uint32_t in_uiVector);
    std::uint32_t buildRange(std::uint32_t in_uiLength);
    std::uint32_t buildKernel(const Function& in_function, const Ids& in_vArguments);

    std::uint32_t number(double in_dNumber);
    std::uint32_t view(std::uint32_t in_uiVector, std::uint32_t in_uiOffset, std::uint32_t in_uiSize);
    std::uint32_t repeat(std::uint32_t in_uiValue, std::uint32_t in_uiSize);
    std::uint32_t compute(const Ids& in_vKey, const Instruction& in_instruction, const Ids& in_vArguments,
                          std::size_t in_uiSize);
    std::uint32_t fail(const std::string& in_strReason);
    bool allocate(std::size_t in_uiSize, Slot& out_slot);
    std::uint32_t tooLarge(std::size_t in_uiSize);
    std::uint32_t add(Value in_value, const Ids& in_vArguments);
    bool isKnown(std::uint32_t in_uiValue) const
    {
        return m_vValues[in_uiValue].m_kind == Value::Kind::KNOWN;
    }
    bool isFailed(std::uint32_t in_uiValue) const
    {
        return m_vValues[in_uiValue].m_kind == Value::Kind::FAILED;
    }
    bool areKnown(const Ids& in_vValues) const;
    std::uint32_t sizeOf(std::uint32_t in_uiValue) const { return m_vValues[in_uiValue].m_slot.m_uiSize; }
    const double* dataOf(std::uint32_t in_uiValue) const;
    bool toWhole(std::uint32_t in_uiValue, std::size_t in_uiMost, std::uint32_t& out_uiNumber) const;

    const Program& m_program;
    Plan& m_plan;
    std::vector<std::uint32_t> m_vNeeded; ///< expressions, in the order of evaluation
    std::vector<Value> m_vValues;
    std::vector<std::uint32_t> m_vArguments;
    std::vector<std::uint32_t> m_vSymbolValues;
    std::map<Ids, std::uint32_t> m_known;                ///< values by what they are made of
    std::map<std::uint32_t, std::uint32_t> m_stateSizes; ///< found by the pass before; of a symbol
    std::vector<std::uint32_t> m_vRefused;               ///< symbols whose states do not fit
    std::size_t m_uiTableSize = 0;
    const Script* m_pScript = nullptr; ///< of the node under construction
    std::uint32_t m_uiLine = 0;
};

} // namespace Vexalor::Math::Xpr
