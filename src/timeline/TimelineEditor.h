#pragma once

#include <vector>

#include "foundation/CMTime.h"
#include "model/Project.h"

namespace varnelle {

/// Holds the open project with its undo history and changes it. Main thread only.
class TimelineEditor {
public:
    explicit TimelineEditor(ProjectEditorState state) : state_(std::move(state)) {}

    [[nodiscard]] const ProjectEditorState& state() const { return state_; }
    [[nodiscard]] const Project& project() const { return state_.currentProject; }

    /// Proposes zoom-pan clips: one per range (timeline time), if the project has none yet. Not an undo step.
    void seedZoomPanClips(const std::vector<CMTimeRange>& ranges);

private:
    ProjectEditorState state_;
};

}  // namespace varnelle
