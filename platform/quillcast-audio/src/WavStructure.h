#pragma once

#include "quillcast-audio/CueSheet.h"
#include "quillcast-fileformat-iff/RiffFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// Where the parts of a WAV file lie: what reading and writing annotations need of the container.
class WavStructure
{
public:
    /// Reads the headers. False, with getError set, for what is no WAV file: no "fmt " before the samples or
    /// a damaged one, no "data" or several, a chunk of annotations that runs past the end, and for a source
    /// that fails.
    bool read(IffSource& io_source);

    const RiffFile& getRiff() const { return m_riff; }
    const WavFormat& getFormat() const { return m_format; }
    const IffChunk& getData() const { return m_data; }
    /// Frames by the headers; 0 for codings in which frames have no fixed size and which do not tell.
    std::uint64_t getFrameCount() const { return m_uiFrames; }
    /// Bytes of a frame; 0 for codings in which frames have no fixed size.
    std::uint64_t getFrameBytes() const;

    /// True when the header states a size and the file is shorter.
    bool isCut() const { return m_bCut; }

    /// "list" in lower case is written by some editors.
    static bool isList(const IffChunk& in_chunk);
    /// The type of a list, such as "adtl"; empty if it cannot be read.
    static std::string getListType(IffSource& io_source, const IffChunk& in_chunk);

    const std::string& getError() const { return m_strError; }

private:
    bool readChunks(IffSource& io_source);
    bool readChunk(IffSource& io_source, const IffChunk& in_chunk);
    bool readFormat(IffSource& io_source, const IffChunk& in_chunk);
    void countFrames();
    bool fail(const std::string& in_strError);

    RiffFile m_riff;
    WavFormat m_format;
    IffChunk m_data;
    std::uint64_t m_uiFactFrames = 0;
    std::uint64_t m_uiFrames = 0;
    bool m_bCut = false;
    std::string m_strError;
};

} // namespace Vexalor
