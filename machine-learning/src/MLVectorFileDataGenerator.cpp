#include "MLVectorFileDataGenerator.h"

#include "MLTextLineReader.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <ostream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.VectorFileDataGenerator");

constexpr std::string_view RESET_LINE = "reset";

using Line = TextLineReader::Line;

} // namespace

VectorFileDataGenerator::VectorFileDataGenerator()
    : m_pReader(std::make_unique<TextLineReader>())
{
}

VectorFileDataGenerator::~VectorFileDataGenerator() = default;

bool VectorFileDataGenerator::gotoStart()
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::gotoStart");
    m_uiLine = 0;
    m_bPatternValid = false;
    m_bTargetValid = false;
    m_bResetPending = false;
    if (!QC_CHECK(m_pEntityToReset.isNull() || m_pEntityToReset->reset()))
        return false;
    if (m_pReader->isOpen())
    {
        if (m_pReader->rewind())
            return true;
        QC_ERROR("MachineLearning::VectorFileDataGenerator::gotoStart : failed to rewind file "
                 << m_strFilename);
        return false;
    }
    QC_DEBUG("Opening file " << m_strFilename);
    if (m_pReader->open(m_strFilename.c_str()))
        return true;
    QC_ERROR("MachineLearning::VectorFileDataGenerator::gotoStart : failed to open file " << m_strFilename
                                                                                          << " for reading");
    return false;
}

bool VectorFileDataGenerator::generateNext()
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::generateNext");
    do
        readLine();
    while (!m_bPatternValid && !atEnd());
    return m_bPatternValid;
}

bool VectorFileDataGenerator::atEnd() const
{
    return m_pReader->atEnd();
}

bool VectorFileDataGenerator::readLine()
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::readLine");
    m_bPatternValid = false;
    m_bTargetValid = false;
    if (!nextPatternLine())
        return false;
    ++m_uiLine;
    const bool bInputRead = parseInput();
    const bool bTargetRead = bInputRead && parseTarget();
    if (m_pReader->hasFailed())
        return false; // in the middle of a long line
    if (!bInputRead || !makeInput_i(m_bResetPending, m_vInput))
    {
        QC_WARN("MachineLearning::VectorFileDataGenerator::readLine : failed to parse line "
                << m_uiLine << " of file " << m_strFilename << ". Ignoring");
        return false;
    }
    m_bPatternValid = true;
    if (!bTargetRead)
        QC_WARN("MachineLearning::VectorFileDataGenerator::readLine : failed to read target from line "
                << m_uiLine << ". Ignoring");
    m_bTargetValid = bTargetRead && !m_vTarget.empty();
    const bool bReset = m_bResetPending && !m_pEntityToReset.isNull();
    m_bResetPending = false;
    return (!bReset || m_pEntityToReset->reset()) && bTargetRead;
}

/// Goes to the next line that is to hold a pattern; remembers a mark of a new sequence before it.
bool VectorFileDataGenerator::nextPatternLine()
{
    const Line line = m_pReader->nextLine();
    if (line != Line::WHOLE || m_pReader->text() != RESET_LINE)
        return line != Line::NONE;
    m_bResetPending = true;
    return m_pReader->nextLine() != Line::NONE;
}

bool VectorFileDataGenerator::parseInput()
{
    if (m_pReader->getLine() == Line::STREAM)
        return static_cast<bool>(m_vInput.read(m_pReader->stream()));
    const std::string_view line = m_pReader->text();
    m_pTargetText = m_vInput.parse(line.data(), line.data() + line.size());
    return m_pTargetText != nullptr;
}

bool VectorFileDataGenerator::parseTarget()
{
    if (m_pReader->getLine() == Line::STREAM)
        return static_cast<bool>(m_vTarget.read(m_pReader->stream()));
    const std::string_view line = m_pReader->text();
    return m_vTarget.parse(m_pTargetText, line.data() + line.size()) != nullptr;
}

bool VectorFileDataGenerator::endedCleanly() const
{
    return !m_pReader->hasFailed();
}

Fallible<double> VectorFileDataGenerator::getShareRead() const
{
    return m_pReader->getShareRead();
}

bool VectorFileDataGenerator::getInput(DoubleVector& out_vInput)
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::getInput");
    if (!m_bPatternValid)
        return false;
    out_vInput = m_vInput;
    return true;
}

bool VectorFileDataGenerator::getTarget(DoubleVector& out_vTarget)
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::getTarget");
    if (!m_bTargetValid)
        return false;
    out_vTarget = m_vTarget;
    return true;
}

std::ostream& VectorFileDataGenerator::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::dumpStatus");
    out_stream << "Pattern " << m_uiLine;
    if (s_logger.isEnabledFor(LogLevel::DEBUGGING))
        out_stream << "\nInput: " << m_vInput << "\nTarget: " << m_vTarget;
    return out_stream;
}

template <class Archive>
void VectorFileDataGenerator::serialize(Archive& io_archive, const unsigned int)
{
    describeClass(io_archive, "patterns of a text pattern file, as they stand there");
    serializeBase<DataGenerator>(io_archive, *this);
}

QC_ARCHIVES(VectorFileDataGenerator);

VectorFileWriter::VectorFileWriter()
    : PatternFileWriter(s_logger)
{
}

VectorFileWriter::~VectorFileWriter()
{
    QC_TRACE("VectorFileWriter dtor");
    closeOrTell();
}

void VectorFileWriter::appendPattern(std::string& io_strText, bool in_bReset, const DoubleVector& in_vInput,
                                     const DoubleVector& in_vTarget)
{
    if (in_bReset)
        io_strText.append(RESET_LINE).push_back('\n');
    in_vInput.appendTo(io_strText);
    io_strText.push_back(' ');
    in_vTarget.appendTo(io_strText);
    io_strText.push_back('\n');
}

bool VectorFileWriter::write(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget)
{
    QC_TRACE("MachineLearning::VectorFileWriter::write");
    if (m_uiNbInput == 0)
        m_uiNbInput = in_vInput.size();
    if (m_uiNbTarget == 0)
        m_uiNbTarget = in_vTarget.size();
    if (!QC_CHECK(m_uiNbInput == in_vInput.size()))
        return false;
    if (!QC_CHECK(in_vTarget.empty() || m_uiNbTarget == in_vTarget.size()))
        return false;
    appendPattern(m_strBytes, in_bReset, in_vInput, in_vTarget);
    flush();
    ++m_uiNbPattern;
    return true;
}

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VectorFileDataGenerator)
