#include "quillcast-math/ToneEnergies.h"

#include "quillcast-math/SignalKernels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Vexalor
{

const char* ToneEnergies::findFault(double in_dRate, const double* in_pFrequencies,
                                    std::size_t in_uiNbFrequencies, std::size_t in_uiWindowSize)
{
    if (!(in_dRate > 0.0) || !std::isfinite(in_dRate))
        return "the sampling rate (m_dSamplingRate) must be positive";
    if (in_uiNbFrequencies == 0)
        return "there are no frequencies (m_vFrequencies)";
    if (!std::all_of(in_pFrequencies, in_pFrequencies + in_uiNbFrequencies,
                     [&](double in_dFrequency)
                     { return in_dFrequency > 0.0 && in_dFrequency < in_dRate / 2; }))
        return "the frequencies (m_vFrequencies) must be above 0 and below half the sampling rate";
    if (in_uiWindowSize > MAX_TABLE / SignalKernels::paddedColumns(2 * in_uiNbFrequencies))
        return "too many frequencies for so large a window";
    return nullptr;
}

void ToneEnergies::prepare(double in_dRate, const double* in_pFrequencies, std::size_t in_uiNbFrequencies,
                           std::size_t in_uiWindowSize)
{
    const std::size_t uiPitch = SignalKernels::paddedColumns(2 * in_uiNbFrequencies);
    m_vWaves.assign(in_uiWindowSize * uiPitch, 0.0);
    for (std::size_t uiTone = 0; uiTone < in_uiNbFrequencies; ++uiTone)
    {
        // In extended precision, as all tables that must be the same on every processor.
        const long double dStep = 2 * std::numbers::pi_v<long double> * in_pFrequencies[uiTone] / in_dRate;
        for (std::size_t n = 0; n < in_uiWindowSize; ++n)
        {
            const long double dAngle = dStep * static_cast<long double>(n);
            m_vWaves[n * uiPitch + uiTone] = static_cast<double>(std::cos(dAngle));
            m_vWaves[n * uiPitch + in_uiNbFrequencies + uiTone] = static_cast<double>(std::sin(dAngle));
        }
    }
    m_uiWindowSize = in_uiWindowSize;
    m_uiNbFrequencies = in_uiNbFrequencies;
}

std::size_t ToneEnergies::getWorkSize() const
{
    return SignalKernels::paddedColumns(2 * m_uiNbFrequencies);
}

void ToneEnergies::compute(const double* in_pWindow, double* out_pEnergies, double* out_pWork) const
{
    SignalKernels::multiply(in_pWindow, m_vWaves.data(), m_uiWindowSize, 2 * m_uiNbFrequencies, out_pWork);
    const double dScale = 2.0 / static_cast<double>(m_uiWindowSize);
    for (std::size_t uiTone = 0; uiTone < m_uiNbFrequencies; ++uiTone)
    {
        const double dCosine = out_pWork[uiTone];
        const double dSine = out_pWork[m_uiNbFrequencies + uiTone];
        out_pEnergies[uiTone] = dScale * (dCosine * dCosine + dSine * dSine);
    }
}

} // namespace Vexalor
