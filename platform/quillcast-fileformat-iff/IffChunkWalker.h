#pragma once

#include "quillcast-fileformat-iff/IffSource.h"

#include <cstdint>
#include <map>
#include <string>

namespace Vexalor
{

/// Where one chunk lies: an id of 4 characters, a 32-bit size, the data, and a pad byte when the size is odd.
struct IffChunk
{
    static constexpr std::uint64_t HEADER_SIZE = 8;

    std::string m_strId;            ///< 4 printable characters
    std::uint64_t m_uiPosition = 0; ///< of the id, in bytes from the start of the stream
    std::uint64_t m_uiDeclared = 0; ///< bytes of data that the file declares
    std::uint64_t m_uiSize = 0;     ///< bytes of data that are there
    std::uint64_t m_uiNext = 0;     ///< where the next chunk begins, after any pad byte
    /// False when the chunk runs past the end of what holds it; its data cannot be trusted then.
    bool m_bComplete = false;

    std::uint64_t getDataPosition() const { return m_uiPosition + HEADER_SIZE; }
};

/// Walks the chunks between two positions of a source: next*, until it returns false. Reads nothing but their
/// headers, in time and memory that do not depend on any declared size.
///
/// A missing pad byte is forgiven where nothing else makes sense: the byte in its place is not zero, a chunk
/// of a well-known id that fits begins right there, and none begins one byte later.
class IffChunkWalker
{
public:
    /// in_uiEnd is cut to the source's size. The source must outlive the walker.
    IffChunkWalker(IffSource& io_source, std::uint64_t in_uiBegin, std::uint64_t in_uiEnd);

    /// The next chunk. A chunk that is not complete is the last one, but for an open-ended one
    /// (setOpenEnded). False at the end, or where the bytes cannot be a chunk: getPosition tells where.
    bool next(IffChunk& out_chunk);

    /// Where the next chunk begins, or, after next returned false, where the chunks end.
    std::uint64_t getPosition() const { return m_uiPosition; }

    /// A true size for chunks of that id whose declared one is 0xFFFFFFFF.
    void setLongSize(const std::string& in_strId, std::uint64_t in_uiSize)
    {
        m_longSizes[in_strId] = in_uiSize;
    }
    /// Chunks of that id end where the data end when they run past them, and are complete then: a recording
    /// that was streamed or cut. A size of 0 that is not followed by a chunk or the end counts as such, too.
    void setOpenEnded(const std::string& in_strId) { m_strOpenEnded = in_strId; }

private:
    bool readHeader(IffChunk& out_chunk);
    bool isMissingPad(std::uint64_t in_uiEnd);
    std::string peekId(std::uint64_t in_uiPosition);
    bool isWellKnownAt(std::uint64_t in_uiPosition);
    bool isChunkAt(std::uint64_t in_uiPosition);

    IffSource& m_source;
    std::uint64_t m_uiPosition;
    std::uint64_t m_uiEnd;
    std::map<std::string, std::uint64_t> m_longSizes;
    std::string m_strOpenEnded;
};

} // namespace Vexalor
