#include "camera/ActiveRanges.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace varnelle {
namespace {

constexpr double kLeadSeconds = 0.1;
constexpr double kShortPieceGap = 1.6;
constexpr double kLongPiece = 2.0;
constexpr double kShortestRange = 1.0 / 120;

struct Span {
    double start;
    double end;
    [[nodiscard]] double length() const { return end - start; }
};

std::vector<CMTimeRange> timeRanges(const std::vector<Span>& spans) {
    std::vector<CMTimeRange> ranges;
    for (const Span& span : spans) {
        const CMTimeRange range{timeFromSeconds(span.start), timeFromSeconds(span.length())};
        if (range.duration > kCMTimeZero) ranges.push_back(range);
    }
    return ranges;
}

/// Joins each span to the one kept before it where `joins` (given both) says so. `spans` are sorted by start.
template <typename Predicate>
std::vector<Span> merged(const std::vector<Span>& spans, const Predicate& joins) {
    std::vector<Span> kept;
    for (const Span& span : spans) {
        if (!kept.empty() && joins(kept.back(), span)) {
            kept.back().end = std::max(kept.back().end, span.end);
        } else {
            kept.push_back(span);
        }
    }
    return kept;
}

/// Where the activity began that led to the zoom of a sample: a little before the last neutral sample up to
/// it.
double activityStart(const std::vector<SmoothingCameraSample>& samples, std::size_t index) {
    while (index > 0 && samples[index].motionState != CursorWindowMotionState::neutral) --index;
    return std::max(samples[index].timeSeconds - kLeadSeconds, 0.0);
}

/// Collects windows of interest, kept inside the source.
class WindowCollector {
public:
    explicit WindowCollector(double duration) : duration_(duration) {}

    void add(double start, double end) {
        const Span span{std::max(start, 0.0), std::min(end, duration_)};
        if (span.start < span.end) spans_.push_back(span);
    }
    void addAround(double time, double before, double after) {
        if (std::isfinite(time)) add(time - before, time + after);
    }
    [[nodiscard]] std::vector<Span> sorted() const {
        std::vector<Span> result = spans_;
        std::sort(result.begin(), result.end(),
                  [](const Span& a, const Span& b) { return a.start < b.start; });
        return result;
    }

private:
    double duration_;
    std::vector<Span> spans_;
};

void collectButtons(const CursorRecording& recording, WindowCollector& windows) {
    for (const CursorActivitySample& sample : recording.activitySamples) {
        if (!sample.isVisible) continue;
        if (isPress(sample.kind)) {
            windows.addAround(sample.timeSeconds, 0.85, 0.95);
        } else {
            windows.addAround(sample.timeSeconds, 0.15, 0.55);
        }
    }
}

void collectDrags(const CursorRecording& recording, double duration, WindowCollector& windows) {
    std::optional<double> pressTime;
    for (const CursorActivitySample& sample : recording.activitySamples) {
        if (!std::isfinite(sample.timeSeconds)) continue;
        if (sample.kind == CursorActivityKind::leftMouseDown && sample.isVisible) {
            pressTime = sample.timeSeconds;
        } else if (sample.kind == CursorActivityKind::leftMouseUp && pressTime) {
            windows.add(*pressTime - 0.75, sample.timeSeconds + 0.75);
            pressTime.reset();
        }
    }
    if (pressTime) windows.add(*pressTime - 0.18, duration);
}

void collectKeys(const CursorRecording& recording, WindowCollector& windows) {
    for (const CursorKeyboardActivitySample& sample : recording.keyboardSamples) {
        if (!sample.isVisible) continue;
        switch (sample.kind) {
            case CursorKeyboardActivityKind::typing:
                windows.addAround(sample.timeSeconds, 0.15, 1.1);
                break;
            case CursorKeyboardActivityKind::navigation:
                windows.addAround(sample.timeSeconds, 0.15, 0.85);
                break;
            case CursorKeyboardActivityKind::shortcut:
                windows.addAround(sample.timeSeconds, 0.12, 0.75);
                break;
        }
    }
}

}  // namespace

std::vector<CMTimeRange> cameraActiveRanges(const SmoothingCamera& camera, const CMTime& duration,
                                            double zoomThreshold, double minimumDuration, double mergeGap) {
    const auto& samples = camera.samples();
    const double sourceEnd = clampedSeconds(duration);
    if (samples.empty() || !(sourceEnd > 0)) return {};

    std::vector<Span> spans;
    std::optional<double> openStart;
    const auto close = [&](double end) {
        if (openStart && end - *openStart >= minimumDuration) spans.push_back({*openStart, end});
        openStart.reset();
    };
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const bool isZoomed = samples[i].snapshot.zoomScale > zoomThreshold;
        if (isZoomed && !openStart) openStart = activityStart(samples, i);
        if (!isZoomed && openStart) close(std::min(sourceEnd, std::max(samples[i].timeSeconds, 0.0)));
    }
    close(sourceEnd);
    return timeRanges(merged(
        spans, [mergeGap](const Span& kept, const Span& span) { return span.start - kept.end <= mergeGap; }));
}

std::vector<CMTimeRange> activityActiveRanges(const CursorRecording& recording, const CMTime& duration,
                                              double minimumDuration, double mergeGap) {
    const double sourceEnd = clampedSeconds(duration);
    if (!(sourceEnd > 0)) return {};
    WindowCollector windows(sourceEnd);
    collectButtons(recording, windows);
    collectDrags(recording, sourceEnd, windows);
    collectKeys(recording, windows);

    const double gap = std::max(mergeGap, 0.0);
    std::vector<Span> spans = merged(
        windows.sorted(), [gap](const Span& kept, const Span& span) { return span.start - kept.end <= gap; });
    // A short piece is absorbed by its neighbour, two long ones stay apart.
    spans = merged(spans, [gap](const Span& kept, const Span& span) {
        const bool bothAreLong = kept.length() > kLongPiece && span.length() > kLongPiece;
        return span.start - kept.end <= std::max(gap, kShortPieceGap) && !bothAreLong;
    });
    const double minimum = std::max(minimumDuration, kShortestRange);
    std::erase_if(spans, [minimum](const Span& span) { return span.length() < minimum; });
    return timeRanges(spans);
}

}  // namespace varnelle
