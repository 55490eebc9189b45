#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Vexalor
{

/// Bytes of a regular file, read from where one goes. Small reads are served from a buffer, since a header is
/// read in pieces of a few bytes; large ones go past it.
class BufferedFile
{
public:
    BufferedFile() = default;
    ~BufferedFile();
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;

    /// Once. False, with the reason, for what is no regular file or cannot be read.
    bool open(const char* in_filename, std::string& out_strReason);

    /// Bytes, when it was opened.
    std::uint64_t getSize() const { return m_uiSize; }
    std::uint64_t getPosition() const { return m_uiPosition; }
    /// The next byte to read; it may lie behind the end.
    void seek(std::uint64_t in_uiPosition) { m_uiPosition = in_uiPosition; }
    /// How many bytes were read: less than asked for at the end of the file, or when an error occurred.
    std::size_t read(char* out_bytes, std::size_t in_uiCount);

private:
    static constexpr std::size_t BLOCK = 4096;

    std::size_t readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount) const;
    std::size_t readFromBuffer(char* out_bytes, std::size_t in_uiCount);

    int m_iFile = -1;
    std::uint64_t m_uiSize = 0;
    std::uint64_t m_uiPosition = 0;
    std::unique_ptr<char[]> m_pBuffer;
    std::uint64_t m_uiBufferStart = 0; ///< position of its first byte
    std::size_t m_uiBuffered = 0;
};

} // namespace Vexalor
