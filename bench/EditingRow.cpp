#include <fmt/format.h>
#include <malloc.h>

#include <chrono>

#include "Measure.h"
#include "support/SampleProject.h"
#include "timeline/TimelineEditor.h"

namespace varnelle::bench {
namespace {

constexpr int kClipCount = 1000;
constexpr int kZoomPanClipCount = 200;
constexpr int kCommitCount = 10'000;

TimelineEditor editorOfALongProject() {
    ProjectEditorState state;
    state.currentProject = test::projectIn(URL("/var/tmp/Varnelle/Sessions/recording_1"), kClipCount);
    std::vector<TimelineClip> clips;
    for (int i = 0; i < kClipCount; ++i) {
        clips.push_back({UUID::random(), state.currentProject.recordingSession.screenRecordingURL,
                         test::rangeOfSeconds(i, 1), timeFromSeconds(i)});
    }
    state.currentProject.timeline.tracks.mutableElements()[0].clips = std::move(clips);
    TimelineEditor editor(std::move(state));
    std::vector<CMTimeRange> ranges;
    for (int i = 0; i < kZoomPanClipCount; ++i) ranges.push_back(test::rangeOfSeconds(5.0 * i, 2));
    editor.seedZoomPanClips(ranges);
    return editor;
}

double bytesInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Bytes that an undo step keeps, against those of the only list that it changes.
Row measureCommits(const std::string& name) {
    TimelineEditor editor = editorOfALongProject();
    const UUID clip = editor.project().timeline.zoomPanClips[kZoomPanClipCount - 1].id;
    const double bytesBefore = bytesInUse();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kCommitCount; ++i) {
        editor.moveZoomPanClip(clip, timeFromSeconds(kClipCount), 996 + i % 2);
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double bytes = bytesInUse() - bytesBefore;
    if (editor.state().undoStack.size() != kCommitCount) throw std::runtime_error("some commits did nothing");
    constexpr double listBytes = kZoomPanClipCount * sizeof(TimelineZoomPanClip);
    constexpr double targetBytes = 200e6 / kCommitCount;
    return {name,
            bytes / kCommitCount,
            listBytes,
            "bytes",
            targetBytes / listBytes,
            fmt::format("{:.0f} commits a second, {:.0f} MB after {}", kCommitCount / seconds, bytes / 1e6,
                        kCommitCount)};
}

}  // namespace

std::vector<NamedRow> editingRows() {
    const std::string name = "an edit of 1,200 clips";
    return {{name, [name] { return measureCommits(name); }}};
}

}  // namespace varnelle::bench
