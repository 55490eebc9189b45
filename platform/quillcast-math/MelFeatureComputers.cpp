#include "quillcast-math/MelFeatureComputers.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/SignalKernels.h"

#include <cmath>
#include <cstdint>
#include <numbers>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.MelFeatureComputer");

} // namespace

LogMelFeatureComputer::LogMelFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

bool LogMelFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    if (!m_spectrum.prepare(m_config, in_vWindow.size()))
        return false;
    out_vFeatures.resize(m_config.m_uiNbBands);
    m_spectrum.compute(in_vWindow.begin(), out_vFeatures.begin());
    return true;
}

MfccFeatureComputer::MfccFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

bool MfccFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    if (!m_spectrum.prepare(m_config.m_mel, in_vWindow.size()))
        return false;
    if (m_config.m_uiNbCepstra == 0 || m_config.m_uiNbCepstra > m_config.m_mel.m_uiNbBands)
    {
        QC_ERROR("Cannot compute " << m_config.m_uiNbCepstra << " cepstral coefficients of "
                                   << m_config.m_mel.m_uiNbBands << " bands");
        return false;
    }
    if (std::uint64_t(m_config.m_mel.m_uiNbBands) * m_config.m_uiNbCepstra > MAX_TABLE)
    {
        QC_ERROR("Cannot compute " << m_config.m_uiNbCepstra << " cepstral coefficients of "
                                   << m_config.m_mel.m_uiNbBands << " bands: the table has at most "
                                   << MAX_TABLE << " values");
        return false;
    }
    if (m_vTransform.empty())
        buildTransform();
    m_spectrum.compute(in_vWindow.begin(), m_vLogarithms.data());
    SignalKernels::multiply(m_vLogarithms.data(), m_vTransform.data(), m_vLogarithms.size(),
                            m_config.m_uiNbCepstra, m_vCepstra.data());
    out_vFeatures.assign(m_vCepstra.data(), m_vCepstra.data() + m_config.m_uiNbCepstra);
    return true;
}

void MfccFeatureComputer::buildTransform()
{
    const std::size_t uiNbBands = m_config.m_mel.m_uiNbBands;
    const std::size_t uiPitch = SignalKernels::paddedColumns(m_config.m_uiNbCepstra);
    m_vLogarithms.assign(uiNbBands, 0.0);
    m_vCepstra.assign(uiPitch, 0.0);
    m_vTransform.assign(uiNbBands * uiPitch, 0.0);
    for (std::size_t b = 0; b < uiNbBands; ++b)
        for (std::size_t k = 0; k < m_config.m_uiNbCepstra; ++k)
        {
            // In extended precision, as all tables that must be the same on every processor.
            const long double dScale =
                std::sqrt((k == 0 ? 1.0L : 2.0L) / static_cast<long double>(uiNbBands));
            const long double dAngle = std::numbers::pi_v<long double> * static_cast<long double>(k) *
                                       (static_cast<long double>(b) + 0.5L) /
                                       static_cast<long double>(uiNbBands);
            m_vTransform[b * uiPitch + k] = static_cast<double>(dScale * std::cos(dAngle));
        }
}

template <class Archive>
void LogMelFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_config);
    m_spectrum.invalidate();
}

template <class Archive>
void MfccFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_mel);
    QC_FIELD(m_uiNbCepstra);
}

template <class Archive>
void MfccFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_config);
    m_spectrum.invalidate();
    m_vTransform.clear();
}

QC_ARCHIVES(LogMelFeatureComputer);
QC_ARCHIVES(MfccFeatureComputer::Config);
QC_ARCHIVES(MfccFeatureComputer);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::LogMelFeatureComputer)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MfccFeatureComputer)
