#include <Telvora/Platform/Linux/Machine/SystemFiles.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>

namespace telvora::detail {
namespace {

using testing::ElementsAre;

class SystemFilesTest : public testing::Test {
protected:
    TemporaryTree tree;
    SystemFiles files { tree.path() };
};

TEST_F(SystemFilesTest, PathsAreLookedUpBelowTheRoot)
{
    tree.write("/etc/name", "text");

    EXPECT_EQ(files.below("/etc/name"), tree.path() + "/etc/name");
    EXPECT_TRUE(files.exists("/etc/name"));
    EXPECT_FALSE(files.exists("/etc/other"));
    EXPECT_EQ(files.contents("/etc/name"), "text");
}

TEST_F(SystemFilesTest, AFileThatIsMissingOrAFolderIsAbsent)
{
    tree.write("/etc/name", "text");

    EXPECT_EQ(files.contents("/etc/other"), std::nullopt);
    EXPECT_EQ(files.contents("/etc"), std::nullopt);
}

TEST_F(SystemFilesTest, AFileAtItsLimitIsReadAndALongerOneIsAbsent)
{
    tree.write("/five", "12345");

    EXPECT_EQ(files.contents("/five", 5), "12345");
    EXPECT_EQ(files.contents("/five", 4), std::nullopt);
}

TEST_F(SystemFilesTest, ReadingAPipeDoesNotWait)
{
    ASSERT_EQ(::mkfifo(files.below("/pipe").c_str(), 0600), 0);

    EXPECT_EQ(files.contents("/pipe").value_or(""), "");
}

TEST_F(SystemFilesTest, TheFirstLineEndsAtALineBreakOrANULAndIsTrimmed)
{
    tree.write("/lines", "  one \nsecond\n");
    tree.write("/strings", std::string("one\0two\0", 8));
    tree.write("/blank", "  \nsecond\n");

    EXPECT_EQ(files.firstLine("/lines"), "one");
    EXPECT_EQ(files.firstLine("/strings"), "one");
    EXPECT_EQ(files.firstLine("/blank"), std::nullopt);
}

TEST_F(SystemFilesTest, AnAssignmentIsReadAsAShellReadsIt)
{
    tree.write("/os-release",
        "# VERSION_ID=1\nBARE=12\nSINGLE='a b'\nDOUBLE=\"a \\\"b\\\" \\$\"\nEMPTY=\nX_BARE=13\n");

    EXPECT_EQ(files.assignment("/os-release", "BARE"), "12");
    EXPECT_EQ(files.assignment("/os-release", "SINGLE"), "a b");
    EXPECT_EQ(files.assignment("/os-release", "DOUBLE"), "a \"b\" $");
    EXPECT_EQ(files.assignment("/os-release", "EMPTY"), std::nullopt);
    EXPECT_EQ(files.assignment("/os-release", "VERSION_ID"), std::nullopt);
}

TEST_F(SystemFilesTest, TheNamesInAFolderAreSorted)
{
    tree.write("/drm/card1", "");
    tree.write("/drm/card0", "");

    EXPECT_THAT(files.namesIn("/drm"), ElementsAre("card0", "card1"));
    EXPECT_THAT(files.namesIn("/none"), ElementsAre());
}

TEST(SystemTextTest, LinesAreRemovedOneByOne)
{
    std::string_view rest = "one\n\nthree";

    EXPECT_EQ(nextLine(rest), "one");
    EXPECT_EQ(nextLine(rest), "");
    EXPECT_EQ(nextLine(rest), "three");
    EXPECT_TRUE(rest.empty());
    EXPECT_EQ(trimmed(" \t a b\r\n"), "a b");
    EXPECT_EQ(trimmed(" \t"), "");
}

} // namespace
} // namespace telvora::detail
