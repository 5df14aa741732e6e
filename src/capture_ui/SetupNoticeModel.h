#pragma once

#include <QtQml/qqmlregistration.h>
#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/AppState.h"

namespace varnelle {

/// The quiet card above the dock bar: why nothing can be recorded here, or else the recordings that were
/// never ended or saved, one after the other. Main thread.
class SetupNoticeModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(bool isShown READ isShown NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(QString mainButton READ mainButton NOTIFY changed)
    Q_PROPERTY(QString otherButton READ otherButton NOTIFY changed)
    /// The main button removes something for ever.
    Q_PROPERTY(bool isDestructive READ isDestructive NOTIFY changed)
    Q_PROPERTY(bool canBeDismissed READ canBeDismissed NOTIFY changed)

public:
    /// `obstacle` says why nothing can be recorded. `app` and `windows` must outlive the object.
    SetupNoticeModel(AppState& app, AppWindows& windows, std::optional<std::string> obstacle);

    [[nodiscard]] bool isShown() const;
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString text() const;
    [[nodiscard]] QString mainButton() const;
    [[nodiscard]] QString otherButton() const;
    [[nodiscard]] bool isDestructive() const { return isAskingForDeletion_; }
    [[nodiscard]] bool canBeDismissed() const { return !obstacle_; }

    /// Looks for recordings to recover; the first call only, so that each is offered once. After a recording
    /// that couldn't be ended the object looks again by itself.
    void offerRecovery();

    Q_INVOKABLE void pressMain();
    Q_INVOKABLE void pressOther();
    /// The recordings stay on the disk and are offered at the next start.
    Q_INVOKABLE void dismiss();

signals:
    void changed();

private:
    void recordingStateChanged();
    QCoro::Task<> findSessions();
    void goOn();

    AppState& app_;
    AppWindows& windows_;
    const std::optional<std::string> obstacle_;
    bool hasOfferedRecovery_ = false;
    bool isAskingForDeletion_ = false;
    RecordingState recordingState_ = RecordingState::idle;
    std::vector<RecoverableSession> sessions_;  ///< the last one is offered
    std::set<URL> dismissed_;                   ///< directories
};

/// "3:25, from 21 Nov 2026 14:05": what tells a recording from others.
QString recordingDescription(const RecoverableSession& session);

}  // namespace varnelle
