#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <thread>

#include "camera/CursorRecordingFile.h"
#include "editor/RecordedProject.h"
#include "end_to_end/ProgramUnderTest.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "model/ProjectPackage.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/LinuxPermissions.h"
#include "support/Telemetry.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using namespace test::key;
using test::AccessibleElement;
using test::Desktop;
using test::ProgramUnderTest;
using testing::IsEmpty;

constexpr int kFrameCount = 180;  // six seconds

/// The program with a package of a little recording: screen, camera, pointer, both kinds of sound.
class EditorTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (Desktop::obstacle()) return;
        desktop_ = std::make_unique<Desktop>();
        // Granted before, so that nothing lies over the editor.
        LinuxPermissions permissions(desktop_->server.displayName());
        permissions.requestAccessibilityTrust();
        ASSERT_TRUE(test::until([&] { return permissions.isAccessibilityTrusted(); }));
    }
    static void TearDownTestSuite() { desktop_.reset(); }

    void SetUp() override {
        if (const auto obstacle = Desktop::obstacle()) GTEST_SKIP() << *obstacle;
        program_ = std::make_unique<ProgramUnderTest>(*desktop_);
    }

    static URL makePackage(const URL& directory, bool hasTelemetry = true) {
        Project project = test::recordProject(directory, kFrameCount);
        RecordingSession& session = project.recordingSession;
        if (hasTelemetry) {
            session.cursorRecordingURL = directory.appending("cursor.json");
            CursorRecording cursor = test::pointerPath(6, [](double t) {
                return CGPoint{160 + 40 * std::cos(t), 90 + 30 * std::sin(t)};
            });
            cursor.captureRegion = {0, 0, 320, 180};
            writeCursorRecording(cursor, *session.cursorRecordingURL);
        }
        session.cameraRecordingURL = directory.appending("camera.mov");
        std::filesystem::copy_file(session.screenRecordingURL.path(), session.cameraRecordingURL->path());
        const OverlayConfiguration look = project.timeline.overlayConfiguration;
        const AudioConfiguration audio = project.timeline.audioConfiguration;
        Project whole = Project::make(session, CMTime::make(6, 1), look);
        whole.timeline.audioConfiguration = audio;
        whole.name = "Little";
        return writePackage({whole, {}, {}}, directory.appending("Little.varnelle"));
    }

    /// Starts the program with the package, and stops it from playing at its start.
    void opens(const URL& package, const std::vector<std::string>& environment = {}) {
        program().start({package.string()}, environment);
        ASSERT_TRUE(program().shows("Preview"));
        ASSERT_TRUE(program().hasKeyboard("Varnelle"));
        // Before it plays, the movie isn't loaded and no zoom proposed.
        ASSERT_TRUE(test::until([&] {
            const std::string at = playheadLabel().text();
            return !at.empty() && at != "Playhead, 0:00.00";
        }));
        // It may come to its end by itself in the meantime, and then the key starts it again.
        ASSERT_TRUE(test::until([&] {
            if (program().isShown("Play")) return true;
            keys().type(kSpace);
            std::this_thread::sleep_for(200ms);
            return false;
        }));
        keys().type(kHome);
        ASSERT_TRUE(program().shows("Playhead, 0:00.00"));
    }

    /// Zooms were proposed, so the project isn't what was saved, and the program asks.
    void endsWithoutSaving(const std::function<void()>& whileItAsks = [] {}) {
        program().sendSignal(SIGTERM);
        // The editor has a “Delete” too, so the question must be there.
        ASSERT_TRUE(program().hasKeyboard("Cancel"));
        whileItAsks();
        program().click("Delete");
        EXPECT_TRUE(program().hasEnded());
    }

    static Desktop& desktop() { return *desktop_; }
    static test::KeyRobot& keys() { return desktop_->keys; }
    [[nodiscard]] ProgramUnderTest& program() { return *program_; }
    [[nodiscard]] AccessibleElement shown(const std::string& name) { return program().element(name); }

    [[nodiscard]] int countIn(const std::string& lane) {
        const std::string text = test::AccessibleLabel(program().processID(), lane + ", ").text();
        return text.empty() ? 0 : std::stoi(text.substr(lane.size() + 2));
    }
    [[nodiscard]] int clipCount() { return countIn("Clips"); }
    [[nodiscard]] int zoomCount() { return countIn("Zoom/Pan"); }
    [[nodiscard]] bool becomes(const std::function<int()>& count, int expected) {
        return test::until([&] { return count() == expected; });
    }
    [[nodiscard]] bool hasClips(int count) {
        return becomes([&] { return clipCount(); }, count);
    }
    [[nodiscard]] bool hasZooms(int count) {
        return becomes([&] { return zoomCount(); }, count);
    }
    void drag(int fromX, int fromY, int byX, int byY) {
        desktop().drag(fromX, fromY, fromX + byX, fromY + byY);
    }
    void type(const std::string& text) {
        for (const char letter : text) keys().type(static_cast<unsigned char>(letter));
    }
    [[nodiscard]] bool isEnabled(const std::string& name) {
        const auto element = test::shownElement(program().processID(), name);
        return element && element->isFocusable;
    }
    /// Presses a chord more often than there are steps.
    void typeOften(std::uint32_t key, std::initializer_list<std::uint32_t> held) {
        for (int i = 0; i < 40; ++i) {
            keys().type(key, held);
            std::this_thread::sleep_for(20ms);
        }
    }
    [[nodiscard]] bool becomesDisabled(const std::string& name) {
        return test::until([&] { return !isEnabled(name); });
    }
    /// Seconds of the timeline at which the playhead stands; not a number if it can't be told.
    [[nodiscard]] static double secondsOf(const test::AccessibleLabel& playhead) {
        int minutes = 0;
        double seconds = 0;
        if (std::sscanf(playhead.text().c_str(), "Playhead, %d:%lf", &minutes, &seconds) != 2)
            return std::numeric_limits<double>::quiet_NaN();
        return 60 * minutes + seconds;
    }
    [[nodiscard]] test::AccessibleLabel playheadLabel() { return {program().processID(), "Playhead, "}; }
    [[nodiscard]] double playhead() { return secondsOf(playheadLabel()); }
    /// By two looks. What a look reads lies between its beginning and its end.
    [[nodiscard]] bool playsAsTimePasses() {
        using Clock = std::chrono::steady_clock;
        struct Look {
            Clock::time_point begin = Clock::now();
            double seconds = 0;
            Clock::time_point end;
        };
        const auto look = [label = playheadLabel()] {
            Look result;
            result.seconds = secondsOf(label);
            result.end = Clock::now();
            return result;
        };
        constexpr double end = kFrameCount / 30.0;
        Look first;
        Look last;
        const bool hasLooked = test::until([&] {
            keys().type(kHome);
            if (program().isShown("Play")) keys().type(kSpace);
            const auto deadline = Clock::now() + 12s;
            // From where it has begun to move, until shortly before it ends.
            const Look still = look();
            do {
                first = look();
            } while (first.seconds <= still.seconds && Clock::now() < deadline);
            do {
                last = look();
            } while (last.seconds < first.seconds + 4 && last.seconds < end && Clock::now() < deadline);
            return last.seconds >= first.seconds + 4 && last.seconds < end;
        });
        EXPECT_TRUE(hasLooked);
        const std::chrono::duration<double> least = last.begin - first.end;
        const std::chrono::duration<double> most = last.end - first.begin;
        const double played = last.seconds - first.seconds;
        constexpr double lag = 0.2;  // of what is shown, behind what is played
        return played >= least.count() - lag && played <= most.count() + lag;
    }
    [[nodiscard]] URL movies() { return program().home().appending("Videos"); }
    /// What the preview shows on the screen.
    [[nodiscard]] VideoFrame previewPicture() {
        const AccessibleElement preview = shown("Preview");
        LinuxDesktop platform(desktop().server.displayName());
        return *platform.pictureOfDesktop(
            {preview.x, preview.y, preview.x + preview.width, preview.y + preview.height});
    }

    /// Once the frame has come: three looks at it are the same.
    [[nodiscard]] VideoFrame restingPicture();
    /// Goes by keys alone.
    void stepTo(int frame) {
        keys().type(kHome);
        ASSERT_TRUE(program().shows("Playhead, 0:00.00"));
        for (int i = 0; i < frame; ++i) keys().type(kRight);
        char text[32];
        std::snprintf(text, sizeof text, "Playhead, 0:%05.2f", frame / 30.0);
        ASSERT_TRUE(program().shows(text));
    }

    std::unique_ptr<ProgramUnderTest> program_;
    const test::TemporaryDirectory recording_;

private:
    static inline std::unique_ptr<Desktop> desktop_;
};

/// A picture as the mean brightness, 0 to 1, of 64 by 36 fields.
std::vector<double> fieldsOf(const VideoFrame& frame) {
    constexpr int columns = 64;
    constexpr int rows = 36;
    const auto lightness = [&](int x, int y) {
        const std::uint8_t* row = frame.plane(0).data + y * frame.plane(0).bytesPerRow;
        if (frame.format() != PixelFormat::bgra) return (row[x] - 16) / 219.0;
        return (0.0722 * row[4 * x] + 0.7152 * row[4 * x + 1] + 0.2126 * row[4 * x + 2]) / 255;
    };
    std::vector<double> fields(std::size_t{columns} * rows);
    std::vector<int> counts(fields.size());
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            const auto field =
                static_cast<std::size_t>(y * rows / frame.height() * columns + x * columns / frame.width());
            fields[field] += lightness(x, y);
            ++counts[field];
        }
    }
    for (std::size_t i = 0; i < fields.size(); ++i) fields[i] /= counts[i];
    return fields;
}

double difference(const VideoFrame& one, const VideoFrame& other) {
    const std::vector<double> a = fieldsOf(one);
    const std::vector<double> b = fieldsOf(other);
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
    return sum / static_cast<double>(a.size());
}

VideoFrame EditorTest::restingPicture() {
    std::optional<VideoFrame> last;
    int sameLooks = 0;
    EXPECT_TRUE(test::until([&] {
        std::this_thread::sleep_for(150ms);
        VideoFrame now = previewPicture();
        const bool isSame = last && difference(*last, now) == 0;
        sameLooks = isSame ? sameLooks + 1 : 1;
        last = std::move(now);
        return sameLooks == 3;
    }));
    return *last;
}

TEST_F(EditorTest, EverythingIsDoneUndoneSavedAndReopened) {
    opens(makePackage(recording_.url()));
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    const AccessibleElement clip = shown("Clip 1");
    const int laneY = clip.midY();
    const int second = clip.width / 6;

    // It plays, and stops.
    program().click("Play");
    ASSERT_TRUE(program().showsNoMore("Playhead, 0:00.00"));
    keys().type(kSpace);
    ASSERT_TRUE(program().shows("Play"));
    // The last frame that was shown may be told after the button has changed.
    double stopped = 0;
    EXPECT_TRUE(test::until([&] {
        stopped = playhead();
        std::this_thread::sleep_for(300ms);
        return playhead() == stopped;
    }));
    EXPECT_LT(stopped, kFrameCount / 30.0) << "it went on to the end";

    // A scrub along the ruler shows what the keys show there.
    drag(clip.x + 5, clip.y - 15, 3 * second, 0);
    desktop().pointer.moveTo(5, 5);
    ASSERT_TRUE(test::until([&] { return std::abs(playhead() - 3) < 0.1; }));
    const int frame = static_cast<int>(playhead() * 30 + 0.25);
    const VideoFrame scrubbed = restingPicture();
    stepTo(frame - 15);
    const double otherMoment = difference(restingPicture(), scrubbed);
    ASSERT_GT(otherMoment, 0);
    for (int i = 0; i < 15; ++i) keys().type(kRight);
    EXPECT_TRUE(test::until([&] {
        return difference(restingPicture(), scrubbed) < std::min(0.003, otherMoment / 2);
    })) << "another moment differs by "
        << otherMoment;

    // A cut in the middle, and the second part a second shorter at its end.
    program().click("Cut");
    desktop().click(clip.x + 3 * second, laneY);
    ASSERT_TRUE(hasClips(2));
    program().click("Cut");
    desktop().click(clip.x + 4 * second, laneY);
    drag(clip.x + clip.width - 5, laneY, -second, 0);
    ASSERT_TRUE(test::until([&] { return shown("Clip 2").width < clip.width * 5 / 12; }));

    // Two zooms in the middle of nothing; one is moved and made longer, the other deleted with its key.
    while (zoomCount() > 0) {
        program().click("Zoom/Pan 1");
        const int count = zoomCount();
        keys().type(kDelete);
        ASSERT_TRUE(hasZooms(count - 1));
    }
    const int zoomY = laneY + 56;
    const auto add = [&](int x) {
        desktop().pointer.moveTo(x - 4, zoomY);
        desktop().pointer.moveTo(x, zoomY);
        ASSERT_TRUE(program().shows("Add Zoom/Pan"));
        desktop().click(x, zoomY);
    };
    add(clip.x + second / 4);
    ASSERT_TRUE(hasZooms(1));
    add(clip.x + 3 * second);
    ASSERT_TRUE(hasZooms(2));
    program().click("Zoom/Pan 1");
    keys().type(kDelete);
    ASSERT_TRUE(hasZooms(1));
    const int start = shown("Zoom/Pan 1").x;
    drag(shown("Zoom/Pan 1").midX(), zoomY, -second, 0);
    ASSERT_TRUE(test::until([&] { return std::abs(shown("Zoom/Pan 1").x - (start - second)) < 3; }));
    const AccessibleElement zoom = shown("Zoom/Pan 1");
    drag(zoom.x + zoom.width - 4, zoomY, second / 2, 0);
    ASSERT_TRUE(test::until([&] { return shown("Zoom/Pan 1").width > zoom.width + second / 3; }));

    // Every row of the inspector.
    const auto slides = [&](const std::string& name) {
        const AccessibleElement slider = shown(name);
        const std::string before = slider.description;
        desktop().click(slider.x + slider.width * 3 / 4, slider.midY());
        EXPECT_TRUE(test::until([&] { return shown(name).description != before; })) << name;
    };
    const auto toggles = [&](const std::string& name) {
        const bool before = shown(name).isChecked;
        program().click(name);
        EXPECT_TRUE(test::until([&] { return shown(name).isChecked != before; })) << name;
    };
    toggles("Show Cursor");
    toggles("Disable Zoom & Pan");
    slides("Cursor Size");
    program().click("Background");
    for (const char* name : {"Padding", "Roundness", "Shadow", "Shadow Softness"}) slides(name);
    program().click("Reset Shadow Softness");
    EXPECT_TRUE(becomesDisabled("Reset Shadow Softness"));
    program().click("Images");
    program().click("Farmvalley");
    program().click("Gradients");
    program().click("Berry Blast");
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    program().click("Camera");
    toggles("Mirror");
    for (const char* name : {"Size", "Roundness", "Shadow", "Shadow Softness"}) slides(name);
    program().click("Audio");
    toggles("Microphone");
    toggles("System Sound");

    // The bubble, by its handle.
    const AccessibleElement bubble = shown("Camera bubble");
    drag(bubble.midX(), bubble.midY(), 60, -40);
    ASSERT_TRUE(test::until([&] { return shown("Camera bubble").x > bubble.x + 40; }));
    program().click("Camera");
    toggles("Show Camera Overlay");

    // All of it back and forth.
    desktop().click(shown("Preview").x + 3, shown("Preview").y + 3);
    typeOften('z', {kControl});
    ASSERT_TRUE(becomesDisabled("Undo"));
    ASSERT_TRUE(hasClips(1));
    typeOften('z', {kControl, kShift});
    ASSERT_TRUE(becomesDisabled("Redo"));
    ASSERT_TRUE(hasClips(2));

    program().click("Project name");
    type("renamed");
    keys().type(kReturn);
    keys().type('s', {kControl});
    // At the first sight of the package, the program may still be saving.
    const URL package = program().projects().appending("renamed.varnelle");
    ASSERT_TRUE(test::until([&] { return package.exists(); }));
    program().sendSignal(SIGTERM);
    EXPECT_TRUE(program().hasEnded()) << "nothing is unsaved";
    const ProjectEditorState state = readPackage(package);
    const Timeline& timeline = state.currentProject.timeline;
    EXPECT_EQ(state.currentProject.videoTrack()->clips.size(), 2U);
    EXPECT_NEAR(clampedSeconds(state.currentProject.totalDuration()), 5, 0.1);
    ASSERT_EQ(timeline.zoomPanClips.size(), 1U);
    EXPECT_NEAR(timeline.zoomPanClips[0].timeRange.duration.seconds(), 2.5, 0.1);
    const OverlayConfiguration& look = timeline.overlayConfiguration;
    EXPECT_FALSE(look.cursor.showsCursor);
    EXPECT_TRUE(look.cursor.zoomAndPanDisabled);
    EXPECT_NEAR(look.cursor.size, 7.75, 0.4);
    const double share = (look.canvasPadding - 0) / 220;
    EXPECT_NEAR(share, 0.75, 0.05);
    EXPECT_NEAR(look.canvasCornerRadius, 80 * share, 1);
    EXPECT_NEAR(look.canvasShadowOpacity, 0.8 * share, 0.01);
    EXPECT_EQ(look.canvasShadowRadius, OverlayConfiguration{}.canvasShadowRadius) << "it was reset";
    EXPECT_NEAR(look.scale, 0.65 + 1.75 * share, 0.03);
    EXPECT_NEAR(look.cornerRadiusRatio, 0.08 + 0.42 * share, 0.01);
    EXPECT_NEAR(look.overlayShadowOpacity, 0.8 * share, 0.01);
    EXPECT_NEAR(look.overlayShadowRadius, 6 + 54 * share, 1);
    EXPECT_EQ(look.wallpaperPath, "procedural://gradient/berry");
    EXPECT_TRUE(std::any_of(state.undoStack.begin(), state.undoStack.end(), [](const Project& step) {
        return step.timeline.overlayConfiguration.wallpaperPath == "asset://wallpapers/farmvalley.jpg";
    }));
    EXPECT_FALSE(look.showsCamera);
    EXPECT_TRUE(look.isMirrored);
    EXPECT_TRUE(look.position);
    EXPECT_FALSE(timeline.audioConfiguration.includesMicrophone);
    EXPECT_FALSE(timeline.audioConfiguration.includesSystemSound);
    EXPECT_GE(state.undoStack.size(), 25U) << "each of them is a step";

    opens(package);
    EXPECT_TRUE(hasClips(2));
    EXPECT_TRUE(isEnabled("Undo")) << "the history is in the package";
}

TEST_F(EditorTest, PlaysAsTimePasses) {
    const URL package = makePackage(recording_.url());
    opens(package);
    EXPECT_TRUE(playsAsTimePasses());
    ASSERT_NO_FATAL_FAILURE(endsWithoutSaving());
    opens(package, {"PIPEWIRE_REMOTE=there-is-none"});
    EXPECT_TRUE(playsAsTimePasses());
}

TEST_F(EditorTest, NothingHoldsUpWhatIsDragged) {
    opens(makePackage(recording_.url()));
    const AccessibleElement clip = shown("Clip 1");
    const AccessibleElement zoom = shown("Zoom/Pan 1");
    const AccessibleElement slider = shown("Cursor Size");
    const std::size_t atStart = program().stalls().size();
    drag(clip.x + clip.width - 5, clip.midY(), -clip.width / 4, 0);
    ASSERT_TRUE(test::until([&] { return shown("Clip 1").description != clip.description; }));
    drag(zoom.midX(), zoom.midY(), 20, 0);
    ASSERT_TRUE(test::until([&] { return shown("Zoom/Pan 1").x != zoom.x; }));
    drag(slider.midX(), slider.midY(), slider.width / 3, 0);
    ASSERT_TRUE(test::until([&] { return shown("Cursor Size").description != slider.description; }));
    drag(clip.x + 10, clip.y - 15, clip.width / 2, 0);
    ASSERT_TRUE(program().showsNoMore("Playhead, 0:00.00"));
    program().expectNoStall(atStart);
}

TEST_F(EditorTest, WhatIsShownIsWhatIsExported) {
    opens(makePackage(recording_.url()));
    const std::vector<double> times{1, 2.5, 5};
    std::vector<VideoFrame> shownPictures;
    const AccessibleElement clip = shown("Clip 1");
    desktop().pointer.moveTo(5, 5);
    for (const double time : times) {
        stepTo(static_cast<int>(std::lround(time * 30)));
        shownPictures.push_back(restingPicture());
    }
    program().click("Export");
    program().click("Render Project");
    ASSERT_TRUE(program().shows("Export Success"));
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    const auto movie = std::make_shared<MediaAsset>(movies().appending("Little.mp4"));
    EXPECT_EQ(movie->tracks(MediaType::audio).size(), 1U);
    FrameSource source(movie, movie->tracks(MediaType::video).front());
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double shownDifference =
            difference(shownPictures[i], *source.frame(timeFromSeconds(times[i] + 0.001)));
        EXPECT_LT(shownDifference, 0.015) << "at " << times[i] << " s";
        EXPECT_GT(difference(shownPictures[i], *source.frame(timeFromSeconds(times[i] - 0.5))),
                  shownDifference)
            << "another moment is another picture";
    }
}

TEST_F(EditorTest, TheKeyboardAloneEditsAndExports) {
    opens(makePackage(recording_.url()));
    const auto tabTo = [&](const std::string& name) {
        for (int i = 0; i < 60; ++i) {
            const auto element = test::shownElement(program().processID(), name);
            if (element && element->isFocused) return true;
            keys().type(kTab);
            std::this_thread::sleep_for(60ms);
        }
        return false;
    };
    for (int i = 0; i < 30; ++i) keys().type(kRight);
    ASSERT_TRUE(program().shows("Playhead, 0:01.00"));
    ASSERT_TRUE(tabTo("Clips, 1"));
    keys().type(kReturn);
    ASSERT_TRUE(hasClips(2));
    ASSERT_TRUE(tabTo("Cursor Size"));
    const std::string size = shown("Cursor Size").description;
    keys().type(kRight);
    ASSERT_TRUE(test::until([&] { return shown("Cursor Size").description != size; }));
    ASSERT_TRUE(tabTo("Export"));
    keys().type(kSpace);
    ASSERT_TRUE(program().shows("Render Project"));
    keys().type(kReturn);
    ASSERT_TRUE(program().shows("Cancel Export Rendering"));
    keys().type(kSpace);
    ASSERT_TRUE(program().shows("Render Project"));
    EXPECT_FALSE(movies().appending("Little.mp4").exists());
    keys().type(kReturn);
    ASSERT_TRUE(program().shows("Export Success"));
    EXPECT_TRUE(movies().appending("Little.mp4").exists());
    ASSERT_TRUE(tabTo("Back to Editor"));
    keys().type(kSpace);
    ASSERT_TRUE(program().shows("Preview"));
}

TEST_F(EditorTest, WithoutSoundAndTelemetryItPlaysAndExportsAllTheSame) {
    opens(makePackage(recording_.url(), false), {"PIPEWIRE_REMOTE=there-is-none"});
    program().click("Play");
    ASSERT_TRUE(program().showsNoMore("Playhead, 0:00.00"));
    program().click("Export");
    program().click("Render Project");
    ASSERT_TRUE(program().shows("Export Success"));
    EXPECT_NEAR(MediaAsset(movies().appending("Little.mp4")).duration().seconds(), 6, 0.1);
}

TEST_F(EditorTest, AsksForAFolderWhereTheUsualOneTakesNoFiles) {
    // One that takes none from anybody, and in it one that does.
    std::ofstream(program().configuration().appending("user-dirs.dirs").path())
        << "XDG_VIDEOS_DIR=\"/proc/self\"\n";
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(program().home().path());
    opens(makePackage(recording_.url()));
    std::filesystem::current_path(before);
    program().click("Export");
    program().click("Render Project");
    program().click("Cancel");
    ASSERT_TRUE(program().shows("Please allow access to your Movies folder to export."));
    program().click("Render Project");
    ASSERT_TRUE(program().shows("Allow Access"));
    program().click("cwd");
    program().click("Allow Access");
    ASSERT_TRUE(program().shows("Export Success"));
    EXPECT_TRUE(program().home().appending("Little.mp4").exists());
}

TEST_F(EditorTest, WhatCantBeReadIsSaid) {
    const URL package = makePackage(recording_.url());
    for (const auto& entry : std::filesystem::recursive_directory_iterator(package.path())) {
        if (entry.path().filename().string().find("screen") != std::string::npos)
            std::ofstream(entry.path(), std::ios::trunc) << "no movie";
    }
    program().start({package.string()});
    ASSERT_TRUE(program().shows("Preview Unavailable"));
    program().sendSignal(SIGTERM);
    EXPECT_TRUE(program().hasEnded());
}

TEST_F(EditorTest, ClosingInTheMiddleOfPlayingDraggingAndExportingIsClean) {
    const URL package = makePackage(recording_.url());
    const auto ends = [&] {
        ASSERT_NO_FATAL_FAILURE(endsWithoutSaving());
        EXPECT_THAT(program().output(), testing::Not(testing::HasSubstr("critical")));
    };
    program().start({package.string()});
    ASSERT_TRUE(program().hasKeyboard("Varnelle"));
    ASSERT_TRUE(test::until([&] { return zoomCount() > 0; }));
    if (program().isShown("Play")) keys().type(kSpace);
    ends();

    opens(package);
    const AccessibleElement clip = shown("Clip 1");
    desktop().pointer.moveTo(clip.x + clip.width - 5, clip.midY());
    std::this_thread::sleep_for(30ms);
    desktop().pointer.setButton(1, true);
    desktop().pointer.moveTo(clip.x + clip.width - 100, clip.midY());
    std::this_thread::sleep_for(30ms);
    desktop().pointer.moveTo(clip.x + clip.width - 120, clip.midY());
    ASSERT_NO_FATAL_FAILURE(endsWithoutSaving([] { desktop().pointer.setButton(1, false); }));

    opens(package);
    program().click("Export");
    program().click("Render Project");
    ASSERT_TRUE(program().shows("Cancel Export Rendering"));
    ends();
    // It may have come to its end while the question was asked; half a movie there mustn't be.
    for (const auto& entry : std::filesystem::directory_iterator(movies().path())) {
        EXPECT_EQ(entry.path().filename(), "Little.mp4");
        EXPECT_NEAR(MediaAsset(URL(entry.path())).duration().seconds(), 6, 0.1);
    }
}

}  // namespace
}  // namespace varnelle
