#include "quillcast-math/SignalFeature.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/SignalKernels.h"

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.SignalFeature");

struct PoolEntry
{
    const char* m_name;
    SignalFeature* (*m_create)();
};

/// Sorted by name.
constexpr PoolEntry POOL[] = {
    {SumSquaredAmplitudeFeature::NAME,
     []() -> SignalFeature*
     {
         return new SumSquaredAmplitudeFeature;
     }},
};

} // namespace

bool SumSquaredAmplitudeFeature::compute(const DoubleVector& in_vWindow, DoubleVector& out_vFeature)
{
    QC_TRACE("SumSquaredAmplitudeFeature::compute");
    if (!QC_CHECK(!in_vWindow.empty() && &in_vWindow != &out_vFeature))
        return false;
    out_vFeature.resize(1);
    out_vFeature[0] = SignalKernels::sumOfSquares(in_vWindow.begin(), in_vWindow.size());
    return true;
}

StringVector SignalFeaturePool::getNames()
{
    StringVector vNames;
    for (const PoolEntry& entry : POOL)
        vNames.emplace_back(entry.m_name);
    return vNames;
}

CountedObjPtr<SignalFeature> SignalFeaturePool::create(const std::string& in_strName)
{
    QC_TRACE("SignalFeaturePool::create");
    for (const PoolEntry& entry : POOL)
        if (in_strName == entry.m_name)
            return CountedObjPtr<SignalFeature>(entry.m_create());
    QC_ERROR("Unknown signal feature: \"" << in_strName << "\"");
    return CountedObjPtr<SignalFeature>();
}

} // namespace Vexalor
