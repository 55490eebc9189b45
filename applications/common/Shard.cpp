#include "common/Shard.h"

#include "quillcast-infra/CommandLineError.h"

#include <algorithm>
#include <charconv>
#include <sys/stat.h>

namespace Vexalor
{

namespace
{

bool parseNumber(const char*& io_pText, const char* in_pEnd, std::size_t& out_uiNumber)
{
    const auto [pRest, error] = std::from_chars(io_pText, in_pEnd, out_uiNumber);
    io_pText = pRest;
    return error == std::errc();
}

} // namespace

Shard Shard::parse(const char* in_option, const std::string& in_strText)
{
    Shard shard;
    const char* pText = in_strText.data();
    const char* const pEnd = pText + in_strText.size();
    const bool bNumbers = parseNumber(pText, pEnd, shard.m_uiNumber) && pText != pEnd && *pText++ == '/' &&
                          parseNumber(pText, pEnd, shard.m_uiOf) && pText == pEnd;
    if (!bNumbers || shard.m_uiNumber == 0 || shard.m_uiNumber > shard.m_uiOf || shard.m_uiOf > MAX_SHARDS)
        throw CommandLineError(std::string("option '--") + in_option + "': '" + in_strText +
                               "' is no share, such as 1/4, 2/4, 3/4 and 4/4");
    return shard;
}

std::string Shard::toText() const
{
    return std::to_string(m_uiNumber) + '/' + std::to_string(m_uiOf);
}

/// A thing belongs to the share in which its middle lies. Things without a size count by number.
std::vector<std::size_t> findShares(const std::vector<std::uint64_t>& in_vSizes, std::size_t in_uiOf)
{
    const bool bSized =
        std::any_of(in_vSizes.begin(), in_vSizes.end(), [](auto in_ui) { return in_ui != 0; });
    const auto getSize = [&](std::size_t in_uiPlace)
    {
        return bSized ? static_cast<double>(in_vSizes[in_uiPlace]) : 1.0;
    };
    double dTotal = 0.0;
    for (std::size_t i = 0; i < in_vSizes.size(); ++i)
        dTotal += getSize(i);
    std::vector<std::size_t> vStarts;
    double dBefore = 0.0;
    std::size_t uiPlace = 0;
    for (std::size_t i = 0; i < in_uiOf; ++i)
    {
        const double dStart = dTotal * (static_cast<double>(i) / static_cast<double>(in_uiOf));
        while (uiPlace < in_vSizes.size() && dBefore + getSize(uiPlace) / 2.0 < dStart)
            dBefore += getSize(uiPlace++);
        vStarts.push_back(uiPlace);
    }
    vStarts.push_back(in_vSizes.size());
    return vStarts;
}

std::pair<std::size_t, std::size_t> findShare(const std::vector<std::uint64_t>& in_vSizes,
                                              const Shard& in_shard)
{
    const std::vector<std::size_t> vStarts = findShares(in_vSizes, in_shard.m_uiOf);
    return {vStarts[in_shard.m_uiNumber - 1], vStarts[in_shard.m_uiNumber]};
}

std::vector<std::uint64_t> getFileSizes(const StringVector& in_vFilenames)
{
    std::vector<std::uint64_t> vSizes;
    vSizes.reserve(in_vFilenames.size());
    for (const std::string& strFilename : in_vFilenames)
    {
        struct stat status = {};
        const bool bFile = stat(strFilename.c_str(), &status) == 0 && S_ISREG(status.st_mode);
        vSizes.push_back(bFile ? static_cast<std::uint64_t>(status.st_size) : 0);
    }
    return vSizes;
}

} // namespace Vexalor
