#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <memory>

#include "app/AppState.h"
#include "app/FakePermissions.h"
#include "app/FakeUpdater.h"
#include "app/FakeWindows.h"
#include "app/ProjectOpenCoordinator.h"
#include "foundation/Error.h"
#include "recording/FakeDesktop.h"
#include "support/MemoryDefaults.h"
#include "support/TemporaryDirectory.h"
#include "tasks/Await.h"

namespace varnelle::test {

/// The state of a program, on a desktop and with windows that the test plays.
class LaunchedAppTest : public testing::Test {
protected:
    /// Ends what is being recorded: what is under way when the program is taken down never ends.
    void TearDown() override {
        if (!app) return;
        const auto state = [this] { return app->recordingFlow().recordingState(); };
        EXPECT_TRUE(eventually([&] { return state() != RecordingState::preparing; }));
        if (state() == RecordingState::recording) {
            EXPECT_TRUE(eventually([&] { return app->mode() == AppMode::recording; }));
            app->stopRecording();
        }
        EXPECT_TRUE(eventually([&] { return state() == RecordingState::idle; }));
        // A start rests for 50 ms before it calls itself live, though the recording may have ended by then.
        const QDeadlineTimer rest(100);
        (void)eventually([&] { return rest.hasExpired(); });
    }

    void launches() {
        app =
            std::make_unique<AppState>(windows, desktop, makeCamera, permissions, updater, defaults, opener,
                                       AppState::Directories{directory.file("home"), directory.file("tmp")});
        QCoreApplication::sendPostedEvents();
        refreshes();
    }
    void refreshes() { await(app->refreshCaptureSources()); }
    [[nodiscard]] CaptureSources& sources() { return app->captureSources(); }

    /// Runs the event loop until the condition holds; false after ten seconds.
    template <typename Condition>
    static bool eventually(Condition condition) {
        const QDeadlineTimer deadline(10'000);
        while (!condition()) {
            if (deadline.hasExpired()) return false;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        }
        return true;
    }

    const TemporaryDirectory directory;
    FakeWindows windows;
    FakeDesktop desktop;
    CameraFactory makeCamera = [](const auto&) -> std::shared_ptr<CameraFeed> {
        throw Error("There is no camera.");
    };
    FakePermissions permissions;
    FakeUpdater updater;
    MemoryDefaults defaults;
    ProjectOpenCoordinator opener;
    std::unique_ptr<AppState> app;
};

}  // namespace varnelle::test
