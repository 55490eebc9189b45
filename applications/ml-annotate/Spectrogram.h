#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// How loud the parts of a recording are at which frequency: the mean power of all Hann-windowed spectra in a
/// column, in decibels, as levels of a palette. The windows are about 30 ms long and overlap by half at
/// least.
struct Spectrogram
{
    static constexpr std::size_t MAX_COLUMNS = 1000;
    static constexpr std::size_t MAX_ROWS = 256;
    static constexpr std::uint8_t LEVELS = 64;
    static constexpr double RANGE_DB = 80.0; ///< of the levels, below the loudest cell

    double m_dHighest = 0.0; ///< Hz; half the sampling rate, at the top of the first row
    std::size_t m_uiColumns = 0;
    std::size_t m_uiRows = 0;
    std::vector<std::uint8_t> m_vLevels; ///< row by row

    /// Of the mean of all channels, in one pass. False, with the reason logged, when the recording cannot be
    /// read.
    bool read(const std::string& in_strFilename);
};

} // namespace Vexalor
