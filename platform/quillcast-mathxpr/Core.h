#pragma once

#include "quillcast-math/DoubleVector.h"
#include "quillcast-mathxpr/Plan.h"

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
    /// For changes: a copy of its own if clones share it.
    Program& changeProgram();

    void addInput();
    /// After a change that makes all plans worthless: the next evaluation plans anew.
    void replan();
    void lookUp(std::uint32_t in_uiSymbol);

    bool assign(std::uint32_t in_uiInput, const DoubleVector& in_vValue);
    bool preset(std::uint32_t in_uiInput, const DoubleVector& in_vValue);
    bool evaluate(std::uint32_t in_uiSymbol, DoubleVector& out_vValue);
    void reset();
    /// As if no window had been.
    void forget();

    std::size_t getOwnMemory() const;

private:
    /// A value of another length than the plan's waits outside of it until something is evaluated.
    struct Input
    {
        DoubleVector m_vWaiting;
        bool m_bWaiting = false;
        std::uint64_t m_uiAssigned = 0; ///< the number of the window in which it had its value
    };

    bool isReady() const { return !m_bStale && m_uiNbWaiting == 0; }
    void setWaiting(Input& io_input, bool in_bWaiting);
    bool makeReady();
    void keepStates(const Plan& in_earlier, const std::vector<double>& in_vEarlier);
    void advance();
    bool runBlock(std::uint32_t in_uiBlock);

    std::shared_ptr<Program> m_pProgram;
    std::shared_ptr<const Plan> m_pPlan;
    std::vector<std::uint32_t> m_vLookedUp; ///< ascending
    std::vector<Input> m_vInputs;
    std::vector<double> m_vValues;
    std::vector<std::uint64_t> m_vMarks; ///< of the blocks: when they were done, then where they return to
    std::uint64_t m_uiWindow = 1;        ///< number of the present values: changes with every assignment
    std::uint64_t m_uiBegun = 1;         ///< number of the window
    std::size_t m_uiNbWaiting = 0;       ///< inputs
    bool m_bStale = true;                ///< there is no plan, or not for what was looked up
};

} // namespace Vexalor::Math::Xpr
