#pragma once

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

/// What the programs of this folder share: the CPU clock, repetition and one line of report a measurement.
/// Pin a program to one core and compare figures of one run only.
namespace Vexalor::Bench
{

/// CPU time of this process in seconds.
inline double cpuSeconds()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// CPU seconds of several runs.
struct Times
{
    double m_dMedian;
    double m_dMinimum;
    double m_dMaximum;
};

/// Runs a function, once to warm up and then in_iRuns times under the clock.
template <class Function>
Times measure(int in_iRuns, Function in_function)
{
    in_function();
    std::vector<double> vSeconds;
    for (int iRun = 0; iRun < in_iRuns; ++iRun)
    {
        const double dStart = cpuSeconds();
        in_function();
        vSeconds.push_back(cpuSeconds() - dStart);
    }
    std::sort(vSeconds.begin(), vSeconds.end());
    return {vSeconds[vSeconds.size() / 2], vSeconds.front(), vSeconds.back()};
}

/// Keeps the compiler from dropping a result.
template <class T>
void keep(const T& in_value)
{
    asm volatile("" : : "r,m"(in_value) : "memory");
}

/// Prints the time of one of in_dUnits units of work.
inline void reportNanoseconds(const std::string& in_strName, double in_dUnits, const Times& in_times)
{
    const double dScale = 1e9 / in_dUnits;
    std::printf("%-52s %10.1f ns  (min %.1f max %.1f)\n", in_strName.c_str(), in_times.m_dMedian * dScale,
                in_times.m_dMinimum * dScale, in_times.m_dMaximum * dScale);
    std::fflush(stdout);
}

/// Prints how many seconds of audio one CPU second deals with.
inline void reportRealTime(const std::string& in_strName, double in_dAudioSeconds, const Times& in_times)
{
    std::printf("%-52s %10.0f x real time  (min %.0f max %.0f)\n", in_strName.c_str(),
                in_dAudioSeconds / in_times.m_dMedian, in_dAudioSeconds / in_times.m_dMaximum,
                in_dAudioSeconds / in_times.m_dMinimum);
    std::fflush(stdout);
}

} // namespace Vexalor::Bench
