#pragma once

#include <QObject>

namespace varnelle {

Q_NAMESPACE

/// What the program is doing, which decides what is on the screen.
enum class AppMode {
    setup,      ///< the dock bar floats, there is no main window
    recording,  ///< only the recording's own panels
    editing,    ///< the main window with the editor
    exporting,  ///< the main window with the export view
};
Q_ENUM_NS(AppMode)

/// How far a recording is.
enum class RecordingState { idle, preparing, recording, stopping };
Q_ENUM_NS(RecordingState)

/// What the user records.
enum class RecordingType { display, window, area };
Q_ENUM_NS(RecordingType)

}  // namespace varnelle
