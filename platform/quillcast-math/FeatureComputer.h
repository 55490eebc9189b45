#pragma once

#include "quillcast-core/Object.h"
#include "quillcast-core/Serialization.h"

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

    /// Replaces out_vFeatures by the features of the inputs given last. False, with the reason logged at
    /// error level, when an input is missing or of a size that cannot be used, or when the settings make no
    /// sense. Reuses the capacity of out_vFeatures; allocates nothing once warm.
    virtual bool computeFeatures(DoubleVector& out_vFeatures) = 0;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

/// A feature computer that takes named inputs; the window of a recording is the input "audio".
class FeatureComputerWithInputs : public virtual FeatureComputer
{
public:
    FeatureComputerWithInputs* clone() const override = 0;

    /// Makes in_vInput the input of that name for the next computeFeatures. The vector must live, unchanged,
    /// until then; it is not copied. False, logged at error level, for a name that the computer does not
    /// know.
    virtual bool setInput(const char* in_name, const DoubleVector& in_vInput) = 0;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::FeatureComputer, "FeatureComputer")
BOOST_CLASS_EXPORT_KEY2(Vexalor::FeatureComputerWithInputs, "FeatureComputerWithInputs")
