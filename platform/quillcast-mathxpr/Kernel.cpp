#include "quillcast-mathxpr/Kernel.h"

namespace Vexalor::Math::Xpr
{

std::unique_ptr<const Kernel> makeToneEnergy(std::size_t, const double*, std::size_t, double,
                                             std::string& out_strReason)
{
    out_strReason = "is not available";
    return nullptr;
}

std::unique_ptr<const Kernel> makeLogMel(std::size_t, double, double, double, double,
                                         std::string& out_strReason)
{
    out_strReason = "is not available";
    return nullptr;
}

} // namespace Vexalor::Math::Xpr
