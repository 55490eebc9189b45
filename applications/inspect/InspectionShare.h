#pragma once

#include "inspect/Inspection.h"

#include <string>
#include <string_view>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What a share of an inspection found: of each file of the data, in each pass over its recordings. Shares
/// that are appended to the first one, in the order of the list, become that of the whole, to the bit.
struct InspectionShare
{
    /// Of one file, a pass each. The survey is in the first one, the statistics are in the last one.
    using Passes = std::vector<InspectedPart>;

    InspectedData m_data;
    std::vector<Passes> m_vFiles; ///< as many as m_data has

    /// Adds what follows in the list: what toBytes of a share of the same job made. False, with the reason
    /// logged, for bytes that are nothing of that kind.
    bool append(std::string_view in_bytes);
    std::string toBytes() const;

    /// What was found in one file: one stop is told of its stream, as it is read by one process, but with
    /// validation those of all recordings.
    static InspectedPart joinPasses(const InspectedData& in_data, const std::string& in_strFile,
                                    Passes in_vPasses);
    /// What was found in all of them, which are let go.
    InspectedPart takeWhole();

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_data, io_self.m_vFiles);
    }
};

} // namespace Vexalor::MachineLearning
