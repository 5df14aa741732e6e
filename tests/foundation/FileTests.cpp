#include <gtest/gtest.h>

#include <cerrno>

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

}  // namespace
}  // namespace varnelle
