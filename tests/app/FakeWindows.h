#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/AppWindows.h"

namespace varnelle::test {

/// What is on the screen, and a user who answers alerts when the test says so.
class FakeWindows final : public AppWindows {
public:
    void showDockBar() override { isDockBarShown = true; }
    std::optional<std::string> dockBarScreenName() const override { return screenName; }
    void hideDockBar() override { isDockBarShown = false; }
    void closeSelectionPanels() override { ++selectionPanelCloses; }
    void showRecordingPreview() override { isRecordingPreviewShown = true; }
    void hideRecordingPreview() override { isRecordingPreviewShown = false; }
    void fadeOutRecordingUI(std::chrono::milliseconds, std::function<void()> onEnd) override {
        ++fades;
        onEnd();
    }
    void becomeAccessory() override { isAccessory = true; }
    void becomeRegular() override { isAccessory = false; }
    void showMainWindow() override { isMainWindowShown = true; }
    void hideMainWindow() override { isMainWindowShown = false; }
    void showPermissionsWindow() override { isPermissionsWindowShown = true; }
    void closePermissionsWindow() override { isPermissionsWindowShown = false; }
    void activate() override { ++activations; }
    void ask(const ProjectAlert& question, std::function<void(ProjectAlertAnswer)> onAnswer) override {
        ++alertCount;
        alert = question;
        onAnswer_ = std::move(onAnswer);
    }
    void showError(const std::string& message) override { errors.push_back(message); }
    void chooseProject() override { ++projectChoices; }
    void checkForUpdates() override {}
    bool canCheckForUpdates() const override { return false; }
    void chooseExportDirectory(const URL&, std::function<void(const std::optional<URL>&)> onChoice) override {
        ++exportDirectoryQuestions;
        onExportDirectory_ = std::move(onChoice);
    }
    void requestQuit() override { isQuitRequested = true; }
    void replyToApplicationShouldTerminate(bool shouldTerminate) override {
        terminationReply = shouldTerminate;
    }

    void answer(ProjectAlertAnswer answer) {
        alert.reset();
        std::exchange(onAnswer_, nullptr)(answer);
    }
    void answerExportDirectory(const std::optional<URL>& folder) {
        std::exchange(onExportDirectory_, nullptr)(folder);
    }

    std::optional<std::string> screenName;  ///< where the dock bar is
    bool isDockBarShown = false;
    bool isMainWindowShown = false;
    bool isPermissionsWindowShown = false;
    bool isRecordingPreviewShown = false;
    bool isAccessory = false;
    int fades = 0;
    int selectionPanelCloses = 0;
    int activations = 0;
    int alertCount = 0;
    int projectChoices = 0;
    std::optional<ProjectAlert> alert;  ///< the one on the screen
    std::vector<std::string> errors;
    int exportDirectoryQuestions = 0;
    bool isQuitRequested = false;
    std::optional<bool> terminationReply;

private:
    std::function<void(ProjectAlertAnswer)> onAnswer_;
    std::function<void(const std::optional<URL>&)> onExportDirectory_;
};

}  // namespace varnelle::test
