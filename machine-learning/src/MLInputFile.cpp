#include "MLInputFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vexalor::MachineLearning
{

InputFile::~InputFile()
{
    if (isOpen())
        ::close(m_iFile);
}

bool InputFile::open(const char* in_filename)
{
    const int iFile = ::open(in_filename, O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (iFile < 0)
        return false;
    if (fstat(iFile, &status) != 0 || S_ISDIR(status.st_mode))
    {
        ::close(iFile);
        return false;
    }
    if (isOpen())
        ::close(m_iFile);
    m_iFile = iFile;
    m_bFailed = false;
    return true;
}

bool InputFile::seek(std::uint64_t in_uiPosition)
{
    const auto iPosition = static_cast<off_t>(in_uiPosition);
    if (lseek(m_iFile, iPosition, SEEK_SET) != iPosition)
        return false;
    m_bFailed = false;
    return true;
}

std::size_t InputFile::read(char* out_bytes, std::size_t in_uiSize)
{
    ssize_t iRead = 0;
    do
        iRead = ::read(m_iFile, out_bytes, in_uiSize);
    while (iRead < 0 && errno == EINTR);
    m_bFailed = iRead < 0;
    return m_bFailed ? 0 : static_cast<std::size_t>(iRead);
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

} // namespace Vexalor::MachineLearning
