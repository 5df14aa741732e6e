#include <gmock/gmock.h>

#include <QAccessible>
#include <QWheelEvent>

#include "TimelineTest.h"
#include "support/MediaFixtures.h"
#include "support/SoundFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/ViewFixture.h"

// Written by Qt's type registrar.
void qml_register_types_Varnelle_Editor();

namespace varnelle {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Two seconds of blue and then red, with a tone from the third second on.
void writeMovie(const URL& url) {
    AssetWriter writer(url, FileType::quickTimeMovie, {});
    AssetWriterInput* video = writer.addVideoInput(test::smallVideo(320, 180));
    AssetWriterInput* audio = writer.addAudioInput(AudioSettings{});
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    for (int i = 0; i < 40; ++i) {
        const VideoFrame picture =
            i < 20 ? test::plainPicture(320, 180, 220, 20, 20) : test::plainPicture(320, 180, 20, 20, 220);
        ASSERT_TRUE(test::appendWaiting(*video, test::videoSample(picture, CMTime::make(i, 10))));
        test::appendSound(*audio, 48'000, 2, 0.1 * i, 0.1 * (i + 1), test::tone(440, i < 20 ? 0 : 0.9));
    }
    ASSERT_EQ(test::finishAndWait(writer), TransferStatus::completed);
}

class TimelineViewTest : public test::TimelineTest {
protected:
    static constexpr int kRulerY = 60;
    static constexpr int kPrimaryY = 102;
    static constexpr int kZoomPanY = 158;

    TimelineViewTest() { view.window.setColor(QColor("#16171b")); }
    void movesTo(double x, int y) { QTest::mouseMove(&view.window, QPointF(x, y).toPoint()); }
    void clicks(double x, int y) {
        QTest::mouseClick(&view.window, Qt::LeftButton, {}, QPointF(x, y).toPoint());
    }
    void drags(double from, double to, int y) {
        QTest::mousePress(&view.window, Qt::LeftButton, {}, QPointF(from, y).toPoint());
        movesTo(to, y);
        QTest::mouseRelease(&view.window, Qt::LeftButton, {}, QPointF(to, y).toPoint());
    }
    void turnsWheel(double x, int y, int degrees, Qt::KeyboardModifiers modifiers = {}) {
        const QPointF place(x, y);
        QWheelEvent event(place, view.window.mapToGlobal(place), {}, {0, 8 * degrees}, Qt::NoButton,
                          modifiers, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&view.window, &event);
    }
    /// All but the skimming that goes along with pointing.
    std::vector<std::string> changesAsked() {
        auto all = asked();
        std::erase_if(all, [](const std::string& line) { return line.starts_with("scrub"); });
        return all;
    }
    std::string accessibleName(QQuickItem& item) {
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&item);
        if (interface == nullptr) return "unknown";
        return interface->text(QAccessible::Name).toStdString() +
               (interface->state().selected ? ", selected" : "");
    }
    std::vector<std::string> clipNames(const QString& track) {
        std::vector<std::string> names;
        QAccessibleInterface* lane = QAccessible::queryAccessibleInterface(&view.item(track));
        for (int i = 0; i < lane->childCount(); ++i) {
            QAccessibleInterface* child = lane->child(i);
            if (child->role() != QAccessible::ListItem) continue;
            names.push_back(child->text(QAccessible::Name).toStdString() + ": " +
                            child->text(QAccessible::Description).toStdString() +
                            (child->state().selected ? ", selected" : ""));
        }
        return names;
    }

    test::ShownView view{"Varnelle/Editor",
                         "TimelineView",
                         {{"model", QVariant::fromValue(&timeline)}},
                         {1048, 204},
                         &qml_register_types_Varnelle_Editor};
};

TEST_F(TimelineViewTest, PressesInTheLanesAreToldToTheModel) {
    clicks(x(12), kPrimaryY);
    clicks(x(31), kZoomPanY);
    clicks(x(20.4), kRulerY);
    drags(x(20) - 3, x(18) - 3, kPrimaryY);
    drags(x(7), x(8), kZoomPanY);
    drags(x(30) + 3, x(28) + 3, kZoomPanY);
    EXPECT_THAT(changesAsked(),
                ElementsAre("seek 7200", "seek 18600", "seek 12000", "trim A 3000 10800 42000",
                            "move zoom A 3600 30000", "trim zoom B 16800 3600 30000"));
}

TEST_F(TimelineViewTest, HoverMarksFollowThePointer) {
    movesTo(x(15), kPrimaryY);
    EXPECT_TRUE(view.item("ghostPlayhead").isVisible());
    EXPECT_EQ(view.item("ghostPlayhead").x(), x(15) - 6.5);
    EXPECT_FALSE(view.item("addButton").isVisible());
    movesTo(x(15), kZoomPanY);
    ASSERT_TRUE(view.item("addButton").isVisible());
    view.picture("timeline-hover");
    static_cast<void>(asked());
    view.click(view.item("addButton"));
    EXPECT_THAT(asked(), ElementsAre("add 9000"));
    view.click(view.item("cutButton"));
    movesTo(x(15), kPrimaryY);
    EXPECT_FALSE(view.item("ghostPlayhead").isVisible());
    EXPECT_EQ(view.item("cutIndicator").x(), x(15) - 11);
    view.picture("timeline-cut");
    movesTo(x(15), 20);
    EXPECT_FALSE(view.item("cutIndicator").isVisible());
}

TEST_F(TimelineViewTest, TheWheelScrollsAndWithAModifierZooms) {
    turnsWheel(x(25), kPrimaryY, 20, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(timeline.zoomScale(), 1.3);
    turnsWheel(x(25), kPrimaryY, 20, Qt::AltModifier);
    turnsWheel(x(25), kRulerY, 20, Qt::MetaModifier);
    EXPECT_DOUBLE_EQ(timeline.zoomScale(), 1.9);
    EXPECT_NEAR(timeline.viewX(25), x(25), 1e-9);
    turnsWheel(x(25), 20, 20, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(timeline.zoomScale(), 1.9) << "over the tools";
    const double before = timeline.scrollX();
    turnsWheel(x(25), kZoomPanY, -15);
    EXPECT_EQ(timeline.scrollX(), before + 60);
    EXPECT_DOUBLE_EQ(timeline.zoomScale(), 1.9);
}

TEST_F(TimelineViewTest, AFollowScrollComesToRest) {
    timeline.setZoomScale(3);
    timeline.setScrollX(0);
    timeline.setIsPlaying(true);
    timeline.setCurrentTime(timeFromSeconds(20));
    EXPECT_TRUE(QTest::qWaitFor([&] { return timeline.scrollX() == 1200 - 92; }));
    EXPECT_EQ(view.item("playhead").x(), 24 + 92 - 6.5);
}

TEST_F(TimelineViewTest, DeleteWorksOnceTheLanesWereUsedAndNeverWhileTyping) {
    struct Case {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        bool isTaken;
    };
    view.press(Qt::Key_Delete);
    EXPECT_THAT(asked(), IsEmpty());
    timeline.setSelectedClipID(clipA);
    clicks(x(12), kPrimaryY);
    static_cast<void>(asked());
    for (const Case& test :
         {Case{Qt::Key_Delete, {}, true}, Case{Qt::Key_Backspace, {}, true},
          Case{Qt::Key_Delete, Qt::ShiftModifier, false}, Case{Qt::Key_Backspace, Qt::ControlModifier, false},
          Case{Qt::Key_Backspace, Qt::AltModifier, false}, Case{Qt::Key_D, {}, false}}) {
        view.press(test.key, test.modifiers);
        EXPECT_EQ(asked().size(), test.isTaken ? 1U : 0U) << test.key;
    }
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Delete, {}, {}, true);
    QCoreApplication::sendEvent(&view.window, &held);
    EXPECT_THAT(asked(), IsEmpty());
    QKeyEvent withCapsLock(QEvent::KeyPress, Qt::Key_Delete, {}, 0, 0, 2);
    QCoreApplication::sendEvent(&view.window, &withCapsLock);
    EXPECT_THAT(asked(), IsEmpty());
    QQmlComponent component(view.window.engine());
    component.setData("import QtQuick\nTextInput { text: \"ab\" }", {});
    auto* field = qobject_cast<QQuickItem*>(component.create());
    field->setParentItem(&view.root());
    field->forceActiveFocus();
    view.press(Qt::Key_Backspace);
    EXPECT_THAT(asked(), IsEmpty());
    EXPECT_EQ(field->property("text").toString(), "a");
    delete field;
    timeline.setCanDeleteClip(false);
    timeline.setCanDeleteZoomPanClip(false);
    view.press(Qt::Key_Delete);
    EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(TimelineViewTest, TheKeyboardReachesEverything) {
    std::vector<std::string> stops;
    view.press(Qt::Key_Tab);
    while (stops.size() < 20 && (stops.empty() || view.focused().toStdString() != stops.front())) {
        stops.push_back(view.focused().toStdString());
        view.press(Qt::Key_Tab);
    }
    EXPECT_THAT(stops, ElementsAre("firstFrameButton", "playButton", "lastFrameButton", "rateButton",
                                   "cutButton", "deleteButton", "zoomSlider", "zoomInButton", "ruler",
                                   "primaryTrack", "zoomPanTrack"));
    view.item("ruler").forceActiveFocus();
    view.press(Qt::Key_Right, Qt::ShiftModifier);
    view.press(Qt::Key_End);
    view.item("primaryTrack").forceActiveFocus();
    view.picture("timeline-focus");
    view.press(Qt::Key_Right);  // the editor's
    view.press(Qt::Key_Down);
    view.press(Qt::Key_Down);
    view.item("zoomPanTrack").forceActiveFocus();
    view.press(Qt::Key_Down);
    view.press(Qt::Key_Right, Qt::ShiftModifier);
    view.press(Qt::Key_Delete);
    view.item("playButton").forceActiveFocus();
    view.press(Qt::Key_Space);
    EXPECT_THAT(asked(), ElementsAre("seek 600", "seek 30000", "seek 0", "seek 12000", "seek 3000",
                                     "move zoom A 3060 30000", "delete zoom", "toggle"));
    view.item("zoomSlider").forceActiveFocus();
    view.press(Qt::Key_Right);
    EXPECT_EQ(timeline.zoomScale(), 1.25);
}

TEST_F(TimelineViewTest, TellsAssistiveProgramsWhatItShows) {
    clicks(x(30), kPrimaryY);
    EXPECT_THAT(clipNames("primaryTrack"), ElementsAre("Clip 1: From 0:00.0, 0:20.0 long",
                                                       "Clip 2: From 0:20.0, 0:30.0 long, selected"));
    EXPECT_THAT(clipNames("zoomPanTrack"),
                ElementsAre("Zoom/Pan 1: From 0:05.0, 0:05.0 long", "Zoom/Pan 2: From 0:30.0, 0:04.0 long"));
    EXPECT_EQ(accessibleName(view.item("playButton")), "Play");
    timeline.setIsPlaying(true);
    EXPECT_EQ(accessibleName(view.item("playButton")), "Pause");
    EXPECT_EQ(accessibleName(view.item("firstFrameButton")), "First Frame");
    EXPECT_EQ(accessibleName(view.item("lastFrameButton")), "Last Frame");
    EXPECT_EQ(accessibleName(view.item("rateButton")), "Playback rate, 1x");
    EXPECT_EQ(accessibleName(view.item("primaryTrack")), "Clips, 2");
    timeline.setZoomScale(12);
    timeline.setScrollX(0);
    EXPECT_THAT(clipNames("primaryTrack"), ElementsAre("Clip 1: From 0:00.0, 0:20.0 long"));
    timeline.setScrollX(99999);
    EXPECT_THAT(clipNames("primaryTrack"), ElementsAre("Clip 2: From 0:20.0, 0:30.0 long, selected"));
    timeline.setScrollX(20 * 240 - 500);
    EXPECT_EQ(clipNames("primaryTrack").size(), 2U);
}

TEST_F(TimelineViewTest, ClipsShowTheirPicturesAndSound) {
    const test::TemporaryDirectory temporary;
    const URL movie = temporary.file("screen.mov");
    ASSERT_NO_FATAL_FAILURE(writeMovie(movie));
    const TimelineCacheDirectory directory(temporary.file("cache"));
    const auto filmStrips = std::make_shared<FilmStripCache>(directory);
    const auto waveforms = std::make_shared<WaveformCache>(directory);
    timeline.setCaches(filmStrips, waveforms);
    timeline.setAssetDurations({{movie, timeFromSeconds(4)}});
    timeline.setDuration(timeFromSeconds(4));
    setClips({{clipA, movie, test::rangeOfSeconds(0, 4), {}}});  // 250 points a second
    const auto colorAt = [&](double seconds, int y) {
        const QImage picture = view.window.grabWindow();
        const double scale = picture.devicePixelRatio();
        return picture.pixelColor(static_cast<int>((24 + 250 * seconds) * scale),
                                  static_cast<int>(y * scale));
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return colorAt(1, kPrimaryY - 10).blue() > 150; }, 20'000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return colorAt(3, kPrimaryY - 10).red() > 150; }, 20'000));
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return waveforms->waveform(movie) && waveforms->waveform(movie)->isComplete; }, 20'000));
    // Within three points there is one of the waveform's bars.
    const auto isLoud = [&](double seconds) {
        for (int x = 0; x < 3; ++x) {
            if (colorAt(seconds + x / 250.0, kPrimaryY + 12).green() > 150) return true;
        }
        return false;
    };
    EXPECT_TRUE(isLoud(3));
    EXPECT_FALSE(isLoud(1));
    view.picture("timeline-pictures");
}

TEST_F(TimelineViewTest, AnEmptyProjectAndANarrowWindowAreShownToo) {
    setClips({});
    timeline.setZoomPanClips({});
    timeline.setDuration(kCMTimeZero);
    view.window.resize(900, 204);
    ASSERT_TRUE(QTest::qWaitFor([&] { return timeline.viewWidth() == 900; }));
    movesTo(400, kPrimaryY);
    clicks(400, kPrimaryY);
    drags(300, 400, kZoomPanY);
    clicks(10, kRulerY);
    turnsWheel(400, kPrimaryY, -15);
    view.item("primaryTrack").forceActiveFocus();
    view.press(Qt::Key_Down);
    EXPECT_EQ(timeline.selectedClipID(), std::nullopt);
    view.picture("timeline-empty");
    const QQuickItem& last = view.item("zoomText");
    EXPECT_LE(last.mapToScene({last.width(), 0}).x(), 900 - 24);
}

TEST_F(TimelineViewTest, ToolsSayWhatTheyAreToWhoRestsOnThem) {
    const QQuickItem& button = view.item("cutButton");
    const auto showsTip = [&] { return button.property("showsTip").toBool(); };
    QTest::mouseMove(&view.window, test::ShownView::middleOf(button));
    EXPECT_FALSE(showsTip());
    EXPECT_TRUE(QTest::qWaitFor(showsTip));
    view.picture("timeline-tip");
    movesTo(x(15), kPrimaryY);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !showsTip(); }));
}

TEST_F(TimelineViewTest, TwoFingersOnAScreenZoom) {
    // The toolkit knows it until the program ends.
    static QPointingDevice* const screen = QTest::createTouchDevice();
    QTest::touchEvent(&view.window, screen).press(0, {500, kPrimaryY}).press(1, {600, kPrimaryY});
    for (int way = 10; way <= 150; way += 10) {
        QTest::touchEvent(&view.window, screen)
            .move(0, {500 - way, kPrimaryY})
            .move(1, {600 + way, kPrimaryY});
    }
    QTest::touchEvent(&view.window, screen).release(0, {350, kPrimaryY}).release(1, {750, kPrimaryY});
    const double zoom = timeline.zoomScale();
    EXPECT_GT(zoom, 1.5);
    EXPECT_THAT(changesAsked(), IsEmpty()) << "nothing was clicked";
    timeline.pinch(1.5, 500);
    EXPECT_DOUBLE_EQ(timeline.zoomScale(), 1.5 * zoom) << "the next one goes on from there";
}

TEST_F(TimelineViewTest, TwoFingersOnATouchPadZoom) {
    const QPointingDevice pad("pad", 1, QInputDevice::DeviceType::TouchPad,
                              QPointingDevice::PointerType::Finger, QInputDevice::Capability::Position, 2, 0);
    const auto gestures = [&](Qt::NativeGestureType type, double value) {
        const QPointF place(500, kZoomPanY);
        QNativeGestureEvent event(type, &pad, 2, place, place, view.window.mapToGlobal(place), value, {});
        QCoreApplication::sendEvent(&view.window, &event);
    };
    gestures(Qt::BeginNativeGesture, 0);
    for (int i = 0; i < 3; ++i) gestures(Qt::ZoomNativeGesture, 0.25);
    gestures(Qt::EndNativeGesture, 0);
    EXPECT_NEAR(timeline.zoomScale(), 1.25 * 1.25 * 1.25, 1e-6);
    gestures(Qt::BeginNativeGesture, 0);
    gestures(Qt::ZoomNativeGesture, -0.2);
    gestures(Qt::EndNativeGesture, 0);
    EXPECT_NEAR(timeline.zoomScale(), 1.25 * 1.25, 1e-6);
}

}  // namespace
}  // namespace varnelle
