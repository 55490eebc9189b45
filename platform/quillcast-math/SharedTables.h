#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>

namespace Vexalor
{

/// Tables that a feature computer needs for windows of a size, shared by all clones of a computer: what one
/// of them has built, the others find, also after it has gone. The clones may belong to different threads.
/// Call order: (prepare get*)*.
template <class Tables>
class SharedTables
{
public:
    /// Sizes whose tables are kept, as of recordings with different rates; a further one takes the place of
    /// the oldest.
    static constexpr std::size_t MAX_SIZES = 4;

    /// True when get gives the tables for windows of that many samples, at least one.
    bool isPreparedFor(std::size_t in_uiWindowSize) const
    {
        return in_uiWindowSize == m_entry.m_uiWindowSize && m_entry.m_pTables != nullptr;
    }

    /// Finds the tables for windows of that size, or has them built: in_build(Tables&) gets empty ones, and
    /// prepare is false when it is. One builds while the others wait.
    template <class Build>
    bool prepare(std::size_t in_uiWindowSize, const Build& in_build)
    {
        m_entry = {};
        const std::lock_guard<std::mutex> lock(m_pFamily->m_mutex);
        for (const Entry& entry : m_pFamily->m_entries)
            if (entry.m_uiWindowSize == in_uiWindowSize && entry.m_pTables != nullptr)
                m_entry = entry;
        if (m_entry.m_pTables != nullptr)
            return true;
        const auto pTables = std::make_shared<Tables>();
        if (!in_build(*pTables))
            return false;
        m_entry = {in_uiWindowSize, pTables};
        m_pFamily->m_entries[m_pFamily->m_uiOldest] = m_entry;
        m_pFamily->m_uiOldest = (m_pFamily->m_uiOldest + 1) % MAX_SIZES;
        return true;
    }

    const Tables& get() const { return *m_entry.m_pTables; }

    /// Drops the tables, because the settings have changed, and leaves those of the clones alone.
    void invalidate() { *this = SharedTables(); }

private:
    struct Entry
    {
        std::size_t m_uiWindowSize = 0;
        std::shared_ptr<const Tables> m_pTables; ///< null: not built
    };

    struct Family
    {
        std::mutex m_mutex;
        std::array<Entry, MAX_SIZES> m_entries;
        std::size_t m_uiOldest = 0;
    };

    std::shared_ptr<Family> m_pFamily = std::make_shared<Family>();
    Entry m_entry; ///< in use
};

} // namespace Vexalor
