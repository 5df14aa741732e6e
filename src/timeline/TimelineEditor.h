#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "foundation/CMTime.h"
#include "model/Project.h"

namespace varnelle {

/// Holds the open project with its undo history and performs every change of it that can be undone. The
/// stacks hold whole projects, whose lists share what didn't change; their depth has no limit.
///
/// Only clips of the primary video track are cut. The zoom-pan clips lie in timeline time and follow its
/// cuts. An operation whose clip doesn't exist, or which would change nothing, does nothing and makes no
/// step. Main thread only.
class TimelineEditor {
public:
    explicit TimelineEditor(ProjectEditorState state) : state_(std::move(state)) {}

    [[nodiscard]] const ProjectEditorState& state() const { return state_; }
    [[nodiscard]] const Project& project() const { return state_.currentProject; }
    [[nodiscard]] bool canUndo() const { return !state_.undoStack.empty(); }
    [[nodiscard]] bool canRedo() const { return !state_.redoStack.empty(); }

    /// Makes a changed project the present one, as one undo step. Its clips are laid one after the other,
    /// from zero, on each track. A project with a value that can't be stored is refused: even undone, it
    /// would keep the history from being saved.
    void commit(Project project);
    void undo();
    void redo();

    /// Cuts a clip in two at `offset` from its own start, unless that is within 1/600 s of its ends.
    void splitClip(const UUID& clipID, std::size_t trackIndex, const CMTime& offset);
    /// Removes a clip, but never the last one of its track. What follows closes up.
    void deleteClip(const UUID& clipID, std::size_t trackIndex);
    /// Gives a clip another part of its source. What isn't given stays; `start` and `duration` (source time)
    /// are limited to a source of `assetDuration`, which defaults to the clip's present length, and the
    /// result is no shorter than 0.25 s or the source.
    void trimClip(const UUID& clipID, std::size_t trackIndex, const std::optional<CMTime>& start,
                  const std::optional<CMTime>& duration, const std::optional<CMTime>& assetDuration);

    /// Adds a zoom-pan clip. Whether it overlaps others is the caller's affair.
    void addZoomPanClip(const CMTimeRange& timeRange);
    /// Gives a zoom-pan clip another range: between its neighbours, and no shorter than 0.12 s.
    void trimZoomPanClip(const UUID& clipID, const CMTime& start, const CMTime& duration,
                         const CMTime& timelineDuration);
    /// Moves a zoom-pan clip between its neighbours, with its length unchanged.
    void moveZoomPanClip(const UUID& clipID, const CMTime& timelineDuration, double startSeconds);
    void deleteZoomPanClip(const UUID& clipID);

    /// Proposes zoom-pan clips: one per range (timeline time), if the project has none yet. Not an undo step.
    void seedZoomPanClips(const std::vector<CMTimeRange>& ranges);

private:
    void commitZoomPanClips(std::vector<TimelineZoomPanClip> clips);

    ProjectEditorState state_;
};

}  // namespace varnelle
