#pragma once

#include "MLPatternInput.h"

#include <cstdint>
#include <istream>
#include <streambuf>
#include <string_view>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Walks the lines of a file in blocks. A line that fits into the block is handed out as characters, without
/// a copy; a longer one is a stream that ends where the line ends, so that no line is held whole. A source
/// may have no line end at all: one of more than MAX_LINE bytes is a failure. Call order:
/// open (rewind? nextLine*)*.
class TextLineReader : private std::streambuf
{
public:
    /// Room for two vectors of as many values as they may have.
    static constexpr std::size_t MAX_LINE = std::size_t(1) << 30;

    enum class Line
    {
        NONE,   ///< end of file, or a failure (hasFailed tells)
        WHOLE,  ///< text() is the line
        STREAM, ///< stream() reads the line
    };

    TextLineReader();
    TextLineReader(const TextLineReader&) = delete;
    TextLineReader& operator=(const TextLineReader&) = delete;

    /// Stands before the first line. False when the file cannot be opened for reading, or is a directory.
    bool open(const char* in_filename);
    bool isOpen() const { return m_file.isOpen(); }
    /// Back to before the first line. False for a source that cannot be rewound.
    bool rewind();

    /// Goes to the next line, whatever was read of the current one. The last line needs no newline; what an
    /// error of the system cuts off is no line. After NONE there is none until open or rewind, even if the
    /// file grows. A reader that is not open has no line.
    Line nextLine();
    /// What nextLine found last.
    Line getLine() const { return m_line; }
    /// The whole line, without its newline; valid until the next call of nextLine.
    std::string_view text() const { return {eback(), static_cast<std::size_t>(egptr() - eback())}; }
    std::istream& stream() { return m_stream; }

    /// True once nextLine has found no further line.
    bool atEnd() const { return m_bAtEnd; }
    /// True after an error of the system while reading, also within the current line, and after a line that
    /// is too long; either has been logged at error level.
    bool hasFailed() const { return m_bTooLong || m_file.hasFailed(); }
    /// Share of the file that has been read; unset where the system does not know.
    Fallible<double> getShareRead() const { return m_file.getShareRead(); }

private:
    int_type underflow() override;
    void begin();
    Line findLine();
    bool fill();
    void skipLine();
    const char* findNewline(std::size_t in_uiFrom) const;

    std::istream m_stream;
    std::vector<char> m_vBlock;
    std::size_t m_uiNext = 0; ///< first character not handed out yet
    std::size_t m_uiEnd = 0;  ///< after the last character in the block
    bool m_bInLine = false;   ///< the current line goes on after the block
    bool m_bTooLong = false;
    std::uint64_t m_uiLine = 0; ///< number of the current line, from 1 on
    std::size_t m_uiLength = 0; ///< bytes of it so far, when it is a stream
    bool m_bAtEnd = false;
    Line m_line = Line::NONE;
    PatternInput m_file;
};

} // namespace Vexalor::MachineLearning
