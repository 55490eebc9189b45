#pragma once

#include "MLAudioFileDataGenerator.h"
#include "MLFileSetDataGenerator.h"

#include <cstdint>

namespace Vexalor::MachineLearning
{

/// A set of recordings, all set up when the list is, whose patterns are those of DataGeneratorForVad: voice
/// and silence, smoothed. In windows of incertitude the target is as annotated, because real features seldom
/// have the average 1.0 or 0.0: after voice come D - 1 windows of hangover, then I windows as annotated.
/// D is to be at least 2 when I is above 0.
class AudioSetDataGeneratorForVad
    : public virtual DataGeneratorWithConfig
    , public FileSetDataGeneratorNoT
{
public:
    class Config : public DataGeneratorWithConfig::Config
    {
    public:
        /// For each recording; the classes are "VOICE" and "SILENCE".
        AudioFileDataGenerator::Config m_audioGenConfig;
        std::uint32_t m_uiDebouncingWindows = 0;  ///< D
        std::uint32_t m_uiIncertitudeWindows = 0; ///< I

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Takes over a Config of exactly this class; what it says is judged when the list is set.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    const Config& getConfig() const { return m_config; }
    GeneratorFacts getFacts() const override;

    /// Logs an error, and goes on, when no recording has an annotation of the classes.
    bool setRecordings(const RecordingList& in_list) override;
    /// Those of the two classes that some recording annotates.
    StringVector findClasses(const StringVector& in_vFilenames) const override;
    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override;
    bool getTarget(DoubleVector& out_vTarget) override;
    /// Begins with the annotated class at the current time, which is the first one at the start, and the
    /// constant input that stands for it in windows of incertitude: 1.0 for voice, 0.0 for silence.
    std::ostream& dumpStatus(std::ostream& out_stream) override;

protected:
    CountedObjPtr<FileDataGenerator> newFileGenerator_i() override;
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    std::string getCurrentClass() const;

    mutable Config m_config;
    StringVector m_vValidClasses; ///< those that some recording annotates
    DoubleVector m_vTarget;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioSetDataGeneratorForVad::Config,
                        "MLAudioSetDataGeneratorForVadConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioSetDataGeneratorForVad,
                        "MLAudioSetDataGeneratorForVad")
