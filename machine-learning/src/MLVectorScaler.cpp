#include "MLVectorScaler.h"

#include "quillcast-core/Logger.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <ostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.VectorScaler");

/// Multiplies, then adds, with a rounding after each, on every machine.
void scale(double* __restrict io_pValues, const double* __restrict in_pSlopes,
           const double* __restrict in_pIntercepts, std::size_t in_uiCount)
{
    for (std::size_t i = 0; i < in_uiCount; ++i)
        io_pValues[i] = in_pSlopes[i] * io_pValues[i] + in_pIntercepts[i];
}

} // namespace

std::ostream& VectorScaler::Config::write(std::ostream& out_stream) const
{
    // No separator between the vectors: text kept.
    return out_stream << "VectorScaler config: " << '\n'
                      << "m_vInputSlope = " << m_vInputSlope << "m_vInputYIntercept = " << m_vInputYIntercept
                      << "m_vTargetSlope = " << m_vTargetSlope
                      << "m_vTargetYIntercept = " << m_vTargetYIntercept;
}

bool operator==(const VectorScaler::Config& in_left, const VectorScaler::Config& in_right)
{
    return in_left.m_vInputSlope == in_right.m_vInputSlope &&
           in_left.m_vInputYIntercept == in_right.m_vInputYIntercept &&
           in_left.m_vTargetSlope == in_right.m_vTargetSlope &&
           in_left.m_vTargetYIntercept == in_right.m_vTargetYIntercept;
}

template <class Archive>
void VectorScaler::Config::serialize(Archive& io_archive, const unsigned int)
{
    QC_FIELD(m_vInputSlope, "", "slope of each input component");
    QC_FIELD(m_vInputYIntercept, "", "intercept of each input component");
    QC_FIELD(m_vTargetSlope, "", "slope of each target component");
    QC_FIELD(m_vTargetYIntercept, "", "intercept of each target component");
}

QC_ARCHIVES(VectorScaler::Config);

VectorScaler::VectorScaler()
{
    QC_TRACE("VectorScaler ctor");
}

VectorScaler::VectorScaler(const VectorScaler& in_other)
    : Object(in_other)
    , m_config(in_other.m_config)
    , m_bWarned(in_other.m_bWarned)
{
    QC_TRACE("VectorScaler cctor");
}

bool VectorScaler::configure(const Config& in_config)
{
    QC_TRACE("VectorScaler::configure");
    m_config = in_config;
    m_bWarned = false;
    QC_DEBUG("VectorScaler config: " << m_config);
    return true;
}

bool VectorScaler::scaleInput(DoubleVector& io_vInput)
{
    QC_TRACE("VectorScaler::scaleInput");
    const std::size_t uiParameters =
        std::min(m_config.m_vInputSlope.size(), m_config.m_vInputYIntercept.size());
    if (__builtin_expect(io_vInput.size() != uiParameters, 0))
        warnOfSize("inputs", io_vInput.size(), uiParameters);
    scale(io_vInput.begin(), m_config.m_vInputSlope.begin(), m_config.m_vInputYIntercept.begin(),
          std::min(io_vInput.size(), uiParameters));
    return true;
}

bool VectorScaler::scaleTarget(DoubleVector& io_vTarget)
{
    QC_TRACE("VectorScaler::scaleTarget");
    const std::size_t uiParameters =
        std::min(m_config.m_vTargetSlope.size(), m_config.m_vTargetYIntercept.size());
    if (__builtin_expect(io_vTarget.size() != uiParameters, 0))
        warnOfSize("targets", io_vTarget.size(), uiParameters);
    scale(io_vTarget.begin(), m_config.m_vTargetSlope.begin(), m_config.m_vTargetYIntercept.begin(),
          std::min(io_vTarget.size(), uiParameters));
    return true;
}

void VectorScaler::warnOfSize(const char* in_what, std::size_t in_uiValues, std::size_t in_uiParameters)
{
    if (m_bWarned || in_uiParameters == 0)
        return;
    m_bWarned = true;
    QC_WARN("A pattern has " << in_uiValues << ' ' << in_what << ", its scaling is for " << in_uiParameters
                             << ": only the first " << std::min(in_uiValues, in_uiParameters)
                             << " are scaled");
}

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VectorScaler::Config)
