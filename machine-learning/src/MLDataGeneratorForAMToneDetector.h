#pragma once

#include "MLAudioFileDataGenerator.h"

#include <cstdint>

namespace Vexalor::MachineLearning
{

/// Patterns for detectors of amplitude-modulated tones. The classes are labels of such tones ("AM:1000:20"),
/// optionally with "OTHER"; an annotation belongs to a class when both its carrier and its modulating
/// frequency are within the tolerances. A class that is no such label stays empty: there are no regular
/// expressions here.
class DataGeneratorForAMToneDetector : public AudioFileDataGenerator
{
public:
    QC_MEM_ACCOUNT("DataGeneratorForAMToneDetector");

    /// The tolerances are in Hz, both ends included, and taken off and added in 32 bits without a sign: one
    /// that exceeds the frequency of a class wraps round, and the class stays empty.
    class Config : public AudioFileDataGenerator::Config
    {
    public:
        std::uint32_t m_uiFreqCarrierTol = 0;
        std::uint32_t m_uiFreqModulatedTol = 0;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Takes over a DataGeneratorForAMToneDetector::Config. False, with the reason logged and the generator
    /// as it was, for another one and where AudioFileDataGenerator refuses it.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    const Config& getConfig() const { return m_config; }
    static GeneratorFacts makeFacts(const Config& in_config);
    GeneratorFacts getFacts() const override { return makeFacts(m_config); }

protected:
    bool isAnnotationUsable_i(const std::string& in_strLabel, const std::string& in_strClass) const override;
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    mutable Config m_config;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGeneratorForAMToneDetector::Config,
                        "MLDataGeneratorForAMToneDetectorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGeneratorForAMToneDetector,
                        "MLDataGeneratorForAMToneDetector")
