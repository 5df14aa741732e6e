#include "model/ProjectLifecycle.h"

#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <thread>

#include "foundation/AtomicFile.h"
#include "model/ProjectPackage.h"
#include "support/SampleProject.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

class SavedProjects : public testing::Test {
protected:
    ProjectEditorState makeProject(const std::string& name) {
        const URL session = directory_.file("session " + UUID::random().string());
        std::filesystem::create_directories(session.path());
        writeFileAtomically(session.appending("screen.mov"), "screen");
        Project project = test::projectIn(session, 12.5);
        project.name = name;
        return {project, {}, {}};
    }
    [[nodiscard]] std::size_t packageCount() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder_.path()), {}));
    }

    test::TemporaryDirectory directory_;
    URL home_ = directory_.file("home");
    URL folder_ = home_.appending(kProjectFolderName);
};

TEST_F(SavedProjects, SavesOfOneNameAtOnceLeaveAPackageEach) {
    const std::array<ProjectEditorState, 2> states{makeProject("Talk"), makeProject("Talk")};
    for (int round = 0; round < 20; ++round) {
        std::filesystem::remove_all(home_.path());
        std::barrier start(2);
        std::array<SavedProject, 2> saved;
        const auto save = [&](std::size_t i) {
            start.arrive_and_wait();
            saved.at(i) = saveProject(states.at(i), std::nullopt, home_);
        };
        std::jthread other(save, 1);
        save(0);
        other.join();
        for (std::size_t i = 0; i < saved.size(); ++i) {
            const ProjectEditorState read = readPackage(saved.at(i).packageURL);
            EXPECT_EQ(read, saved.at(i).state);
            EXPECT_EQ(read.currentProject.id, states.at(i).currentProject.id);
        }
        ASSERT_EQ(packageCount(), 2U);
    }
}

TEST_F(SavedProjects, AnyNameBecomesOneThatAFileCanHave) {
    struct Case {
        std::string name;
        std::string expected;
    };
    for (const Case& c :
         {Case{"a/b:c", "a-b-c"}, Case{std::string("Ta\0lk\0", 6), "Talk"},
          Case{std::string("\0\0", 2), "Varnelle Project"}, Case{"\u00A0", "Varnelle Project"},
          Case{"caf\xE9", "caf\uFFFD"}, Case{"\xC3", "\uFFFD"}, Case{" \u2003Talk\u3000 ", "Talk"}}) {
        const ProjectEditorState state = namedForSaving(makeProject(c.name));
        EXPECT_EQ(state.currentProject.name, c.expected);
        const SavedProject saved = saveProject(state, std::nullopt, home_);
        EXPECT_EQ(readPackage(saved.packageURL).currentProject.name, c.expected);
    }
}

TEST_F(SavedProjects, ThroughALinkThePackageBehindItIsReplaced) {
    const URL real = directory_.file("disk").appending("Real.varnelle");
    const URL link = directory_.file("Talk.varnelle");
    writePackage(makeProject("old"), real);
    std::filesystem::create_symlink("disk/Real.varnelle", link.path());
    const ProjectEditorState state = makeProject("Talk");
    const SavedProject saved = saveProject(state, link, home_);
    EXPECT_EQ(saved.packageURL, link);
    EXPECT_EQ(saved.state, readPackage(link));
    EXPECT_TRUE(std::filesystem::is_symlink(link.path()));
    EXPECT_EQ(readPackage(real).currentProject.id, state.currentProject.id);

    ProjectEditorState renamed = saved.state;
    renamed.currentProject.name = "Other";
    EXPECT_EQ(saveProject(renamed, link, home_).packageURL, folder_.appending("Other.varnelle"));
    EXPECT_FALSE(std::filesystem::is_symlink(link.path()));
    EXPECT_TRUE(real.exists());
}

TEST_F(SavedProjects, WithoutItsFilesAProjectMakesNoFolder) {
    ProjectEditorState state = makeProject("Talk");
    std::filesystem::remove(state.currentProject.recordingSession.screenRecordingURL.path());
    EXPECT_THROW(saveProject(state, std::nullopt, home_), ProjectPersistenceError);
    EXPECT_FALSE(home_.exists());
}

}  // namespace
}  // namespace varnelle
