#pragma once

#include <QRect>
#include <QScreen>
#include <optional>
#include <vector>

#include "capture_ui/PanelPlacement.h"
#include "platform/ShareableContent.h"

namespace varnelle {

/// Between the places of the capture side and those of the interface. Both count points from the top left,
/// but the interface leaves the corner of each screen at its device pixels where the capture side divides
/// those by the scale, too. Main thread.

/// The interface's screen that a display is, by its name; null if there is none.
QScreen* screenOf(const ShareableDisplay& display);
/// A rectangle of the capture side as the interface counts, measured from the display that its middle is on,
/// else from the first.
QRect interfaceRect(const CGRect& rect, const std::vector<ShareableDisplay>& displays);

/// A screen in the interface's own places.
ScreenPlace placeOf(const QScreen& screen);
QRect rounded(const CGRect& rect);
CGRect rectOf(const QRect& rect);

}  // namespace varnelle
