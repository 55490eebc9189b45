#pragma once

#include "quillcast-core/Fallible.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Vexalor
{

/// A file that is read: in order, in blocks of its user's, or by position, where small reads are served from
/// a buffer.
///
/// Call order: (open (seek? read*)* | openRegular (readAt | seek? read*)*)*. An error of the system while
/// reading is logged once at error level, with the name of the file and the place; it stays, as the end does,
/// until the file is positioned or opened anew.
class InputFile
{
public:
    InputFile() = default;
    ~InputFile();
    InputFile(InputFile&& io_other) noexcept;
    InputFile& operator=(InputFile&& io_other) noexcept;

    /// Opens what can be read in order: a file, a pipe, a device. An earlier file is closed. False, with
    /// getReason, for what cannot be read, for a directory and for a null name.
    bool open(const char* in_filename);
    /// Opens a regular file: only these have a size and can be read by position. Does not wait for somebody
    /// who writes into a pipe.
    bool openRegular(const char* in_filename);
    bool isOpen() const { return m_iFile >= 0; }

    /// The name that was given last; "" for null.
    const std::string& getFilename() const { return m_strFilename; }
    /// Why the last operation that failed did, without the name.
    const std::string& getReason() const { return m_strReason; }

    /// The next read begins at that byte, counted from the start. False for a source that has no positions.
    bool seek(std::uint64_t in_uiPosition);
    /// Reads at most in_uiSize bytes, at least one while there are any; 0 at the end, where it then stays,
    /// and after an error.
    std::size_t read(char* out_bytes, std::size_t in_uiSize);
    /// Reads from any byte; read goes on where it was. Less than asked for at the end, and after an error.
    std::size_t readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiSize);
    /// True after an error of the system, until the file is positioned or opened anew.
    bool hasFailed() const { return m_bFailed; }

    /// Bytes, when it was opened; of a regular file only.
    std::uint64_t getSize() const { return m_uiSize; }
    /// Bytes between the next read and the end of the file; unset where the system does not know.
    std::optional<std::uint64_t> getRest() const;
    /// Share of the file before the next read, from 0 to 1; unset where the system does not know.
    Fallible<double> getShareRead() const;

private:
    static constexpr std::size_t BUFFER_SIZE = 4096;

    bool openWith(const char* in_filename, int in_iFlags);
    bool refuse(const char* in_reason);
    void close();
    std::size_t fail(std::uint64_t in_uiPosition);
    std::size_t readBytesAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiSize);
    std::size_t copyFromBuffer(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiSize) const;

    int m_iFile = -1;
    std::string m_strFilename;
    std::string m_strReason;
    std::uint64_t m_uiSize = 0;
    bool m_bRegular = false;
    bool m_bAtEnd = false;
    bool m_bFailed = false;
    std::unique_ptr<char[]> m_pBuffer;
    std::uint64_t m_uiBufferStart = 0; ///< position of its first byte
    std::size_t m_uiBuffered = 0;
};

} // namespace Vexalor
