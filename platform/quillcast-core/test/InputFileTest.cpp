#include "quillcast-core/InputFile.h"
#include "test-support/FileFaults.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace Vexalor;
using Testing::FileFaults;

namespace
{

std::string read(InputFile& io_file, std::size_t in_uiSize)
{
    std::string strBytes(in_uiSize, ' ');
    strBytes.resize(io_file.read(strBytes.data(), in_uiSize));
    return strBytes;
}

std::string readAt(InputFile& io_file, std::uint64_t in_uiPosition, std::size_t in_uiSize)
{
    std::string strBytes(in_uiSize, ' ');
    strBytes.resize(io_file.readAt(in_uiPosition, strBytes.data(), in_uiSize));
    return strBytes;
}

} // namespace

TEST(InputFileTest, InOrderAndByPosition)
{
    const Testing::TempDir folder;
    std::string strContent;
    for (int i = 0; i < 3000; ++i)
        strContent += std::to_string(i) + ' ';
    InputFile file;
    ASSERT_TRUE(file.openRegular(folder.write("file", strContent).c_str()));
    EXPECT_EQ(file.getSize(), strContent.size());
    EXPECT_EQ(read(file, 4), "0 1 ");
    for (const std::size_t uiSize : {1, 10, 4095, 4096, 4097, 9000})
        for (const std::size_t uiPosition : {0, 1, 4090, 8192, 13000, 20000})
            EXPECT_EQ(readAt(file, uiPosition, uiSize),
                      uiPosition < strContent.size() ? strContent.substr(uiPosition, uiSize) : "")
                << uiSize << " at " << uiPosition;
    EXPECT_EQ(readAt(file, ~0ULL - 2, 8), "");
    EXPECT_EQ(read(file, 4), "2 3 ") << "goes on where it was";
    EXPECT_FALSE(file.seek(~0ULL));
    EXPECT_EQ(file.getRest(), strContent.size() - 8);
    ASSERT_TRUE(file.seek(strContent.size() - 2));
    InputFile other = std::move(file);
    EXPECT_FALSE(file.isOpen()); // NOLINT(bugprone-use-after-move): it is as if new
    EXPECT_EQ(read(other, 10), "9 ");
    EXPECT_EQ(other.getShareRead().getValue(), 1.0);
}

TEST(InputFileTest, TheEndStaysWhenTheFileGrows)
{
    const Testing::TempDir folder;
    InputFile file;
    ASSERT_TRUE(file.open(folder.write("file", "ab").c_str()));
    EXPECT_EQ(read(file, 10), "ab");
    EXPECT_EQ(read(file, 10), "");
    std::ofstream(folder.path("file"), std::ios::app) << "cd";
    EXPECT_EQ(read(file, 10), "");
    EXPECT_FALSE(file.hasFailed());
    ASSERT_TRUE(file.seek(1));
    EXPECT_EQ(read(file, 10), "bcd");
}

TEST(InputFileTest, ErrorsStayAndAreToldOnce)
{
    const Testing::TempDir folder;
    const std::string strPath = folder.write("file", std::string(10000, 'x'));
    const Testing::LogCapture log("quillcast.core.InputFile");
    InputFile file;
    {
        const FileFaults faults(folder.path(), FileFaults::READ, 2);
        ASSERT_TRUE(file.open(strPath.c_str()));
        EXPECT_EQ(read(file, 100).size(), 100u);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(read(file, 100), "");
        EXPECT_TRUE(file.hasFailed());
        EXPECT_EQ(file.getReason(), "Input/output error");
        EXPECT_EQ(log.text(), "ERROR Cannot read " + strPath + " beyond byte 100: Input/output error\n");
        ASSERT_TRUE(file.seek(100));
        EXPECT_EQ(read(file, 100).size(), 100u) << "positioned anew";
    }
    const FileFaults faults(folder.path(), FileFaults::READ, 1);
    ASSERT_TRUE(file.openRegular(strPath.c_str()));
    EXPECT_EQ(readAt(file, 5, 100), "");
    EXPECT_EQ(readAt(file, 5, 100), "");
    EXPECT_TRUE(file.hasFailed());
    EXPECT_TRUE(log.has("ERROR Cannot read " + strPath + " beyond byte 5: Input/output error"));
}

TEST(InputFileTest, WhatCannotBeOpened)
{
    const Testing::TempDir folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const struct
    {
        const char* m_name;
        std::string m_strPath;
        bool m_bRegularOnly;
        const char* m_reason;
    } TABLE[] = {
        {"missing", folder.path("missing"), false, "No such file or directory"},
        {"folder", folder.path(), false, "Is a directory"},
        {"pipe without a writer", folder.path("pipe"), true, "is no regular file"},
        {"device", "/dev/null", true, "is no regular file"},
    };
    for (const auto& row : TABLE)
    {
        InputFile file;
        EXPECT_FALSE(row.m_bRegularOnly ? file.openRegular(row.m_strPath.c_str())
                                        : file.open(row.m_strPath.c_str()))
            << row.m_name;
        EXPECT_EQ(file.getReason(), row.m_reason) << row.m_name;
        EXPECT_EQ(file.getFilename(), row.m_strPath) << row.m_name;
        EXPECT_FALSE(file.isOpen()) << row.m_name;
        EXPECT_EQ(read(file, 4), "") << row.m_name;
    }
    InputFile file;
    EXPECT_FALSE(file.open(nullptr));
    EXPECT_EQ(file.getReason(), "no file name is given");
}
