#include "quillcast-core/OS.h"

#include <filesystem>

namespace Vexalor::OS
{

bool isPathRelative(const char* in_path)
{
    return std::filesystem::path(in_path).is_relative();
}

bool getCanonicalPath(const char* in_path, std::string& out_strPath)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(in_path, error);
    if (error)
        return false;
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
    if (error)
        return false;
    out_strPath = canonical.string();
    return true;
}

} // namespace Vexalor::OS
