#pragma once

#include "quillcast-math/AudioFeatureComputers.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/SharedTables.h"
#include "quillcast-math/ToneEnergies.h"

#include <vector>

namespace Vexalor
{

/// Energies of tones at given frequencies, one feature each:
///     2 / N |sum over n of x[n] exp(-2 pi i f n / rate)|^2
/// for a window of N samples. That is the part of the window's energy, the sum of its squared samples, which
/// a tone of that frequency makes up: a tone of amplitude A gives A^2 N / 2 at its own frequency. (A bin of
/// the discrete Fourier transform, at any frequency; see A. V. Oppenheim, R. W. Schafer, "Discrete-Time
/// Signal Processing".) Frequencies closer than about rate / N influence each other; no taper is applied.
/// Clones share the table.
class ToneEnergyFeatureComputer final : public AudioFeatureComputer
{
public:
    class Config
    {
    public:
        double m_dSamplingRate = 8000.0; ///< Hz; must agree with the recordings
        DoubleVector m_vFrequencies;     ///< Hz, each above 0 and below half the sampling rate; at least one

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    ToneEnergyFeatureComputer() = default;
    explicit ToneEnergyFeatureComputer(const Config& in_config);
    ToneEnergyFeatureComputer* clone() const override { return new ToneEnergyFeatureComputer(*this); }
    const Config& getConfig() const { return m_config; }

private:
    bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) override;
    bool prepare(std::size_t in_uiWindowSize);

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    Config m_config;
    SharedTables<ToneEnergies> m_tables;
    std::vector<double> m_vWork;
};

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::ToneEnergyFeatureComputer, "ToneEnergyFeatureComputer")
