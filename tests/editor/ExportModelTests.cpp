#include "editor/ExportModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <QSignalSpy>
#include <QTest>
#include <fstream>

#include "app/LaunchedAppTest.h"
#include "editor/RecordedProject.h"
#include "support/ViewFixture.h"

// Written by Qt's type registrar.
void qml_register_types_Varnelle_Editor();

namespace varnelle {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Page = ExportModel::Page;

std::vector<std::string> column(const QVariantList& rows, const char* name) {
    std::vector<std::string> texts;
    for (const QVariant& row : rows) texts.push_back(row.toMap()[name].toString().toStdString());
    return texts;
}

/// Files can't grow beyond a size, as on a disk that is full.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
    decltype(SIG_IGN) handler_ = signal(SIGXFSZ, SIG_IGN);
};

class ExportModelTest : public test::LaunchedAppTest {
protected:
    void SetUp() override {
        qputenv("HOME", directory.file("home").string().c_str());
        launches();
        model = std::make_unique<ExportModel>(*app);
    }
    void TearDown() override {
        EXPECT_TRUE(eventually([&] { return model->page() != Page::Rendering; }));
        model.reset();
        LaunchedAppTest::TearDown();
        qputenv("HOME", home_);
    }
    void opens(const Project& project) {
        app->beginProject(project);
        app->showExportView();
    }
    std::unique_ptr<ExportModel> model;

private:
    const QByteArray home_ = qgetenv("HOME");
};

TEST_F(ExportModelTest, OffersWhatTheRecordingAllows) {
    EXPECT_EQ(model->totalDuration(), "00:00");
    EXPECT_EQ(column(model->technicalRows(), "value")[1], "Original Resolution");
    Project project = test::projectIn(directory.url(), 75.9);
    project.recordingSession.renderSize = {3840, 2160};
    project.recordingSession.frameRate = 50;
    opens(project);
    EXPECT_EQ(model->totalDuration(), "01:15");
    EXPECT_THAT(column(model->technicalRows(), "title"),
                ElementsAre("Format", "Resolution", "Frame Rate", "Codec"));
    EXPECT_THAT(column(model->technicalRows(), "value"),
                ElementsAre("MP4", "3840 × 2160 (Original Resolution)", "60 fps", "HEVC (H.265)"));
    EXPECT_THAT(column(model->presets(), "title"),
                ElementsAre("Original", "1440p (2560×1440)", "1080p (1920×1080)", "720p (1280×720)"));
    EXPECT_THAT(column(model->presets(), "subtitle"),
                ElementsAre("2160p Quality", "1440p Quality", "1080p Quality", "720p Quality"));
    EXPECT_THAT(column(model->presets(), "symbol"), ElementsAre("sparkles", "display", "tv", "rectangle.hd"));
    EXPECT_THAT(column(model->presets(), "isSelected"), ElementsAre("true", "false", "false", "false"));
    model->selectPreset(2);
    model->selectPreset(7);
    EXPECT_THAT(column(model->presets(), "isSelected"), ElementsAre("false", "false", "true", "false"));
    EXPECT_EQ(column(model->technicalRows(), "value")[1], "1920 × 1080 (High Definition)");
    EXPECT_EQ(model->finalizingText(), "Finalizing 1080p (1920×1080) Delivery");
}

TEST_F(ExportModelTest, EachVisitStartsAnew) {
    opens(test::projectIn(directory.url(), 2));
    EXPECT_EQ(model->filename().toStdString(), app->exportFilename());
    model->setFilename("  a/b:c.MOV ");
    EXPECT_THAT(model->destination().toStdString(), HasSubstr("/a-b-c.mp4"));
    model->setFilename("   ");
    EXPECT_THAT(model->destination().toStdString(), HasSubstr("/Varnelle_20"));
    model->toggleAudio();
    model->selectPreset(1);
    EXPECT_FALSE(model->includeAudio());
    model->backToEditor();
    EXPECT_EQ(app->mode(), AppMode::editing);
    app->showExportView();
    EXPECT_TRUE(model->includeAudio());
    EXPECT_EQ(column(model->presets(), "isSelected")[0], "true");
    EXPECT_EQ(model->filename().toStdString(), app->exportFilename());
}

TEST_F(ExportModelTest, RendersToASuccessPage) {
    opens(test::recordProject(directory.url(), 30));
    model->setFilename("shown");
    QSignalSpy pages(model.get(), &ExportModel::pageChanged);
    model->start();
    EXPECT_EQ(model->page(), Page::Rendering);
    EXPECT_EQ(model->percentage(), "0%");
    ASSERT_TRUE(eventually([&] { return model->page() == Page::Done; }));
    EXPECT_EQ(model->percentage(), "100%");
    EXPECT_THAT(model->exportedPath().toStdString(), HasSubstr("/shown.mp4"));
    EXPECT_TRUE(std::filesystem::exists(model->exportedPath().toStdString()));
    QSignalSpy folders(model.get(), &ExportModel::folderWanted);
    model->showInFolder();
    EXPECT_EQ(folders[0][0].toUrl().toLocalFile().toStdString(),
              std::filesystem::path(model->exportedPath().toStdString()).parent_path().string());
    model->backToEditor();
    EXPECT_EQ(model->page(), Page::Configure);
    EXPECT_EQ(app->mode(), AppMode::editing);
}

TEST_F(ExportModelTest, CancelledAndFailedExportsComeBackWithAText) {
    opens(test::recordProject(directory.url(), 60));
    model->setFilename("cancelled");
    model->start();
    model->cancel();
    EXPECT_TRUE(model->isCancelling());
    EXPECT_EQ(model->page(), Page::Rendering) << "until it has ended";
    ASSERT_TRUE(eventually([&] { return model->page() == Page::Configure; }));
    EXPECT_FALSE(model->errorText().isEmpty());
    EXPECT_FALSE(std::filesystem::exists(model->destination().toStdString()));

    std::filesystem::create_directories(model->destination().toStdString() + "/in the way");
    model->start();
    EXPECT_TRUE(model->errorText().isEmpty());
    ASSERT_TRUE(eventually([&] { return model->page() == Page::Configure; }));
    EXPECT_THAT(model->errorText().toStdString(), HasSubstr("cancelled.mp4"));
}

TEST_F(ExportModelTest, AFolderThatGoesAndAFullDiskAreSaid) {
    const Project project = test::recordProject(directory.url(), 150);
    opens(project);
    model->setFilename("lost");
    const std::filesystem::path folder =
        std::filesystem::path(model->destination().toStdString()).parent_path();
    model->start();
    ASSERT_TRUE(
        eventually([&] { return std::filesystem::exists(folder) && !std::filesystem::is_empty(folder); }));
    const auto isIn = [&](Page page) {
        return QTest::qWaitFor([&] { return model->page() == page; }, 60'000);
    };
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
            return model->page() == Page::Configure;
        },
        60'000));
    EXPECT_THAT(model->errorText().toStdString(), HasSubstr("lost.mp4"));
    EXPECT_EQ(app->currentProject(), project);

    {
        const FullDisk full(8'000);
        model->start();
        EXPECT_TRUE(model->errorText().isEmpty());
        ASSERT_TRUE(isIn(Page::Configure));
    }
    EXPECT_THAT(model->errorText().toStdString(), HasSubstr("lost.mp4"));
    EXPECT_EQ(app->currentProject(), project);
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << "nothing is left of it";
    model->start();
    EXPECT_TRUE(isIn(Page::Done));
}

TEST_F(ExportModelTest, WhatTheKeyboardReachesIsInSight) {
    opens(test::projectIn(directory.url(), 2));
    test::ShownView view("Varnelle/Editor", "ExportView", {{"model", QVariant::fromValue(model.get())}},
                         {900, 420}, &qml_register_types_Varnelle_Editor);
    const auto isInSight = [&](const QQuickItem& item) {
        const double top = item.mapToScene({0, 0}).y();
        return top >= 0 && top + item.height() <= view.window.height();
    };
    ASSERT_FALSE(isInSight(view.item("renderButton"))) << "there is something to scroll";
    for (int i = 0; i < 20 && view.focused() != "renderButton"; ++i) {
        view.press(Qt::Key_Tab);
        ASSERT_NE(view.window.activeFocusItem(), nullptr);
        EXPECT_TRUE(isInSight(*view.window.activeFocusItem())) << view.focused().toStdString();
    }
    EXPECT_EQ(view.focused(), "renderButton");
    view.item("backButton").forceActiveFocus();
    EXPECT_TRUE(isInSight(view.item("backButton")));
}

TEST(ExportTimeLeftTest, IsToldOnceItCanBeKnown) {
    struct Case {
        double elapsed, progress;
        const char* text;
    };
    for (const Case& one :
         {Case{1, 0.5, ""}, Case{10, 0.01, ""}, Case{10, 0.5, "About 10 seconds left"},
          Case{10, 0.45, "About 15 seconds left"}, Case{30, 0.9, "A few seconds left"},
          Case{60, 0.4, "About 2 min left"}, Case{3600, 0.3, "About 2 h 20 min left"}, Case{10, 1, ""}})
        EXPECT_EQ(timeLeftText(one.elapsed, one.progress), one.text);
}

}  // namespace
}  // namespace varnelle
