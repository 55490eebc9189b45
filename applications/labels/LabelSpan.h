#pragma once

#include <optional>
#include <string>

namespace Vexalor
{

/// A labelled stretch of a recording, as files of labels tell it. Times are in seconds from the first sample,
/// neither below 0 nor stop before start; a marker's are equal.
struct LabelSpan
{
    double m_dStart = 0.0;
    double m_dStop = 0.0;
    std::string m_strLabel;
    std::optional<double> m_low; ///< Hz; the band that is meant, where the file tells one
    std::optional<double> m_high;

    friend bool operator==(const LabelSpan&, const LabelSpan&) = default;
};

} // namespace Vexalor
