#include "quillcast-infra/DiskFileSystem.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace Vexalor
{

namespace
{

std::string lastError()
{
    return errno == 0 ? std::string("unknown error") : std::generic_category().message(errno);
}

class DiskFile final : public VirtualFile
{
public:
    bool open(const std::string& in_strPath, std::ios_base::openmode in_mode)
    {
        errno = 0;
        return m_buffer.open(in_strPath, in_mode | std::ios_base::binary) != nullptr;
    }

    std::streambuf& getBuffer() override { return m_buffer; }

    bool close(std::string& out_strReason) override
    {
        errno = 0;
        if (m_buffer.close() != nullptr)
            return true;
        out_strReason = lastError();
        return false;
    }

private:
    std::filebuf m_buffer;
};

std::unique_ptr<VirtualFile> open(const std::string& in_strPath, std::ios_base::openmode in_mode,
                                  std::string& out_strReason)
{
    // The system opens a folder for reading without complaint, and only the first read fails.
    std::error_code error;
    if (std::filesystem::is_directory(in_strPath, error))
    {
        out_strReason = std::generic_category().message(EISDIR);
        return nullptr;
    }
    auto pFile = std::make_unique<DiskFile>();
    if (!pFile->open(in_strPath, in_mode))
    {
        out_strReason = lastError();
        return nullptr;
    }
    return pFile;
}

} // namespace

bool DiskFileSystem::setWorkingDirectory(const char* in_path)
{
    const std::string strPath = getFullPath(in_path);
    std::error_code error;
    if (!std::filesystem::is_directory(strPath, error))
        return false;
    m_strWorkingDirectory = strPath;
    return true;
}

std::string DiskFileSystem::getFullPath(const char* in_path) const
{
    return (std::filesystem::path(m_strWorkingDirectory) / in_path).string();
}

std::unique_ptr<VirtualFile> DiskFileSystem::openForReading(const char* in_path,
                                                            std::string& out_strReason) const
{
    return open(getFullPath(in_path), std::ios_base::in, out_strReason);
}

std::unique_ptr<VirtualFile> DiskFileSystem::openForWriting(const char* in_path,
                                                            std::string& out_strReason) const
{
    return open(getFullPath(in_path), std::ios_base::out | std::ios_base::trunc, out_strReason);
}

bool DiskFileSystem::exists(const char* in_path) const
{
    std::error_code error;
    return std::filesystem::exists(getFullPath(in_path), error);
}

} // namespace Vexalor
