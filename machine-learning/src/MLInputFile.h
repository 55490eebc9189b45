#pragma once

#include "quillcast-core/Fallible.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Vexalor::MachineLearning
{

/// A file that is read in blocks of its user's: no buffer of its own. Call order: open (seek? read*)*.
class InputFile
{
public:
    InputFile() = default;
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// False when the file cannot be opened for reading, or is a directory.
    bool open(const char* in_filename);
    bool isOpen() const { return m_iFile >= 0; }

    /// Goes to a byte, counted from the start. False for a source that has no positions, such as a pipe.
    bool seek(std::uint64_t in_uiPosition);

    /// Reads at most in_uiSize bytes, at least one while there are any; 0 at the end, and after an error of
    /// the system (hasFailed; errno says which).
    std::size_t read(char* out_bytes, std::size_t in_uiSize);
    /// True when the last read met an error.
    bool hasFailed() const { return m_bFailed; }

    /// Bytes between the current position and the end of the file; unset where the system does not know.
    std::optional<std::uint64_t> getRest() const;
    /// Share of the file before the current position, from 0 to 1; unset where the system does not know.
    Fallible<double> getShareRead() const;

private:
    int m_iFile = -1;
    bool m_bFailed = false;
};

} // namespace Vexalor::MachineLearning
