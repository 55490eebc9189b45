#include "test-support/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Vexalor::Testing
{

TempDir::TempDir()
    : m_strPath((std::filesystem::temp_directory_path() / "qc-test-XXXXXX").string())
{
    if (mkdtemp(m_strPath.data()) == nullptr)
        throw std::runtime_error("cannot create " + m_strPath);
}

TempDir::~TempDir()
{
    std::error_code error;
    std::filesystem::remove_all(m_strPath, error);
}

std::string TempDir::path(const std::string& in_strName) const
{
    return in_strName.empty() ? m_strPath : m_strPath + "/" + in_strName;
}

std::string TempDir::write(const std::string& in_strName, const std::string& in_strContent) const
{
    std::ofstream file(path(in_strName), std::ios::binary);
    file << in_strContent;
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path(in_strName));
    return path(in_strName);
}

std::string readFile(const std::string& in_strPath)
{
    std::ifstream file(in_strPath, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

} // namespace Vexalor::Testing
