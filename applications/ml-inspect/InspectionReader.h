#pragma once

#include "common/PatternProgress.h"
#include "common/RecordingPart.h"
#include "inspect/InspectionShare.h"

#include <optional>

namespace Vexalor
{
class LogListener;
class Ranks;
} // namespace Vexalor

namespace Vexalor::MachineLearning
{

/// What a share reads: of each file of the data its part.
struct InspectionTask
{
    std::vector<RecordingPart> m_vParts;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vParts);
    }
};

/// Shares out the files, which are lists of recordings and become part of the job. False, with the reason
/// logged, for files that are none or cannot be read.
bool readInspectionTasks(const DataGenerator& in_generator, const StringVector& in_vFiles,
                         std::size_t in_uiShares, std::vector<InspectionTask>& out_vTasks, JobDigest& io_job);

/// Reads the data of an inspection, or a share of them.
///
/// Call order: readWhole | setRanks? readShare.
class InspectionReader
{
public:
    /// The generator is that of the configuration, for the first file.
    explicit InspectionReader(CountedObjPtr<DataGenerator> in_pFirst)
        : m_pFirst(std::move(in_pFirst))
    {
    }

    /// Adds to the data what the configuration alone tells. What cannot be read is in the result.
    InspectedPart readWhole(InspectedData& io_data);
    /// The share is that of one of these processes, which show how far all are; they outlive this.
    void setRanks(Ranks& io_ranks) { m_pRanks = &io_ranks; }
    /// The data of io_share are given, and the same is added to them. False, with the reason logged, when a
    /// part cannot be set. With ranks it throws as they do.
    bool readShare(const InspectionTask& in_task, InspectionShare& io_share);

private:
    using Passes = InspectionShare::Passes;

    bool readFile(const std::string& in_strFile, InspectedData& io_data, Passes& out_vPasses);
    bool takeFile(DataGenerator& io_generator, const std::string& in_strFile);
    void readSet(const InspectedData& in_data, FileSetDataGeneratorImpl& io_set, Passes& io_vPasses);
    void validateSet(const InspectedData& in_data, FileSetDataGeneratorImpl& io_set, InspectedPart& io_part);
    void readStream(const InspectedData& in_data, DataGenerator& io_generator, const std::string& in_strName,
                    InspectedPart& io_part);

    CountedObjPtr<DataGenerator> m_pFirst;   ///< until it is used
    LogListener* m_pListener = nullptr;      ///< while something is read
    const InspectionTask* m_pTask = nullptr; ///< null: all is read
    std::size_t m_uiFile = 0;                ///< of the data
    Ranks* m_pRanks = nullptr;
    RecordingList m_list; ///< of the current set, or the share of it
    std::optional<PatternProgress> m_progress;
    std::uint64_t m_uiPatterns = 0;
};

} // namespace Vexalor::MachineLearning
