#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Vexalor
{

/// The outline of the signal of a recording: the least and the greatest sample of columns of equal length.
struct Envelope
{
    double m_dSeconds = 0.0; ///< of the recording, and of all columns
    std::vector<double> m_vMin;
    std::vector<double> m_vMax;

    /// At most in_uiColumns, in one pass; in_iChannel as AudioFileReader::open takes it. False, with the
    /// reason logged, when the recording cannot be read.
    bool read(const std::string& in_strFilename, int in_iChannel, std::size_t in_uiColumns);
};

} // namespace Vexalor
