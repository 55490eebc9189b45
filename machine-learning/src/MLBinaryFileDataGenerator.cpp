#include "MLBinaryFileDataGenerator.h"

#include "MLPatternBatch.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <ostream>
#include <string_view>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.BinaryFileDataGenerator");

// The layout: the magic, the sizes of input and target, then the records, each a flag, the input, a flag and
// the target. A flag is a byte, everything else words of 8 bytes, least significant byte first.

constexpr std::string_view MAGIC = "VEXALOR BINARY";
constexpr std::size_t WORD = 8;
constexpr std::size_t FLAG = 1;
constexpr std::size_t SIZES = 2 * WORD;

/// No file holds as many values; sums of sizes stay in range below it.
constexpr std::uint64_t MOST_VALUES = std::uint64_t(1) << 59;

constexpr std::size_t BLOCK_SIZE = std::size_t(1) << 18;

constexpr std::uint64_t inputBytes(std::uint64_t in_uiNbInput)
{
    return FLAG + WORD * std::min(in_uiNbInput, MOST_VALUES);
}

constexpr std::uint64_t targetBytes(std::uint64_t in_uiNbTarget)
{
    return WORD * std::min(in_uiNbTarget, MOST_VALUES);
}

/// Between the byte order of this machine and that of the file.
template <class Word>
void swapWords(Word* io_words, std::uint64_t in_uiCount)
{
    static_assert(sizeof(Word) == WORD);
    if constexpr (std::endian::native != std::endian::little)
    {
        for (std::uint64_t i = 0; i < in_uiCount; ++i)
            io_words[i] = std::bit_cast<Word>(__builtin_bswap64(std::bit_cast<std::uint64_t>(io_words[i])));
    }
}

template <class Word>
void decode(const char* in_bytes, std::uint64_t in_uiCount, Word* out_words)
{
    if (in_uiCount == 0)
        return;
    std::memcpy(out_words, in_bytes, in_uiCount * WORD);
    swapWords(out_words, in_uiCount);
}

template <class Word>
void append(std::string& io_strBytes, const Word* in_words, std::size_t in_uiCount)
{
    const std::size_t uiStart = io_strBytes.size();
    io_strBytes.append(reinterpret_cast<const char*>(in_words), in_uiCount * WORD);
    if constexpr (std::endian::native != std::endian::little)
    {
        std::vector<Word> vWords(in_words, in_words + in_uiCount);
        swapWords(vWords.data(), in_uiCount);
        std::memcpy(io_strBytes.data() + uiStart, vWords.data(), in_uiCount * WORD);
    }
}

void copyWords(const char* in_bytes, std::uint64_t in_uiCount, DoubleVector& out_vValues)
{
    out_vValues.resize(in_uiCount);
    decode(in_bytes, in_uiCount, out_vValues.begin());
}

/// Reads as much as there is, up to in_uiSize.
std::size_t readFully(InputFile& io_file, char* out_bytes, std::size_t in_uiSize)
{
    std::size_t uiTotal = 0;
    std::size_t uiRead = 1;
    while (uiTotal < in_uiSize && uiRead != 0)
        uiTotal += uiRead = io_file.read(out_bytes + uiTotal, in_uiSize - uiTotal);
    return uiTotal;
}

} // namespace

bool BinaryFileDataGenerator::isFileBinary(const char* in_filename)
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::isFileBinary");
    if (!QC_CHECK(in_filename != nullptr))
        return false;
    QC_DEBUG("Opening file " << in_filename);
    InputFile file;
    if (!file.open(in_filename))
    {
        QC_ERROR("MachineLearning::BinaryFileDataGenerator::isFileBinary : failed to open file "
                 << in_filename << " for reading");
        return false;
    }
    char start[MAGIC.size()];
    const std::size_t uiRead = readFully(file, start, sizeof(start));
    const bool bBinary = std::string_view(start, uiRead) == MAGIC;
    QC_DEBUG("File type is " << (bBinary ? "binary" : "NOT binary"));
    return bBinary;
}

bool BinaryFileDataGenerator::gotoStart()
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::gotoStart");
    m_uiPattern = 0;
    m_bInputValid = false;
    m_bTargetValid = false;
    if (!QC_CHECK(m_pEntityToReset.isNull() || m_pEntityToReset->reset()))
        return false;
    if (!m_file.isOpen())
        return openFile();
    if (!m_file.seek(MAGIC.size()))
    {
        QC_ERROR("MachineLearning::BinaryFileDataGenerator::gotoStart : failed to rewind file "
                 << m_strFilename);
        return false;
    }
    m_uiRecord = m_uiNext = m_uiEnd = 0;
    m_bFailed = m_bCut = false;
    return true;
}

bool BinaryFileDataGenerator::openFile()
{
    QC_DEBUG("Opening file " << m_strFilename);
    m_bFailed = !m_file.open(m_strFilename.c_str());
    if (m_bFailed)
    {
        QC_ERROR("MachineLearning::BinaryFileDataGenerator::gotoStart : failed to open file "
                 << m_strFilename << " for reading");
        return false;
    }
    m_vBlock.resize(BLOCK_SIZE);
    m_uiRecord = m_uiEnd = 0;
    m_bCut = false;
    m_bFailed = !provide(MAGIC.size());
    m_uiNext = std::min(MAGIC.size(), m_uiEnd);
    if (std::string_view(m_vBlock.data(), m_uiNext) == MAGIC)
        return true;
    QC_ERROR("File " << m_strFilename << " is not a valid Vexalor binary file");
    return false;
}

bool BinaryFileDataGenerator::generateNext()
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::generateNext");
    do
        readLine();
    while (!m_bInputValid && !atEnd());
    return m_bInputValid;
}

bool BinaryFileDataGenerator::readRecord()
{
    m_uiRecord = m_uiNext;
    std::uint64_t uiSize = m_uiTargetFlag + FLAG;
    if (!provide(uiSize))
    {
        m_bInputValid = !m_bCut && provide(m_uiTargetFlag);
        m_bFailed = true;
        return available() != 0 && stopInRecord();
    }
    m_bInputValid = true;
    if (m_vBlock[m_uiRecord + m_uiTargetFlag] != 0)
    {
        uiSize += m_uiTargetBytes;
        if (!provide(uiSize))
            return stopInRecord();
        m_bTargetValid = m_uiTargetBytes != 0;
    }
    m_uiNext = m_uiRecord + uiSize;
    return true;
}

bool BinaryFileDataGenerator::readLine()
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::readLine");
    return readPattern();
}

bool BinaryFileDataGenerator::readPattern()
{
    m_bInputValid = false;
    m_bTargetValid = false;
    if (m_bFailed || (m_uiPattern == 0 && !readHeader()) || !readRecord())
        return false;
    ++m_uiPattern;
    const bool bReset = m_vBlock[m_uiRecord] != 0;
    return !bReset || m_pEntityToReset.isNull() || m_pEntityToReset->reset();
}

bool BinaryFileDataGenerator::readHeader()
{
    m_uiRecord = m_uiNext;
    if (!provide(SIZES))
        return stopInRecord();
    decode(m_vBlock.data() + m_uiRecord, 1, &m_uiNbInput);
    decode(m_vBlock.data() + m_uiRecord + WORD, 1, &m_uiNbTarget);
    m_uiTargetFlag = inputBytes(m_uiNbInput);
    m_uiTargetBytes = targetBytes(m_uiNbTarget);
    m_uiNext = m_uiRecord + SIZES;
    QC_DEBUG("Number of inputs: " << m_uiNbInput << ", number of targets: " << m_uiNbTarget);
    return true;
}

/// Reads on until the block holds in_uiSize bytes.
bool BinaryFileDataGenerator::fetch(std::uint64_t in_uiSize)
{
    m_bFailed = true;
    if (!m_file.isOpen())
        return false;
    std::memmove(m_vBlock.data(), m_vBlock.data() + m_uiRecord, available());
    m_uiEnd = available();
    m_uiRecord = 0;
    while (m_uiEnd < in_uiSize)
    {
        if (m_uiEnd == m_vBlock.size() && !growBlock(in_uiSize))
            return false;
        const std::size_t uiRead = m_file.read(m_vBlock.data() + m_uiEnd, m_vBlock.size() - m_uiEnd);
        m_uiEnd += uiRead;
        if (uiRead == 0)
            return false;
    }
    m_bFailed = false;
    return true;
}

/// For a record that is longer than the block. False when the file does not hold it, or memory does not.
/// Where the system cannot tell the rest of the file, the block grows with what arrives, whatever the header
/// claims.
bool BinaryFileDataGenerator::growBlock(std::uint64_t in_uiSize)
{
    const std::optional<std::uint64_t> rest = m_file.getRest();
    if (rest && *rest < in_uiSize - m_uiEnd)
        return false;
    const std::uint64_t uiRecord = m_uiTargetFlag + FLAG + m_uiTargetBytes;
    std::uint64_t uiSize = in_uiSize;
    if (!rest)
        uiSize = std::min<std::uint64_t>(in_uiSize, 2 * m_vBlock.size());
    else if (uiRecord <= 2 * in_uiSize && uiRecord - m_uiEnd <= *rest)
        uiSize = uiRecord; // at once with the target, rather than twice
    try
    {
        m_vBlock.reserve(uiSize);
    }
    catch (const std::exception&)
    {
        m_bCut = true;
        QC_ERROR("The record after pattern " << m_uiPattern << " of file " << m_strFilename << " needs "
                                             << uiSize << " bytes: more than the memory holds");
        return false;
    }
    m_vBlock.resize(uiSize);
    return true;
}

/// The header or the record goes on after the end of the file; always false.
bool BinaryFileDataGenerator::stopInRecord()
{
    if (!m_bCut && !m_file.hasFailed() && m_file.isOpen())
        QC_ERROR("MachineLearning::BinaryFileDataGenerator::readLine : file "
                 << m_strFilename << " is cut off after pattern " << m_uiPattern);
    m_bCut = true;
    return false;
}

bool BinaryFileDataGenerator::getInput(DoubleVector& out_vInput)
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::getInput");
    if (!m_bInputValid)
        return false;
    copyWords(m_vBlock.data() + m_uiRecord + FLAG, m_uiNbInput, out_vInput);
    return true;
}

bool BinaryFileDataGenerator::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::getTarget");
    if (!m_bTargetValid)
        return false;
    copyWords(m_vBlock.data() + m_uiRecord + m_uiTargetFlag + FLAG, m_uiNbTarget, out_vTarget);
    return true;
}

bool BinaryFileDataGenerator::generateBatch(PatternBatch& io_batch)
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::generateBatch");
    while (!io_batch.isFull())
    {
        double* pInput = nullptr;
        double* pTarget = nullptr;
        do
            readPattern();
        while (!m_bInputValid && !atEnd());
        if (!m_bInputValid || !io_batch.add(m_uiNbInput, m_bTargetValid ? m_uiNbTarget : 0, pInput, pTarget))
            return false;
        decode(m_vBlock.data() + m_uiRecord + FLAG, m_uiNbInput, pInput);
        if (m_bTargetValid)
            decode(m_vBlock.data() + m_uiRecord + m_uiTargetFlag + FLAG, m_uiNbTarget, pTarget);
    }
    return true;
}

std::ostream& BinaryFileDataGenerator::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("MachineLearning::BinaryFileDataGenerator::dumpStatus");
    out_stream << "Pattern " << m_uiPattern;
    if (!s_logger.isEnabledFor(LogLevel::DEBUGGING))
        return out_stream;
    DoubleVector vInput;
    DoubleVector vTarget;
    getInput(vInput);
    getTarget(vTarget);
    return out_stream << "\nInput: " << vInput << "\nTarget: " << vTarget;
}

template <class Archive>
void BinaryFileDataGenerator::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "patterns of a binary pattern file, as they stand there");
    serializeBase<DataGenerator>(io_archive, *this);
}

QC_ARCHIVES(BinaryFileDataGenerator);

BinaryFileWriter::BinaryFileWriter()
    : PatternFileWriter(s_logger)
{
}

BinaryFileWriter::~BinaryFileWriter()
{
    QC_TRACE("BinaryFileWriter dtor");
    closeOrTell();
}

void BinaryFileWriter::begin_i()
{
    m_bPendingMixed = false;
}

bool BinaryFileWriter::write(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget)
{
    QC_TRACE("MachineLearning::BinaryFileWriter::write");
    if (m_uiNbTarget == 0 && in_vTarget.empty())
    {
        holdBack(in_bReset, in_vInput);
        return true;
    }
    if (m_uiNbTarget == 0)
        writeHeader(in_vInput.size(), in_vTarget.size());
    if (!appendRecord(in_bReset, in_vInput, in_vTarget))
    {
        m_bLost = true;
        return false;
    }
    ++m_uiNbPattern;
    if (m_strBytes.size() >= BLOCK_SIZE || !isOpen())
        flush();
    return true;
}

/// Keeps a pattern for the time when the header is known.
void BinaryFileWriter::holdBack(bool in_bReset, const DoubleVector& in_vInput)
{
    m_bPendingMixed = m_bPendingMixed || (m_uiNbPattern != 0 && in_vInput.size() != m_uiPendingInput);
    m_uiPendingInput = in_vInput.size();
    m_strBytes.push_back(in_bReset ? 1 : 0);
    append(m_strBytes, in_vInput.begin(), in_vInput.size());
    m_strBytes.push_back(0);
    ++m_uiNbPattern;
    if (!isOpen())
        flush();
}

void BinaryFileWriter::writeHeader(std::uint64_t in_uiNbInput, std::uint64_t in_uiNbTarget)
{
    m_uiNbInput = in_uiNbInput;
    m_uiNbTarget = in_uiNbTarget;
    m_strBytes.reserve(BLOCK_SIZE + inputBytes(m_uiNbInput) + FLAG + targetBytes(m_uiNbTarget));
    std::string strHeader(MAGIC);
    append(strHeader, &m_uiNbInput, 1);
    append(strHeader, &m_uiNbTarget, 1);
    writeOut(strHeader);
    if (m_uiNbPattern == 0 || (!m_bPendingMixed && m_uiPendingInput == m_uiNbInput))
        return;
    m_bLost = true;
    QC_WARN("Patterns of other sizes stand before the first one with a target; "
            << m_strFilename << " cannot be read properly");
}

bool BinaryFileWriter::appendRecord(bool in_bReset, const DoubleVector& in_vInput,
                                    const DoubleVector& in_vTarget)
{
    m_strBytes.push_back(in_bReset ? 1 : 0);
    if (!QC_CHECK(in_vInput.size() == m_uiNbInput))
        return false;
    append(m_strBytes, in_vInput.begin(), in_vInput.size());
    m_strBytes.push_back(in_vTarget.empty() ? 0 : 1);
    if (in_vTarget.empty())
        return true;
    if (!QC_CHECK(in_vTarget.size() == m_uiNbTarget))
        return false;
    append(m_strBytes, in_vTarget.begin(), in_vTarget.size());
    return true;
}

void BinaryFileWriter::end_i()
{
    if (getNbPending() == 0)
        return;
    if (m_bKeptWithoutTargets && !m_bPendingMixed)
    {
        writeHeader(m_uiPendingInput, 0);
        return;
    }
    QC_WARN("Dropping " << getNbPending() << " patterns: none has a target, and " << m_strFilename
                        << " stays empty");
    m_bLost = true;
    m_strBytes.clear();
}

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::BinaryFileDataGenerator)
