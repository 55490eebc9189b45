#include "common/ShareOptions.h"

#include "quillcast-infra/CommandLineError.h"

#include <algorithm>
#include <boost/any.hpp>

namespace Vexalor
{

namespace
{

constexpr const char* SHARD_OPTION = "shard";
constexpr const char* FILE_OPTION = "shard-file";
constexpr const char* JOIN_OPTION = "join";

bool isGiven(const variables_map& in_map, const char* in_option)
{
    return in_map.count(in_option) != 0 && !in_map[in_option].defaulted();
}

} // namespace

void ShareOptions::addOptions(options_description& io_options) const
{
    auto addOption = io_options.add_options();
    addOption(SHARD_OPTION, value<std::string>()->value_name("I/N"),
              "read only the I-th of N shares of the recordings, and leave what was found in a file");
    if (m_bFile)
        addOption(FILE_OPTION, value<std::string>()->value_name("FILE"), "that file");
    addOption(JOIN_OPTION, value<StringVector>()->multitoken()->value_name("FILE..."),
              "instead of reading recordings, join the files of all shares");
}

void ShareOptions::takeOptions(const variables_map& in_map)
{
    if (in_map.count(SHARD_OPTION) != 0)
        m_shard = Shard::parse(SHARD_OPTION, in_map[SHARD_OPTION].as<std::string>());
    if (m_bFile && in_map.count(FILE_OPTION) != 0)
        m_strFile = in_map[FILE_OPTION].as<std::string>();
    if (in_map.count(JOIN_OPTION) != 0)
        m_vJoined = in_map[JOIN_OPTION].as<StringVector>();
    if (m_bFile && m_shard.has_value() == m_strFile.empty())
        throw CommandLineError(std::string("options '--") + SHARD_OPTION + "' and '--" + FILE_OPTION +
                               "' need each other");
    if (m_shard && isJoin())
        throw CommandLineError(std::string("options '--") + SHARD_OPTION + "' and '--" + JOIN_OPTION +
                               "' exclude each other");
}

void ShareOptions::addToJob(const variables_map& in_map, std::span<const char* const> in_options,
                            JobDigest& io_job)
{
    for (const char* option : in_options)
    {
        io_job.addText(option);
        if (in_map.count(option) == 0)
            continue;
        const boost::any& value = in_map[option].value();
        if (const auto* pText = boost::any_cast<std::string>(&value))
            io_job.addText(*pText);
        else if (const auto* pTexts = boost::any_cast<StringVector>(&value))
            io_job.addList(*pTexts, {});
        else if (const auto* pSwitch = boost::any_cast<bool>(&value))
            io_job.addText(*pSwitch ? "on" : "off");
    }
}

std::string ShareOptions::findGiven(const variables_map& in_map, std::span<const char* const> in_options,
                                    const char* in_why)
{
    const auto itOption = std::find_if(in_options.begin(), in_options.end(),
                                       [&](const char* in_option) { return isGiven(in_map, in_option); });
    return itOption == in_options.end() ? "" : std::string("option '--") + *itOption + "' is " + in_why;
}

std::string ShareOptions::findMisplaced(const variables_map& in_map, std::span<const char* const> in_ofWhole,
                                        std::span<const char* const> in_ofJob) const
{
    if (isJoin())
        return findGiven(in_map, in_ofJob, "for the shares, not for --join");
    return m_shard ? findGiven(in_map, in_ofWhole, "for --join, not for a share") : "";
}

} // namespace Vexalor
