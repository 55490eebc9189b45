#include "quillcast-audio/AudioSetParser.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <gtest/gtest.h>

using namespace Vexalor;
using namespace Vexalor::Testing;

TEST(AudioSetParserTest, ListsRecordings)
{
    const TempDir folder;
    const std::string strList =
        folder.write("set.lst", "\xEF\xBB\xBF"
                                "a.wav\r\n\r\n  \t\n# comment\n  # another\n/abs/b.wav\n"
                                "../c d.wav\n\xC3\xA9.wav");
    AudioSetParser parser;
    ASSERT_TRUE(parser.open(strList.c_str()));
    EXPECT_EQ(parser.getFilenames(), (StringVector{folder.path("a.wav"), "/abs/b.wav",
                                                   folder.path("../c d.wav"), folder.path("\xC3\xA9.wav")}));
    for (int iPass = 0; iPass < 2; ++iPass, parser.rewind())
    {
        std::string strFile;
        for (const std::string& strExpected : parser.getFilenames())
        {
            EXPECT_TRUE(parser.hasNext());
            ASSERT_TRUE(parser.next(strFile));
            EXPECT_EQ(strFile, strExpected);
        }
        EXPECT_FALSE(parser.hasNext());
        EXPECT_FALSE(parser.next(strFile));
    }
}

TEST(AudioSetParserTest, AFailureKeepsTheEarlierList)
{
    const TempDir folder;
    AudioSetParser parser;
    ASSERT_TRUE(parser.open(folder.write("set.lst", "a.wav\n").c_str()));
    const std::pair<std::string, std::string> cases[] = {
        {folder.path("missing"), "No such file or directory"},
        {folder.path(), "Is a directory"},
        {folder.write("binary", std::string("RIFF\0\0\0\0WAVE", 12)), "it is no list of file names"},
    };
    for (const auto& [strFile, strReason] : cases)
    {
        const LogCapture log("quillcast.audio");
        EXPECT_FALSE(parser.open(strFile.c_str()));
        EXPECT_TRUE(log.has("ERROR Cannot read audio set " + strFile + ": " + strReason)) << log.text();
    }
    EXPECT_EQ(parser.getFilenames(), StringVector{folder.path("a.wav")});
    const LogCapture log("quillcast.audio");
    EXPECT_TRUE(parser.open(folder.write("labels", "0\t1\tVOICE\n").c_str()));
    EXPECT_EQ(log.count("WARN Audio set " + folder.path("labels") + ": \"" + folder.path("0\t1\tVOICE") +
                        "\" has a tab in it"),
              1u)
        << log.text();
    EXPECT_TRUE(parser.open(folder.write("empty", "").c_str()));
    EXPECT_FALSE(parser.hasNext());
}
