#include <Telvora/Platform/Linux/Machine/LinuxFileManager.h>

#include <tests/Platform/FileManagerContract.h>
#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace telvora::detail {
namespace {

struct LinuxFileManagerSubject {
    FileManager& files() { return manager; }
    const std::string& folder() const { return tree.path(); }

    TemporaryTree tree;
    LinuxFileManager manager;
};

INSTANTIATE_TYPED_TEST_SUITE_P(LinuxFileManager, FileManagerContract, LinuxFileManagerSubject);

class LinuxFileManagerTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return tree.path() + "/" + name; }

    std::string textOf(const std::string& name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }

    std::size_t fileCount() const
    {
        const std::filesystem::directory_iterator entries(tree.path());
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    TemporaryTree tree;
    LinuxFileManager files;
};

using LinuxFileManagerQuirk = LinuxFileManagerTest;

TEST_F(LinuxFileManagerTest, WritesExactlyTheText)
{
    const std::string text = std::string("a\0b", 3) + std::string(100'000, 'x');

    EXPECT_TRUE(files.writeAtomically(path("file"), text));

    EXPECT_EQ(textOf("file"), text);
    EXPECT_EQ(fileCount(), 1u);
}

TEST_F(LinuxFileManagerTest, AFailedWriteLeavesNothingBehind)
{
    tree.makeFolder("/taken/by");

    EXPECT_FALSE(files.writeAtomically(path("taken"), "text"));
    EXPECT_FALSE(files.writeAtomically(path("missing/file"), "text"));
    EXPECT_FALSE(files.writeAtomically("/proc/telvora-cannot-be", "text"));

    EXPECT_EQ(fileCount(), 1u);
}

TEST_F(LinuxFileManagerTest, ANewFileHasTheRightsOfTheProcess)
{
    ::umask(027);

    EXPECT_TRUE(files.writeAtomically(path("file"), "text"));

    struct stat status;
    ASSERT_EQ(::stat(path("file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0640u);
}

TEST_F(LinuxFileManagerQuirk, AReaderNeverMeetsHalfAFile)
{
    const std::string as(200'000, 'a');
    const std::string bs(200'000, 'b');
    ASSERT_TRUE(files.writeAtomically(path("file"), as));

    std::thread writer([&] {
        for (int round = 0; round < 50; ++round)
            files.writeAtomically(path("file"), round % 2 ? as : bs);
    });
    for (int round = 0; round < 50; ++round) {
        const std::string text = textOf("file");
        EXPECT_TRUE(text == as || text == bs);
    }
    writer.join();
}

TEST_F(LinuxFileManagerTest, APathWithANulIsNoFile)
{
    ASSERT_TRUE(files.writeAtomically(path("file"), "text"));
    const std::string misleading = path("file") + std::string("\0.txt", 5);

    EXPECT_FALSE(files.fileExists(misleading));
    EXPECT_FALSE(files.writeAtomically(misleading, "other"));
    EXPECT_EQ(textOf("file"), "text");
}

TEST_F(LinuxFileManagerTest, ALinkToNothingIsNoFile)
{
    ASSERT_EQ(::symlink("/nonexistent", path("link").c_str()), 0);

    EXPECT_FALSE(files.fileExists(path("link")));
}

TEST_F(LinuxFileManagerTest, TheRootIsPutBeforeEveryPath)
{
    tree.write("/bin/bash", "");
    LinuxFileManager below(tree.path());

    EXPECT_TRUE(below.fileExists("/bin/bash"));
    EXPECT_FALSE(below.fileExists("/private"));
    EXPECT_FALSE(below.writeAtomically("/private/file", "text"));
    EXPECT_TRUE(below.writeAtomically("/bin/file", "text"));
    EXPECT_EQ(textOf("bin/file"), "text");
}

} // namespace
} // namespace telvora::detail
