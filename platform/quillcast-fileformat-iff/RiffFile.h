#pragma once

#include "quillcast-fileformat-iff/IffChunkWalker.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor
{

/// The top level of a RIFF, RF64 or BW64 file: its header and where its chunks lie. The size in the header is
/// not trusted: chunks are walked to the end of the file.
class RiffFile
{
public:
    /// Header of the file: container id, size, form type.
    static constexpr std::uint64_t HEADER_SIZE = 12;
    /// Files of more chunks are refused.
    static constexpr std::size_t MAX_CHUNKS = 65536;

    /// Reads the header, a "ds64" chunk and the chunk headers. The chunk of the id in_strOpenEnded, which
    /// carries the samples, may run past the end of the file. False, with getError set, for what is no such
    /// file.
    bool read(IffSource& io_source, const std::string& in_strOpenEnded);

    const std::string& getContainer() const { return m_strContainer; } ///< "RIFF", "RF64" or "BW64"
    const std::string& getFormType() const { return m_strFormType; }   ///< such as "WAVE"
    std::uint64_t getDeclaredSize() const { return m_uiDeclaredSize; } ///< of the file, header included
    /// True for the containers with 64-bit sizes in a "ds64" chunk.
    bool hasLongSizes() const { return m_strContainer != "RIFF"; }

    /// True for the ids that the files begin with.
    static bool isContainer(std::string_view in_id);

    /// In the order of the file; only the last one may be incomplete.
    const std::vector<IffChunk>& getChunks() const { return m_vChunks; }
    /// Where the chunks end; what follows up to the end of the file is no chunk.
    std::uint64_t getChunksEnd() const { return m_uiChunksEnd; }

    const std::string& getError() const { return m_strError; }

private:
    bool readContainer(IffSource& io_source);
    bool readLongSizes(IffSource& io_source, IffChunkWalker& io_walker);
    bool fail(const std::string& in_strError);

    std::string m_strContainer;
    std::string m_strFormType;
    std::uint64_t m_uiDeclaredSize = 0;
    std::vector<IffChunk> m_vChunks;
    std::uint64_t m_uiChunksEnd = 0;
    std::string m_strError;
};

} // namespace Vexalor
