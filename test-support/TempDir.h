#pragma once

#include <string>

namespace Vexalor::Testing
{

/// A fresh folder that is removed, with what it holds, when it goes.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// Path of an entry of that name; "" is the folder itself.
    std::string path(const std::string& in_strName = "") const;
    /// Writes a file and returns its path.
    std::string write(const std::string& in_strName, const std::string& in_strContent) const;

private:
    std::string m_strPath;
};

/// The whole content of a file; empty when it cannot be read.
std::string readFile(const std::string& in_strPath);

} // namespace Vexalor::Testing
