#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointF>
#include <QString>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "editor/FilmStripCache.h"
#include "editor/TimelineDrafts.h"
#include "editor/TimelineLayout.h"
#include "editor/TimelineRulerMetrics.h"
#include "editor/TimelineRules.h"
#include "editor/WaveformCache.h"
#include "model/Project.h"
#include "ui/MenuModel.h"

namespace varnelle {

class TimelineBlockListModel;

/// The timeline under the preview: what its toolbar, ruler and lanes show, and what the user does there. It
/// owns no project. Whoever shows it sets project, times and selection, and hears by signals what is wanted;
/// a drag changes only a draft in here, and its end is one signal. Main thread.
///
/// Places are points. An x of the view is measured from the strip's left edge; an x of the content from the
/// place of time zero.
class TimelineModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the editor")
    Q_MOC_INCLUDE("editor/TimelineBlockListModel.h")
    Q_PROPERTY(double viewWidth READ viewWidth WRITE setViewWidth NOTIFY layoutChanged)
    Q_PROPERTY(double contentWidth READ contentWidth NOTIFY layoutChanged)
    Q_PROPERTY(double pixelsPerSecond READ pixelsPerSecond NOTIFY layoutChanged)
    Q_PROPERTY(double maximumZoom READ maximumZoom NOTIFY layoutChanged)
    Q_PROPERTY(double maximumScrollX READ maximumScrollX NOTIFY layoutChanged)
    Q_PROPERTY(double zoomScale READ zoomScale WRITE setZoomScale NOTIFY zoomScaleChanged)
    Q_PROPERTY(QString zoomText READ zoomText NOTIFY zoomScaleChanged)
    Q_PROPERTY(double scrollX READ scrollX WRITE setScrollX NOTIFY scrollXChanged)
    /// Of the view, as the marks below.
    Q_PROPERTY(double playheadX READ playheadX NOTIFY playheadChanged)
    Q_PROPERTY(double currentSeconds READ currentSeconds NOTIFY playheadChanged)
    Q_PROPERTY(double displayDurationSeconds READ displayDurationSeconds NOTIFY layoutChanged)
    Q_PROPERTY(QString currentTimeText READ currentTimeText NOTIFY playheadChanged)
    Q_PROPERTY(QString durationText READ durationText NOTIFY durationChanged)
    Q_PROPERTY(bool isPlaying READ isPlaying WRITE setIsPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(QString rateText READ rateText NOTIFY playbackRateChanged)
    Q_PROPERTY(varnelle::MenuModel* rateMenu READ rateMenu CONSTANT)
    Q_PROPERTY(bool isCutMode READ isCutMode WRITE setIsCutMode NOTIFY isCutModeChanged)
    Q_PROPERTY(bool canDelete READ canDelete NOTIFY canDeleteChanged)
    Q_PROPERTY(int deleteKeyFocusRequestID READ deleteKeyFocusRequestID NOTIFY deleteKeyFocusRequested)
    Q_PROPERTY(bool hasHoverMark READ hasHoverMark NOTIFY hoverChanged)
    Q_PROPERTY(double hoverMarkX READ hoverMarkX NOTIFY hoverChanged)
    Q_PROPERTY(bool hasAddButton READ hasAddButton NOTIFY hoverChanged)
    Q_PROPERTY(double addButtonX READ addButtonX NOTIFY hoverChanged)
    Q_PROPERTY(Qt::CursorShape cursorShape READ cursorShape NOTIFY cursorShapeChanged)
    Q_PROPERTY(varnelle::TimelineBlockListModel* primaryBlocks READ primaryBlocks CONSTANT)
    Q_PROPERTY(varnelle::TimelineBlockListModel* zoomPanBlocks READ zoomPanBlocks CONSTANT)
    Q_PROPERTY(int primaryClipCount READ primaryClipCount NOTIFY contentChanged)
    Q_PROPERTY(int zoomPanClipCount READ zoomPanClipCount NOTIFY contentChanged)

public:
    // Capitals, without which QML doesn't see them.
    enum class Lane { Primary, ZoomPan };
    Q_ENUM(Lane)
    enum class ScrollMotion { Immediate, Spring };
    Q_ENUM(ScrollMotion)

    explicit TimelineModel(QObject* parent = nullptr);
    ~TimelineModel() override;

    /// Where the clips' pictures and sound come from. Without them, clips are plain blocks.
    void setCaches(std::shared_ptr<FilmStripCache> filmStrips, std::shared_ptr<WaveformCache> waveforms);
    [[nodiscard]] FilmStripCache* filmStrips() const { return filmStrips_.get(); }
    [[nodiscard]] WaveformCache* waveforms() const { return waveforms_.get(); }

    /// What the editor sets. Setting what is already there does nothing.
    void setProject(const Project& project);
    void setAssetDurations(const std::map<URL, CMTime>& assetDurations);
    void setZoomPanClips(const SharedList<TimelineZoomPanClip>& zoomPanClips);
    void setCurrentTime(const CMTime& currentTime);
    void setDuration(const CMTime& duration);
    void setIsPlaying(bool isPlaying);
    void setPlaybackRate(float playbackRate);
    void setCanDeleteClip(bool canDelete);
    void setCanDeleteZoomPanClip(bool canDelete);
    /// The selection is kept here; `selectionChanged` tells of the user's changes as well as of these.
    /// Selecting a clip of one lane by hand ends the selection in the other.
    void setSelectedClipID(const std::optional<UUID>& clipID);
    void setSelectedZoomPanClipID(const std::optional<UUID>& clipID);
    [[nodiscard]] const std::optional<UUID>& selectedClipID() const { return selectedClipID_; }
    [[nodiscard]] const std::optional<UUID>& selectedZoomPanClipID() const { return selectedZoomPanClipID_; }

signals:
    /// What the user wants. Times made from places have a timescale of 600 and aren't negative.
    void togglePlayback();
    void seek(const varnelle::CMTime& time);
    void playbackRateChange(float rate);
    /// `offset` from the clip's own start.
    void splitClip(const varnelle::UUID& clipID, const varnelle::CMTime& offset);
    void addZoomPanClip(const varnelle::CMTime& requestedStart);
    /// Of what is selected.
    void deleteClip();
    void deleteZoomPanClip();
    /// Start and duration in source time. An asset of unknown length has an invalid duration.
    void trim(const varnelle::UUID& clipID, const varnelle::CMTime& start, const varnelle::CMTime& duration,
              const varnelle::CMTime& assetDuration);
    void trimZoomPanClip(const varnelle::UUID& clipID, const varnelle::CMTime& start,
                         const varnelle::CMTime& duration, const varnelle::CMTime& timelineDuration);
    void moveZoomPanClip(const varnelle::UUID& clipID, double startSeconds,
                         const varnelle::CMTime& timelineDuration);
    /// Skim to a time; absent ends the skimming.
    void scrub(const std::optional<varnelle::CMTime>& time);
    void selectionChanged();

    // For the views of the timeline.
    void layoutChanged();
    void contentChanged();
    void zoomScaleChanged();
    void scrollXChanged();
    void playheadChanged();
    void durationChanged();
    void isPlayingChanged();
    void playbackRateChanged();
    void isCutModeChanged();
    void canDeleteChanged();
    void deleteKeyFocusRequested();
    void hoverChanged();
    void hoveredClipChanged();
    void picturesChanged();
    void cursorShapeChanged();
    /// The view is to bring `scrollX` there, once the layout has settled.
    void scrollRequested(double scrollX, varnelle::TimelineModel::ScrollMotion motion);

public:
    [[nodiscard]] const TimelineLayout& layout() const { return layout_; }
    [[nodiscard]] TimelineRulerMetrics rulerMetrics() const;
    [[nodiscard]] const std::vector<TimelineSpan>& primarySpans() const { return primarySpans_; }
    [[nodiscard]] const std::vector<TimelineSpan>& zoomPanSpans() const { return zoomPanSpans_; }
    /// Between places of the view and timeline time.
    [[nodiscard]] double viewX(double seconds) const;
    [[nodiscard]] double secondsAt(double viewX) const;

    [[nodiscard]] double viewWidth() const { return viewWidth_; }
    void setViewWidth(double width);
    [[nodiscard]] double contentWidth() const { return layout_.contentWidth; }
    [[nodiscard]] double pixelsPerSecond() const { return layout_.pixelsPerSecond; }
    [[nodiscard]] double maximumZoom() const { return layout_.maximumZoom; }
    [[nodiscard]] double maximumScrollX() const { return layout_.maximumStart(); }
    [[nodiscard]] double zoomScale() const { return zoomScale_; }
    void setZoomScale(double zoomScale);
    [[nodiscard]] QString zoomText() const;
    [[nodiscard]] double scrollX() const { return scrollX_; }
    void setScrollX(double scrollX);
    [[nodiscard]] double playheadX() const;
    [[nodiscard]] double currentSeconds() const;
    [[nodiscard]] double displayDurationSeconds() const { return layout_.displayDurationSeconds; }
    [[nodiscard]] QString currentTimeText() const;
    [[nodiscard]] QString durationText() const;
    [[nodiscard]] bool isPlaying() const { return isPlaying_; }
    [[nodiscard]] QString rateText() const;
    [[nodiscard]] MenuModel* rateMenu() { return &rateMenu_; }
    [[nodiscard]] bool isCutMode() const { return isCutMode_; }
    void setIsCutMode(bool isCutMode);
    [[nodiscard]] bool canDelete() const { return canDeleteClip_ || canDeleteZoomPanClip_; }
    [[nodiscard]] int deleteKeyFocusRequestID() const { return deleteKeyFocusRequestID_; }
    [[nodiscard]] const std::optional<double>& hoveredCutTime() const { return hoveredCutTime_; }
    [[nodiscard]] bool hasHoverMark() const { return hoveredCutTime_.has_value(); }
    [[nodiscard]] double hoverMarkX() const;
    [[nodiscard]] bool hasAddButton() const { return addHoverSeconds_.has_value(); }
    [[nodiscard]] double addButtonX() const;
    [[nodiscard]] Qt::CursorShape cursorShape() const { return cursorShape_; }
    /// The clips in sight.
    [[nodiscard]] TimelineBlockListModel* primaryBlocks() { return primaryBlocks_.get(); }
    [[nodiscard]] TimelineBlockListModel* zoomPanBlocks() { return zoomPanBlocks_.get(); }
    [[nodiscard]] int primaryClipCount() const { return static_cast<int>(primarySpans_.size()); }
    [[nodiscard]] int zoomPanClipCount() const { return static_cast<int>(zoomPanSpans_.size()); }
    /// The clip under the pointer, whose handles show.
    [[nodiscard]] const std::optional<UUID>& hoveredClipID() const { return hoveredClipID_; }
    /// A clip is being trimmed or moved.
    [[nodiscard]] bool isDragging() const { return press_ && press_->isDragging; }
    [[nodiscard]] const std::optional<TimelineTrimDraft>& trimDraft() const { return trimDraft_; }
    [[nodiscard]] const std::optional<TimelineZoomPanTrimDraft>& zoomPanTrimDraft() const {
        return zoomPanTrimDraft_;
    }
    [[nodiscard]] const std::optional<TimelineZoomPanMoveDraft>& zoomPanMoveDraft() const {
        return zoomPanMoveDraft_;
    }

    // The toolbar.
    Q_INVOKABLE void pressPlay() { emit togglePlayback(); }
    Q_INVOKABLE void pressFirstFrame();
    Q_INVOKABLE void pressLastFrame();
    Q_INVOKABLE void pressCut() { setIsCutMode(!isCutMode_); }
    /// The trash button and the delete key.
    Q_INVOKABLE void pressDelete();

    // Zooming keeps the time under `anchorX` (of the view) where it is.
    Q_INVOKABLE void zoomByScroll(double delta, double anchorX);
    Q_INVOKABLE void pinch(double magnification, double anchorX);
    Q_INVOKABLE void endPinch() { isPinching_ = false; }
    Q_INVOKABLE void scrollBy(double points) { setScrollX(scrollX_ + points); }

    // The pointer. All x are of the view.
    Q_INVOKABLE void seekInRuler(double x);
    Q_INVOKABLE void hover(varnelle::TimelineModel::Lane lane, double x);
    /// Does nothing if the pointer is in another lane by now.
    Q_INVOKABLE void endHover(varnelle::TimelineModel::Lane lane);
    /// `place` is of the lane.
    Q_INVOKABLE void press(varnelle::TimelineModel::Lane lane, QPointF place);
    Q_INVOKABLE void drag(double x);
    Q_INVOKABLE void release(double x);
    Q_INVOKABLE void cancelDrag();
    Q_INVOKABLE void pressAdd();

    // The keyboard.
    Q_INVOKABLE void step(double seconds);
    /// Selects the clip before or after the selected one and goes to its start.
    Q_INVOKABLE void selectNeighbour(varnelle::TimelineModel::Lane lane, int step);
    /// Selects a clip by its place in the lane, from 1, and goes to its start.
    Q_INVOKABLE void selectNumber(varnelle::TimelineModel::Lane lane, int number);
    /// Cuts the clip at the playhead, or adds a zoom-pan clip there.
    Q_INVOKABLE void useAtPlayhead(varnelle::TimelineModel::Lane lane);
    Q_INVOKABLE void nudgeZoomPanClip(double seconds);

private:
    enum class Part { Nothing, Body, Leading, Trailing, AddButton };
    struct Target {
        Part part = Part::Nothing;
        std::optional<UUID> clipID;
    };
    /// A press that may become a drag.
    struct Press {
        Lane lane = Lane::Primary;
        Target target;
        double x = 0;
        bool isDragging = false;
        TimelineTrimGestureOrigin gestureOrigin;
    };
    enum class JumpTarget { start, end };

    [[nodiscard]] const std::vector<TimelineSpan>& spans(Lane lane) const;
    [[nodiscard]] const TimelineSpan* span(Lane lane, const UUID& clipID) const;
    [[nodiscard]] double contentX(double viewX) const;
    [[nodiscard]] Target targetAt(Lane lane, double viewX) const;
    [[nodiscard]] CMTime assetDuration(const URL& source) const;
    /// Where a zoom-pan clip may lie between its neighbours: from, to.
    [[nodiscard]] std::pair<double, double> zoomPanRoom(std::size_t index) const;
    void wantWaveforms();
    void rebuildPrimarySpans();
    void rebuildZoomPanSpans();
    void updateLayout();
    void requestDeleteKeyFocus();
    void select(Lane lane, const std::optional<UUID>& clipID);
    void follow();
    void jump(JumpTarget target);
    void requestScroll(ScrollMotion motion);
    void reveal(double seconds);
    void selectAndShow(Lane lane, const TimelineSpan& span);
    void zoomTo(double zoomScale, double anchorX);
    void click(Lane lane, double viewX);
    void previewTrim(double deltaSeconds);
    void previewZoomPanTrim(double deltaSeconds);
    void commitDrag();
    void clearDrafts();
    void updateHoverMark(double seconds);
    void endHoverMarks();
    void skim(const std::optional<double>& seconds);
    void setCursorShape(Qt::CursorShape shape);
    void setHoveredClip(const std::optional<UUID>& clipID);
    void updateRateMenu();

    Project project_;
    std::map<URL, CMTime> assetDurations_;
    SharedList<TimelineZoomPanClip> zoomPanClips_;
    CMTime currentTime_ = kCMTimeZero;
    CMTime duration_ = kCMTimeZero;
    bool isPlaying_ = false;
    float playbackRate_ = 1;
    bool canDeleteClip_ = false;
    bool canDeleteZoomPanClip_ = false;
    std::optional<UUID> selectedClipID_;
    std::optional<UUID> selectedZoomPanClipID_;

    double viewWidth_ = 0;
    double zoomScale_ = 1;
    double pinchOriginZoom_ = 1;  ///< when the present pinch began
    bool isPinching_ = false;
    double scrollX_ = 0;
    double followWindowStartX_ = 0;
    bool isCutMode_ = false;
    int deleteKeyFocusRequestID_ = 0;
    std::optional<TimelineTrimDraft> trimDraft_;
    std::optional<TimelineZoomPanTrimDraft> zoomPanTrimDraft_;
    std::optional<TimelineZoomPanMoveDraft> zoomPanMoveDraft_;
    std::optional<double> hoveredCutTime_;
    std::optional<double> lastScrubbedSeconds_;
    std::optional<double> addHoverSeconds_;
    std::optional<UUID> hoveredClipID_;
    Lane hoveredLane_ = Lane::Primary;
    std::optional<Press> press_;
    Qt::CursorShape cursorShape_ = Qt::ArrowCursor;

    TimelineLayout layout_;
    std::vector<TimelineSpan> primarySpans_;
    std::vector<TimelineSpan> zoomPanSpans_;
    std::shared_ptr<FilmStripCache> filmStrips_;
    std::shared_ptr<WaveformCache> waveforms_;
    MenuModel rateMenu_;
    std::unique_ptr<TimelineBlockListModel> primaryBlocks_;
    std::unique_ptr<TimelineBlockListModel> zoomPanBlocks_;
};

}  // namespace varnelle
