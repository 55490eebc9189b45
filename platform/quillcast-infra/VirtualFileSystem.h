#pragma once

#include "quillcast-core/Object.h"

#include <istream>
#include <locale>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <type_traits>

namespace Vexalor
{

/// An open file of a virtual file system. Its destructor closes it, but only close tells whether everything
/// that was written arrived.
class VirtualFile : public virtual Object
{
public:
    /// The file's bytes; lives as long as the file.
    virtual std::streambuf& getBuffer() = 0;

    /// Writes what is still buffered and closes. False, with the reason, if anything written did not arrive.
    virtual bool close(std::string& out_strReason) = 0;
};

/// Where files are found by path: the disk, or something that stands in for it. Implementations log nothing;
/// a reason is a short text without the path, for the message of the caller.
class VirtualFileSystem : public virtual Object
{
public:
    /// Null, with the reason, for what does not exist, may not be read or is a folder.
    virtual std::unique_ptr<VirtualFile> openForReading(const char* in_path,
                                                        std::string& out_strReason) const = 0;

    /// Creates the file or truncates it. Null, with the reason, when that is refused.
    virtual std::unique_ptr<VirtualFile> openForWriting(const char* in_path,
                                                        std::string& out_strReason) const = 0;

    /// True for an existing file or folder.
    virtual bool exists(const char* in_path) const = 0;
};

/// A stream that reads a file of a virtual file system, in the classic locale. The fail flag is set when the
/// file could not be opened.
template <class C> // named as the standard streams: NOLINTNEXTLINE(readability-identifier-naming)
class basic_vfsistream : public std::basic_istream<C>
{
    static_assert(std::is_same_v<C, char>, "files are sequences of bytes");

public:
    /// Opens the file. The file system is not needed afterwards.
    basic_vfsistream(const VirtualFileSystem& in_fileSystem, const char* in_path)
        : std::basic_istream<C>(nullptr)
        , m_strPath(in_path)
        , m_pFile(in_fileSystem.openForReading(in_path, m_strReason))
    {
        if (m_pFile == nullptr)
            this->setstate(std::ios_base::failbit);
        else
            this->rdbuf(&m_pFile->getBuffer());
        this->imbue(std::locale::classic());
    }

    /// The path as it was given.
    const std::string& getPath() const { return m_strPath; }
    /// Why the file could not be opened; empty otherwise.
    const std::string& getReason() const { return m_strReason; }

private:
    std::string m_strPath;
    std::string m_strReason;
    std::unique_ptr<VirtualFile> m_pFile;
};

/// A stream that writes a file of a virtual file system, in the classic locale: write* close.
template <class C> // named as the standard streams: NOLINTNEXTLINE(readability-identifier-naming)
class basic_vfsostream : public std::basic_ostream<C>
{
    static_assert(std::is_same_v<C, char>, "files are sequences of bytes");

public:
    /// Creates or truncates the file; the fail flag is set when that was refused. The file system is not
    /// needed afterwards.
    basic_vfsostream(const VirtualFileSystem& in_fileSystem, const char* in_path)
        : std::basic_ostream<C>(nullptr)
        , m_strPath(in_path)
        , m_pFile(in_fileSystem.openForWriting(in_path, m_strReason))
    {
        if (m_pFile == nullptr)
            this->setstate(std::ios_base::failbit);
        else
            this->rdbuf(&m_pFile->getBuffer());
        this->imbue(std::locale::classic());
    }

    /// Closes the file. False, with the reason kept and the bad flag set, if it was never open or anything
    /// written did not arrive.
    bool close()
    {
        if (m_pFile == nullptr)
            return false;
        const bool bGood = this->good();
        const bool bClosed = m_pFile->close(m_strReason);
        if (!bGood && bClosed)
            m_strReason = "an earlier write failed";
        if (!bGood || !bClosed)
            this->setstate(std::ios_base::badbit);
        return bGood && bClosed;
    }

    /// The path as it was given.
    const std::string& getPath() const { return m_strPath; }
    /// Why opening or closing failed; empty otherwise.
    const std::string& getReason() const { return m_strReason; }

private:
    std::string m_strPath;
    std::string m_strReason;
    std::unique_ptr<VirtualFile> m_pFile;
};

using vfsistream = basic_vfsistream<char>;
using vfsostream = basic_vfsostream<char>;

} // namespace Vexalor
