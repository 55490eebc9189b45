#pragma once

#include "Plan.h"
#include "quillcast-math/DoubleVector.h"

#include <memory>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// What an evaluator and the handles onto its variables share: the program and the values of the present
/// window.
class Core
{
public:
    Core();
    Core(const Core& in_other) = default;

    const Program& getProgram() const { return *m_pProgram; }
    /// For changes: a copy of its own if clones share it. The next evaluation plans anew.
    Program& changeProgram();

    void addInput();
    bool link(bool in_bComplete);
    /// The next evaluation plans anew.
    void replan();

    /// From now on the states that the variable reaches advance. Returns what evaluate takes.
    std::size_t lookUp(std::uint32_t in_uiSymbol);

    bool assign(std::uint32_t in_uiInput, const DoubleVector& in_vValue);
    bool preset(std::uint32_t in_uiInput, const DoubleVector& in_vValue);
    bool evaluate(std::size_t in_uiLookedUp, DoubleVector& out_vValue);
    void reset();

    std::size_t getOwnMemory() const;

private:
    /// A value of another length than the plan's waits outside of it until something is evaluated.
    struct Input
    {
        DoubleVector m_vWaiting;
        bool m_bWaiting = false;
        std::uint64_t m_uiAssigned = 0; ///< the number of the window in which it had its value

        void wait(const double* in_pBegin, const double* in_pEnd)
        {
            m_vWaiting.assign(in_pBegin, in_pEnd);
            m_bWaiting = true;
        }
    };

    struct LookedUp
    {
        std::uint32_t m_uiSymbol;
        Plan::Place m_place;
    };

    struct State
    {
        std::uint32_t m_uiSymbol; ///< whose value is kept
        Plan::Place m_next;       ///< its new value
        Slot m_slot;              ///< true if there is an earlier value, then that
        Slot m_earlierSlot;       ///< in the plan before
        bool m_bComputed;
    };

    static bool isShort(const DoubleVector& in_vValue);
    void reach(std::uint32_t in_uiSymbol);
    void keep(std::uint32_t in_uiSymbol);
    void unload();
    bool makeReady();
    void changePlan();
    void prepare();
    void advance();
    bool runBlock(std::uint32_t in_uiBlock);

    std::shared_ptr<Program> m_pProgram;
    std::shared_ptr<Plan> m_pPlan; ///< null: there is none for the present program
    std::vector<Input> m_vInputs;
    std::vector<LookedUp> m_vLookedUp;
    std::vector<State> m_vStates; ///< those that advance
    std::vector<bool> m_vReached; ///< by what was looked up; one a symbol
    std::vector<bool> m_vKept;    ///< has a state; one a symbol
    std::size_t m_uiNbPlaced = 0; ///< looked-up variables whose places are those of the plan
    std::size_t m_uiNbStatesPlaced = 0;
    std::vector<double> m_vValues;
    std::vector<double> m_vEarlier; ///< empty but for the memory
    std::vector<std::uint32_t> m_vLengths;
    Progress m_progress;
    std::uint64_t m_uiValues = 1; ///< number of the present values: changes with every assignment
    std::uint64_t m_uiWindow = 1; ///< number of the window
    bool m_bReady = false;        ///< nothing waits, and all that is looked up has its place
};

} // namespace Vexalor::Math::Xpr
