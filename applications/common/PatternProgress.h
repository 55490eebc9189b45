#pragma once

#include "common/Progress.h"
#include "quillcast-core/Fallible.h"

#include <cstdint>

namespace Vexalor
{

/// What a pass over a stream of patterns, or of what the unit says, shows on a terminal: their number and
/// rate and, where the size of the source is known, the time left.
///     if (progress.isDue()) progress.show(uiPatterns, generator.getShareRead());
class PatternProgress
{
public:
    /// Begins to measure. The name stands before the line.
    explicit PatternProgress(const std::string& in_strName, const char* in_unit = PATTERNS);

    bool isDue() const { return m_progress.isDue(); }
    void show(std::uint64_t in_uiPatterns, const Fallible<double>& in_shareRead);

    /// "3000 patterns, 1500 a second, 0:06 left": after in_dSeconds.
    static std::string toText(std::uint64_t in_uiPatterns, const Fallible<double>& in_shareRead,
                              double in_dSeconds, const char* in_unit = PATTERNS);
    /// "1:02:03", "2:03".
    static std::string toClock(double in_dSeconds);

private:
    static constexpr const char* PATTERNS = "patterns";

    std::string m_strName;
    const char* m_unit;
    Progress m_progress;
    std::chrono::steady_clock::time_point m_start;
};

} // namespace Vexalor
