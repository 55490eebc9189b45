#pragma once

#include "inspect/DataFindings.h"
#include "quillcast-infra/ProgramOptions.h"

namespace Vexalor::MachineLearning
{

class DataGenerator;
class PatternSet;

/// Finds the mistakes in data before a network is trained on them. What makes the network worthless is an
/// error, unless the user insists; the rest are warnings, with --strict errors too. Reads headers and
/// annotations of recordings and the patterns that are in memory anyway, nothing else.
///
/// Call order: addOptions takeOptions (addSource (a pass) addPass)* accept.
class TrainingCheck
{
public:
    static void addOptions(options_description& io_options);
    /// SetWatch::addOption was called as well.
    void takeOptions(const variables_map& in_map);

    /// A generator whose file is set, without what wraps it.
    void addSource(DataGenerator& io_generator);
    /// The same after the pass.
    void addPass(const DataGenerator& in_generator);
    /// Logs what was found. False when the network should not be trained.
    bool accept(const PatternSet& in_patterns);

private:
    void countClasses(const PatternSet& in_patterns);

    bool m_bInsist = false;
    bool m_bStrict = false;
    std::uint64_t m_uiLeastPatterns = 0;
    DataFacts m_facts;
    AudioClassStatistics m_statistics;
};

} // namespace Vexalor::MachineLearning
