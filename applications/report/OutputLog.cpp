#include "report/OutputLog.h"

#include "common/OutputFile.h"
#include "quillcast-core/Logger.h"
#include "report/ReportText.h"

#include <charconv>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.OutputLog");

constexpr std::size_t BUFFER_SIZE = 65536;

template <class Number>
void append(std::string& io_strBuffer, Number in_number)
{
    char digits[32];
    io_strBuffer.append(digits, std::to_chars(digits, std::end(digits), in_number).ptr);
}

} // namespace

bool OutputLog::open()
{
    QC_TRACE("OutputLog::open");
    if (!reportOutput(m_file, m_file.open()))
        return false;
    m_strBuffer = "recording\tpattern\ttime\ttarget\toutput\n";
    return true;
}

void OutputLog::startRecording(const std::string& in_strName)
{
    m_strBuffer += "# ";
    append(m_strBuffer, ++m_uiRecording);
    m_strBuffer += '\t' + ReportText::toOneLine(in_strName) + '\n';
    m_uiPattern = 0;
}

void OutputLog::write(const std::optional<double>& in_dTime, const DoubleVector* in_pTarget,
                      const DoubleVector& in_vOutput)
{
    append(m_strBuffer, m_uiRecording);
    m_strBuffer += '\t';
    append(m_strBuffer, ++m_uiPattern);
    m_strBuffer += '\t';
    if (in_dTime)
        append(m_strBuffer, *in_dTime);
    m_strBuffer += '\t';
    if (in_pTarget != nullptr)
        in_pTarget->appendTo(m_strBuffer);
    m_strBuffer += '\t';
    in_vOutput.appendTo(m_strBuffer);
    m_strBuffer += '\n';
    if (m_strBuffer.size() >= BUFFER_SIZE)
        flush();
}

/// What fails here fails in close as well.
void OutputLog::flush()
{
    m_file.write(m_strBuffer);
    m_strBuffer.clear();
}

bool OutputLog::close()
{
    QC_TRACE("OutputLog::close");
    flush();
    return reportOutput(m_file, m_file.commit());
}

} // namespace Vexalor::MachineLearning
