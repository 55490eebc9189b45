#include "quillcast-fileformat-iff/IffSource.h"

#include <istream>

namespace Vexalor
{

namespace
{

/// Skips up to this are read over: a seek throws the stream's buffer away.
constexpr std::uint64_t READ_OVER = 4096;

} // namespace

IffSource::IffSource(std::istream& io_stream)
    : m_stream(io_stream)
{
}

bool IffSource::open()
{
    m_stream.seekg(0, std::ios::end);
    const std::streamoff size = m_stream.tellg();
    m_stream.seekg(0, std::ios::beg);
    if (!m_stream || size < 0)
        return false;
    m_uiSize = static_cast<std::uint64_t>(size);
    m_uiPosition = 0;
    return true;
}

bool IffSource::moveTo(std::uint64_t in_uiPosition)
{
    if (in_uiPosition >= m_uiPosition && in_uiPosition - m_uiPosition <= READ_OVER)
        m_stream.ignore(static_cast<std::streamsize>(in_uiPosition - m_uiPosition));
    else
        m_stream.seekg(static_cast<std::streamoff>(in_uiPosition));
    m_uiPosition = in_uiPosition;
    return m_stream.good();
}

bool IffSource::readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount)
{
    if (in_uiCount > m_uiSize || in_uiPosition > m_uiSize - in_uiCount || !m_stream)
        return false;
    if (in_uiPosition != m_uiPosition && !moveTo(in_uiPosition))
        return false;
    m_stream.read(out_bytes, static_cast<std::streamsize>(in_uiCount));
    m_uiPosition += in_uiCount;
    return static_cast<bool>(m_stream);
}

bool IffSource::readAt(std::uint64_t in_uiPosition, std::string& out_strBytes, std::uint64_t in_uiCount)
{
    if (in_uiCount > m_uiSize || in_uiPosition > m_uiSize - in_uiCount)
        return false;
    out_strBytes.resize(in_uiCount);
    return readAt(in_uiPosition, out_strBytes.data(), in_uiCount);
}

} // namespace Vexalor
