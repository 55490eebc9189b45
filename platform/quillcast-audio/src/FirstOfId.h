#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace Vexalor
{

/// Finds records by their id, the first one where several have it. Takes 8 bytes a record.
class FirstOfId
{
public:
    static constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

    /// in_getId gives the id of a record. Records that in_isWanted refuses are not found. The records are not
    /// kept; there are less than 2^32.
    template <class Record, class GetId, class IsWanted>
    FirstOfId(const std::vector<Record>& in_vRecords, GetId in_getId, IsWanted in_isWanted)
    {
        m_vPlaces.reserve(in_vRecords.size());
        for (std::size_t i = 0; i < in_vRecords.size(); ++i)
            if (in_isWanted(in_vRecords[i]))
                m_vPlaces.emplace_back(in_getId(in_vRecords[i]), static_cast<std::uint32_t>(i));
        // Mostly they are in order.
        if (!std::is_sorted(m_vPlaces.begin(), m_vPlaces.end()))
            std::sort(m_vPlaces.begin(), m_vPlaces.end());
    }
    template <class Record, class GetId>
    FirstOfId(const std::vector<Record>& in_vRecords, GetId in_getId)
        : FirstOfId(in_vRecords, in_getId, [](const Record&) { return true; })
    {
    }

    /// Place of the first record of an id, or NONE.
    std::size_t find(std::uint32_t in_uiId) const
    {
        const auto itPlace =
            std::lower_bound(m_vPlaces.begin(), m_vPlaces.end(), std::pair(in_uiId, std::uint32_t(0)));
        return itPlace == m_vPlaces.end() || itPlace->first != in_uiId ? NONE : itPlace->second;
    }

private:
    std::vector<std::pair<std::uint32_t, std::uint32_t>> m_vPlaces; ///< id and place, sorted
};

} // namespace Vexalor
