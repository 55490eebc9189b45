#pragma once

#include "MLDataGenerator.h"
#include "common/Progress.h"
#include "quillcast-infra/ProgramOptions.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Vexalor::MachineLearning
{

/// What a program does about the sets of recordings that it reads: shows on a terminal how far it is, counts
/// those that were skipped, and finds fault with that when its user wants so (--strict).
///
/// Call order: addOption takeOption (newDataGenerator countPattern* closeSet)* accept.
class SetWatch
{
public:
    /// The name is that of the program; it must outlive the watch.
    explicit SetWatch(const char* in_program)
        : m_program(in_program)
    {
    }

    static void addOption(options_description& io_options);
    void takeOption(const variables_map& in_map);

    /// As the free newDataGenerator; the set that is read, if any, is watched from the start.
    CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                  const Handle<Resettable, ReferenceCount>& in_entityToReset,
                                                  bool in_bInMemory, const char* in_scalingConfigFile);
    /// In a pass, for each pattern: shows on a terminal how far it is.
    void countPattern();
    /// The same with a generator that is made already; null is handed on.
    CountedObjPtr<DataGenerator>
    prepareDataGenerator(const CountedObjPtr<DataGenerator>& in_pGenerator, const char* in_inputFile,
                         const Handle<Resettable, ReferenceCount>& in_entityToReset, bool in_bInMemory,
                         const char* in_scalingConfigFile);
    /// What newDataGenerator made, without what is wrapped around it; null after closeSet.
    DataGenerator* getGenerator() { return m_pGenerator.get(); }
    /// Counts the recordings of the set that were skipped in the last pass, and lets go of it.
    void closeSet();
    /// False, logged at error level, when recordings were skipped and that is to be a failure.
    bool accept() const;

private:
    const char* m_program;
    bool m_bStrict = false;
    std::optional<Progress> m_progress; ///< while patterns are read
    std::chrono::steady_clock::time_point m_start;
    std::uint64_t m_uiPatterns = 0;
    std::string m_strPlace;                    ///< in a set
    CountedObjPtr<DataGenerator> m_pGenerator; ///< without what is wrapped around it
    std::size_t m_uiListed = 0;
    std::size_t m_uiSkipped = 0;
};

} // namespace Vexalor::MachineLearning
