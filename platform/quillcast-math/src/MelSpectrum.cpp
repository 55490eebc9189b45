#include "quillcast-math/MelSpectrum.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/SignalKernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.MelSpectrum");

constexpr std::size_t BAND_LANES = 4;

// Tables are computed in extended precision: the double functions of the C library differ in the last bit
// between processors.

struct Taper
{
    const char* m_name;
    /// in_dPhase runs from 0 at the first sample to 2 pi at the last.
    long double (*m_value)(long double in_dPhase);
};

constexpr Taper TAPERS[] = {
    {"hamming",
     [](long double in_dPhase)
     {
         return 0.54L - 0.46L * std::cos(in_dPhase);
     }},
    {"hann",
     [](long double in_dPhase)
     {
         return 0.5L - 0.5L * std::cos(in_dPhase);
     }},
    {"none",
     [](long double)
     {
         return 1.0L;
     }},
};

const Taper* findTaper(const std::string& in_strName)
{
    const Taper* pTaper = std::find_if(std::begin(TAPERS), std::end(TAPERS),
                                       [&](const Taper& in_taper) { return in_taper.m_name == in_strName; });
    return pTaper == std::end(TAPERS) ? nullptr : pTaper;
}

void fillTaper(const Taper& in_taper, std::size_t in_uiSize, std::vector<double>& out_vTaper)
{
    out_vTaper.resize(in_uiSize);
    const long double dStep =
        in_uiSize < 2 ? 0.0L : 2 * std::numbers::pi_v<long double> / static_cast<long double>(in_uiSize - 1);
    for (std::size_t n = 0; n < in_uiSize; ++n)
        out_vTaper[n] = static_cast<double>(in_taper.m_value(dStep * static_cast<long double>(n)));
}

long double mel(long double in_dFrequency)
{
    return 1127.0L * std::log(1.0L + in_dFrequency / 700.0L);
}

double highFrequency(const MelSpectrum::Config& in_config)
{
    return in_config.m_dHighFrequency == 0.0 ? in_config.m_dSamplingRate / 2 : in_config.m_dHighFrequency;
}

std::size_t fftSize(const MelSpectrum::Config& in_config, std::size_t in_uiWindowSize)
{
    return in_config.m_uiFftSize == 0 ? std::bit_ceil(std::max<std::size_t>(in_uiWindowSize, 2))
                                      : in_config.m_uiFftSize;
}

/// What is wrong with the settings for windows of that size; null if nothing is.
const char* findFault(const MelSpectrum::Config& in_config, std::size_t in_uiWindowSize)
{
    if (in_uiWindowSize == 0 || in_uiWindowSize > MelSpectrum::MAX_WINDOW)
        return "the window must have 1 to 1048576 samples";
    const std::size_t uiFftSize = fftSize(in_config, in_uiWindowSize);
    if (!std::has_single_bit(uiFftSize) || uiFftSize < std::max<std::size_t>(in_uiWindowSize, 2) ||
        uiFftSize > RealFft::MAX_SIZE)
        return "the size of the FFT (m_uiFftSize) must be 0 or a power of two from the size of the window to "
               "1048576";
    if (!(in_config.m_dSamplingRate > 0.0) || !std::isfinite(in_config.m_dSamplingRate))
        return "the sampling rate (m_dSamplingRate) must be positive";
    if (in_config.m_uiNbBands == 0 || in_config.m_uiNbBands > uiFftSize / 2 + 1)
        return "the number of bands (m_uiNbBands) must be from 1 to the number of bins of the spectrum";
    const double dHigh = highFrequency(in_config);
    if (!(in_config.m_dLowFrequency >= 0.0 && in_config.m_dLowFrequency < dHigh &&
          dHigh <= in_config.m_dSamplingRate / 2))
        return "the lowest frequency (m_dLowFrequency) must be 0 or above, the highest (m_dHighFrequency) "
               "above it and at most half the sampling rate";
    if (!(in_config.m_dPreEmphasis >= 0.0 && in_config.m_dPreEmphasis <= 1.0))
        return "the pre-emphasis (m_dPreEmphasis) must be from 0 to 1";
    if (findTaper(in_config.m_strTaper) == nullptr)
        return "the taper (m_strTaper) must be \"hamming\", \"hann\" or \"none\"";
    if (!(in_config.m_dFloor >= std::numeric_limits<double>::min()) || !std::isfinite(in_config.m_dFloor))
        return "the floor (m_dFloor) must be positive";
    return nullptr;
}

} // namespace

bool MelSpectrum::prepare(const Config& in_config, std::size_t in_uiWindowSize)
{
    QC_TRACE("MelSpectrum::prepare");
    if (const char* fault = findFault(in_config, in_uiWindowSize))
    {
        QC_ERROR("Cannot compute a mel spectrum of " << in_uiWindowSize << " samples: " << fault);
        return false;
    }
    m_dPreEmphasis = in_config.m_dPreEmphasis;
    m_dFloor = in_config.m_dFloor;
    fillTaper(*findTaper(in_config.m_strTaper), in_uiWindowSize, m_vTaper);
    const std::size_t uiFftSize = fftSize(in_config, in_uiWindowSize);
    m_uiWindowSize = in_uiWindowSize;
    return m_fft.setSize(uiFftSize) && buildBands(in_config);
}

bool MelSpectrum::buildBands(const Config& in_config)
{
    m_vBands.clear();
    m_vWeights.clear();
    const std::size_t uiFftSize = m_fft.getSize();
    std::vector<long double> vMels(uiFftSize / 2 + 1);
    for (std::size_t k = 0; k < vMels.size(); ++k)
        vMels[k] = mel(static_cast<long double>(k) * in_config.m_dSamplingRate /
                       static_cast<long double>(uiFftSize));
    const long double dLow = mel(in_config.m_dLowFrequency);
    const long double dWidth = (mel(highFrequency(in_config)) - dLow) / (in_config.m_uiNbBands + 1.0L);
    std::vector<double> vWeights;
    for (unsigned int uiBand = 0; uiBand < in_config.m_uiNbBands; ++uiBand)
    {
        const long double dCentre = dLow + (uiBand + 1.0L) * dWidth;
        auto itBin = std::upper_bound(vMels.begin(), vMels.end(), dCentre - dWidth);
        const auto uiFirstBin = static_cast<std::size_t>(itBin - vMels.begin());
        vWeights.clear();
        for (; itBin != vMels.end() && *itBin < dCentre + dWidth; ++itBin)
            vWeights.push_back(static_cast<double>(1.0L - std::fabs(*itBin - dCentre) / dWidth));
        if (vWeights.empty())
        {
            QC_ERROR("Cannot compute a mel spectrum: band " << uiBand + 1 << " of " << in_config.m_uiNbBands
                                                            << " is too narrow for the " << vMels.size()
                                                            << " bins of the spectrum");
            return false;
        }
        addBand(uiFirstBin, vWeights);
    }
    return true;
}

void MelSpectrum::addBand(std::size_t in_uiFirstBin, const std::vector<double>& in_vWeights)
{
    const std::size_t uiPadded = (in_vWeights.size() + BAND_LANES - 1) / BAND_LANES * BAND_LANES;
    m_vBands.push_back({in_uiFirstBin, uiPadded, m_vWeights.size()});
    m_vWeights.insert(m_vWeights.end(), in_vWeights.begin(), in_vWeights.end());
    m_vWeights.resize(m_vBands.back().m_uiFirstWeight + uiPadded, 0.0);
}

std::size_t MelSpectrum::getWorkSize() const
{
    const std::size_t uiFftSize = m_fft.getSize();
    // Window with zeros after it; powers with zeros after them, which the padding of the last band reads;
    // transform.
    return uiFftSize + (uiFftSize / 2 + 1 + BAND_LANES) + 2 * uiFftSize;
}

void MelSpectrum::compute(const double* in_pWindow, double* out_pLogarithms, double* io_pWork) const
{
    const std::size_t uiFftSize = m_fft.getSize();
    double* pPower = io_pWork + uiFftSize;
    SignalKernels::emphasiseAndTaper(in_pWindow, m_vTaper.data(), m_uiWindowSize, m_dPreEmphasis, io_pWork);
    m_fft.powerSpectrum(io_pWork, pPower, pPower + uiFftSize / 2 + 1 + BAND_LANES);
    double* pEnergy = out_pLogarithms;
    for (const Band& band : m_vBands)
    {
        const double dEnergy = SignalKernels::weightedSum(
            pPower + band.m_uiFirstBin, m_vWeights.data() + band.m_uiFirstWeight, band.m_uiNbBins);
        // This way round nan stays nan.
        *pEnergy++ = dEnergy < m_dFloor ? m_dFloor : dEnergy;
    }
    SignalKernels::naturalLogarithms(out_pLogarithms, m_vBands.size());
}

template <class Archive>
void MelSpectrum::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_dSamplingRate, "Hz", "rate of the recordings for which frequencies are counted");
    QC_FIELD(m_uiNbBands, "", "number of bands");
    QC_FIELD(m_dLowFrequency, "Hz", "lower edge of the first band");
    QC_FIELD(m_dHighFrequency, "Hz", "upper edge of the last band; 0: half the rate");
    QC_FIELD(m_dPreEmphasis, "", "share of the sample before that is taken off each sample, 0 to 1; 0: none");
    QC_FIELD(m_strTaper, "", "weighting of the samples of a window: hamming, hann or none");
    QC_FIELD(m_uiFftSize, "samples",
             "size of the transform, a power of two; 0: the least that holds a window");
    QC_FIELD(m_dFloor, "", "least energy of a band, so that silence has a logarithm");
}

QC_ARCHIVES(MelSpectrum::Config);

} // namespace Vexalor
