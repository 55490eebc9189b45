#pragma once

#include "MLAudioFileDataGenerator.h"

namespace Vexalor::MachineLearning
{

/// Patterns for a detector that tells whether a tone of a single frequency is present, whatever its
/// frequency. The classes are "WB_SF_TONE", which takes every single-frequency annotation of the recording,
/// and optionally "OTHER"; any other class stays empty. Annotated tones may overlap: where two do, the
/// overlapped time is no tone. So the two tones of a dual tone (a DTMF digit, a busy or ringback tone) cancel
/// each other.
class DataGeneratorForWidebandToneDetector : public AudioFileDataGenerator
{
public:
    QC_MEM_ACCOUNT("DataGeneratorForWidebandToneDetector");

    class WBTimeEventVector;

protected:
    bool isAnnotationUsable_i(const std::string& in_strLabel, const std::string& in_strClass) const override;
    TimeEventVector* newTimeEventVector_i(const char* in_class) override;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

/// A timeline whose overlapping intervals are combined by symmetric difference. An interval is combined with
/// the first one that it meets and with no other, and the pieces that result are not checked against the
/// rest; times that are less than 0.01 s apart are the same. An interval that overlaps an earlier one and
/// starts before it is refused. doc/formats.md, "Timelines", has the cases.
class DataGeneratorForWidebandToneDetector::WBTimeEventVector : public TimeEventVector
{
public:
    using TimeEventVector::TimeEventVector;

protected:
    bool addEvent_i(const Annotation& in_annotation, double* const& in_insertionPosition,
                    bool in_bOverlap) override;

private:
    struct Interval
    {
        double m_dStart;
        double m_dStop;
    };

    bool combine(const Interval& in_new, double* in_insertionPosition);
    bool combineSameStart(double* io_existingStart, const Interval& in_existing, const Interval& in_new);
    bool combineLaterStart(double* io_existingStart, const Interval& in_existing, const Interval& in_new);
    void insertAfter(double* in_existingStart, const Interval& in_piece);
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGeneratorForWidebandToneDetector,
                        "MLDataGeneratorForWidebandToneDetector")
