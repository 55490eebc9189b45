#include "quillcast-core/InputFile.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.core.InputFile");

} // namespace

InputFile::~InputFile()
{
    close();
}

InputFile::InputFile(InputFile&& io_other) noexcept
{
    *this = std::move(io_other);
}

InputFile& InputFile::operator=(InputFile&& io_other) noexcept
{
    std::swap(m_iFile, io_other.m_iFile);
    m_strFilename.swap(io_other.m_strFilename);
    m_strReason.swap(io_other.m_strReason);
    std::swap(m_uiSize, io_other.m_uiSize);
    std::swap(m_bRegular, io_other.m_bRegular);
    std::swap(m_bAtEnd, io_other.m_bAtEnd);
    std::swap(m_bFailed, io_other.m_bFailed);
    m_pBuffer.swap(io_other.m_pBuffer);
    std::swap(m_uiBufferStart, io_other.m_uiBufferStart);
    std::swap(m_uiBuffered, io_other.m_uiBuffered);
    return *this;
}

bool InputFile::open(const char* in_filename)
{
    QC_TRACE("InputFile::open");
    return openWith(in_filename, 0);
}

bool InputFile::openRegular(const char* in_filename)
{
    QC_TRACE("InputFile::openRegular");
    return openWith(in_filename, O_NONBLOCK) && (m_bRegular || refuse("is no regular file"));
}

bool InputFile::openWith(const char* in_filename, int in_iFlags)
{
    close();
    m_strFilename = in_filename == nullptr ? "" : in_filename;
    if (in_filename == nullptr)
        return refuse("no file name is given");
    struct stat status = {};
    m_iFile = ::open(in_filename, O_RDONLY | O_CLOEXEC | in_iFlags);
    if (m_iFile < 0 || fstat(m_iFile, &status) != 0)
        return refuse(std::strerror(errno));
    if (S_ISDIR(status.st_mode))
        return refuse(std::strerror(EISDIR));
    m_bRegular = S_ISREG(status.st_mode);
    m_uiSize = m_bRegular ? static_cast<std::uint64_t>(status.st_size) : 0;
    return true;
}

bool InputFile::refuse(const char* in_reason)
{
    m_strReason = in_reason;
    close();
    return false;
}

void InputFile::close()
{
    if (m_iFile >= 0)
        ::close(m_iFile);
    m_iFile = -1;
    m_uiSize = 0;
    m_bRegular = m_bAtEnd = m_bFailed = false;
    m_uiBuffered = 0;
}

/// Keeps the system's reason and tells it, the first time.
std::size_t InputFile::fail(std::uint64_t in_uiPosition)
{
    m_strReason = std::strerror(errno);
    if (!m_bFailed)
        QC_ERROR("Cannot read " << m_strFilename << " beyond byte " << in_uiPosition << ": " << m_strReason);
    m_bFailed = true;
    return 0;
}

bool InputFile::seek(std::uint64_t in_uiPosition)
{
    const auto iPosition = static_cast<off_t>(in_uiPosition);
    const off_t iReached = lseek(m_iFile, iPosition, SEEK_SET);
    if (iReached < 0 || iReached != iPosition)
    {
        m_strReason = std::strerror(errno);
        return false;
    }
    m_bAtEnd = m_bFailed = false;
    return true;
}

std::size_t InputFile::read(char* out_bytes, std::size_t in_uiSize)
{
    if (!isOpen() || m_bAtEnd || m_bFailed || in_uiSize == 0)
        return 0;
    ssize_t iRead = 0;
    do
        iRead = ::read(m_iFile, out_bytes, in_uiSize);
    while (iRead < 0 && errno == EINTR);
    m_bAtEnd = iRead == 0;
    if (iRead < 0)
        return fail(static_cast<std::uint64_t>(std::max<off_t>(0, lseek(m_iFile, 0, SEEK_CUR))));
    return static_cast<std::size_t>(iRead);
}

std::size_t InputFile::readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiSize)
{
    std::size_t uiDone = copyFromBuffer(in_uiPosition, out_bytes, in_uiSize);
    const std::size_t uiMissing = in_uiSize - uiDone;
    if (uiMissing == 0)
        return uiDone;
    if (uiMissing >= BUFFER_SIZE)
        return uiDone + readBytesAt(in_uiPosition + uiDone, out_bytes + uiDone, uiMissing);
    if (m_pBuffer == nullptr)
        m_pBuffer = std::make_unique<char[]>(BUFFER_SIZE);
    m_uiBufferStart = in_uiPosition + uiDone;
    m_uiBuffered = readBytesAt(m_uiBufferStart, m_pBuffer.get(), BUFFER_SIZE);
    uiDone += copyFromBuffer(m_uiBufferStart, out_bytes + uiDone, uiMissing);
    return uiDone;
}

std::size_t InputFile::copyFromBuffer(std::uint64_t in_uiPosition, char* out_bytes,
                                      std::size_t in_uiSize) const
{
    if (in_uiPosition < m_uiBufferStart || in_uiPosition - m_uiBufferStart >= m_uiBuffered)
        return 0;
    const auto uiOffset = static_cast<std::size_t>(in_uiPosition - m_uiBufferStart);
    const std::size_t uiCount = std::min(in_uiSize, m_uiBuffered - uiOffset);
    std::memcpy(out_bytes, m_pBuffer.get() + uiOffset, uiCount);
    return uiCount;
}

std::size_t InputFile::readBytesAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiSize)
{
    // No byte lies past the largest offset, which a damaged header may name.
    if (!isOpen() || in_uiPosition > std::uint64_t(std::numeric_limits<off_t>::max()) - in_uiSize)
        return 0;
    std::size_t uiDone = 0;
    while (uiDone < in_uiSize && !m_bFailed)
    {
        const ssize_t iRead = pread(m_iFile, out_bytes + uiDone, in_uiSize - uiDone,
                                    static_cast<off_t>(in_uiPosition + uiDone));
        if (iRead < 0 && errno == EINTR)
            continue;
        if (iRead < 0)
            fail(in_uiPosition + uiDone);
        if (iRead <= 0)
            break;
        uiDone += static_cast<std::size_t>(iRead);
    }
    return uiDone;
}

std::optional<std::uint64_t> InputFile::getRest() const
{
    struct stat status = {};
    const off_t iPosition = lseek(m_iFile, 0, SEEK_CUR);
    if (iPosition < 0 || fstat(m_iFile, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size > iPosition ? status.st_size - iPosition : 0);
}

Fallible<double> InputFile::getShareRead() const
{
    const std::optional<std::uint64_t> rest = getRest();
    if (!rest)
        return {};
    const auto dRead = static_cast<double>(lseek(m_iFile, 0, SEEK_CUR));
    return *rest == 0 ? 1.0 : dRead / (dRead + static_cast<double>(*rest));
}

} // namespace Vexalor
