#include "ml-classify/RawSamples.h"
#include "quillcast-audio/AudioFileReader.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <bit>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <random>
#include <unistd.h>

using namespace Vexalor;
using namespace Vexalor::Testing;
using testing::ElementsAre;

namespace
{

/// Reads all samples of a file, in_uiAtOnce at a time.
std::vector<double> readRaw(const std::string& in_strPath, const char* in_encoding, std::size_t in_uiAtOnce,
                            bool& out_bError)
{
    const int iFile = ::open(in_strPath.c_str(), O_RDONLY);
    ByteStream stream(iFile);
    SampleLayout layout;
    layout.m_pEncoding = SampleEncoding::find(in_encoding);
    RawSampleReader reader(stream, layout);
    std::vector<double> vAll;
    std::vector<double> vPiece(in_uiAtOnce);
    for (std::size_t uiRead = reader.read(vPiece.data(), in_uiAtOnce); uiRead > 0;
         uiRead = reader.read(vPiece.data(), in_uiAtOnce))
        vAll.insert(vAll.end(), vPiece.begin(), vPiece.begin() + static_cast<std::ptrdiff_t>(uiRead));
    out_bError = reader.hasInputError();
    ::close(iFile);
    return vAll;
}

std::string randomBytes(std::size_t in_uiCount)
{
    std::mt19937 generator(3);
    std::string strBytes(in_uiCount, '\0');
    for (char& c : strBytes)
        c = static_cast<char>(generator());
    return strBytes;
}

} // namespace

TEST(RawSamplesTest, AreWhatARecordingOfTheSameCodingHolds)
{
    const struct
    {
        const char* m_name;
        std::uint32_t m_uiBits;
        std::uint32_t m_uiTag;
    } cases[] = {{"s16", 16, 1}, {"s24", 24, 1}, {"s32", 32, 1},  {"u8", 8, 1},
                 {"f32", 32, 3}, {"f64", 64, 3}, {"mulaw", 8, 7}, {"alaw", 8, 6}};
    const TempDir folder;
    for (const auto& test : cases)
    {
        // More than a buffer, and no whole number of buffers. The top bits of numbers with an exponent are
        // taken away, which leaves neither nan nor infinity.
        std::string strBytes = randomBytes(24 * 9000);
        if (test.m_uiTag == 3)
            for (std::size_t i = test.m_uiBits / 8 - 1; i < strBytes.size(); i += test.m_uiBits / 8)
                strBytes[i] = static_cast<char>(strBytes[i] & 0xBF);
        const std::string strWav =
            folder.write("a.wav", Wav::riff(Wav::fmt(8000, 1, test.m_uiBits, test.m_uiTag) +
                                            Wav::chunk("data", strBytes)));
        AudioFileReader recording;
        ASSERT_TRUE(recording.open(strWav.c_str(), 0)) << test.m_name;
        std::vector<double> vExpected(strBytes.size() * 8 / test.m_uiBits);
        ASSERT_EQ(recording.read(vExpected.data(), vExpected.size()), vExpected.size());

        bool bError = true;
        const std::string strRaw = folder.write("a.raw", strBytes);
        EXPECT_TRUE(readRaw(strRaw, test.m_name, 1000, bError) == vExpected) << test.m_name;
        EXPECT_FALSE(bError);
    }
    EXPECT_EQ(SampleEncoding::find("s17"), nullptr);
    EXPECT_EQ(SampleEncoding::listNames(), "s16, s24, s32, u8, f32, f64, mulaw, alaw");
}

TEST(RawSamplesTest, EndsThatAreNone)
{
    const LogCapture log("quillcast.app.RawSamples");
    const TempDir folder;
    bool bError = false;
    EXPECT_THAT(readRaw(folder.write("cut", std::string("\0\x40\1", 3)), "s16", 7, bError), ElementsAre(0.5));
    EXPECT_TRUE(bError);
    EXPECT_TRUE(readRaw(folder.path(), "u8", 7, bError).empty()) << "a folder";
    EXPECT_TRUE(bError);
    EXPECT_THAT(log.lines(), ElementsAre("ERROR The samples end within a sample: 1 of 2 bytes",
                                         "ERROR Cannot read samples: Is a directory"));
}
