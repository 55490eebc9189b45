#pragma once

#include "quillcast-audio/LinearAudioWindower.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-core/StringVector.h"
#include "quillcast-math/FeatureComputer.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Vexalor::MachineLearning
{

/// What a configured generator knows of its patterns before it has seen an input file.
struct GeneratorFacts
{
    /// How recordings are cut into windows; unset for a generator of a pattern file.
    std::optional<LinearAudioWindower::Config> m_windows;
    /// Makes the input of a pattern from a window, or from that of the file, and is null when it is missing;
    /// unset where the input stays as it is.
    std::optional<CloneableObjPtr<FeatureComputer>> m_pFeatureComputer;
    std::size_t m_uiFurtherInputs = 0; ///< besides the features
    /// That annotations are matched to, the rest as OTHER; of a generator of recordings.
    StringVector m_vClasses;
    StringVector m_vEmptyClasses; ///< those that no annotation can belong to
    std::size_t m_uiTargets = 0;  ///< components of a target; of a generator of recordings
    /// By which targets are smoothed; 0: not.
    std::uint64_t m_uiDebouncingWindows = 0;
    std::uint64_t m_uiIncertitudeWindows = 0;
};

/// A generator that tells such facts, for programs that examine configurations.
class GeneratorWithFacts : public virtual Object
{
public:
    virtual GeneratorFacts getFacts() const = 0;
};

} // namespace Vexalor::MachineLearning
