#include "timeline/TimelineEditor.h"

#include <gtest/gtest.h>

#include "support/SampleProject.h"

namespace varnelle {
namespace {

TEST(TimelineEditor, SeedsAnEmptyLaneOnly) {
    ProjectEditorState state;
    state.currentProject = test::projectIn(URL("/recordings/a"), 10);
    TimelineEditor editor(state);
    editor.seedZoomPanClips({});
    EXPECT_TRUE(editor.project().timeline.zoomPanClips.empty());
    editor.seedZoomPanClips({test::rangeOfSeconds(1, 2), test::rangeOfSeconds(5, 1)});
    editor.seedZoomPanClips({test::rangeOfSeconds(7, 1)});
    ASSERT_EQ(editor.project().timeline.zoomPanClips.size(), 2U);
    EXPECT_EQ(editor.project().timeline.zoomPanClips[1].timeRange, test::rangeOfSeconds(5, 1));
    EXPECT_TRUE(editor.state().undoStack.empty());
}

}  // namespace
}  // namespace varnelle
