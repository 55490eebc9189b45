#include "MLTextLineReader.h"

#include "quillcast-core/Logger.h"

#include <cstring>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.TextLineReader");

constexpr std::size_t BLOCK_SIZE = std::size_t(1) << 18;

} // namespace

TextLineReader::TextLineReader()
    : m_stream(this)
{
}

bool TextLineReader::open(const char* in_filename)
{
    if (!m_file.open(in_filename))
        return false;
    m_vBlock.resize(BLOCK_SIZE);
    begin();
    return true;
}

bool TextLineReader::rewind()
{
    if (!m_file.seek(0))
        return false;
    begin();
    return true;
}

void TextLineReader::begin()
{
    m_uiNext = m_uiEnd = 0;
    m_bInLine = m_bAtEnd = m_bTooLong = false;
    m_uiLine = 0;
    m_line = Line::NONE;
}

const char* TextLineReader::findNewline(std::size_t in_uiFrom) const
{
    return static_cast<const char*>(std::memchr(m_vBlock.data() + in_uiFrom, '\n', m_uiEnd - in_uiFrom));
}

TextLineReader::Line TextLineReader::nextLine()
{
    if (m_bInLine)
        skipLine();
    m_line = isOpen() && !m_bAtEnd && !m_bTooLong ? findLine() : Line::NONE;
    ++m_uiLine;
    m_bAtEnd = m_line == Line::NONE;
    return m_line;
}

TextLineReader::Line TextLineReader::findLine()
{
    const char* pNewline = findNewline(m_uiNext);
    while (pNewline == nullptr)
    {
        const std::size_t uiSearched = m_uiEnd - m_uiNext;
        if (!fill())
            break;
        pNewline = findNewline(uiSearched);
    }
    char* pBegin = m_vBlock.data() + m_uiNext;
    char* pEnd =
        pNewline == nullptr ? m_vBlock.data() + m_uiEnd : m_vBlock.data() + (pNewline - m_vBlock.data());
    if (pNewline == nullptr && (m_file.hasFailed() || pBegin == pEnd))
        return Line::NONE;
    setg(pBegin, pBegin, pEnd);
    m_bInLine = pNewline == nullptr && m_uiEnd - m_uiNext == m_vBlock.size();
    m_uiNext = static_cast<std::size_t>(pEnd - m_vBlock.data()) + (pNewline == nullptr ? 0 : 1);
    if (!m_bInLine)
        return Line::WHOLE;
    m_stream.clear();
    m_uiLength = m_vBlock.size();
    return Line::STREAM;
}

/// Moves what is left to the front of the block and reads on after it. False when the block is full already,
/// or when there is nothing more to read.
bool TextLineReader::fill()
{
    const std::size_t uiLeft = m_uiEnd - m_uiNext;
    if (m_uiNext != 0)
        std::memmove(m_vBlock.data(), m_vBlock.data() + m_uiNext, uiLeft);
    m_uiNext = 0;
    m_uiEnd = uiLeft;
    if (m_uiEnd == m_vBlock.size())
        return false;
    const std::size_t uiRead = m_file.read(m_vBlock.data() + m_uiEnd, m_vBlock.size() - m_uiEnd);
    if (uiRead == 0)
        return false;
    m_uiEnd += uiRead;
    return true;
}

/// The next part of a line that is longer than the block.
TextLineReader::int_type TextLineReader::underflow()
{
    if (!m_bInLine || !fill())
    {
        m_bInLine = false;
        return traits_type::eof();
    }
    const char* pNewline = findNewline(0);
    char* pBegin = m_vBlock.data();
    const std::size_t uiPart = pNewline == nullptr ? m_uiEnd : static_cast<std::size_t>(pNewline - pBegin);
    m_uiLength += uiPart;
    if (m_uiLength > MAX_LINE)
    {
        QC_ERROR("Line " << m_uiLine << " of file " << m_file.getFilename() << " has more than " << MAX_LINE
                         << " bytes");
        m_bTooLong = true;
        m_bInLine = false;
        return traits_type::eof();
    }
    setg(pBegin, pBegin, pBegin + uiPart);
    m_uiNext = pNewline == nullptr ? m_uiEnd : uiPart + 1;
    m_bInLine = pNewline == nullptr;
    return uiPart == 0 ? traits_type::eof() : traits_type::to_int_type(*pBegin);
}

void TextLineReader::skipLine()
{
    while (m_bInLine)
        underflow();
}

} // namespace Vexalor::MachineLearning
