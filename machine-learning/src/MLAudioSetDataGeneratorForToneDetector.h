#pragma once

#include "MLAudioFileDataGenerator.h"
#include "MLFileSetDataGenerator.h"

#include <cstddef>
#include <cstdint>

namespace Vexalor::MachineLearning
{

/// Patterns for one detector of tones that is told which frequency to look for: the stream is a pass over all
/// recordings of a set for each tone. In the pass of a tone the target is (t, 1 - t), where t tells whether
/// the tone is in progress, and the input is that of the recording followed, unless switched off, by the
/// frequency of the tone as a share of half the sampling rate.
///
/// The tones are the classes that name one ("SF:1000") and that some recording annotates within the
/// tolerance; others are left out with a warning. What no tone covers needs no class of its own.
class AudioSetDataGeneratorForToneDetector
    : public virtual DataGeneratorWithConfig
    , public FileSetDataGeneratorNoT
{
public:
    class Config : public DataGeneratorWithConfig::Config
    {
    public:
        /// For each recording; the classes are the tones.
        AudioFileDataGenerator::Config m_audioGenConfig;
        /// Hz by which an annotation may differ from its tone, both ends included; not negative.
        std::int32_t m_iFrequencyTolerance = 10;
        /// Whether the frequency is part of the input.
        bool m_bConstantInput = true;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Takes over a Config of exactly this class. False, with the reason logged, for any other and for a
    /// negative tolerance.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    const Config& getConfig() const { return m_config; }
    GeneratorFacts getFacts() const override;

    /// Logs an error, and goes on, when no tone is left; gotoStart is false then.
    bool setRecordings(const RecordingList& in_list) override;
    /// The tones.
    StringVector findClasses(const StringVector& in_vFilenames) const override;
    std::size_t getNbPasses() const override { return m_vTones.size(); }
    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override;
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    bool endedCleanly() const override
    {
        return m_bEarlierTonesClean && FileSetDataGeneratorNoT::endedCleanly();
    }
    Fallible<double> getShareRead() const override;
    /// The tone that the current pass looks for; empty when there is none.
    std::string getCurrentTone() const { return m_uiTone < m_vTones.size() ? m_vTones[m_uiTone] : ""; }
    /// Begins with the tone of the pass and its constant input, while there is a current recording.
    std::ostream& dumpStatus(std::ostream& out_stream) override;

protected:
    CountedObjPtr<FileDataGenerator> newFileGenerator_i() override;
    void summarise_i(AudioClassStatistics& io_statistics) const override;
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    void warnOfMissingTones() const;
    double getConstantInput() const;
    void updateConstantInput();

    mutable Config m_config;
    AudioFileDataGenerator::Config m_fileConfig; ///< the tones that are left, and the rest
    StringVector m_vTones;
    std::size_t m_uiTone = 0; ///< of the pass
    std::size_t m_uiFirstTone = 0;
    std::size_t m_uiEndTone = 0; ///< after the last one
    bool m_bEarlierTonesClean = true;
    LimitedObjPtr<FileDataGenerator> m_pConstantInputOf;
    double m_dConstantInput = 0.0; ///< for that recording
    DoubleVector m_vTarget;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioSetDataGeneratorForToneDetector::Config,
                        "MLAudioSetDataGenForToneDetectorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioSetDataGeneratorForToneDetector,
                        "MLAudioSetDataGenForToneDetector")
