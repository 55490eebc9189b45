#pragma once

#include "common/Progress.h"
#include "common/RecordingPart.h"
#include "common/ShareFile.h"
#include "quillcast-infra/ProgramOptions.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Vexalor
{
class Ranks;
}

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

    /// Throws CommandLineError when a generator reads a file and none was given.
    static void checkInput(const DataGenerator* in_pGenerator, const std::string& in_strConfigFile,
                           const std::string& in_strInputFile);
    /// As the free newDataGenerator, after checkInput; the set that is read, if any, is watched from the
    /// start.
    CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                  const Handle<Resettable, ReferenceCount>& in_entityToReset,
                                                  bool in_bInMemory, const char* in_scalingConfigFile);
    /// For newDataGenerator: of the list only this share is read. A scaling that is learnt from what is read
    /// is refused then, as is a generator that reads no list.
    void setShard(const Shard& in_shard) { m_shard = in_shard; }
    /// The same with a share for each of these processes, of which rank 0 deals the list; they outlive this.
    void setRanks(Ranks& io_ranks) { m_pRanks = &io_ranks; }
    /// False, with the reason logged, for a generator that would learn its scaling from the share.
    static bool acceptScaling(const DataGenerator& in_generator);
    /// How often the set passes over its recordings. A share is read in passes apart from each other: the
    /// first one after newDataGenerator, the others after gotoPass.
    std::size_t getNbPasses() const;
    bool gotoPass(std::size_t in_uiPass);
    /// All recordings of the list that a share belongs to, and their sizes.
    const JobDigest& getListDigest() const { return m_listDigest; }
    /// In a pass, for each pattern: shows on a terminal how far it is. With ranks it throws as they do.
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
    /// Those of all shares, in place of what was counted.
    void setCounts(std::size_t in_uiListed, std::size_t in_uiSkipped);
    std::size_t getNbListed() const { return m_uiListed; }
    std::size_t getNbSkipped() const { return m_uiSkipped; }
    /// False, logged at error level, when recordings were skipped and that is to be a failure.
    bool accept() const;

private:
    bool takeFile(const char* in_inputFile, const Handle<Resettable, ReferenceCount>& in_entityToReset);
    bool takeShare(const char* in_inputFile);
    bool readParts(const char* in_inputFile, std::size_t in_uiParts, std::vector<RecordingPart>& out_vParts);
    bool dealParts(const char* in_inputFile);
    void showPlace(const std::string& in_strFilename, std::size_t in_uiNumber, std::size_t in_uiOf);

    const char* m_program;
    std::optional<Shard> m_shard;
    Ranks* m_pRanks = nullptr;
    RecordingPart m_part; ///< that is read, of a share
    JobDigest m_listDigest;
    bool m_bStrict = false;
    std::optional<Progress>
        m_progress; ///< while patterns are read, but for ranks, which have one of their own
    std::chrono::steady_clock::time_point m_start;
    std::uint64_t m_uiPatterns = 0;
    std::string m_strPlace;                    ///< in a set
    CountedObjPtr<DataGenerator> m_pGenerator; ///< without what is wrapped around it
    std::size_t m_uiListed = 0;
    std::size_t m_uiSkipped = 0;
};

} // namespace Vexalor::MachineLearning
