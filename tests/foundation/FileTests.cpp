#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "foundation/AtomicFile.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

TEST(AtomicFile, ReplacesTheOldFileOnlyAtTheCommit) {
    const test::TemporaryDirectory directory;
    const URL url = directory.file("settings.json");
    writeFileAtomically(url, "old");
    {
        AtomicFile file(url);
        file.write("new");
        EXPECT_EQ(readFile(url), "old");
        file.commit();
    }
    EXPECT_EQ(readFile(url), "new");
    EXPECT_EQ(directory.entryCount(), 1U);
}

TEST(AtomicFile, WithoutACommitLeavesNothing) {
    const test::TemporaryDirectory directory;
    { AtomicFile(directory.file("a")).write("half"); }
    EXPECT_EQ(directory.entryCount(), 0U);
}

TEST(AtomicFile, AMissingDirectoryIsAnErrorThatNamesTheFile) {
    const test::TemporaryDirectory directory;
    try {
        writeFileAtomically(directory.file("missing").appending("a.json"), "x");
        FAIL();
    } catch (const FileError& error) {
        EXPECT_EQ(error.errorNumber(), ENOENT);
        EXPECT_NE(std::string(error.what()).find("a.json"), std::string::npos);
    }
}

TEST(ReadFile, MissingFileIsAnErrorThatNamesIt) {
    const test::TemporaryDirectory directory;
    try {
        readFile(directory.file("nothing.json"));
        FAIL();
    } catch (const FileError& error) {
        EXPECT_NE(std::string(error.what()).find("nothing.json"), std::string::npos);
    }
}

TEST(TemporaryDirectory, IsTheUsersOwnWhereAllMayWrite) {
    using std::filesystem::perms;
    const char* const before = std::getenv("TMPDIR");
    const std::string restored = before != nullptr ? before : "";
    const test::TemporaryDirectory directory;
    const URL other = directory.file("other");
    std::filesystem::create_directory(other.path());
    setenv("TMPDIR", other.string().c_str(), 1);
    EXPECT_EQ(temporaryDirectory(), other);
    std::filesystem::permissions(other.path(), perms::all | perms::sticky_bit);
    const URL own = temporaryDirectory();
    EXPECT_EQ(own.parent(), other);
    EXPECT_EQ(std::filesystem::status(own.path()).permissions(), perms::owner_all);
    std::filesystem::permissions(own.path(), perms::owner_all | perms::others_read | perms::others_exec);
    EXPECT_EQ(temporaryDirectory(), own);
    EXPECT_EQ(std::filesystem::status(own.path()).permissions(), perms::owner_all);
    std::filesystem::remove(own.path());
    std::filesystem::create_directory_symlink(directory.url().path(), own.path());
    EXPECT_EQ(temporaryDirectory(), homeDirectory().appending(".cache"));
    before != nullptr ? setenv("TMPDIR", restored.c_str(), 1) : unsetenv("TMPDIR");
}

}  // namespace
}  // namespace varnelle
