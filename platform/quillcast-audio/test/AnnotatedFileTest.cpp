#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/InputFile.h"
#include "test-support/FileFaults.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

const std::string FMT = Wav::fmt(8000);
const std::string DATA = Wav::data({0, 1, 2, 3, 4, 5, 6, 7});
const std::string CUE_1_2 = Wav::cue({{1, 2}, {2, 5}});

/// "label@start-stop" in samples for every annotation, "label@point" for every marker, or "refused".
template <class Source>
std::string readFrom(Source& io_source)
{
    AnnotatedFile file;
    if (!file.readFromWAV(io_source))
        return file.getAnnotations().empty() && file.getMarkers().empty() ? "refused"
                                                                          : "refused but not empty";
    std::string strResult;
    const double dRate = file.getFormat().m_uiRate;
    for (const Annotation& annotation : file.getAnnotations())
        strResult += annotation.getLabel() + '@' +
                     std::to_string(std::llround(annotation.getStartTime() * dRate)) + '-' +
                     std::to_string(std::llround(annotation.getStopTime() * dRate)) + ' ';
    for (const Annotation& marker : file.getMarkers())
        strResult +=
            marker.getLabel() + '@' + std::to_string(std::llround(marker.getStartTime() * dRate)) + ' ';
    return strResult;
}

std::string read(const std::string& in_strBytes)
{
    std::istringstream stream(in_strBytes);
    return readFrom(stream);
}

} // namespace

TEST(AnnotatedFileTest, BytesWrittenByHand)
{
    // One frame of silence at 8 kHz, one region "A" over the frames 3 to 5: cue point 7 at frame 3, length 3.
    // clang-format off
    const unsigned char bytes[] = {
        'R', 'I', 'F', 'F', 128, 0, 0, 0, 'W', 'A', 'V', 'E',                  // 4 + 24 + 10 + 36 + 54
        'f', 'm', 't', ' ', 16, 0, 0, 0, 1, 0, 1, 0,                           // whole numbers, one channel
        0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16, 0,                       // 8000 Hz, 16000 bytes/s, 2 bytes, 16 bits
        'd', 'a', 't', 'a', 2, 0, 0, 0, 0, 0,
        'c', 'u', 'e', ' ', 28, 0, 0, 0, 1, 0, 0, 0,                           // one point
        7, 0, 0, 0, 3, 0, 0, 0, 'd', 'a', 't', 'a', 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0,
        'L', 'I', 'S', 'T', 46, 0, 0, 0, 'a', 'd', 't', 'l',                   // 4 + 28 + 14
        'l', 't', 'x', 't', 20, 0, 0, 0, 7, 0, 0, 0, 3, 0, 0, 0, 'r', 'g', 'n', ' ', 0, 0, 0, 0, 0, 0, 0, 0,
        'l', 'a', 'b', 'l', 6, 0, 0, 0, 7, 0, 0, 0, 'A', 0};
    // clang-format on
    EXPECT_EQ(read(std::string(bytes, bytes + sizeof bytes)), "A@3-6 ");
}

TEST(AnnotatedFileTest, OrdersAndSourcesOfLabels)
{
    struct Case
    {
        const char* m_name;
        std::string m_strChunks;
        const char* m_expected;
    };
    const std::string strTexts = Wav::ltxt(1, 3) + Wav::labl(1, "one") + Wav::labl(2, "two");
    std::string strLowerCase = Wav::adtl(strTexts);
    strLowerCase.replace(0, 4, "list");
    const Case cases[] = {
        {"region and marker", FMT + DATA + CUE_1_2 + Wav::adtl(strTexts), "one@2-5 two@5 "},
        {"list before cue, both before the samples", Wav::adtl(strTexts) + CUE_1_2 + FMT + DATA,
         "one@2-5 two@5 "},
        {"lower-case list", FMT + DATA + CUE_1_2 + strLowerCase, "one@2-5 two@5 "},
        {"several lists, one of another kind",
         FMT + Wav::adtl(Wav::ltxt(1, 3)) + Wav::chunk("LIST", "INFOISFT") + DATA + CUE_1_2 +
             Wav::adtl(Wav::labl(1, "one")),
         "one@2-5 @5 "},
        {"arbitrary ids, order of the cue points",
         FMT + DATA + Wav::cue({{900, 6}, {4, 1}}) +
             Wav::adtl(Wav::ltxt(4, 2) + Wav::ltxt(900, 1) + Wav::labl(4, "b") + Wav::labl(900, "a")),
         "a@6-7 b@1-3 "},
        {"label, else text, else note",
         FMT + DATA + Wav::cue({{1, 0}, {2, 0}, {3, 0}}) +
             Wav::adtl(Wav::labl(1, "l") + Wav::ltxt(1, 1, "t") + Wav::note(1, "n") + Wav::ltxt(2, 1, "t") +
                       Wav::note(2, "n") + Wav::ltxt(3, 1) + Wav::note(3, "n")),
         "l@0-1 t@0-1 n@0-1 "},
        {"the first of two labels holds",
         FMT + DATA + Wav::cue({{1, 0}}) + Wav::adtl(Wav::labl(1, "a") + Wav::labl(1, "b")), "a@0 "},
        {"length from a loop of the same id and start",
         FMT + DATA + CUE_1_2 + Wav::smpl({{1, 2, 4}, {2, 0, 8}}), "@2-4 @5 "},
        {"a text's length before a loop's",
         FMT + DATA + CUE_1_2 + Wav::smpl({{1, 2, 4}}) + Wav::adtl(strTexts), "one@2-5 two@5 "},
        {"a loop may end before its start", FMT + DATA + CUE_1_2 + Wav::smpl({{2, 5, 1}}), "@5-1 @2 "},
        {"a length of 0 is no length", FMT + DATA + CUE_1_2 + Wav::adtl(Wav::ltxt(1, 0) + Wav::labl(1, "p")),
         "p@2 @5 "},
        {"missing pad byte in the list",
         FMT + DATA + Wav::cue({{1, 2}}) +
             Wav::adtl("labl" + Wav::u32(7) + Wav::u32(1) + "xy" + '\0' + Wav::ltxt(1, 3)),
         "xy@2-5 "},
        {"label of no cue point", FMT + DATA + CUE_1_2 + Wav::adtl(Wav::labl(77, "lost")), "@2 @5 "},
        {"beyond the samples",
         FMT + DATA + Wav::cue({{1, 4000000000u}}) + Wav::adtl(Wav::ltxt(1, 4000000000u)),
         "@4000000000-8000000000 "},
        {"text without its zero",
         FMT + DATA + Wav::cue({{1, 2}}) + Wav::adtl(Wav::chunk("labl", Wav::u32(1) + "abc")), "abc@2 "},
        {"none", FMT + DATA, ""},
    };
    for (const Case& test : cases)
        EXPECT_EQ(read(Wav::riff(test.m_strChunks)), test.m_expected) << test.m_name;
}

TEST(AnnotatedFileTest, WhatCannotBeTrustedIsRefused)
{
    struct Case
    {
        const char* m_name;
        std::string m_strChunks;
        const char* m_message;
    };
    const Case cases[] = {
        {"no format", DATA + FMT, "it has no \"fmt \" chunk before its samples"},
        {"short format", Wav::chunk("fmt ", "abcd") + DATA, "its \"fmt \" chunk is cut"},
        {"long format", "fmt " + Wav::u32(0x7FFFFFFF) + std::string(40, 'x'), "its \"fmt \" chunk is cut"},
        {"rate 0", Wav::fmt(0) + DATA, "its sampling rate is 0"},
        {"no channel", Wav::fmt(8000, 0) + DATA, "it has 0 channels"},
        {"no samples' chunk", FMT + CUE_1_2, "it has no \"data\" chunk"},
        {"two of them", FMT + DATA + DATA, "it has several \"data\" chunks"},
        {"more cue points announced",
         FMT + DATA + Wav::chunk("cue ", Wav::u32(0xFFFFFFFF) + std::string(24, '\0')),
         "its \"cue \" chunk announces more cue points than it holds"},
        {"empty cue chunk", FMT + DATA + Wav::chunk("cue ", ""),
         "its \"cue \" chunk announces more cue points than it holds"},
        {"more loops announced",
         FMT + DATA + Wav::chunk("smpl", std::string(28, '\0') + Wav::u32(2) + Wav::u32(0)),
         "its \"smpl\" chunk announces more loops than it holds"},
        {"list past the end",
         FMT + DATA + CUE_1_2 + "LIST" + Wav::u32(0x7FFFFFF0) + "adtl" + Wav::labl(1, "x"),
         "its \"LIST\" chunk runs past the end of the file"},
        {"cue past the end", FMT + DATA + "cue " + Wav::u32(100) + Wav::u32(1),
         "its \"cue \" chunk runs past the end of the file"},
        {"label past its list",
         FMT + DATA + CUE_1_2 + Wav::adtl("labl" + Wav::u32(0xFFFFFFF0) + Wav::u32(1) + "x" + '\0') + "more",
         "its list of labels is damaged at byte "},
        {"label without an id", FMT + DATA + CUE_1_2 + Wav::adtl(Wav::chunk("labl", "")),
         "its list of labels is damaged at byte "},
        {"short text", FMT + DATA + CUE_1_2 + Wav::adtl(Wav::chunk("ltxt", Wav::u32(1))),
         "its list of labels is damaged at byte "},
        {"rubbish in the list", FMT + DATA + CUE_1_2 + Wav::adtl(Wav::labl(1, "x") + std::string(8, '\x01')),
         "its list of labels is damaged at byte "},
    };
    for (const Case& test : cases)
    {
        const LogCapture log("quillcast.audio");
        EXPECT_EQ(read(Wav::riff(test.m_strChunks)), "refused") << test.m_name;
        EXPECT_EQ(log.lines().size(), 1u) << test.m_name << '\n' << log.text();
        EXPECT_EQ(log.count(std::string("ERROR Cannot read annotations: ") + test.m_message), 1u)
            << log.text();
    }
    std::istringstream broken("RIFF");
    broken.setstate(std::ios::badbit);
    AnnotatedFile file;
    EXPECT_FALSE(file.readFromWAV(broken));
}

TEST(AnnotatedFileTest, CutOrDamagedAnywhereNothingFalseAppears)
{
    const std::string strWhole = annotatedWav(8000, {0, 1, 2, 3}, {{0, 2, "first"}, {2, 4, "second"}});
    const std::string strExpected = "first@0-2 second@2-4 ";
    ASSERT_EQ(read(strWhole), strExpected);
    const std::size_t uiCue = strWhole.find("cue ");
    const std::size_t uiList = strWhole.find("LIST");
    for (std::size_t uiSize = 0; uiSize < strWhole.size(); ++uiSize)
    {
        // A file that ends before "LIST" has markers without labels at most.
        const LogCapture log("quillcast.audio");
        const std::string strResult = read(strWhole.substr(0, uiSize));
        EXPECT_EQ(log.lines().size(), 1u) << "a cut file must be reported\n" << log.text();
        const bool bBetween = uiSize >= uiList && uiSize < uiList + 8;
        EXPECT_TRUE(strResult == "refused" || (strResult.empty() && uiSize < uiCue + 8) ||
                    (strResult == "@0 @2 " && bBetween))
            << uiSize << ": " << strResult;
    }
    // Every byte replaced in the chunks of the annotations: sizes may lie, the walk must stay inside.
    for (std::size_t uiAt = uiCue; uiAt < strWhole.size(); ++uiAt)
        for (const int iByte : {0x00, 0x01, 0x7F, 0x80, 0xFF})
        {
            const LogCapture log("quillcast.audio", LogLevel::OFF);
            std::string strDamaged = strWhole;
            strDamaged[uiAt] = static_cast<char>(iByte);
            const std::string strResult = read(strDamaged);
            EXPECT_TRUE(strResult == "refused" || strResult.find('@') != std::string::npos ||
                        strResult.empty());
        }
}

TEST(AnnotatedFileTest, WhatTheSystemDoesNotReadIsNotTakenForMissing)
{
    // The headers of all chunks but the last two lie in blocks of their own.
    const std::string strSamples = Wav::data(std::vector<int>(10000));
    const TempDir folder;
    const std::string strPath = folder.write(
        "a.wav", Wav::riff(FMT + strSamples + CUE_1_2 + Wav::chunk("junk", std::string(9000, 'x')) +
                           Wav::adtl(Wav::ltxt(1, 3) + Wav::labl(1, "one"))));
    for (const bool bStream : {false, true})
    {
        unsigned int uiRefused = 0;
        bool bReachedEnd = false;
        for (unsigned int uiFailing = 1; !bReachedEnd; ++uiFailing)
        {
            const LogCapture log("quillcast");
            const FileFaults faults(folder.path(), FileFaults::READ, uiFailing);
            InputFile file;
            std::ifstream stream(strPath, std::ios::binary);
            ASSERT_TRUE(file.openRegular(strPath.c_str()));
            const std::string strResult = bStream ? readFrom(stream) : readFrom(file);
            bReachedEnd = FileFaults::getCalls(FileFaults::READ) < uiFailing;
            EXPECT_EQ(strResult, log.count("ERROR Cannot read annotations") == 1 ? "refused" : "one@2-5 @5 ");
            uiRefused += strResult == "refused" ? 1 : 0;
        }
        EXPECT_GE(uiRefused, 3u) << "once a block of chunk headers";
    }
}

TEST(AnnotatedFileTest, MessagesNameTheFile)
{
    const TempDir folder;
    const std::string strWhole = Wav::riff(FMT + DATA + CUE_1_2);
    const std::string strPath = folder.write("a.wav", strWhole.substr(0, strWhole.size() - 60));
    const LogCapture log("quillcast.audio");
    InputFile file;
    ASSERT_TRUE(file.openRegular(strPath.c_str()));
    EXPECT_EQ(readFrom(file), "");
    EXPECT_EQ(log.text(), "WARN Annotated recording " + strPath +
                              ": the file is shorter than its header says, annotations may be lost\n");
}

TEST(AnnotatedFileTest, DescribesTheFile)
{
    std::istringstream stream(
        Wav::riff(Wav::fmt(44100, 2, 24) + Wav::chunk("data", std::string(12, '\0')) + CUE_1_2 +
                  Wav::adtl(Wav::labl(2, "two") + Wav::note(2, "remark") + Wav::labl(9, "lost"))));
    AnnotatedFile file;
    ASSERT_TRUE(file.readFromWAV(stream));
    EXPECT_EQ(file.getContainer(), "RIFF");
    EXPECT_EQ(file.getFormat().m_uiRate, 44100u);
    EXPECT_EQ(file.getFormat().m_uiChannels, 2u);
    EXPECT_EQ(file.getFormat().m_uiBits, 24u);
    EXPECT_EQ(file.getFrameCount(), 2u); // 12 bytes of 2 channels of 3 bytes
    EXPECT_EQ(file.getChunkOrder(), (StringVector{"fmt ", "data", "cue ", "LIST:adtl"}));
    ASSERT_EQ(file.getCueSheet().m_vCues.size(), 2u);
    EXPECT_FALSE(file.getCueSheet().m_vCues[0].m_label);
    EXPECT_EQ(file.getCueSheet().m_vCues[1].m_label, "two");
    EXPECT_EQ(file.getMarkers()[1].getNote(), "remark");
    EXPECT_EQ(file.getCueSheet().m_labelsWithoutCue.at(9), "lost");
}
