#include "ml-classify/RecordingStream.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.RecordingStream");

constexpr std::size_t HEADER_SIZE = 12;
constexpr std::size_t CHUNK_HEADER_SIZE = 8;
constexpr std::size_t FORMAT_SIZE = 16;
constexpr std::size_t EXTENDED_FORMAT_SIZE = 40;
constexpr std::size_t SUBFORMAT_POSITION = 24;
constexpr std::size_t LONG_SIZES_SIZE = 24;
constexpr std::size_t LONG_DATA_SIZE_POSITION = 8;
constexpr std::uint16_t EXTENDED = 0xFFFE;
/// Sizes from here on are no sizes, nor is 0: programs that cannot go back to the header write them.
constexpr std::uint32_t STREAMED_SIZE = 0xFFFF0000;

struct Coding
{
    std::uint16_t m_uiTag;
    std::uint16_t m_uiBits;
    const char* m_encoding;
};

constexpr Coding CODINGS[] = {{1, 8, "u8"},   {1, 16, "s16"}, {1, 24, "s24"}, {1, 32, "s32"},
                              {3, 32, "f32"}, {3, 64, "f64"}, {6, 8, "alaw"}, {7, 8, "mulaw"}};

class HeaderReader
{
public:
    HeaderReader(ByteStream& io_stream, SampleLayout& out_layout)
        : m_stream(io_stream)
        , m_layout(out_layout)
    {
    }

    /// Why it is no such recording; empty when it is one.
    std::string run();

private:
    std::string readFormat(std::uint32_t in_uiSize);
    std::string takeCoding(std::uint16_t in_uiTag, const unsigned char* in_pFormat);
    bool readLongSizes(std::uint32_t in_uiSize);
    bool skipChunk(std::uint32_t in_uiSize);

    ByteStream& m_stream;
    SampleLayout& m_layout;
    std::uint64_t m_uiLongDataSize = SampleLayout::OPEN_END;
};

std::string HeaderReader::run()
{
    const char* const CUT = "it ends before its samples";
    if (!m_stream.await(HEADER_SIZE))
        return CUT;
    if (std::memcmp(m_stream.getBytes() + 8, "WAVE", 4) != 0)
        return "it is no WAV recording";
    m_stream.consume(HEADER_SIZE);
    while (m_stream.await(CHUNK_HEADER_SIZE))
    {
        const std::string strId(reinterpret_cast<const char*>(m_stream.getBytes()), 4);
        const auto uiSize = readLittleEndian<std::uint32_t>(m_stream.getBytes() + 4);
        m_stream.consume(CHUNK_HEADER_SIZE);
        if (strId == "data" && m_layout.m_pEncoding == nullptr)
            return "it has no \"fmt \" chunk before its samples";
        if (strId == "data")
        {
            m_layout.m_uiBytes = uiSize == 0 || uiSize >= STREAMED_SIZE ? m_uiLongDataSize : uiSize;
            return {};
        }
        const std::string strFault = strId == "fmt " ? readFormat(uiSize) : "";
        if (!strFault.empty())
            return strFault;
        if (strId == "ds64" ? !readLongSizes(uiSize) : strId != "fmt " && !skipChunk(uiSize))
            return CUT;
    }
    return CUT;
}

/// The pad byte included.
bool HeaderReader::skipChunk(std::uint32_t in_uiSize)
{
    return m_stream.skip(std::uint64_t(in_uiSize) + in_uiSize % 2);
}

bool HeaderReader::readLongSizes(std::uint32_t in_uiSize)
{
    if (in_uiSize < LONG_SIZES_SIZE || !m_stream.await(LONG_SIZES_SIZE))
        return false;
    m_uiLongDataSize = readLittleEndian<std::uint64_t>(m_stream.getBytes() + LONG_DATA_SIZE_POSITION);
    return skipChunk(in_uiSize);
}

std::string HeaderReader::readFormat(std::uint32_t in_uiSize)
{
    const std::size_t uiTaken = in_uiSize < EXTENDED_FORMAT_SIZE ? FORMAT_SIZE : EXTENDED_FORMAT_SIZE;
    if (in_uiSize < FORMAT_SIZE || !m_stream.await(uiTaken))
        return "its \"fmt \" chunk is cut";
    const unsigned char* pFormat = m_stream.getBytes();
    auto uiTag = readLittleEndian<std::uint16_t>(pFormat);
    if (uiTag == EXTENDED && uiTaken == EXTENDED_FORMAT_SIZE)
        uiTag = readLittleEndian<std::uint16_t>(pFormat + SUBFORMAT_POSITION);
    const std::string strFault = takeCoding(uiTag, pFormat);
    if (strFault.empty() && !skipChunk(in_uiSize))
        return "its \"fmt \" chunk is cut";
    return strFault;
}

std::string HeaderReader::takeCoding(std::uint16_t in_uiTag, const unsigned char* in_pFormat)
{
    m_layout.m_uiChannels = readLittleEndian<std::uint16_t>(in_pFormat + 2);
    m_layout.m_uiRate = readLittleEndian<std::uint32_t>(in_pFormat + 4);
    const auto uiFrameBytes = readLittleEndian<std::uint16_t>(in_pFormat + 12);
    const auto uiBits = readLittleEndian<std::uint16_t>(in_pFormat + 14);
    const auto* itCoding =
        std::find_if(std::begin(CODINGS), std::end(CODINGS),
                     [&](const Coding& in_coding)
                     { return in_coding.m_uiTag == in_uiTag && in_coding.m_uiBits == uiBits; });
    if (itCoding == std::end(CODINGS))
        return "samples of coding " + std::to_string(in_uiTag) + " with " + std::to_string(uiBits) +
               " bits are read from a file only";
    m_layout.m_pEncoding = SampleEncoding::find(itCoding->m_encoding);
    const bool bSound =
        m_layout.m_uiRate != 0 && m_layout.m_uiChannels != 0 &&
        (uiFrameBytes == 0 || uiFrameBytes == m_layout.m_uiChannels * m_layout.m_pEncoding->m_uiBytes);
    return bSound ? "" : "its header is damaged";
}

} // namespace

bool readRecordingHeader(ByteStream& io_stream, SampleLayout& out_layout)
{
    QC_TRACE("readRecordingHeader");
    out_layout.m_bRecording = true;
    std::string strFault = HeaderReader(io_stream, out_layout).run();
    if (!io_stream.getError().empty())
        strFault = io_stream.getError();
    if (!strFault.empty())
        QC_ERROR("Cannot read the recording on standard input: " << strFault);
    return strFault.empty();
}

} // namespace Vexalor
