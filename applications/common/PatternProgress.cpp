#include "common/PatternProgress.h"

#include <cmath>
#include <iomanip>
#include <locale>
#include <sstream>

namespace Vexalor
{

namespace
{

constexpr int MINUTE = 60;
constexpr int HOUR = 60 * MINUTE;
/// A share below says nothing of the time.
constexpr double LEAST_SHARE = 1e-6;

} // namespace

PatternProgress::PatternProgress(const std::string& in_strName, const char* in_unit)
    : m_strName(in_strName)
    , m_unit(in_unit)
    , m_start(std::chrono::steady_clock::now())
{
}

void PatternProgress::show(std::uint64_t in_uiPatterns, const Fallible<double>& in_shareRead)
{
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    m_progress.show(m_strName + ": " + toText(in_uiPatterns, in_shareRead, elapsed.count(), m_unit));
}

std::string PatternProgress::toText(std::uint64_t in_uiPatterns, const Fallible<double>& in_shareRead,
                                    double in_dSeconds, const char* in_unit)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << in_uiPatterns << ' ' << in_unit;
    if (in_dSeconds > 0)
        text << ", " << std::llround(static_cast<double>(in_uiPatterns) / in_dSeconds) << " a second";
    const double dShare = in_shareRead.isValid() ? in_shareRead.getValue() : 0.0;
    if (dShare < LEAST_SHARE)
        return text.str();
    text << ", " << toClock(in_dSeconds * (1 - dShare) / dShare) << " left";
    return text.str();
}

std::string PatternProgress::toClock(double in_dSeconds)
{
    const auto iSeconds = std::llround(in_dSeconds);
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setfill('0');
    if (iSeconds >= HOUR)
        text << iSeconds / HOUR << ':' << std::setw(2);
    text << iSeconds % HOUR / MINUTE << ':' << std::setw(2) << iSeconds % MINUTE;
    return text.str();
}

} // namespace Vexalor
