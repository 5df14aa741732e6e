#pragma once

#include <QString>
#include <optional>
#include <string>

#include "foundation/Geometry.h"
#include "platform/ShareableContent.h"

namespace varnelle {

/// The texts by which sources are known to the user.

/// The owner's name, or "Unknown App".
QString applicationName(const ShareableWindow& window);
/// The title, or "Untitled Window".
QString windowTitle(const ShareableWindow& window);
/// "800 × 600", in whole points.
QString sizeText(CGSize size);

/// What a screen of the interface tells that isn't known of a display.
struct ScreenDescription {
    QString localizedName;
    CGSize size;  ///< points
    double maximumFramesPerSecond = 0;
};

/// "Unknown Display" for a display without its screen.
QString displayTitle(const std::optional<ScreenDescription>& screen);
/// "1920 × 1080 · 60 Hz"; without a screen the display's own size alone.
QString displayDetails(const ShareableDisplay& display, const std::optional<ScreenDescription>& screen);

}  // namespace varnelle
