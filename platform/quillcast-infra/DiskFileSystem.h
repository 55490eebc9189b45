#pragma once

#include "quillcast-infra/VirtualFileSystem.h"

namespace Vexalor
{

/// The files of the machine. Relative paths are joined to a working directory of the object's own; that of
/// the process is never changed, and serves until setWorkingDirectory.
class DiskFileSystem : public virtual VirtualFileSystem
{
public:
    /// False, with the earlier one kept, when the path is no folder. A relative path is joined to the earlier
    /// one.
    bool setWorkingDirectory(const char* in_path);
    /// Empty until it was set.
    const std::string& getWorkingDirectory() const { return m_strWorkingDirectory; }

    /// The path as the process sees it.
    std::string getFullPath(const char* in_path) const;

    std::unique_ptr<VirtualFile> openForReading(const char* in_path,
                                                std::string& out_strReason) const override;
    std::unique_ptr<VirtualFile> openForWriting(const char* in_path,
                                                std::string& out_strReason) const override;
    bool exists(const char* in_path) const override;

private:
    std::string m_strWorkingDirectory;
};

} // namespace Vexalor
