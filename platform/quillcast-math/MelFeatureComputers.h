#pragma once

#include "quillcast-math/AudioFeatureComputers.h"
#include "quillcast-math/MelSpectrum.h"
#include "quillcast-math/SharedTables.h"

namespace Vexalor
{

/// Log-mel filter bank: the logarithms of the band energies of MelSpectrum, m_uiNbBands features. The tables
/// are built for the size of a window when it first comes, and shared with clones.
class LogMelFeatureComputer final : public AudioFeatureComputer
{
public:
    using Config = MelSpectrum::Config;

    LogMelFeatureComputer() = default;
    explicit LogMelFeatureComputer(const Config& in_config);
    LogMelFeatureComputer* clone() const override { return new LogMelFeatureComputer(*this); }
    const Config& getConfig() const { return m_config; }

private:
    bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    Config m_config;
    SharedTables<MelSpectrum> m_tables;
    std::vector<double> m_vWork;
};

/// Mel-frequency cepstral coefficients: the first m_uiNbCepstra values of the orthonormal cosine transform
/// (DCT-II) of the logarithms l_b of the B bands of MelSpectrum,
///     c_k = s_k * sum over b of l_b cos(pi k (b + 1/2) / B), s_0 = sqrt(1 / B), else s_k = sqrt(2 / B)
/// (S. B. Davis, P. Mermelstein, "Comparison of parametric representations for monosyllabic word recognition
/// in continuously spoken sentences", IEEE Trans. ASSP 28, 1980). c_0 is included; coefficients are not
/// liftered.
class MfccFeatureComputer final : public AudioFeatureComputer
{
public:
    class Config
    {
    public:
        Config() { m_mel.m_uiNbBands = 23; }

        MelSpectrum::Config m_mel;       ///< 23 bands, else as there
        unsigned int m_uiNbCepstra = 13; ///< 1 to the number of bands

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Most values of the transform's table, bands times coefficients.
    static constexpr std::size_t MAX_TABLE = std::size_t(1) << 23;

    MfccFeatureComputer() = default;
    explicit MfccFeatureComputer(const Config& in_config);
    MfccFeatureComputer* clone() const override { return new MfccFeatureComputer(*this); }
    const Config& getConfig() const { return m_config; }

private:
    struct Tables
    {
        bool build(const Config& in_config, std::size_t in_uiWindowSize);
        void buildTransform(std::size_t in_uiNbBands, std::size_t in_uiNbCepstra);

        MelSpectrum m_spectrum;
        std::vector<double> m_vTransform; ///< a row a band
    };

    bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) override;
    bool prepare(std::size_t in_uiWindowSize);

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    Config m_config;
    SharedTables<Tables> m_tables;
    std::vector<double> m_vWork;
    std::vector<double> m_vLogarithms;
    std::vector<double> m_vCepstra;
};

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::LogMelFeatureComputer, "LogMelFeatureComputer")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MfccFeatureComputer, "MfccFeatureComputer")
