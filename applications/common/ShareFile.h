#pragma once

#include "common/Shard.h"
#include "quillcast-core/ByteArchive.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Vexalor
{

class OverwriteGuard;

/// What a job is, as a number: shares of one job have the same.
class JobDigest
{
public:
    void addText(std::string_view in_text);
    /// The content; for what cannot be read its name only, since the job fails then.
    void addFile(const std::string& in_strFilename);
    /// A list of files, and the size of each.
    void addList(const StringVector& in_vFilenames, const std::vector<std::uint64_t>& in_vSizes);
    std::uint64_t get() const { return m_uiDigest; }
    /// Why the first of the files that could not be read could not; else empty.
    const std::string& getFault() const { return m_strFault; }

private:
    std::string m_strFault;
    std::uint64_t m_uiDigest = 0xcbf29ce484222325ull;
};

/// A check sum over all of a file, which is not held in memory. Unset, with the reason logged, if it cannot
/// be read.
std::optional<std::uint64_t> sumOfFile(const std::string& in_strFilename);

/// The file that a share of a job leaves, until all shares are joined: which program, job and share it is of,
/// what was found, and a check sum over all of it.
struct ShareFile
{
    std::string m_strProgram;
    std::uint64_t m_uiJob = 0;
    Shard m_shard;
    std::string m_strContent;  ///< as a ByteWriter makes it
    std::string m_strFilename; ///< that it was read from

    /// The whole file.
    std::string toBytes() const;
    /// Empty, or what is wrong with the bytes.
    std::string fromBytes(std::string_view in_bytes);
    /// False, with the reason logged, when it is none that can be read.
    bool read(const std::string& in_strFilename);
    /// The content once more, where readShares let go of it. False, with the reason logged, if the file is
    /// another one by now.
    bool readContent();
};

/// Reads the files of all shares of one job of the program, in whatever order they are given, and brings them
/// into that of the shares. False, with the reason logged, when one is missing, is there twice, or is of
/// another job. in_bContents: with their contents, which may be large together.
bool readShares(const char* in_program, const StringVector& in_vFilenames,
                std::vector<ShareFile>& out_vShares, bool in_bContents = true);

} // namespace Vexalor
