#include "model/ProjectPackage.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <limits>
#include <nlohmann/json.hpp>

#include "foundation/AtomicFile.h"
#include "model/FileNames.h"
#include "model/ProjectDocument.h"
#include "support/SampleProject.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using nlohmann::json;
using test::rangeOfSeconds;
using test::TemporaryDirectory;

class ProjectPackage : public testing::Test {
protected:
    ProjectPackage() : session_(directory_.file("recording_1")), package_(directory_.file("Demo.varnelle")) {
        std::filesystem::create_directories(session_.path());
        writeFileAtomically(session_.appending("screen.mov"), "screen");
        writeFileAtomically(session_.appending("cursor.json"), "cursor");
        Project project = test::projectIn(session_, 12.5);
        project.recordingSession.cursorRecordingURL = session_.appending("cursor.json");
        project.timeline.zoomPanClips = {TimelineZoomPanClip{UUID::random(), rangeOfSeconds(1, 2.5)}};
        project.timeline.overlayConfiguration.position = CGPoint{0.25, 0.75};
        state_.currentProject = project;
    }

    [[nodiscard]] json manifest() const { return json::parse(readFile(package_.appending("project.json"))); }
    void setManifest(const json& manifest) const {
        writeFileAtomically(package_.appending("project.json"), manifest.dump());
    }

    TemporaryDirectory directory_;
    URL session_;
    URL package_;
    ProjectEditorState state_;
};

/// The state as a package in `package` gives it back: its files lie there, whole times stay as they are.
Project movedTo(Project project, const URL& package) {
    const URL assets = package.appending("Assets");
    RecordingSession& session = project.recordingSession;
    session.directoryURL = assets;
    session.screenRecordingURL = assets.appending("screen.mov");
    if (session.cursorRecordingURL) session.cursorRecordingURL = assets.appending("cursor.json");
    for (TimelineTrack& track : project.timeline.tracks.mutableElements()) {
        for (TimelineClip& clip : track.clips.mutableElements())
            clip.sourceURL = assets.appending("screen.mov");
    }
    return project;
}

TEST_F(ProjectPackage, RoundTripsTheProjectAndItsHistory) {
    Project before = state_.currentProject;
    before.name = "Before";
    state_.undoStack = {before};
    EXPECT_EQ(writePackage(state_, package_), package_);
    const ProjectEditorState read = readPackage(package_);
    EXPECT_EQ(read.currentProject, movedTo(state_.currentProject, package_));
    ASSERT_EQ(read.undoStack.size(), 1U);
    EXPECT_EQ(read.undoStack[0], movedTo(before, package_));
    EXPECT_EQ(readFile(package_.appending("Assets/cursor.json")), "cursor");
    EXPECT_EQ(directory_.entryCount(), 2U) << "staging is gone";
}

TEST_F(ProjectPackage, ALongHistorySharesItsListsAsBefore) {
    Project& project = state_.currentProject;
    Timeline& timeline = project.timeline;
    const URL screen = project.recordingSession.screenRecordingURL;
    timeline.tracks.append({UUID::random(), TimelineTrack::TrackType::camera, {}, false});
    for (int i = 0; i < 200; ++i) {
        for (TimelineTrack& track : timeline.tracks.mutableElements()) {
            track.clips.append({UUID::random(), screen, rangeOfSeconds(i, 1), timeFromSeconds(i)});
        }
        timeline.zoomPanClips.append({UUID::random(), rangeOfSeconds(i, 0.5)});
    }
    const auto commit = [&](std::vector<Project>& stack, int step) {
        stack.push_back(project);
        timeline.overlayConfiguration.padding = step;
        if (step % 10 == 0)
            timeline.tracks.mutableElements()[0].clips.mutableElements()[0].id = UUID::random();
        if (step % 25 == 0) timeline.zoomPanClips.mutableElements()[0].id = UUID::random();
        if (step % 40 == 0) timeline.tracks.mutableElements()[1].isMuted ^= true;
    };
    for (int step = 1; step <= 200; ++step) commit(state_.undoStack, step);
    const Project beforeRedo = project;
    for (int step = 201; step <= 220; ++step) commit(state_.redoStack, step);
    project = beforeRedo;
    std::reverse(state_.redoStack.begin(), state_.redoStack.end());

    writePackage(state_, package_);
    const ProjectEditorState read = readPackage(package_);
    ASSERT_EQ(read.undoStack.size(), 200U);
    EXPECT_EQ(read.undoStack[17], movedTo(state_.undoStack[17], package_));
    const auto expectSameSharing = [](const std::vector<Project>& before, const std::vector<Project>& after) {
        for (std::size_t i = 1; i < before.size(); ++i) {
            const auto shares = [i](const std::vector<Project>& stack, auto list) {
                return list(stack[i]).sharesStorage(list(stack[i - 1]));
            };
            const auto tracks = [](const Project& p) { return p.timeline.tracks; };
            const auto zooms = [](const Project& p) { return p.timeline.zoomPanClips; };
            EXPECT_EQ(shares(after, tracks), shares(before, tracks)) << i;
            EXPECT_EQ(shares(after, zooms), shares(before, zooms)) << i;
            for (const std::size_t t : {0U, 1U}) {
                const auto clips = [t](const Project& p) { return p.timeline.tracks[t].clips; };
                EXPECT_EQ(shares(after, clips), shares(before, clips)) << i << ", track " << t;
            }
        }
    };
    expectSameSharing(state_.undoStack, read.undoStack);
    expectSameSharing(state_.redoStack, read.redoStack);
}

TEST_F(ProjectPackage, KeepsFilesThatOnlyTheHistoryRefersTo) {
    Project other = state_.currentProject;
    const URL second = directory_.file("other").appending("Screen.MOV");
    std::filesystem::create_directories(second.parent().path());
    writeFileAtomically(second, "second");
    other.timeline.tracks.mutableElements()[0].clips.mutableElements()[0].sourceURL = second;
    state_.redoStack = {other};
    writePackage(state_, package_);
    const URL kept = readPackage(package_).redoStack[0].timeline.tracks[0].clips[0].sourceURL;
    EXPECT_EQ(readFile(kept), "second");
    EXPECT_EQ(readFile(package_.appending("Assets/screen 2.mov")), "screen")
        << "names that differ by case collide";
}

TEST_F(ProjectPackage, TakesTheFirstFreeNameInTheProjectsFolder) {
    const URL& home = directory_.url();
    const URL folder = home.appending("Varnelle Projects");
    EXPECT_EQ(uniquePackageURL("Demo", home), folder.appending("Demo.varnelle"));
    EXPECT_EQ(uniquePackageURL(sanitizedFileName("//:", "Fallback"), home), folder.appending("---.varnelle"));
    std::filesystem::create_directories(folder.appending("Demo.varnelle").path());
    EXPECT_EQ(defaultPackageURL("Demo", home), folder.appending("Demo.varnelle"));
    EXPECT_EQ(uniquePackageURL("Demo", home), folder.appending("Demo 2.varnelle"));
    std::filesystem::create_symlink("/nowhere", folder.appending("Demo 2.varnelle").path());
    EXPECT_EQ(uniquePackageURL("Demo", home), folder.appending("Demo 3.varnelle"));
}

TEST_F(ProjectPackage, InfiniteClipIsStoredAsZero) {
    state_.currentProject.timeline.tracks.mutableElements()[0].clips.mutableElements()[0].trimRange.duration =
        kCMTimePositiveInfinity;
    writePackage(state_, package_);
    EXPECT_EQ(readPackage(package_).currentProject.timeline.tracks[0].clips[0].trimRange.duration,
              kCMTimeZero);
}

TEST_F(ProjectPackage, SavingOverItselfReplacesItWhole) {
    writePackage(state_, package_);
    ProjectEditorState reopened = readPackage(package_);
    reopened.currentProject.name = "Renamed";
    writePackage(reopened, package_);
    EXPECT_EQ(readPackage(package_).currentProject.name, "Renamed");
    EXPECT_EQ(directory_.entryCount(), 2U);
}

TEST_F(ProjectPackage, FailedSaveLeavesTheOldPackageAndNothingElse) {
    writePackage(state_, package_);
    std::filesystem::remove(session_.appending("cursor.json").path());
    try {
        writePackage(state_, package_);
        FAIL();
    } catch (const ProjectPersistenceError& error) {
        EXPECT_STREQ(error.what(), "Varnelle couldn't find the asset “cursor.json” needed for this project.");
    }
    EXPECT_NO_THROW(readPackage(package_));
    EXPECT_EQ(directory_.entryCount(), 2U);
}

/// One change each of everything that has the range of a setting.
std::vector<std::function<void(Project&, double)>> changesOfNumbers() {
    std::vector<std::function<void(Project&, double)>> changes;
    using Overlay = OverlayConfiguration;
    for (const auto setting :
         {&Overlay::relativeSize, &Overlay::scale, &Overlay::padding, &Overlay::cornerRadius,
          &Overlay::cornerRadiusRatio, &Overlay::canvasPadding, &Overlay::canvasCornerRadius,
          &Overlay::canvasShadowOpacity, &Overlay::canvasShadowRadius, &Overlay::overlayShadowOpacity,
          &Overlay::overlayShadowRadius}) {
        changes.emplace_back(
            [setting](Project& p, double value) { p.timeline.overlayConfiguration.*setting = value; });
    }
    changes.emplace_back([](Project& p, double v) { p.timeline.overlayConfiguration.cursor.size = v; });
    changes.emplace_back([](Project& p, double v) { p.timeline.overlayConfiguration.position->x = v; });
    changes.emplace_back([](Project& p, double v) { p.timeline.overlayConfiguration.position->y = v; });
    return changes;
}

TEST_F(ProjectPackage, WhatCouldNotBeOpenedAgainIsNeitherStorableNorSaved) {
    writePackage(state_, package_);
    const auto expect = [&](bool isGood, const std::function<void(Project&)>& change,
                            const std::string& what) {
        ProjectEditorState changed = state_;
        change(changed.currentProject);
        EXPECT_EQ(isStorable(changed.currentProject), isGood) << what;
        const URL elsewhere = directory_.file("elsewhere");
        if (isGood) {
            EXPECT_NO_THROW(writePackage(changed, elsewhere.appending("a.varnelle"))) << what;
            std::filesystem::remove_all(elsewhere.path());
        } else {
            EXPECT_THROW(writePackage(changed, elsewhere.appending("a.varnelle")), Error) << what;
            EXPECT_FALSE(elsewhere.exists()) << "it shows before anything is made";
            EXPECT_THROW(writePackage(changed, package_), Error) << what;
        }
    };
    std::size_t number = 0;
    for (const auto& change : changesOfNumbers()) {
        const std::string what = "number " + std::to_string(number++);
        for (const double value : {-1e6, 0.0, 1e6}) {
            expect(
                true, [&](Project& p) { change(p, value); }, what);
        }
        for (const double value :
             {-2e6, 2e6, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            expect(
                false, [&](Project& p) { change(p, value); }, what);
        }
    }
    struct Case {
        bool isGood;
        std::function<void(Project&)> change;
    };
    const auto clip = [](Project& p) -> TimelineClip& {
        return p.timeline.tracks.mutableElements()[0].clips.mutableElements()[0];
    };
    const auto zoom = [](Project& p) -> TimelineZoomPanClip& {
        return p.timeline.zoomPanClips.mutableElements()[0];
    };
    const CMTime longest = timeFromSeconds(1e8);
    const CMTime tooLong = timeFromSeconds(1.1e8);
    const std::vector<Case> cases{
        {true,
         [&](Project& p) {
             clip(p).trimRange = {longest, kCMTimePositiveInfinity};
         }},
        {true, [&](Project& p) { clip(p).timelineOffset = kCMTimeInvalid; }},
        {false, [&](Project& p) { clip(p).trimRange.start = tooLong; }},
        {false, [&](Project& p) { clip(p).trimRange.duration = tooLong; }},
        {false, [&](Project& p) { clip(p).timelineOffset = tooLong; }},
        {false, [&](Project& p) { zoom(p).timeRange.start = tooLong; }},
        {false, [&](Project& p) { zoom(p).timeRange.duration = tooLong; }},
        {true,
         [](Project& p) {
             p.recordingSession.renderSize = {0, 1e5};
         }},
        {false, [](Project& p) { p.recordingSession.renderSize.width = 2e5; }},
        {false, [](Project& p) { p.recordingSession.renderSize.height = -1; }},
        {true, [](Project& p) { p.recordingSession.frameRate = 1000; }},
        {false, [](Project& p) { p.recordingSession.frameRate = 1001; }},
        {false, [](Project& p) { p.recordingSession.frameRate = -1; }},
        {false, [](Project& p) { p.name = std::string("a\0b", 3); }},
        {false, [](Project& p) { p.timeline.overlayConfiguration.wallpaperPath = std::string("\0", 1); }},
    };
    for (std::size_t i = 0; i < cases.size(); ++i)
        expect(cases[i].isGood, cases[i].change, "case " + std::to_string(i));
    EXPECT_EQ(readPackage(package_).currentProject.id, state_.currentProject.id);
    EXPECT_EQ(directory_.entryCount(), 2U);
}

TEST_F(ProjectPackage, UnusualNamesSurviveASave) {
    // The first two become the same asset's name, the last isn't UTF-8.
    const std::vector<std::string> names{"::.mov", "??.mov", "a b\n.MOV", ".hidden", "caf\xE9.mov"};
    SharedList<TimelineClip> clips;
    for (const std::string& name : names) {
        writeFileAtomically(session_.appending(name), "contents of " + name);
        clips.append({UUID::random(), session_.appending(name), rangeOfSeconds(0, 1), kCMTimeZero});
    }
    state_.currentProject.timeline.tracks.mutableElements()[0].clips = clips;
    writePackage(state_, package_);
    EXPECT_TRUE(package_.appending("Assets/--.mov").exists());
    EXPECT_TRUE(package_.appending("Assets/-- 2.mov").exists());
    const ProjectEditorState read = readPackage(package_);
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(readFile(read.currentProject.timeline.tracks[0].clips[i].sourceURL),
                  "contents of " + names[i]);
    }
}

TEST_F(ProjectPackage, SavesOntoAnotherFileSystem) {
    struct stat here {};
    struct stat there {};
    if (stat("/dev/shm", &there) != 0 || access("/dev/shm", W_OK) != 0)
        GTEST_SKIP() << "no /dev/shm to write to";
    ASSERT_EQ(stat(session_.string().c_str(), &here), 0);
    if (here.st_dev == there.st_dev)
        GTEST_SKIP() << "/dev/shm and the temporary directory are one file system";
    const URL elsewhere(std::filesystem::path("/dev/shm") / directory_.url().lastPathComponent());
    const URL package = elsewhere.appending("Demo.varnelle");
    writePackage(state_, package);
    const ProjectEditorState read = readPackage(package);
    EXPECT_EQ(read.currentProject, movedTo(state_.currentProject, package));
    EXPECT_EQ(readFile(read.currentProject.recordingSession.screenRecordingURL), "screen");
    EXPECT_EQ(readPackage(writePackage(read, package_)).currentProject,
              movedTo(state_.currentProject, package_))
        << "and back";
    std::filesystem::remove_all(elsewhere.path());
}

TEST_F(ProjectPackage, OptionalKeysMayBeAbsent) {
    writePackage(state_, package_);
    json document = manifest();
    json& project = document["currentProject"];
    project["recordingSession"].erase("audioSources");
    project["timeline"].erase("audioConfiguration");
    project["timeline"]["overlayConfiguration"].erase("positionY");
    project["timeline"]["overlayConfiguration"].erase("showsCamera");
    project["timeline"]["tracks"][0]["type"] = "hologram";
    project["timeline"]["overlayConfiguration"]["anchor"] = 17;
    setManifest(document);
    const Project read = readPackage(package_).currentProject;
    EXPECT_EQ(read.recordingSession.availableAudioSources,
              (std::vector{RecordedAudioSource::system, RecordedAudioSource::microphone}));
    EXPECT_EQ(read.timeline.audioConfiguration, (AudioConfiguration{true, true}));
    EXPECT_FALSE(read.timeline.overlayConfiguration.position);
    EXPECT_TRUE(read.timeline.overlayConfiguration.showsCamera);
    EXPECT_EQ(read.timeline.tracks[0].type, TimelineTrack::TrackType::video);
    EXPECT_EQ(read.timeline.overlayConfiguration.anchor, OverlayAnchor::bottomLeft);
}

TEST_F(ProjectPackage, IdentifiersThatAreThereTwiceAreNoDamage) {
    Timeline& timeline = state_.currentProject.timeline;
    TimelineTrack& track = timeline.tracks.mutableElements()[0];
    track.clips.append(TimelineClip(track.clips.front()));
    timeline.tracks.append(TimelineTrack(track));
    timeline.zoomPanClips.append(TimelineZoomPanClip(timeline.zoomPanClips.front()));
    writePackage(state_, package_);
    EXPECT_EQ(readPackage(package_).currentProject, movedTo(state_.currentProject, package_));
}

TEST_F(ProjectPackage, RefusesAnotherFormatVersion) {
    writePackage(state_, package_);
    json document = manifest();
    document["formatVersion"] = 2;
    setManifest(document);
    try {
        readPackage(package_);
        FAIL();
    } catch (const ProjectPersistenceError& error) {
        EXPECT_STREQ(error.what(), "This Varnelle project uses an unsupported format.");
    }
}

TEST_F(ProjectPackage, ReferencesThatLeaveThePackageCountAsMissing) {
    writePackage(state_, package_);
    std::filesystem::create_symlink(session_.appending("screen.mov").path(),
                                    package_.appending("Assets/link.mov").path());
    std::filesystem::create_directory_symlink(session_.path(), package_.appending("Assets/folder").path());
    for (const std::string& reference :
         {std::string("../recording_1/screen.mov"), std::string("Assets/../../recording_1/screen.mov"),
          std::string("/etc/passwd"), std::string("Assets/link.mov"), std::string("Assets/folder/screen.mov"),
          std::string("Assets/none.mov"), std::string(), std::string("Assets"), std::string("."),
          std::string(100'000, 'x')}) {
        json document = manifest();
        document["currentProject"]["recordingSession"]["screenRecordingReference"] = reference;
        setManifest(document);
        EXPECT_THROW(readPackage(package_), ProjectPersistenceError) << reference;
    }
}

TEST_F(ProjectPackage, WhateverIsInTheManifestsPlaceGivesASentence) {
    const URL manifest = package_.appending("project.json");
    const auto byLink = [&manifest](const URL& target) {
        std::filesystem::create_symlink(target.path(), manifest.path());
    };
    struct Case {
        const char* what;
        std::function<void()> make;
    };
    for (const Case& c : {
             Case{"nothing", [] {}},
             Case{"a folder", [&] { std::filesystem::create_directory(manifest.path()); }},
             Case{"a pipe", [&] { ASSERT_EQ(mkfifo(manifest.string().c_str(), 0600), 0); }},
             Case{"a hundred gigabytes",
                  [&] {
                      writeFileAtomically(manifest, "{");
                      std::filesystem::resize_file(manifest.path(), 100'000'000'000);
                  }},
             Case{"a link to nowhere", [&] { byLink(URL("/nowhere")); }},
             Case{"a link to itself", [&] { byLink(manifest); }},
             Case{"a link to another project", [&] { byLink(directory_.file("outside.json")); }},
         }) {
        std::filesystem::remove_all(package_.path());
        writePackage(state_, package_);
        std::filesystem::rename(manifest.path(), directory_.file("outside.json").path());
        c.make();
        try {
            readPackage(package_);
            ADD_FAILURE() << "accepted " << c.what;
        } catch (const Error& error) {
            EXPECT_NE(std::string(error.what()).find("Demo.varnelle"), std::string::npos) << error.what();
            EXPECT_EQ(std::string(error.what()).back(), '.') << error.what();
        }
    }
}

TEST_F(ProjectPackage, BrokenManifestsAreErrorsThatNameThePackage) {
    writePackage(state_, package_);
    const json good = manifest();
    const auto with = [&good](const char* pointer, const json& value) {
        json document = good;
        document[json::json_pointer(pointer)] = value;
        return document.dump();
    };
    const auto overflowing = [](std::string text) { return text.replace(text.find("1080.0"), 6, "1e9999"); };
    const std::string session = "/currentProject/recordingSession/";
    const std::string clip = "/currentProject/timeline/tracks/0/clips/0/";
    for (const std::string& text : {
             std::string(),
             std::string("{"),
             std::string("[]"),
             std::string("null"),
             good.dump().substr(0, good.dump().size() / 2),
             std::string(10'000'000, '['),
             "{\"currentProject\":\"" + std::string(1'000'000, 'x') + "\n",
             overflowing(good.dump()),
             with((session + "frameRate").c_str(), -1),
             with((session + "frameRate").c_str(), 1e12),
             with((session + "frameRate").c_str(), 59.94),
             with((session + "renderWidth").c_str(), -1920),
             with((session + "renderHeight").c_str(), 1e9),
             with((session + "id").c_str(), "nobody"),
             with((session + "screenRecordingReference").c_str(), std::string("Assets/screen.mov\0", 18)),
             with("/currentProject/name", std::string("Demo\0", 5)),
             with((session + "createdAt").c_str(), "yesterday"),
             with((clip + "trimStartSeconds").c_str(), 1e300),
             with((clip + "trimStartSeconds").c_str(), "soon"),
             with("/undoStack", nullptr),
             with("/currentProject/timeline/zoomPanClips", 3),
         }) {
        writeFileAtomically(package_.appending("project.json"), text);
        try {
            readPackage(package_);
            ADD_FAILURE() << "accepted " << text.substr(0, 80);
        } catch (const ProjectDecodingError& error) {
            EXPECT_NE(std::string(error.what()).find("Demo.varnelle"), std::string::npos) << error.what();
            EXPECT_LT(std::string(error.what()).size(), 200U);
        }
    }
}

}  // namespace
}  // namespace varnelle
