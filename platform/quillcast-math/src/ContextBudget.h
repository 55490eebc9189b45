#pragma once

#include <cstdint>

namespace Vexalor
{

/// The values that computers of one feature computer may keep, or hand from one to the other, in all. They
/// may be set into each other as a file says, so that the limit of a single one bounds nothing.
///
/// The outermost computer opens a scope for each window; those in it open scopes too, and take what they need
/// of the budget of that window.
class ContextBudget
{
public:
    static constexpr std::uint64_t MOST = std::uint64_t(1) << 18;

    class Scope
    {
    public:
        Scope()
            : m_bOutermost(!s_bOpen)
        {
            if (m_bOutermost)
                s_uiLeft = MOST;
            s_bOpen = true;
        }
        ~Scope() { s_bOpen = !m_bOutermost; }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

        bool isOutermost() const { return m_bOutermost; }

    private:
        const bool m_bOutermost;
    };

    /// False when that is more than is left.
    static bool take(std::uint64_t in_uiValues)
    {
        if (in_uiValues > s_uiLeft)
            return false;
        s_uiLeft -= in_uiValues;
        return true;
    }

private:
    static inline constinit thread_local std::uint64_t s_uiLeft = 0;
    static inline constinit thread_local bool s_bOpen = false;
};

} // namespace Vexalor
