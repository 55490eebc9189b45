#pragma once

#include "MLPatternFileDataGenerator.h"
#include "MLPatternFileWriter.h"
#include "MLPatternInput.h"
#include "quillcast-core/Serialization.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Reads a binary pattern file: a header that gives the sizes of input and target, then one record a pattern
/// until the file ends. doc/formats.md gives the layout.
///
/// A file that ends inside a record is reported, and endedCleanly is false. What such a record holds of a
/// pattern counts as far as the whole input is there: a pattern without target.
class BinaryFileDataGenerator : public PatternFileDataGenerator
{
public:
    /// True when the file begins as binary pattern files do. False, with the reason logged at error level, if
    /// it cannot be opened.
    static bool isFileBinary(const char* in_filename);

    /// False for a file that is no binary pattern file; it stays open, and a further gotoStart takes what
    /// stands after the place of the magic.
    bool gotoStart() override;
    bool generateNext() override;
    /// True after an attempt to read beyond the end; the last pattern alone does not tell.
    bool atEnd() const override { return m_bFailed; }
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    /// Copies each value once.
    bool generateBatch(PatternBatch& io_batch) override;
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    bool endedCleanly() const override { return !m_bCut && !m_file.hasFailed(); }
    Fallible<double> getShareRead() const override { return m_file.getShareRead(); }

protected:
    /// Reads one record, and the header before the first. False at the end, and when the entity could not be
    /// reset; whether there is a pattern is another matter.
    bool readLine();

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    bool openFile();
    bool readHeader();
    inline bool readRecord();
    inline bool readPattern();
    /// The block holds so many bytes from the start of the record; false when there are not as many.
    bool provide(std::uint64_t in_uiSize) { return available() >= in_uiSize || fetch(in_uiSize); }
    bool fetch(std::uint64_t in_uiSize);
    bool growBlock(std::uint64_t in_uiSize);
    bool stopInRecord();
    std::uint64_t available() const { return m_uiEnd - m_uiRecord; }

    PatternInput m_file;
    std::vector<char> m_vBlock;    ///< patterns are copied straight out of it
    std::size_t m_uiRecord = 0;    ///< start of the current record in the block
    std::size_t m_uiNext = 0;      ///< after the current record
    std::size_t m_uiEnd = 0;       ///< after the last byte in the block
    std::uint64_t m_uiPattern = 0; ///< patterns read since gotoStart
    std::uint64_t m_uiNbInput = 0;
    std::uint64_t m_uiNbTarget = 0;
    std::uint64_t m_uiTargetFlag = 0; ///< place in the record; the target follows
    std::uint64_t m_uiTargetBytes = 0;
    bool m_bInputValid = false;
    bool m_bTargetValid = false;
    bool m_bFailed = false; ///< nothing more can be read before the next gotoStart
    bool m_bCut = false;    ///< the header or a record could not be read whole
};

/// Writes the same format. The header takes its sizes from the first pattern that has a target; patterns
/// before it are held in memory until then, and a file without any such pattern stays empty.
///
/// write stores what it is given of a pattern of wrong size, as far as it goes, so that what follows cannot
/// be read properly; close tells.
class BinaryFileWriter final : public PatternFileWriter
{
public:
    BinaryFileWriter();
    ~BinaryFileWriter() override;

    /// False for a pattern of wrong size only: close tells what the system refused. close is false also if
    /// patterns were dropped because none had a target, or are out of place because one had a wrong size.
    bool write(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget) override;

    /// Lets a file hold patterns none of which has a target: its header says that targets have no values.
    /// They are dropped otherwise.
    void keepWithoutTargets() { m_bKeptWithoutTargets = true; }

    /// Patterns that wait for the first one with a target; after close, those that were dropped.
    std::uint64_t getNbPending() const { return m_uiNbTarget == 0 ? m_uiNbPattern : 0; }

private:
    void begin_i() override;
    void end_i() override;
    void holdBack(bool in_bReset, const DoubleVector& in_vInput);
    void writeHeader(std::uint64_t in_uiNbInput, std::uint64_t in_uiNbTarget);
    bool appendRecord(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget);

    std::uint64_t m_uiPendingInput = 0; ///< size of the inputs that wait for the header
    bool m_bPendingMixed = false;       ///< they are of several sizes
    bool m_bKeptWithoutTargets = false;
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::BinaryFileDataGenerator, "MLBinaryFileDataGenerator")
