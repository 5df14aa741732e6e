#include "model/InterruptedSaves.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include "foundation/AtomicFile.h"
#include "foundation/DirectoryLock.h"
#include "foundation/Log.h"
#include "foundation/StagingName.h"
#include "model/ProjectDocument.h"
#include "model/ProjectLifecycle.h"
#include "model/ProjectPackage.h"
#include "support/FileSystemFaults.h"
#include "support/SampleProject.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

namespace fs = std::filesystem;
using test::FaultPlan;
using test::FileSystemFaults;

/// All files below a directory with their bytes; absent if there is nothing.
using Contents = std::optional<std::map<std::string, std::string>>;
Contents contents(const URL& directory) {
    if (!directory.exists()) return std::nullopt;
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory.path())) {
        if (entry.is_regular_file()) {
            files[entry.path().lexically_relative(directory.path())] = readFile(URL(entry.path()));
        }
    }
    return files;
}

/// Thousands of saves are made here, which memory takes twenty times as fast as a disk.
fs::path quickFileSystem() {
    return access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path();
}

enum class Save { newPackage, overPackage, overPackageInTwoSteps, overItself };

/// Saves of a project where there is no package yet, or an older one, with things going wrong meanwhile.
class SavedPackage : public testing::Test {
protected:
    SavedPackage() {
        // The tests below leave hundreds of leftovers, each of which is worth a line otherwise.
        logger(LogCategory::app).set_level(spdlog::level::err);
        package_ = home_.appending("Demo.varnelle");
        old_ = makeProject("old");
        new_ = makeProject("new");
        fs::create_directories(home_.path());
        writePackage(old_, template_);
    }
    ~SavedPackage() override { logger(LogCategory::app).set_level(spdlog::level::info); }

    ProjectEditorState makeProject(const std::string& name, std::size_t mediaBytes = 100) {
        const URL session = directory_.file(name);
        fs::create_directories(session.path());
        writeFileAtomically(session.appending("screen.mov"), name + std::string(mediaBytes, 'x'));
        writeFileAtomically(session.appending("cursor.json"), name + " telemetry");
        Project project = test::projectIn(session, 12.5);
        project.name = name;
        project.recordingSession.cursorRecordingURL = session.appending("cursor.json");
        return {project, {project}, {}};
    }

    /// The state of the disk before each attempt, and what is to be saved.
    ProjectEditorState prepare(Save save) {
        fs::remove_all(home_.path());
        fs::create_directories(home_.path());
        if (save == Save::newPackage) return new_;
        fs::copy(template_.path(), package_.path(), fs::copy_options::recursive);
        if (save != Save::overItself) return new_;
        ProjectEditorState state = readPackage(package_);
        state.currentProject.name = "renamed";
        return state;
    }

    static FaultPlan plan(Save save) {
        FaultPlan plan;
        plan.canExchange = save != Save::overPackageInTwoSteps;
        return plan;
    }

    /// What has to stand there when all goes well, and when nothing comes of it.
    struct Expected {
        Contents before;
        Contents after;
        int callCount = 0;
    };
    Expected saveWithoutFault(Save save) {
        const ProjectEditorState state = prepare(save);
        const Contents before = contents(package_);
        const FileSystemFaults faults(plan(save));
        writePackage(state, package_);
        return {before, contents(package_), faults.callCount()};
    }

    std::size_t entryCount() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(home_.path()), {}));
    }

    test::TemporaryDirectory directory_{quickFileSystem()};
    URL home_ = directory_.file("Varnelle Projects");
    URL template_ = directory_.file("template.varnelle");
    URL package_;
    ProjectEditorState old_;
    ProjectEditorState new_;
};

class InterruptedSaves : public SavedPackage, public testing::WithParamInterface<Save> {};

std::string nameOf(const testing::TestParamInfo<Save>& save) {
    switch (save.param) {
        case Save::newPackage:
            return "NewPackage";
        case Save::overPackage:
            return "OverPackage";
        case Save::overPackageInTwoSteps:
            return "OverPackageInTwoSteps";
        case Save::overItself:
            return "OverItself";
    }
    return "";
}
INSTANTIATE_TEST_SUITE_P(, InterruptedSaves,
                         testing::Values(Save::newPackage, Save::overPackage, Save::overPackageInTwoSteps,
                                         Save::overItself),
                         nameOf);

bool isSentence(const std::string& text) {
    return text.size() > 10 && text.back() == '.' && text.find("filesystem error") == std::string::npos &&
           text.find('\n') == std::string::npos;
}

TEST_P(InterruptedSaves, AFailureOfAnyCallLeavesTheOldPackageOrTheNewOne) {
    const Expected expected = saveWithoutFault(GetParam());
    RecordProperty("calls", expected.callCount);
    ASSERT_GT(expected.callCount, 40);
    for (const int error : {ENOSPC, EIO, EACCES}) {
        bool hasStruck = true;
        int failures = 0;
        int toleratedFlushes = 0;
        for (int at = 1; hasStruck; ++at) {
            const ProjectEditorState state = prepare(GetParam());
            std::optional<std::string> complaint;
            std::string where;
            {
                FaultPlan fault = plan(GetParam());
                fault.at = at;
                fault.errorNumber = error;
                const FileSystemFaults faults(fault);
                try {
                    writePackage(state, package_);
                } catch (const Error& thrown) {
                    complaint = thrown.what();
                }
                hasStruck = faults.hasStruck();
                if (faults.struckCall() == "fsync" && !complaint) ++toleratedFlushes;
                where = faults.struckCall() + ", call " + std::to_string(at);
            }
            if (complaint) {
                ++failures;
                EXPECT_TRUE(isSentence(*complaint)) << where << ": " << *complaint;
                EXPECT_EQ(complaint->find("/."), std::string::npos) << *complaint << " names a hidden file";
                EXPECT_EQ(entryCount(), expected.before ? 1U : 0U) << "staging is left after " << where;
                ASSERT_EQ(contents(package_), expected.before) << where;
            } else {
                ASSERT_EQ(contents(package_), expected.after) << where;
                finishInterruptedSaves(home_);
                ASSERT_EQ(contents(package_), expected.after) << where << ", after the next start";
                EXPECT_EQ(entryCount(), 1U) << "what was replaced is left after " << where;
            }
        }
        EXPECT_GT(failures, 20) << "with error " << error;
        // Of the folder for the assets and of the manifest's name, which a later flush covers, and of the
        // package's name once it stands there.
        EXPECT_EQ(toleratedFlushes, 3) << "with error " << error;
    }
}

TEST_P(InterruptedSaves, ADiskThatStaysFullOrReadOnlyLeavesTheOldPackageOrTheNewOne) {
    struct Case {
        FaultPlan::Calls calls;
        int error;
    };
    const Expected expected = saveWithoutFault(GetParam());
    for (const Case& c :
         {Case{FaultPlan::Calls::takingSpace, ENOSPC}, Case{FaultPlan::Calls::changing, EROFS}}) {
        bool hasStruck = true;
        int at = 1;
        for (; hasStruck; ++at) {
            const ProjectEditorState state = prepare(GetParam());
            bool hasFailed = false;
            {
                FaultPlan fault = plan(GetParam());
                fault.at = at;
                fault.effect = FaultPlan::Effect::failFromThenOn;
                fault.calls = c.calls;
                fault.errorNumber = c.error;
                const FileSystemFaults faults(fault);
                try {
                    writePackage(state, package_);
                } catch (const Error& thrown) {
                    hasFailed = true;
                    EXPECT_TRUE(isSentence(thrown.what())) << thrown.what();
                }
                hasStruck = faults.hasStruck();
            }
            // Where nothing can be changed any more, the staging directory can't be removed either, nor can
            // the old package be put back in the middle of two steps: the next start does both.
            const bool mayHaveStoppedHalfway = c.calls == FaultPlan::Calls::changing;
            if (hasFailed && !mayHaveStoppedHalfway) {
                EXPECT_EQ(contents(package_), expected.before);
                EXPECT_EQ(entryCount(), expected.before ? 1U : 0U);
            }
            finishInterruptedSaves(home_);
            const Contents found = contents(package_);
            ASSERT_TRUE(found == expected.after || (hasFailed && found == expected.before)) << "call " << at;
            EXPECT_EQ(entryCount(), found ? 1U : 0U);
        }
        EXPECT_GT(at, 10);
    }
}

/// Runs a save in a process of its own.
template <typename Work>
pid_t startChild(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            work();
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    return child;
}

TEST_P(InterruptedSaves, AKillAtAnyCallLeavesTheOldPackageOrTheNewOne) {
    const Expected expected = saveWithoutFault(GetParam());
    int at = 1;
    for (bool wasKilled = true; wasKilled; ++at) {
        const ProjectEditorState state = prepare(GetParam());
        const pid_t child = startChild([&] {
            FaultPlan fault = plan(GetParam());
            fault.at = at;
            fault.effect = FaultPlan::Effect::killProcess;
            const FileSystemFaults faults(fault);
            writePackage(state, package_);
        });
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        wasKilled = WIFSIGNALED(status);
        ASSERT_TRUE(wasKilled ? WTERMSIG(status) == SIGKILL : WEXITSTATUS(status) == 0) << "call " << at;
        const Contents found = contents(package_);
        const bool mayBeAside = GetParam() == Save::overPackageInTwoSteps;
        EXPECT_TRUE(found == expected.before || found == expected.after || (!found && mayBeAside))
            << "call " << at;
        finishInterruptedSaves(home_);
        const Contents finished = contents(package_);
        ASSERT_TRUE(finished == expected.before || finished == expected.after) << "call " << at;
        EXPECT_EQ(entryCount(), finished ? 1U : 0U) << "leftovers after call " << at;
        if (!wasKilled) {
            EXPECT_EQ(finished, expected.after);
        }
    }
    EXPECT_GT(at, 40);
}

TEST_P(InterruptedSaves, AKillAtAnyMomentLeavesTheOldPackageOrTheNewOne) {
    using Clock = std::chrono::steady_clock;
    new_ = makeProject("large", std::size_t{8} << 20);
    const auto start = Clock::now();
    const Expected expected = saveWithoutFault(GetParam());
    const std::chrono::duration<double> duration = Clock::now() - start;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> moment(0, duration.count());
    for (int i = 0; i < 10; ++i) {
        const ProjectEditorState state = prepare(GetParam());
        const pid_t child = startChild([&] {
            const FileSystemFaults faults(plan(GetParam()));
            writePackage(state, package_);
        });
        std::this_thread::sleep_for(std::chrono::duration<double>(moment(random)));
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        finishInterruptedSaves(home_);
        const Contents found = contents(package_);
        ASSERT_TRUE(found == expected.before || found == expected.after);
        EXPECT_EQ(entryCount(), found ? 1U : 0U);
    }
}

TEST_P(InterruptedSaves, TidyingUpDuringASaveDoesItNoHarm) {
    const Expected expected = saveWithoutFault(GetParam());
    const ProjectEditorState state = prepare(GetParam());
    FaultPlan observing = plan(GetParam());
    observing.before = [this] { finishInterruptedSaves(home_); };
    {
        const FileSystemFaults faults(observing);
        writePackage(state, package_);
    }
    EXPECT_EQ(contents(package_), expected.after);
    EXPECT_EQ(entryCount(), 1U);
}

/// What a renaming save may leave: whole packages under the old name, the new one or both, and nothing else.
class RenamedPackage : public SavedPackage, public testing::WithParamInterface<Save> {
protected:
    ProjectEditorState prepareRenaming() {
        ProjectEditorState state = prepare(Save::overItself);
        state.currentProject.name = "Renamed";
        return state;
    }
    void expectWholePackages(const std::string& where) const {
        EXPECT_GT(entryCount(), 0U) << where;
        for (const auto& entry : fs::directory_iterator(home_.path())) {
            const std::string name = entry.path().filename();
            EXPECT_TRUE(name == "Demo.varnelle" || name == "Renamed.varnelle") << name << ", " << where;
            EXPECT_NO_THROW(readPackage(URL(entry.path()))) << where;
        }
    }

    URL renamed_ = home_.appending("Renamed.varnelle");
};
INSTANTIATE_TEST_SUITE_P(, RenamedPackage, testing::Values(Save::overPackage, Save::overPackageInTwoSteps),
                         nameOf);

TEST_P(RenamedPackage, AFailureOfAnyCallLeavesWholePackages) {
    int retirements = 0;
    for (const int error : {ENOSPC, EIO, EACCES}) {
        bool hasStruck = true;
        for (int at = 1; hasStruck; ++at) {
            const ProjectEditorState state = prepareRenaming();
            const Contents before = contents(package_);
            bool hasFailed = false;
            std::string where;
            {
                FaultPlan fault = plan(GetParam());
                fault.at = at;
                fault.errorNumber = error;
                const FileSystemFaults faults(fault);
                try {
                    saveProject(state, package_, directory_.url());
                } catch (const Error&) {
                    hasFailed = true;
                }
                hasStruck = faults.hasStruck();
                where = faults.struckCall() + ", call " + std::to_string(at);
            }
            if (hasFailed) {
                EXPECT_EQ(entryCount(), 1U) << where;
                ASSERT_EQ(contents(package_), before) << where;
            } else {
                ASSERT_NO_THROW(readPackage(renamed_)) << where;
            }
            finishInterruptedSaves(home_);
            expectWholePackages(where);
            if (!hasFailed && hasStruck && package_.exists()) ++retirements;
            if (!hasStruck) {
                EXPECT_FALSE(package_.exists()) << "the old package goes";
            }
        }
    }
    EXPECT_GT(retirements, 3) << "failures to remove the old package";
}

TEST_P(RenamedPackage, AKillAtAnyCallLeavesWholePackages) {
    bool wasKilled = true;
    int at = 1;
    for (; wasKilled; ++at) {
        const ProjectEditorState state = prepareRenaming();
        const pid_t child = startChild([&] {
            FaultPlan fault = plan(GetParam());
            fault.at = at;
            fault.effect = FaultPlan::Effect::killProcess;
            const FileSystemFaults faults(fault);
            saveProject(state, package_, directory_.url());
        });
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        wasKilled = WIFSIGNALED(status);
        finishInterruptedSaves(home_);
        expectWholePackages("call " + std::to_string(at));
    }
    EXPECT_TRUE(renamed_.exists());
    EXPECT_FALSE(package_.exists());
    EXPECT_GT(at, 40);
}

/// What a killed save may have left, for tidying up to meet faults with.
class TidyingUp : public SavedPackage {
protected:
    struct Scene {
        const char* what;
        std::function<void()> leave;
        std::size_t entriesAfter;  ///< once it is all done
    };

    void leaveWhole() const { fs::copy(template_.path(), hidden_.path(), fs::copy_options::recursive); }
    static void edit(const URL& package, const std::string& from, const std::string& to) {
        const URL manifest = package.appending("project.json");
        std::string text = readFile(manifest);
        text.replace(text.find(from), from.size(), to);
        writeFileAtomically(manifest, text);
    }
    [[nodiscard]] std::vector<Scene> scenes() {
        return {
            {"a whole one alone", [&] { leaveWhole(); }, 1},
            {"a whole one beside its package", [&] { prepare(Save::overPackage), leaveWhole(); }, 1},
            {"a whole one beside a damaged package",
             [&] {
                 prepare(Save::overPackage);
                 leaveWhole();
                 fs::remove(package_.appending("Assets/screen.mov").path());
             },
             2},
            {"one of a later format",
             [&] {
                 leaveWhole();
                 edit(hidden_, "\"formatVersion\": 1", "\"formatVersion\": 2");
             },
             1},
            {"one that lacks a file beside a damaged package",
             [&] {
                 fs::create_directories(package_.path());
                 leaveWhole();
                 fs::remove(hidden_.appending("Assets/screen.mov").path());
             },
             2},
            {"one without a manifest",
             [&] {
                 leaveWhole();
                 fs::remove(hidden_.appending("project.json").path());
             },
             0},
        };
    }
    void lay(const Scene& scene) {
        prepare(Save::newPackage);
        scene.leave();
    }
    /// The manifests at either place.
    [[nodiscard]] std::multiset<std::string> manifests() const {
        std::multiset<std::string> found;
        for (const auto& entry : fs::directory_iterator(home_.path())) {
            const URL manifest = URL(entry.path()).appending("project.json");
            if (manifest.exists()) found.insert(readFile(manifest));
        }
        return found;
    }
    [[nodiscard]] bool isPackageWhole() const {
        try {
            static_cast<void>(readPackage(package_));
            return true;
        } catch (const Error&) {
            return false;
        }
    }

    URL hidden_ = stagingURL(home_.appending("Demo.varnelle"));
};

TEST_F(TidyingUp, NoFailureAndNoKillLosesAProject) {
    logger(LogCategory::app).set_level(spdlog::level::off);
    using Effect = FaultPlan::Effect;
    const auto run = [this](const FaultPlan& fault) {
        const FileSystemFaults faults(fault);
        finishInterruptedSaves(home_);
        return faults.hasStruck();
    };
    for (const Scene& scene : scenes()) {
        for (const int error : {EIO, EMFILE, EACCES, 0}) {
            bool goesOn = true;
            int at = 1;
            for (; goesOn; ++at) {
                lay(scene);
                const auto before = manifests();
                FaultPlan fault;
                fault.at = at;
                fault.errorNumber = error;
                if (error != 0) {
                    goesOn = run(fault);
                } else {
                    fault.effect = Effect::killProcess;
                    const pid_t child = startChild([&] { run(fault); });
                    int status = 0;
                    ASSERT_EQ(waitpid(child, &status, 0), child);
                    goesOn = WIFSIGNALED(status);
                }
                const std::string where = std::string(scene.what) + ", call " + std::to_string(at);
                EXPECT_TRUE(isPackageWhole() || manifests() == before) << where << ", error " << error;
                finishInterruptedSaves(home_);
                EXPECT_EQ(entryCount(), scene.entriesAfter) << where << ", error " << error;
            }
            EXPECT_GT(at, 7) << scene.what;
        }
    }
}

TEST_F(TidyingUp, AReadOnlyFolderStaysAsItIs) {
    logger(LogCategory::app).set_level(spdlog::level::off);
    for (const Scene& scene : scenes()) {
        lay(scene);
        const Contents before = contents(home_);
        FaultPlan fault;
        fault.at = 1;
        fault.effect = FaultPlan::Effect::failFromThenOn;
        fault.calls = FaultPlan::Calls::changing;
        fault.errorNumber = EROFS;
        {
            const FileSystemFaults faults(fault);
            finishInterruptedSaves(home_);
        }
        EXPECT_EQ(contents(home_), before) << scene.what;
    }
}

TEST_F(TidyingUp, OfAFolderWithManyEntriesOnlyTheNamesAreRead) {
    lay(scenes()[0]);
    constexpr int entries = 2000;
    for (int i = 0; i < entries; ++i) {
        fs::create_directories(home_.appending("Talk " + std::to_string(i) + ".varnelle").path());
    }
    const FileSystemFaults faults({});
    finishInterruptedSaves(home_);
    EXPECT_TRUE(isPackageWhole());
    EXPECT_LT(faults.callCount(), entries + 100) << "a call for each name, and a few for the leftover";
}

TEST_F(SavedPackage, NamesAsLongAsTheFileSystemTakesCanBeSaved) {
    struct Case {
        const char* character;
        std::size_t bytes;  ///< of the whole name
        bool isTooLong;
    };
    for (const Case& c :
         {Case{"x", 213, false}, Case{"x", 217, false}, Case{"x", 218, false}, Case{"x", 249, false},
          Case{"x", 255, false}, Case{"é", 255, false}, Case{"語", 255, false}, Case{"x", 256, true}}) {
        prepare(Save::newPackage);
        const std::string ending = ".varnelle";
        std::string name;
        while (name.size() + ending.size() + std::string(c.character).size() <= c.bytes) name += c.character;
        const URL package = home_.appending(name + ending);
        if (c.isTooLong) {
            EXPECT_THROW(writePackage(new_, package), FileError);
            EXPECT_EQ(entryCount(), 0U);
            continue;
        }
        writePackage(old_, package);
        writePackage(new_, package);
        EXPECT_EQ(entryCount(), 1U) << c.bytes;

        const URL hidden = stagingURL(package);
        ASSERT_NO_THROW(fs::rename(package.path(), hidden.path())) << hidden.lastPathComponent().size();
        const auto parsedName = parseStagingName(hidden);
        ASSERT_TRUE(parsedName) << c.bytes;
        const URL& back = parsedName->destination;
        EXPECT_EQ(back == package, c.bytes <= 217);
        EXPECT_EQ(wellFormed(back.string()), back.string()) << "characters stay whole";
        finishInterruptedSaves(home_);
        EXPECT_NO_THROW(readPackage(back)) << "under a shorter name if need be";
        EXPECT_EQ(entryCount(), 1U);

        // Beside a package that only has the shorter name by chance, a cut one must not go.
        fs::copy(back.path(), hidden.path(), fs::copy_options::recursive);
        logger(LogCategory::app).set_level(spdlog::level::err);
        finishInterruptedSaves(home_);
        EXPECT_EQ(hidden.exists(), c.bytes > 213) << "from there on it may have been cut";
    }
}

TEST_F(SavedPackage, OnlyLeftoversOfSavesAreTouched) {
    logger(LogCategory::app).set_level(spdlog::level::info);
    const std::string uuid = UUID::random().string();
    const std::string lowerCaseUUID = "0c5e3b0a-93f4-4f6f-8c5d-2a7f3b9e1d00";
    const URL outside = directory_.file("outside");
    fs::create_directories(outside.path());
    writeFileAtomically(outside.appending("kept"), "kept");

    prepare(Save::overPackage);
    for (const std::string& name : std::vector<std::string>{
             ".Demo.varnelle-" + lowerCaseUUID, ".Demo.varnelle-123", ".Demo.mov-" + uuid,
             "Demo.varnelle-" + uuid, "..varnelle-" + uuid, std::string("folder")}) {
        fs::create_directories(home_.appending(name).path());
    }
    writeFileAtomically(stagingURL(package_), "a file");
    fs::create_directory_symlink(outside.path(), stagingURL(package_).path());
    const std::size_t untouched = entryCount();

    const URL inside = stagingURL(package_);
    fs::create_directories(inside.path());
    fs::create_directory_symlink(outside.path(), inside.appending("link").path());
    const URL complete = stagingURL(home_.appending("Lost.varnelle"));
    fs::copy(template_.path(), complete.path(), fs::copy_options::recursive);
    const URL incomplete = stagingURL(home_.appending("Begun.varnelle"));
    fs::create_directories(incomplete.appending("Assets").path());
    const URL damaged = home_.appending("Damaged.varnelle");
    const URL besideDamaged = stagingURL(damaged);
    fs::create_directories(damaged.path());
    fs::copy(template_.path(), besideDamaged.path(), fs::copy_options::recursive);

    std::vector<std::string> lines;
    {
        const LogObserver observer(LogCategory::app, [&](const std::string& line) { lines.push_back(line); });
        {
            const DirectoryLock anotherSave = DirectoryLock::shared(home_);
            finishInterruptedSaves(home_);
            EXPECT_TRUE(lines.empty()) << "while a save goes on nothing is touched";
            EXPECT_TRUE(incomplete.exists());
        }
        finishInterruptedSaves(home_);
    }
    EXPECT_EQ(lines.size(), 4U) << "a line for each of: inside, complete, incomplete, damaged";
    EXPECT_EQ(entryCount(), untouched + 3)
        << "came: Lost.varnelle; stay: damaged and the whole one beside it";
    EXPECT_EQ(contents(home_.appending("Lost.varnelle")), contents(template_));
    EXPECT_EQ(contents(package_), contents(template_));
    EXPECT_EQ(readFile(outside.appending("kept")), "kept");
    EXPECT_TRUE(besideDamaged.exists());
    EXPECT_NO_THROW(finishInterruptedSaves(directory_.file("none")));
}

}  // namespace
}  // namespace varnelle
