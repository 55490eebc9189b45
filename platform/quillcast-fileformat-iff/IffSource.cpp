#include "quillcast-fileformat-iff/IffSource.h"

#include "quillcast-core/InputFile.h"

#include <istream>

namespace Vexalor
{

namespace
{

/// Skips up to this are read over: a seek throws the stream's buffer away.
constexpr std::uint64_t READ_OVER = 4096;

} // namespace

bool IffSource::readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount)
{
    if (!holds(in_uiPosition, in_uiCount) || m_bFailed)
        return false;
    m_bFailed = !readAt_i(in_uiPosition, out_bytes, in_uiCount);
    return !m_bFailed;
}

bool IffSource::readAt(std::uint64_t in_uiPosition, std::string& out_strBytes, std::uint64_t in_uiCount)
{
    if (!holds(in_uiPosition, in_uiCount))
        return false;
    out_strBytes.resize(in_uiCount);
    return readAt(in_uiPosition, out_strBytes.data(), in_uiCount);
}

IffFileSource::IffFileSource(InputFile& io_file)
    : IffSource(io_file.getSize())
    , m_file(io_file)
{
}

bool IffFileSource::readAt_i(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount)
{
    return m_file.readAt(in_uiPosition, out_bytes, in_uiCount) == in_uiCount;
}

IffStreamSource::IffStreamSource(std::istream& io_stream)
    : IffSource(0)
    , m_stream(io_stream)
{
    m_stream.seekg(0, std::ios::end);
    const std::streamoff size = m_stream.tellg();
    m_stream.seekg(0, std::ios::beg);
    m_bFailed = !m_stream || size < 0;
    m_uiSize = m_bFailed ? 0 : static_cast<std::uint64_t>(size);
}

bool IffStreamSource::moveTo(std::uint64_t in_uiPosition)
{
    if (in_uiPosition >= m_uiPosition && in_uiPosition - m_uiPosition <= READ_OVER)
        m_stream.ignore(static_cast<std::streamsize>(in_uiPosition - m_uiPosition));
    else
        m_stream.seekg(static_cast<std::streamoff>(in_uiPosition));
    m_uiPosition = in_uiPosition;
    return m_stream.good();
}

bool IffStreamSource::readAt_i(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount)
{
    if (in_uiPosition != m_uiPosition && !moveTo(in_uiPosition))
        return false;
    m_stream.read(out_bytes, static_cast<std::streamsize>(in_uiCount));
    m_uiPosition += in_uiCount;
    return static_cast<bool>(m_stream);
}

} // namespace Vexalor
