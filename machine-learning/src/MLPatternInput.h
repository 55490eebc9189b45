#pragma once

#include "quillcast-core/InputFile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// The bytes of a pattern file, which may be a split set (doc/formats.md, "Split sets"): its parts are read
/// as if they were one file. Call order: (open (seek? read*)*)*. Errors as of InputFile.
class PatternInput
{
public:
    /// Opens a file, or all parts of the set whose descriptor it is. False, with the reason logged for a set
    /// that is not whole, when it cannot be read.
    bool open(const char* in_filename);
    bool isOpen() const { return m_file.isOpen(); }
    /// Of the file; of a set that of the part that is read.
    const std::string& getFilename() const { return m_file.getFilename(); }

    /// The next read begins at that byte. False for a source that has no positions.
    bool seek(std::uint64_t in_uiPosition);
    /// Reads at most in_uiSize bytes, at least one while there are any; 0 at the end and after an error.
    std::size_t read(char* out_bytes, std::size_t in_uiSize);
    /// True after an error of the system, until the file is positioned or opened anew.
    bool hasFailed() const { return m_bFailed || m_file.hasFailed(); }

    /// Bytes between the next read and the end; unset where the system does not know.
    std::optional<std::uint64_t> getRest() const;
    /// Share of the bytes before the next read, from 0 to 1; unset where the system does not know.
    Fallible<double> getShareRead() const;

private:
    bool openSet(const std::string& in_strBaseName);
    bool openPart(std::size_t in_uiPart);

    InputFile m_file; ///< of a set the current part
    std::string m_strBaseName;
    std::vector<std::uint64_t> m_vPartSizes; ///< empty: it is no set
    std::size_t m_uiPart = 0;                ///< from 0
    bool m_bFailed = false;                  ///< a part could not be opened any more
};

} // namespace Vexalor::MachineLearning
