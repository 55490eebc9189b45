#pragma once

#include "MLPatternFileDataGenerator.h"
#include "MLPatternFileWriter.h"
#include "quillcast-core/Serialization.h"

#include <cstdint>
#include <memory>
#include <string>

namespace Vexalor::MachineLearning
{

class TextLineReader;

/// Reads a text vector pattern file: "[input] [target]" a line, a line "reset" before the first pattern of a
/// sequence. doc/formats.md gives the layout. Lines that are no pattern are skipped with a warning; a line
/// whose target cannot be read still gives a pattern, without target. A mark of a new sequence stays for the
/// next valid pattern.
class VectorFileDataGenerator : public PatternFileDataGenerator
{
public:
    VectorFileDataGenerator();
    ~VectorFileDataGenerator() override;

    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override;
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    bool endedCleanly() const override;
    Fallible<double> getShareRead() const override;

protected:
    /// Reads one record: a pattern line with its optional reset line. The result tells whether all of it
    /// could be used; whether there is a pattern is another matter.
    bool readLine();

    /// Turns the input of a line, as it was read, into that of the pattern. False, with the reason logged,
    /// when the line is to be skipped. Without a derived class it stays as it is.
    virtual bool makeInput_i(bool /*in_bNewSequence*/, DoubleVector& /*io_vInput*/) { return true; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    bool nextPatternLine();
    bool parseInput();
    bool parseTarget();

    const std::unique_ptr<TextLineReader> m_pReader;
    const char* m_pTargetText = nullptr; ///< after the input of a line that is held whole
    std::uint64_t m_uiLine = 0;          ///< pattern lines since gotoStart
    DoubleVector m_vInput;
    DoubleVector m_vTarget;
    bool m_bPatternValid = false;
    bool m_bTargetValid = false;
    bool m_bResetPending = false;
};

/// Writes the same format, each line flushed, so that a file can be read while it grows.
class VectorFileWriter final : public PatternFileWriter
{
public:
    VectorFileWriter();
    ~VectorFileWriter() override;

    /// Appends the text of one pattern, its mark included, to a buffer.
    static void appendPattern(std::string& io_strText, bool in_bReset, const DoubleVector& in_vInput,
                              const DoubleVector& in_vTarget);

    /// True also when the system refused the line: close tells.
    bool write(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget) override;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::VectorFileDataGenerator, "MLVectorFileDataGenerator")
