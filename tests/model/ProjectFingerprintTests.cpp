#include "model/ProjectFingerprint.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "foundation/AtomicFile.h"
#include "model/ProjectPackage.h"
#include "support/SampleProject.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using nlohmann::json;
using test::rangeOfSeconds;

/// A project that has everything which a document can hold.
Project fullProject(const URL& directory) {
    Project project = test::projectIn(directory, 12.5);
    RecordingSession& session = project.recordingSession;
    session.cameraRecordingURL = directory.appending("camera.mov");
    session.cursorRecordingURL = directory.appending("cursor.json");
    session.availableAudioSources = {RecordedAudioSource::system};
    project.timeline.zoomPanClips = {TimelineZoomPanClip{UUID::random(), rangeOfSeconds(1, 2.5)}};
    project.timeline.overlayConfiguration.position = CGPoint{0.25, 0.75};
    return project;
}

TimelineTrack& track(Project& project) {
    return project.timeline.tracks.mutableElements()[0];
}
TimelineClip& clip(Project& project) {
    return track(project).clips.mutableElements()[0];
}
TimelineZoomPanClip& zoom(Project& project) {
    return project.timeline.zoomPanClips.mutableElements()[0];
}

/// One change each of everything that is stored of a project.
std::vector<std::function<void(Project&)>> changes() {
    std::vector<std::function<void(Project&)>> changes = {
        [](Project& p) { p.id = UUID::random(); },
        [](Project& p) { p.name += "x"; },
        [](Project& p) { p.createdAt.secondsSinceEpoch += 1; },
        [](Project& p) { p.recordingSession.id = UUID::random(); },
        [](Project& p) { p.recordingSession.screenRecordingURL = *p.recordingSession.cameraRecordingURL; },
        [](Project& p) { p.recordingSession.cameraRecordingURL = p.recordingSession.cursorRecordingURL; },
        [](Project& p) { p.recordingSession.cursorRecordingURL = p.recordingSession.screenRecordingURL; },
        [](Project& p) { p.recordingSession.cameraRecordingURL.reset(); },
        [](Project& p) { p.recordingSession.availableAudioSources = {RecordedAudioSource::microphone}; },
        [](Project& p) { p.recordingSession.createdAt.secondsSinceEpoch += 1; },
        [](Project& p) { p.recordingSession.frameRate = 30; },
        [](Project& p) { p.recordingSession.renderSize.width = 1280; },
        [](Project& p) { p.recordingSession.renderSize.height = 720; },
        [](Project& p) { track(p).id = UUID::random(); },
        [](Project& p) { track(p).type = TimelineTrack::TrackType::audio; },
        [](Project& p) { track(p).isMuted = true; },
        [](Project& p) { p.timeline.tracks.append(track(p)); },
        [](Project& p) { clip(p).id = UUID::random(); },
        [](Project& p) { clip(p).sourceURL = *p.recordingSession.cameraRecordingURL; },
        [](Project& p) { clip(p).trimRange.start = timeFromSeconds(1); },
        [](Project& p) { clip(p).trimRange.duration = timeFromSeconds(1); },
        [](Project& p) { clip(p).timelineOffset = timeFromSeconds(1); },
        [](Project& p) { track(p).clips.append(clip(p)); },
        [](Project& p) { zoom(p).id = UUID::random(); },
        [](Project& p) { zoom(p).timeRange.start = timeFromSeconds(0.5); },
        [](Project& p) { zoom(p).timeRange.duration = timeFromSeconds(0.5); },
        [](Project& p) { p.timeline.audioConfiguration.includesSystemSound ^= true; },
        [](Project& p) { p.timeline.audioConfiguration.includesMicrophone ^= true; },
    };
    const auto addOverlay = [&changes](auto change) {
        changes.emplace_back([change](Project& p) { change(p.timeline.overlayConfiguration); });
    };
    using Overlay = OverlayConfiguration;
    for (const auto setting :
         {&Overlay::relativeSize, &Overlay::scale, &Overlay::padding, &Overlay::cornerRadius,
          &Overlay::cornerRadiusRatio, &Overlay::canvasPadding, &Overlay::canvasCornerRadius,
          &Overlay::canvasShadowOpacity, &Overlay::canvasShadowRadius, &Overlay::overlayShadowOpacity,
          &Overlay::overlayShadowRadius}) {
        // The smallest change that there is.
        addOverlay([setting](Overlay& o) { o.*setting = std::nextafter(o.*setting, 1e3); });
    }
    for (const auto flag : {&Overlay::showsCamera, &Overlay::isMirrored}) {
        addOverlay([flag](Overlay& o) { o.*flag ^= true; });
    }
    for (const auto flag :
         {&CursorConfiguration::showsCursor, &CursorConfiguration::zoomAndPanDisabled,
          &CursorConfiguration::rippleOnClickEnabled, &CursorConfiguration::clickAnimationEnabled}) {
        addOverlay([flag](Overlay& o) { o.cursor.*flag ^= true; });
    }
    addOverlay([](Overlay& o) { o.cursor.size += 0.1; });
    addOverlay([](Overlay& o) { o.position->x += 0.1; });
    addOverlay([](Overlay& o) { o.position->y += 0.1; });
    addOverlay([](Overlay& o) { o.position.reset(); });
    addOverlay([](Overlay& o) { o.maskType = OverlayMaskType::circle; });
    addOverlay([](Overlay& o) { o.anchor = OverlayAnchor::topRight; });
    addOverlay([](Overlay& o) { o.canvasBackgroundStyle = CanvasBackgroundStyle::none; });
    addOverlay([](Overlay& o) { o.wallpaperPath = "/other.jpg"; });
    return changes;
}

std::set<std::string> valuePlaces(const json& document) {
    std::set<std::string> places;
    const json values = document.flatten();
    for (const auto& item : values.items()) places.insert(item.key());
    return places;
}

TEST(ProjectFingerprint, EveryStoredValueCounts) {
    const Project project = fullProject(URL("/recordings/recording_1"));
    const ProjectEditorState state{project, {project}, {project}};
    const std::string fingerprint = projectFingerprint(state).value();
    const json document = json::parse(fingerprint);

    std::set<std::string> unchanged = valuePlaces(document);
    unchanged.erase("/formatVersion");
    const auto expectChanged = [&](const ProjectEditorState& changed, const std::string& what) {
        const std::string other = projectFingerprint(changed).value();
        EXPECT_NE(other, fingerprint) << what;
        for (const json& step : json::diff(document, json::parse(other))) unchanged.erase(step["path"]);
    };
    std::size_t number = 0;
    for (const auto& change : changes()) {
        const std::string what = "change " + std::to_string(number++);
        ProjectEditorState current = state;
        change(current.currentProject);
        expectChanged(current, what);
        ProjectEditorState undo = state;
        change(undo.undoStack[0]);
        expectChanged(undo, what + " in the undo stack");
        ProjectEditorState redo = state;
        change(redo.redoStack[0]);
        expectChanged(redo, what + " in the redo stack");
    }
    EXPECT_TRUE(unchanged.empty()) << "no change was made to " << *unchanged.begin();

    EXPECT_NE(projectFingerprint({project, {}, {project}}), projectFingerprint({project, {}, {}}))
        << "an edit and its undo leave something to redo";
    EXPECT_NE(projectFingerprint({project, {}, {project}}), projectFingerprint({project, {project}, {}}));
}

TEST(ProjectFingerprint, IsTheSameWhereverTheFilesLie) {
    const test::TemporaryDirectory directory;
    const URL session = directory.file("recording_1");
    std::filesystem::create_directories(session.path());
    for (const char* name : {"screen.mov", "camera.mov", "cursor.json"}) {
        writeFileAtomically(session.appending(name), name);
    }
    ProjectEditorState state{fullProject(session), {fullProject(session)}, {}};
    const auto fingerprint = projectFingerprint(state);
    ASSERT_TRUE(fingerprint);
    state.currentProject.timeline.overlayConfiguration.isInteractivelyEditing = true;
    state.currentProject.recordingSession.directoryURL = URL("/elsewhere");
    EXPECT_EQ(projectFingerprint(state), fingerprint) << "neither is stored";

    const URL package = directory.file("Home").appending("a.varnelle");
    EXPECT_EQ(projectFingerprint(readPackage(writePackage(state, package))), fingerprint);
    const URL moved = directory.file("b.varnelle");
    std::filesystem::rename(package.path(), moved.path());
    EXPECT_EQ(projectFingerprint(readPackage(moved)), fingerprint);
}

TEST(ProjectFingerprint, WhatNoDocumentCanHoldHasNone) {
    ProjectEditorState state{fullProject(URL("/recordings/recording_1")), {}, {}};
    state.currentProject.name = "broken \xFF";
    EXPECT_FALSE(projectFingerprint(state));
    for (const double number :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        state.currentProject.name = "fine";
        state.currentProject.timeline.overlayConfiguration.padding = number;
        EXPECT_FALSE(projectFingerprint(state)) << number;
    }
}

}  // namespace
}  // namespace varnelle
