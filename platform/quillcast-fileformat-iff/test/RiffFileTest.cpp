#include "quillcast-fileformat-iff/RiffFile.h"
#include "quillcast-core/InputFile.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

const std::string FMT = Wav::fmt(8000);

/// "id:size" of every chunk, "id!" when it is not complete, and "+n" for n bytes after the last one; or the
/// error.
std::string walk(const std::string& in_strBytes)
{
    std::istringstream stream(in_strBytes);
    IffStreamSource source(stream);
    RiffFile riff;
    if (!riff.read(source, "data"))
        return "refused: " + riff.getError();
    std::string strResult;
    for (const IffChunk& chunk : riff.getChunks())
        strResult += chunk.m_strId + (chunk.m_bComplete ? ":" : "!") + std::to_string(chunk.m_uiSize) + ' ';
    const std::uint64_t uiRest = source.getSize() - riff.getChunksEnd();
    return uiRest == 0 ? strResult : strResult + '+' + std::to_string(uiRest);
}

std::string rf64(const std::string& in_strDs64, const std::string& in_strChunks,
                 const char* in_container = "RF64")
{
    return in_container + Wav::u32(0xFFFFFFFF) + "WAVE" + Wav::chunk("ds64", in_strDs64) + in_strChunks;
}

} // namespace

TEST(RiffFileTest, ChunksAndTheirSizes)
{
    struct Case
    {
        const char* m_name;
        std::string m_strBytes;
        std::string m_strExpected;
    };
    const std::string strSamples = "abcdef";
    const std::string strOpenData = "data" + Wav::u32(0xFFFFFFFF) + strSamples;
    // 28 bytes: file size, samples' size 6, sample count, one entry: the chunk "long" has 4 bytes.
    const std::string strDs64 = Wav::u64(0) + Wav::u64(6) + Wav::u64(3) + Wav::u32(1) + "long" + Wav::u64(4);
    const Case cases[] = {
        {"plain", Wav::riff(FMT + Wav::chunk("data", strSamples)), "fmt :16 data:6 "},
        {"odd chunk with its pad byte", Wav::riff(Wav::chunk("xtra", "abc") + FMT), "xtra:3 fmt :16 "},
        {"odd chunk without", Wav::riff("xtra" + Wav::u32(3) + "abc" + FMT), "xtra:3 fmt :16 "},
        {"odd chunk without, next one unknown",
         Wav::riff("xtra" + Wav::u32(3) + "abc" + Wav::chunk("what", "ab")), "xtra:3 +9"},
        {"odd last chunk without", Wav::riff(FMT + "data" + Wav::u32(3) + "abc"), "fmt :16 data:3 "},
        {"file size 0", "RIFF" + Wav::u32(0) + "WAVE" + FMT, "fmt :16 "},
        {"file size too large", "RIFF" + Wav::u32(0xFFFFFFFF) + "WAVE" + FMT, "fmt :16 "},
        {"streamed samples", Wav::riff(FMT + strOpenData), "fmt :16 data:6 "},
        {"samples of size 0 up to the end", Wav::riff(FMT + "data" + Wav::u32(0) + strSamples + strSamples),
         "fmt :16 data:12 "},
        {"no samples, a chunk follows", Wav::riff("data" + Wav::u32(0) + FMT), "data:0 fmt :16 "},
        {"no samples, an unknown chunk follows", Wav::riff("data" + Wav::u32(0) + Wav::chunk("what", "ab")),
         "data:0 what:2 "},
        {"other chunk past the end", Wav::riff(FMT + "xtra" + Wav::u32(0xFFFFFFF0) + "abcd"),
         "fmt :16 xtra!4 "},
        {"junk after it", Wav::riff(FMT) + std::string(20, '\x01'), "fmt :16 +20"},
        {"less than a header after it", Wav::riff(FMT) + "abc", "fmt :16 +3"},
        {"64-bit sizes", rf64(strDs64, "long" + Wav::u32(0xFFFFFFFF) + "abcd" + strOpenData),
         "ds64:40 long:4 data:6 "},
        {"its other name", rf64(strDs64, strOpenData, "BW64"), "ds64:40 data:6 "},
        {"64-bit samples past the end",
         rf64(Wav::u64(0) + Wav::u64(~0ULL) + Wav::u64(~0ULL) + Wav::u32(~0U), strOpenData),
         "ds64:28 data:6 "},
        {"64-bit sizes missing", "RF64" + Wav::u32(0xFFFFFFFF) + "WAVE" + FMT,
         "refused: the \"ds64\" chunk of the RF64 file is missing or damaged"},
        {"nothing", "", "refused: too short for a RIFF file"},
        {"another file", "FORM0000AIFF", "refused: no RIFF file"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(walk(test.m_strBytes), test.m_strExpected) << test.m_name;
}

TEST(RiffFileTest, AFloodOfChunksIsRefused)
{
    std::string strChunks;
    for (std::size_t i = 0; i <= RiffFile::MAX_CHUNKS; ++i)
        strChunks += Wav::chunk("xtra", "");
    EXPECT_EQ(walk(Wav::riff(strChunks)), "refused: more than 65536 chunks");
}

TEST(IffSourceTest, ReadsNothingBeyondTheEnd)
{
    const TempDir folder;
    InputFile file;
    ASSERT_TRUE(file.openRegular(folder.write("digits", "0123456789").c_str()));
    IffFileSource fileSource(file);
    std::istringstream stream("0123456789");
    IffStreamSource streamSource(stream);
    for (IffSource* pSource : {static_cast<IffSource*>(&fileSource), static_cast<IffSource*>(&streamSource)})
    {
        std::string strBytes;
        EXPECT_TRUE(pSource->readAt(7, strBytes, 3));
        EXPECT_EQ(strBytes, "789");
        EXPECT_TRUE(pSource->readAt(0, strBytes, 2));
        EXPECT_EQ(strBytes, "01");
        EXPECT_FALSE(pSource->readAt(8, strBytes, 3));
        EXPECT_FALSE(pSource->readAt(~0ULL - 1, strBytes, 4));
        EXPECT_FALSE(pSource->readAt(0, strBytes, ~0ULL));
        EXPECT_EQ(strBytes, "01");
        EXPECT_FALSE(pSource->hasFailed());
    }
    std::istringstream closed;
    closed.setstate(std::ios::failbit);
    EXPECT_TRUE(IffStreamSource(closed).hasFailed());
}
