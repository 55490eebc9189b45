#pragma once

#include "test-support/AllocationCounter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

/// What the programs of this folder share: clocks, repetition and one line of report a measurement. Pin a
/// program to one core and compare figures of one run only.
namespace Vexalor::Bench
{

/// CPU time of this process in seconds.
inline double cpuSeconds()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Seconds of wall time.
inline double wallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// A field of what the system says of this program, in MiB; 0 when it does not tell.
inline double getMemoryField(const std::string& in_strName)
{
    std::ifstream status("/proc/self/status");
    std::string strField;
    double dKibibytes = 0.0;
    while (status >> strField && strField != in_strName)
        continue;
    status >> dKibibytes;
    return dKibibytes / 1024.0;
}

/// MiB, libraries included.
inline double getMemory()
{
    return getMemoryField("VmRSS:");
}
inline double getPeakMemory()
{
    return getMemoryField("VmHWM:");
}

/// How often a program measures: the environment variable REPEAT, else 7.
inline int getRunCount()
{
    const char* pRepeat = std::getenv("REPEAT");
    return std::max(1, pRepeat == nullptr ? 7 : std::atoi(pRepeat));
}

/// Seconds of several runs.
struct Times
{
    double m_dMedian;
    double m_dMinimum;
    double m_dMaximum;
};

/// Runs a function, once to warm up and then in_iRuns times under the clock. Use the clock of what the
/// figures are compared with.
template <class Function>
Times measure(int in_iRuns, Function in_function, double (*in_clock)() = cpuSeconds)
{
    in_function();
    std::vector<double> vSeconds;
    for (int iRun = 0; iRun < in_iRuns; ++iRun)
    {
        const double dStart = in_clock();
        in_function();
        vSeconds.push_back(in_clock() - dStart);
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

/// What one pass over a stream of patterns came to; the sums show what was read.
struct Pass
{
    std::size_t m_uiPatterns = 0;
    std::size_t m_uiAllocations = 0; ///< between the first pattern and the last
    double m_dInputSum = 0.0;        ///< of the first inputs
    double m_dTargetSum = 0.0;       ///< of the last targets
    bool m_bDone = false;
};

/// Pulls every pattern, with its input and its target, out of a generator. The program links test-support.
template <class Generator, class Vector>
Pass pullAll(Generator& io_generator, Vector& io_vInput, Vector& io_vTarget)
{
    Pass pass;
    const Testing::AllocationCounter allocations;
    std::size_t uiAtFirst = 0;
    pass.m_bDone = io_generator.gotoStart();
    while (pass.m_bDone && io_generator.generateNext())
    {
        pass.m_bDone = io_generator.getInput(io_vInput) && io_generator.getTarget(io_vTarget);
        pass.m_dInputSum += io_vInput[0];
        pass.m_dTargetSum += io_vTarget.back();
        if (++pass.m_uiPatterns == 1)
            uiAtFirst = allocations.getCount();
        pass.m_uiAllocations = allocations.getCount() - uiAtFirst;
    }
    pass.m_bDone = pass.m_bDone && io_generator.endedCleanly() && pass.m_uiPatterns > 0;
    return pass;
}

/// Prints the time of one of in_dUnits units of work.
inline void reportNanoseconds(const std::string& in_strName, double in_dUnits, const Times& in_times)
{
    const double dScale = 1e9 / in_dUnits;
    std::printf("%-52s %10.2f ns  (min %.2f max %.2f)\n", in_strName.c_str(), in_times.m_dMedian * dScale,
                in_times.m_dMinimum * dScale, in_times.m_dMaximum * dScale);
    std::fflush(stdout);
}

/// Prints anything else that a program found: a count, a size, a sum that shows what was computed.
inline void reportValue(const std::string& in_strName, double in_dValue, const char* in_unit = "")
{
    std::printf("%-52s %10.10g %s\n", in_strName.c_str(), in_dValue, in_unit);
    std::fflush(stdout);
}

inline void reportPass(const Pass& in_pass)
{
    reportValue("    allocations from the first pattern to the last",
                static_cast<double>(in_pass.m_uiAllocations));
    reportValue("    patterns", static_cast<double>(in_pass.m_uiPatterns));
    reportValue("    sum of the first inputs", in_pass.m_dInputSum);
    reportValue("    sum of the last targets", in_pass.m_dTargetSum);
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
