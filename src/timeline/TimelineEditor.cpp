#include "timeline/TimelineEditor.h"

namespace varnelle {

void TimelineEditor::seedZoomPanClips(const std::vector<CMTimeRange>& ranges) {
    auto& clips = state_.currentProject.timeline.zoomPanClips;
    if (!clips.empty()) return;
    for (const CMTimeRange& range : ranges) clips.append({UUID::random(), range});
}

}  // namespace varnelle
