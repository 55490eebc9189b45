#include "quillcast-core/FileReplacer.h"
#include "test-support/TempDir.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace Vexalor;
using Testing::readFile;
using Testing::TempDir;

namespace
{

std::ptrdiff_t countEntries(const TempDir& in_folder)
{
    const std::filesystem::directory_iterator entries(in_folder.path());
    return std::distance(begin(entries), end(entries));
}

} // namespace

TEST(FileReplacerTest, TheNameChangesHandsOnlyAtCommit)
{
    const TempDir folder;
    const std::string strPath = folder.write("file", "old");
    ASSERT_EQ(chmod(strPath.c_str(), 0640), 0);
    {
        FileReplacer abandoned(strPath);
        ASSERT_TRUE(abandoned.open());
        ASSERT_TRUE(abandoned.write("half"));
    }
    EXPECT_EQ(readFile(strPath), "old");
    EXPECT_EQ(countEntries(folder), 1);

    FileReplacer replacer(strPath);
    ASSERT_TRUE(replacer.open());
    ASSERT_TRUE(replacer.write("new "));
    ASSERT_TRUE(replacer.write("text"));
    EXPECT_EQ(readFile(strPath), "old");
    ASSERT_TRUE(replacer.commit());
    EXPECT_FALSE(replacer.commit());
    EXPECT_EQ(readFile(strPath), "new text");
    EXPECT_EQ(countEntries(folder), 1);
    EXPECT_EQ(std::filesystem::status(strPath).permissions(), std::filesystem::perms(0640));
}

TEST(FileReplacerTest, WritersByNameAndLinks)
{
    const TempDir folder;
    std::filesystem::create_directory(folder.path("sub"));
    folder.write("sub/file", "old");
    std::filesystem::create_symlink("sub/file", folder.path("link"));
    std::filesystem::create_symlink("sub/new", folder.path("dangling"));
    std::filesystem::create_symlink(folder.path("dangling"), folder.path("further"));
    for (const auto& [link, file] : {std::pair("link", "sub/file"), std::pair("further", "sub/new")})
    {
        FileReplacer replacer(folder.path(link));
        ASSERT_TRUE(replacer.openNameOnly()) << link;
        std::ofstream(replacer.getTemporaryPath()) << "text";
        ASSERT_TRUE(replacer.commit()) << link;
        EXPECT_EQ(readFile(folder.path(file)), "text");
        EXPECT_TRUE(std::filesystem::is_symlink(folder.path(link)));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("dangling")));
}

TEST(FileReplacerTest, FailuresGiveAReason)
{
    const TempDir folder;
    folder.write("file", "text");
    std::filesystem::create_symlink("circle", folder.path("circle"));
    const std::pair<std::string, const char*> CASES[] = {
        {folder.path(), "Is a directory"},
        {folder.path("none/file"), "No such file or directory"},
        {folder.path("file/below"), "Not a directory"},
        {folder.path("circle"), "Too many levels of symbolic links"},
        {folder.path(std::string(256, 'x')), "File name too long"},
        {"", "No such file or directory"}};
    for (const auto& [strPath, reason] : CASES)
    {
        FileReplacer replacer(strPath);
        EXPECT_FALSE(replacer.open()) << strPath;
        EXPECT_EQ(replacer.getReason(), reason) << strPath;
        EXPECT_FALSE(replacer.commit()) << strPath;
    }
    EXPECT_EQ(readFile(folder.path("file")), "text");
}

TEST(FileReplacerTest, DevicesAreWrittenDirectlyAndAFailedWriteIsNeverCommitted)
{
    FileReplacer full("/dev/full");
    ASSERT_TRUE(full.open());
    EXPECT_EQ(full.getTemporaryPath(), "/dev/full");
    EXPECT_FALSE(full.write("text"));
    EXPECT_EQ(full.getReason(), "No space left on device");
    EXPECT_FALSE(full.commit());

    FileReplacer null("/dev/null");
    ASSERT_TRUE(null.open());
    EXPECT_TRUE(null.write("text"));
    EXPECT_TRUE(null.commit());
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(FileReplacerTest, APipeIsOpenedOnce)
{
    const TempDir folder;
    const std::string strPath = folder.path("pipe");
    ASSERT_EQ(mkfifo(strPath.c_str(), 0600), 0);
    const auto writeByName = [](FileReplacer& io_replacer)
    {
        const bool bOpened = io_replacer.openNameOnly();
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // time to see an end that came too early
        return bOpened && std::ofstream(io_replacer.getTemporaryPath()) << "text";
    };
    const auto writeItself = [](FileReplacer& io_replacer)
    {
        return io_replacer.open() && io_replacer.write("text");
    };
    for (const std::function<bool(FileReplacer&)>& write :
         {std::function<bool(FileReplacer&)>(writeByName), std::function<bool(FileReplacer&)>(writeItself)})
    {
        // The reader leaves at the first end that it sees; after that another opening would wait for ever.
        std::future<std::string> reader = std::async(std::launch::async, [&] { return readFile(strPath); });
        FileReplacer replacer(strPath);
        EXPECT_TRUE(write(replacer));
        EXPECT_TRUE(replacer.commit());
        EXPECT_EQ(reader.get(), "text");
    }
}

TEST(FileReplacerTest, SignalsThatEndTheProcessLeaveNoTemporaryFile)
{
    const TempDir folder;
    const std::string strPath = folder.write("file", "old");
    for (const int iSignal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT})
    {
        const pid_t child = fork();
        if (child == 0)
        {
            FileReplacer::removeOnSignals();
            FileReplacer committed(folder.path("other"));
            FileReplacer replacer(strPath);
            FileReplacer byName(strPath);
            const bool bReady = committed.open() && committed.commit() && replacer.open() &&
                                replacer.write("half") && byName.openNameOnly();
            raise(bReady ? iSignal : SIGKILL);
        }
        int iStatus = 0;
        ASSERT_EQ(waitpid(child, &iStatus, 0), child);
        EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == iSignal);
        EXPECT_EQ(countEntries(folder), 2);
        EXPECT_EQ(readFile(strPath), "old");
    }
}

TEST(FileReplacerTest, WhatKilledProcessesLeftIsFoundAndWhatOthersWriteStays)
{
    const TempDir folder;
    const std::string strPath = folder.path("file");
    const pid_t child = fork();
    if (child == 0)
    {
        FileReplacer replacer(strPath);
        FileReplacer byName(strPath);
        if (replacer.open() && byName.openNameOnly())
            std::ofstream(byName.getTemporaryPath() + ".1") << "a part";
        raise(SIGKILL);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    ASSERT_EQ(countEntries(folder), 3);
    folder.write(".new-of-a-user", "");
    FileReplacer living(strPath);
    FileReplacer livingByName(strPath);
    ASSERT_TRUE(living.open() && livingByName.openNameOnly());
    EXPECT_EQ(countEntries(folder), 6);
    FileReplacer::removeAbandoned();
    FileReplacer next(strPath);
    ASSERT_TRUE(next.open());
    EXPECT_EQ(countEntries(folder), 4);
    EXPECT_TRUE(living.commit() && livingByName.commit() && next.commit());
}
