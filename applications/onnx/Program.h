#pragma once

#include "onnx/PackedMatrix.h"

#include <functional>
#include <memory>
#include <vector>

namespace Vexalor::MachineLearning::Onnx
{

/// Where a value lies: in the memory of each clone, or at a place of its own that all clones share.
struct Place
{
    float* m_pShared = nullptr;
    std::size_t m_uiOffset = 0;

    float* in(float* in_pMemory) const
    {
        return (m_pShared == nullptr ? in_pMemory : m_pShared) + m_uiOffset;
    }
    Place operator+(std::size_t in_uiOffset) const { return {m_pShared, m_uiOffset + in_uiOffset}; }
};

/// One thing to be done for a pattern, in the memory of a clone. It knows all places and counts, and changes
/// nothing else.
using Step = std::function<void(float*)>;

/// A network ready to run; clones share it. The memory of a clone begins with its states.
struct Program
{
    /// What a state becomes after a pattern.
    struct StateCopy
    {
        Place m_next;
        std::size_t m_uiState;
        std::size_t m_uiCount;
    };

    std::vector<std::unique_ptr<float[]>> m_vShared;
    std::vector<Step> m_vSteps;
    std::vector<float> m_vStart; ///< of the states
    std::vector<StateCopy> m_vStateCopies;
    std::size_t m_uiMemory = 0;
    Place m_input;
    std::size_t m_uiInputSize = 0;
    Place m_output;
    std::size_t m_uiOutputSize = 0;
};

} // namespace Vexalor::MachineLearning::Onnx
