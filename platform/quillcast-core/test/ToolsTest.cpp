#include "quillcast-core/BoostRegex.h"
#include "quillcast-core/Fallible.h"
#include "quillcast-core/MessageText.h"
#include "quillcast-core/OS.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace Vexalor;

TEST(BoostRegexTest, MatchesTheWholeText)
{
    const BoostRegex regex("voice.*", BoostRegex::ICASE);
    EXPECT_TRUE(regex.match("VOICE 1"));
    EXPECT_FALSE(regex.match("a voice"));
    EXPECT_FALSE(BoostRegex("voice", 0).match("VOICE"));
}

TEST(BoostRegexTest, BadAndRunawayExpressionsThrowRuntimeError)
{
    EXPECT_THROW(BoostRegex("(", 0), std::runtime_error);
    const BoostRegex runaway("(a+)+$", 0);
    EXPECT_THROW(runaway.match(std::string(5000, 'a') + "b"), std::runtime_error);
}

TEST(FallibleTest, UnsetMeansNoValue)
{
    EXPECT_FALSE(Fallible<const char*>().isValid());
    EXPECT_EQ(Fallible<int>(0).getValue(), 0);
}

TEST(MessageTextTest, QuotesABeginningOfWholeCharacters)
{
    const std::string strMost(60, 'a');
    EXPECT_EQ(MessageText::quote(strMost), '"' + strMost + '"');
    EXPECT_EQ(MessageText::quote(strMost + 'b'), '"' + strMost + "...\"");
    // Two bytes of three would be left of it.
    EXPECT_EQ(MessageText::cut("ab\xE2\x82\xAC"
                               "cd",
                               4),
              "ab...");
    EXPECT_EQ(MessageText::cut("\x80\x80\x80\x80\x80\x80\x80", 6), "\x80\x80...") << "no UTF-8";
    EXPECT_EQ(MessageText::toText(0.1), "0.1");
    EXPECT_EQ(MessageText::toText(-1e9), "-1000000000");
    EXPECT_EQ(MessageText::toText(-2.2250738585072014e-308), "-2.2250738585072014e-308");
    EXPECT_EQ(MessageText::toText(1e308), "1e+308");
}

TEST(OSTest, Paths)
{
    EXPECT_TRUE(OS::isPathRelative("a/b"));
    EXPECT_TRUE(OS::isPathRelative(""));
    EXPECT_FALSE(OS::isPathRelative("/a"));

    const Testing::TempDir folder;
    const std::string strReal = std::filesystem::canonical(folder.path()).string();
    std::string strPath;
    ASSERT_TRUE(OS::getCanonicalPath(folder.path("x/../not-there").c_str(), strPath));
    EXPECT_EQ(strPath, strReal + "/not-there");

    std::filesystem::create_symlink("loop", folder.path("loop"));
    EXPECT_FALSE(OS::getCanonicalPath(folder.path("loop").c_str(), strPath));
    EXPECT_EQ(strPath, strReal + "/not-there");
}
