#include "quillcast-math/ToneEnergyFeatureComputer.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.ToneEnergyFeatureComputer");

} // namespace

ToneEnergyFeatureComputer::ToneEnergyFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

bool ToneEnergyFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    if (!m_tables.isPreparedFor(in_vWindow.size()) && !prepare(in_vWindow.size()))
        return false;
    out_vFeatures.resize(m_tables.get().getNbFrequencies());
    m_tables.get().compute(in_vWindow.begin(), out_vFeatures.begin(), m_vWork.data());
    return true;
}

bool ToneEnergyFeatureComputer::prepare(std::size_t in_uiWindowSize)
{
    QC_TRACE("ToneEnergyFeatureComputer::prepare");
    const DoubleVector& vFrequencies = m_config.m_vFrequencies;
    if (const char* fault = ToneEnergies::findFault(m_config.m_dSamplingRate, vFrequencies.begin(),
                                                    vFrequencies.size(), in_uiWindowSize))
    {
        QC_ERROR("Cannot compute tone energies of " << in_uiWindowSize << " samples: " << fault);
        return false;
    }
    const auto build = [&](ToneEnergies& out_energies)
    {
        out_energies.prepare(m_config.m_dSamplingRate, vFrequencies.begin(), vFrequencies.size(),
                             in_uiWindowSize);
        return true;
    };
    m_tables.prepare(in_uiWindowSize, build);
    m_vWork.assign(m_tables.get().getWorkSize(), 0.0);
    return true;
}

template <class Archive>
void ToneEnergyFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_dSamplingRate, "Hz", "rate of the recordings for which frequencies are counted");
    QC_FIELD(m_vFrequencies, "Hz", "frequencies of the tones");
}

template <class Archive>
void ToneEnergyFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "energies of tones, one feature a frequency");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_config, "", "its parameters");
    m_tables.invalidate();
}

QC_ARCHIVES(ToneEnergyFeatureComputer::Config);
QC_ARCHIVES(ToneEnergyFeatureComputer);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::ToneEnergyFeatureComputer)
