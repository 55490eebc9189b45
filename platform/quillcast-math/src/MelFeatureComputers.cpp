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
    if (!m_tables.isPreparedFor(in_vWindow.size()))
    {
        const auto build = [&](MelSpectrum& out_spectrum)
        {
            return out_spectrum.prepare(m_config, in_vWindow.size());
        };
        if (!m_tables.prepare(in_vWindow.size(), build))
            return false;
        m_vWork.assign(m_tables.get().getWorkSize(), 0.0);
    }
    out_vFeatures.resize(m_config.m_uiNbBands);
    m_tables.get().compute(in_vWindow.begin(), out_vFeatures.begin(), m_vWork.data());
    return true;
}

MfccFeatureComputer::MfccFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

bool MfccFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    if (!m_tables.isPreparedFor(in_vWindow.size()) && !prepare(in_vWindow.size()))
        return false;
    const Tables& tables = m_tables.get();
    tables.m_spectrum.compute(in_vWindow.begin(), m_vLogarithms.data(), m_vWork.data());
    SignalKernels::multiply(m_vLogarithms.data(), tables.m_vTransform.data(), m_vLogarithms.size(),
                            m_config.m_uiNbCepstra, m_vCepstra.data());
    out_vFeatures.assign(m_vCepstra.data(), m_vCepstra.data() + m_config.m_uiNbCepstra);
    return true;
}

bool MfccFeatureComputer::prepare(std::size_t in_uiWindowSize)
{
    const auto build = [&](Tables& out_tables)
    {
        return out_tables.build(m_config, in_uiWindowSize);
    };
    if (!m_tables.prepare(in_uiWindowSize, build))
        return false;
    m_vWork.assign(m_tables.get().m_spectrum.getWorkSize(), 0.0);
    m_vLogarithms.assign(m_config.m_mel.m_uiNbBands, 0.0);
    m_vCepstra.assign(SignalKernels::paddedColumns(m_config.m_uiNbCepstra), 0.0);
    return true;
}

bool MfccFeatureComputer::Tables::build(const Config& in_config, std::size_t in_uiWindowSize)
{
    const unsigned int uiNbBands = in_config.m_mel.m_uiNbBands;
    const unsigned int uiNbCepstra = in_config.m_uiNbCepstra;
    if (!m_spectrum.prepare(in_config.m_mel, in_uiWindowSize))
        return false;
    if (uiNbCepstra == 0 || uiNbCepstra > uiNbBands)
    {
        QC_ERROR("Cannot compute " << uiNbCepstra << " cepstral coefficients of " << uiNbBands << " bands");
        return false;
    }
    if (std::uint64_t(uiNbBands) * uiNbCepstra > MAX_TABLE)
    {
        QC_ERROR("Cannot compute " << uiNbCepstra << " cepstral coefficients of " << uiNbBands
                                   << " bands: the table has at most " << MAX_TABLE << " values");
        return false;
    }
    buildTransform(uiNbBands, uiNbCepstra);
    return true;
}

void MfccFeatureComputer::Tables::buildTransform(std::size_t in_uiNbBands, std::size_t in_uiNbCepstra)
{
    const std::size_t uiPitch = SignalKernels::paddedColumns(in_uiNbCepstra);
    m_vTransform.assign(in_uiNbBands * uiPitch, 0.0);
    for (std::size_t b = 0; b < in_uiNbBands; ++b)
        for (std::size_t k = 0; k < in_uiNbCepstra; ++k)
        {
            // In extended precision, as all tables that must be the same on every processor.
            const long double dScale =
                std::sqrt((k == 0 ? 1.0L : 2.0L) / static_cast<long double>(in_uiNbBands));
            const long double dAngle = std::numbers::pi_v<long double> * static_cast<long double>(k) *
                                       (static_cast<long double>(b) + 0.5L) /
                                       static_cast<long double>(in_uiNbBands);
            m_vTransform[b * uiPitch + k] = static_cast<double>(dScale * std::cos(dAngle));
        }
}

template <class Archive>
void LogMelFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "logarithms of the energies in bands of equal width on the mel scale");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_config, "", "its parameters");
    m_tables.invalidate();
}

template <class Archive>
void MfccFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_mel, "", "the bands");
    QC_FIELD(m_uiNbCepstra, "", "number of coefficients, the one of order 0 included");
}

template <class Archive>
void MfccFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "mel-frequency cepstral coefficients: cosine transform of such logarithms");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_config, "", "its parameters");
    m_tables.invalidate();
}

QC_ARCHIVES(LogMelFeatureComputer);
QC_ARCHIVES(MfccFeatureComputer::Config);
QC_ARCHIVES(MfccFeatureComputer);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::LogMelFeatureComputer)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MfccFeatureComputer)
