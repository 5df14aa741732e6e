#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

#include "app/AppState.h"

namespace varnelle {

/// What tells of a running recording: the label in the desktop's bar and the capsule. Main thread.
class RecordingIndicatorModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY stateChanged)
    Q_PROPERTY(QString stateText READ stateText NOTIFY stateChanged)
    Q_PROPERTY(QString timerText READ timerText NOTIFY timerChanged)
    Q_PROPERTY(QString menuBarText READ menuBarText NOTIFY timerChanged)

public:
    /// `app` must outlive the object.
    explicit RecordingIndicatorModel(AppState& app);

    [[nodiscard]] bool isRecording() const { return state() == RecordingState::recording; }
    [[nodiscard]] QString stateText() const;
    /// The capsule's, "02:05".
    [[nodiscard]] const QString& timerText() const { return timerText_; }
    /// The desktop bar's, "1:02:05".
    [[nodiscard]] const QString& menuBarText() const { return menuBarText_; }

    /// Ends the recording if one runs; nothing in all other states.
    Q_INVOKABLE void tap();

signals:
    void stateChanged();
    void timerChanged();  ///< at most once a second

private:
    [[nodiscard]] RecordingState state() const { return app_.recordingFlow().recordingState(); }
    void updateTimer();

    AppState& app_;
    QString timerText_;
    QString menuBarText_;
};

/// The capsule's text in a state.
QString recordingStateText(RecordingState state);

}  // namespace varnelle
