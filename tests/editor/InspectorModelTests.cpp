#include "editor/InspectorModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "editor/FakeLookEditing.h"
#include "support/SampleProject.h"

namespace varnelle {
namespace {

using testing::ElementsAre;

class InspectorModelTest : public testing::Test {
protected:
    InspectorModelTest() {
        editing.changed = [this] { model.lookHasChanged(); };
    }
    static InspectorSlider& slider(const QVariantList& rows, const QString& title) {
        for (const QVariant& row : rows) {
            if (row.value<InspectorSlider*>()->title() == title) return *row.value<InspectorSlider*>();
        }
        throw std::runtime_error("no row " + title.toStdString());
    }
    static InspectorToggle& toggle(const QVariantList& rows, int index) {
        return *rows[index].value<InspectorToggle*>();
    }

    test::FakeLookEditing editing;
    InspectorModel model{editing};
};

TEST_F(InspectorModelTest, SlidersSetTheirFieldWithinTheirRange) {
    using Look = OverlayConfiguration;
    struct Row {
        QVariantList rows;
        const char* title;
        double low, high, reset;
        std::function<double(const Look&)> field;
        double value;
        const char* text;
    };
    const QVariantList& background = model.backgroundSliders();
    const QVariantList& camera = model.cameraSliders();
    for (const Row& row : {
             Row{model.cursorSliders(), "Cursor Size", 1, 10, 3.2,
                 [](const Look& l) { return l.cursor.size; }, 4.25, "4.2x"},
             Row{background, "Padding", 0, 220, 72, [](const Look& l) { return l.canvasPadding; }, 99.6,
                 "100 px"},
             Row{background, "Roundness", 0, 80, 22, [](const Look& l) { return l.canvasCornerRadius; }, 30,
                 "30 px"},
             Row{background, "Shadow", 0, 0.8, 0.28, [](const Look& l) { return l.canvasShadowOpacity; }, 0.5,
                 "50%"},
             Row{background, "Shadow Softness", 6, 60, 26, [](const Look& l) { return l.canvasShadowRadius; },
                 8, "8 px"},
             Row{camera, "Size", 0.65, 2.4, 1, [](const Look& l) { return l.scale; }, 1.5, "150%"},
             Row{camera, "Roundness", 0.08, 0.5, 0.22, [](const Look& l) { return l.cornerRadiusRatio; },
                 0.31, "31%"},
             Row{camera, "Shadow", 0, 0.8, 0.38, [](const Look& l) { return l.overlayShadowOpacity; }, 0.1,
                 "10%"},
             Row{camera, "Shadow Softness", 6, 60, 28, [](const Look& l) { return l.overlayShadowRadius; },
                 40, "40 px"},
         }) {
        SCOPED_TRACE(row.title);
        InspectorSlider& shown = slider(row.rows, row.title);
        EXPECT_EQ(shown.from(), row.low);
        EXPECT_EQ(shown.to(), row.high);
        editing.steps.clear();
        shown.drag(row.high + 1);
        EXPECT_EQ(row.field(editing.current), row.high);
        shown.drag(row.value);
        shown.endDrag();
        EXPECT_EQ(row.field(editing.current), row.value);
        EXPECT_EQ(shown.valueText(), row.text);
        EXPECT_FALSE(shown.isAtResetValue());
        EXPECT_THAT(editing.steps, ElementsAre("begin", "preview", "preview", "commit", "end"));
        shown.endDrag();
        shown.reset();
        EXPECT_EQ(row.field(editing.current), row.reset);
        EXPECT_TRUE(shown.isAtResetValue());
        EXPECT_EQ(editing.steps.size(), 6U) << "one commit and no preview";
    }
}

TEST_F(InspectorModelTest, SwitchesSetTheirField) {
    const auto& look = editing.current;
    const std::vector<std::pair<InspectorToggle*, const bool*>> switches{
        {&toggle(model.cursorToggles(), 0), &look.cursor.showsCursor},
        {&toggle(model.cursorToggles(), 1), &look.cursor.zoomAndPanDisabled},
        {&toggle(model.cameraToggles(), 0), &look.showsCamera},
        {&toggle(model.cameraToggles(), 1), &look.isMirrored}};
    for (const auto& [row, field] : switches) {
        const bool before = *field;
        EXPECT_EQ(row->isOn(), before);
        row->toggle();
        EXPECT_EQ(*field, !before) << row->title().toStdString();
        EXPECT_EQ(row->isOn(), !before);
    }
    EXPECT_THAT(editing.steps, ElementsAre("commit", "commit", "commit", "commit"));
    editing.current.position = CGPoint{0.5, 0.5};
    EXPECT_TRUE(model.hasPosition());
    model.resetPosition();
    EXPECT_FALSE(look.position);
}

TEST_F(InspectorModelTest, WallpapersAreChosenByTheirCategory) {
    WallpaperGridModel& grid = *model.wallpapers();
    const auto name = [&](int row) {
        return grid.data(grid.index(row), WallpaperGridModel::NameRole).toString();
    };
    const auto chosen = [&] {
        std::vector<std::string> names;
        for (int row = 0; row < grid.count(); ++row) {
            if (grid.data(grid.index(row), WallpaperGridModel::IsChosenRole).toBool())
                names.push_back(name(row).toStdString());
        }
        return names;
    };
    model.lookHasChanged();
    grid.showCategoryOfLook();
    EXPECT_EQ(grid.activeCategory(), WallpaperGridModel::Category::Images);
    EXPECT_THAT(chosen(), ElementsAre("Sequoia Blue"));
    editing.current.wallpaperPath.clear();
    model.lookHasChanged();
    EXPECT_THAT(chosen(), ElementsAre("Sequoia Blue")) << "the default";

    grid.setActiveCategory(WallpaperGridModel::Category::Gradients);
    EXPECT_THAT(chosen(), ElementsAre());
    editing.current.canvasBackgroundStyle = CanvasBackgroundStyle::none;
    grid.choose(1);
    EXPECT_TRUE(editing.current.wallpaperPath.starts_with("procedural://gradient/"));
    EXPECT_EQ(editing.current.canvasBackgroundStyle, CanvasBackgroundStyle::macOSWallpaper);
    EXPECT_THAT(chosen(), ElementsAre(name(1).toStdString()));
    grid.setActiveCategory(WallpaperGridModel::Category::Images);
    grid.showCategoryOfLook();
    EXPECT_EQ(grid.activeCategory(), WallpaperGridModel::Category::Gradients);

    QSignalSpy made(&grid, &QAbstractItemModel::dataChanged);
    const auto isMade = [&](int row) {
        return !grid.data(grid.index(row), WallpaperGridModel::PictureRole).value<QImage>().isNull();
    };
    EXPECT_FALSE(isMade(0));
    grid.loadPictures();
    while (!isMade(grid.count() - 1)) ASSERT_TRUE(made.wait(20'000));
    EXPECT_EQ(grid.data(grid.index(0), WallpaperGridModel::PictureRole).value<QImage>().size(),
              QSize(76, 76));
}

TEST_F(InspectorModelTest, SaysWhatWasRecorded) {
    const URL directory(std::filesystem::path("/nowhere"));
    Project project = test::projectIn(directory, 10);
    struct Case {
        std::vector<RecordedAudioSource> sources;
        const char *note, *system, *microphone;
    };
    const char* noSystem = "No system audio track was recorded in this session.";
    const char* noMicrophone = "No microphone track was recorded in this session.";
    const char* system = "Keep captured Mac audio in the video.";
    const char* microphone = "Keep microphone narration in the video.";
    using Source = RecordedAudioSource;
    for (const Case& one : {
             Case{{}, "No audio sources are available for this recording.", noSystem, noMicrophone},
             Case{{Source::system}, "System sound is available for this recording.", system, noMicrophone},
             Case{{Source::microphone},
                  "Microphone audio is available for this recording.",
                  noSystem,
                  microphone},
             Case{{Source::system, Source::microphone},
                  "Both system sound and microphone audio are available. Turning either switch off removes "
                  "that "
                  "source from the final video.",
                  system,
                  microphone},
         }) {
        project.recordingSession.availableAudioSources = one.sources;
        model.setProject(project);
        EXPECT_EQ(model.audioNote(), one.note);
        EXPECT_EQ(model.systemSoundDescription(), one.system);
        EXPECT_EQ(model.microphoneDescription(), one.microphone);
    }
    EXPECT_FALSE(model.hasCursorData());
    EXPECT_FALSE(model.hasCamera());
    project.recordingSession.cursorRecordingURL = directory.appending("cursor.json");
    project.recordingSession.cameraRecordingURL = directory.appending("camera.mov");
    model.setProject(project);
    EXPECT_TRUE(model.hasCursorData());
    EXPECT_TRUE(model.hasCamera());
}

}  // namespace
}  // namespace varnelle
