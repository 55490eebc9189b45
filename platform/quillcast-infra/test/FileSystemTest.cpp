#include "quillcast-infra/DiskFileSystem.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <iomanip>
#include <locale>

using namespace Vexalor;
using Testing::TempDir;

namespace
{

/// Numbers with a decimal comma, as the locale of a host program may have them.
class CommaLocale : public std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
};

} // namespace

TEST(DiskFileSystemTest, RelativePathsFollowTheObjectsOwnWorkingDirectory)
{
    const TempDir folder;
    std::filesystem::create_directory(folder.path("sub"));
    folder.write("sub/file", "text");
    const std::filesystem::path earlier = std::filesystem::current_path();

    DiskFileSystem disk;
    EXPECT_FALSE(disk.exists("sub/file"));
    ASSERT_TRUE(disk.setWorkingDirectory(folder.path().c_str()));
    EXPECT_TRUE(disk.exists("sub/file"));
    ASSERT_TRUE(disk.setWorkingDirectory("sub"));
    EXPECT_TRUE(disk.exists("file"));
    EXPECT_TRUE(disk.exists(folder.path("sub/file").c_str()));

    EXPECT_FALSE(disk.setWorkingDirectory("none"));
    EXPECT_FALSE(disk.setWorkingDirectory("file"));
    EXPECT_EQ(disk.getWorkingDirectory(), folder.path("sub"));
    EXPECT_EQ(std::filesystem::current_path(), earlier);
}

TEST(DiskFileSystemTest, WhatCannotBeOpenedGivesAReason)
{
    const TempDir folder;
    folder.write("file", "text");
    DiskFileSystem disk;
    ASSERT_TRUE(disk.setWorkingDirectory(folder.path().c_str()));
    const struct
    {
        const char* m_path;
        const char* m_reading;
        const char* m_writing;
    } CASES[] = {
        {".", "Is a directory", "Is a directory"},
        {"none/file", "No such file or directory", "No such file or directory"},
        {"file/below", "Not a directory", "Not a directory"},
        {"", "Is a directory", "Is a directory"},
    };
    for (const auto& badPath : CASES)
    {
        vfsistream in(disk, badPath.m_path);
        EXPECT_FALSE(in) << badPath.m_path;
        EXPECT_EQ(in.getReason(), badPath.m_reading) << badPath.m_path;
        EXPECT_EQ(in.get(), EOF) << badPath.m_path;
        vfsostream out(disk, badPath.m_path);
        EXPECT_FALSE(out) << badPath.m_path;
        EXPECT_EQ(out.getReason(), badPath.m_writing) << badPath.m_path;
        EXPECT_FALSE(out.close()) << badPath.m_path;
    }
}

TEST(DiskFileSystemTest, BytesAndNumbersSurviveWhateverTheGlobalLocale)
{
    const TempDir folder;
    const std::string strPath = folder.path("file");
    const std::string strBytes("a\0\r\n\xFF", 5);
    const std::locale earlier = std::locale::global(std::locale(std::locale::classic(), new CommaLocale));
    {
        vfsostream out(DiskFileSystem(), strPath.c_str());
        out << 1234.5 << ' ' << strBytes;
        EXPECT_TRUE(out.close());
        EXPECT_TRUE(out);
        EXPECT_FALSE(out.close());
    }
    vfsistream in(DiskFileSystem(), strPath.c_str());
    double dNumber = 0;
    in >> dNumber;
    std::locale::global(earlier);
    EXPECT_EQ(dNumber, 1234.5);
    EXPECT_EQ(Testing::readFile(strPath), "1234.5 " + strBytes);
}

TEST(DiskFileSystemTest, CloseTellsOfLostWrites)
{
    // Small text fails when the buffer is written at the end, large text on the way there.
    const std::pair<std::size_t, const char*> CASES[] = {{10, "No space left on device"},
                                                         {std::size_t(1) << 20, "an earlier write failed"}};
    for (const auto& [uiSize, reason] : CASES)
    {
        vfsostream out(DiskFileSystem(), "/dev/full");
        ASSERT_TRUE(out);
        out << std::string(uiSize, 'x');
        EXPECT_FALSE(out.close()) << uiSize;
        EXPECT_TRUE(out.bad()) << uiSize;
        EXPECT_EQ(out.getReason(), reason) << uiSize;
    }
}
