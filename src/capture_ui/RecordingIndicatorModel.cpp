#include "capture_ui/RecordingIndicatorModel.h"

#include "app/DurationFormat.h"

namespace varnelle {

RecordingIndicatorModel::RecordingIndicatorModel(AppState& app) : app_(app) {
    const RecordingFlow& flow = app.recordingFlow();
    connect(&flow, &RecordingFlow::recordingStateChanged, this, &RecordingIndicatorModel::stateChanged);
    connect(&flow, &RecordingFlow::recordingDurationChanged, this, &RecordingIndicatorModel::updateTimer);
    updateTimer();
}

QString RecordingIndicatorModel::stateText() const {
    return recordingStateText(state());
}

void RecordingIndicatorModel::tap() {
    if (isRecording()) app_.stopRecording();
}

void RecordingIndicatorModel::updateTimer() {
    const double seconds = app_.recordingFlow().recordingDuration();
    const QString menuBarText = QString::fromStdString(menuBarDuration(seconds));
    if (menuBarText == menuBarText_) return;
    menuBarText_ = menuBarText;
    timerText_ = QString::fromStdString(panelTimer(seconds));
    emit timerChanged();
}

QString recordingStateText(RecordingState state) {
    switch (state) {
        case RecordingState::idle:
            return RecordingIndicatorModel::tr("Ready");
        case RecordingState::preparing:
            return RecordingIndicatorModel::tr("Starting...");
        case RecordingState::recording:
            return RecordingIndicatorModel::tr("Stop Recording");
        case RecordingState::stopping:
            break;
    }
    return RecordingIndicatorModel::tr("Stopping...");
}

}  // namespace varnelle
