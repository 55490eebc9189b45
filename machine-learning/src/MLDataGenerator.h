#pragma once

#include "quillcast-core/Fallible.h"
#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-core/Serialization.h"
#include "quillcast-math/DoubleVector.h"

#include <iosfwd>

namespace Vexalor::MachineLearning
{

class PatternBatch;

/// A stream of training or test patterns: an input vector and, where there is one, a target vector per
/// pattern.
///
/// Call order of a pass: gotoStart (generateNext (getInput getTarget?)*)*, until generateNext returns false.
/// A generator is used by one thread at a time. Operations report failure by returning false and log the
/// reason; they do not throw.
class DataGenerator : public virtual Object
{
public:
    /// Rewinds to before the first pattern; none is current afterwards. Resets the entity to reset, if any,
    /// and opens the source if it is not open yet. False if the source cannot be opened or rewound, or if the
    /// reset failed.
    virtual bool gotoStart() = 0;

    /// Makes the next pattern current; unusable records are skipped with a warning. False when the stream is
    /// exhausted or the source failed (endedCleanly tells which).
    virtual bool generateNext() = 0;

    /// True when the source is exhausted.
    virtual bool atEnd() const = 0;

    /// Copies the current pattern's input (size N). False, with out_vInput untouched, when no pattern is
    /// current.
    virtual bool getInput(DoubleVector& out_vInput) = 0;

    /// Copies the current pattern's target (size K). False, with out_vTarget untouched, when there is none:
    /// that is normal and no error.
    virtual bool getTarget(DoubleVector& out_vTarget) = 0;

    /// Name of the dynamic library from which the class of this generator was loaded; unset when there is
    /// none.
    virtual Fallible<const char*> getLibName() { return {}; }

    /// Writes a short description of the current position for diagnostics; returns out_stream.
    virtual std::ostream& dumpStatus(std::ostream& out_stream) = 0;

    /// False when the stream stopped before its end: an unreadable source, a point in time that no class
    /// covers. Meaningful after generateNext returned false; the end of the stream and its failure look alike
    /// otherwise.
    virtual bool endedCleanly() const { return true; }

    /// Share of the source that this pass has read, from 0 to 1; unset when its size is not known.
    virtual Fallible<double> getShareRead() const { return {}; }

    /// Makes the next patterns current, one after the other, and adds each to the batch, until that is full:
    /// as generateNext, getInput and getTarget would deliver them. False when generateNext is, with what came
    /// before in the batch, or when a pattern could not be added (PatternBatch::hasFailed).
    virtual bool generateBatch(PatternBatch& io_batch);

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive&, unsigned int)
    {
    }
};

/// A generator whose source is one named file.
class FileDataGenerator : public virtual DataGenerator
{
public:
    /// Stores the name of the file to read. Text and binary readers open it at the next gotoStart. False for
    /// null.
    virtual bool setCurrentFilename(const char* in_filename) = 0;
    /// The stored name; valid until the next setCurrentFilename.
    virtual const char* getCurrentFilename() const = 0;
    /// Breaks a pass off and lets go of the file and of what only a pass needs; a pass that ends does so by
    /// itself. gotoStart begins again. For owners of many generators.
    virtual void releaseFile() {}
};

/// A generator that knows the sequences (recordings, sentences) that its patterns form, and resets the
/// stateful entity of its consumer at every gotoStart and before the first pattern of every sequence.
class SequenceDataGenerator : public virtual Object
{
public:
    /// Keeps a share of the entity, in place of any earlier one; null means that nothing is to be reset. A
    /// wrapper hands it on.
    virtual bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) = 0;
};

/// A sequence generator whose every gotoStart delivers the same patterns again.
class MultiPassDataGenerator : public virtual SequenceDataGenerator
{
};

/// A sink of patterns.
class DataWriter : public virtual Object
{
public:
    /// Appends one pattern; in_bReset marks it as the first of a new sequence, an empty target means that it
    /// has none. The first input and the first target that is not empty fix their sizes. False, with nothing
    /// written, for a pattern of other sizes.
    virtual bool write(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget) = 0;
};

/// A sink that writes one named file. Call order: (open write* close)*; the destructor closes as well, but
/// only close tells whether everything reached the file.
class FileDataWriter : public virtual DataWriter
{
public:
    /// Opens the file, truncating it; closes an earlier one first. False, with the reason logged at error
    /// level, if it cannot be opened; sizes are kept then, and what is written is lost.
    virtual bool open(const char* in_filename) = 0;
    /// The name given to open.
    virtual const char* getCurrentFilename() const = 0;
    /// Flushes and closes. False if anything written since open did not reach the file. True when none is
    /// open, and for a writer that closes by its destructor only.
    virtual bool close() { return true; }
    /// True once it is known that close will return false, so that nothing more need be written.
    virtual bool hasLost() const { return false; }
    /// The name that getCurrentFilename and messages give from now on, for an open file that gets it when it
    /// is complete. A writer need not care.
    virtual void setCurrentFilename(const char* /*in_filename*/) {}
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::DataGenerator, "MLDataGenerator")
