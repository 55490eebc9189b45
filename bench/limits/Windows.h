#pragma once

#include "bench/limits/ByHand.h"

#include <cmath>
#include <sndfile.h>

/// The work of ExpressionBench by hand: windows of a recording and what is computed of each.
namespace Vexalor::Bench
{

constexpr int WINDOW_LENGTH = 200;
constexpr int WINDOW_SHIFT = 80;
constexpr int NB_TONES = 8;

inline double computeEnergy(const double* in_window)
{
    double dSum = 0.0;
    for (int i = 0; i < WINDOW_LENGTH; ++i)
        dSum += in_window[i] * in_window[i];
    return dSum;
}

inline int countCrossings(const double* in_window)
{
    int iCount = 0;
    for (int i = 1; i < WINDOW_LENGTH; ++i)
        iCount += (in_window[i] >= 0) != (in_window[i - 1] >= 0);
    return iCount;
}

/// Eight recurrences of tone energies side by side, one a lane of a wide register.
class Tones
{
public:
    Tones()
    {
        constexpr double FREQUENCIES[NB_TONES] = {697, 770, 852, 941, 1209, 1336, 1477, 1633};
        for (int i = 0; i < NB_TONES; ++i)
            m_factors[i] = 2 * std::cos(2 * 3.14159265358979323846 * FREQUENCIES[i] / 8000);
    }

    /// The share of the strongest tone where it dominates, else 0.
    double decide(const double* in_window) const
    {
        Lanes last{};
        Lanes beforeLast{};
        for (int i = 0; i < WINDOW_LENGTH; ++i)
        {
            const Lanes next = m_factors * last + (in_window[i] - beforeLast);
            beforeLast = last;
            last = next;
        }
        const Lanes energies = last * last + beforeLast * beforeLast - m_factors * last * beforeLast;
        double dLargest = 0.0;
        double dSum = 1e-10;
        for (int i = 0; i < NB_TONES; ++i)
        {
            dLargest = std::max(dLargest, energies[i]);
            dSum += energies[i];
        }
        return dLargest / dSum > 0.4 ? dLargest / dSum : 0.0;
    }

private:
    typedef double Lanes __attribute__((vector_size(8 * NB_TONES)));
    Lanes m_factors;
};

/// Twenty formulas, each of the ones before.
inline double computeFormulas(double in_dEnergy, double in_dCrossings)
{
    const double v1 = in_dEnergy / 200, v2 = std::log(v1 + 0.0000000001), v3 = in_dCrossings / 199;
    const double v4 = v2 * 0.5 + v3, v5 = std::max(v4, -10.0), v6 = std::min(v5, 10.0);
    const double v7 = 1 / (1 + std::exp(-v6)), v8 = v7 * v7, v9 = v8 - v3, v10 = std::fabs(v9);
    const double v11 = std::sqrt(v10 + 1), v12 = v11 * v1 + v2, v13 = v12 > 0 ? v7 : v3, v14 = v13 * 3 - 1;
    const double v15 = v14 * v14, v16 = v15 + v8 * v10, v17 = v16 / (1 + v15);
    const double v18 = v17 * 0.9 + v9 * 0.1, v19 = std::max(v18, v17);
    return v19 > 0.3 ? v19 : 0;
}

/// The samples of a recording, and the windows that fit into them.
struct Recording
{
    explicit Recording(const char* in_name)
    {
        SF_INFO info{};
        SNDFILE* pFile = sf_open(in_name, SFM_READ, &info);
        if (pFile == nullptr)
            std::exit(2);
        m_vSamples.resize(static_cast<std::size_t>(info.frames));
        sf_readf_double(pFile, m_vSamples.data(), info.frames);
        sf_close(pFile);
        m_iWindows = (static_cast<long>(info.frames) - WINDOW_LENGTH) / WINDOW_SHIFT + 1;
    }
    const double* getWindow(long in_iIndex) const { return m_vSamples.data() + in_iIndex * WINDOW_SHIFT; }

    std::vector<double> m_vSamples;
    long m_iWindows = 0;
};

/// Times a function of the index of a window over all windows.
template <class Function>
void timeWindows(const Recording& in_recording, const char* in_name, Function in_function)
{
    double dSum = 0.0;
    const auto pass = [&]
    {
        dSum = 0.0;
        for (long i = 0; i < in_recording.m_iWindows; ++i)
            dSum += in_function(i);
    };
    const Times times = measure(getRunCount(), pass);
    reportNanoseconds(in_name, static_cast<double>(in_recording.m_iWindows), times);
    reportValue("    sum of the results", dSum);
}

} // namespace Vexalor::Bench
