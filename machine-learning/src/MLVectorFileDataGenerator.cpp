#include "MLVectorFileDataGenerator.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <cerrno>
#include <cstring>
#include <ostream>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.VectorFileDataGenerator");

constexpr std::string_view RESET_LINE = "reset";

} // namespace

bool VectorFileDataGenerator::gotoStart()
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::gotoStart");
    m_uiLine = 0;
    m_bPatternValid = false;
    m_bTargetValid = false;
    m_bResetPending = false;
    if (!QC_CHECK(m_pEntityToReset.isNull() || m_pEntityToReset->reset()))
        return false;
    if (m_reader.isOpen())
    {
        if (m_reader.rewind())
            return true;
        QC_ERROR("MachineLearning::VectorFileDataGenerator::gotoStart : failed to rewind file "
                 << m_strFilename);
        return false;
    }
    QC_DEBUG("Opening file " << m_strFilename);
    if (m_reader.open(m_strFilename.c_str()))
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
    return m_reader.atEnd();
}

bool VectorFileDataGenerator::readLine()
{
    QC_TRACE("MachineLearning::VectorFileDataGenerator::readLine");
    m_bPatternValid = false;
    m_bTargetValid = false;
    if (!nextPatternLine())
        return false;
    ++m_uiLine;
    if (!parseInput() || !makeInput_i(m_bResetPending, m_vInput))
    {
        QC_WARN("MachineLearning::VectorFileDataGenerator::readLine : failed to parse line "
                << m_uiLine << " of file " << m_strFilename << ". Ignoring");
        return false;
    }
    m_bPatternValid = true;
    const bool bTargetRead = parseTarget();
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
    const auto next = [this]
    {
        m_line = m_reader.nextLine();
        if (m_line == TextLineReader::Line::NONE && m_reader.hasFailed())
            QC_ERROR("failed to read file " << m_strFilename << " behind line " << m_uiLine << ": "
                                            << std::strerror(errno));
        return m_line != TextLineReader::Line::NONE;
    };
    if (!next())
        return false;
    if (m_line == TextLineReader::Line::STREAM || m_reader.text() != RESET_LINE)
        return true;
    m_bResetPending = true;
    return next();
}

bool VectorFileDataGenerator::parseInput()
{
    if (m_line == TextLineReader::Line::STREAM)
        return static_cast<bool>(m_vInput.read(m_reader.stream()));
    const std::string_view line = m_reader.text();
    m_pTargetText = m_vInput.parse(line.data(), line.data() + line.size());
    return m_pTargetText != nullptr;
}

bool VectorFileDataGenerator::parseTarget()
{
    if (m_line == TextLineReader::Line::STREAM)
        return static_cast<bool>(m_vTarget.read(m_reader.stream()));
    const std::string_view line = m_reader.text();
    return m_vTarget.parse(m_pTargetText, line.data() + line.size()) != nullptr;
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
    if (s_logger.isEnabledFor(LogLevel::DEBUG))
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

VectorFileWriter::~VectorFileWriter()
{
    QC_TRACE("VectorFileWriter dtor");
    if (!close())
        QC_ERROR("Could not write all patterns to " << m_strFilename);
}

bool VectorFileWriter::open(const char* in_filename)
{
    QC_TRACE("MachineLearning::VectorFileWriter::open");
    if (!close())
        QC_ERROR("Could not write all patterns to " << m_strFilename);
    m_strFilename = in_filename;
    m_file.open(m_strFilename, std::ios::binary | std::ios::trunc);
    if (!m_file)
    {
        QC_ERROR("Could not open file " << m_strFilename << " for output.");
        return false;
    }
    m_uiNbInput = 0;
    m_uiNbTarget = 0;
    m_uiNbPattern = 0;
    m_bLost = false;
    return true;
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
    m_strLine.clear();
    if (in_bReset)
        m_strLine.append(RESET_LINE).push_back('\n');
    in_vInput.appendTo(m_strLine);
    m_strLine.push_back(' ');
    in_vTarget.appendTo(m_strLine);
    m_strLine.push_back('\n');
    m_file.write(m_strLine.data(), static_cast<std::streamsize>(m_strLine.size()));
    m_file.flush();
    m_bLost = m_bLost || !m_file;
    ++m_uiNbPattern;
    return true;
}

bool VectorFileWriter::close()
{
    QC_TRACE("MachineLearning::VectorFileWriter::close");
    if (m_file.is_open())
    {
        m_file.close();
        m_bLost = m_bLost || !m_file;
    }
    return !std::exchange(m_bLost, false);
}

} // namespace Vexalor::MachineLearning

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::VectorFileDataGenerator)
