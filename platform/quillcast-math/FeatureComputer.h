#pragma once

#include "quillcast-core/Object.h"

namespace Vexalor
{

class DoubleVector;

/// Computes a vector of features. One instance serves one stream: reset (setInput computeFeatures)*.
class FeatureComputer
    : public virtual Cloneable
    , public virtual Resettable
{
public:
    /// A new computer with the same settings and the same state; owned by the caller.
    FeatureComputer* clone() const override = 0;

    /// Replaces out_vFeatures by the features of the inputs given last. False, with the reason logged, when
    /// an input is missing or of a size that cannot be used. Reuses the capacity of out_vFeatures; allocates
    /// nothing once warm.
    virtual bool computeFeatures(DoubleVector& out_vFeatures) = 0;
};

/// A feature computer that takes named inputs; the window of a recording is the input "audio".
class FeatureComputerWithInputs : public virtual FeatureComputer
{
public:
    /// Makes in_vInput the input of that name for the coming computeFeatures. The vector must live,
    /// unchanged, until then; it is not copied. False for a name that the computer does not know.
    virtual bool setInput(const char* in_name, const DoubleVector& in_vInput) = 0;
};

} // namespace Vexalor
