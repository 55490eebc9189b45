#pragma once

#include "quillcast-core/Object.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

/// File streams for very large pattern data: a byte stream that is spread over numbered part files, and many
/// small reads from one file. doc/formats.md gives the files of a split set. Failures are logged at error
/// level; open and close report them through the fail bit, read and write by returning false. Sizes are in
/// bytes, modes are std::ios_base::openmode.
namespace Vexalor::MachineLearning
{

/// The part of a file stream that all of these share.
class SimplifiedFileStream : public virtual Object
{
public:
    /// An open stream is closed first, and its state cleared.
    virtual void open(const char* in_filename, int in_iMode) = 0;
    virtual bool good() const = 0;
    virtual bool eof() const = 0;
    virtual bool fail() const = 0;
    virtual bool bad() const = 0;
    virtual void close() = 0;
    virtual bool is_open() const = 0;
};

/// Over a std::ifstream or a std::ofstream.
template <class Stream>
class SimplifiedFileStreamImpl : public virtual SimplifiedFileStream
{
public:
    void open(const char* in_filename, int in_iMode) override;
    bool good() const override { return m_stream.good(); }
    bool eof() const override { return m_stream.eof(); }
    bool fail() const override { return m_stream.fail(); }
    bool bad() const override { return m_stream.bad(); }
    void close() override;
    bool is_open() const override { return m_stream.is_open(); }

protected:
    Stream m_stream;
};

extern template class SimplifiedFileStreamImpl<std::ifstream>;
extern template class SimplifiedFileStreamImpl<std::ofstream>;

/// What writer and reader of a split set know: the set's base name B names its descriptor, and B.1, B.2...
/// its parts.
class SplitFileImpl
{
protected:
    ~SplitFileImpl() = default;

    /// Name of a part, counted from 1.
    std::string partName(std::uint64_t in_uiPart) const;

    std::string m_strBaseName;
    std::string m_strCurrentName;
    int m_iMode = 0;
    std::uint64_t m_uiNbSplitFiles = 0;
    std::uint64_t m_uiCurrent = 0; ///< part that is open
};

/// What the descriptor of a split set begins with.
inline constexpr std::string_view SPLIT_DESCRIPTOR_BEGINNING = "# Vexalor Split format description";

/// Reads the descriptor of a set. False, with the reason logged, when it is none.
bool readNumberOfSplitFiles(const std::string& in_strBaseName, std::uint64_t& out_uiNbSplitFiles);

/// Cuts a byte stream into parts of about a given size, between two writes. Call order: (open write* close)*;
/// the destructor closes as well, but only fail() after close tells whether everything reached the files.
class SplitFileWriter final
    : public SimplifiedFileStreamImpl<std::ofstream>
    , public SplitFileImpl
{
public:
    /// A new part begins once the current one holds more than that many MiB.
    explicit SplitFileWriter(std::uint64_t in_uiMaxMegabytes);
    /// Opens at once.
    SplitFileWriter(const char* in_baseName, std::uint64_t in_uiMaxMegabytes);
    ~SplitFileWriter() override;

    void open(const char* in_baseName, int in_iMode) override;
    /// When no new part can be begun the next write tries again; parts are numbered without a hole.
    bool write(const char* in_bytes, std::uint64_t in_uiSize);
    /// Closes the current part and writes the descriptor.
    void close() override;

private:
    bool beginPart(std::uint64_t in_uiPart);
    bool closePart();
    bool writeDescriptor() const;

    std::uint64_t m_uiMaxBytes;
    std::uint64_t m_uiPartBytes = 0;
    bool m_bSetOpen = false; ///< between open and close, whether a part is open or not
    bool m_bLost = false;    ///< bytes of an earlier part did not reach its file
};

/// Reads the parts of a set as one stream. Call order: (open read* close)*.
class SplitFileReader final
    : public SimplifiedFileStreamImpl<std::ifstream>
    , public SplitFileImpl
{
public:
    SplitFileReader() = default;
    /// Opens at once.
    explicit SplitFileReader(const char* in_baseName);

    /// The fail bit is set when the descriptor or the first part cannot be used.
    void open(const char* in_baseName, int in_iMode) override;
    /// True when all bytes came, and with fewer of them, possibly none, at the end of the last part. One read
    /// goes across one boundary at most: false when it would need a third part.
    bool read(char* out_bytes, std::uint64_t in_uiSize);
    /// Bytes that the last read delivered, whatever it returned.
    std::uint64_t gcount() const { return m_uiCount; }

private:
    bool openPart();

    std::uint64_t m_uiCount = 0;
};

/// Serves small reads from a chunk of the file that is held in memory. Call order: (open read* close)*.
class ByChunkFileReader final : public SimplifiedFileStreamImpl<std::ifstream>
{
public:
    /// Allocates that many bytes.
    explicit ByChunkFileReader(std::uint64_t in_uiChunkSize);
    /// Opens at once.
    ByChunkFileReader(const char* in_filename, std::uint64_t in_uiChunkSize);

    void open(const char* in_filename, int in_iMode) override;
    /// True when all bytes came. A read goes across one end of a chunk at most, so that one of in_uiChunkSize
    /// bytes always fits; what a refused read found stays for the next ones.
    bool read(char* out_bytes, std::uint64_t in_uiSize)
    {
        if (in_uiSize > m_uiValid - m_uiPosition)
            return readAcross(out_bytes, in_uiSize);
        take(out_bytes, in_uiSize);
        m_uiCount = in_uiSize;
        return true;
    }
    /// Bytes that the last read delivered, whatever it returned.
    std::uint64_t gcount() const { return m_uiCount; }

    bool good() const override { return !fail(); }
    /// True once the file is at its end and everything held was read.
    bool eof() const override;
    /// At the end of the file bytes that are still held keep the reader usable: false until eof.
    bool fail() const override;

private:
    bool readAcross(char* out_bytes, std::uint64_t in_uiSize);
    bool refill();
    void take(char* out_bytes, std::uint64_t in_uiSize)
    {
        std::copy_n(m_vChunk.data() + m_uiPosition, in_uiSize, out_bytes);
        m_uiPosition += in_uiSize;
    }

    std::vector<char> m_vChunk;
    std::uint64_t m_uiValid = 0;    ///< bytes in the chunk
    std::uint64_t m_uiPosition = 0; ///< of the next byte in the chunk
    std::uint64_t m_uiCount = 0;
    std::string m_strFilename;
};

} // namespace Vexalor::MachineLearning
