#include "quillcast-mathxpr/Kernel.h"

#include "quillcast-math/MelSpectrum.h"
#include "quillcast-math/ToneEnergies.h"

#include <cmath>

namespace Vexalor::Math::Xpr
{

namespace
{

class ToneEnergyKernel final : public Kernel
{
public:
    std::size_t getSize() const override { return m_energies.getNbFrequencies(); }
    std::size_t getScratchSize() const override { return m_energies.getWorkSize(); }
    std::size_t getTableSize() const override { return m_energies.getTableSize(); }
    void compute(const double* in_pWindow, double* out_pResult, double* io_pScratch) const override
    {
        m_energies.compute(in_pWindow, out_pResult, io_pScratch);
    }

    ToneEnergies m_energies;
};

class LogMelKernel final : public Kernel
{
public:
    std::size_t getSize() const override { return m_uiNbBands; }
    std::size_t getScratchSize() const override { return m_spectrum.getWorkSize(); }
    std::size_t getTableSize() const override { return m_spectrum.getTableSize(); }
    void compute(const double* in_pWindow, double* out_pResult, double* io_pScratch) const override
    {
        m_spectrum.compute(in_pWindow, out_pResult, io_pScratch);
    }

    MelSpectrum m_spectrum;
    std::size_t m_uiNbBands = 0;
};

} // namespace

std::unique_ptr<const Kernel> makeToneEnergy(std::size_t in_uiWindow, const double* in_pFrequencies,
                                             std::size_t in_uiNbFrequencies, double in_dRate,
                                             std::string& out_strReason)
{
    out_strReason = in_uiNbFrequencies == 0 ? "there are no frequencies"
                                            : "frequencies must be above 0 and below half the rate";
    if (ToneEnergies::findFault(in_dRate, in_pFrequencies, in_uiNbFrequencies, in_uiWindow) != nullptr)
        return nullptr;
    auto pKernel = std::make_unique<ToneEnergyKernel>();
    pKernel->m_energies.prepare(in_dRate, in_pFrequencies, in_uiNbFrequencies, in_uiWindow);
    return pKernel;
}

std::unique_ptr<const Kernel> makeLogMel(std::size_t in_uiWindow, double in_dNbBands, double in_dRate,
                                         double in_dLow, double in_dHigh, std::string& out_strReason)
{
    out_strReason = "the settings do not fit a window of " + std::to_string(in_uiWindow) + " values";
    MelSpectrum::Config config;
    config.m_dSamplingRate = in_dRate;
    config.m_dLowFrequency = in_dLow;
    config.m_dHighFrequency = in_dHigh;
    // More bands than bins make no sense; the limit only keeps the number whole.
    if (!(in_dNbBands >= 1.0 && in_dNbBands <= static_cast<double>(MelSpectrum::MAX_WINDOW)) ||
        std::floor(in_dNbBands) != in_dNbBands)
        return nullptr;
    config.m_uiNbBands = static_cast<unsigned int>(in_dNbBands);
    auto pKernel = std::make_unique<LogMelKernel>();
    if (!pKernel->m_spectrum.prepare(config, in_uiWindow))
        return nullptr;
    pKernel->m_uiNbBands = config.m_uiNbBands;
    return pKernel;
}

} // namespace Vexalor::Math::Xpr
