#pragma once

#include "MLFileSetDataGenerator.h"
#include "common/ShareFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// A part of a list of recordings that one process hands to another.
struct RecordingPart : RecordingList
{
    std::vector<std::uint64_t> m_vSizes; ///< of the recordings in bytes, where the list was read

    /// The same with the recordings from one place to another only.
    RecordingPart cutOut(std::size_t in_uiFirst, std::size_t in_uiEnd) const;
    /// False, with the reason logged, when a recording has another size here.
    bool isSeenHere() const;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_strName, io_self.m_vFilenames, io_self.m_place, io_self.m_classes, io_self.m_pass,
                 io_self.m_vSizes);
    }
};

/// What one process tells of a list of which no recording can be used.
std::string tellNoneUsable(const std::string& in_strList, std::uint64_t in_uiListed);

/// Reads a list of recordings in so many parts that follow each other, for setRecordings of the generator;
/// the whole list, and the sizes of its recordings, become part of the job. False, with the reason logged,
/// for a generator that is no set, and if the list cannot be read.
bool readRecordingParts(const DataGenerator& in_generator, const char* in_list, std::size_t in_uiParts,
                        std::vector<RecordingPart>& out_vParts, JobDigest& io_job);

} // namespace Vexalor::MachineLearning
