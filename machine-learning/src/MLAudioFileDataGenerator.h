#pragma once

#include "MLAudioClassMatcher.h"
#include "MLAudioPassStatistics.h"
#include "MLDataGeneratorWithConfig.h"
#include "MLGeneratorFacts.h"
#include "quillcast-audio/WindowedAudioFileReader.h"
#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-core/StringVector.h"
#include "quillcast-math/FeatureComputer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vexalor
{
class Annotation;
}

namespace Vexalor::MachineLearning
{

/// Turns one annotated recording into a stream of patterns. The recording is cut into windows; a feature
/// computer makes the input of each window, and the annotations stored in the recording make its target: one
/// component a class, 1.0 while an event of that class is in progress at the current audio time (the end of
/// the window) and 0.0 otherwise.
///
/// Call order: configure setCurrentFilename (gotoStart (generateNext (getInput getTarget?)*)*)*.
///
/// A class is the name of a tone ("SF:1000", whose annotations may differ by the frequency tolerance) or a
/// regular expression that the whole label of an annotation must match, in any letter case. The class "OTHER"
/// stands for the time that no other class covers; it is always the last component, wherever it is listed.
/// Without it the stream stops, not cleanly, at the first window that no class covers.
///
/// Derived classes change which annotations are used, how they are put on a timeline and how targets are
/// made. The recording is open, and memory for samples and features taken, only between gotoStart and the
/// end of the pass.
class AudioFileDataGenerator
    : public virtual DataGeneratorWithConfig
    , public virtual FileDataGenerator
    , public virtual MultiPassDataGenerator
    , public virtual AudioClassStatisticsSource
    , public virtual GeneratorWithFacts
{
public:
    class Config : public DataGeneratorWithConfig::Config
    {
    public:
        /// Window length and shift, sampling rate and channel.
        LinearAudioWindower::Config m_audioConfig;
        /// Computes the input of a window, which it takes as the input "audio".
        CloneableObjPtr<FeatureComputer> m_pFeatureComputer;
        /// Seconds; the first window that ends later ends the stream. 0.0: no limit.
        double m_dMaxAudioTime = 0.0;
        /// In target order.
        StringVector m_vClasses;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    using TimeEventVector = MachineLearning::TimeEventVector;

    AudioFileDataGenerator();
    ~AudioFileDataGenerator() override;

    /// Takes over an AudioFileDataGenerator::Config. False, with the reason logged and the generator as it
    /// was, for another kind of configuration and for windows that make no sense. A Config of a derived class
    /// is of another kind, since its further fields would be lost, unless the generator is of the derived
    /// class that keeps it.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    const Config& getConfig() const { return m_config; }
    /// Those of a generator of this class with that configuration.
    static GeneratorFacts makeFacts(const Config& in_config);
    GeneratorFacts getFacts() const override { return makeFacts(m_config); }

    /// Reads the annotations of a recording and builds its timelines. False, with the reason logged and no
    /// recording set, when it cannot be read or when annotations of a class overlap or are inverted.
    bool setCurrentFilename(const char* in_filename) override;
    const char* getCurrentFilename() const override { return m_strFilename.c_str(); }

    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override;
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    /// Counts an error on this file with each call: a tester dumps the status of a wrongly handled pattern.
    /// The errors are logged at the end of the pass.
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override;
    /// False after an unreadable recording, features that could not be computed, or a window that no class
    /// covers.
    bool endedCleanly() const override { return m_bClean && !m_reader.hasInputError(); }
    Fallible<double> getShareRead() const override;

    void releaseFile() override;
    /// What derived classes make of the annotations counts.
    void addStatistics(AudioClassStatistics& io_statistics) const override;

    /// True when annotations of that label belong to a class of the configuration, by the rule of this
    /// generator; after setCurrentFilename.
    bool takesLabel(const std::string& in_strLabel) const;

    /// Hz, of the recording; 0 before the first setCurrentFilename.
    std::uint32_t getSamplingRate() const { return m_reader.getSamplingRate(); }
    /// Of the windows, in samples; empty before the first setCurrentFilename.
    const WindowSize& getWindowSize() const { return m_reader.getWindowSize(); }
    /// Seconds: the end of the current window; 0.0 before the first.
    double getCurrentAudioTime() const;
    /// Hz by which the frequency of an annotation may differ from that of its class, both ends included; 10
    /// unless set. Holds from the next setCurrentFilename on.
    void setFrequencyClassTolerance(unsigned int in_uiTolerance);
    /// True when an event of that class begins or ends strictly within the current window. The index is that
    /// of a class other than "OTHER".
    bool isTransitionWindowForTarget(unsigned int in_uiTargetIndex);

protected:
    using EventVectors = AudioPassStatistics::Timelines;

    /// The configuration as a Config that this generator can keep whole; null for any other.
    const Config* asOwnConfig(const DataGeneratorWithConfig::Config& in_config) const;
    /// The next window starts at in_dTime (s); the timelines are not rewound.
    virtual bool gotoAudioTime(double in_dTime);
    /// Makes m_vTarget for the current audio time. False when no class covers it.
    virtual bool generateTarget();
    /// The regular expression that selects the annotations of a class; asked once a class and recording.
    virtual bool getRegexForClass(const char* in_class, std::string& out_strRegex);
    /// True when an annotation of that label belongs to the class. Here a class for which getRegexForClass
    /// was not asked stands for the expression of its own name.
    virtual bool isAnnotationUsable_i(const std::string& in_strLabel, const std::string& in_strClass) const;
    /// A new, empty timeline of a class; owned by the caller.
    virtual TimeEventVector* newTimeEventVector_i(const char* in_class);

    /// A timeline for each class but "OTHER". False, with nothing in out_vEventVecPtr, when an annotation is
    /// refused.
    bool buildTimeEventVector(const StringVector& in_vClasses, const std::vector<Annotation>& in_vAnnotations,
                              const std::string& in_strFilename, EventVectors& out_vEventVecPtr);

    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

    DoubleVector m_vCurrentWindow;
    DoubleVector m_vTarget; ///< of the current pattern; empty: none

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    bool openRecording(const char* in_filename, EventVectors& out_vEventVecPtr);
    bool addAnnotations(TimeEventVector& io_events, const std::vector<Annotation>& in_vAnnotations,
                        const std::string& in_strClass, const std::string& in_strFilename);
    void logTimeEvents() const;
    void setExpression(const std::string& in_strClass);
    bool prepareFeatureComputer();
    bool computeInput();
    bool producePattern();
    bool finish();
    bool stop(bool in_bClean);
    void clearPattern();

    mutable Config m_config;
    CloneableObjPtr<FeatureComputer> m_pFeatureComputer;    ///< null between passes
    FeatureComputerWithInputs* m_pComputerInputs = nullptr; ///< the same; null when it takes no inputs
    WindowedAudioFileReader m_reader;
    std::string m_strFilename;
    bool m_bFileSet = false;

    AudioClassMatcher m_matcher;
    EventVectors m_vEventVecPtr;
    bool m_bClassesAreExhaustive = true;
    std::uint32_t m_uiTargetSize = 0;
    double m_dEffectiveMaxAudioTime = 0.0;

    DoubleVector m_vGeneratedInput;
    bool m_bNotExhaustivePoint = false;
    bool m_bClean = true;
    AudioPassStatistics m_statistics;
    Handle<Resettable, ReferenceCount> m_pEntityToReset;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioFileDataGenerator::Config,
                        "MLAudioFileDataGeneratorConfig")
BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::AudioFileDataGenerator, "MLAudioFileDataGenerator")
