#include "capture_ui/CapturePanels.h"

#include <QEasingCurve>
#include <QGuiApplication>
#include <QPixmap>
#include <QQuickItem>
#include <QTimer>
#include <QVariantAnimation>
#include <algorithm>
#include <utility>

#include "capture_ui/CameraPreviewItem.h"
#include "capture_ui/InterfaceScreens.h"
#include "capture_ui/PanelPlacement.h"

namespace varnelle {
namespace {

constexpr std::chrono::seconds kPointerTime{6};
constexpr std::chrono::milliseconds kPointerFade{800};

CGSize sizeOf(const QQuickView& view) {
    const QSize size = view.size();
    return {static_cast<double>(size.width()), static_cast<double>(size.height())};
}

const char* viewOf(SourceOverlay overlay) {
    switch (overlay) {
        case SourceOverlay::displayHighlight:
            return "DisplayHighlightView";
        case SourceOverlay::windowSelection:
            return "WindowSelectionView";
        case SourceOverlay::areaSelection:
            return "AreaSelectionView";
    }
    return "";
}

/// What is recorded, in the interface's places; the screen if it isn't a part of it.
CGRect recordedRectOnScreen(const CaptureSources& sources, const CGRect& screenFrame) {
    const CGRect unknown;
    const CGRect recorded = recordedRect(sources, unknown);
    if (recorded == unknown) return screenFrame;
    return rectOf(interfaceRect(recorded, sources.availableDisplays()));
}

/// Slow at both ends, as windows fade.
QEasingCurve easeInEaseOut() {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment({0.42, 0}, {0.58, 1}, {1, 1});
    return curve;
}

double cornerRadiusRatio(const CameraBubbleLayout& layout) {
    switch (layout.maskType) {
        case OverlayMaskType::circle:
            return 0.5;
        case OverlayMaskType::square:
            return 0;
        case OverlayMaskType::roundedRectangle:
            return layout.cornerRadiusRatio;
    }
    return 0;
}

}  // namespace

CapturePanels::CapturePanels(QQmlEngine& engine, AppState& app, AppWindows& windows,
                             DesktopPlatform& platform, std::shared_ptr<CameraPreviewHub> cameras)
    : engine_(engine),
      app_(app),
      platform_(platform),
      cameras_(std::move(cameras)),
      management_(platform.makeWindowManagement()),
      dockBarModel_(app, windows),
      overlays_(app),
      startModel_(app),
      areaModel_(app.captureSources()),
      displayModel_(app.captureSources(),
                    [](const ShareableDisplay& display) { return interfaceScreen(display); }),
      windowModel_(app.captureSources(), platform),
      indicatorModel_(app),
      noticeModel_(app, windows, platform.recordingObstacle()),
      dockPointerBackdrop_(platform),
      overlayBackdrop_(platform),
      stopShortcut_(platform) {
    connect(&overlays_, &SourceOverlays::currentChanged, this, &CapturePanels::syncOverlay);
    connect(&app, &AppState::modeChanged, this, &CapturePanels::syncCameraPreview);
    connect(&app, &AppState::cameraBubbleLayoutChanged, this, &CapturePanels::syncCameraPreview);
    connect(&app.setupCameraPreview(), &SetupCameraPreview::cameraChanged, this,
            &CapturePanels::syncCameraPreview);
    connect(&app.recordingFlow(), &RecordingFlow::recordingStateChanged, this,
            &CapturePanels::recordingStateChanged);
    connect(&app.recordingFlow(), &RecordingFlow::isRecordingMenuBarVisibleChanged, this, [this] {
        if (app_.recordingFlow().isRecordingMenuBarVisible()) showCapsule();
    });
    connect(&stopShortcut_, &StopShortcut::pressed, &indicatorModel_, &RecordingIndicatorModel::tap);
    connect(&noticeModel_, &SetupNoticeModel::changed, this, &CapturePanels::syncNotice);
    connect(qApp, &QGuiApplication::screenAdded, this, &CapturePanels::followScreen);
    for (QScreen* screen : QGuiApplication::screens()) followScreen(screen);
    connect(qApp, &QGuiApplication::screenRemoved, this, &CapturePanels::screensChanged);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &CapturePanels::screensChanged);
}

CapturePanels::~CapturePanels() = default;

std::unique_ptr<PanelWindow> CapturePanels::makePanel(const char* view, const QVariantMap& properties,
                                                      PanelWindow::Size size, PanelBehaviour behaviour,
                                                      PanelWindow::Clicks clicks) {
    const QUrl content(QString("qrc:/qt/qml/Varnelle/CaptureUi/%1.qml").arg(view));
    return std::make_unique<PanelWindow>(engine_, *management_, content, properties, size, behaviour, clicks);
}

QScreen* CapturePanels::panelScreen() const {
    const auto display = displayOfPanels(app_.captureSources());
    QScreen* screen = display ? screenOf(*display) : nullptr;
    return screen != nullptr ? screen : QGuiApplication::primaryScreen();
}

// The dock bar.

void CapturePanels::showDockBar() {
    if (platform_.recordingObstacle()) {
        // The card that says so stands in the bar's place.
        syncNotice();
        return;
    }
    if (!dockBarPanel_) {
        dockBarPanel_ = makePanel("DockBarView", {{"model", QVariant::fromValue(&dockBarModel_)}},
                                  PanelWindow::Size::followsContent, {.level = PanelLevel::floating});
        connect(dockBarPanel_.get(), &QWindow::screenChanged, this, &CapturePanels::dockBarMoved);
        connect(dockBarPanel_.get(), &QWindow::activeChanged, this, [this] {
            if (dockBarPanel_ && !dockBarPanel_->isActive()) dockBarPanel_->setTakesKeyboard(false);
        });
        connect(dockBarPanel_.get(), &QWindow::widthChanged, this, [this] {
            // Labels change with the devices; the bar's middle stays where it is.
            const int grown = dockBarPanel_->width() - dockBarWidth_;
            dockBarWidth_ = dockBarPanel_->width();
            dockBarPanel_->setX(dockBarPanel_->x() - grown / 2);
        });
        dockBarPanel_->setTitle("Varnelle Dock");
        QTimer::singleShot(0, this, &CapturePanels::makePanelsAhead);
    }
    if (dockBarPanel_->isVisible()) return;
    placeDockBar();
    dockBarPanel_->show();
    syncOverlay();
    syncCameraPreview();
    noticeModel_.offerRecovery();
    syncNotice();
}

void CapturePanels::hideDockBar() {
    dockPointerPanel_.reset();
    if (noticePanel_) noticePanel_->hide();
    if (dockBarPanel_) dockBarPanel_->hide();
}

std::optional<std::string> CapturePanels::dockBarScreenName() const {
    if (!dockBarPanel_ || !dockBarPanel_->isVisible() || dockBarPanel_->screen() == nullptr) {
        return std::nullopt;
    }
    return dockBarPanel_->screen()->name().toStdString();
}

void CapturePanels::activateDockBar() {
    // The card has the more urgent question, or stands in the bar's place.
    for (PanelWindow* panel : {noticePanel_.get(), dockBarPanel_.get()}) {
        if (panel == nullptr || !panel->isVisible()) continue;
        panel->setTakesKeyboard(true);
        panel->requestActivate();
        return;
    }
}

void CapturePanels::placeDockBar() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) return;
    dockBarWidth_ = dockBarPanel_->width();
    dockBarPanel_->placeAt(rounded(dockBarFrame(placeOf(*screen), sizeOf(*dockBarPanel_))).topLeft());
}

void CapturePanels::dockBarMoved() {
    if (dockBarPanel_ && dockBarPanel_->isVisible()) dockBarModel_.dockBarScreenChanged();
}

void CapturePanels::followScreen(QScreen* screen) {
    connect(screen, &QScreen::availableGeometryChanged, this, &CapturePanels::screensChanged);
    screensChanged();
}

void CapturePanels::screensChanged() {
    if (dockBarPanel_ && dockBarPanel_->isVisible()) placeDockBar();
    if (capsulePanel_ && capsulePanel_->isVisible()) showCapsule();
    syncNotice();
    syncOverlay();
}

void CapturePanels::showDockPointer() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    const bool isBarThere = dockBarPanel_ && dockBarPanel_->isVisible();
    if (dockPointerPanel_ || screen == nullptr || !isBarThere) return;
    dockPointerPanel_ = makePanel("DockPointerView", {}, PanelWindow::Size::followsContent,
                                  {.level = PanelLevel::floating}, PanelWindow::Clicks::passedThrough);
    CGRect frame = dockPointerFrame(placeOf(*screen), sizeOf(*dockPointerPanel_));
    // The card that asks something stays readable.
    if (noticePanel_ && noticePanel_->isVisible())
        frame.origin.y = std::min(frame.origin.y, noticePanel_->y() - frame.height());
    dockPointerPanel_->placeAt(rounded(frame).topLeft());
    if (management_->isCompositing()) {
        presentDockPointer();
        return;
    }
    dockPointerBackdrop_.take(rounded(frame), [this](const QImage& picture) {
        if (!dockPointerPanel_) return;
        dockPointerPanel_->setBackdrop(picture);
        presentDockPointer();
    });
}

void CapturePanels::presentDockPointer() {
    dockPointerPanel_->show();
    QTimer::singleShot(kPointerTime, dockPointerPanel_.get(), [this] {
        auto* fade = new QVariantAnimation(dockPointerPanel_.get());
        fade->setStartValue(1.0);
        fade->setEndValue(0.0);
        fade->setDuration(static_cast<int>(kPointerFade.count()));
        connect(fade, &QVariantAnimation::valueChanged, dockPointerPanel_->rootObject(),
                [root = dockPointerPanel_->rootObject()](const QVariant& value) {
                    root->setOpacity(value.toDouble());
                });
        connect(fade, &QVariantAnimation::finished, this,
                [this] { dockPointerPanel_.release()->deleteLater(); });
        fade->start();
    });
}

void CapturePanels::syncNotice() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!noticeModel_.isShown() || screen == nullptr) {
        // One of its own buttons may have brought this about.
        if (noticePanel_) {
            noticePanel_->hide();
            noticePanel_.release()->deleteLater();
            activateDockBar();
        }
        return;
    }
    if (!noticePanel_) {
        noticePanel_ = makePanel("SetupNoticeView", {{"model", QVariant::fromValue(&noticeModel_)}},
                                 PanelWindow::Size::followsContent, {.level = PanelLevel::floating});
        noticePanel_->setTitle("Varnelle Notice");
        connect(noticePanel_.get(), &QWindow::activeChanged, noticePanel_.get(),
                [panel = noticePanel_.get()] {
                    if (!panel->isActive()) panel->setTakesKeyboard(false);
                });
    }
    noticePanel_->placeAt(rounded(noticeFrame(placeOf(*screen), sizeOf(*noticePanel_))).topLeft());
    noticePanel_->show();
}

// The overlay of the chosen source.

PanelWindow& CapturePanels::panelOf(SourceOverlay overlay) {
    auto& panel = overlayPanels_.at(static_cast<std::size_t>(overlay));
    if (panel) return *panel;
    const QVariantMap properties{{"startModel", QVariant::fromValue(&startModel_)},
                                 {"model", QVariant::fromValue(&modelOf(overlay))}};
    panel = makePanel(viewOf(overlay), properties, PanelWindow::Size::isSetFromOutside,
                      {.level = PanelLevel::overlay});
    panel->setTitle("Varnelle Source");
    return *panel;
}

QObject& CapturePanels::modelOf(SourceOverlay overlay) {
    switch (overlay) {
        case SourceOverlay::displayHighlight:
            return displayModel_;
        case SourceOverlay::windowSelection:
            return windowModel_;
        case SourceOverlay::areaSelection:
            break;
    }
    return areaModel_;
}

PanelWindow& CapturePanels::capsulePanel() {
    if (!capsulePanel_) {
        capsulePanel_ = makePanel("RecordingMenuBarView", {{"model", QVariant::fromValue(&indicatorModel_)}},
                                  PanelWindow::Size::followsContent, {.level = PanelLevel::statusBar});
        capsulePanel_->setTitle("Varnelle Recording");
    }
    return *capsulePanel_;
}

/// One in each turn, as making one takes some milliseconds.
void CapturePanels::makePanelsAhead() {
    for (const SourceOverlay overlay :
         {SourceOverlay::displayHighlight, SourceOverlay::windowSelection, SourceOverlay::areaSelection}) {
        if (overlayPanels_.at(static_cast<std::size_t>(overlay))) continue;
        panelOf(overlay);
        QTimer::singleShot(0, this, &CapturePanels::makePanelsAhead);
        return;
    }
    capsulePanel();
}

void CapturePanels::syncOverlay() {
    const auto& wanted = overlays_.current();
    if (!wanted || !dockBarPanel_ || !dockBarPanel_->isVisible()) {
        closeSelectionPanels();
        return;
    }
    const QRect frame = interfaceRect(wanted->frame, app_.captureSources().availableDisplays());
    PanelWindow& panel = panelOf(wanted->overlay);
    if (shownOverlay_ == wanted->overlay && panel.geometry() == frame) return;
    if (shownOverlay_ != wanted->overlay) closeSelectionPanels();
    dockPointerPanel_.reset();  // the user has found the bar
    panel.placeAt(frame);
    shownOverlay_ = wanted->overlay;
    if (management_->isCompositing()) {
        showOverlay();
        return;
    }
    overlayBackdrop_.take(frame, [this](const QImage& picture) {
        panelOf(*shownOverlay_).setBackdrop(picture);
        showOverlay();
    });
}

void CapturePanels::showOverlay() {
    PanelWindow& panel = panelOf(*shownOverlay_);
    panel.show();
    dockBarPanel_->rootObject()->setProperty("overlay", QVariant::fromValue(panel.rootObject()));
    panel.orderBelow(*dockBarPanel_);
}

void CapturePanels::closeSelectionPanels() {
    if (!shownOverlay_) return;
    overlayBackdrop_.cancel();
    dockBarPanel_->rootObject()->setProperty("overlay", QVariant::fromValue<QQuickItem*>(nullptr));
    panelOf(*shownOverlay_).hide();
    shownOverlay_.reset();
}

// The camera's picture.

bool CapturePanels::wantsCameraPreview() const {
    const CaptureSources& sources = app_.captureSources();
    if (!sources.isCameraEnabled()) return false;
    if (isRecordingUIShown_) return app_.recordingFlow().hasCamera();
    const bool isSettingUp =
        app_.mode() == AppMode::setup &&
        (app_.isDockBarVisible() || app_.recordingFlow().recordingState() == RecordingState::preparing);
    return isSettingUp &&
           (app_.setupCameraPreview().camera() != nullptr ||
            (recordingPreviewPanel_ && app_.recordingFlow().recordingState() != RecordingState::idle));
}

void CapturePanels::syncCameraPreview() {
    if (!wantsCameraPreview()) {
        if (recordingPreviewPanel_) recordingPreviewPanel_->hide();
        return;
    }
    const QScreen* screen = panelScreen();
    const std::optional<ScreenPlace> place = screen ? std::optional(placeOf(*screen)) : std::nullopt;
    const CameraBubbleLayout& layout = app_.cameraBubbleLayout();
    if (!recordingPreviewPanel_) {
        recordingPreviewPanel_ = makePanel("CameraPreviewView", {}, PanelWindow::Size::isSetFromOutside,
                                           {.level = PanelLevel::floating});
        recordingPreviewPanel_->setTitle("Varnelle Camera");
        const CGRect screenFrame = place ? place->frame : CGRect{};
        const CGRect recorded = recordedRectOnScreen(app_.captureSources(), screenFrame);
        recordingPreviewPanel_->placeAt(rounded(cameraPreviewFrame(recorded, place, layout)));
    } else {
        const double side = cameraPreviewSide(place, layout);
        recordingPreviewPanel_->placeAt(rounded(withSide(rectOf(recordingPreviewPanel_->geometry()), side)));
    }
    QQuickItem* root = recordingPreviewPanel_->rootObject();
    root->setProperty("cornerRadiusRatio", cornerRadiusRatio(layout));
    root->setProperty("isMirrored", layout.isMirrored);
    root->setOpacity(1);
    if (recordingPreviewPanel_->isVisible()) return;
    // It may be another camera's turn.
    root->findChild<CameraPreviewItem*>()->setHub(cameras_);
    recordingPreviewPanel_->show();
    recordingPreviewPanel_->raise();
}

// While a recording runs.

void CapturePanels::showRecordingPreview() {
    isRecordingUIShown_ = true;
    syncCameraPreview();
}

void CapturePanels::hideRecordingPreview() {
    isRecordingUIShown_ = false;
    recordingPreviewPanel_.reset();
}

void CapturePanels::showCapsule() {
    PanelWindow& capsule = capsulePanel();
    if (const QScreen* screen = panelScreen()) {
        const CGRect frame = capsuleFrame(placeOf(*screen));
        const QSize grown = (capsule.size() - rounded(frame).size()) / 2;
        capsule.placeAt(rounded(frame).topLeft() - QPoint(grown.width(), grown.height()));
    }
    capsule.rootObject()->setOpacity(1);
    capsule.show();
}

void CapturePanels::recordingStateChanged() {
    const RecordingState state = app_.recordingFlow().recordingState();
    stopShortcut_.setActive(state == RecordingState::recording);
    if (state == RecordingState::idle && capsulePanel_) capsulePanel_->hide();
    syncCameraPreview();
}

void CapturePanels::fadeOutRecordingUI(std::chrono::milliseconds duration, std::function<void()> onEnd) {
    auto* fade = new QVariantAnimation(this);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    fade->setEasingCurve(easeInEaseOut());
    fade->setDuration(static_cast<int>(duration.count()));
    connect(fade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        if (recordingPreviewPanel_) recordingPreviewPanel_->rootObject()->setOpacity(value.toDouble());
        if (capsulePanel_) capsulePanel_->rootObject()->setOpacity(value.toDouble());
    });
    connect(fade, &QVariantAnimation::finished, this, [this, onEnd = std::move(onEnd)] {
        if (capsulePanel_) capsulePanel_->hide();
        onEnd();
    });
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

}  // namespace varnelle
