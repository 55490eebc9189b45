#pragma once

#include "MLAudioFileDataGenerator.h"

#include <cstddef>

namespace Vexalor::MachineLearning
{

/// The rule that smooths the targets of voice and silence over time. Of D debouncing and I incertitude
/// windows: after voice, the first D - 1 windows of silence are voice still, and the I windows after them
/// take their target from elsewhere; then the rule starts anew. With D below 2 nothing is held, and the
/// windows of incertitude have nothing to do with the end of voice: I is to be 0 then.
///
/// Call order: (reset advance*)*.
class VadTargetSmoother
{
public:
    /// Where the target of a window comes from.
    enum class Source
    {
        ANNOTATION, ///< as annotated
        PREVIOUS,   ///< getPreviousTarget
        INPUT       ///< from the input of the window
    };

    void setDebouncingWindows(std::size_t in_uiWindows) { m_uiDebouncingWindows = in_uiWindows; }
    void setIncertitudeWindows(std::size_t in_uiWindows) { m_uiIncertitudeWindows = in_uiWindows; }

    /// Before the first window of a recording.
    void reset();
    /// Goes on by a window whose target is in_vTarget by the annotations.
    Source advance(const DoubleVector& in_vTarget);
    /// The last target that was neither held nor taken from the input; empty before one.
    const DoubleVector& getPreviousTarget() const { return m_vPrevious; }

private:
    std::size_t m_uiDebouncingWindows = 0;
    std::size_t m_uiIncertitudeWindows = 0;
    std::size_t m_uiDebouncing = 0;
    std::size_t m_uiIncertitude = 0;
    DoubleVector m_vPrevious;
};

/// Patterns for a detector of voice whose targets are smoothed: the classes are "VOICE" and "SILENCE", in
/// this order, and the annotations must cover the recording. Targets are (1, 0) and (0, 1), and each window's
/// is decided once, when it becomes current.
class DataGeneratorForVad : public AudioFileDataGenerator
{
public:
    QC_MEM_ACCOUNT("DataGeneratorForVad");

    /// Takes over an AudioFileDataGenerator::Config with exactly these classes. False, with the generator as
    /// it was, for any other.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;

    bool gotoStart() override;

    /// Windows; 0 unless set. Not part of the configuration.
    void setDebouncingWindows(std::size_t in_uiWindows);
    void setIncertitudeWindows(std::size_t in_uiWindows);

    /// What the annotations say of the window that was delivered last, before smoothing; empty at the start.
    const DoubleVector& getAnnotatedTarget() const { return m_vAnnotatedTarget; }

protected:
    bool generateTarget() override;
    /// The input whose average decides a window of incertitude: 1.0 is voice, 0.0 silence, and anything else
    /// reports an assertion and leaves the target as annotated. Here getInput.
    virtual bool getIncertitudeInput_i(DoubleVector& out_vInput);

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    void smooth(DoubleVector& out_vTarget);
    void setTargetFromInput(DoubleVector& out_vTarget);

    VadTargetSmoother m_smoother;
    DoubleVector m_vAnnotatedTarget;
    DoubleVector m_vIncertitudeInput;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGeneratorForVad, "MLDataGeneratorForVad")
