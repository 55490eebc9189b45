#pragma once

#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-core/StringVector.h"

namespace Vexalor
{

class DoubleVector;

/// One named property of a window of a signal. Without memory: each compute stands for itself.
class SignalFeature : public virtual Object
{
public:
    /// The name in the pool.
    virtual const char* getName() const = 0;

    /// Replaces out_vFeature by the value or values for the samples of in_vWindow. False, with the reason
    /// logged and out_vFeature unspecified, for an empty window. The two may not be the same vector.
    virtual bool compute(const DoubleVector& in_vWindow, DoubleVector& out_vFeature) = 0;
};

/// Sum of the squared samples, one value; the order of summation is that of SignalKernels::sumOfSquares.
class SumSquaredAmplitudeFeature final : public SignalFeature
{
public:
    static constexpr const char* NAME = "SUMSQUAREDAMPLITUDE";

    const char* getName() const override { return NAME; }
    bool compute(const DoubleVector& in_vWindow, DoubleVector& out_vFeature) override;
};

/// The signal features by name.
class SignalFeaturePool
{
public:
    /// All names, sorted.
    static StringVector getNames();
    /// A new feature; null, logged at error level, for a name that is not in the pool. Case matters.
    static CountedObjPtr<SignalFeature> create(const std::string& in_strName);
};

} // namespace Vexalor
