#pragma once

#include <Telvora/Platform/FileManager.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora {

/// What every FileManager promises. `Subject` is made without arguments and has
/// `FileManager& files()` and `std::string folder()`, a folder that exists and is empty.
template<typename Subject> class FileManagerContract : public testing::Test {
protected:
    FileManager& files() { return subject.files(); }
    std::string path(const std::string& name) { return subject.folder() + "/" + name; }

    Subject subject;
};

TYPED_TEST_SUITE_P(FileManagerContract);

TYPED_TEST_P(FileManagerContract, AFileExistsOnceItIsWritten)
{
    EXPECT_FALSE(this->files().fileExists(this->path("file")));

    EXPECT_TRUE(this->files().writeAtomically(this->path("file"), "text"));

    EXPECT_TRUE(this->files().fileExists(this->path("file")));
}

TYPED_TEST_P(FileManagerContract, AFolderExistsToo)
{
    EXPECT_TRUE(this->files().fileExists(this->subject.folder()));
    EXPECT_TRUE(this->files().fileExists(this->subject.folder() + "/"));
}

TYPED_TEST_P(FileManagerContract, WritingAgainReplacesTheFile)
{
    EXPECT_TRUE(this->files().writeAtomically(this->path("file"), "a longer text"));

    EXPECT_TRUE(this->files().writeAtomically(this->path("file"), "text"));

    EXPECT_TRUE(this->files().fileExists(this->path("file")));
}

TYPED_TEST_P(FileManagerContract, WritingIntoAMissingFolderFailsAndMakesNone)
{
    EXPECT_FALSE(this->files().writeAtomically(this->path("missing/file"), "text"));

    EXPECT_FALSE(this->files().fileExists(this->path("missing")));
}

TYPED_TEST_P(FileManagerContract, AnEmptyPathIsNoFile)
{
    EXPECT_FALSE(this->files().fileExists(""));
    EXPECT_FALSE(this->files().writeAtomically("", "text"));
}

REGISTER_TYPED_TEST_SUITE_P(FileManagerContract, AFileExistsOnceItIsWritten, AFolderExistsToo,
    WritingAgainReplacesTheFile, WritingIntoAMissingFolderFailsAndMakesNone, AnEmptyPathIsNoFile);

} // namespace telvora
