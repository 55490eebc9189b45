#include "common/ShareFile.h"

#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

#include <algorithm>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ShareFile");

/// Another layout of anything in such a file is another version.
constexpr std::string_view MAGIC = "VEXALOR SHARE 2\n";

/// In the manner of FNV-1a (http://www.isthe.com/chongo/tech/comp/fnv/), 8 bytes at a time.
std::uint64_t digest(std::uint64_t in_uiDigest, std::string_view in_bytes)
{
    constexpr std::uint64_t PRIME = 0x100000001b3ull;
    constexpr int HALF = 32;
    while (!in_bytes.empty())
    {
        std::uint64_t uiWord = 0;
        const std::size_t uiSize = std::min(in_bytes.size(), sizeof uiWord);
        std::memcpy(&uiWord, in_bytes.data(), uiSize);
        in_bytes.remove_prefix(uiSize);
        in_uiDigest = (in_uiDigest ^ uiWord) * PRIME;
        in_uiDigest ^= in_uiDigest >> HALF;
    }
    return in_uiDigest;
}

/// The size tells apart what differs in zeros at the end only.
std::uint64_t sumOf(std::string_view in_bytes)
{
    return digest(in_bytes.size(), in_bytes);
}

constexpr const char* NO_SHARE = "it is no file of a share, or of another version of the program";

/// Empty, or why it cannot be read. in_prefix: what it has to begin with, before the rest is read.
std::string readFile(const std::string& in_strFilename, std::string_view in_prefix, std::string& out_strBytes)
{
    InputFile file;
    if (!file.openRegular(in_strFilename.c_str()))
        return file.getReason();
    out_strBytes.resize(in_prefix.size());
    out_strBytes.resize(file.readAt(0, out_strBytes.data(), out_strBytes.size()));
    if (out_strBytes != in_prefix)
        return file.hasFailed() ? file.getReason() : NO_SHARE;
    try
    {
        out_strBytes.resize(file.getSize());
    }
    catch (const std::exception&)
    {
        return "it has " + std::to_string(file.getSize()) + " bytes, more than there is memory for";
    }
    out_strBytes.resize(file.readAt(0, out_strBytes.data(), out_strBytes.size()));
    return file.hasFailed() ? file.getReason() : "";
}

std::string nameOf(const ShareFile& in_share)
{
    return "share " + in_share.m_shard.toText();
}

} // namespace

void JobDigest::addText(std::string_view in_text)
{
    const std::uint64_t uiSize = in_text.size();
    m_uiDigest = digest(m_uiDigest, {reinterpret_cast<const char*>(&uiSize), sizeof uiSize});
    m_uiDigest = digest(m_uiDigest, in_text);
}

void JobDigest::addFile(const std::string& in_strFilename)
{
    std::string strBytes;
    const std::string strReason = in_strFilename.empty() ? "" : readFile(in_strFilename, "", strBytes);
    addText(strReason.empty() ? strBytes : in_strFilename);
    if (m_strFault.empty() && !strReason.empty())
        m_strFault = "Cannot read " + in_strFilename + ": " + strReason;
}

void JobDigest::addList(const StringVector& in_vFilenames, const std::vector<std::uint64_t>& in_vSizes)
{
    for (const std::string& strFilename : in_vFilenames)
        addText(strFilename);
    m_uiDigest = digest(m_uiDigest, {reinterpret_cast<const char*>(in_vSizes.data()),
                                     in_vSizes.size() * sizeof(std::uint64_t)});
}

std::optional<std::uint64_t> sumOfFile(const std::string& in_strFilename)
{
    QC_TRACE("sumOfFile");
    InputFile file;
    std::vector<char> vBytes(std::size_t(1) << 20); // whole words, all but the last
    std::uint64_t uiPosition = 0;
    std::uint64_t uiSum = 0;
    if (!file.openRegular(in_strFilename.c_str()))
    {
        QC_ERROR("Cannot read " << in_strFilename << ": " << file.getReason());
        return {};
    }
    while (const std::size_t uiRead = file.readAt(uiPosition, vBytes.data(), vBytes.size()))
    {
        uiSum = digest(uiSum, {vBytes.data(), uiRead});
        uiPosition += uiRead;
    }
    return file.hasFailed() ? std::nullopt : std::optional(digest(uiSum, std::to_string(uiPosition)));
}

std::string ShareFile::toBytes() const
{
    ByteWriter writer;
    writer(m_strProgram, m_uiJob, m_shard, m_strContent);
    const std::uint64_t uiSum = sumOf(writer.getBytes());
    std::string strBytes(MAGIC);
    strBytes.append(reinterpret_cast<const char*>(&uiSum), sizeof uiSum);
    return strBytes + writer.getBytes();
}

std::string ShareFile::fromBytes(std::string_view in_bytes)
{
    if (!in_bytes.starts_with(MAGIC))
        return NO_SHARE;
    in_bytes.remove_prefix(MAGIC.size());
    std::uint64_t uiSum = 0;
    if (in_bytes.size() < sizeof uiSum)
        return "it is cut off";
    std::memcpy(&uiSum, in_bytes.data(), sizeof uiSum);
    in_bytes.remove_prefix(sizeof uiSum);
    if (uiSum != sumOf(in_bytes))
        return "it is cut off, or damaged";
    ByteReader reader(in_bytes);
    reader(m_strProgram, m_uiJob, m_shard, m_strContent);
    const bool bShard =
        m_shard.m_uiNumber > 0 && m_shard.m_uiNumber <= m_shard.m_uiOf && m_shard.m_uiOf <= Shard::MAX_SHARDS;
    return reader.isAtEnd() && bShard ? "" : "it makes no sense";
}

bool ShareFile::read(const std::string& in_strFilename)
{
    QC_TRACE("ShareFile::read");
    m_strFilename = in_strFilename;
    std::string strBytes;
    std::string strReason = readFile(in_strFilename, MAGIC, strBytes);
    if (strReason.empty())
        strReason = fromBytes(strBytes);
    if (!strReason.empty())
        QC_ERROR("Cannot read share " << in_strFilename << ": " << strReason);
    return strReason.empty();
}

bool ShareFile::readContent()
{
    QC_TRACE("ShareFile::readContent");
    ShareFile file;
    if (!file.read(m_strFilename))
        return false;
    const bool bSame =
        file.m_strProgram == m_strProgram && file.m_uiJob == m_uiJob && file.m_shard == m_shard;
    if (bSame)
        m_strContent.swap(file.m_strContent);
    else
        QC_ERROR("Share " << m_strFilename << " is another one than a moment ago");
    return bSame;
}

bool readShares(const char* in_program, const StringVector& in_vFilenames,
                std::vector<ShareFile>& out_vShares, bool in_bContents)
{
    QC_TRACE("readShares");
    out_vShares.clear();
    std::uint64_t uiJob = 0;
    for (const std::string& strFilename : in_vFilenames)
    {
        ShareFile share;
        if (!share.read(strFilename))
            return false;
        if (!in_bContents)
            std::string().swap(share.m_strContent);
        if (share.m_strProgram != in_program)
        {
            QC_ERROR(strFilename << " is a share of " << share.m_strProgram << ", not of " << in_program);
            return false;
        }
        if (out_vShares.empty())
        {
            out_vShares.resize(share.m_shard.m_uiOf);
            uiJob = share.m_uiJob;
        }
        if (share.m_shard.m_uiOf != out_vShares.size() || share.m_uiJob != uiJob)
        {
            QC_ERROR(strFilename << ", " << nameOf(share) << ", is of another job than "
                                 << in_vFilenames.front() << ": data, configuration or options differ");
            return false;
        }
        ShareFile& place = out_vShares[share.m_shard.m_uiNumber - 1];
        if (!place.m_strProgram.empty())
        {
            QC_ERROR(strFilename << " is " << nameOf(share) << " once more");
            return false;
        }
        place = std::move(share);
    }
    for (std::size_t i = 0; i < out_vShares.size(); ++i)
        if (out_vShares[i].m_strProgram.empty())
        {
            const Shard missing{i + 1, out_vShares.size()};
            QC_ERROR("Share " << missing.toText() << " is missing");
            return false;
        }
    return !out_vShares.empty();
}

} // namespace Vexalor
