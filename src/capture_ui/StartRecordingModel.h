#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "app/AppState.h"

namespace varnelle {

/// The start button, the same in all overlays. Main thread.
class StartRecordingModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(bool isPreparing READ isPreparing NOTIFY isPreparingChanged)

public:
    /// `app` must outlive the object.
    explicit StartRecordingModel(AppState& app) : app_(app) {
        connect(&app.recordingFlow(), &RecordingFlow::recordingStateChanged, this,
                &StartRecordingModel::isPreparingChanged);
    }

    /// A recording is on its way.
    [[nodiscard]] bool isPreparing() const {
        return app_.recordingFlow().recordingState() == RecordingState::preparing;
    }
    /// Starts a recording, unless one is on its way.
    Q_INVOKABLE void press() {
        if (!isPreparing()) app_.startRecording();
    }

signals:
    void isPreparingChanged();

private:
    AppState& app_;
};

}  // namespace varnelle
