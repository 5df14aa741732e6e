#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <random>

#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"

extern char** environ;

namespace varnelle {
namespace {

using test::TemporaryDirectory;
using testing::HasSubstr;

constexpr int kExitUnsupported = 77;

/// The helper program, with a pipe to its standard output.
class Child {
public:
    explicit Child(std::vector<std::string> arguments) {
        std::array<int, 2> pipe{};
        EXPECT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
        arguments.insert(arguments.begin(), RECORDING_CHILD);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&process_, RECORDING_CHILD, &actions, nullptr, pointers.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(pipe[1]);
        output_ = fdopen(pipe[0], "r");
    }
    ~Child() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        std::fclose(output_);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// The next line; empty at the end.
    std::string line() {
        std::array<char, 1024> text{};
        return std::fgets(text.data(), text.size(), output_) != nullptr ? text.data() : "";
    }
    void killNow() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = 0;
    }
    int exitCode() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t process_ = 0;
    std::FILE* output_ = nullptr;
};

TEST(AKilledRecording, CanBeReadUpToShortlyBeforeTheKill) {
    std::random_device random;
    const TemporaryDirectory directory;
    // Both record at the same time, because they take as long as they record.
    Child lively({"lively", directory.file("lively.mov").string()});
    Child still({"still", directory.file("still.mov").string()});
    for (const auto& [mode, child] : {std::pair<std::string, Child*>{"lively", &lively}, {"still", &still}}) {
        const URL url = directory.file(mode + ".mov");
        // Frames of 1/30 s after which the process is killed. A still screen has its last frame at 19/30 s.
        const int lastFrame = 65 + static_cast<int>(random() % 30);
        int frame = -1;
        while (frame < lastFrame) {
            const std::string line = child->line();
            ASSERT_FALSE(line.empty()) << "the recorder ended by itself";
            frame = std::stoi(line);
        }
        child->killNow();

        const auto asset = std::make_shared<const MediaAsset>(url);
        const MediaTrack track = asset->tracks(MediaType::video).at(0);
        const int count = static_cast<int>(track.sampleIndex->size());
        const int expected = mode == "still" ? 20 : lastFrame - 60;
        EXPECT_GE(count, expected) << mode << " killed after frame " << lastFrame;
        EXPECT_GE(track.duration, CMTime::make(expected - 1, 30));
        if (mode == "lively") {
            EXPECT_EQ(asset->tracks(MediaType::audio).size(), 1U);
        }
        FrameSource source(asset, track);
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ((*track.sampleIndex)[static_cast<std::size_t>(i)].presentationTime,
                      CMTime::make(i, 30));
            const auto picture = source.frame(CMTime::make(i, 30));
            ASSERT_TRUE(picture);
            EXPECT_EQ(test::readNumber(*picture), i);
        }
        // Going back works without an index in the file.
        EXPECT_EQ(test::readNumber(*source.frame(CMTime::make(3, 30))), 3);
    }
}

TEST(AFullDisk, IsAnErrorThatNamesTheFileAndNoHang) {
    for (const std::string mode : {"limited", "limited-surviving"}) {
        const TemporaryDirectory directory;
        const URL url = directory.file("big.mov");
        Child child({mode, url.string(), "400000"});
        const std::string error = child.line();
        const int code = child.exitCode();
        if (code == kExitUnsupported) GTEST_SKIP() << "no file size limits here";
        EXPECT_EQ(code, 0);
        EXPECT_THAT(error, HasSubstr("big.mov"));
        if (mode == "limited") {
            EXPECT_EQ(directory.entryCount(), 0U);
        } else {
            EXPECT_GT(MediaAsset(url).tracks().front().sampleIndex->size(), 3U);
        }
    }
}

TEST(AFullDisk, KeepsTheFragmentsIfOnlyTheirCopyDoesntFit) {
    const TemporaryDirectory directory;
    Child child({"small-disk", directory.url().string()});
    const std::string line = child.line();
    const int code = child.exitCode();
    if (code == kExitUnsupported) GTEST_SKIP() << "file systems can't be mounted here";
    EXPECT_EQ(code, 0) << line;
}

}  // namespace
}  // namespace varnelle
