// Configuration files are replaced, never rewritten in place: a write that
// cannot finish must leave the old file exactly as it was.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "platform/atomic_file.h"
#include "support/temp_dir.h"

using namespace lp;
using namespace lp::test;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

size_t entriesIn(const std::string& folder)
{
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

} // namespace

TEST(AtomicFile, ReplacesContentsAndKeepsPermissionsAndLinks)
{
    TempDir dir;
    const std::string path = dir.file("a.ini");
    std::string error;

    // A new file, then a replacement; binary bytes and NULs go through as they are.
    for (const std::string& contents : {"first"s, "x\0\r\n\xff\x80y"s, ""s}) {
        ASSERT_TRUE(replaceFileAtomically(path, contents, &error)) << error;
        EXPECT_EQ(readFile(path), contents);
    }

#ifndef _WIN32 // POSIX permissions and links
    ::chmod(path.c_str(), 0640);
    ASSERT_TRUE(replaceFileAtomically(path, "again", &error)) << error;
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);

    // Writing through a symlink changes the file it names; the link stays a link.
    const std::string link = dir.file("link.ini");
    fs::create_symlink("a.ini", link);
    ASSERT_TRUE(replaceFileAtomically(link, "via link", &error)) << error;
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readFile(path), "via link");
    EXPECT_EQ(entriesIn(dir.path()), 2u) << "no temporary left behind";
#else
    EXPECT_EQ(entriesIn(dir.path()), 1u) << "no temporary left behind";
#endif
}

TEST(AtomicFile, FailedWritesLeaveTheOldFileAndNoTemporary)
{
    TempDir dir;
    std::string error;

    // The folder is a regular file: nothing can be created below it.
    writeFile(dir.file("plain"), "i am a file");
    EXPECT_FALSE(replaceFileAtomically(dir.file("plain") + "/x.ini", "data", &error));
    EXPECT_FALSE(error.empty());

    // The target is a folder: refused, the folder is not replaced.
    fs::create_directory(dir.file("sub"));
    error.clear();
    EXPECT_FALSE(replaceFileAtomically(dir.file("sub"), "data", &error));
    EXPECT_NE(error.find("folder"), std::string::npos) << error;
    EXPECT_TRUE(fs::is_directory(dir.file("sub")));

    // The rename fails (a non-empty folder cannot be replaced by a file):
    // the temporary is removed.
    writeFile(dir.file("sub/inner"), "x");
    std::string temp;
    ASSERT_TRUE(writeTemporaryBeside(dir.file("t.ini"), "data", temp, &error)) << error;
    EXPECT_EQ(fs::path(temp).parent_path(), fs::path(dir.path())); // beside: the rename stays on one file system
    EXPECT_FALSE(commitTemporary(temp, dir.file("sub"), &error));
    EXPECT_FALSE(fileExists(temp));
    EXPECT_EQ(entriesIn(dir.path()), 2u);
}

TEST(AtomicFile, ReadIsBoundedAndRefusesOddFiles)
{
    TempDir dir;
    std::string out = "stale", error;

    EXPECT_FALSE(readWholeFile(dir.file("missing"), out, 100, &error));
    EXPECT_TRUE(out.empty());

    writeFile(dir.file("f"), std::string(100, 'a'));
    EXPECT_TRUE(readWholeFile(dir.file("f"), out, 100, &error)) << error;
    EXPECT_EQ(out.size(), 100u);
    EXPECT_FALSE(readWholeFile(dir.file("f"), out, 99, &error));
    EXPECT_TRUE(out.empty());
    EXPECT_NE(error.find("larger"), std::string::npos) << error;

    // A folder and a FIFO are not files; the FIFO must not block the read.
    EXPECT_FALSE(readWholeFile(dir.path(), out, 100, &error));
#ifndef _WIN32
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    EXPECT_FALSE(readWholeFile(dir.file("fifo"), out, 100, &error));
#endif
}

TEST(AtomicFile, LockIsExclusiveAndWaitIsBounded)
{
    TempDir dir;
    const std::string path = dir.file("r.reg");
    {
        FileLock first(path);
        ASSERT_TRUE(first.locked()) << first.error();

        const auto start = std::chrono::steady_clock::now();
        FileLock second(path, std::chrono::milliseconds(150));
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_FALSE(second.locked());
        EXPECT_FALSE(second.error().empty());
        EXPECT_GE(waited, std::chrono::milliseconds(150));
    }
    // Released at the end of the scope; a waiter gets it once the holder lets go.
    auto holder = std::make_unique<FileLock>(path);
    ASSERT_TRUE(holder->locked());
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        holder.reset();
    });
    FileLock waiter(path, std::chrono::milliseconds(5000));
    release.join();
    EXPECT_TRUE(waiter.locked()) << waiter.error();

    FileLock nowhere(dir.file("no/such/folder/x.ini"), std::chrono::milliseconds(10));
    EXPECT_FALSE(nowhere.locked());
    EXPECT_FALSE(nowhere.error().empty());
}
