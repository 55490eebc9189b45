#include "MLPatternFileWriter.h"

#include "MLHelpers.h"
#include "quillcast-core/Assertion.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace Vexalor::MachineLearning
{

PatternFileWriter::PatternFileWriter(Logger& in_logger)
    : m_logger(in_logger)
{
    // m_strBytes is the buffer.
    m_file.rdbuf()->pubsetbuf(nullptr, 0);
}

PatternFileWriter::~PatternFileWriter() = default;

bool PatternFileWriter::isOpen() const
{
    return m_file.is_open() || m_pSet != nullptr;
}

bool PatternFileWriter::openFile()
{
    m_pSet.reset();
    if (!m_splitSize)
    {
        m_file.open(m_strFilename, std::ios::binary | std::ios::trunc);
        return static_cast<bool>(m_file);
    }
    m_pSet = std::make_unique<SplitFileWriter>(*m_splitSize);
    m_pSet->open(m_strFilename.c_str(), std::ios::binary | std::ios::trunc);
    if (m_pSet->fail())
        m_pSet.reset();
    return m_pSet != nullptr;
}

bool PatternFileWriter::open(const char* in_filename)
{
    Logger& s_logger = m_logger;
    QC_TRACE("MachineLearning::PatternFileWriter::open");
    if (!QC_CHECK(in_filename != nullptr))
        return false;
    closeOrTell();
    m_strFilename = in_filename;
    if (!openFile())
    {
        QC_ERROR("Could not open file " << m_strFilename << " for output.");
        return false;
    }
    m_strBytes.clear();
    m_uiNbInput = 0;
    m_uiNbTarget = 0;
    m_uiNbPattern = 0;
    begin_i();
    return true;
}

void PatternFileWriter::setCurrentFilename(const char* in_filename)
{
    Logger& s_logger = m_logger;
    if (QC_CHECK(in_filename != nullptr))
        m_strFilename = in_filename;
}

void PatternFileWriter::writeOut(std::string_view in_bytes)
{
    if (m_pSet != nullptr)
    {
        m_bLost = !m_pSet->write(in_bytes.data(), in_bytes.size()) || m_bLost;
        return;
    }
    const bool bWasGood = m_file.is_open() && m_file.good();
    m_file.write(in_bytes.data(), static_cast<std::streamsize>(in_bytes.size()));
    noteLoss(bWasGood);
}

void PatternFileWriter::noteLoss(bool in_bWasGood)
{
    Logger& s_logger = m_logger;
    m_bLost = m_bLost || !m_file;
    if (in_bWasGood && !m_file)
        QC_WARN(m_strFilename << ": " << std::strerror(errno));
}

void PatternFileWriter::flush()
{
    writeOut(m_strBytes);
    m_strBytes.clear();
}

bool PatternFileWriter::close()
{
    Logger& s_logger = m_logger;
    QC_TRACE("MachineLearning::PatternFileWriter::close");
    if (isOpen())
    {
        end_i();
        flush();
        closeFile();
    }
    return !std::exchange(m_bLost, false);
}

void PatternFileWriter::closeFile()
{
    if (m_pSet != nullptr)
    {
        m_pSet->close();
        m_bLost = m_pSet->fail() || m_bLost;
        m_pSet.reset();
        return;
    }
    const bool bWasGood = m_file.good();
    m_file.close();
    noteLoss(bWasGood);
}

void PatternFileWriter::closeOrTell()
{
    Logger& s_logger = m_logger;
    if (!close())
        QC_ERROR("Could not write all patterns to " << m_strFilename);
}

} // namespace Vexalor::MachineLearning
