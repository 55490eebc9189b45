#pragma once

#include "MLDataGenerator.h"
#include "inspect/DataFindings.h"
#include "inspect/InputStatistics.h"
#include "report/PatternSource.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What was found in a stream of patterns.
struct Inspection
{
    std::string m_strConfiguration; ///< of the generator
    StringVector m_vInputFiles;
    DataFacts m_facts;
    InputStatistics m_inputs;
    std::size_t m_uiTargets = 0; ///< components of a target; 0: no pattern has one
    StringVector m_vTargetNames; ///< a class each
    bool m_bClasses = false;     ///< targets have components of -1, 0 and 1 only
    std::uint64_t m_uiWithoutClass = 0;
    std::optional<std::uint64_t> m_sequences; ///< none where the generator does not know of any
    std::vector<Finding> m_vFindings;
};

/// Pulls the patterns of generators and gathers what can be said of them, in memory that does not depend on
/// their number but for what a survey of recordings keeps.
///
/// Call order: add* finish.
class Inspector
{
public:
    /// Told of each pattern: how many there are by now, and the share of the current source that was read.
    using Watcher = std::function<void(std::uint64_t in_uiPatterns, const DataGenerator& in_generator)>;

    /// Names of the classes in the order of the target; none: as the generators name them. Nothing is read
    /// beyond a target that has not one value for each.
    explicit Inspector(StringVector in_vClassNames, Watcher in_watcher = {});

    /// One pass over a generator that is ready for gotoStart and outlives the call. False when it did not go
    /// to its end; what was delivered counts.
    bool add(DataGenerator& io_generator);

    /// What is left to be filled in is the survey, the names of files and the findings.
    Inspection finish();

private:
    bool hasOtherTargets() const;
    void count(const DoubleVector& in_vInput, const DoubleVector* in_pTarget);
    const std::vector<std::size_t>* findClasses(const DoubleVector* in_pTarget);
    void followRecording(bool in_bNew, const DoubleVector& in_vInput);
    void finishRecording();
    void nameClasses();
    void findInputs();

    StringVector m_vClassNames;
    Watcher m_watcher;
    Inspection m_inspection;
    AudioClassStatistics m_statistics;
    bool m_bSized = false;
    std::vector<std::size_t> m_vClasses; ///< of the current pattern
    std::vector<std::uint64_t> m_vClassPatterns;
    PatternSource m_source;
    std::string m_strRecording; ///< of the pattern before; empty: none
    DoubleVector m_vFirstInput; ///< of that recording
    bool m_bFirstPass = true;   ///< of a set that passes over its recordings several times
    bool m_bChanged = false;
    std::uint64_t m_uiOfRecording = 0;
};

} // namespace Vexalor::MachineLearning
