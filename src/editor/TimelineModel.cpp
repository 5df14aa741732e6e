#include "editor/TimelineModel.h"

#include <algorithm>
#include <cmath>

#include "app/DurationFormat.h"
#include "editor/PlaybackRates.h"
#include "editor/TimelineBlockListModel.h"

namespace varnelle {
namespace {

constexpr double kRulerFrameRate = 30;
/// By which scroll positions have to differ to be different ones, in points.
constexpr double kScrollTolerance = 0.5;
/// Zoom per point of a scroll with a modifier.
constexpr double kZoomPerScrolledPoint = 0.015;
constexpr double kMinimumScaleDelta = 0.01;
/// Left and right of a place that is brought into sight.
constexpr double kRevealMargin = 40;

Project withDraft(Project project, const std::optional<TimelineTrimDraft>& draft) {
    if (!draft) return project;
    const auto& tracks = project.timeline.tracks;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (tracks[i].type != TimelineTrack::TrackType::video) continue;
        for (TimelineClip& clip : project.timeline.tracks.mutableElements()[i].clips.mutableElements()) {
            if (clip.id != draft->clipID) continue;
            clip.trimRange = {timeFromSeconds(draft->startSeconds), timeFromSeconds(draft->durationSeconds)};
        }
        break;
    }
    return project;
}

}  // namespace

TimelineModel::TimelineModel(QObject* parent) : QObject(parent) {
    layout_ = TimelineLayout::make(viewWidth_, 0, zoomScale_);
    primaryBlocks_ = std::make_unique<TimelineBlockListModel>(*this, Lane::Primary);
    zoomPanBlocks_ = std::make_unique<TimelineBlockListModel>(*this, Lane::ZoomPan);
    updateRateMenu();
}

TimelineModel::~TimelineModel() = default;

void TimelineModel::setCaches(std::shared_ptr<FilmStripCache> filmStrips,
                              std::shared_ptr<WaveformCache> waveforms) {
    if (filmStrips_) filmStrips_->disconnect(this);
    if (waveforms_) waveforms_->disconnect(this);
    filmStrips_ = std::move(filmStrips);
    waveforms_ = std::move(waveforms);
    if (filmStrips_) {
        connect(filmStrips_.get(), &FilmStripCache::picturesChanged, this, &TimelineModel::picturesChanged);
    }
    if (waveforms_) {
        connect(waveforms_.get(), &WaveformCache::waveformsChanged, this, &TimelineModel::picturesChanged);
    }
    wantWaveforms();
    emit picturesChanged();
}

void TimelineModel::wantWaveforms() {
    if (!waveforms_) return;
    std::set<URL> sources;
    for (const TimelineSpan& span : primarySpans_) sources.insert(span.source);
    waveforms_->want(sources);
}

void TimelineModel::setProject(const Project& project) {
    if (project_ == project) return;
    project_ = project;
    rebuildPrimarySpans();
}

void TimelineModel::setAssetDurations(const std::map<URL, CMTime>& assetDurations) {
    if (assetDurations_ == assetDurations) return;
    assetDurations_ = assetDurations;
    rebuildPrimarySpans();
}

void TimelineModel::setZoomPanClips(const SharedList<TimelineZoomPanClip>& zoomPanClips) {
    if (zoomPanClips_ == zoomPanClips) return;
    zoomPanClips_ = zoomPanClips;
    rebuildZoomPanSpans();
}

void TimelineModel::setCurrentTime(const CMTime& currentTime) {
    if (currentTime_ == currentTime) return;
    currentTime_ = currentTime;
    emit playheadChanged();
    follow();
}

void TimelineModel::setDuration(const CMTime& duration) {
    if (duration_ == duration) return;
    duration_ = duration;
    emit durationChanged();
    updateLayout();
}

void TimelineModel::setIsPlaying(bool isPlaying) {
    if (isPlaying_ == isPlaying) return;
    isPlaying_ = isPlaying;
    emit isPlayingChanged();
    // A pointer that rests reports no more, and what is skimmed hides where playing is.
    if (isPlaying_) endHoverMarks();
    follow();
}

void TimelineModel::setPlaybackRate(float playbackRate) {
    if (playbackRate_ == playbackRate) return;
    playbackRate_ = playbackRate;
    updateRateMenu();
    emit playbackRateChanged();
}

void TimelineModel::setCanDeleteClip(bool canDelete) {
    if (canDeleteClip_ == canDelete) return;
    canDeleteClip_ = canDelete;
    emit canDeleteChanged();
}

void TimelineModel::setCanDeleteZoomPanClip(bool canDelete) {
    if (canDeleteZoomPanClip_ == canDelete) return;
    canDeleteZoomPanClip_ = canDelete;
    emit canDeleteChanged();
}

void TimelineModel::setSelectedClipID(const std::optional<UUID>& clipID) {
    if (selectedClipID_ == clipID) return;
    selectedClipID_ = clipID;
    emit selectionChanged();
}

void TimelineModel::setSelectedZoomPanClipID(const std::optional<UUID>& clipID) {
    if (selectedZoomPanClipID_ == clipID) return;
    selectedZoomPanClipID_ = clipID;
    emit selectionChanged();
}

TimelineRulerMetrics TimelineModel::rulerMetrics() const {
    return TimelineRulerMetrics::make(layout_.displayDurationSeconds, layout_.pixelsPerSecond,
                                      kRulerFrameRate);
}

void TimelineModel::rebuildPrimarySpans() {
    const Project shown = withDraft(project_, trimDraft_);
    primarySpans_.clear();
    for (const TimelineClipSegment& segment :
         shown.clipSegments(TimelineTrack::TrackType::video, assetDurations_)) {
        primarySpans_.push_back({segment.clip.id, clampedSeconds(segment.timelineStart),
                                 clampedSeconds(segment.sourceRange.duration),
                                 clampedSeconds(segment.sourceRange.start), segment.clip.sourceURL});
    }
    wantWaveforms();
    updateLayout();
    emit contentChanged();
}

void TimelineModel::rebuildZoomPanSpans() {
    zoomPanSpans_.clear();
    for (const TimelineZoomPanClip& clip : zoomPanClips_) {
        zoomPanSpans_.push_back(
            {clip.id, clampedSeconds(clip.timeRange.start), clampedSeconds(clip.timeRange.duration), 0, {}});
    }
    std::stable_sort(zoomPanSpans_.begin(), zoomPanSpans_.end(),
                     [](const TimelineSpan& a, const TimelineSpan& b) { return a.start < b.start; });
    for (std::size_t i = 0; i < zoomPanSpans_.size(); ++i) {
        TimelineSpan& span = zoomPanSpans_[i];
        if (zoomPanTrimDraft_ && zoomPanTrimDraft_->clipID == span.clipID) {
            span.start = zoomPanTrimDraft_->startSeconds;
            span.duration = zoomPanTrimDraft_->durationSeconds;
        }
        if (zoomPanMoveDraft_ && zoomPanMoveDraft_->clipID == span.clipID) {
            // It is shown where it will come to lie.
            const auto [low, high] = zoomPanRoom(i);
            span.start =
                std::min(std::max(low, high - span.duration), std::max(low, zoomPanMoveDraft_->startSeconds));
        }
    }
    emit contentChanged();
}

std::pair<double, double> TimelineModel::zoomPanRoom(std::size_t index) const {
    const double low = index == 0 ? 0 : zoomPanSpans_[index - 1].end();
    const double high =
        index + 1 < zoomPanSpans_.size() ? zoomPanSpans_[index + 1].start : layout_.displayDurationSeconds;
    return {low, high};
}

void TimelineModel::updateLayout() {
    const double segmentsEnd = primarySpans_.empty() ? 0 : primarySpans_.back().end();
    const double displayDuration = std::max(clampedSeconds(duration_), segmentsEnd);
    const TimelineLayout layout = TimelineLayout::make(viewWidth_, displayDuration, zoomScale_);
    if (layout == layout_) return;
    layout_ = layout;
    const double followStart = std::min(followWindowStartX_, layout_.maximumStart());
    if (std::abs(followStart - followWindowStartX_) > kScrollTolerance) followWindowStartX_ = followStart;
    const double scrollBefore = scrollX_;
    scrollX_ = std::clamp(scrollX_, 0.0, layout_.maximumStart());
    emit layoutChanged();
    if (scrollX_ != scrollBefore) emit scrollXChanged();
    emit playheadChanged();
    if (hoveredCutTime_ || addHoverSeconds_) emit hoverChanged();
}

void TimelineModel::setViewWidth(double width) {
    if (viewWidth_ == width) return;
    viewWidth_ = width;
    updateLayout();
}

void TimelineModel::setScrollX(double scrollX) {
    const double clamped = std::clamp(scrollX, 0.0, layout_.maximumStart());
    if (scrollX_ == clamped) return;
    scrollX_ = clamped;
    emit scrollXChanged();
    emit playheadChanged();
    if (hoveredCutTime_ || addHoverSeconds_) emit hoverChanged();
}

void TimelineModel::setZoomScale(double zoomScale) {
    const double playhead = playheadX();
    const bool isInSight = playhead >= 0 && playhead <= viewWidth_;
    zoomTo(zoomScale, isInSight ? playhead : viewWidth_ / 2);
}

void TimelineModel::zoomByScroll(double delta, double anchorX) {
    zoomTo(zoomScale_ + delta * kZoomPerScrolledPoint, anchorX);
}

void TimelineModel::pinch(double magnification, double anchorX) {
    if (!isPinching_) {
        if (std::abs(magnification - 1) < kMinimumScaleDelta) return;
        isPinching_ = true;
        pinchOriginZoom_ = zoomScale_;
    }
    zoomTo(magnification * pinchOriginZoom_, anchorX);
}

void TimelineModel::zoomTo(double zoomScale, double anchorX) {
    const double zoom = layout_.clampedZoom(zoomScale);
    if (!std::isfinite(zoom) || zoom == zoomScale_) return;
    const double anchorSeconds = secondsAt(anchorX);
    zoomScale_ = zoom;
    updateLayout();
    setScrollX(anchorSeconds * layout_.pixelsPerSecond - (anchorX - TimelineLayout::timelineHorizontalInset));
    emit zoomScaleChanged();
}

QString TimelineModel::zoomText() const {
    return tr("%1%").arg(static_cast<int>(zoomScale_ * 100));
}

double TimelineModel::contentX(double viewX) const {
    return viewX - TimelineLayout::timelineHorizontalInset + scrollX_;
}

double TimelineModel::viewX(double seconds) const {
    return layout_.pixelsPerSecond * seconds + TimelineLayout::timelineHorizontalInset - scrollX_;
}

double TimelineModel::secondsAt(double viewX) const {
    return contentX(viewX) / layout_.pixelsPerSecond;
}

double TimelineModel::currentSeconds() const {
    return clampedSeconds(currentTime_);
}

double TimelineModel::playheadX() const {
    return layout_.playheadX(currentSeconds()) + TimelineLayout::timelineHorizontalInset - scrollX_;
}

QString TimelineModel::currentTimeText() const {
    return QString::fromStdString(durationWithHundredths(currentTime_.seconds()));
}

QString TimelineModel::durationText() const {
    return QString::fromStdString(durationWithHundredths(duration_.seconds()));
}

QString TimelineModel::rateText() const {
    return QString::fromStdString(playbackRateLabel(playbackRate_));
}

void TimelineModel::updateRateMenu() {
    std::vector<MenuItem> items;
    for (const float rate : kPlaybackRates) {
        MenuItem item;
        item.text = QString::fromStdString(playbackRateLabel(rate));
        item.isChecked = rate == playbackRate_;
        item.action = [this, rate] { emit playbackRateChange(rate); };
        items.push_back(std::move(item));
    }
    rateMenu_.setItems(std::move(items));
}

void TimelineModel::setIsCutMode(bool isCutMode) {
    if (isCutMode_ == isCutMode) return;
    isCutMode_ = isCutMode;
    emit isCutModeChanged();
    emit hoverChanged();
}

void TimelineModel::pressFirstFrame() {
    jump(JumpTarget::start);
    emit seek(kCMTimeZero);
}

void TimelineModel::pressLastFrame() {
    jump(JumpTarget::end);
    emit seek(duration_);
}

void TimelineModel::pressDelete() {
    switch (deletion(selectedClipID_.has_value(), selectedZoomPanClipID_.has_value(), canDeleteClip_,
                     canDeleteZoomPanClip_)) {
        case TimelineDeletion::clip:
            emit deleteClip();
            break;
        case TimelineDeletion::zoomPanClip:
            emit deleteZoomPanClip();
            break;
        case TimelineDeletion::nothing:
            break;
    }
}

void TimelineModel::follow() {
    if (!isPlaying_) return;
    const double start = layout_.followStart(followWindowStartX_);
    const double target = layout_.followTarget(currentSeconds(), followWindowStartX_);
    if (std::abs(target - start) <= kScrollTolerance) return;
    followWindowStartX_ = target;
    requestScroll(ScrollMotion::Spring);
}

void TimelineModel::jump(JumpTarget target) {
    followWindowStartX_ = target == JumpTarget::end ? layout_.maximumStart() : 0;
    requestScroll(ScrollMotion::Immediate);
}

void TimelineModel::requestScroll(ScrollMotion motion) {
    QMetaObject::invokeMethod(
        this, [this, motion] { emit scrollRequested(layout_.followStart(followWindowStartX_), motion); },
        Qt::QueuedConnection);
}

void TimelineModel::reveal(double seconds) {
    const double x = viewX(seconds);
    if (x < kRevealMargin) setScrollX(scrollX_ + x - kRevealMargin);
    if (x > viewWidth_ - kRevealMargin) setScrollX(scrollX_ + x - viewWidth_ + kRevealMargin);
}

void TimelineModel::step(double seconds) {
    const double target = std::clamp(currentSeconds() + seconds, 0.0, layout_.displayDurationSeconds);
    reveal(target);
    emit seek(timeFromSeconds(target));
}

void TimelineModel::selectNeighbour(Lane lane, int step) {
    const auto& clips = spans(lane);
    if (clips.empty()) return;
    const auto& selected = lane == Lane::Primary ? selectedClipID_ : selectedZoomPanClipID_;
    const auto found = std::find_if(clips.begin(), clips.end(),
                                    [&](const TimelineSpan& span) { return span.clipID == selected; });
    const auto last = static_cast<std::ptrdiff_t>(clips.size()) - 1;
    const std::ptrdiff_t present = found == clips.end() ? (step > 0 ? -1 : last + 1) : found - clips.begin();
    selectAndShow(lane, clips[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(present + step, 0, last))]);
}

void TimelineModel::selectNumber(Lane lane, int number) {
    const auto& clips = spans(lane);
    if (number < 1 || static_cast<std::size_t>(number) > clips.size()) return;
    selectAndShow(lane, clips[static_cast<std::size_t>(number) - 1]);
}

void TimelineModel::selectAndShow(Lane lane, const TimelineSpan& span) {
    // Whoever hears of it may change the spans.
    const UUID clipID = span.clipID;
    const double start = span.start;
    requestDeleteKeyFocus();
    select(lane, clipID);
    reveal(start);
    emit seek(timeFromSeconds(start));
}

void TimelineModel::useAtPlayhead(Lane lane) {
    if (lane == Lane::ZoomPan) {
        emit addZoomPanClip(timeFromSeconds(currentSeconds()));
    } else if (const auto target = cutTarget(currentSeconds(), primarySpans_)) {
        emit splitClip(target->clipID, timeFromSeconds(target->offsetSeconds));
    }
}

void TimelineModel::nudgeZoomPanClip(double seconds) {
    for (const TimelineSpan& span : zoomPanSpans_) {
        if (span.clipID != selectedZoomPanClipID_) continue;
        emit moveZoomPanClip(span.clipID, span.start + seconds, duration_);
        return;
    }
}

}  // namespace varnelle
