#include "capture_ui/SetupNoticeModel.h"

#include <QDateTime>
#include <QLocale>
#include <QPointer>
#include <algorithm>
#include <utility>

#include "app/DurationFormat.h"

namespace varnelle {

SetupNoticeModel::SetupNoticeModel(AppState& app, AppWindows& windows, std::optional<std::string> obstacle)
    : app_(app), windows_(windows), obstacle_(std::move(obstacle)) {
    connect(&app, &AppState::modeChanged, this, &SetupNoticeModel::changed);
    connect(&app.recordingFlow(), &RecordingFlow::recordingStateChanged, this,
            &SetupNoticeModel::recordingStateChanged);
}

bool SetupNoticeModel::isShown() const {
    const bool isSettingUp =
        app_.mode() == AppMode::setup && app_.recordingFlow().recordingState() == RecordingState::idle;
    return isSettingUp && (obstacle_ || !sessions_.empty());
}

QString SetupNoticeModel::title() const {
    if (obstacle_) return tr("Recording isn't possible here");
    if (isAskingForDeletion_) return tr("Delete this recording for good?");
    return tr("A recording wasn't finished");
}

QString SetupNoticeModel::text() const {
    if (obstacle_) return QString::fromStdString(*obstacle_);
    return sessions_.empty() ? QString() : recordingDescription(sessions_.back());
}

QString SetupNoticeModel::mainButton() const {
    if (obstacle_) return tr("Open Project…");
    return isAskingForDeletion_ ? tr("Delete") : tr("Recover");
}

QString SetupNoticeModel::otherButton() const {
    if (obstacle_) return tr("Quit");
    return isAskingForDeletion_ ? tr("Keep") : tr("Delete");
}

void SetupNoticeModel::offerRecovery() {
    if (std::exchange(hasOfferedRecovery_, true) || obstacle_) return;
    findSessions();
}

/// A recording that couldn't be ended has left its files.
void SetupNoticeModel::recordingStateChanged() {
    const RecordingState state = app_.recordingFlow().recordingState();
    const bool hasEnded = std::exchange(recordingState_, state) == RecordingState::stopping;
    if (hasEnded && app_.mode() == AppMode::setup && !obstacle_) findSessions();
    emit changed();
}

QCoro::Task<> SetupNoticeModel::findSessions() {
    const QPointer<SetupNoticeModel> self = this;
    const QCoro::Task<std::vector<RecoverableSession>> finding = app_.recoverableSessions();
    std::vector<RecoverableSession> found = co_await finding;
    if (!self) co_return;
    std::reverse(found.begin(), found.end());  // they come with the newest first
    const auto isDismissed = [this](const RecoverableSession& session) {
        return dismissed_.count(session.session.directoryURL) > 0;
    };
    found.erase(std::remove_if(found.begin(), found.end(), isDismissed), found.end());
    sessions_ = std::move(found);
    isAskingForDeletion_ = false;
    emit changed();
}

void SetupNoticeModel::pressMain() {
    if (obstacle_) {
        windows_.chooseProject();
    } else if (!sessions_.empty()) {
        const RecoverableSession session = sessions_.back();
        const bool isDeleting = isAskingForDeletion_;
        goOn();
        isDeleting ? app_.deleteRecoverableSession(session) : app_.recoverSession(session);
    }
}

void SetupNoticeModel::pressOther() {
    if (obstacle_) {
        windows_.requestQuit();
        return;
    }
    isAskingForDeletion_ = !isAskingForDeletion_;
    emit changed();
}

void SetupNoticeModel::dismiss() {
    if (sessions_.empty()) return;
    dismissed_.insert(sessions_.back().session.directoryURL);
    goOn();
}

void SetupNoticeModel::goOn() {
    sessions_.pop_back();
    isAskingForDeletion_ = false;
    emit changed();
}

QString recordingDescription(const RecoverableSession& session) {
    const QDateTime start = QDateTime::fromSecsSinceEpoch(session.session.createdAt.secondsSinceEpoch);
    return SetupNoticeModel::tr("%1 long, from %2")
        .arg(QString::fromStdString(menuBarDuration(session.duration.seconds())),
             QLocale().toString(start, QLocale::ShortFormat));
}

}  // namespace varnelle
