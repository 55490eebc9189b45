#include "quillcast-math/ToneEnergyFeatureComputer.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/SignalKernels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.ToneEnergyFeatureComputer");

/// What is wrong with the settings for windows of that size; null if nothing is.
const char* findFault(const ToneEnergyFeatureComputer::Config& in_config, std::size_t in_uiWindowSize)
{
    const double dRate = in_config.m_dSamplingRate;
    if (!(dRate > 0.0) || !std::isfinite(dRate))
        return "m_dSamplingRate must be positive";
    if (in_config.m_vFrequencies.empty())
        return "m_vFrequencies is empty";
    if (!std::all_of(in_config.m_vFrequencies.begin(), in_config.m_vFrequencies.end(),
                     [&](double in_dFrequency) { return in_dFrequency > 0.0 && in_dFrequency < dRate / 2; }))
        return "m_vFrequencies must be above 0 and below half the sampling rate";
    const std::size_t uiPitch = SignalKernels::paddedColumns(2 * in_config.m_vFrequencies.size());
    if (in_uiWindowSize > ToneEnergyFeatureComputer::MAX_TABLE / uiPitch)
        return "too many frequencies for so large a window";
    return nullptr;
}

} // namespace

ToneEnergyFeatureComputer::ToneEnergyFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

bool ToneEnergyFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    if (!prepare(in_vWindow.size()))
        return false;
    const std::size_t uiNbTones = m_config.m_vFrequencies.size();
    SignalKernels::multiply(in_vWindow.begin(), m_vWaves.data(), m_uiWindowSize, 2 * uiNbTones,
                            m_vSums.data());
    const double dScale = 2.0 / static_cast<double>(m_uiWindowSize);
    out_vFeatures.resize(uiNbTones);
    for (std::size_t uiTone = 0; uiTone < uiNbTones; ++uiTone)
    {
        const double dCosine = m_vSums[uiTone];
        const double dSine = m_vSums[uiNbTones + uiTone];
        out_vFeatures[uiTone] = dScale * (dCosine * dCosine + dSine * dSine);
    }
    return true;
}

bool ToneEnergyFeatureComputer::prepare(std::size_t in_uiWindowSize)
{
    if (in_uiWindowSize == m_uiWindowSize)
        return true;
    QC_TRACE("ToneEnergyFeatureComputer::prepare");
    m_uiWindowSize = 0;
    if (const char* fault = findFault(m_config, in_uiWindowSize))
    {
        QC_ERROR("Cannot compute tone energies of " << in_uiWindowSize << " samples: " << fault);
        return false;
    }
    const std::size_t uiNbTones = m_config.m_vFrequencies.size();
    const std::size_t uiPitch = SignalKernels::paddedColumns(2 * uiNbTones);
    m_vSums.assign(uiPitch, 0.0);
    m_vWaves.assign(in_uiWindowSize * uiPitch, 0.0);
    for (std::size_t uiTone = 0; uiTone < uiNbTones; ++uiTone)
    {
        // In extended precision, as all tables that must be the same on every processor.
        const long double dStep =
            2 * std::numbers::pi_v<long double> * m_config.m_vFrequencies[uiTone] / m_config.m_dSamplingRate;
        for (std::size_t n = 0; n < in_uiWindowSize; ++n)
        {
            const long double dAngle = dStep * static_cast<long double>(n);
            m_vWaves[n * uiPitch + uiTone] = static_cast<double>(std::cos(dAngle));
            m_vWaves[n * uiPitch + uiNbTones + uiTone] = static_cast<double>(std::sin(dAngle));
        }
    }
    m_uiWindowSize = in_uiWindowSize;
    return true;
}

template <class Archive>
void ToneEnergyFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_dSamplingRate);
    QC_FIELD(m_vFrequencies);
}

template <class Archive>
void ToneEnergyFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_config);
    m_uiWindowSize = 0;
}

QC_ARCHIVES(ToneEnergyFeatureComputer::Config);
QC_ARCHIVES(ToneEnergyFeatureComputer);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::ToneEnergyFeatureComputer)
