#pragma once

#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/FeatureComputer.h"

#include <vector>

namespace Vexalor
{

/// Several feature computers side by side: their features one after the other, in the order of addition.
/// Inputs are handed on to each of them that takes inputs; a name that one of those does not know is refused.
class FeatureComputerSequence final : public virtual FeatureComputerWithInputs
{
public:
    FeatureComputerSequence() = default;
    FeatureComputerSequence(const FeatureComputerSequence& in_other);
    FeatureComputerSequence& operator=(const FeatureComputerSequence&) = delete;
    FeatureComputerSequence* clone() const override { return new FeatureComputerSequence(*this); }

    /// Takes ownership. Null is refused: reported, false.
    bool add(FeatureComputer* in_pComputer);

    /// Resets all, also after one has failed.
    bool reset() override;
    bool setInput(const char* in_name, const DoubleVector& in_vInput) override;
    /// False when there is no computer in the sequence.
    bool computeFeatures(DoubleVector& out_vFeatures) override;

private:
    bool isComplete() const;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    std::vector<CloneableObjPtr<FeatureComputer>> m_vComputers;
    /// Those of m_vComputers that take inputs; found once, by setInput.
    std::vector<FeatureComputerWithInputs*> m_vWithInputs;
    DoubleVector m_vPart;
};

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::FeatureComputerSequence, "FeatureComputerSequence")
