#pragma once

#include "quillcast-core/Serialization.h"
#include "quillcast-math/RealFft.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Vexalor
{

/// Logarithms of a window's energies in bands that are equally wide on the mel scale: the front end of the
/// log-mel and cepstral features. Call order: (prepare compute*)*. Once prepared, several may compute at
/// once, each with its own working memory.
///
/// A window x of L samples is pre-emphasised, y[n] = x[n] - c x[n-1] with x[-1] = x[0], multiplied by a
/// taper, extended by zeros to N values and transformed. Band b of B has the triangular weight max(0, 1 -
/// |mel(f) - m_b| / d) at the frequency f of a bin, where mel(f) = 1127 ln(1 + f / 700) (D. O'Shaughnessy,
/// "Speech Communication: Human and Machine", Addison-Wesley 1987), m_b = mel(low) + (b + 1) d and d =
/// (mel(high) - mel(low)) / (B + 1). Its value is the natural logarithm of the weighted sum of the squared
/// magnitudes, which is not scaled, or of the floor if that is more.
class MelSpectrum
{
public:
    /// Longest window, in samples.
    static constexpr std::size_t MAX_WINDOW = RealFft::MAX_SIZE;

    class Config
    {
    public:
        double m_dSamplingRate = 8000.0;    ///< Hz; must agree with the recordings
        unsigned int m_uiNbBands = 24;      ///< 1 to the number of bins
        double m_dLowFrequency = 20.0;      ///< lower edge of the first band, Hz
        double m_dHighFrequency = 0.0;      ///< upper edge of the last band, Hz; 0 is half the sampling rate
        double m_dPreEmphasis = 0.97;       ///< c in [0, 1]; 0 is none
        std::string m_strTaper = "hamming"; ///< "hamming", "hann" or "none"
        unsigned int m_uiFftSize = 0;       ///< N, a power of two not below L; 0 is the smallest one
        double m_dFloor = 1e-10;            ///< least band energy, positive; samples are in [-1, 1)

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Builds the tables for windows of that many samples. False, with the reason
    /// logged at error level, when the settings make no sense for it; a band that no bin falls into is such a
    /// case.
    bool prepare(const Config& in_config, std::size_t in_uiWindowSize);

    /// Values of working memory for compute; they are zeros before it is first used.
    std::size_t getWorkSize() const;
    std::size_t getTableSize() const { return m_vTaper.size() + m_vWeights.size() + 4 * m_fft.getSize(); }
    /// The logarithms of all bands; in_pWindow has the prepared size.
    void compute(const double* in_pWindow, double* out_pLogarithms, double* io_pWork) const;

private:
    /// The part of the spectrum that a band covers; the number of bins is padded to a multiple of 4.
    struct Band
    {
        std::size_t m_uiFirstBin;
        std::size_t m_uiNbBins;
        std::size_t m_uiFirstWeight;
    };

    bool buildBands(const Config& in_config);
    void addBand(std::size_t in_uiFirstBin, const std::vector<double>& in_vWeights);

    std::size_t m_uiWindowSize = 0;
    double m_dPreEmphasis = 0.0;
    double m_dFloor = 0.0;
    RealFft m_fft;
    std::vector<double> m_vTaper;
    std::vector<double> m_vWeights;
    std::vector<Band> m_vBands;
};

} // namespace Vexalor
