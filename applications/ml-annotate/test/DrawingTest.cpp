#include "ml-annotate/PngImage.h"
#include "ml-annotate/Spectrogram.h"
#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <png.h>

using namespace Vexalor;
using namespace Vexalor::Testing;
using testing::HasSubstr;

namespace
{

constexpr std::uint32_t RATE = 8000;

} // namespace

TEST(Spectrogram, AToneIsWhereItsFrequencyIs)
{
    const TempDir folder;
    // 1 s of 1000 Hz, then 1 s of silence.
    std::vector<int> vSamples = toneSamples(RATE, RATE, 1000.0, 10000.0);
    vSamples.resize(2 * RATE);
    folder.write("a.wav", annotatedWav(RATE, vSamples, {}));
    Spectrogram picture;
    ASSERT_TRUE(picture.read(folder.path("a.wav")));
    EXPECT_EQ(picture.m_dHighest, 4000.0);
    ASSERT_EQ(picture.m_uiColumns, 1000u);
    ASSERT_EQ(picture.m_uiRows, 128u);
    ASSERT_EQ(picture.m_vLevels.size(), 128000u);
    const auto levelAt = [&](std::size_t in_uiRow, std::size_t in_uiColumn)
    {
        return int(picture.m_vLevels[in_uiRow * picture.m_uiColumns + in_uiColumn]);
    };
    // Rows are 31.25 Hz high, row r from the top is bin 128 - r: 1000 Hz is bin 32.
    for (const std::size_t uiColumn : {20u, 250u, 480u})
    {
        EXPECT_EQ(levelAt(96, uiColumn), Spectrogram::LEVELS - 1);
        EXPECT_LT(levelAt(64, uiColumn), Spectrogram::LEVELS / 4);
    }
    EXPECT_EQ(levelAt(96, 600), 0);
    // Shorter than a window, and as short as can be.
    for (const std::size_t uiFrames : {100u, 1u})
    {
        vSamples.assign(uiFrames, 1000);
        folder.write("short.wav", annotatedWav(RATE, vSamples, {}));
        ASSERT_TRUE(picture.read(folder.path("short.wav")));
        EXPECT_EQ(picture.m_uiColumns, uiFrames);
    }
}

TEST(PngImage, ComesBack)
{
    const std::vector<Colour> vPalette{{0, 0, 0}, {255, 128, 1}, {7, 8, 9}};
    const std::vector<std::uint8_t> vPixels{0, 1, 2, 2, 1, 0};
    std::string strPng;
    ASSERT_TRUE(makePng(vPixels, 3, vPalette, strPng));
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&image, strPng.data(), strPng.size()), 0);
    EXPECT_EQ(image.width, 3u);
    EXPECT_EQ(image.height, 2u);
    image.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> vColours(PNG_IMAGE_SIZE(image));
    ASSERT_NE(png_image_finish_read(&image, nullptr, vColours.data(), 0, nullptr), 0);
    for (std::size_t i = 0; i < vPixels.size(); ++i)
        EXPECT_EQ(vColours[3 * i + 1], vPalette[vPixels[i]].m_uiGreen) << i;
}

TEST(RecordingDrawing, HasLabelsAndStaysSmall)
{
    const TempDir folder;
    const auto draw = [&](const std::vector<std::string>& in_vFurther)
    {
        std::vector<std::string> vArguments{QC_BINARY_DIR "/bin/ml-annotate", "draw"};
        vArguments.insert(vArguments.end(), in_vFurther.begin(), in_vFurther.end());
        return runCommand(vArguments, folder.path());
    };
    folder.write("a&b.wav",
                 annotatedWav(RATE, toneSamples(RATE, RATE, 440.0, 5000.0),
                              {{0, 4000, "<VOICE>"}, {4000, 4001, ""}, {6000, 16000, "late\x01\xE9"}}));
    const CommandResult result = draw({"a&b.wav", "-"});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
    // A label of half a second takes half the width, one of a sample and one beyond the end what there is.
    EXPECT_THAT(result.m_strOut, HasSubstr("<title id=\"title\">a&amp;b.wav</title>"));
    EXPECT_THAT(result.m_strOut, HasSubstr("&lt;VOICE&gt;: 1 label</title>"));
    EXPECT_THAT(result.m_strOut, HasSubstr("d=\"M0 0h500v1h-500z\""));
    EXPECT_THAT(result.m_strOut, HasSubstr("(no label)</text>"));
    EXPECT_THAT(result.m_strOut, HasSubstr("d=\"M500 0h1v1h-1z\""));
    EXPECT_THAT(result.m_strOut, HasSubstr("late \xC3\xA9</text>"));
    EXPECT_THAT(result.m_strOut, HasSubstr("d=\"M750 0h250v1h-250z\""));
    EXPECT_THAT(result.m_strOut, HasSubstr("href=\"data:image/png;base64,iVBORw0KGgo"));

    // An hour with a label a second, of more names than there are lanes.
    std::string strLabels;
    for (int i = 0; i < 3600; ++i)
        strLabels +=
            std::to_string(i) + '\t' + std::to_string(i) + ".5\tname" + std::to_string(i % 40) + '\n';
    writeSparseWav(folder.path("hour.wav"), RATE, 3600ull * RATE);
    folder.write("hour.txt", strLabels);
    ASSERT_EQ(runCommand({QC_BINARY_DIR "/bin/ml-annotate", "import", "hour.wav", "hour.txt"}, folder.path())
                  .m_iExit,
              0);
    EXPECT_EQ(draw({"hour.wav", "hour.svg"}).m_iExit, 0);
    const std::string strSvg = readFile(folder.path("hour.svg"));
    EXPECT_LT(strSvg.size(), 250000u);
    EXPECT_THAT(strSvg, HasSubstr("further labels: 2610 labels</title>"));

    folder.write("empty.wav", annotatedWav(RATE, {}, {}));
    EXPECT_THAT(draw({"empty.wav", "-"}).m_strErr, HasSubstr("it has no samples"));
    EXPECT_THAT(draw({"a&b.wav", "a&b.wav"}).m_strErr,
                HasSubstr("Not writing over a&b.wav: it is a recording"));
    EXPECT_THAT(draw({"a&b.wav", "/dev/full"}).m_strErr, HasSubstr("No space left on device"));
}
