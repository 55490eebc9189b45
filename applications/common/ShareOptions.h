#pragma once

#include "common/ShareFile.h"
#include "quillcast-infra/ProgramOptions.h"

#include <optional>
#include <span>
#include <string>

namespace Vexalor
{

/// The options of a program whose work is done in shares: --shard, which reads one of them and leaves a file,
/// and --join, which makes of all files what one process would have made of the whole.
///
/// Call order: addOptions takeOptions, then the others.
class ShareOptions
{
public:
    /// in_bFile: with --shard-file, for a program that has no other option for the file of a share.
    explicit ShareOptions(bool in_bFile)
        : m_bFile(in_bFile)
    {
    }

    void addOptions(options_description& io_options) const;
    /// Throws CommandLineError for values that make no sense.
    void takeOptions(const variables_map& in_map);

    /// The values of these options, which all shares of a job have in common.
    static void addToJob(const variables_map& in_map, std::span<const char* const> in_options,
                         JobDigest& io_job);
    /// Empty, or the first of the options that was given, with the reason.
    static std::string findGiven(const variables_map& in_map, std::span<const char* const> in_options,
                                 const char* in_why);
    /// Empty, or which option was given that is not for what is done. in_ofWhole: those that only the whole
    /// can answer, in_ofJob: those that say what the job is.
    std::string findMisplaced(const variables_map& in_map, std::span<const char* const> in_ofWhole,
                              std::span<const char* const> in_ofJob) const;

    const std::optional<Shard>& getShard() const { return m_shard; }
    /// Where the share is left.
    const std::string& getFile() const { return m_strFile; }
    bool isJoin() const { return !m_vJoined.empty(); }
    /// The files of the shares.
    const StringVector& getJoined() const { return m_vJoined; }

private:
    bool m_bFile;
    std::optional<Shard> m_shard;
    std::string m_strFile;
    StringVector m_vJoined;
};

} // namespace Vexalor
