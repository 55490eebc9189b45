#pragma once

#include <cstddef>
#include <vector>

namespace Vexalor
{

/// Discrete Fourier transform of real values: X[k] = sum over n of x[n] exp(-2 pi i k n / N), for k in [0,
/// N/2], not scaled. N is a power of two, 2 to MAX_SIZE. Call order: setSize (transform | powerSpectrum)*.
///
/// The N values are taken as N/2 complex ones, transformed by a self-sorting algorithm of radix 4 (Stockham;
/// see C. Van Loan, "Computational Frameworks for the Fast Fourier Transform", SIAM 1992, section 1.7) on
/// separate arrays of real and imaginary parts, and split into the spectrum of the real sequence. Operations
/// and their order are fixed: results are the same bits on every machine. The error is about 1e-15 of the
/// largest value.
class RealFft
{
public:
    static constexpr std::size_t MAX_SIZE = std::size_t(1) << 20;

    /// Builds the tables; keeps them when the size is the present one. False, reported, for a size that is no
    /// power of two in the range above.
    bool setSize(std::size_t in_uiSize);
    /// N; 0 before setSize.
    std::size_t getSize() const { return m_uiSize; }

    /// N values in, N/2 + 1 real and as many imaginary parts out.
    void transform(const double* in_pValues, double* out_pReal, double* out_pImaginary);
    /// N values in, N/2 + 1 squared magnitudes out.
    void powerSpectrum(const double* in_pValues, double* out_pPower);
    /// The same with working memory of the caller's, 2 N values, so that several may transform at once.
    void powerSpectrum(const double* in_pValues, double* out_pPower, double* out_pWork) const;

private:
    std::size_t m_uiSize = 0;
    std::vector<double> m_vTwiddles; ///< stage after stage: cos and sin of one, two and three times the angle
    std::vector<double> m_vSplit;    ///< cos, then sin, of 2 pi k / N
    std::vector<double> m_vWork;     ///< two complex vectors of N/2
};

} // namespace Vexalor
