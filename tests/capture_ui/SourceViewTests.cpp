#include <QSignalSpy>

#include "CaptureUiTest.h"
#include "CaptureView.h"
#include "capture_ui/AreaSelectionModel.h"
#include "capture_ui/DisplayHighlightModel.h"
#include "capture_ui/RecordingIndicatorModel.h"
#include "capture_ui/StartRecordingModel.h"
#include "capture_ui/WindowSelectionModel.h"
#include "foundation/HostClock.h"
#include "recording/SyntheticMedia.h"

namespace varnelle {
namespace {

/// The views over the chosen source. A recording that is started stays on its way, since the screen delivers
/// nothing.
class SourceViewTest : public test::CaptureUiTest {
protected:
    SourceViewTest() {
        desktop.windows = {
            test::windowOf(5, "Editor", "Notes for the talk — part one", {{50, 60}, {700, 500}}),
            test::windowOf(6, "Terminal", "Log", {{100, 150}, {220, 160}})};
        desktop.windowIcons[5] = icon(64);
        launches();
        sources().setCameraEnabled(false);
        sources().setSystemAudioEnabled(false);
        start = std::make_unique<StartRecordingModel>(*app);
    }
    static WindowIcon icon(int size) {
        WindowIcon result{size, size, {}};
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const bool isInside =
                    (2 * x - size) * (2 * x - size) + (2 * y - size) * (2 * y - size) < size * size;
                result.pixels.push_back(isInside ? 0xff20a060U + static_cast<std::uint32_t>(2 * y) : 0U);
            }
        }
        return result;
    }
    void shows(const QString& view, std::unique_ptr<QObject> model, QSize size) {
        viewModel = std::move(model);
        shown =
            std::make_unique<test::CaptureView>(view,
                                                QVariantMap{{"model", QVariant::fromValue(viewModel.get())},
                                                            {"startModel", QVariant::fromValue(start.get())}},
                                                size);
    }
    void TearDown() override {
        // A recording on its way needs the desktop until it has ended.
        const auto isOnItsWay = [this] {
            if (isPreparing())
                desktop.deliver(ScreenStream::OutputType::screen, test::screenSample(hostTimeNow()));
            return isPreparing();
        };
        EXPECT_TRUE(eventually([&] { return !isOnItsWay(); }));
        CaptureUiTest::TearDown();
    }
    [[nodiscard]] bool isPreparing() const {
        return app->recordingFlow().recordingState() == RecordingState::preparing;
    }
    std::unique_ptr<StartRecordingModel> start;
    std::unique_ptr<QObject> viewModel;
    std::unique_ptr<test::CaptureView> shown;
};

TEST_F(SourceViewTest, AnAreaIsDrawnWithThePointer) {
    shows("AreaSelectionView", std::make_unique<AreaSelectionModel>(sources()), {1000, 800});
    QQuickItem& selection = shown->item("selection");
    QQuickItem& button = shown->item("startButton");
    EXPECT_FALSE(selection.isVisible());
    EXPECT_FALSE(button.isVisible());
    QTest::mousePress(&shown->window, Qt::LeftButton, {}, {200, 150});
    QTest::mouseMove(&shown->window, {210, 160});
    QTest::mouseMove(&shown->window, {215, 165});
    EXPECT_TRUE(selection.isVisible());
    EXPECT_FALSE(button.isEnabled()) << "too small";
    EXPECT_EQ(selection.opacity(), 0.6);
    QTest::mouseMove(&shown->window, {800, 650});
    QTest::mouseRelease(&shown->window, Qt::LeftButton, {}, {800, 650});
    EXPECT_EQ(QRectF(selection.position(), selection.size()), QRectF(200, 150, 600, 500));
    EXPECT_EQ(sources().selectedAreaRect(), (CGRect{{200, 150}, {600, 500}}));
    EXPECT_EQ(selection.opacity(), 1);
    EXPECT_EQ(test::ShownView::middleOf(button), QPoint(500, 400));
    shown->pictureAtRest("area");

    shown->press(Qt::Key_Right, Qt::ControlModifier);
    shown->press(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(QRectF(selection.position(), selection.size()), QRectF(210, 150, 600, 499));
    sources().setRecordingType(RecordingType::area);
    shown->click(button);
    EXPECT_TRUE(isPreparing()) << "the press was the button's, not the area's";
    EXPECT_EQ(sources().selectedAreaRect()->width(), 600);
}

TEST_F(SourceViewTest, ADisplayIsStartedOnce) {
    const auto screenOf = [](const ShareableDisplay&) {
        return ScreenDescription{"Fine Monitor 27", {1000, 800}, 60};
    };
    shows("DisplayHighlightView", std::make_unique<DisplayHighlightModel>(sources(), screenOf), {1000, 800});
    QSignalSpy states(&app->recordingFlow(), &RecordingFlow::recordingStateChanged);
    EXPECT_FALSE(shown->item("progress").isVisible());
    ASSERT_TRUE(QTest::qWaitFor([&] { return shown->item("card").property("arrival") == 1.0; }));
    shown->pictureAtRest("display");
    shown->press(Qt::Key_Return);
    EXPECT_TRUE(isPreparing());
    EXPECT_TRUE(shown->item("progress").isVisible());
    shown->pictureAtRest("display-preparing");
    shown->click(shown->item("startButton"));
    EXPECT_EQ(states.count(), 1);
}

TEST_F(SourceViewTest, AWindowsCardFitsIntoTheWindow) {
    sources().selectWindow(5);
    auto owned = std::make_unique<WindowSelectionModel>(sources(), desktop);
    const WindowSelectionModel& model = *owned;
    shows("WindowSelectionView", std::move(owned), {700, 500});
    QQuickItem& card = shown->item("card");
    EXPECT_TRUE(eventually([&] { return model.hasIcon(); }));
    const auto isAtRest = [&] { return card.property("arrival") == 1.0; };
    ASSERT_TRUE(QTest::qWaitFor(isAtRest));
    EXPECT_EQ(card.scale(), 1);
    shown->pictureAtRest("window");

    sources().selectWindow(6);
    shown->window.resize(220, 160);
    ASSERT_TRUE(QTest::qWaitFor([&] { return shown->root().width() == 220 && isAtRest(); }));
    const QRectF place = card.mapRectToScene(QRectF(0, 0, card.width(), card.height()));
    EXPECT_TRUE(QRectF(0, 0, 220, 160).contains(place));
    shown->pictureAtRest("window-small");
    shown->click(shown->item("startButton"));
    EXPECT_TRUE(isPreparing());

    // What prepares the recording reads the windows too, on another thread.
    ASSERT_TRUE(eventually([&] { return desktop.isStreamRunning(); }));
    desktop.windows.clear();
    refreshes();
    EXPECT_FALSE(card.isVisible());
}

class CapsuleViewTest : public test::CaptureUiTest {};

TEST_F(CapsuleViewTest, APressAnywhereEndsTheRecording) {
    desktop.displays = {test::FakeDesktop::display(128, 128)};
    desktop.onStart = [this] {
        desktop.deliver(ScreenStream::OutputType::screen, test::screenSample(hostTimeNow()));
    };
    launches();
    sources().setCameraEnabled(false);
    sources().setSystemAudioEnabled(false);
    RecordingIndicatorModel model(*app);
    test::CaptureView capsule("RecordingMenuBarView", {{"model", QVariant::fromValue(&model)}});
    const auto clicks = [&] { QTest::mouseClick(&capsule.window, Qt::LeftButton, {}, {60, 20}); };
    EXPECT_EQ(capsule.root().size(), QSizeF(240, 40));
    capsule.picture("capsule-idle");
    clicks();
    EXPECT_EQ(app->recordingFlow().recordingState(), RecordingState::idle);
    app->startRecording();
    ASSERT_TRUE(eventually([&] { return model.isRecording(); }));
    capsule.pictureAtRest("capsule");
    clicks();
    EXPECT_TRUE(eventually([&] { return app->mode() == AppMode::editing; }));
}

TEST(DockPointerView, LeavesRoomForTheBarBelow) {
    test::CaptureView view("DockPointerView", {});
    view.pictureAtRest("pointer");
    const QImage picture = view.window.grabWindow();
    const double scale = picture.devicePixelRatio();
    // The bar's upper edge lies 48 points above the lower edge of the pointer's window.
    // At its very edges a picture of a fractional scale has pixels that nothing was drawn into.
    const QImage covered = picture.copy(0, static_cast<int>(picture.height() - 48 * scale),
                                        picture.width() - 2, static_cast<int>(48 * scale) - 2);
    for (int y = 0; y < covered.height(); ++y) {
        for (int x = 0; x < covered.width(); ++x) {
            ASSERT_EQ(covered.pixelColor(x, y), test::ShownView::kDesktop) << x << ", " << y;
        }
    }
}

}  // namespace
}  // namespace varnelle
