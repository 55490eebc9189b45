#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/FileReplacer.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

const std::string FMT = Wav::fmt(8000);
const std::string DATA = Wav::data({0, 1, 2, 3, 4, 5, 6, 7});

bool write(const std::string& in_strPath, const std::vector<Annotation>& in_vAnnotations,
           const std::vector<Annotation>& in_vMarkers = {})
{
    AnnotatedFile file;
    file.setAnnotations(in_vAnnotations);
    file.setMarkers(in_vMarkers);
    return file.writeToWAV(in_strPath.c_str());
}

AnnotatedFile read(const std::string& in_strPath)
{
    AnnotatedFile file;
    std::ifstream stream(in_strPath, std::ios::binary);
    EXPECT_TRUE(file.readFromWAV(stream)) << in_strPath;
    return file;
}

} // namespace

TEST(AnnotationWriterTest, WritesTheChunksThatEditorsWrite)
{
    const TempDir folder;
    const std::string strFile = folder.write("a.wav", Wav::riff(FMT + DATA));
    ASSERT_TRUE(
        write(strFile, {{"one", 1 / 8000.0, 4 / 8000.0, "remark"}}, {{"point", 6 / 8000.0, 6 / 8000.0}}));
    EXPECT_EQ(readFile(strFile), Wav::riff(FMT + DATA + Wav::cue({{1, 1}, {2, 6}}) +
                                           Wav::adtl(Wav::labl(1, "one") + Wav::ltxt(1, 3) +
                                                     Wav::note(1, "remark") + Wav::labl(2, "point"))));
    // Without any, only the rest is left.
    ASSERT_TRUE(write(strFile, {}));
    EXPECT_EQ(readFile(strFile), Wav::riff(FMT + DATA));
}

TEST(AnnotationWriterTest, RegionsComeBackToTheSample)
{
    for (const std::uint32_t uiRate : {8000u, 11025u, 22050u, 44100u, 48000u, 96000u})
    {
        const TempDir folder;
        const std::string strFile = folder.write("a.wav", Wav::riff(Wav::fmt(uiRate) + DATA));
        std::vector<Annotation> vAnnotations;
        for (std::uint32_t i = 0; i < 2000; ++i)
        {
            const std::uint32_t uiStart = i * 2147001u;
            vAnnotations.emplace_back("r" + std::to_string(i), double(uiStart) / uiRate,
                                      double(uiStart + i + 1) / uiRate);
        }
        ASSERT_TRUE(write(strFile, vAnnotations));
        const AnnotatedFile file = read(strFile);
        ASSERT_EQ(file.getAnnotations().size(), vAnnotations.size());
        for (std::size_t i = 0; i < vAnnotations.size(); ++i)
        {
            EXPECT_EQ(file.getAnnotations()[i].getLabel(), vAnnotations[i].getLabel());
            EXPECT_EQ(file.getAnnotations()[i].getStartTime(), vAnnotations[i].getStartTime());
            EXPECT_EQ(file.getAnnotations()[i].getStopTime(), vAnnotations[i].getStopTime());
        }
    }
}

TEST(AnnotationWriterTest, KeepsEverythingElse)
{
    struct Case
    {
        const char* m_name;
        std::string m_strBefore;
        std::string m_strAfter;
    };
    const std::string strOld = Wav::cue({{1, 2}}) + Wav::adtl(Wav::labl(1, "old") + Wav::ltxt(1, 2));
    const std::string strNew = Wav::cue({{1, 0}}) + Wav::adtl(Wav::labl(1, "new") + Wav::ltxt(1, 8));
    const std::string strInfo = Wav::chunk("LIST", "INFOISFTabcd");
    const std::string strOdd = Wav::chunk("xtra", "abc");
    const std::string strUnpadded = "xtra" + Wav::u32(3) + "abc";
    const std::string strLoop = Wav::smpl({{1, 0, 8}, {3, 1, 2}});
    const std::string strId3 = "TAG" + std::string(125, 'x');
    const auto ds64 = [](std::size_t in_uiFile, std::size_t in_uiData)
    {
        return Wav::chunk("ds64", Wav::u64(in_uiFile) + Wav::u64(in_uiData) + Wav::u64(8) + Wav::u32(0));
    };
    const std::string strLongRest = FMT + "data" + Wav::u32(0xFFFFFFFF) + DATA.substr(8);
    const auto rf64 = [&](const std::string& in_strMore)
    {
        return "RF64" + Wav::u32(0xFFFFFFFF) + "WAVE" +
               ds64(4 + 36 + strLongRest.size() + in_strMore.size(), 16) + strLongRest + in_strMore;
    };
    const Case cases[] = {
        {"earlier annotations are replaced, wherever they were",
         Wav::riff(strOld + FMT + strInfo + DATA + strOdd),
         Wav::riff(FMT + strInfo + DATA + strOdd + strNew)},
        {"missing pad byte is put in", Wav::riff(FMT + strUnpadded + DATA),
         Wav::riff(FMT + strOdd + DATA + strNew)},
        {"ids of loops are not used again", Wav::riff(FMT + DATA + strLoop),
         Wav::riff(FMT + DATA + strLoop + Wav::cue({{2, 0}}) +
                   Wav::adtl(Wav::labl(2, "new") + Wav::ltxt(2, 8)))},
        {"streamed sizes are filled in",
         "RIFF" + Wav::u32(0xFFFFFFFF) + "WAVE" + FMT + "data" + Wav::u32(0xFFFFFFFF) + DATA.substr(8),
         Wav::riff(FMT + DATA + strNew)},
        {"unfinished sizes are filled in",
         "RIFF" + Wav::u32(0) + "WAVE" + FMT + "data" + Wav::u32(0) + DATA.substr(8),
         Wav::riff(FMT + DATA + strNew)},
        {"what follows the RIFF file", Wav::riff(FMT + DATA) + strId3,
         Wav::riff(FMT + DATA + strNew) + strId3},
        {"64-bit sizes", rf64(""), rf64(strNew)},
    };
    for (const Case& test : cases)
    {
        const TempDir folder;
        const std::string strFile = folder.write("a.wav", test.m_strBefore);
        EXPECT_TRUE(write(strFile, {{"new", 0.0, 8 / 8000.0}})) << test.m_name;
        EXPECT_EQ(readFile(strFile), test.m_strAfter) << test.m_name;
        EXPECT_EQ(read(strFile).getAnnotations().size(), 1u) << test.m_name;
    }
}

TEST(AnnotationWriterTest, RefusesAndLeavesTheFileAlone)
{
    struct Case
    {
        const char* m_name;
        std::string m_strBytes;
        Annotation m_annotation;
        const char* m_message;
    };
    const std::string strFine = Wav::riff(FMT + DATA);
    const Case cases[] = {
        {"no WAV file", "RIFF0000AVI ", {"x", 0, 1}, "no WAV file"},
        {"a chunk is cut",
         Wav::riff(FMT + DATA + "xtra" + Wav::u32(99) + "ab"),
         {"x", 0, 1},
         "its \"xtra\" chunk is cut"},
        {"damaged labels",
         Wav::riff(FMT + DATA + Wav::adtl(Wav::chunk("labl", ""))),
         {"x", 0, 1},
         "its list of labels"},
        {"inverted", strFine, {"x", 2, 1}, "annotation \"x\" at 2 s does not stop after its start"},
        {"below a sample",
         strFine,
         {"x", 1, 1.00001},
         "annotation \"x\" at 1 s does not stop after its start"},
        {"before the start", strFine, {"x", -1, 1}, "time -1 s lies outside"},
        {"beyond 32 bits", strFine, {"x", 0, 536871}, "time 536871 s lies outside"},
        {"not a number", strFine, {"x", 0, std::nan("")}, "time nan s lies outside"},
        {"a zero in a label",
         strFine,
         {std::string("a\0b", 3), 0, 1},
         "a label or note contains a zero byte"},
        {"a giant label",
         strFine,
         {std::string((1 << 20) + 1, 'a'), 0, 1},
         "a label or note is longer than 1048576 bytes"},
    };
    for (const Case& test : cases)
    {
        const TempDir folder;
        const std::string strFile = folder.write("a.wav", test.m_strBytes);
        const LogCapture log("quillcast.audio");
        EXPECT_FALSE(write(strFile, {test.m_annotation})) << test.m_name;
        EXPECT_EQ(log.count("ERROR Cannot write annotations into " + strFile + ": " + test.m_message), 1u)
            << log.text();
        EXPECT_EQ(readFile(strFile), test.m_strBytes) << test.m_name;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1)
            << "a temporary file is left";
    }
}

// Of 8 frames the first 3: 6 bytes of 16 bits; 9 bytes and a pad byte of three channels of 8 bits.
TEST(AnnotationWriterTest, TheBeginningOfARecordingKeepsAllButAudio)
{
    const std::string strRest =
        Wav::cue({{1, 2}}) + Wav::adtl(Wav::labl(1, "x") + Wav::ltxt(1, 6)) + Wav::chunk("xtra", "abc");
    const auto ds64 = [](std::uint64_t in_uiFile, std::uint64_t in_uiData, std::uint64_t in_uiFrames)
    {
        return Wav::chunk("ds64",
                          Wav::u64(in_uiFile) + Wav::u64(in_uiData) + Wav::u64(in_uiFrames) + Wav::u32(0));
    };
    const auto rf64 = [&](std::uint64_t in_uiFrames)
    {
        const std::uint64_t uiBytes = 2 * in_uiFrames;
        return "RF64" + Wav::u32(0xFFFFFFFF) + "WAVE" +
               ds64(4 + 36 + FMT.size() + 8 + uiBytes + strRest.size(), uiBytes, in_uiFrames) + FMT + "data" +
               Wav::u32(0xFFFFFFFF) + DATA.substr(8, uiBytes) + strRest;
    };
    const std::string strMuLaw = Wav::fmt(8000, 3, 8, 7);
    const std::string strWide = "abcdefghijklmnopqrstuvwx";
    const std::string strCompressed = Wav::riff(Wav::fmt(8000, 1, 4, 17) + DATA + strRest);
    const struct
    {
        const char* m_name;
        std::string m_strBefore;
        std::string m_strAfter;
    } CASES[] = {
        {"16 bits", Wav::riff(FMT + DATA + strRest), Wav::riff(FMT + Wav::data({0, 1, 2}) + strRest)},
        {"what counts frames",
         Wav::riff(strMuLaw + Wav::chunk("fact", Wav::u32(8)) + Wav::chunk("data", strWide)),
         Wav::riff(strMuLaw + Wav::chunk("fact", Wav::u32(3)) + Wav::chunk("data", strWide.substr(0, 9)))},
        {"64-bit sizes", rf64(8), rf64(3)},
        {"a coding without frames of a fixed size", strCompressed, strCompressed},
        {"fewer frames than asked for", Wav::riff(FMT + Wav::data({7})), Wav::riff(FMT + Wav::data({7}))},
    };
    for (const auto& test : CASES)
    {
        const TempDir folder;
        const std::string strFile = folder.write("a.wav", test.m_strBefore);
        FileReplacer target(folder.path("b.wav"));
        EXPECT_TRUE(AnnotatedFile::copyStartOfWAV(strFile.c_str(), 3, target)) << test.m_name;
        EXPECT_EQ(readFile(folder.path("b.wav")), test.m_strAfter) << test.m_name;
        EXPECT_EQ(readFile(strFile), test.m_strBefore) << test.m_name;
    }
    FileReplacer target("/dev/null/none");
    EXPECT_FALSE(AnnotatedFile::copyStartOfWAV("/nonexistent", 3, target));
}
