#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <functional>
#include <optional>

#include "app/CaptureSources.h"
#include "capture_ui/SourceTexts.h"

namespace varnelle {

/// What the overlay over the chosen display tells of it. Main thread.
class DisplayHighlightModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString details READ details NOTIFY changed)

public:
    /// The interface's screen that a display is; absent if it has none.
    using ScreenLookup = std::function<std::optional<ScreenDescription>(const ShareableDisplay&)>;

    /// `sources` must outlive the object.
    DisplayHighlightModel(const CaptureSources& sources, ScreenLookup screenOf);

    [[nodiscard]] QString title() const;
    [[nodiscard]] QString details() const;

signals:
    void changed();

private:
    [[nodiscard]] std::optional<ScreenDescription> screen() const;

    const CaptureSources& sources_;
    const ScreenLookup screenOf_;
};

/// Finds the screens of the running interface by the display's name.
std::optional<ScreenDescription> interfaceScreen(const ShareableDisplay& display);

}  // namespace varnelle
