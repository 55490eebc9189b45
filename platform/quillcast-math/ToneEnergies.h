#pragma once

#include <cstddef>
#include <vector>

namespace Vexalor
{

/// Energies of tones in a window, at given frequencies:
///     2 / N |sum over n of x[n] exp(-2 pi i f n / rate)|^2
/// for N samples; ToneEnergyFeatureComputer says what they mean. Call order: (prepare compute*)*. Once
/// prepared, several may compute at once, each with its own working memory.
class ToneEnergies
{
public:
    /// Most values of the table of waves, 2 N for each frequency.
    static constexpr std::size_t MAX_TABLE = std::size_t(1) << 23;

    /// What is wrong with the settings; null if nothing is. Frequencies and rate in Hz.
    static const char* findFault(double in_dRate, const double* in_pFrequencies,
                                 std::size_t in_uiNbFrequencies, std::size_t in_uiWindowSize);

    /// Builds the table. The settings have no fault.
    void prepare(double in_dRate, const double* in_pFrequencies, std::size_t in_uiNbFrequencies,
                 std::size_t in_uiWindowSize);
    std::size_t getNbFrequencies() const { return m_uiNbFrequencies; }

    /// Values of working memory for compute.
    std::size_t getWorkSize() const;
    std::size_t getTableSize() const { return m_vWaves.size(); }
    void compute(const double* in_pWindow, double* out_pEnergies, double* out_pWork) const;

private:
    std::size_t m_uiWindowSize = 0;
    std::size_t m_uiNbFrequencies = 0;
    std::vector<double> m_vWaves; ///< a row a sample: the cosines of all frequencies, then the sines
};

} // namespace Vexalor
