#pragma once

#include "quillcast-math/FeatureComputer.h"

namespace Vexalor
{

/// What the feature computers over one window of audio share: the input "audio", which counts for one
/// computeFeatures, and its checks. Without memory from window to window: reset only forgets the input.
class AudioFeatureComputer : public virtual FeatureComputerWithInputs
{
public:
    bool reset() override;
    bool setInput(const char* in_name, const DoubleVector& in_vInput) override;
    /// out_vFeatures may not be the input.
    bool computeFeatures(DoubleVector& out_vFeatures) override;

protected:
    /// The work, for a window that is not empty.
    virtual bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) = 0;

private:
    const DoubleVector* m_pAudio = nullptr;
};

/// The samples themselves: as many features as samples.
class IdentityFeatureComputer final : public AudioFeatureComputer
{
public:
    IdentityFeatureComputer* clone() const override { return new IdentityFeatureComputer(*this); }

private:
    bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

/// Energy of the window: the sum of its squared samples, one feature. Not divided by the length.
class EnergyFeatureComputer final : public AudioFeatureComputer
{
public:
    EnergyFeatureComputer* clone() const override { return new EnergyFeatureComputer(*this); }

private:
    bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

/// Zero-crossing rate of the window, one feature in [0, 1]: the share of the N - 1 pairs of neighbouring
/// samples that differ in sign, where a zero counts as positive (L. R. Rabiner, R. W. Schafer, "Digital
/// Processing of Speech Signals", Prentice-Hall 1978, section 4.3). A window of one sample has rate 0. A tone
/// of f Hz crosses 2 f / rate of the pairs.
class ZeroCrossingRateFeatureComputer final : public AudioFeatureComputer
{
public:
    ZeroCrossingRateFeatureComputer* clone() const override
    {
        return new ZeroCrossingRateFeatureComputer(*this);
    }

private:
    bool computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures) override;

    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

} // namespace Vexalor

BOOST_CLASS_EXPORT_KEY2(Vexalor::IdentityFeatureComputer, "IdentityFeatureComputer")
BOOST_CLASS_EXPORT_KEY2(Vexalor::EnergyFeatureComputer, "EnergyFeatureComputer")
BOOST_CLASS_EXPORT_KEY2(Vexalor::ZeroCrossingRateFeatureComputer, "ZeroCrossingRateFeatureComputer")
