#pragma once

#include "MLAudioFileDataGenerator.h"
#include "quillcast-math/SignalFeature.h"

namespace Vexalor::MachineLearning
{

/// Patterns for a detector of voice: the classes are "VOICE" and "OTHER", in this order. A window whose
/// energy, the sum of its squared samples, is below 0.01 is no voice, whatever its annotation says.
class VadAudioFileDataGenerator : public AudioFileDataGenerator
{
public:
    /// Takes over an AudioFileDataGenerator::Config with exactly these classes. False, with the reason logged
    /// or reported and the generator as it was, for any other.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;

protected:
    bool generateTarget() override;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    CountedObjPtr<SumSquaredAmplitudeFeature> m_pEnergyFeature;
    DoubleVector m_vEnergy;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::VadAudioFileDataGenerator, "MLVadAudioFileDataGenerator")
