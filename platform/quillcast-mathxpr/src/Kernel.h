#pragma once

#include "Language.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Vexalor::Math::Xpr
{

/// A function of a window with tables made for its length.
class Kernel
{
public:
    virtual ~Kernel() = default;

    /// Values of working memory that compute needs; zeros at first, and nobody else writes there.
    virtual std::size_t getScratchSize() const = 0;
    /// Values held in tables.
    virtual std::size_t getTableSize() const = 0;
    virtual void compute(const double* in_pWindow, double* out_pResult, double* io_pScratch) const = 0;
};

/// A kernel function for windows of that length; the settings have the lengths that it takes. Null, with the
/// reason, when they make no sense.
std::unique_ptr<const Kernel> makeKernel(const Function& in_function, std::size_t in_uiWindow,
                                         const std::vector<const std::vector<double>*>& in_vSettings,
                                         std::string& out_strReason);

} // namespace Vexalor::Math::Xpr
