#pragma once

#include "quillcast-mathxpr/Values.h"

#include <vector>

namespace Vexalor::Math::Xpr
{

/// Turns values into instructions, so that each value is computed at most once a window and only when what
/// asked for it needs it.
///
/// A value belongs to a scope: a block, which is computed when it is called, or one branch of a selection in
/// another scope. It is the innermost scope that holds all its uses, if one of them is in that scope itself,
/// so that it is needed whenever the scope is entered. Where there is none, and for looked-up variables and
/// the new values of states, the value has a block of its own, which remembers that it is done.
class CodeWriter
{
public:
    CodeWriter(const Values& in_values, Plan& io_plan);

    /// Fills the plan's code, blocks and roots.
    void write();

private:
    static constexpr std::uint32_t NONE = ~std::uint32_t(0);

    struct Scope
    {
        std::uint32_t m_uiParent; ///< NONE for a block
        std::uint32_t m_uiDepth;
        std::vector<std::uint32_t> m_vValues;
    };

    struct Use
    {
        std::uint32_t m_uiScope = NONE; ///< the innermost that holds all uses
        bool m_bThere = false;          ///< one of them is in that scope itself
        bool m_bSeveral = false;        ///< there is none
        std::uint32_t m_uiBlock = NONE;
    };

    void findScopes();
    void placeValue(std::uint32_t in_uiValue);
    void demandOutside(std::uint32_t in_uiValue);
    void demand(std::uint32_t in_uiValue, std::uint32_t in_uiScope);
    std::uint32_t innermostOf(std::uint32_t in_uiScope, std::uint32_t in_uiOther) const;
    std::uint32_t addScope(std::uint32_t in_uiParent);
    std::uint32_t blockOf(std::uint32_t in_uiValue) const;

    void writeScope(std::uint32_t in_uiScope);
    void writeValue(std::uint32_t in_uiValue);
    void writeSelection(std::uint32_t in_uiValue);
    void writeBranch(std::uint32_t in_uiValue, std::uint32_t in_uiBranch);
    bool isThere(std::uint32_t in_uiValue, std::uint32_t in_uiBranch) const;
    void callFor(std::uint32_t in_uiArgument);
    void forgetCalls(std::size_t in_uiFrom);
    void move(Slot in_from, Slot in_to);
    void emit(Instruction in_instruction);
    bool pair(const Instruction& in_second, Last in_last);
    std::uint32_t emit(Code in_code, std::uint32_t in_uiTarget);

    const Values& m_values;
    Plan& m_plan;
    std::vector<Scope> m_vScopes;
    std::vector<Use> m_vUses;                  ///< one a value
    std::vector<std::uint32_t> m_vBranches;    ///< of a selection: the scopes, two a value
    std::vector<std::uint32_t> m_vBlockScopes; ///< one a block
    std::vector<bool> m_vCalled;               ///< blocks that are done at this place of the code
    std::vector<std::uint32_t> m_vCalls;       ///< the same in order
    /// The place of the result of the instruction before, if that is scalar and every way here comes from it.
    std::uint32_t m_uiLast = NONE;
    Last m_last = Last::NONE; ///< of that instruction
};

} // namespace Vexalor::Math::Xpr
