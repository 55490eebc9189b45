#include "quillcast-audio/BufferedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vexalor
{

BufferedFile::~BufferedFile()
{
    if (m_iFile >= 0)
        ::close(m_iFile);
}

bool BufferedFile::open(const char* in_filename, std::string& out_strReason)
{
    // A pipe must not block here.
    m_iFile = ::open(in_filename, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status;
    if (m_iFile < 0 || fstat(m_iFile, &status) != 0)
        out_strReason = std::strerror(errno);
    else if (S_ISDIR(status.st_mode))
        out_strReason = "is a directory";
    else if (!S_ISREG(status.st_mode))
        out_strReason = "is no regular file";
    else
    {
        m_uiSize = static_cast<std::uint64_t>(status.st_size);
        m_pBuffer = std::make_unique<char[]>(BLOCK);
        return true;
    }
    return false;
}

std::size_t BufferedFile::read(char* out_bytes, std::size_t in_uiCount)
{
    std::size_t uiDone = readFromBuffer(out_bytes, in_uiCount);
    if (in_uiCount - uiDone >= BLOCK)
    {
        const std::size_t uiRead = readAt(m_uiPosition, out_bytes + uiDone, in_uiCount - uiDone);
        m_uiPosition += uiRead;
        return uiDone + uiRead;
    }
    if (uiDone < in_uiCount)
    {
        m_uiBufferStart = m_uiPosition;
        m_uiBuffered = readAt(m_uiPosition, m_pBuffer.get(), BLOCK);
        uiDone += readFromBuffer(out_bytes + uiDone, in_uiCount - uiDone);
    }
    return uiDone;
}

std::size_t BufferedFile::readFromBuffer(char* out_bytes, std::size_t in_uiCount)
{
    if (m_uiPosition < m_uiBufferStart || m_uiPosition >= m_uiBufferStart + m_uiBuffered)
        return 0;
    const auto uiOffset = static_cast<std::size_t>(m_uiPosition - m_uiBufferStart);
    const std::size_t uiCount = std::min(in_uiCount, m_uiBuffered - uiOffset);
    std::memcpy(out_bytes, m_pBuffer.get() + uiOffset, uiCount);
    m_uiPosition += uiCount;
    return uiCount;
}

std::size_t BufferedFile::readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount) const
{
    std::size_t uiDone = 0;
    while (uiDone < in_uiCount)
    {
        const ssize_t iRead = pread(m_iFile, out_bytes + uiDone, in_uiCount - uiDone,
                                    static_cast<off_t>(in_uiPosition + uiDone));
        if (iRead < 0 && errno == EINTR)
            continue;
        if (iRead <= 0)
            break;
        uiDone += static_cast<std::size_t>(iRead);
    }
    return uiDone;
}

} // namespace Vexalor
