#pragma once

#include "common/PatternProgress.h"
#include "common/RecordingPart.h"
#include "inspect/InspectionShare.h"

#include <optional>

namespace Vexalor
{
class LogListener;
}

namespace Vexalor::MachineLearning
{

/// Reads the data of an inspection, or a share of them.
///
/// Call order: readWhole | readShare.
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
    /// The data of io_share are given, and the same is added to them. Lists become part of the job. False,
    /// with the reason logged, for files that are no lists of recordings or cannot be read.
    bool readShare(const Shard& in_shard, InspectionShare& io_share, JobDigest& io_job);

private:
    using Passes = InspectionShare::Passes;

    bool readFile(const std::string& in_strFile, InspectedData& io_data, Passes& out_vPasses);
    bool takeFile(DataGenerator& io_generator, const std::string& in_strFile);
    void readSet(const InspectedData& in_data, FileSetDataGeneratorImpl& io_set, Passes& io_vPasses);
    void validateSet(const InspectedData& in_data, FileSetDataGeneratorImpl& io_set, InspectedPart& io_part);
    void readStream(const InspectedData& in_data, DataGenerator& io_generator, const std::string& in_strName,
                    InspectedPart& io_part);

    CountedObjPtr<DataGenerator> m_pFirst; ///< until it is used
    LogListener* m_pListener = nullptr;    ///< while something is read
    const Shard* m_pShard = nullptr;       ///< null: all is read
    JobDigest* m_pJob = nullptr;
    RecordingList m_list; ///< of the current set, or the share of it
    std::optional<PatternProgress> m_progress;
    std::uint64_t m_uiPatterns = 0;
};

} // namespace Vexalor::MachineLearning
