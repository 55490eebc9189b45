#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace Vexalor::Math::Xpr
{

/// A function of a window with tables made for its length.
class Kernel
{
public:
    virtual ~Kernel() = default;

    /// Values that come out.
    virtual std::size_t getSize() const = 0;
    /// Values of working memory that compute needs; zeros at first, and nobody else writes there.
    virtual std::size_t getScratchSize() const = 0;
    /// Values held in tables.
    virtual std::size_t getTableSize() const = 0;
    virtual void compute(const double* in_pWindow, double* out_pResult, double* io_pScratch) const = 0;
};

/// Null, with the reason, when the settings make no sense for windows of that length.
std::unique_ptr<const Kernel> makeToneEnergy(std::size_t in_uiWindow, const double* in_pFrequencies,
                                             std::size_t in_uiNbFrequencies, double in_dRate,
                                             std::string& out_strReason);
std::unique_ptr<const Kernel> makeLogMel(std::size_t in_uiWindow, double in_dNbBands, double in_dRate,
                                         double in_dLow, double in_dHigh, std::string& out_strReason);

} // namespace Vexalor::Math::Xpr
