#pragma once

#include "common/Network.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/FeatureComputer.h"

namespace Vexalor::MachineLearning
{

/// A detector on one stream: from a window of audio to the outputs of the network. A clone shares the weights
/// and takes over the states; on a thread of its own it gives what the original would give.
class DetectorComputer final : public virtual FeatureComputerWithInputs
{
public:
    /// Takes ownership of both.
    DetectorComputer(FeatureComputerWithInputs* in_pFeatures, Network* in_pNetwork)
        : m_pFeatures(in_pFeatures)
        , m_pNetwork(in_pNetwork)
    {
    }

    DetectorComputer* clone() const override { return new DetectorComputer(*this); }

    /// Bytes of a clone beside those of its features.
    std::size_t getCloneSize() const
    {
        return sizeof(*this) + m_pNetwork->getInputSize() * sizeof(double) + m_pNetwork->getCloneSize();
    }

    bool reset() override { return m_pFeatures->reset() && m_pNetwork->reset(); }
    bool setInput(const char* in_name, const DoubleVector& in_vInput) override
    {
        return m_pFeatures->setInput(in_name, in_vInput);
    }
    /// The outputs, in the order of the detector's classes. False, logged at error level, when the features
    /// cannot be computed or are not what the network takes.
    bool computeFeatures(DoubleVector& out_vFeatures) override
    {
        return m_pFeatures->computeFeatures(m_vFeatures) &&
               m_pNetwork->compute(m_vFeatures.begin(), m_vFeatures.end(), out_vFeatures);
    }

private:
    DetectorComputer(const DetectorComputer&) = default;

    CloneableObjPtr<FeatureComputerWithInputs> m_pFeatures;
    CloneableObjPtr<Network> m_pNetwork;
    DoubleVector m_vFeatures;
};

} // namespace Vexalor::MachineLearning
