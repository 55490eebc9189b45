#include "MLDataGeneratorForWidebandToneDetector.h"

#include "quillcast-audio/Annotation.h"
#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.AudioFileDataGenerator.WideBand");

constexpr const char* TONE_CLASS = "WB_SF_TONE";

} // namespace

bool DataGeneratorForWidebandToneDetector::isAnnotationUsable_i(const std::string& in_strLabel,
                                                                const std::string& in_strClass) const
{
    QC_TRACE("DataGeneratorForWidebandToneDetector::isAnnotationUsable_i");
    SingleFrequencyAnnotationImpl tone;
    if (in_strClass != TONE_CLASS || !tone.setLabel(in_strLabel))
        return false;
    QC_DEBUG("Using annotation : " << in_strLabel);
    return true;
}

TimeEventVector* DataGeneratorForWidebandToneDetector::newTimeEventVector_i(const char* in_class)
{
    QC_TRACE("DataGeneratorForWidebandToneDetector::newTimeEventVector_i");
    return new WBTimeEventVector(in_class);
}

bool DataGeneratorForWidebandToneDetector::WBTimeEventVector::addEvent_i(const Annotation& in_annotation,
                                                                         double* const& in_insertionPosition,
                                                                         bool in_bOverlap)
{
    QC_TRACE("WBTimeEventVector::addEvent_i");
    QC_DEBUG("Time vector entering addEvent_i: " << *this);
    bool bAdded = false;
    if (in_bOverlap)
    {
        bAdded = combine({in_annotation.getStartTime(), in_annotation.getStopTime()}, in_insertionPosition);
    }
    else
    {
        QC_DEBUG("Case No overlap");
        bAdded = TimeEventVector::addEvent_i(in_annotation, in_insertionPosition, in_bOverlap);
    }
    QC_DEBUG("Time vector leaving addEvent_i: " << *this);
    return bAdded;
}

bool DataGeneratorForWidebandToneDetector::WBTimeEventVector::combine(const Interval& in_new,
                                                                      double* in_insertionPosition)
{
    const bool bWithin = (in_insertionPosition - begin()) % 2 != 0;
    double* const itExistingStart = bWithin ? in_insertionPosition - 1 : in_insertionPosition;
    if (!QC_CHECK(itExistingStart != end()))
        return false;
    double* const itExistingStop = itExistingStart + 1;
    if (!QC_CHECK(itExistingStop != end()))
        return false;
    // The cases overwrite the times and move them.
    const Interval existing{*itExistingStart, *itExistingStop};
    QC_DEBUG("Existing: (" << existing.m_dStart << " - " << existing.m_dStop << ")  New: " << in_new.m_dStart
                           << " - " << in_new.m_dStop << ")"); // two blanks: text kept
    if (isEqual(in_new.m_dStart, existing.m_dStart))
        return combineSameStart(itExistingStart, existing, in_new);
    if (isGreater(in_new.m_dStart, existing.m_dStart))
        return combineLaterStart(itExistingStart, existing, in_new);
    QC_ERROR(
        "The tone from " << in_new.m_dStart << " to " << in_new.m_dStop << " s overlaps the later one from "
                         << existing.m_dStart << " to " << existing.m_dStop
                         << " s that comes before it in the file: of tones that overlap the first one has "
                            "to come first, sort the annotations");
    return QC_CHECK_TEXT("false", false);
}

bool DataGeneratorForWidebandToneDetector::WBTimeEventVector::combineSameStart(double* io_existingStart,
                                                                               const Interval& in_existing,
                                                                               const Interval& in_new)
{
    if (isEqual(in_new.m_dStop, in_existing.m_dStop))
    {
        QC_DEBUG("Case 1.1");
        const auto itStart = m_vEventTimes.begin() + (io_existingStart - begin());
        m_vEventTimes.erase(itStart, itStart + 2);
        return true;
    }
    if (isGreater(in_existing.m_dStop, in_new.m_dStop))
    {
        QC_DEBUG("Case 1.2");
        io_existingStart[0] = in_new.m_dStop;
        return true;
    }
    if (isGreater(in_new.m_dStop, in_existing.m_dStop))
    {
        QC_DEBUG("Case 1.3");
        io_existingStart[0] = in_existing.m_dStop;
        io_existingStart[1] = in_new.m_dStop;
        return true;
    }
    return QC_CHECK_TEXT("false", false);
}

bool DataGeneratorForWidebandToneDetector::WBTimeEventVector::combineLaterStart(double* io_existingStart,
                                                                                const Interval& in_existing,
                                                                                const Interval& in_new)
{
    if (isEqual(in_new.m_dStop, in_existing.m_dStop))
    {
        QC_DEBUG("Case 2.1");
        io_existingStart[1] = in_new.m_dStart;
        return true;
    }
    if (isGreater(in_existing.m_dStop, in_new.m_dStop))
    {
        QC_DEBUG("Case 2.2");
        io_existingStart[1] = in_new.m_dStart;
        insertAfter(io_existingStart, {in_new.m_dStop, in_existing.m_dStop});
        return true;
    }
    if (isGreater(in_new.m_dStop, in_existing.m_dStop))
    {
        QC_DEBUG("Case 2.3");
        io_existingStart[1] = in_new.m_dStart;
        insertAfter(io_existingStart, {in_existing.m_dStop, in_new.m_dStop});
        return true;
    }
    return QC_CHECK_TEXT("false", false);
}

void DataGeneratorForWidebandToneDetector::WBTimeEventVector::insertAfter(double* in_existingStart,
                                                                          const Interval& in_piece)
{
    const auto itNext = m_vEventTimes.begin() + (in_existingStart - begin()) + 2;
    m_vEventTimes.insert(itNext, {in_piece.m_dStart, in_piece.m_dStop});
}

template <class Archive>
void DataGeneratorForWidebandToneDetector::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "the same with any single tone as one class, where no two overlap");
    serializeBase<AudioFileDataGenerator>(io_archive, *this);
}

QC_ARCHIVES(DataGeneratorForWidebandToneDetector);

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::DataGeneratorForWidebandToneDetector)
