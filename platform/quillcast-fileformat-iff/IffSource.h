#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Vexalor
{

/// A seekable stream of known size, read by position. Nothing is read, and no memory taken, beyond the
/// stream's end.
class IffSource
{
public:
    /// The stream must outlive the source; nobody else may position it meanwhile.
    explicit IffSource(std::istream& io_stream);

    /// Finds the size. False for a stream that cannot be read or positioned.
    bool open();

    /// Bytes; 0 before open.
    std::uint64_t getSize() const { return m_uiSize; }

    /// Reads in_uiCount bytes. False if they do not all lie in the stream, or cannot be read.
    bool readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount);
    /// The same into a string, which is sized only when the bytes lie in the stream.
    bool readAt(std::uint64_t in_uiPosition, std::string& out_strBytes, std::uint64_t in_uiCount);

private:
    bool moveTo(std::uint64_t in_uiPosition);

    std::istream& m_stream;
    std::uint64_t m_uiSize = 0;
    std::uint64_t m_uiPosition = 0;
};

} // namespace Vexalor
