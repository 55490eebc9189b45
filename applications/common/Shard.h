#pragma once

#include "quillcast-core/StringVector.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Vexalor
{

/// One of several shares of a job, which processes do apart from each other.
struct Shard
{
    std::size_t m_uiNumber = 1; ///< from 1
    std::size_t m_uiOf = 1;

    /// More shares than this are none.
    static constexpr std::size_t MAX_SHARDS = 100000;

    /// "2/4". Throws CommandLineError, which names the option, for another text.
    static Shard parse(const char* in_option, const std::string& in_strText);
    /// "2/4"
    std::string toText() const;

    friend bool operator==(const Shard&, const Shard&) = default;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiNumber, io_self.m_uiOf);
    }
};

/// The places of the share in a list of things with these sizes, from the first to after the last. Shares
/// follow each other and cover the list; their sizes differ by no more than the largest thing. A share may be
/// empty.
std::pair<std::size_t, std::size_t> findShare(const std::vector<std::uint64_t>& in_vSizes,
                                              const Shard& in_shard);

/// Those of all of so many shares: the first place of each, and the end.
std::vector<std::size_t> findShares(const std::vector<std::uint64_t>& in_vSizes, std::size_t in_uiOf);

/// Bytes of each file; 0 for those that cannot be looked at.
std::vector<std::uint64_t> getFileSizes(const StringVector& in_vFilenames);

} // namespace Vexalor
