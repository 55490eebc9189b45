#pragma once

#include "MLDataGenerator.h"
#include "inspect/InspectedPart.h"
#include "report/PatternSource.h"

#include <cstdint>
#include <functional>
#include <string>

namespace Vexalor::MachineLearning
{

/// Pulls the patterns of generators and adds what can be said of them to a part, in memory that does not
/// depend on their number but for what is kept of recordings.
class Inspector
{
public:
    /// Told of each pattern by its generator.
    using Watcher = std::function<void(const DataGenerator& in_generator)>;

    /// The part outlives the inspector. Of so many sizes of patterns statistics are made: one, where the part
    /// is the whole. Names of the classes in the order of the target; none: any. Nothing is read beyond a
    /// target that has not one value for each.
    Inspector(InspectedPart& io_part, std::size_t in_uiMaxSizes, const StringVector& in_vClassNames,
              Watcher in_watcher);

    /// One pass over a generator that is ready for gotoStart and outlives the call. False when it did not go
    /// to its end; what was delivered counts.
    bool add(DataGenerator& io_generator);

private:
    bool hasOtherTargets() const;
    void followRecording(bool in_bNew, const DoubleVector& in_vInput);
    void finishRecording();

    InspectedPart& m_part;
    std::size_t m_uiMaxSizes;
    std::size_t m_uiClassNames;
    Watcher m_watcher;
    PatternSource m_source;
    std::string m_strRecording; ///< of the pattern before; empty: none
    DoubleVector m_vFirstInput; ///< of that recording
    bool m_bFirstPass = true;   ///< of a set that passes over its recordings several times
    bool m_bChanged = false;
    std::uint64_t m_uiOfRecording = 0;
};

} // namespace Vexalor::MachineLearning
