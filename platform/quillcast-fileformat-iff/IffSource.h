#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Vexalor
{

class InputFile;

/// Bytes of known number, read by position. Nothing is read, and no memory taken, beyond their end.
class IffSource
{
public:
    virtual ~IffSource() = default;
    IffSource(const IffSource&) = delete;
    IffSource& operator=(const IffSource&) = delete;

    std::uint64_t getSize() const { return m_uiSize; }

    /// Reads in_uiCount bytes. False if they do not all lie in the source, or cannot be read.
    bool readAt(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount);
    /// The same into a string, which is sized only when the bytes lie in the source.
    bool readAt(std::uint64_t in_uiPosition, std::string& out_strBytes, std::uint64_t in_uiCount);
    /// True once bytes that lie in the source could not be read: what was read until then is not all there
    /// is.
    bool hasFailed() const { return m_bFailed; }

protected:
    explicit IffSource(std::uint64_t in_uiSize)
        : m_uiSize(in_uiSize)
    {
    }
    virtual bool readAt_i(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount) = 0;

    std::uint64_t m_uiSize;
    bool m_bFailed = false;

private:
    bool holds(std::uint64_t in_uiPosition, std::uint64_t in_uiCount) const
    {
        return in_uiCount <= m_uiSize && in_uiPosition <= m_uiSize - in_uiCount;
    }
};

/// An open regular file, which must outlive the source.
class IffFileSource final : public IffSource
{
public:
    explicit IffFileSource(InputFile& io_file);

private:
    bool readAt_i(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount) override;

    InputFile& m_file;
};

/// A stream, which must outlive the source; nobody else may position it meanwhile. One that cannot be
/// positioned has failed.
class IffStreamSource final : public IffSource
{
public:
    explicit IffStreamSource(std::istream& io_stream);

private:
    bool readAt_i(std::uint64_t in_uiPosition, char* out_bytes, std::size_t in_uiCount) override;
    bool moveTo(std::uint64_t in_uiPosition);

    std::istream& m_stream;
    std::uint64_t m_uiPosition = 0;
};

} // namespace Vexalor
