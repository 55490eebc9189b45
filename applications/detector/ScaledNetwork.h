#pragma once

#include "MLVectorScaler.h"
#include "common/Network.h"
#include "quillcast-core/CloneableObjPtr.h"

namespace Vexalor::MachineLearning
{

/// A network whose inputs are scaled first.
class ScaledNetwork final : public Network
{
public:
    /// Takes ownership of the network.
    ScaledNetwork(const VectorScaler::Config& in_scaling, Network* in_pNetwork)
        : m_pNetwork(in_pNetwork)
    {
        m_scaler.configure(in_scaling);
    }

    ScaledNetwork* clone() const override { return new ScaledNetwork(*this); }
    std::size_t getInputSize() const override { return m_pNetwork->getInputSize(); }
    std::size_t getOutputSize() const override { return m_pNetwork->getOutputSize(); }
    bool hasState() const override { return m_pNetwork->hasState(); }
    std::size_t getCloneSize() const override
    {
        return sizeof(*this) + 3 * getInputSize() * sizeof(double) + m_pNetwork->getCloneSize();
    }
    bool reset() override { return m_pNetwork->reset(); }

    bool compute(const double* in_begin, const double* in_end, DoubleVector& out_vOutput) const override
    {
        m_vScaled.assign(in_begin, in_end);
        m_scaler.scaleInput(m_vScaled);
        return m_pNetwork->compute(m_vScaled.begin(), m_vScaled.end(), out_vOutput);
    }

private:
    ScaledNetwork(const ScaledNetwork&) = default;

    mutable VectorScaler m_scaler; ///< which warns once
    CloneableObjPtr<Network> m_pNetwork;
    mutable DoubleVector m_vScaled;
};

} // namespace Vexalor::MachineLearning
