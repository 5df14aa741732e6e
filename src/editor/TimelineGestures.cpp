// What the pointer does in the ruler and the lanes.

#include <algorithm>
#include <cmath>

#include "editor/TimelineModel.h"

namespace varnelle {
namespace {

/// A press that moves less is a click. Points.
constexpr double kMinimumDragDistance = 3;
/// How far into a clip its handles reach; a narrow clip keeps half of itself to be clicked at.
constexpr double kHandleWidth = 9;
constexpr double kHandleShare = 0.25;
constexpr double kAddButtonRadius = 12;

}  // namespace

const std::vector<TimelineSpan>& TimelineModel::spans(Lane lane) const {
    return lane == Lane::Primary ? primarySpans_ : zoomPanSpans_;
}

const TimelineSpan* TimelineModel::span(Lane lane, const UUID& clipID) const {
    const auto& all = spans(lane);
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const TimelineSpan& span) { return span.clipID == clipID; });
    return found == all.end() ? nullptr : &*found;
}

TimelineModel::Target TimelineModel::targetAt(Lane lane, double viewX) const {
    const TimelineSpan* span = spanAt(spans(lane), secondsAt(viewX));
    if (span == nullptr) return {};
    const double left = this->viewX(span->start);
    const double right = this->viewX(span->end());
    const double handle = std::min(kHandleWidth, (right - left) * kHandleShare);
    // Scissors cut anywhere.
    if (lane == Lane::Primary && isCutMode_) return {Part::Body, span->clipID};
    if (viewX < left + handle) return {Part::Leading, span->clipID};
    return {viewX >= right - handle ? Part::Trailing : Part::Body, span->clipID};
}

CMTime TimelineModel::assetDuration(const URL& source) const {
    const auto found = assetDurations_.find(source);
    return found == assetDurations_.end() ? kCMTimeInvalid : found->second;
}

void TimelineModel::requestDeleteKeyFocus() {
    ++deleteKeyFocusRequestID_;
    emit deleteKeyFocusRequested();
}

void TimelineModel::select(Lane lane, const std::optional<UUID>& clipID) {
    const auto primary = lane == Lane::Primary ? clipID : std::nullopt;
    const auto zoomPan = lane == Lane::ZoomPan ? clipID : std::nullopt;
    if (selectedClipID_ == primary && selectedZoomPanClipID_ == zoomPan) return;
    selectedClipID_ = primary;
    selectedZoomPanClipID_ = zoomPan;
    emit selectionChanged();
}

void TimelineModel::seekInRuler(double x) {
    requestDeleteKeyFocus();
    emit seek(timeFromSeconds(snappedSeekSeconds(secondsAt(x), layout_.pixelsPerSecond,
                                                 layout_.displayDurationSeconds, primarySpans_)));
}

void TimelineModel::hover(Lane lane, double x) {
    if (press_) return;
    hoveredLane_ = lane;
    const Target target = targetAt(lane, x);
    const double seconds = std::max(0.0, std::min(secondsAt(x), layout_.displayDurationSeconds));
    setHoveredClip(target.clipID);
    const bool canAdd = lane == Lane::ZoomPan && !target.clipID && !isCutMode_;
    addHoverSeconds_ = canAdd ? std::optional(seconds) : std::nullopt;
    const bool isHandle = target.part == Part::Leading || target.part == Part::Trailing;
    setCursorShape(isHandle ? Qt::SplitHCursor : Qt::ArrowCursor);
    if (isPlaying_) {
        hoveredCutTime_.reset();
        skim(std::nullopt);
    } else {
        updateHoverMark(seconds);
    }
    emit hoverChanged();
}

void TimelineModel::endHover(Lane lane) {
    if (lane != hoveredLane_) return;
    setHoveredClip(std::nullopt);
    setCursorShape(Qt::ArrowCursor);
    endHoverMarks();
}

void TimelineModel::endHoverMarks() {
    addHoverSeconds_.reset();
    hoveredCutTime_.reset();
    skim(std::nullopt);
    emit hoverChanged();
}

void TimelineModel::updateHoverMark(double seconds) {
    hoveredCutTime_ = seconds;
    if (isCutMode_) {
        const auto target = cutTarget(seconds, primarySpans_);
        hoveredCutTime_ = target ? std::optional(target->timelineSeconds) : std::nullopt;
    }
    skim(hoveredCutTime_);
}

void TimelineModel::skim(const std::optional<double>& seconds) {
    if (!seconds) {
        if (!lastScrubbedSeconds_) return;
        lastScrubbedSeconds_.reset();
        emit scrub(std::nullopt);
        return;
    }
    if (const auto snapped = skimmedSeconds(*seconds, lastScrubbedSeconds_)) {
        lastScrubbedSeconds_ = snapped;
        emit scrub(timeFromSeconds(*snapped));
    }
}

double TimelineModel::hoverMarkX() const {
    return viewX(hoveredCutTime_.value_or(0));
}

double TimelineModel::addButtonX() const {
    return viewX(addHoverSeconds_.value_or(0));
}

void TimelineModel::setHoveredClip(const std::optional<UUID>& clipID) {
    if (hoveredClipID_ == clipID) return;
    hoveredClipID_ = clipID;
    emit hoveredClipChanged();
}

void TimelineModel::setCursorShape(Qt::CursorShape shape) {
    if (cursorShape_ == shape) return;
    cursorShape_ = shape;
    emit cursorShapeChanged();
}

void TimelineModel::pressAdd() {
    if (!addHoverSeconds_) return;
    requestDeleteKeyFocus();
    emit addZoomPanClip(timeFromSeconds(*addHoverSeconds_));
}

void TimelineModel::press(Lane lane, QPointF place) {
    const QPointF fromButton = place - QPointF(addButtonX(), TimelineLayout::zoomPanTrackHeight / 2);
    const bool isOnButton =
        lane == Lane::ZoomPan && hasAddButton() &&
        QPointF::dotProduct(fromButton, fromButton) <= kAddButtonRadius * kAddButtonRadius;
    const Target target = isOnButton ? Target{Part::AddButton, {}} : targetAt(lane, place.x());
    press_ = Press{lane, target, place.x(), false, {}};
}

void TimelineModel::drag(double x) {
    if (!press_ || !press_->target.clipID) return;
    if (!press_->isDragging) {
        if (std::abs(x - press_->x) < kMinimumDragDistance) return;
        const TimelineSpan* clip = span(press_->lane, *press_->target.clipID);
        if (clip == nullptr) return;
        const bool isPrimary = press_->lane == Lane::Primary;
        if (isPrimary && press_->target.part == Part::Body) return;
        const double start = isPrimary ? clip->sourceStart : clip->start;
        press_->isDragging = true;
        endHoverMarks();
        press_->gestureOrigin = {start, start + clip->duration};
    }
    const double deltaSeconds = (x - press_->x) / layout_.pixelsPerSecond;
    requestDeleteKeyFocus();
    select(press_->lane, press_->target.clipID);
    if (press_->lane == Lane::Primary) {
        previewTrim(deltaSeconds);
    } else if (press_->target.part == Part::Body) {
        zoomPanMoveDraft_ = {*press_->target.clipID, press_->gestureOrigin.start + deltaSeconds};
        rebuildZoomPanSpans();
    } else {
        previewZoomPanTrim(deltaSeconds);
    }
}

void TimelineModel::previewTrim(double deltaSeconds) {
    const UUID clipID = *press_->target.clipID;
    const TimelineSpan* clip = span(Lane::Primary, clipID);
    if (clip == nullptr) return;
    const auto edge =
        press_->target.part == Part::Leading ? TimelineTrimEdge::leading : TimelineTrimEdge::trailing;
    const TimelineTrimmedRange range =
        trimmedRange(edge, press_->gestureOrigin, deltaSeconds, clampedSeconds(assetDuration(clip->source)),
                     TimelineLayout::minimumTrimDurationSeconds);
    trimDraft_ = {clipID, range.start, range.duration};
    rebuildPrimarySpans();
}

void TimelineModel::previewZoomPanTrim(double deltaSeconds) {
    const UUID clipID = *press_->target.clipID;
    const TimelineSpan* clip = span(Lane::ZoomPan, clipID);
    if (clip == nullptr) return;
    const auto [low, high] = zoomPanRoom(static_cast<std::size_t>(clip - zoomPanSpans_.data()));
    const auto edge =
        press_->target.part == Part::Leading ? TimelineTrimEdge::leading : TimelineTrimEdge::trailing;
    const TimelineTrimmedRange range =
        trimmedZoomPanRange(edge, press_->gestureOrigin, deltaSeconds,
                            TimelineLayout::minimumZoomPanTrimDurationSeconds, low, high);
    zoomPanTrimDraft_ = {clipID, range.start, range.duration};
    rebuildZoomPanSpans();
}

void TimelineModel::release(double x) {
    if (!press_) return;
    const Press press = *press_;
    press_.reset();
    if (press.isDragging) {
        commitDrag();
    } else if (std::abs(x - press.x) >= kMinimumDragDistance) {
        return;
    } else if (press.target.part == Part::AddButton) {
        pressAdd();
    } else {
        click(press.lane, x);
    }
}

void TimelineModel::cancelDrag() {
    press_.reset();
    clearDrafts();
}

void TimelineModel::clearDrafts() {
    if (trimDraft_) {
        trimDraft_.reset();
        rebuildPrimarySpans();
    }
    if (zoomPanTrimDraft_ || zoomPanMoveDraft_) {
        zoomPanTrimDraft_.reset();
        zoomPanMoveDraft_.reset();
        rebuildZoomPanSpans();
    }
}

void TimelineModel::commitDrag() {
    const auto trimmed = trimDraft_;
    const auto trimmedZoomPan = zoomPanTrimDraft_;
    const auto moved = zoomPanMoveDraft_;
    const TimelineSpan* clip = trimmed ? span(Lane::Primary, trimmed->clipID) : nullptr;
    const CMTime assetLength = clip != nullptr ? assetDuration(clip->source) : kCMTimeInvalid;
    clearDrafts();
    if (trimmed) {
        emit trim(trimmed->clipID, timeFromSeconds(trimmed->startSeconds),
                  timeFromSeconds(trimmed->durationSeconds), assetLength);
    }
    if (trimmedZoomPan) {
        emit trimZoomPanClip(trimmedZoomPan->clipID, timeFromSeconds(trimmedZoomPan->startSeconds),
                             timeFromSeconds(trimmedZoomPan->durationSeconds), duration_);
    }
    if (moved) emit moveZoomPanClip(moved->clipID, moved->startSeconds, duration_);
}

void TimelineModel::click(Lane lane, double viewX) {
    const double seconds = std::max(0.0, secondsAt(viewX));
    requestDeleteKeyFocus();
    if (lane == Lane::Primary && isCutMode_) {
        if (const auto target = cutTarget(seconds, primarySpans_)) {
            emit splitClip(target->clipID, timeFromSeconds(target->offsetSeconds));
        }
        return;
    }
    const TimelineSpan* clip = spanAt(spans(lane), seconds);
    const auto clipID = clip != nullptr ? std::optional(clip->clipID) : std::nullopt;
    emit seek(timeFromSeconds(seconds));
    select(lane, clipID);
}

}  // namespace varnelle
