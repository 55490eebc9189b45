#include "Kernel.h"

#include "quillcast-math/MelSpectrum.h"
#include "quillcast-math/ToneEnergies.h"

namespace Vexalor::Math::Xpr
{

namespace
{

template <class Tables>
class KernelOf final : public Kernel
{
public:
    std::size_t getScratchSize() const override { return m_tables.getWorkSize(); }
    std::size_t getTableSize() const override { return m_tables.getTableSize(); }
    void compute(const double* in_pWindow, double* out_pResult, double* io_pScratch) const override
    {
        m_tables.compute(in_pWindow, out_pResult, io_pScratch);
    }

    Tables m_tables;
};

std::unique_ptr<const Kernel> makeToneEnergy(std::size_t in_uiWindow,
                                             const std::vector<double>& in_vFrequencies, double in_dRate,
                                             std::string& out_strReason)
{
    out_strReason = in_vFrequencies.empty() ? "there are no frequencies"
                                            : "frequencies must be above 0 and below half the rate";
    if (ToneEnergies::findFault(in_dRate, in_vFrequencies.data(), in_vFrequencies.size(), in_uiWindow) !=
        nullptr)
        return nullptr;
    auto pKernel = std::make_unique<KernelOf<ToneEnergies>>();
    pKernel->m_tables.prepare(in_dRate, in_vFrequencies.data(), in_vFrequencies.size(), in_uiWindow);
    return pKernel;
}

} // namespace

std::unique_ptr<const Kernel> makeKernel(const Function& in_function, std::size_t in_uiWindow,
                                         const std::vector<const std::vector<double>*>& in_vSettings,
                                         std::string& out_strReason)
{
    if (in_function.m_kind == Function::Kind::TONE_ENERGY)
        return makeToneEnergy(in_uiWindow, *in_vSettings[0], in_vSettings[1]->front(), out_strReason);
    out_strReason = "the settings do not fit a window of " + std::to_string(in_uiWindow) + " values";
    MelSpectrum::Config config;
    config.m_uiNbBands = static_cast<unsigned int>(in_vSettings[0]->front());
    config.m_dSamplingRate = in_vSettings[1]->front();
    if (in_vSettings.size() > 2)
        config.m_dLowFrequency = in_vSettings[2]->front();
    if (in_vSettings.size() > 3)
        config.m_dHighFrequency = in_vSettings[3]->front();
    auto pKernel = std::make_unique<KernelOf<MelSpectrum>>();
    if (!pKernel->m_tables.prepare(config, in_uiWindow))
        return nullptr;
    return pKernel;
}

} // namespace Vexalor::Math::Xpr
