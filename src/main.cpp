#include <QQmlEngine>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include "app/AppState.h"
#include "app/ProjectOpenCoordinator.h"
#include "capture_ui/CameraPreviewHub.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/LinuxPermissions.h"
#include "recording/CameraManager.h"
#include "shell/ApplicationService.h"
#include "shell/ProgramWindows.h"
#include "shell/SettingsDefaults.h"
#include "shell/StallLog.h"
#include "shell/TerminationSignals.h"
#include "ui/QmlModules.h"

void qml_register_types_Varnelle_CaptureUi();
void qml_register_types_Varnelle_Editor();
void qml_register_types_Varnelle_Shell();

namespace {

using namespace varnelle;

std::vector<URL> filesOf(int argc, char** argv) {
    std::vector<URL> files;
    for (int index = 1; index < argc; ++index) files.emplace_back(std::filesystem::absolute(argv[index]));
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    if (const auto obstacle = LinuxDesktop::displayObstacle()) {
        std::cerr << "varnelle: " << *obstacle << "\n";
        return EXIT_FAILURE;
    }
    // Panels are placed on the screen, which is something that only X11 lets a program do.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication::setApplicationName("Varnelle");
    QGuiApplication::setDesktopFileName("com.varnelle.Varnelle");
    QGuiApplication::setQuitOnLastWindowClosed(false);
    StallLoggingApplication application(argc, argv, qEnvironmentVariable("VARNELLE_STALL_LOG").toStdString());

    const std::vector<URL> files = filesOf(argc, argv);
    ApplicationService service(files);
    if (service.role() == ApplicationService::Role::second) return EXIT_SUCCESS;

    LinuxDesktop desktop;
    LinuxPermissions permissions;
    SettingsDefaults defaults;
    FeedlessUpdater updater;
    ProjectOpenCoordinator openCoordinator;
    const auto cameras = std::make_shared<CameraPreviewHub>();
    QQmlEngine engine;
    prepareQmlEngine(engine);
    keepQmlTypes(&qml_register_types_Varnelle_CaptureUi);
    keepQmlTypes(&qml_register_types_Varnelle_Editor);
    keepQmlTypes(&qml_register_types_Varnelle_Shell);
    ProgramWindows windows(engine, desktop, permissions, updater, defaults, openCoordinator, cameras);
    windows.onTerminate = [] { QGuiApplication::exit(); };
    AppState app(windows, desktop, cameras->watched(cameraManagerFactory(desktop)), permissions, updater,
                 defaults, openCoordinator, {});
    windows.attach(app);
    openCoordinator.open(files);
    service.setHandlers({[&app] { app.applicationShouldHandleReopen(); },
                         [&openCoordinator](const auto& urls) { openCoordinator.open(urls); }});
    const TerminationSignals termination([&windows] { windows.requestQuit(); });
    const int result = QGuiApplication::exec();
    // What is still to be done may take its time, and another start needn't wait for it.
    service.leave();
    windows.detach();
    return result;
}
