#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Date.h"
#include "model/RecordingSession.h"
#include "model/Timeline.h"

namespace varnelle {

/// The editable document built on a recording: a description of how to use its files, which editing never
/// changes. A value: a copy is an independent snapshot that shares the lists until they are changed.
struct Project {
    UUID id;
    std::string name;
    RecordingSession recordingSession;
    Timeline timeline;
    Date createdAt;

    /// A fresh project: one clip over the whole screen movie and, with a camera, one over the camera movie.
    /// Without a known duration the clips are infinite.
    static Project make(const RecordingSession& session, const std::optional<CMTime>& duration,
                        const OverlayConfiguration& overlayConfiguration);

    /// The first track of a type, or null.
    [[nodiscard]] const TimelineTrack* track(TimelineTrack::TrackType type) const;
    [[nodiscard]] const TimelineTrack* videoTrack() const { return track(TimelineTrack::TrackType::video); }
    [[nodiscard]] std::optional<UUID> firstVideoClipID() const;
    /// The length of the video track, which alone decides the project's; an infinite clip adds nothing.
    [[nodiscard]] CMTime totalDuration() const;
    [[nodiscard]] bool containsClip(const std::optional<UUID>& clipID) const;
    [[nodiscard]] bool hasCameraRecording() const { return recordingSession.cameraRecordingURL.has_value(); }
    [[nodiscard]] bool cameraFileExists() const;
    /// The clips of the first track of a type, as they play with the given durations of their sources.
    [[nodiscard]] std::vector<TimelineClipSegment> clipSegments(
        TimelineTrack::TrackType type, const std::map<URL, CMTime>& assetDurations) const;

    bool operator==(const Project&) const = default;
};

/// A project with its undo and redo stacks; the last element of a stack is the next step.
struct ProjectEditorState {
    Project currentProject;
    std::vector<Project> undoStack;
    std::vector<Project> redoStack;

    bool operator==(const ProjectEditorState&) const = default;
};

}  // namespace varnelle
