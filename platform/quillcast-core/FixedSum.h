#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace Vexalor
{

/// A sum that does not depend on the order of what is added, for numbers of moderate size such as seconds:
/// sums of parts add up to that of the whole, to the bit. Each number counts as a multiple of 2^-64, rounded
/// towards 0. Sums reach to 2^62; one that went beyond, or took in what is no number, is none.
class FixedSum
{
public:
    FixedSum() = default;
    FixedSum(double in_dValue) { *this += in_dValue; } // NOLINT(google-explicit-constructor): is a number

    FixedSum& operator+=(double in_dValue)
    {
        m_bNumber = m_bNumber && std::abs(in_dValue) < LIMIT;
        if (m_bNumber)
            add(static_cast<Units>(in_dValue * ONE));
        return *this;
    }
    FixedSum& operator+=(const FixedSum& in_other)
    {
        m_bNumber = m_bNumber && in_other.m_bNumber;
        add(in_other.m_iUnits);
        return *this;
    }
    FixedSum& operator-=(const FixedSum& in_other)
    {
        m_bNumber = m_bNumber && in_other.m_bNumber;
        add(-in_other.m_iUnits);
        return *this;
    }

    operator double() const // NOLINT(google-explicit-constructor): is a number
    {
        return m_bNumber ? static_cast<double>(m_iUnits) / ONE : std::numeric_limits<double>::quiet_NaN();
    }

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        constexpr int HALF = 64;
        auto uiLow = static_cast<std::uint64_t>(io_self.m_iUnits);
        auto iHigh = static_cast<std::int64_t>(io_self.m_iUnits >> HALF);
        io_bytes(uiLow, iHigh, io_self.m_bNumber);
        if constexpr (!std::is_const_v<Self>)
        {
            io_self.m_iUnits = (static_cast<Units>(iHigh) << HALF) | uiLow;
            io_self.add(0);
        }
    }

private:
    using Units = __int128;
    static constexpr double ONE = 0x1p64;
    static constexpr double LIMIT = 0x1p62;

    /// Both are below 2^126.
    void add(Units in_iUnits)
    {
        constexpr Units MOST = static_cast<Units>(1) << 126;
        m_iUnits += in_iUnits;
        m_bNumber = m_bNumber && m_iUnits < MOST && m_iUnits > -MOST;
        if (!m_bNumber)
            m_iUnits = 0;
    }

    Units m_iUnits = 0;
    bool m_bNumber = true;
};

} // namespace Vexalor
