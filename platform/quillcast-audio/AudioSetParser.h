#pragma once

#include "quillcast-core/StringVector.h"

#include <cstddef>
#include <string>

namespace Vexalor
{

/// Reads an audio set: a list of recordings. UTF-8, with or without a byte order mark; lines end with LF or
/// CRLF; one path a line; blank lines and lines that begin with "#" are skipped. A relative path counts from
/// the folder of the list.
///
/// Call order: (open | setFilenames | rewind | next)*.
class AudioSetParser
{
public:
    /// Lists with more are refused.
    static constexpr std::size_t MOST_BYTES = std::size_t(256) << 20;
    static constexpr std::size_t MOST_RECORDINGS = std::size_t(1) << 22;

    /// Reads a list, in place of an earlier one, and stands before its first recording. The recordings
    /// themselves are not looked at. False, with the reason logged and the earlier list kept, if it cannot be
    /// read or is no text.
    bool open(const char* in_filename);
    /// Takes over a list that is no file, and stands before its first recording.
    void setFilenames(StringVector in_vFilenames);

    /// Back to before the first recording.
    void rewind() { m_uiNext = 0; }
    /// False when no recording is left.
    bool hasNext() const { return m_uiNext < m_vFilenames.size(); }
    /// Moves to the next recording. False, with out_strFilename untouched, when none is left.
    bool next(std::string& out_strFilename);

    /// All recordings, in the order of the list.
    const StringVector& getFilenames() const { return m_vFilenames; }

private:
    StringVector m_vFilenames;
    std::size_t m_uiNext = 0;
};

} // namespace Vexalor
