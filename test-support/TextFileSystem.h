#pragma once

#include "quillcast-infra/VirtualFileSystem.h"

#include <map>
#include <sstream>
#include <string>
#include <utility>

namespace Vexalor::Testing
{

/// Files in memory, by their paths, that can be read.
class TextFileSystem : public virtual VirtualFileSystem
{
public:
    explicit TextFileSystem(std::map<std::string, std::string> in_texts)
        : m_texts(std::move(in_texts))
    {
    }

    std::unique_ptr<VirtualFile> openForReading(const char* in_path,
                                                std::string& out_strReason) const override
    {
        if (exists(in_path))
            return std::make_unique<File>(m_texts.at(in_path));
        out_strReason = "there is no such file";
        return nullptr;
    }
    std::unique_ptr<VirtualFile> openForWriting(const char*, std::string&) const override { return nullptr; }
    bool exists(const char* in_path) const override { return m_texts.count(in_path) != 0; }

private:
    class File : public VirtualFile
    {
    public:
        explicit File(const std::string& in_strText)
            : m_buffer(in_strText, std::ios::in)
        {
        }
        std::streambuf& getBuffer() override { return m_buffer; }
        bool close(std::string&) override { return true; }

    private:
        std::stringbuf m_buffer;
    };

    std::map<std::string, std::string> m_texts;
};

} // namespace Vexalor::Testing
